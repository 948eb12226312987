// The host backend: kernel tables by rtnetlink, mapped onto the router
// services' objects.
#include "router/host_device.h"

#include <errno.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/reboot.h>
#include <sys/socket.h>
#include <unistd.h>

#include <linux/ethtool.h>
#include <linux/if_addr.h>
#include <linux/if_link.h>
#include <linux/neighbour.h>
#include <linux/sockios.h>

#include <algorithm>
#include <tuple>

#include "platform/clock.h"
#include "platform/codes.h"
#include "platform/diag.h"
#include "platform/errors.h"
#include "platform/wire.h"

namespace router {

namespace {

// A reading is kept at least this long, and kLifePerReadMs times as long
// as it took: a million routes take about 2 s to dump, so they are dumped
// at most every 10 s and the dumps take at most a fifth of the service's
// time, however often managers walk the table.
const uint64_t kCacheMs = 1000;
const uint64_t kLifePerReadMs = 5;

uint32_t maskOf(unsigned prefix) {
  return be32FromHost(prefix ? 0xFFFFFFFFu << (32 - prefix) : 0);
}

uint32_t addrOf(const rtattr* a) {
  if (!a || RTA_PAYLOAD(a) < 4) return 0;
  return be32FromBytes(static_cast<const uint8_t*>(RTA_DATA(a)));
}

// Linux route protocol to the routing service's route kind.
uint32_t routeKind(unsigned protocol) {
  switch (protocol) {
    case RTPROT_KERNEL: return kRouteDirect;
    case RTPROT_BOOT: case RTPROT_STATIC: case RTPROT_DHCP: return kRouteStatic;
    case RTPROT_RIP: return kRouteRip;
    case RTPROT_OSPF: return kRouteOspf;
    case RTPROT_BGP: return kRouteBgp;
    default: return kRouteOther;
  }
}

// Interface kind by the link's driver kind and hardware type.
uint32_t interfaceKind(const std::string& info, unsigned short type) {
  if (info == "bridge") return kKindBridge;
  if (info == "vlan") return kKindVlan;
  switch (type) {
    case ARPHRD_ETHER: return kKindEthernet;
    case ARPHRD_PPP: return kKindPpp;
    case ARPHRD_TUNNEL: case ARPHRD_IPGRE: case ARPHRD_SIT:
    case ARPHRD_NONE: return kKindTunnel;
    default: return kKindOther;  // loopback and the rest
  }
}

struct LinkInfo {
  uint32_t id, flags, state;
  tarn::message item, counters;
  std::string name;
  uint32_t kind;
};

// Reads one RTM_NEWLINK message.
void parseLink(const nlmsghdr* h, LinkInfo* out) {
  const ifinfomsg* ifi = static_cast<const ifinfomsg*>(NLMSG_DATA(h));
  const rtattr* a[IFLA_MAX + 1];
  parseAttrs(IFLA_RTA(ifi), static_cast<int>(IFLA_PAYLOAD(h)), a, IFLA_MAX + 1);
  const rtattr* info[IFLA_INFO_MAX + 1] = {nullptr};
  const rtattr* bridge[IFLA_BR_MAX + 1] = {nullptr};
  if (a[IFLA_LINKINFO]) {
    parseAttrs(static_cast<const rtattr*>(RTA_DATA(a[IFLA_LINKINFO])),
               static_cast<int>(RTA_PAYLOAD(a[IFLA_LINKINFO])), info,
               IFLA_INFO_MAX + 1);
  }
  std::string infoKind = attrString(info[IFLA_INFO_KIND]);
  out->id = static_cast<uint32_t>(ifi->ifi_index);
  out->flags = ifi->ifi_type == ARPHRD_LOOPBACK ? kFlagInternal : 0;
  out->state = ((ifi->ifi_flags & IFF_UP) ? kStateAdminUp : 0) |
               ((ifi->ifi_flags & IFF_RUNNING) ? kStateRunning : 0);
  out->name = attrString(a[IFLA_IFNAME]);
  out->kind = interfaceKind(infoKind, ifi->ifi_type);
  tarn::message& m = out->item;
  m.insert(tarn::u32_id(tarn::kFieldObjId), out->id);
  m.insert(tarn::u32_id(kIfKind), out->kind);
  m.insert(tarn::u32_id(kIfFlags), out->flags);
  m.insert(tarn::u32_id(kIfState), out->state);
  m.insert(tarn::string_id(kIfName), out->name);
  m.insert(tarn::u32_id(kIfMtu), attrU32(a[IFLA_MTU]));
  m.insert(tarn::bool_id(kIfRunning), (ifi->ifi_flags & IFF_RUNNING) != 0);
  m.insert(tarn::bool_id(kDisabled), (ifi->ifi_flags & IFF_UP) == 0);
  if (a[IFLA_ADDRESS]) m.insert(tarn::raw_id(kIfMac), attrBytes(a[IFLA_ADDRESS]));
  if (out->kind == kKindVlan && a[IFLA_LINK]) {
    m.insert(tarn::u32_id(kIfParent), attrU32(a[IFLA_LINK]));
  }
  if (out->kind == kKindBridge && info[IFLA_INFO_DATA]) {
    parseAttrs(static_cast<const rtattr*>(RTA_DATA(info[IFLA_INFO_DATA])),
               static_cast<int>(RTA_PAYLOAD(info[IFLA_INFO_DATA])), bridge,
               IFLA_BR_MAX + 1);
    m.insert(tarn::u32_id(kIfPriority), attrU16(bridge[IFLA_BR_PRIORITY]));
  }
  if (a[IFLA_STATS64] &&
      RTA_PAYLOAD(a[IFLA_STATS64]) >= sizeof(rtnl_link_stats64)) {
    // The payload is only 4-byte aligned: copy the kernel struct out.
    rtnl_link_stats64 s;
    memcpy(&s, RTA_DATA(a[IFLA_STATS64]), sizeof s);
    tarn::message& c = out->counters;
    c.insert(tarn::u64_id(kIfInOctets), uint64_t{s.rx_bytes});
    c.insert(tarn::u64_id(kIfOutOctets), uint64_t{s.tx_bytes});
    c.insert(tarn::u64_id(kIfInPackets), uint64_t{s.rx_packets});
    c.insert(tarn::u64_id(kIfOutPackets), uint64_t{s.tx_packets});
    c.insert(tarn::u32_id(kIfInDiscards), static_cast<uint32_t>(s.rx_dropped));
    c.insert(tarn::u32_id(kIfOutDiscards), static_cast<uint32_t>(s.tx_dropped));
    c.insert(tarn::u32_id(kIfInErrors), static_cast<uint32_t>(s.rx_errors));
    c.insert(tarn::u32_id(kIfOutErrors), static_cast<uint32_t>(s.tx_errors));
  }
}

// Objects keyed for ordering; ids are given in key order. Each object is
// flattened as it is read, with its id field first (a placeholder until the
// order is known), into one buffer: a million routes then cost one
// allocation each neither while they are read nor while they are sorted.
typedef std::tuple<uint32_t, uint32_t, uint32_t, uint32_t> Key;
class Keyed {
 public:
  void add(const Key& key, const tarn::message& m) {
    m.flatten(scratch_);
    const size_t at = blob_.size();
    // The flat form: a field count, then the fields. One more field, the
    // id, goes in front of m's own.
    tarn::wire::put32(blob_, tarn::wire::get32(scratch_.data()) + 1);
    tarn::wire::put32(blob_, tarn::u32_id(tarn::kFieldObjId).id);
    tarn::wire::put32(blob_, 0);
    blob_.insert(blob_.end(), scratch_.begin() + 4, scratch_.end());
    entries_.push_back(Entry{key, at, blob_.size() - at});
  }
  bool has(const Key& key) const {
    for (const Entry& e : entries_) {
      if (e.key == key) return true;
    }
    return false;
  }
  void numberInto(ItemList* out) {
    std::sort(entries_.begin(), entries_.end(),
              [](const Entry& a, const Entry& b) { return a.key < b.key; });
    uint32_t id = 0;
    for (const Entry& e : entries_) {
      tarn::wire::set32(blob_, e.at + 8, ++id);
      out->addFlat(id, blob_.data() + e.at, e.size);
    }
  }

 private:
  struct Entry {
    Key key;
    size_t at, size;
  };
  std::vector<Entry> entries_;
  tarn::bytes blob_, scratch_;
};

}  // namespace

HostDevice::~HostDevice() {
  if (ioctlFd_ >= 0) close(ioctlFd_);
}

bool HostDevice::open(std::string* error) {
  if (!query_.open(0, error) || !events_.open(RTMGRP_LINK, error)) {
    return false;
  }
  ioctlFd_ = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  return true;
}

void HostDevice::watchLinks(tarn::ThinRunner* runner) {
  ItemList first;
  readLinks(&first);  // the states the first events are compared with
  runner->addSocket(events_.fd(), this, &HostDevice::onEvents, tarn::kEventRead);
}

void HostDevice::noteState(uint32_t id, LinkState s) {
  auto it = links_.find(id);
  const uint32_t bits = kStateAdminUp | kStateRunning;
  if (it != links_.end() && ((it->second.state ^ s.state) & bits) == 0) return;
  links_[id] = s;  // a new interface's first state is a change too
  linkChanged(id, s.flags, s.state);
}

void HostDevice::onEvents(int, unsigned) {
  cache_[kInterfaces].valid = false;
  bool complete = events_.drain([this](const nlmsghdr* h) {
    if (h->nlmsg_type == RTM_DELLINK) {
      links_.erase(static_cast<uint32_t>(
          static_cast<const ifinfomsg*>(NLMSG_DATA(h))->ifi_index));
    } else if (h->nlmsg_type == RTM_NEWLINK) {
      LinkInfo l;
      parseLink(h, &l);
      noteState(l.id, LinkState{l.flags, l.state});
    }
  });
  if (!complete) {  // events were lost: compare with a fresh reading
    ItemList fresh;
    readLinks(&fresh);
  }
}

uint32_t HostDevice::rateOf(const std::string& name) {
  ethtool_cmd cmd = ethtool_cmd();
  cmd.cmd = ETHTOOL_GSET;
  ifreq ifr = ifreq();
  strncpy(ifr.ifr_name, name.c_str(), IFNAMSIZ - 1);
  ifr.ifr_data = reinterpret_cast<char*>(&cmd);
  if (ioctlFd_ < 0 || ioctl(ioctlFd_, SIOCETHTOOL, &ifr) != 0) return 3;
  switch (ethtool_cmd_speed(&cmd)) {
    case 10: return 0;
    case 100: return 1;
    case 1000: return 2;
    default: return 3;  // faster, or unknown: no speed of its own
  }
}

void HostDevice::readLinks(ItemList* out) {
  counters_.clear();
  std::map<uint32_t, LinkState> seen;
  query_.dump(RTM_GETLINK, AF_UNSPEC, [&](const nlmsghdr* h) {
    if (h->nlmsg_type != RTM_NEWLINK) return;
    LinkInfo l;
    parseLink(h, &l);
    if (l.kind == kKindEthernet) {
      l.item.insert(tarn::u32_id(kIfRate), rateOf(l.name));
    }
    counters_[l.id] = l.counters;
    seen[l.id] = LinkState{l.flags, l.state};
    out->add(l.id, l.item);
  });
  out->sort(nullptr);
  if (links_.empty()) {  // the first reading: nothing to compare with
    links_ = seen;
    return;
  }
  // Normally the events came first and this finds nothing new; after lost
  // events it publishes what changed meanwhile.
  for (const auto& s : seen) noteState(s.first, s.second);
}

void HostDevice::readAddresses(ItemList* out) {
  Keyed all;
  query_.dump(RTM_GETADDR, AF_INET, [&](const nlmsghdr* h) {
    const ifaddrmsg* ifa = static_cast<const ifaddrmsg*>(NLMSG_DATA(h));
    if (h->nlmsg_type != RTM_NEWADDR || ifa->ifa_family != AF_INET) return;
    const rtattr* a[IFA_MAX + 1];
    parseAttrs(IFA_RTA(ifa), static_cast<int>(IFA_PAYLOAD(h)), a, IFA_MAX + 1);
    uint32_t addr = addrOf(a[IFA_LOCAL] ? a[IFA_LOCAL] : a[IFA_ADDRESS]);
    tarn::message m;
    m.insert(tarn::u32_id(1), addr);
    m.insert(tarn::u32_id(3), maskOf(ifa->ifa_prefixlen));
    m.insert(tarn::u32_id(5), ifa->ifa_index);
    m.insert(tarn::bool_id(kInvalid),
             (ifa->ifa_flags & (IFA_F_TENTATIVE | IFA_F_DADFAILED)) != 0);
    m.insert(tarn::bool_id(kDisabled), false);
    all.add(Key(ifa->ifa_index, hostFromBe32(addr), 0, 0), m);
  });
  all.numberInto(out);
}

void HostDevice::readNeighbours(ItemList* out) {
  Keyed all;
  query_.dump(RTM_GETNEIGH, AF_INET, [&](const nlmsghdr* h) {
    const ndmsg* nd = static_cast<const ndmsg*>(NLMSG_DATA(h));
    if (h->nlmsg_type != RTM_NEWNEIGH || nd->ndm_family != AF_INET ||
        (nd->ndm_state & NUD_NOARP)) {
      return;
    }
    const rtattr* a[NDA_MAX + 1];
    parseAttrs(reinterpret_cast<const rtattr*>(
                   reinterpret_cast<const uint8_t*>(nd) + NLMSG_ALIGN(sizeof *nd)),
               static_cast<int>(h->nlmsg_len - NLMSG_LENGTH(sizeof *nd)), a,
               NDA_MAX + 1);
    uint32_t addr = addrOf(a[NDA_DST]);
    tarn::message m;
    m.insert(tarn::u32_id(1), addr);
    m.insert(tarn::raw_id(2), attrBytes(a[NDA_LLADDR]));
    m.insert(tarn::u32_id(3), static_cast<uint32_t>(nd->ndm_ifindex));
    m.insert(tarn::bool_id(kDynamic), (nd->ndm_state & NUD_PERMANENT) == 0);
    m.insert(tarn::bool_id(kInvalid),
             (nd->ndm_state & (NUD_FAILED | NUD_INCOMPLETE)) != 0);
    all.add(
        Key(static_cast<uint32_t>(nd->ndm_ifindex), hostFromBe32(addr), 0, 0),
        m);
  });
  all.numberInto(out);
}

void HostDevice::readFdb(ItemList* out) {
  const ItemList* links = list(kInterfaces);
  Keyed all;
  query_.dump(RTM_GETNEIGH, AF_BRIDGE, [&](const nlmsghdr* h) {
    const ndmsg* nd = static_cast<const ndmsg*>(NLMSG_DATA(h));
    if (h->nlmsg_type != RTM_NEWNEIGH || nd->ndm_family != AF_BRIDGE) return;
    const rtattr* a[NDA_MAX + 1];
    parseAttrs(reinterpret_cast<const rtattr*>(
                   reinterpret_cast<const uint8_t*>(nd) + NLMSG_ALIGN(sizeof *nd)),
               static_cast<int>(h->nlmsg_len - NLMSG_LENGTH(sizeof *nd)), a,
               NDA_MAX + 1);
    tarn::bytes mac = attrBytes(a[NDA_LLADDR]);
    if (mac.size() != 6 || (mac[0] & 1)) return;  // unicast entries only
    uint32_t port = static_cast<uint32_t>(nd->ndm_ifindex);
    uint32_t bridge = a[NDA_MASTER] ? attrU32(a[NDA_MASTER]) : port;
    const Item* b = links->find(bridge);
    if (!b || decode(*b).get(tarn::u32_id(kIfKind), 0) != kKindBridge) return;
    uint32_t macHigh = (uint32_t{mac[0]} << 8) | mac[1];
    uint32_t macLow = (uint32_t{mac[2]} << 24) | (uint32_t{mac[3]} << 16) |
                      (uint32_t{mac[4]} << 8) | mac[5];
    Key key(bridge, macHigh, macLow, port);
    if (all.has(key)) return;  // the same entry in another VLAN
    tarn::message m;
    m.insert(tarn::u32_id(kFdbPort), port == bridge ? 0 : port);
    m.insert(tarn::raw_id(kFdbMac), mac);
    m.insert(tarn::u32_id(kFdbLocal), (nd->ndm_state & NUD_PERMANENT) ? 1 : 0);
    m.insert(tarn::u32_id(kFdbBridge), bridge);
    all.add(key, m);
  });
  all.numberInto(out);
}

void HostDevice::readRoutes(ItemList* out) {
  Keyed all;
  query_.dump(RTM_GETROUTE, AF_INET, [&](const nlmsghdr* h) {
    const rtmsg* rt = static_cast<const rtmsg*>(NLMSG_DATA(h));
    if (h->nlmsg_type != RTM_NEWROUTE || rt->rtm_family != AF_INET ||
        rt->rtm_type != RTN_UNICAST) {
      return;
    }
    const rtattr* a[RTA_MAX + 1];
    parseAttrs(RTM_RTA(rt), static_cast<int>(RTM_PAYLOAD(h)), a, RTA_MAX + 1);
    uint32_t table = a[RTA_TABLE] ? attrU32(a[RTA_TABLE]) : rt->rtm_table;
    if (table != RT_TABLE_MAIN) return;
    uint32_t kind = routeKind(rt->rtm_protocol);
    std::vector<uint32_t> gateways, interfaces, active;
    if (a[RTA_MULTIPATH]) {
      const rtnexthop* nh =
          static_cast<const rtnexthop*>(RTA_DATA(a[RTA_MULTIPATH]));
      int left = static_cast<int>(RTA_PAYLOAD(a[RTA_MULTIPATH]));
      while (left >= static_cast<int>(sizeof *nh) && nh->rtnh_len >= sizeof *nh &&
             nh->rtnh_len <= left) {
        const rtattr* na[RTA_MAX + 1];
        parseAttrs(RTNH_DATA(nh), nh->rtnh_len - static_cast<int>(sizeof *nh),
                   na, RTA_MAX + 1);
        gateways.push_back(addrOf(na[RTA_GATEWAY]));
        interfaces.push_back(static_cast<uint32_t>(nh->rtnh_ifindex));
        active.push_back((nh->rtnh_flags & (RTNH_F_DEAD | RTNH_F_LINKDOWN)) ? 0 : 1);
        left -= RTNH_ALIGN(nh->rtnh_len);
        nh = RTNH_NEXT(nh);
      }
    } else {
      gateways.push_back(addrOf(a[RTA_GATEWAY]));
      interfaces.push_back(attrU32(a[RTA_OIF]));
      active.push_back((rt->rtm_flags & (RTNH_F_DEAD | RTNH_F_LINKDOWN)) ? 0 : 1);
    }
    uint32_t dst = addrOf(a[RTA_DST]);
    tarn::message m;
    m.insert(tarn::u32_id(kRtDst), dst);
    m.insert(tarn::u32_id(kRtMask), maskOf(rt->rtm_dst_len));
    if (kind == kRouteDirect && gateways.size() == 1) {
      // A connected route: its next hop is the gateway if there is one,
      // else the interface's own address.
      m.insert(tarn::u32_id(kRtNextHop),
               gateways[0] ? gateways[0] : addrOf(a[RTA_PREFSRC]));
      m.insert(tarn::u32_array_id(kRtInterfaces), interfaces);
    } else {
      m.insert(tarn::u32_array_id(kRtGateways), gateways);
      m.insert(tarn::u32_array_id(kRtInterfaces), interfaces);
      m.insert(tarn::u32_array_id(kRtActive), active);
    }
    m.insert(tarn::u32_id(kRtKind), kind);
    uint32_t metric = attrU32(a[RTA_PRIORITY]);
    m.insert(tarn::u32_id(kRtMetric), metric);
    all.add(Key(hostFromBe32(dst), rt->rtm_dst_len, metric,
                         hostFromBe32(gateways[0])),
                     m);
  });
  all.numberInto(out);
}

const ItemList* HostDevice::list(Path p) {
  Cache& c = cache_[p];
  // The age counts from the end of the reading: a table that takes longer
  // than its life to read would otherwise be read again for every page.
  if (c.valid && tarn::nowMs() - c.readMs < c.lifeMs) return &c.list;
  const uint64_t started = tarn::nowMs();
  c.list.clear();
  if (p == kInterfaces) {
    readLinks(&c.list);
  } else if (p == kAddresses) {
    readAddresses(&c.list);
  } else if (p == kArp) {
    readNeighbours(&c.list);
  } else if (p == kFdb) {
    readFdb(&c.list);
  } else if (p == kRoutes) {
    readRoutes(&c.list);
  } else if (!(p == kVendor9 || p == kVendor12 || p == kScripts ||
               p == kPeers)) {
    return nullptr;  // the host has no such list; the others stay empty
  }
  c.readMs = tarn::nowMs();
  c.lifeMs = std::max(kCacheMs, kLifePerReadMs * (c.readMs - started));
  c.valid = true;
  return &c.list;
}

const ItemList* HostDevice::listToPage(Path p, bool continuing) {
  auto it = cache_.find(p);
  const uint64_t now = tarn::nowMs();
  if (continuing && it != cache_.end() && it->second.valid &&
      now - it->second.usedMs < it->second.lifeMs) {
    it->second.usedMs = now;
    return &it->second.list;
  }
  const ItemList* l = list(p);
  if (l) cache_[p].usedMs = tarn::nowMs();
  return l;
}

bool HostDevice::settings(Path p, tarn::message* out) {
  if (p == kClock) {
    info_.clock(out);
  } else if (p == kIdentity) {
    info_.identity(out);
  } else if (p == kResources) {
    info_.resources(out);
  } else if (p == kHealth) {
    info_.health(out);
  } else if (p == kSoftware) {
    info_.software(out);
  } else {
    return false;
  }
  return true;
}

tarn::message HostDevice::setSettings(Path p, const tarn::message& request) {
  tarn::message fields;
  mergeFields(request, &fields);
  if (fields.empty()) return tarn::message();  // nothing to change
  if (p == kIdentity && fields.fields().size() == 1 &&
      fields.has(tarn::string_id(kHostName))) {
    std::string name = fields.get(tarn::string_id(kHostName), "");
    if (!options_.allowHostname) {
      tarn::diag("host name change to \"" + name +
                 "\": refused (start with --allow-hostname to allow it)");
      return tarn::errorMsg(tarn::kErrDenied, "not allowed; start "
                            "tarn-routerd with --allow-hostname");
    }
    std::string error;
    if (!HostInfo::setHostName(name, &error)) {
      return tarn::errorMsg(tarn::kErrConflict, error);
    }
    tarn::diag("host name changed to \"" + name + "\"");
    return tarn::message();
  }
  return tarn::errorMsg(tarn::kErrUnsupported, "read-only on the host");
}

tarn::message HostDevice::setObject(Path, uint32_t, const tarn::message&) {
  return tarn::errorMsg(tarn::kErrUnsupported, "read-only on the host");
}

bool HostDevice::counters(uint32_t id, tarn::message* out) {
  list(kInterfaces);  // counters come with the link table
  auto it = counters_.find(id);
  if (it == counters_.end()) return false;
  mergeFields(it->second, out);
  return true;
}

tarn::message HostDevice::setLink(uint32_t, const tarn::message&) {
  return tarn::errorMsg(tarn::kErrUnsupported,
                        "the host's links follow the kernel");
}

tarn::message HostDevice::runScript(uint32_t) {
  return tarn::errorMsg(tarn::kErrNoObject, "no such script");
}

tarn::message HostDevice::reboot() {
  sync();
  if (::reboot(RB_AUTOBOOT) != 0) {
    return tarn::errorMsg(tarn::kErrConflict,
                          std::string("reboot failed: ") + strerror(errno));
  }
  return tarn::message();
}

}  // namespace router
