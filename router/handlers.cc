// Bus commands onto the Device.
#include "router/handlers.h"

#include "platform/codes.h"
#include "platform/diag.h"
#include "platform/errors.h"

namespace router {

namespace {

const ItemList kEmpty;

// The link-state list keeps only what the snapshot reads.
tarn::message linkFields(const tarn::message& m) {
  tarn::message out;
  out.insert(tarn::u32_id(tarn::kFieldObjId),
             m.get(tarn::u32_id(tarn::kFieldObjId), 0));
  out.insert(tarn::u32_id(kIfFlags), m.get(tarn::u32_id(kIfFlags), 0));
  out.insert(tarn::u32_id(kIfState), m.get(tarn::u32_id(kIfState), 0));
  return out;
}

tarn::message missing(unsigned id) {
  tarn::message m;
  m.insert(tarn::u32_id(tarn::kFieldObjId), id);
  m.insert(tarn::u32_id(tarn::kFieldMissing), 1);
  return m;
}

tarn::message refuse(const std::string& what, const char* option) {
  tarn::diag(what + ": refused (start with " + option + " to allow it)");
  return tarn::errorMsg(tarn::kErrDenied, std::string("not allowed; start "
                        "tarn-routerd with ") + option);
}

}  // namespace

std::string senderOf(const tarn::message& msg) {
  const std::vector<uint32_t>& src = msg.get(tarn::u32_array_id(tarn::kFieldSrc));
  std::string s;
  for (size_t i = 0; i < src.size(); ++i) {
    s += (i ? "/" : "") + std::to_string(src[i]);
  }
  return s.empty() ? "?" : s;
}

const ItemList& ListHandler::items() {
  const ItemList* l = device_->list(path_);
  return l ? *l : kEmpty;
}

ListHandler::ListHandler(Device* device, Path path, const Options* options)
    : device_(device), path_(path), options_(options) {
  // Changes and actions only for root or our own user.
  add_policy(tarn::kCmdSetObj, 1);
  if (path == kScripts) add_policy(kCmdRunScript, 1);
}

tarn::message ListHandler::cmdGetAll(const tarn::message& msg, unsigned,
                                     unsigned count) {
  // A request that names no start begins at the first object.
  const bool continuing = msg.has(tarn::u32_id(tarn::kFieldStart));
  const ItemList* l = device_->listToPage(path_, continuing);
  return pageOf(l ? *l : kEmpty, msg.get(tarn::u32_id(tarn::kFieldStart), 0),
                count);
}

tarn::message ListHandler::cmdGetObj(const tarn::message&, unsigned id) {
  const Item* item = items().find(id);
  return item ? decode(*item) : missing(id);
}

tarn::message ListHandler::cmdGetCount(const tarn::message&) {
  tarn::message reply;
  reply.insert(tarn::u32_id(tarn::kFieldCount),
               static_cast<uint32_t>(items().size()));
  return reply;
}

tarn::message ListHandler::cmdSetObj(const tarn::message& msg, unsigned id) {
  return device_->setObject(path_, id, msg);
}

tarn::message ListHandler::cmdUnknown(const tarn::message& msg, unsigned cmd) {
  if (path_ == kScripts && cmd == kCmdRunScript) {
    uint32_t id = msg.get(tarn::u32_id(tarn::kFieldObjId), 0xFFFFFFFFu);
    std::string what = "run of script " + std::to_string(id) +
                       " requested by " + senderOf(msg);
    if (!options_->allowScripts) return refuse(what, "--allow-scripts");
    tarn::message reply = device_->runScript(id);
    tarn::diag(what + (tarn::isError(reply) ? ": " + tarn::getError(reply)
                                            : ": done"));
    return reply;
  }
  return tarn::Handler::cmdUnknown(msg, cmd);
}

InterfaceHandler::InterfaceHandler(Device* device, const Options* options)
    : ListHandler(device, kInterfaces, options) {
  add_policy(kCmdSetLink, 1);
  device_->onLink([this](uint32_t id, uint32_t flags, uint32_t state) {
    publish(id, flags, state);
  });
}

tarn::message InterfaceHandler::cmdGetObj(const tarn::message&, unsigned id) {
  const Item* item = items().find(id);
  if (!item) return missing(id);
  tarn::message reply = decode(*item);
  device_->counters(id, &reply);
  return reply;
}

tarn::message InterfaceHandler::cmdUnknown(const tarn::message& msg,
                                           unsigned cmd) {
  if (cmd == kCmdLinkList) {
    const ItemList* l = device_->listToPage(
        path_, msg.has(tarn::u32_id(tarn::kFieldStart)));
    return pageOf(l ? *l : kEmpty, msg.get(tarn::u32_id(tarn::kFieldStart), 0),
                  msg.get(tarn::u32_id(tarn::kFieldMaxCount), 0),
                  &linkFields);
  }
  if (cmd == kCmdSetLink) {
    return device_->setLink(
        msg.get(tarn::u32_id(tarn::kFieldObjId), 0xFFFFFFFFu), msg);
  }
  return ListHandler::cmdUnknown(msg, cmd);
}

bool InterfaceHandler::shouldNotify(const tarn::message& filter,
                                    const tarn::message& event) {
  uint32_t value = filter.get(tarn::u32_id(kIfFlags), 0);
  uint32_t mask = filter.get(tarn::u32_id(kIfState), 0);
  return (event.get(tarn::u32_id(kIfFlags), 0) & mask) == (value & mask);
}

void InterfaceHandler::publish(uint32_t id, uint32_t flags, uint32_t state) {
  tarn::message event;
  event.insert(tarn::u32_id(tarn::kFieldObjId), id);
  event.insert(tarn::u32_id(kIfFlags), flags);
  event.insert(tarn::u32_id(kIfState), state);
  notify(kCmdLinkEvent, event);
}

SettingsHandler::SettingsHandler(Device* device, Path path,
                                 const Options* options)
    : device_(device), path_(path), options_(options) {
  add_policy(tarn::kCmdSet, 1);
  if (path == kClock) add_policy(kCmdReboot, 1);
}

tarn::message SettingsHandler::cmdGet(const tarn::message&) {
  tarn::message reply;
  if (!device_->settings(path_, &reply)) {
    return tarn::errorMsg(tarn::kErrUnsupported, "no settings here");
  }
  return reply;
}

// Some readers ask for the one object of a settings path with get-one.
tarn::message SettingsHandler::cmdGetObj(const tarn::message& msg, unsigned) {
  return cmdGet(msg);
}

tarn::message SettingsHandler::cmdSet(const tarn::message& msg) {
  return device_->setSettings(path_, msg);
}

tarn::message SettingsHandler::cmdUnknown(const tarn::message& msg,
                                          unsigned cmd) {
  if (path_ == kClock && cmd == kCmdReboot) {
    std::string what = "reboot requested by " + senderOf(msg);
    if (!options_->allowReboot) return refuse(what, "--allow-reboot");
    tarn::diag(what + ": rebooting");
    return device_->reboot();
  }
  return tarn::Handler::cmdUnknown(msg, cmd);
}

}  // namespace router
