// Netlink: a NETLINK_ROUTE socket for dumps of the kernel's tables (links,
// addresses, neighbours, routes) and, bound to multicast groups, for the
// kernel's change events. Messages are handed out as the kernel wrote them
// (native byte order, kernel ABI structs); attributes are read with the
// helpers below.
#ifndef ROUTER_NETLINK_H
#define ROUTER_NETLINK_H

#include <linux/netlink.h>
#include <linux/rtnetlink.h>

#include <cstdint>
#include <functional>
#include <string>

#include "platform/message.h"

namespace router {

class Netlink {
 public:
  typedef std::function<void(const nlmsghdr*)> Visit;

  Netlink() {}
  Netlink(const Netlink&) = delete;
  Netlink& operator=(const Netlink&) = delete;
  ~Netlink();

  // Opens the socket, joined to groups (RTMGRP_* bits; 0 for none). False
  // with *error.
  bool open(unsigned groups, std::string* error);
  int fd() const { return fd_; }

  // Dumps the kernel table of type (RTM_GETLINK, ...) for family, calling
  // visit for every object. False if the kernel refused or the socket
  // failed.
  bool dump(uint16_t type, uint8_t family, const Visit& visit);
  // Reads every queued event without blocking. False if events were lost
  // (the socket's buffer overflowed): the caller should re-read the state.
  bool drain(const Visit& visit);

 private:
  // Calls visit for each message in buf[0, n); true when NLMSG_DONE or an
  // error ended a dump (*error set for the latter).
  bool walk(const uint8_t* buf, size_t n, const Visit& visit, bool* failed);

  int fd_ = -1;
  uint32_t seq_ = 0;
};

// Fills table[t] (for t < n) with the last attribute of type t in the run
// [rta, rta + len), null for the others.
void parseAttrs(const rtattr* rta, int len, const rtattr** table, int n);
uint32_t attrU32(const rtattr* a);   // 0 when a is null or short
uint16_t attrU16(const rtattr* a);
std::string attrString(const rtattr* a);
tarn::bytes attrBytes(const rtattr* a);

}  // namespace router

#endif  // ROUTER_NETLINK_H
