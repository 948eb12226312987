// The bus handlers of tarn-routerd: thin adapters from bus commands to a
// Device. One ListHandler per list path (pages, one object, count, set
// object), an InterfaceHandler for {20, 0} (also counters, the link-state
// list, link injection and link-change notifications) and one
// SettingsHandler per settings path (get/set, and the reboot command on
// {24, 0}).
//
// Every command that changes something or acts (set, set object, set
// link, reboot, run script) has a policy: only root or the service's own
// user may send it. Reboots and script runs are written to the diagnostics line by line and
// refused unless Options allow them. Handlers keep pointers to the device
// and the options, which must outlive them.
#ifndef ROUTER_HANDLERS_H
#define ROUTER_HANDLERS_H

#include "platform/handler.h"
#include "router/device.h"

namespace router {

class ListHandler : public tarn::Handler {
 public:
  ListHandler(Device* device, Path path, const Options* options);

  tarn::message cmdGetAll(const tarn::message& msg, unsigned start,
                          unsigned count) override;
  tarn::message cmdGetObj(const tarn::message& msg, unsigned id) override;
  tarn::message cmdGetCount(const tarn::message& msg) override;
  tarn::message cmdSetObj(const tarn::message& msg, unsigned id) override;
  tarn::message cmdUnknown(const tarn::message& msg, unsigned cmd) override;

 protected:
  const ItemList& items();

  Device* device_;
  Path path_;
  const Options* options_;
};

class InterfaceHandler : public ListHandler {
 public:
  InterfaceHandler(Device* device, const Options* options);

  tarn::message cmdGetObj(const tarn::message& msg, unsigned id) override;
  tarn::message cmdUnknown(const tarn::message& msg, unsigned cmd) override;
  // A subscriber's filter {0x10002 = value, 0x10003 = mask} passes the
  // interfaces whose flags, masked, equal the value masked; an empty
  // filter passes all.
  bool shouldNotify(const tarn::message& filter,
                    const tarn::message& event) override;

 private:
  void publish(uint32_t id, uint32_t flags, uint32_t state);
};

class SettingsHandler : public tarn::Handler {
 public:
  SettingsHandler(Device* device, Path path, const Options* options);

  tarn::message cmdGet(const tarn::message& msg) override;
  tarn::message cmdGetObj(const tarn::message& msg, unsigned id) override;
  tarn::message cmdSet(const tarn::message& msg) override;
  tarn::message cmdUnknown(const tarn::message& msg, unsigned cmd) override;

 private:
  Device* device_;
  Path path_;
  const Options* options_;
};

// "161/0": the sender of msg, for log lines.
std::string senderOf(const tarn::message& msg);

}  // namespace router

#endif  // ROUTER_HANDLERS_H
