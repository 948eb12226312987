// Fuzz target: the bus frame reader, fed through a real Unix socket.
//
// The first input byte picks the side. Even: a client connects to a
// listening service and writes the rest of the input, then hangs up (so
// every input also ends a frame early, as a peer that dies mid-frame does);
// the service answers each delivered request. Odd: the service is ours and
// the input is what a peer answers to a blocking exchange, read while the
// exchange waits. Either way the bus must close the connection (or keep
// serving) and never crash, hang or keep what it was sent.
#include <errno.h>
#include <fcntl.h>
#include <stdint.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <string>

#include "fuzz/fuzz_env.h"
#include "platform/bus.h"
#include "platform/codes.h"
#include "platform/message.h"
#include "platform/paths.h"
#include "platform/runner.h"

namespace {

const unsigned kServed = 4242;  // the bus under test listens as this
const unsigned kPeer = 4243;    // a service played by the harness

tarn::ThinRunner* gRunner = nullptr;
tarn::Bus* gBus = nullptr;
int gPeerListener = -1;

void answer(void*, tarn::message& m, const tarn::Origin& from) {
  tarn::message r;
  r.insert(tarn::bool_id(tarn::kFieldReply), true);
  r.insert(tarn::u32_id(tarn::kFieldSeq), m.get(tarn::u32_id(tarn::kFieldSeq), 0));
  gBus->reply(from.conn, r);
}

sockaddr_un addressOf(unsigned service) {
  sockaddr_un a = sockaddr_un();
  a.sun_family = AF_UNIX;
  std::string path = tarn::busSocketPath(service);
  path.copy(a.sun_path, sizeof a.sun_path - 1);
  return a;
}

// Writes without blocking, letting the bus read whenever the socket is
// full, so that inputs larger than the socket buffer cannot deadlock.
void writeAll(int fd, const uint8_t* p, size_t n) {
  fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK);
  for (int spins = 0; n > 0 && spins < 10000; ++spins) {
    ssize_t w = send(fd, p, n, MSG_NOSIGNAL);
    if (w > 0) {
      p += w;
      n -= static_cast<size_t>(w);
    } else if (w < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
      gRunner->runOnce(1);
    } else {
      return;  // the bus closed the connection: it refused the input
    }
  }
}

// Reads (and drops) what the bus sent until it closes; aborts if it never
// does, which would be a connection kept open by a dead peer.
void drainUntilClosed(int fd) {
  fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK);
  uint8_t buf[4096];
  for (int i = 0; i < 2000; ++i) {
    gRunner->runOnce(1);
    ssize_t n = read(fd, buf, sizeof buf);
    if (n == 0) return;
    if (n < 0 && errno != EAGAIN && errno != EWOULDBLOCK) return;
  }
  abort();
}

void asClient(const uint8_t* data, size_t size) {
  int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un a = addressOf(kServed);
  if (connect(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0) abort();
  gRunner->runOnce(0);  // accept
  writeAll(fd, data, size);
  shutdown(fd, SHUT_WR);
  drainUntilClosed(fd);
  close(fd);
}

void asPeer(const uint8_t* data, size_t size) {
  tarn::message hello;
  hello.insert(tarn::u32_id(tarn::kFieldCmd), 1);
  if (!gBus->send(kPeer, hello)) abort();
  int fd = accept4(gPeerListener, nullptr, nullptr, SOCK_CLOEXEC);
  if (fd < 0) abort();
  writeAll(fd, data, size);
  shutdown(fd, SHUT_WR);
  tarn::message request;
  request.insert(tarn::u32_id(tarn::kFieldCmd), 2);
  gBus->exchange(kPeer, request, 1);
  gBus->drainPending();
  drainUntilClosed(fd);
  close(fd);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  fuzz::setUp();
  gRunner = new tarn::ThinRunner;  // both live as long as the process
  gBus = new tarn::Bus(gRunner, nullptr, answer);
  if (!gBus->listen(kServed)) abort();
  gPeerListener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un a = addressOf(kPeer);
  if (bind(gPeerListener, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0 ||
      listen(gPeerListener, 16) != 0) {
    abort();
  }
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // Both ends share one process: keep within what the socket buffers hold.
  if (size == 0 || size > 100000) return 0;
  if (data[0] & 1) {
    asPeer(data + 1, size - 1);
  } else {
    asClient(data + 1, size - 1);
  }
  return 0;
}
