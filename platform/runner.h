// tarn::ThinRunner: the event loop's core, on poll(2). It calls back on
// ready descriptors and due timers, all on the thread that runs it.
//
// Sockets: one callback per descriptor; events are bit 1 readable (also
// given on hang-up and error, so the reader sees the end) and bit 2
// writable. Adding a descriptor again replaces its entry.
//
// Timers: one-shot, keyed by (context, function) -- and for the member forms
// by (object, member function) -- so adding a pending timer again re-arms it
// and removeTimer needs no handle. Due timers fire in order of due time,
// then of arming; a timer armed inside a callback fires on a later pass
// even with delay 0, so a self re-arming timer cannot starve the sockets.
// A TimerPtr stays valid until its timer fires or is removed.
#ifndef PLATFORM_RUNNER_H
#define PLATFORM_RUNNER_H

#include <poll.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

namespace tarn {

enum : unsigned { kEventRead = 1, kEventWrite = 2 };

// A callback that may carry a member function pointer: ctx, a plain
// function, or a typed thunk with the member pointer's bytes.
struct Callback {
  void* ctx = nullptr;
  void (*plain)(void*) = nullptr;
  void (*plainSock)(void*, int, unsigned) = nullptr;
  void (*thunk)(void* ctx, const unsigned char* member) = nullptr;
  void (*thunkSock)(void* ctx, const unsigned char* member, int, unsigned) =
      nullptr;
  bool (*sameMember)(const unsigned char*, const unsigned char*) = nullptr;
  alignas(void*) unsigned char member[2 * sizeof(void*)] = {};

  bool same(const Callback& o) const;
};

struct Timer;
typedef Timer* TimerPtr;

class ThinRunner {
 public:
  ThinRunner();
  ThinRunner(const ThinRunner&) = delete;
  ThinRunner& operator=(const ThinRunner&) = delete;
  virtual ~ThinRunner();

  // Makes run() return after the current pass.
  virtual void shutdown();
  // Serves sockets and timers until shutdown.
  virtual void run();
  // The longest the next poll may sleep, given the next timer's delay
  // (0xFFFFFFFF: none); derived loops shorten it.
  virtual unsigned sleepTime(unsigned ms);

  void addSocket(int fd, void* ctx, void (*fn)(void* ctx, int fd,
                                              unsigned events),
                 unsigned events);
  void removeSocket(int fd);
  // Changes the events wanted for a registered descriptor.
  void setSocketEvents(int fd, unsigned events);

  TimerPtr addTimer(void* ctx, void (*fn)(void*), unsigned ms);
  void removeTimer(void* ctx, void (*fn)(void*));
  void removeTimer(TimerPtr t);

  template <class T>
  void addSocket(int fd, T* obj, void (T::*fn)(int, unsigned),
                 unsigned events) {
    addSocketCb(fd, memberSock(obj, fn), events);
  }
  template <class T>
  TimerPtr addTimer(T* obj, void (T::*fn)(), unsigned ms) {
    return addTimerCb(member(obj, fn), ms);
  }
  template <class T>
  void removeTimer(T* obj, void (T::*fn)()) {
    removeTimerCb(member(obj, fn));
  }

  // One pass: fire due timers, then poll at most maxWaitMs (further limited
  // by timers and sleepTime) and serve ready descriptors. Returns true if
  // it did any work.
  bool runOnce(unsigned maxWaitMs);
  bool stopping() const { return stop_; }
  size_t timerCount() const { return timers_.size(); }

 protected:
  bool stop_ = false;

 private:
  struct Sock {
    int fd;
    unsigned events;
    uint64_t generation;
    Callback cb;
  };

  template <class T>
  static Callback member(T* obj, void (T::*fn)()) {
    typedef void (T::*Fn)();
    static_assert(sizeof(Fn) <= sizeof(Callback::member), "member size");
    Callback c;
    c.ctx = obj;
    std::memcpy(c.member, &fn, sizeof fn);
    c.thunk = [](void* o, const unsigned char* m) {
      Fn f;
      std::memcpy(&f, m, sizeof f);
      (static_cast<T*>(o)->*f)();
    };
    c.sameMember = [](const unsigned char* a, const unsigned char* b) {
      Fn fa, fb;
      std::memcpy(&fa, a, sizeof fa);
      std::memcpy(&fb, b, sizeof fb);
      return fa == fb;
    };
    return c;
  }
  template <class T>
  static Callback memberSock(T* obj, void (T::*fn)(int, unsigned)) {
    typedef void (T::*Fn)(int, unsigned);
    static_assert(sizeof(Fn) <= sizeof(Callback::member), "member size");
    Callback c;
    c.ctx = obj;
    std::memcpy(c.member, &fn, sizeof fn);
    c.thunkSock = [](void* o, const unsigned char* m, int fd, unsigned ev) {
      Fn f;
      std::memcpy(&f, m, sizeof f);
      (static_cast<T*>(o)->*f)(fd, ev);
    };
    return c;
  }

  void addSocketCb(int fd, const Callback& cb, unsigned events);
  TimerPtr addTimerCb(const Callback& cb, unsigned ms);
  void removeTimerCb(const Callback& cb);
  bool fireDueTimers();

  std::vector<Sock> socks_;
  // Reused by every pass, so polling allocates nothing in the steady state.
  std::vector<struct pollfd> pollFds_;
  std::vector<uint64_t> pollGens_;
  std::vector<std::unique_ptr<Timer>> timers_;  // sorted by (due, seq)
  uint64_t nextSeq_ = 1;
  uint64_t nextGeneration_ = 1;
};

// The process's runner (its looper's), or null before one exists.
ThinRunner* getRunner();
void setRunner(ThinRunner* r);

template <class T>
TimerPtr addTimer(T* obj, void (T::*fn)(), unsigned ms) {
  return getRunner()->addTimer<T>(obj, fn, ms);
}
template <class T>
void removeTimer(T* obj, void (T::*fn)()) {
  getRunner()->removeTimer<T>(obj, fn);
}

}  // namespace tarn

#endif  // PLATFORM_RUNNER_H
