// Test helper: plain sockets speaking the bus's frames, to play a peer that
// misbehaves or to check exactly what goes over the wire.
#ifndef TESTS_PLATFORM_RAW_BUS_H_
#define TESTS_PLATFORM_RAW_BUS_H_

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "platform/clock.h"
#include "platform/message.h"
#include "platform/paths.h"
#include "platform/wire.h"

namespace tarn_test {

using tarn::bytes;
using tarn::message;
using tarn::nowMs;
using tarn::busSocketPath;
using tarn::rootPath;
using tarn::makeDirs;
namespace wire = tarn::wire;

inline int rawConnect(unsigned service) {
  int fd = socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un a = sockaddr_un();
  a.sun_family = AF_UNIX;
  busSocketPath(service).copy(a.sun_path, sizeof a.sun_path - 1);
  if (connect(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0) {
    close(fd);
    return -1;
  }
  return fd;
}

inline int rawListen(unsigned service) {
  makeDirs(rootPath("/tarn/run/bus"), 0700);
  int fd = socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un a = sockaddr_un();
  a.sun_family = AF_UNIX;
  busSocketPath(service).copy(a.sun_path, sizeof a.sun_path - 1);
  if (bind(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0 ||
      listen(fd, 4) != 0) {
    close(fd);
    return -1;
  }
  return fd;
}

inline void writeFrame(int fd, const message& m) {
  bytes frame;
  wire::put32(frame, 0);
  m.appendFlat(frame);
  wire::set32(frame, 0, static_cast<uint32_t>(frame.size() - 4));
  ASSERT_EQ(static_cast<ssize_t>(frame.size()),
            write(fd, frame.data(), frame.size()));
}

// Reads one frame within ms; false on time-out or end.
inline bool readFrame(int fd, message* m, int ms) {
  bytes buf;
  uint64_t deadline = nowMs() + ms;
  for (;;) {
    if (buf.size() >= 4) {
      uint32_t len = wire::get32(buf.data());
      if (buf.size() >= 4 + len) return message::parse(buf.data() + 4, len, m);
    }
    pollfd p{fd, POLLIN, 0};
    int left = static_cast<int>(deadline - nowMs());
    if (left <= 0 || poll(&p, 1, left) <= 0) return false;
    uint8_t chunk[4096];
    ssize_t n = read(fd, chunk, sizeof chunk);
    if (n <= 0) return false;
    buf.insert(buf.end(), chunk, chunk + n);
  }
}

}  // namespace tarn_test

#endif  // TESTS_PLATFORM_RAW_BUS_H_
