// The looper: routing of bus messages to handlers and back, the idle exit,
// and the process-wide looper.
#include "platform/looper.h"

#include <stdlib.h>
#include <unistd.h>

#include "platform/clock.h"
#include "platform/codes.h"
#include "platform/errors.h"

namespace tarn {

namespace {
Looper* g_looper = nullptr;
unsigned g_defaultService = 0;

unsigned pickServiceId(unsigned fromArgs) {
  const char* env = getenv("TARN_SERVICE_ID");
  if (env && *env) return static_cast<unsigned>(strtoul(env, nullptr, 0));
  return fromArgs ? fromArgs : g_defaultService;
}
}  // namespace

Looper* getLooper() { return g_looper; }
void setDefaultServiceId(unsigned id) { g_defaultService = id; }

Looper::Looper(unsigned a0, unsigned a1, unsigned, unsigned, unsigned,
               unsigned, unsigned, unsigned, unsigned, unsigned, unsigned,
               unsigned, unsigned)
    : sid_((a1 & kLooperClientOnly) ? a0 : pickServiceId(a0)),
      bus_(this, this, &Looper::deliver),
      current_{0, geteuid()} {
  if (!g_looper) g_looper = this;
  setRunner(this);
  setPath(sid_, 0);
  handlers_[key(sid_, 0)] = this;
  if (!(a1 & kLooperClientOnly)) serve(sid_);
}

Looper::~Looper() {
  if (g_looper == this) g_looper = nullptr;
  if (getRunner() == this) setRunner(nullptr);
}

bool Looper::serve(unsigned service) {
  served_.insert(service);
  return bus_.listen(service);
}

void Looper::addHandler(unsigned id, Handler* h) { addHandler(sid_, id, h); }

void Looper::addHandler(unsigned service, unsigned id, Handler* h) {
  h->setPath(service, id);
  handlers_[key(service, id)] = h;
  served_.insert(service);
}

void Looper::removeHandler(unsigned service, unsigned id) {
  handlers_.erase(key(service, id));
}

void Looper::shutdown() { ThinRunner::shutdown(); }
void Looper::onInit() {}
bool Looper::filterMessage(const message&) { return true; }
bool Looper::canLeave() { return true; }
void Looper::loadPermData(const message&) {}
void Looper::savePermData(message&) {}
void Looper::cmdDisconnected(const message&) {}

message Looper::handleCmd(const message& msg, unsigned cmd) {
  return Handler::handleCmd(msg, cmd);
}

unsigned Looper::sleepTime(unsigned ms) {
  return (bus_.hasPending() || !local_.empty()) ? 0 : ms;
}

bool Looper::runOnce(unsigned maxWaitMs) {
  bool worked = bus_.drainPending();
  while (!local_.empty() && !stop_) {
    message m = std::move(local_.front());
    local_.pop_front();
    Origin saved = current_;
    current_ = Origin{0, geteuid()};
    dispatchMessage(m);
    current_ = saved;
    worked = true;
  }
  if (stop_) return worked;
  return ThinRunner::runOnce(worked ? 0 : maxWaitMs) || worked;
}

void Looper::run() {
  onInit();
  uint64_t lastWork = nowMs();
  while (!stop_) {
    unsigned wait = 0xFFFFFFFFu;
    if (leaveMs_) {
      uint64_t idle = nowMs() - lastWork;
      if (idle >= leaveMs_ && canLeave()) break;
      wait = idle >= leaveMs_ ? leaveMs_
                              : leaveMs_ - static_cast<unsigned>(idle);
    }
    if (runOnce(wait)) lastWork = nowMs();
  }
  stop_ = false;
}

void Looper::deliver(void* self, message& m, const Origin& from) {
  Looper* l = static_cast<Looper*>(self);
  Origin saved = l->current_;
  l->current_ = from;
  l->dispatchMessage(m);
  l->current_ = saved;
}

// Routes msg to its handler and returns the handler's reply.
message Looper::serveLocal(message& msg) {
  const std::vector<uint32_t>& dst = msg.get(u32_array_id(kFieldDst));
  unsigned service = dst.empty() ? sid_ : dst[0];
  unsigned id = dst.size() > 1 ? dst[1] : 0;
  auto it = handlers_.find(key(service, id));
  if (it == handlers_.end()) return handleBrkpath(msg);
  return it->second->handle(msg);
}

void Looper::finishReply(const message& request, message& reply) {
  reply.insert(u32_array_id(kFieldDst), request.get(u32_array_id(kFieldSrc)));
  const std::vector<uint32_t>& dst = request.get(u32_array_id(kFieldDst));
  reply.insert_vector(u32_array_id(kFieldSrc), dst.empty() ? sid_ : dst[0],
                      dst.size() > 1 ? dst[1] : 0);
  reply.insert(u32_id(kFieldSeq), request.get(u32_id(kFieldSeq), 0));
  reply.insert(bool_id(kFieldReply), true);
}

void Looper::dispatchMessage(message& msg) {
  if (!filterMessage(msg)) return;
  message reply = serveLocal(msg);
  if (!msg.has(u32_id(kFieldSeq)) || current_.conn == 0) return;
  finishReply(msg, reply);
  bus_.reply(current_.conn, reply);
}

void Looper::sendMessage(message& msg) {
  fillSource(msg);
  const unsigned cmd = msg.get(u32_id(kFieldCmd), 0u);
  if (cmd == kCmdSubscribe || cmd == kCmdUnsubscribe) {
    keepSubscription(msg, cmd == kCmdSubscribe);
  }
  post(msg);
}

void Looper::post(message& msg) {
  const std::vector<uint32_t>& dst = msg.get(u32_array_id(kFieldDst));
  if (dst.empty()) return;
  if (isLocal(dst[0])) {
    local_.push_back(msg);
    return;
  }
  bus_.send(dst[0], msg);  // an absent service: dropped
}

void Looper::keepSubscription(const message& msg, bool subscribe) {
  message asSubscribe = msg;
  asSubscribe[u32_id(kFieldCmd)] = kCmdSubscribe;
  bytes flat;
  asSubscribe.flatten(flat);
  for (auto it = subscriptions_.begin(); it != subscriptions_.end(); ++it) {
    if (it->first == flat) {
      subscriptions_.erase(it);
      break;
    }
  }
  if (subscribe) {
    subscriptions_.emplace_back(std::move(flat), std::move(asSubscribe));
    addTimer(this, &Looper::renewSubscriptions, renewMs_);
  }
}

void Looper::renewSubscriptions() {
  for (auto& kept : subscriptions_) {
    message copy = kept.second;
    post(copy);
  }
  if (!subscriptions_.empty()) {
    addTimer(this, &Looper::renewSubscriptions, renewMs_);
  }
}

message Looper::exchangeMessage(message& msg, int timeout) {
  fillSource(msg);
  const std::vector<uint32_t>& dst = msg.get(u32_array_id(kFieldDst));
  if (dst.empty()) return errorMsg(kErrNoService, "no destination path");
  unsigned service = dst[0];
  if (!isLocal(service)) return bus_.exchange(service, msg, timeout);
  Origin saved = current_;
  current_ = Origin{0, geteuid()};
  message reply = serveLocal(msg);
  current_ = saved;
  finishReply(msg, reply);
  return reply;
}

}  // namespace tarn
