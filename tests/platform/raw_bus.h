// Test helper: plain sockets speaking the bus's frames, to play a peer that
// misbehaves or to check exactly what goes over the wire.
#ifndef TESTS_PLATFORM_RAW_BUS_H
#define TESTS_PLATFORM_RAW_BUS_H

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "platform/clock.h"
#include "platform/codes.h"
#include "platform/message.h"
#include "platform/paths.h"
#include "platform/wire.h"

namespace tarn_test {

using namespace tarn;

// A unix stream socket connected to (or, with listening, listening on)
// path; -1 on failure.
inline int rawSocket(const std::string& path, bool listening = false) {
  int fd = socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un a = sockaddr_un();
  a.sun_family = AF_UNIX;
  path.copy(a.sun_path, sizeof a.sun_path - 1);
  sockaddr* sa = reinterpret_cast<sockaddr*>(&a);
  if (listening ? bind(fd, sa, sizeof a) == 0 && listen(fd, 4) == 0 : connect(fd, sa, sizeof a) == 0) return fd;
  close(fd);
  return -1;
}

inline int rawConnect(unsigned service) { return rawSocket(busSocketPath(service)); }

inline int rawListen(unsigned service) {
  makeDirs(rootPath("/tarn/run/bus"), 0700);
  return rawSocket(busSocketPath(service), true);
}

// A request to service's handler 0 with command cmd.
inline message request(unsigned service, unsigned cmd) {
  message m;
  m.insert_vector(u32_array_id(kFieldDst), service, 0);
  m.insert(u32_id(kFieldCmd), cmd);
  return m;
}

// m as a frame: its length, then its flat bytes.
inline bytes frameOf(const message& m) {
  bytes frame;
  wire::put32(frame, 0);
  m.appendFlat(frame);
  wire::set32(frame, 0, static_cast<uint32_t>(frame.size() - 4));
  return frame;
}

inline void writeFrame(int fd, const message& m) {
  const bytes frame = frameOf(m);
  ASSERT_EQ(static_cast<ssize_t>(frame.size()), write(fd, frame.data(), frame.size()));
}

// A reply to seq holding m's fields.
inline message replyTo(uint32_t seq, message m) {
  m.insert(u32_id(kFieldSeq), seq);
  m.insert(bool_id(kFieldReply), true);
  return m;
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

#endif  // TESTS_PLATFORM_RAW_BUS_H
