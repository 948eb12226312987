// tarn::Looper: the process's event loop and its handler 0. It serves the
// bus (as the process's service id, and any further ids added with serve()),
// the sockets and the timers of its ThinRunner part, all on one thread.
//
// The service id comes from TARN_SERVICE_ID, else the first constructor
// argument, else the default the program set with setDefaultServiceId().
// Constructor arguments (all 0 gives the usual service):
//   a0  service id to use when TARN_SERVICE_ID is unset (0: the default)
//   a1  flags: bit 0 = client only (do not listen; for tools like tarnctl)
//   a2..a12 reserved, pass 0.
// The looper listens from construction, so requests queue in the socket
// until run() serves them.
//
// Messages to a service of this process are served locally: exchanges at
// once, sends from the loop. One looper per process (getLooper()).
//
// Subscriptions are kept by the publisher in its memory only, so a
// publisher that restarts (or was not there yet) forgets them. The looper
// therefore remembers every subscribe its process sends, drops it again on
// the matching unsubscribe, and sends all it remembers again every few
// seconds; a publisher treats a repeated subscription as the same one.
#ifndef PLATFORM_LOOPER_H
#define PLATFORM_LOOPER_H

#include <sys/types.h>

#include <deque>
#include <map>
#include <set>
#include <vector>

#include "platform/bus.h"
#include "platform/handler.h"
#include "platform/runner.h"

namespace tarn {

enum : unsigned { kLooperClientOnly = 1 };

class Looper : public Handler, public ThinRunner {
 public:
  Looper(unsigned a0 = 0, unsigned a1 = 0, unsigned a2 = 0, unsigned a3 = 0,
         unsigned a4 = 0, unsigned a5 = 0, unsigned a6 = 0, unsigned a7 = 0,
         unsigned a8 = 0, unsigned a9 = 0, unsigned a10 = 0,
         unsigned a11 = 0, unsigned a12 = 0);
  ~Looper() override;

  void shutdown() override;
  virtual void onInit();
  // False drops an incoming message before dispatch.
  virtual bool filterMessage(const message& msg);
  // Serves one incoming message and sends its reply, if one is expected.
  virtual void dispatchMessage(message& msg);
  // Asked before leaving an idle loop (setupLeave); default yes.
  virtual bool canLeave();
  void run() override;
  // One pass of run(): messages sent to ourselves and requests kept during
  // exchanges, then the runner's timers and sockets. True if it did work.
  bool runOnce(unsigned maxWaitMs);

  void loadPermData(const message& data) override;
  void savePermData(message& data) override;
  message handleCmd(const message& msg, unsigned cmd) override;
  void cmdDisconnected(const message& msg) override;
  void sendMessage(message& msg) override;
  message exchangeMessage(message& msg, int timeout) override;
  unsigned sleepTime(unsigned ms) override;

  // Registers h as handler id of this process's service (or of service).
  void addHandler(unsigned id, Handler* h);
  void addHandler(unsigned service, unsigned id, Handler* h);
  void removeHandler(unsigned service, unsigned id);
  // Also serves service (its own socket); false if it cannot listen.
  bool serve(unsigned service);
  // 0: stay; otherwise run() returns after ms without any work.
  void setupLeave(unsigned ms) { leaveMs_ = ms; }

  // The peer user of the message being served (our own for local ones).
  uid_t currentUid() const { return current_.uid; }
  // How often remembered subscriptions are sent again (default 5000 ms).
  void renewSubscriptionsEvery(unsigned ms) { renewMs_ = ms; }

 private:
  static void deliver(void* self, message& m, const Origin& from);
  message serveLocal(message& msg);
  void keepSubscription(const message& msg, bool subscribe);
  void renewSubscriptions();
  void post(message& msg);
  void finishReply(const message& request, message& reply);
  bool isLocal(unsigned service) const { return served_.count(service); }
  static uint64_t key(unsigned s, unsigned h) {
    return (static_cast<uint64_t>(s) << 32) | h;
  }

  unsigned sid_;
  Bus bus_;
  std::set<unsigned> served_;
  std::map<uint64_t, Handler*> handlers_;
  std::deque<message> local_;  // messages sent to ourselves
  Origin current_;
  unsigned leaveMs_ = 0;
  // Subscribes sent, each with its flat form as the subscribe command
  // (what an unsubscribe is matched against).
  std::vector<std::pair<bytes, message>> subscriptions_;
  unsigned renewMs_ = 5000;
};

// The process's looper, or null before one exists.
Looper* getLooper();
// The service id a program uses when TARN_SERVICE_ID is unset.
void setDefaultServiceId(unsigned id);

}  // namespace tarn

#endif  // PLATFORM_LOOPER_H
