// The service paths that tarn-routerd answers on and the field numbers of
// their objects, as the router's services define them. Both backends and
// the bus handlers name fields only through these constants.
#ifndef ROUTER_FIELDS_H
#define ROUTER_FIELDS_H

#include <cstdint>

namespace router {

// A service path {service, handler}.
struct Path {
  unsigned service;
  unsigned handler;
  bool operator==(const Path& o) const {
    return service == o.service && handler == o.handler;
  }
  bool operator<(const Path& o) const {
    return service != o.service ? service < o.service : handler < o.handler;
  }
};

const Path kInterfaces{20, 0}, kAddresses{20, 1}, kArp{20, 8},
    kVendor9{20, 9}, kVendor12{20, 12}, kFdb{16, 3}, kRoutes{44, 1},
    kClock{24, 0}, kIdentity{24, 1}, kResources{24, 2}, kHealth{12, 1},
    kSoftware{65, 0}, kScripts{48, 101}, kPeers{10, 1};

enum : uint32_t {
  // Interfaces {20, 0}.
  kIfKind = 0x10001,
  kIfFlags = 0x10002,  // bit 0x80: internal, left out of link events
  kIfState = 0x10003,  // 0x100 administratively up, 0x400 running
  kIfName = 0x10006,
  kIfMtu = 0x10064,
  kIfRate = 1010,
  kIfParent = 2002,
  kIfRunning = 0x1000e,
  kIfMac = 1001,
  kIfPriority = 2,     // bridges only
  kIfInOctets = 0x100fc,
  kIfOutOctets = 0x100fd,
  kIfInPackets = 0x100fe,
  kIfOutPackets = 0x100ff,
  kIfInDiscards = 0x100f8,
  kIfOutDiscards = 0x100f9,
  kIfInErrors = 0x100fa,
  kIfOutErrors = 0x100fb,
  // Common flags of list objects.
  kDynamic = 0xfe0007,
  kInvalid = 0xfe0008,
  kDisabled = 0xfe000a,
  // Routes {44, 1}.
  kRtDst = 1, kRtMask = 2, kRtNextHop = 3, kRtGateways = 4,
  kRtInterfaces = 5, kRtActive = 6, kRtKind = 7, kRtMetric = 8,
  // Forwarding database {16, 3}.
  kFdbPort = 1, kFdbMac = 2, kFdbLocal = 4, kFdbBridge = 5,
  // Scripts {48, 101}.
  kScriptName = 102,
  // Identity {24, 1}.
  kHostName = 12,
};

// State bits of kIfState.
const uint32_t kStateAdminUp = 0x100, kStateRunning = 0x400;
// Flag bits of kIfFlags.
const uint32_t kFlagInternal = 0x80;

// Service-specific commands.
enum : uint32_t {
  kCmdLinkList = 1,       // {20, 0}: id, flags and state of every interface
  kCmdSetLink = 0x10005,  // {20, 0}: change running/disabled, publish it
  kCmdLinkEvent = 0x10004,  // notification code of link changes
  kCmdRunScript = 1,      // {48, 101}
  kCmdReboot = 5,         // {24} (handler 0)
};

// Route kinds, as the routing service numbers them.
enum : uint32_t {
  kRouteDirect = 2, kRouteStatic = 3, kRouteRip = 4, kRouteOther = 5,
  kRouteOspf = 6, kRouteBgp = 8,
};

// Interface kinds that the host backend produces.
enum : uint32_t {
  kKindEthernet = 1, kKindOther = 3, kKindPpp = 10, kKindBridge = 12,
  kKindTunnel = 17, kKindVlan = 30,
};

}  // namespace router

#endif  // ROUTER_FIELDS_H
