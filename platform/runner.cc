// The poll(2) loop of tarn::ThinRunner.
#include "platform/runner.h"

#include <algorithm>

#include "platform/clock.h"

namespace tarn {

struct Timer {
  uint64_t due;
  uint64_t seq;
  Callback cb;
};

namespace {
ThinRunner* g_runner = nullptr;
}

ThinRunner* getRunner() { return g_runner; }
void setRunner(ThinRunner* r) { g_runner = r; }

bool Callback::same(const Callback& o) const {
  if (ctx != o.ctx || plain != o.plain || plainSock != o.plainSock) {
    return false;
  }
  if ((thunk == nullptr) != (o.thunk == nullptr)) return false;
  if (thunk == nullptr) return true;
  return sameMember && o.sameMember && sameMember(member, o.member);
}

ThinRunner::ThinRunner() {
  if (!g_runner) g_runner = this;
}

ThinRunner::~ThinRunner() {
  if (g_runner == this) g_runner = nullptr;
}

void ThinRunner::shutdown() { stop_ = true; }

void ThinRunner::run() {
  while (!stop_) runOnce(0xFFFFFFFFu);
  stop_ = false;  // a shutdown ends one run, and one made before run too
}

unsigned ThinRunner::sleepTime(unsigned ms) { return ms; }

void ThinRunner::addSocketCb(int fd, const Callback& cb, unsigned events) {
  for (Sock& s : socks_) {
    if (s.fd == fd) {
      s.cb = cb;
      s.events = events;
      s.generation = nextGeneration_++;
      return;
    }
  }
  socks_.push_back(Sock{fd, events, nextGeneration_++, cb});
}

void ThinRunner::addSocket(int fd, void* ctx,
                           void (*fn)(void*, int, unsigned), unsigned events) {
  Callback cb;
  cb.ctx = ctx;
  cb.plainSock = fn;
  addSocketCb(fd, cb, events);
}

void ThinRunner::removeSocket(int fd) {
  for (auto it = socks_.begin(); it != socks_.end(); ++it) {
    if (it->fd == fd) {
      socks_.erase(it);
      return;
    }
  }
}

void ThinRunner::setSocketEvents(int fd, unsigned events) {
  for (Sock& s : socks_) {
    if (s.fd == fd) s.events = events;
  }
}

TimerPtr ThinRunner::addTimerCb(const Callback& cb, unsigned ms) {
  removeTimerCb(cb);
  std::unique_ptr<Timer> t(new Timer{nowMs() + ms, nextSeq_++, cb});
  TimerPtr p = t.get();
  auto pos = std::upper_bound(
      timers_.begin(), timers_.end(), t,
      [](const std::unique_ptr<Timer>& a, const std::unique_ptr<Timer>& b) {
        return a->due < b->due || (a->due == b->due && a->seq < b->seq);
      });
  timers_.insert(pos, std::move(t));
  // The object stays alive in the container it was moved into.
  // cppcheck-suppress returnDanglingLifetime
  return p;
}

TimerPtr ThinRunner::addTimer(void* ctx, void (*fn)(void*), unsigned ms) {
  Callback cb;
  cb.ctx = ctx;
  cb.plain = fn;
  return addTimerCb(cb, ms);
}

void ThinRunner::removeTimerCb(const Callback& cb) {
  for (auto it = timers_.begin(); it != timers_.end(); ++it) {
    if ((*it)->cb.same(cb)) {
      timers_.erase(it);
      return;  // adding re-arms, so there is at most one
    }
  }
}

void ThinRunner::removeTimer(void* ctx, void (*fn)(void*)) {
  Callback cb;
  cb.ctx = ctx;
  cb.plain = fn;
  removeTimerCb(cb);
}

void ThinRunner::removeTimer(TimerPtr t) {
  for (auto it = timers_.begin(); it != timers_.end(); ++it) {
    if (it->get() == t) {
      timers_.erase(it);
      return;
    }
  }
}

bool ThinRunner::fireDueTimers() {
  uint64_t now = nowMs();
  uint64_t limit = nextSeq_;  // timers armed from here on wait a pass
  bool fired = false;
  for (;;) {
    auto it = std::find_if(timers_.begin(), timers_.end(),
                           [&](const std::unique_ptr<Timer>& t) {
                             return t->due > now || t->seq < limit;
                           });
    if (it == timers_.end() || (*it)->due > now) break;
    Callback cb = (*it)->cb;
    timers_.erase(it);
    fired = true;
    if (cb.thunk) {
      cb.thunk(cb.ctx, cb.member);
    } else {
      cb.plain(cb.ctx);
    }
    if (stop_) break;
  }
  return fired;
}

bool ThinRunner::runOnce(unsigned maxWaitMs) {
  bool worked = fireDueTimers();
  if (stop_) return worked;

  unsigned timerDelay = 0xFFFFFFFFu;
  if (!timers_.empty()) {
    uint64_t now = nowMs();
    uint64_t due = timers_.front()->due;
    timerDelay = due <= now ? 0 : static_cast<unsigned>(
                                      std::min<uint64_t>(due - now, 0x7FFFFFFF));
  }
  unsigned wait = std::min(maxWaitMs, sleepTime(timerDelay));
  if (worked) wait = 0;

  std::vector<pollfd>& fds = pollFds_;
  std::vector<uint64_t>& gens = pollGens_;
  fds.clear();
  gens.clear();
  for (const Sock& s : socks_) {
    short ev = 0;
    if (s.events & kEventRead) ev |= POLLIN;
    if (s.events & kEventWrite) ev |= POLLOUT;
    fds.push_back(pollfd{s.fd, ev, 0});
    gens.push_back(s.generation);
  }
  int timeout = wait > 0x7FFFFFFFu ? -1 : static_cast<int>(wait);
  int n = poll(fds.data(), fds.size(), timeout);
  if (n <= 0) return worked;
  for (size_t i = 0; i < fds.size() && !stop_; ++i) {
    if (fds[i].revents == 0) continue;
    // The callbacks before may have removed or replaced this descriptor.
    auto it = std::find_if(socks_.begin(), socks_.end(), [&](const Sock& s) {
      return s.fd == fds[i].fd && s.generation == gens[i];
    });
    if (it == socks_.end()) continue;
    unsigned ev = 0;
    if (fds[i].revents & (POLLIN | POLLHUP | POLLERR | POLLNVAL)) {
      ev |= kEventRead;
    }
    if (fds[i].revents & POLLOUT) ev |= kEventWrite;
    ev &= it->events | kEventRead;
    if (ev == 0) continue;
    Callback cb = it->cb;
    worked = true;
    if (cb.thunkSock) {
      cb.thunkSock(cb.ctx, cb.member, fds[i].fd, ev);
    } else {
      cb.plainSock(cb.ctx, fds[i].fd, ev);
    }
  }
  return worked;
}

}  // namespace tarn
