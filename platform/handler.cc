// Command dispatch, the publisher side of subscriptions, and the handler's
// sending helpers.
#include "platform/handler.h"

#include <unistd.h>

#include "platform/codes.h"
#include "platform/errors.h"
#include "platform/history.h"
#include "platform/looper.h"

namespace tarn {

namespace {
message unsupported() { return errorMsg(kErrUnsupported, "unsupported command"); }
}  // namespace

unsigned policies::policy(unsigned cmd) const {
  auto it = policies_.find(cmd);
  return it == policies_.end() ? 0 : it->second;
}

bool policies::is_allowed(const message& msg) const {
  if (policy(msg.get(u32_id(kFieldCmd), 0)) == 0) return true;
  Looper* l = getLooper();
  uid_t uid = l ? l->currentUid() : geteuid();
  return uid == 0 || uid == geteuid();
}

Handler::Handler() {}
Handler::~Handler() {}

void Handler::loadPermData(const message&) {}
void Handler::savePermData(message&) {}

message Handler::handle(const message& msg) {
  if (msg.get(bool_id(kFieldReply), false)) {
    handleReply(msg);
    return message();
  }
  if (!checkPolicy(msg)) return errorMsg(kErrDenied, "permission denied");
  return handleCmd(msg, msg.get(u32_id(kFieldCmd), 0));
}

message Handler::handleBrkpath(const message&) {
  return errorMsg(kErrNoService, "no such handler");
}

void Handler::handleReply(const message&) {}

message Handler::handleCmd(const message& msg, unsigned cmd) {
  unsigned id = msg.get(u32_id(kFieldObjId), 0xFFFFFFFFu);
  switch (cmd) {
    case kCmdGet: return cmdGet(msg);
    case kCmdSet: return cmdSet(msg);
    case kCmdGetObj: return cmdGetObj(msg, id);
    case kCmdSetObj: return cmdSetObj(msg, id);
    case kCmdGetAll:
      return cmdGetAll(msg, msg.get(u32_id(kFieldStart), 0xFFFFFFFFu),
                       msg.get(u32_id(kFieldMaxCount), 0xFFFFFFFFu));
    case kCmdAddObj: return cmdAddObj(msg);
    case kCmdRemoveObj: return cmdRemoveObj(msg, id);
    case kCmdMoveObj: return cmdMoveObj(msg, id);
    case kCmdGetCount: return cmdGetCount(msg);
    case kCmdGetPolicies: return cmdGetPolicies(msg);
    case kCmdReset: return cmdReset(msg);
    case kCmdShutdown: return cmdShutdown(msg);
    case kCmdSubscribe: return changeSubscription(msg, true);
    case kCmdUnsubscribe: return changeSubscription(msg, false);
    default: return cmdUnknown(msg, cmd);
  }
}

message Handler::cmdGetPolicies(const message&) {
  message reply;
  std::vector<uint32_t>& cmds = reply[u32_array_id(1)];
  std::vector<uint32_t>& values = reply[u32_array_id(2)];
  for (const auto& kv : policies.all()) {
    cmds.push_back(kv.first);
    values.push_back(kv.second);
  }
  return reply;
}

message Handler::cmdGet(const message&) { return unsupported(); }
message Handler::cmdSet(const message&) { return unsupported(); }
message Handler::cmdReset(const message&) { return unsupported(); }
message Handler::cmdGetObj(const message&, unsigned id) {
  return getObject(id);
}
message Handler::cmdSetObj(const message&, unsigned) { return unsupported(); }
message Handler::cmdGetAll(const message&, unsigned, unsigned) {
  return unsupported();
}
message Handler::cmdAddObj(const message&) { return unsupported(); }
message Handler::cmdRemoveObj(const message&, unsigned) {
  return unsupported();
}
message Handler::cmdMoveObj(const message&, unsigned) { return unsupported(); }
message Handler::cmdGetCount(const message&) {
  message reply;
  reply.insert(u32_id(kFieldCount), getObjectCount());
  return reply;
}
message Handler::cmdUnknown(const message&, unsigned) { return unsupported(); }
message Handler::cmdShutdown(const message&) { return unsupported(); }

bool Handler::shouldNotify(const message&, const message&) { return true; }
void Handler::subscribed(const message&) {}
void Handler::unsubscribed(const message&) {}
void Handler::cmdDisconnected(const message&) {}
void Handler::notifiesSent() {}

message Handler::getObject(unsigned id) {
  message m;
  m.insert(u32_id(kFieldObjId), id);
  m.insert(u32_id(kFieldMissing), 1);
  return m;
}

unsigned Handler::getObjectCount() { return 0; }

bool Handler::checkPolicy(const message& msg) {
  return policies.is_allowed(msg);
}

void Handler::fillSource(message& msg) const {
  if (!msg.has(u32_array_id(kFieldSrc))) {
    msg.insert_vector(u32_array_id(kFieldSrc), service_, id_);
  }
}

void Handler::sendMessage(message& msg) {
  fillSource(msg);
  if (Looper* l = getLooper()) l->sendMessage(msg);
}

message Handler::exchangeMessage(message& msg, int timeout) {
  fillSource(msg);
  Looper* l = getLooper();
  if (!l) return errorMsg(kErrNoService, "no looper");
  return l->exchangeMessage(msg, timeout);
}

void Handler::sendCmd(message& msg, unsigned cmd) {
  msg.insert(u32_id(kFieldCmd), cmd);
  sendMessage(msg);
}

message Handler::exchangeCmd(message& msg, unsigned cmd, unsigned timeout) {
  msg.insert(u32_id(kFieldCmd), cmd);
  return exchangeMessage(msg, static_cast<int>(timeout));
}

message Handler::changeSubscription(const message& msg, bool add) {
  const std::vector<uint32_t>& path = msg.get(u32_array_id(kFieldSrc));
  if (path.empty() || !msg.has(u32_id(kFieldWhat))) {
    return errorMsg(kErrMissingField, "subscription without source or code");
  }
  Subscription s;
  s.path = path;
  s.code = msg.get(u32_id(kFieldWhat), 0);
  const auto& filters = msg.get(message_array_id(kFieldFilter));
  if (!filters.empty()) {
    s.flatFilter.assign(filters.front().data(),
                        filters.front().data() + filters.front().size());
    message::parse(s.flatFilter.data(), s.flatFilter.size(), &s.filter);
  } else {
    s.filter.flatten(s.flatFilter);
  }
  for (auto it = subs_.begin(); it != subs_.end(); ++it) {
    if (it->path == s.path && it->code == s.code &&
        it->flatFilter == s.flatFilter) {
      subs_.erase(it);
      break;
    }
  }
  if (add) {
    subs_.push_back(std::move(s));
    subscribed(msg);
  } else {
    unsubscribed(msg);
  }
  return message();
}

void Handler::notify(unsigned code, const message& event) {
  bool sent = false;
  for (size_t i = 0; i < subs_.size(); ++i) {
    if (subs_[i].code != code || !shouldNotify(subs_[i].filter, event)) {
      continue;
    }
    message m = event;
    m.insert(u32_id(kFieldCmd), code);
    m.insert(u32_array_id(kFieldDst), subs_[i].path);
    m.insert_vector(u32_array_id(kFieldSrc), service_, id_);
    sendMessage(m);
    sent = true;
  }
  if (sent) notifiesSent();
}

void Handler::notifyChange(unsigned id, const message& msg) {
  message event;
  event.insert(u32_id(kFieldObjId), id);
  event[message_array_id(kFieldFilter)].push_back(msg);
  notify(kCmdChanged, event);
}

void Handler::sendUndo(const message&, const message& undo,
                       const std::string& description) {
  appendHistory(service_, description, undo);
}

namespace {
message subscription(const std::vector<unsigned>& path, unsigned cmd,
                     unsigned what, const message& filter) {
  message m = command(std::vector<uint32_t>(path.begin(), path.end()), cmd);
  m.insert(u32_id(kFieldWhat), what);
  m[message_array_id(kFieldFilter)].push_back(filter);
  return m;
}
}  // namespace

void Handler::subscribe(const std::vector<unsigned>& path, unsigned what,
                        const message& filter) {
  message m = subscription(path, kCmdSubscribe, what, filter);
  sendMessage(m);
}

void Handler::unsubscribe(const std::vector<unsigned>& path, unsigned what,
                          const message& filter) {
  message m = subscription(path, kCmdUnsubscribe, what, filter);
  sendMessage(m);
}

}  // namespace tarn
