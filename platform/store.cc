// The store file: load, and crash-safe rewrite.
#include "platform/store.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

#include "platform/diag.h"
#include "platform/paths.h"
#include "platform/wire.h"

namespace tarn {

namespace {

const uint32_t kVersion = 1;

uint32_t fnv1a(const uint8_t* p, size_t n) {
  uint32_t h = 2166136261u;
  for (size_t i = 0; i < n; ++i) {
    h ^= p[i];
    h *= 16777619u;
  }
  return h;
}

bool readAll(const std::string& path, bytes* out, bool* missing) {
  int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    *missing = errno == ENOENT;
    return false;
  }
  uint8_t buf[65536];
  ssize_t n;
  while ((n = read(fd, buf, sizeof buf)) > 0) out->insert(out->end(), buf, buf + n);
  close(fd);
  return n == 0;
}

bool writeAll(int fd, const bytes& data) {
  size_t done = 0;
  while (done < data.size()) {
    ssize_t n = write(fd, data.data() + done, data.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    done += static_cast<size_t>(n);
  }
  return true;
}

// Parses a whole store file into *out; false if anything is off.
bool parseFile(const bytes& data, Store::Objects* out) {
  if (data.size() < 16 || data[0] != 'T' || data[1] != 'S' ||
      data[2] != 'T' || data[3] != 'R') {
    return false;
  }
  size_t body = data.size() - 4;
  if (wire::get32(data.data() + body) != fnv1a(data.data(), body)) {
    return false;
  }
  if (wire::get32(data.data() + 4) != kVersion) return false;
  uint32_t count = wire::get32(data.data() + 8);
  size_t pos = 12;
  for (uint32_t i = 0; i < count; ++i) {
    if (body - pos < 8) return false;
    uint32_t id = wire::get32(data.data() + pos);
    uint32_t len = wire::get32(data.data() + pos + 4);
    pos += 8;
    if (body - pos < len) return false;
    message m;
    if (!message::parse(data.data() + pos, len, &m)) return false;
    (*out)[id] = std::move(m);
    pos += len;
  }
  return pos == body;
}

}  // namespace

Store::Store(const std::string& path, unsigned)
    : file_(rootPath(path)) {
  makeDirs(dirName(file_), 0700);
  load();
}

void Store::load() {
  bytes data;
  bool missing = false;
  if (!readAll(file_, &data, &missing)) {
    if (!missing) diag("tarn: cannot read store " + file_);
    return;
  }
  if (parseFile(data, &objects_)) return;
  objects_.clear();
  std::string bad = file_ + ".corrupt";
  rename(file_.c_str(), bad.c_str());
  diag("tarn: store " + file_ + " is corrupt, moved to " + bad +
       ", starting empty");
}

bool Store::save() {
  bytes data = {'T', 'S', 'T', 'R'};
  wire::put32(data, kVersion);
  wire::put32(data, static_cast<uint32_t>(objects_.size()));
  for (const auto& kv : objects_) {
    wire::put32(data, kv.first);
    size_t at = data.size();
    wire::put32(data, 0);
    kv.second.appendFlat(data);
    wire::set32(data, at, static_cast<uint32_t>(data.size() - at - 4));
  }
  wire::put32(data, fnv1a(data.data(), data.size()));

  std::string tmp = file_ + ".tmp";
  int fd = open(tmp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  bool ok = fd >= 0 && writeAll(fd, data) && fsync(fd) == 0;
  if (fd >= 0 && close(fd) != 0) ok = false;
  ok = ok && rename(tmp.c_str(), file_.c_str()) == 0;
  if (ok) {
    // The rename is durable only once the directory is synced.
    int dfd = open(dirName(file_).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ok = dfd >= 0 && fsync(dfd) == 0;
    if (dfd >= 0) close(dfd);
  }
  if (!ok) diag("tarn: cannot write store " + file_);
  return ok;
}

message Store::get(unsigned id) const {
  auto it = objects_.find(id);
  return it == objects_.end() ? message() : it->second;
}

bool Store::set(unsigned id, const message& m) {
  objects_[id] = m;
  return save();
}

bool Store::remove(unsigned id) {
  if (objects_.erase(id) == 0) return true;
  return save();
}

}  // namespace tarn
