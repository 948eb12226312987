// tarn-routerd --host in a private network namespace that the test builds
// (veth pair, bridge with a port, macvlan, addresses, a static neighbour,
// routes of several protocols): the bus answers are checked against what
// the test made and against what the kernel itself reports.
#include <gtest/gtest.h>
#include <arpa/inet.h>
#include <unistd.h>

#include <map>
#include <sstream>

#include "tests/platform/test_root.h"
#include "tests/router/routerd.h"

using namespace tarn;
using router_test::Client;
using router_test::Routerd;

namespace {

const char kSetup[] =
    "echo 1 > /proc/sys/net/ipv6/conf/all/disable_ipv6;"
    "echo 1 > /proc/sys/net/ipv6/conf/default/disable_ipv6;"
    "ip link set lo up;"
    "ip link add v0 address 02:00:00:00:00:01 mtu 1400 type veth peer name v1 "
    "  address 02:00:00:00:00:02;"
    "ip link add br0 address 02:00:00:00:00:0b type bridge;"
    "ip link set v1 master br0;"
    "ip link add mv0 link v0 address 02:00:00:00:00:0c type macvlan;"
    "for l in v0 v1 br0; do ip link set $l up; done;"
    "ip addr add 10.1.0.1/24 dev v0;"
    "ip addr add 10.2.0.1/16 dev br0;"
    "ip neigh add 10.1.0.9 lladdr 02:00:00:00:00:09 dev v0 nud permanent;"
    "ip route add 10.20.0.0/16 via 10.1.0.9;"
    "ip route add 10.30.0.0/16 via 10.1.0.9 proto ospf;"
    "ip route add 10.40.0.0/16 via 10.1.0.9 proto bgp metric 7;"
    "ip route add 10.50.0.0/16 via 10.1.0.9 proto rip;"
    "ip route add 10.60.0.0/16 nexthop via 10.1.0.9 nexthop via 10.1.0.10;"
    "bridge fdb add 02:00:00:00:00:55 dev v1 master static;"
    "echo x > /dev/udp/10.1.0.9/9";

// A be32 value: the address bytes in network order.
uint32_t ip(uint32_t a, uint32_t b, uint32_t c, uint32_t d) {
  return htonl((a << 24) | (b << 16) | (c << 8) | d);
}

class HostTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (geteuid() != 0) GTEST_SKIP() << "needs root for a network namespace";
    routerd_.reset(new Routerd(root_.dir(), {"--host"}, kSetup));
    client_.reset(new Client());
    bool ready = routerd_->ready(*client_);
    if (!ready && routerd_->exitStatus() == router_test::kNoNetns) {
      GTEST_SKIP() << "cannot make a network namespace here";
    }
    ASSERT_TRUE(ready) << routerd_->log();
    for (const message& m : client_->walk(20, 0, 2)) {
      byName_[m.get(string_id(0x10006), "")] = m;
    }
  }
  void TearDown() override {
    if (routerd_) {
      EXPECT_EQ(0, routerd_->stop()) << routerd_->log();
    }
  }
  uint32_t id(const std::string& name) {
    return byName_[name].get(u32_id(kFieldObjId), 0);
  }

  tarn_test::TempRoot root_;
  std::unique_ptr<Routerd> routerd_;
  std::unique_ptr<Client> client_;
  std::map<std::string, message> byName_;
};

TEST_F(HostTest, InterfacesAsTheKernelReportsThem) {
  // "3: v0@v1: <BROADCAST,MULTICAST,UP,LOWER_UP> mtu 1400 ..." per line.
  std::istringstream kernel(routerd_->output("ip -o link show"));
  std::string line;
  size_t seen = 0;
  while (std::getline(kernel, line)) {
    std::istringstream in(line);
    std::string index, name, flags, mtuWord;
    uint32_t mtu = 0;
    in >> index >> name >> flags >> mtuWord >> mtu;
    name = name.substr(0, name.find_first_of("@:"));
    const message& m = byName_[name];
    EXPECT_EQ(std::stoul(index), m.get(u32_id(kFieldObjId), 0)) << line;
    EXPECT_EQ(mtu, m.get(u32_id(0x10064), 0)) << line;
    bool up = flags.find(",UP") != std::string::npos || flags.find("<UP") != std::string::npos;
    EXPECT_EQ(up, !m.get(bool_id(0xfe000a), true)) << line;
    ++seen;
  }
  EXPECT_EQ(byName_.size(), seen);
  struct Case { const char* name; uint32_t kind, flags, state; bytes mac; };
  for (const Case& c : std::vector<Case>{
           {"lo", 3, 128, 0x500, bytes(6, 0)},
           {"v0", 1, 0, 0x500, {2, 0, 0, 0, 0, 1}},
           {"v1", 1, 0, 0x500, {2, 0, 0, 0, 0, 2}},
           {"br0", 12, 0, 0x500, {2, 0, 0, 0, 0, 0x0b}},
           {"mv0", 1, 0, 0, {2, 0, 0, 0, 0, 0x0c}}}) {
    const message& m = byName_[c.name];
    EXPECT_EQ(c.kind, m.get(u32_id(0x10001), 0)) << c.name;
    EXPECT_EQ(c.flags, m.get(u32_id(0x10002), 9)) << c.name;
    EXPECT_EQ(c.state, m.get(u32_id(0x10003), 0)) << c.name;
    EXPECT_EQ(c.mac, m.get(raw_id(1001), bytes())) << c.name;
  }
  EXPECT_EQ(32768u, byName_["br0"].get(u32_id(2), 0));
}

TEST_F(HostTest, CountersMatchProcNetDev) {
  // "  v0: rxbytes rxpkts errs drop fifo frame compressed multicast txbytes
  //  txpkts errs drop ..."
  std::istringstream dev(router_test::readAll(
      "/proc/" + std::to_string(routerd_->pid()) + "/net/dev"));
  std::string line;
  int checked = 0;
  while (std::getline(dev, line)) {
    size_t colon = line.find(':');
    if (colon == std::string::npos) continue;
    std::string name = line.substr(line.find_first_not_of(' '), colon - line.find_first_not_of(' '));
    if (name != "v0" && name != "v1") continue;
    std::istringstream in(line.substr(colon + 1));
    uint64_t v[16];
    for (uint64_t& x : v) in >> x;
    message req;
    req.insert(u32_id(kFieldObjId), id(name));
    message r = client_->ask(20, 0, kCmdGetObj, req);
    EXPECT_EQ(v[0], r.get(u64_id(0x100fc), 1)) << name;
    EXPECT_EQ(v[1], r.get(u64_id(0x100fe), 1)) << name;
    EXPECT_EQ(v[8], r.get(u64_id(0x100fd), 1)) << name;
    EXPECT_EQ(v[9], r.get(u64_id(0x100ff), 1)) << name;
    EXPECT_EQ(v[2], r.get(u32_id(0x100fa), 1)) << name;
    EXPECT_EQ(v[3], r.get(u32_id(0x100f8), 1)) << name;
    ++checked;
  }
  EXPECT_EQ(2, checked);
  EXPECT_EQ(1u, [&] {
    message req;
    req.insert(u32_id(kFieldObjId), id("v0"));
    return client_->ask(20, 0, kCmdGetObj, req).get(u64_id(0x100ff), 0);
  }());
}

TEST_F(HostTest, AddressesNeighboursAndBridgeEntries) {
  struct Addr { uint32_t addr, mask; const char* ifname; };
  std::vector<message> addrs = client_->walk(20, 1, 1);
  std::vector<Addr> want{{ip(127, 0, 0, 1), ip(255, 0, 0, 0), "lo"},
                         {ip(10, 1, 0, 1), ip(255, 255, 255, 0), "v0"},
                         {ip(10, 2, 0, 1), ip(255, 255, 0, 0), "br0"}};
  ASSERT_EQ(want.size(), addrs.size());
  for (const Addr& a : want) {
    bool found = false;
    for (const message& m : addrs) {
      found |= m.get(u32_id(1), 0) == a.addr && m.get(u32_id(3), 0) == a.mask &&
               m.get(u32_id(5), 0) == id(a.ifname);
    }
    EXPECT_TRUE(found) << a.ifname;
  }
  std::vector<message> arp = client_->walk(20, 8, 0);
  ASSERT_EQ(1u, arp.size());
  EXPECT_EQ(ip(10, 1, 0, 9), arp[0].get(u32_id(1), 0));
  EXPECT_EQ((bytes{2, 0, 0, 0, 0, 9}), arp[0].get(raw_id(2), bytes()));
  EXPECT_EQ(id("v0"), arp[0].get(u32_id(3), 0));
  EXPECT_FALSE(arp[0].get(bool_id(0xfe0007), true));  // static

  struct Fdb { uint8_t last; uint32_t port; uint32_t local; };
  std::vector<message> fdb = client_->walk(16, 3, 0);
  for (const Fdb& f : std::vector<Fdb>{{0x55, id("v1"), 0}, {0x02, id("v1"), 1},
                                       {0x0b, 0, 1}}) {
    bool found = false;
    for (const message& m : fdb) {
      found |= m.get(raw_id(2), bytes()) == bytes{2, 0, 0, 0, 0, f.last} &&
               m.get(u32_id(1), 9) == f.port && m.get(u32_id(4), 9) == f.local &&
               m.get(u32_id(5), 0) == id("br0");
    }
    EXPECT_TRUE(found) << "mac ..:" << int{f.last};
  }
}

TEST_F(HostTest, RouteKindsByProtocol) {
  struct Route { uint32_t dst; uint32_t kind; size_t gateways; uint32_t metric; };
  std::vector<message> routes = client_->walk(44, 1, 2);
  for (const Route& r : std::vector<Route>{{ip(10, 1, 0, 0), 2, 0, 0},
                                           {ip(10, 2, 0, 0), 2, 0, 0},
                                           {ip(10, 20, 0, 0), 3, 1, 0},
                                           {ip(10, 30, 0, 0), 6, 1, 0},
                                           {ip(10, 40, 0, 0), 8, 1, 7},
                                           {ip(10, 50, 0, 0), 4, 1, 0},
                                           {ip(10, 60, 0, 0), 3, 2, 0}}) {
    const message* found = nullptr;
    for (const message& m : routes) {
      if (m.get(u32_id(1), 0) == r.dst) found = &m;
    }
    ASSERT_TRUE(found) << std::hex << r.dst;
    EXPECT_EQ(r.kind, found->get(u32_id(7), 0)) << *found;
    EXPECT_EQ(r.gateways, found->get(u32_array_id(4)).size()) << *found;
    EXPECT_EQ(r.metric, found->get(u32_id(8), 99)) << *found;
    if (r.kind == 2) {
      EXPECT_EQ(r.dst | ip(0, 0, 0, 1), found->get(u32_id(3), 0)) << *found;
    } else {
      EXPECT_EQ(ip(10, 1, 0, 9), found->get(u32_array_id(4))[0]) << *found;
    }
  }
  EXPECT_EQ(routes.size(), client_->ask(44, 1, kCmdGetCount).get(u32_id(kFieldCount), 0));
}

TEST_F(HostTest, KernelLinkChangesAreNotified) {
  message filter;
  filter.insert(u32_id(0x10002), 0);
  filter.insert(u32_id(0x10003), 128);
  client_->subscribe(u32_vector(20, 0), 0x10004, filter);
  client_->ask(20, 0, kCmdGetCount);  // the subscription is in place
  ASSERT_EQ(0, routerd_->inNetns("ip link set lo down"));
  ASSERT_EQ(0, routerd_->inNetns("ip link set v0 down"));
  auto stateOf = [&](uint32_t ifc) -> int64_t {
    int64_t last = -1;  // the latest state notified for ifc
    for (const message& e : client_->events) {
      if (e.get(u32_id(kFieldObjId), 0) == ifc) last = e.get(u32_id(0x10003), 0);
    }
    return last;
  };
  EXPECT_TRUE(client_->waitFor([&] { return stateOf(id("v0")) >= 0; }, 3000));
  EXPECT_EQ(0, stateOf(id("v0")));
  EXPECT_EQ(-1, stateOf(id("lo")));  // internal: filtered out
  client_->events.clear();
  ASSERT_EQ(0, routerd_->inNetns("ip link set v0 up"));
  EXPECT_TRUE(client_->waitFor([&] { return stateOf(id("v0")) == 0x500; }, 3000));
}

TEST_F(HostTest, SystemValuesAndGuardedChanges) {
  char host[256] = {0};
  gethostname(host, sizeof host - 1);
  EXPECT_EQ(host, client_->ask(24, 1, kCmdGet).get(string_id(12), ""));
  message name;
  name.insert(string_id(12), std::string("elsewhere"));
  unsigned code = 0;
  EXPECT_TRUE(isError(client_->ask(24, 1, kCmdSet, name), &code));
  EXPECT_EQ(static_cast<unsigned>(kErrDenied), code);
  uint32_t now = static_cast<uint32_t>(time(nullptr));
  EXPECT_NEAR(now, client_->ask(24, 0, kCmdGet).get(u32_id(7), 0), 5);
  std::string meminfo = router_test::readAll("/proc/meminfo");
  EXPECT_EQ(std::stoul(meminfo.substr(meminfo.find(':') + 1)),
            client_->ask(24, 2, kCmdGet).get(u32_id(2), 0));
  EXPECT_EQ(0u, client_->ask(65, 0, kCmdGet).get(string_id(1), "").find("Linux "));
  message set;
  set.insert(u32_id(kFieldObjId), id("v0"));
  set.insert(string_id(0x10006), std::string("x"));
  EXPECT_TRUE(isError(client_->ask(20, 0, kCmdSetObj, set)));
  EXPECT_TRUE(isError(client_->ask(24, 0, 5)));  // reboot refused
}

}  // namespace
