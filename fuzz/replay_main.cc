// Replays fuzz inputs without libFuzzer: every file of the directories (or
// the files) named on the command line goes once through the fuzz entry.
// A crash, a sanitizer report or a hang fails the test like any other.
#include <dirent.h>
#include <stdint.h>
#include <stdio.h>
#include <sys/stat.h>

#include <algorithm>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);

namespace {

bool readFile(const std::string& path, std::vector<uint8_t>* out) {
  FILE* f = fopen(path.c_str(), "rb");
  if (!f) return false;
  uint8_t buf[4096];
  size_t n;
  while ((n = fread(buf, 1, sizeof buf, f)) > 0) out->insert(out->end(), buf, buf + n);
  fclose(f);
  return true;
}

void collect(const std::string& path, std::vector<std::string>* files) {
  struct stat st;
  if (stat(path.c_str(), &st) != 0) return;
  if (!S_ISDIR(st.st_mode)) {
    files->push_back(path);
    return;
  }
  DIR* d = opendir(path.c_str());
  if (!d) return;
  while (dirent* e = readdir(d)) {
    if (e->d_name[0] != '.') collect(path + "/" + e->d_name, files);
  }
  closedir(d);
}

}  // namespace

int main(int argc, char** argv) {
  LLVMFuzzerInitialize(&argc, &argv);
  std::vector<std::string> files;
  for (int i = 1; i < argc; ++i) collect(argv[i], &files);
  std::sort(files.begin(), files.end());
  if (files.empty()) {
    fprintf(stderr, "replay: no inputs\n");
    return 1;
  }
  for (const std::string& f : files) {
    std::vector<uint8_t> data;
    if (!readFile(f, &data)) {
      fprintf(stderr, "replay: cannot read %s\n", f.c_str());
      return 1;
    }
    LLVMFuzzerTestOneInput(data.data(), data.size());
  }
  printf("replayed %zu inputs\n", files.size());
  return 0;
}
