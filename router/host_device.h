// HostDevice: this machine's real state, in the network namespace the
// process runs in. Interfaces, addresses, neighbours, the bridge
// forwarding database and routes come from rtnetlink dumps, kept for one
// second, or five times as long as the dump took, so that the pages of one
// walk are cut from one reading and a large table is not dumped again for
// every walk of it; system
// values are read on each request. Link changes are the kernel's own
// events (RTMGRP_LINK), published as they come.
//
// Nothing on the host is changed over the bus except the host name, and
// that only with --allow-hostname; reboots need --allow-reboot (the
// handlers check it). See docs/router-services.md for the mapping of kinds.
#ifndef ROUTER_HOST_DEVICE_H
#define ROUTER_HOST_DEVICE_H

#include <map>
#include <string>

#include "platform/runner.h"
#include "router/device.h"
#include "router/host_info.h"
#include "router/netlink.h"

namespace router {

class HostDevice : public Device {
 public:
  explicit HostDevice(const Options& options) : options_(options) {}
  ~HostDevice() override;

  // Opens the netlink sockets; false with *error.
  bool open(std::string* error);
  // Serves the kernel's link events on runner from now on.
  void watchLinks(tarn::ThinRunner* runner);

  const ItemList* list(Path p) override;
  const ItemList* listToPage(Path p, bool continuing) override;
  bool settings(Path p, tarn::message* out) override;
  tarn::message setSettings(Path p, const tarn::message& request) override;
  tarn::message setObject(Path p, uint32_t id,
                          const tarn::message& request) override;
  bool counters(uint32_t id, tarn::message* out) override;
  tarn::message setLink(uint32_t id, const tarn::message& request) override;
  tarn::message runScript(uint32_t id) override;
  tarn::message reboot() override;

 private:
  // A list read from the kernel, kept for a second after the reading
  // ended, and for as long as a walk that began on it keeps asking.
  struct Cache {
    ItemList list;
    uint64_t readMs = 0;  // when the reading ended
    uint64_t lifeMs = 0;  // how long it is kept, counted from readMs
    uint64_t usedMs = 0;  // the latest page served from it
    bool valid = false;
  };
  struct LinkState {
    uint32_t flags, state;
  };

  void readLinks(ItemList* out);
  void readAddresses(ItemList* out);
  void readNeighbours(ItemList* out);
  void readFdb(ItemList* out);
  void readRoutes(ItemList* out);
  uint32_t rateOf(const std::string& name);
  void onEvents(int fd, unsigned events);
  // Publishes the interface's state when it differs from the last seen or
  // the interface is new.
  void noteState(uint32_t id, LinkState s);

  Options options_;
  Netlink query_, events_;
  int ioctlFd_ = -1;
  std::map<Path, Cache> cache_;
  std::map<uint32_t, tarn::message> counters_;  // from the last link dump
  std::map<uint32_t, LinkState> links_;         // last published states
  HostInfo info_;
};

}  // namespace router

#endif  // ROUTER_HOST_DEVICE_H
