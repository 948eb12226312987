// tarn::Handler: the base of every object that receives bus commands, and
// tarn::policies, the per-command permissions a handler enforces.
//
// A message addressed to {S, H} reaches handler H of service S through
// handle(): replies go to handleReply, other messages are checked against
// the policies and dispatched by command code (field 0xff0007) to the cmd*
// virtuals. Every command virtual returns the reply; an empty message is a
// plain success, errorMsg() an error. A reply is sent back only when the
// request carried a sequence number (it was sent with exchangeMessage).
//
// A handler is also a publisher: it keeps the subscriptions other services
// make to it (commands 0xfe0020 / 0xfe0023) and notify()/notifyChange()
// send them notifications. Subscriptions live in memory only.
//
// Handlers are owned by their creator and must outlive their registration
// with the looper (Looper::addHandler).
#ifndef PLATFORM_HANDLER_H
#define PLATFORM_HANDLER_H

#include <map>
#include <string>
#include <vector>

#include "platform/message.h"

namespace tarn {

// Command permissions. A command without a policy is open to anyone who can
// reach the service's socket; a command with any non-zero policy value is
// allowed only to a sender whose peer credentials show root or the
// service's own user. (Values are kept so a finer scheme can grow here.)
class policies {
 public:
  void add_policy(unsigned cmd, unsigned policy) { policies_[cmd] = policy; }
  unsigned policy(unsigned cmd) const;
  // Checks msg's command against the sender of the message being served.
  bool is_allowed(const message& msg) const;
  const std::map<unsigned, unsigned>& all() const { return policies_; }

 private:
  std::map<unsigned, unsigned> policies_;
};

class Handler {
 public:
  Handler();
  Handler(const Handler&) = delete;
  Handler& operator=(const Handler&) = delete;
  virtual ~Handler();

  virtual void loadPermData(const message& data);
  virtual void savePermData(message& data);
  // Entry for every message to this handler; returns the reply.
  virtual message handle(const message& msg);
  // A message whose destination handler does not exist.
  virtual message handleBrkpath(const message& msg);
  virtual void handleReply(const message& msg);
  virtual message handleCmd(const message& msg, unsigned cmd);
  virtual message cmdGetPolicies(const message& msg);
  virtual message cmdGet(const message& msg);
  virtual message cmdSet(const message& msg);
  virtual message cmdReset(const message& msg);
  virtual message cmdGetObj(const message& msg, unsigned id);
  virtual message cmdSetObj(const message& msg, unsigned id);
  // start: the id to begin at (0xFFFFFFFF when the request names none);
  // count: the most objects wanted (0xFFFFFFFF when unlimited).
  virtual message cmdGetAll(const message& msg, unsigned start,
                            unsigned count);
  virtual message cmdAddObj(const message& msg);
  virtual message cmdRemoveObj(const message& msg, unsigned id);
  virtual message cmdMoveObj(const message& msg, unsigned id);
  virtual message cmdGetCount(const message& msg);
  virtual message cmdUnknown(const message& msg, unsigned cmd);
  virtual message cmdShutdown(const message& msg);
  // Whether an event passes a subscriber's filter; default: always.
  virtual bool shouldNotify(const message& filter, const message& event);
  virtual void subscribed(const message& msg);
  virtual void unsubscribed(const message& msg);
  virtual void cmdDisconnected(const message& msg);
  virtual void notifiesSent();
  virtual message getObject(unsigned id);
  virtual unsigned getObjectCount();
  virtual bool checkPolicy(const message& msg);
  // Sends msg to the path in 0xff0001, adding this handler's path as the
  // source when absent. Dropped if the service is absent.
  virtual void sendMessage(message& msg);
  // Sends msg and waits at most timeout ms for the reply (error replies
  // 0xff0010 on time-out, 0xff0011 when the service cannot be reached).
  virtual message exchangeMessage(message& msg, int timeout);

  void sendCmd(message& msg, unsigned cmd);
  message exchangeCmd(message& msg, unsigned cmd, unsigned timeout);
  // Sends the notification 0xfe0024 {0xfe0001 = id, 0xfe0022 = [msg]} to
  // the subscribers of that code.
  void notifyChange(unsigned id, const message& msg);
  // Sends event, with command code, to the subscribers of code whose
  // filter passes shouldNotify.
  void notify(unsigned code, const message& event);
  // Records an undo step in the system's history (see history.h).
  void sendUndo(const message& request, const message& undo,
                const std::string& description);
  // Asks the handler at path for notifications with code what (sent without
  // waiting; a service that is absent is not asked).
  void subscribe(const std::vector<unsigned>& path, unsigned what,
                 const message& filter);
  void unsubscribe(const std::vector<unsigned>& path, unsigned what,
                   const message& filter);

  void add_policy(unsigned cmd, unsigned policy) {
    policies.add_policy(cmd, policy);
  }
  // This handler's own path {service, handler}; set when registered.
  void setPath(unsigned service, unsigned id) {
    service_ = service;
    id_ = id;
  }
  unsigned serviceId() const { return service_; }
  unsigned handlerId() const { return id_; }
  size_t subscriberCount() const { return subs_.size(); }

  tarn::policies policies;

 protected:
  void fillSource(message& msg) const;

 private:
  struct Subscription {
    std::vector<uint32_t> path;
    unsigned code;
    message filter;
    bytes flatFilter;  // for comparing subscriptions
  };
  message changeSubscription(const message& msg, bool add);

  unsigned service_ = 0;
  unsigned id_ = 0;
  std::vector<Subscription> subs_;
};

}  // namespace tarn

#endif  // PLATFORM_HANDLER_H
