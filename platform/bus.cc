// The message bus transport: listening sockets, lazy connections, frames
// and the blocking exchange.
#include "platform/bus.h"

#include <algorithm>
#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "platform/clock.h"
#include "platform/codes.h"
#include "platform/diag.h"
#include "platform/errors.h"
#include "platform/paths.h"
#include "platform/wire.h"

namespace tarn {

namespace {

// Frames above this are taken for garbage rather than buffered.
const uint32_t kMaxFrame = 64u << 20;
// A peer that leaves this much of our output unread is taken for stuck.
const size_t kMaxBacklog = 2 * static_cast<size_t>(kMaxFrame);
// Out of descriptors, the listening sockets stay readable while accept
// fails; they are left unwatched this long instead of spinning the loop.
const unsigned kAcceptPauseMs = 100;

void setNonBlocking(int fd) {
  fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK);
  fcntl(fd, F_SETFD, FD_CLOEXEC);
}

bool makeAddress(const std::string& path, sockaddr_un* a) {
  if (path.size() >= sizeof a->sun_path) {
    diag("tarn: socket path too long: " + path);
    return false;
  }
  *a = sockaddr_un();
  a->sun_family = AF_UNIX;
  path.copy(a->sun_path, path.size());
  return true;
}

int connectTo(const std::string& path) {
  sockaddr_un a;
  if (!makeAddress(path, &a)) return -1;
  // Non-blocking from the start: a blocking connect to a service that
  // stopped accepting waits for room in its backlog, with no time limit.
  // A full backlog (EAGAIN) counts as unreachable.
  int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (fd < 0) return -1;
  if (connect(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0) {
    ::close(fd);
    return -1;
  }
  return fd;
}

}  // namespace

namespace {

// Input buffers up to this size are kept between frames.
constexpr size_t kKeptInput = 16384;

}  // namespace

struct Bus::Conn {
  uint64_t id;
  int fd;
  unsigned service;  // for connections we opened; 0 otherwise
  bool outgoing;
  uid_t uid;
  pid_t pid;
  bytes in;
  size_t inStart = 0;
  bytes out;
  size_t outStart = 0;

  std::string who() const {
    return outgoing ? "service " + std::to_string(service)
                    : "pid " + std::to_string(pid);
  }
};

Bus::Bus(ThinRunner* runner, void* ctx, Deliver deliver)
    : runner_(runner), ctx_(ctx), deliver_(deliver) {}

Bus::~Bus() {
  runner_->removeTimer(this, &Bus::resumeListening);
  for (const std::string& path : boundPaths_) unlink(path.c_str());
  for (auto& kv : conns_) {
    runner_->removeSocket(kv.second->fd);
    ::close(kv.second->fd);
  }
  for (auto& kv : listeners_) {
    runner_->removeSocket(kv.first);
    ::close(kv.first);
  }
}

ListenResult listenUnix(const std::string& path, int* fd) {
  const std::string temporary = path + "." + std::to_string(getpid());
  sockaddr_un a, t;
  if (path.size() >= sizeof a.sun_path || temporary.size() >= sizeof t.sun_path) {
    return ListenResult::kPathTooLong;
  }
  makeAddress(path, &a);
  makeAddress(temporary, &t);
  int probe = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const bool live = probe >= 0 &&
      connect(probe, reinterpret_cast<sockaddr*>(&a), sizeof a) == 0;
  if (probe >= 0) ::close(probe);
  if (live) return ListenResult::kAlreadyServed;
  unlink(temporary.c_str());
  int s = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (s < 0) return ListenResult::kFailed;
  if (bind(s, reinterpret_cast<sockaddr*>(&t), sizeof t) != 0 ||
      ::listen(s, 128) != 0 || rename(temporary.c_str(), path.c_str()) != 0) {
    const int saved = errno;
    unlink(temporary.c_str());
    ::close(s);
    errno = saved;
    return ListenResult::kFailed;
  }
  *fd = s;
  return ListenResult::kListening;
}

bool Bus::listen(unsigned service) {
  const char* pid = getenv("LISTEN_PID");
  const char* fds = getenv("LISTEN_FDS");
  if (pid && fds && strtol(pid, nullptr, 10) == getpid() &&
      strtol(fds, nullptr, 10) >= 1) {
    unsetenv("LISTEN_PID");
    unsetenv("LISTEN_FDS");
    setNonBlocking(3);
    listeners_[3] = service;
    runner_->addSocket(3, this, &Bus::onListen, kEventRead);
    return true;
  }
  std::string dir = rootPath("/tarn/run/bus");
  if (!makeDirs(dir, 0700)) {
    diag("tarn: cannot create " + dir);
    return false;
  }
  std::string path = busSocketPath(service);
  int fd = -1;
  switch (listenUnix(path, &fd)) {
    case ListenResult::kListening:
      break;
    case ListenResult::kAlreadyServed:
      diag("tarn: service " + std::to_string(service) + " is already served");
      return false;
    case ListenResult::kPathTooLong:
      diag("tarn: socket path too long: " + path);
      return false;
    case ListenResult::kFailed:
      diag("tarn: cannot listen on " + path);
      return false;
  }
  listeners_[fd] = service;
  boundPaths_.push_back(path);
  runner_->addSocket(fd, this, &Bus::onListen, kEventRead);
  return true;
}

void Bus::onListen(void* self, int fd, unsigned) {
  static_cast<Bus*>(self)->acceptAll(fd);
}

void Bus::acceptAll(int lfd) {
  for (;;) {
    int fd = accept4(lfd, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (fd < 0) {
      if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS ||
          errno == ENOMEM) {
        pauseListening();
      }
      return;
    }
    std::unique_ptr<Conn> c(new Conn);
    c->id = nextConn_++;
    c->fd = fd;
    c->service = 0;
    c->outgoing = false;
    ucred cred = ucred();
    socklen_t len = sizeof cred;
    // Unknown credentials count as nobody's, never as root's.
    if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &cred, &len) != 0) {
      cred.uid = static_cast<uid_t>(-1);
    }
    c->uid = cred.uid;
    c->pid = cred.pid;
    runner_->addSocket(fd, this, &Bus::onConn, kEventRead);
    conns_[c->id] = std::move(c);
  }
}

void Bus::pauseListening() {
  for (auto& kv : listeners_) runner_->setSocketEvents(kv.first, 0);
  runner_->addTimer(this, &Bus::resumeListening, kAcceptPauseMs);
}

void Bus::resumeListening() {
  for (auto& kv : listeners_) runner_->setSocketEvents(kv.first, kEventRead);
}

Bus::Conn* Bus::byFd(int fd) {
  for (auto& kv : conns_) {
    if (kv.second->fd == fd) return kv.second.get();
  }
  return nullptr;
}

Bus::Conn* Bus::byId(uint64_t id) {
  auto it = conns_.find(id);
  return it == conns_.end() ? nullptr : it->second.get();
}

Bus::Conn* Bus::connFor(unsigned service) {
  auto it = outgoing_.find(service);
  if (it != outgoing_.end()) {
    Conn* c = byId(it->second);
    if (c) return c;
    outgoing_.erase(it);
  }
  int fd = connectTo(busSocketPath(service));
  if (fd < 0) return nullptr;
  std::unique_ptr<Conn> c(new Conn);
  c->id = nextConn_++;
  c->fd = fd;
  c->service = service;
  c->outgoing = true;
  c->uid = static_cast<uid_t>(-1);
  c->pid = 0;
  Conn* raw = c.get();
  outgoing_[service] = c->id;
  conns_[c->id] = std::move(c);
  runner_->addSocket(fd, this, &Bus::onConn, kEventRead);
  // The object stays alive in the container it was moved into.
  // cppcheck-suppress returnDanglingLifetime
  return raw;
}

void Bus::close(Conn* c, const std::string& why) {
  if (!why.empty()) diag("tarn: " + why + " from " + c->who() +
                         ", connection closed");
  runner_->removeSocket(c->fd);
  ::close(c->fd);
  if (c->outgoing) outgoing_.erase(c->service);
  conns_.erase(c->id);  // frees c
}

bool Bus::readIn(Conn* c) {
  // Small reads go through one static buffer: growing the input by a
  // zero-filled chunk per read would cost more than the read itself. Small,
  // since its pages stay with the process once touched.
  static uint8_t chunk[kKeptInput];
  // The rest of a large frame whose length is known is read straight into
  // the input, at most this much at a time, so that the input grows with
  // what the peer really sends, not with the length it announces.
  const size_t kDirectStep = 65536;
  if (c->inStart > (c->in.size() >> 1)) {
    c->in.erase(c->in.begin(), c->in.begin() + c->inStart);
    c->inStart = 0;
  }
  for (;;) {
    size_t have = c->in.size() - c->inStart;
    size_t missing = 0;
    if (have >= 4) {
      uint32_t len = wire::get32(c->in.data() + c->inStart);
      if (len <= kMaxFrame && have - 4 < len) missing = len - (have - 4);
    }
    ssize_t n;
    size_t asked;
    if (missing > sizeof chunk) {
      asked = std::min(missing, kDirectStep);
      size_t old = c->in.size();
      c->in.resize(old + asked);
      n = ::read(c->fd, c->in.data() + old, asked);
      c->in.resize(old + (n > 0 ? static_cast<size_t>(n) : 0));
    } else {
      asked = sizeof chunk;
      n = ::read(c->fd, chunk, sizeof chunk);
      if (n > 0) c->in.insert(c->in.end(), chunk, chunk + n);
    }
    if (n > 0) {
      if (static_cast<size_t>(n) < asked) return true;
      continue;
    }
    if (n == 0) return false;
    return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
  }
}

bool Bus::flush(Conn* c) {
  if (c->out.size() - c->outStart > kMaxBacklog) {
    diag("tarn: " + c->who() + " does not read, connection closed");
    return false;
  }
  while (c->outStart < c->out.size()) {
    ssize_t n = ::send(c->fd, c->out.data() + c->outStart,
                       c->out.size() - c->outStart,
                       MSG_NOSIGNAL | MSG_DONTWAIT);
    if (n > 0) {
      c->outStart += static_cast<size_t>(n);
      continue;
    }
    if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
      runner_->setSocketEvents(c->fd, kEventRead | kEventWrite);
      return true;
    }
    if (n < 0 && errno == EINTR) continue;
    return false;
  }
  c->out.clear();
  c->outStart = 0;
  runner_->setSocketEvents(c->fd, kEventRead);
  return true;
}

void Bus::appendFrame(Conn* c, const message& m) {
  size_t at = c->out.size();
  wire::put32(c->out, 0);
  m.appendFlat(c->out);
  wire::set32(c->out, at, static_cast<uint32_t>(c->out.size() - at - 4));
}

int Bus::nextFrame(Conn* c, message* m) {
  size_t have = c->in.size() - c->inStart;
  if (have < 4) return 0;
  uint32_t len = wire::get32(c->in.data() + c->inStart);
  if (len > kMaxFrame) return -1;
  if (have - 4 < len) return 0;
  const uint8_t* p = c->in.data() + c->inStart + 4;
  const bool parsed = message::parse(p, len, m);
  c->inStart += 4 + static_cast<size_t>(len);
  if (c->inStart == c->in.size()) {
    // All consumed. A burst of large frames (a big table's pages) leaves a
    // large buffer: give it back rather than hold it for the life of the
    // connection.
    if (c->in.capacity() > kKeptInput) {
      bytes().swap(c->in);
    } else {
      c->in.clear();
    }
    c->inStart = 0;
  }
  return parsed ? 1 : -1;
}

bool Bus::send(unsigned service, const message& m) {
  for (int attempt = 0; attempt < 2; ++attempt) {
    Conn* c = connFor(service);
    if (!c) return false;
    appendFrame(c, m);
    if (flush(c)) return true;
    // A kept connection whose peer went away (restarted): reopen once.
    close(c, "");
  }
  return false;
}

void Bus::reply(uint64_t conn, const message& m) {
  Conn* c = byId(conn);
  if (!c) return;
  appendFrame(c, m);
  if (!flush(c)) close(c, "");
}

message Bus::exchange(unsigned service, message& m, int timeoutMs) {
  uint32_t seq = nextSeq_++;
  m.insert(u32_id(kFieldSeq), seq);
  if (!send(service, m)) {
    return errorMsg(kErrNoService,
                    "no such service " + std::to_string(service));
  }
  uint64_t id = outgoing_[service];
  uint64_t deadline = nowMs() + static_cast<uint64_t>(timeoutMs < 0 ? 0
                                                                    : timeoutMs);
  message in;
  for (;;) {
    Conn* c = byId(id);
    if (!c) break;
    int got;
    while ((got = nextFrame(c, &in)) == 1) {
      if (in.get(bool_id(kFieldReply), false)) {
        if (in.get(u32_id(kFieldSeq), 0) == seq) return in;
        continue;  // the late reply of a request that timed out
      }
      pending_.emplace_back(std::move(in), Origin{c->id, c->uid});
      in = message();
    }
    if (got < 0) {
      close(c, "malformed frame");
      break;
    }
    int wait = -1;
    if (timeoutMs >= 0) {
      uint64_t now = nowMs();
      if (now >= deadline) {
        return errorMsg(kErrTimeout, "time-out waiting for service " +
                                         std::to_string(service));
      }
      wait = static_cast<int>(deadline - now);
    }
    pollfd p{c->fd, static_cast<short>(POLLIN | (c->out.empty() ? 0 : POLLOUT)),
             0};
    int n = poll(&p, 1, wait);
    if (n <= 0) continue;
    if ((p.revents & POLLOUT) && !flush(c)) {
      close(c, "");
      break;
    }
    if ((p.revents & (POLLIN | POLLHUP | POLLERR)) && !readIn(c)) {
      // Take the frames that came before the end, then give up.
      while (nextFrame(c, &in) == 1) {
        if (!in.get(bool_id(kFieldReply), false)) {
          pending_.emplace_back(std::move(in), Origin{c->id, c->uid});
          in = message();
        } else if (in.get(u32_id(kFieldSeq), 0) == seq) {
          close(c, "");
          return in;
        }
      }
      close(c, "");
      break;
    }
  }
  return errorMsg(kErrNoService, "connection to service " +
                                     std::to_string(service) + " lost");
}

void Bus::onConn(void* self, int fd, unsigned events) {
  Bus* bus = static_cast<Bus*>(self);
  Conn* c = bus->byFd(fd);
  if (!c) return;
  if ((events & kEventWrite) && !bus->flush(c)) {
    bus->close(c, "");
    return;
  }
  if (!(events & kEventRead)) return;
  bool alive = bus->readIn(c);
  uint64_t id = c->id;
  bus->serveInput(id);
  if (!alive) {
    c = bus->byId(id);
    if (c) bus->close(c, "");
  }
}

void Bus::serveInput(uint64_t id) {
  message m;
  for (;;) {
    Conn* c = byId(id);  // a delivery may have closed it
    if (!c) return;
    int got = nextFrame(c, &m);
    if (got == 0) return;
    if (got < 0) {
      close(c, "malformed frame");
      return;
    }
    // Replies that nobody waits for are late: their request timed out.
    if (m.get(bool_id(kFieldReply), false)) continue;
    deliver_(ctx_, m, Origin{id, c->uid});
  }
}

bool Bus::drainPending() {
  if (pending_.empty()) return false;
  while (!pending_.empty()) {
    std::pair<message, Origin> p = std::move(pending_.front());
    pending_.pop_front();
    deliver_(ctx_, p.first, p.second);
  }
  return true;
}

}  // namespace tarn
