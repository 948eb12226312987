// Fuzz target: the store loader, on any file content.
//
// The input is written as the store file and a Store is opened over it. A
// file that loads must be written back (the next set) to a file that loads
// to the same objects; one that does not load must be moved aside to
// <file>.corrupt with the store starting empty.
#include <fcntl.h>
#include <stdint.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>

#include "fuzz/fuzz_env.h"
#include "platform/message.h"
#include "platform/store.h"

namespace {

const char kPath[] = "/tarn/store/fuzz";

void writeFile(const std::string& path, const uint8_t* data, size_t size) {
  int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (fd < 0) abort();
  while (size > 0) {
    ssize_t n = write(fd, data, size);
    if (n <= 0) abort();
    data += n;
    size -= static_cast<size_t>(n);
  }
  close(fd);
}

tarn::bytes flat(const tarn::Store& s) {
  tarn::bytes all;
  for (const auto& kv : s) {
    for (int shift = 24; shift >= 0; shift -= 8) {
      all.push_back(static_cast<uint8_t>(kv.first >> shift));
    }
    kv.second.appendFlat(all);
  }
  return all;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  fuzz::setUp();
  tarn::Store make(kPath, 1);  // creates the directory
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string file = fuzz::root() + kPath;
  const std::string corrupt = file + ".corrupt";
  unlink(corrupt.c_str());
  writeFile(file, data, size);
  tarn::Store first(kPath, 1);
  if (access(corrupt.c_str(), F_OK) == 0) {
    if (first.size() != 0) abort();
    return 0;
  }
  // Loaded: a rewrite must give a file that loads to the same objects.
  tarn::message marker;
  marker.insert(tarn::bool_id(1), true);
  if (!first.set(0xFFFFFFFFu, marker) || !first.remove(0xFFFFFFFFu)) abort();
  tarn::Store second(kPath, 1);
  if (access(corrupt.c_str(), F_OK) == 0 || flat(first) != flat(second)) abort();
  fuzz::forgetDiagnostics();
  return 0;
}
