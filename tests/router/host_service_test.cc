// tarn-routerd --host in a private network namespace that the test builds
// (veth pair, bridge with a port, macvlan, addresses, a static neighbour,
// routes of several protocols): the bus answers are checked against what
// the test made and against what the kernel itself reports.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <functional>
#include <map>
#include <tuple>

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

const message* find(const std::vector<message>& list, std::function<bool(const message&)> pred) {
  for (const message& m : list) {
    if (pred(m)) return &m;
  }
  return nullptr;
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
    for (const message& m : client_->walk(20, 0, 2)) byName_[m.get(string_id(0x10006), "")] = m;
  }
  void TearDown() override {
    if (routerd_) {
      EXPECT_EQ(0, routerd_->stop()) << routerd_->log();
    }
  }
  uint32_t id(const std::string& name) { return byName_[name].get(u32_id(kFieldObjId), 0); }

  tarn_test::TempRoot root_;
  std::unique_ptr<Routerd> routerd_;
  std::unique_ptr<Client> client_;
  std::map<std::string, message> byName_;
};

TEST_F(HostTest, InterfacesAndCounters) {
  ASSERT_EQ(5u, byName_.size());
  struct {
    const char* name;
    uint32_t kind, flags, state, mtu;
    bool disabled;
    bytes mac;
  } cases[] = {{"lo", 3, 128, 0x500, 65536, false, bytes(6, 0)},
               {"v0", 1, 0, 0x500, 1400, false, {2, 0, 0, 0, 0, 1}},
               {"v1", 1, 0, 0x500, 1500, false, {2, 0, 0, 0, 0, 2}},
               {"br0", 12, 0, 0x500, 1500, false, {2, 0, 0, 0, 0, 0x0b}},
               {"mv0", 1, 0, 0, 1400, true, {2, 0, 0, 0, 0, 0x0c}}};
  for (const auto& c : cases) {
    const message& m = byName_[c.name];
    // "3: v0@v1: <BROADCAST,..." from the kernel
    const std::string index = routerd_->output(std::string("ip -o link show ") + c.name);
    EXPECT_EQ(std::stoul("0" + index), m.get(u32_id(kFieldObjId), 0)) << c.name;
    EXPECT_EQ(c.kind, m.get(u32_id(0x10001), 0)) << c.name;
    EXPECT_EQ(c.flags, m.get(u32_id(0x10002), 9)) << c.name;
    EXPECT_EQ(c.state, m.get(u32_id(0x10003), 0)) << c.name;
    EXPECT_EQ(c.mtu, m.get(u32_id(0x10064), 0)) << c.name;
    EXPECT_EQ(c.disabled, m.get(bool_id(0xfe000a), !c.disabled)) << c.name;
    EXPECT_EQ(c.mac, m.get(raw_id(1001), bytes())) << c.name;
  }
  EXPECT_EQ(32768u, byName_["br0"].get(u32_id(2), 0));

  // "  v0: rxbytes rxpkts errs drop fifo frame compressed multicast txbytes
  //  txpkts ..." against the object, read again while the kernel still
  // sends (a late multicast report, say). The datagram went v0 to v1.
  auto proc = [&](const std::string& name) {
    std::istringstream dev(router_test::readAll("/proc/" + std::to_string(routerd_->pid()) + "/net/dev"));
    std::vector<uint64_t> v(10);
    for (std::string line; std::getline(dev, line);) {
      if (line.find(" " + name + ":") != std::string::npos) {
        std::istringstream in(line.substr(line.find(':') + 1));
        for (uint64_t& x : v) in >> x;
      }
    }
    return v;
  };
  for (const std::string name : {"v0", "v1"}) {
    message req, r;
    req.insert(u32_id(kFieldObjId), id(name));
    std::vector<uint64_t> v, after;
    for (int i = 0; i < 20 && (v.empty() || v != after); ++i) {
      v = proc(name);
      r = client_->ask(20, 0, kCmdGetObj, req);
      after = proc(name);
    }
    EXPECT_TRUE(v[0] == r.get(u64_id(0x100fc), 1) && v[1] == r.get(u64_id(0x100fe), 1) &&
                v[8] == r.get(u64_id(0x100fd), 1) && v[9] == r.get(u64_id(0x100ff), 1) &&
                v[2] == r.get(u32_id(0x100fa), 1) && v[3] == r.get(u32_id(0x100f8), 1))
        << name << ": " << r;
    EXPECT_LE(1u, v[name == "v0" ? 9 : 1]) << name;
  }
}

TEST_F(HostTest, AddressesNeighboursBridgeAndRoutes) {
  const std::vector<message> addrs = client_->walk(20, 1, 1);
  EXPECT_EQ(3u, addrs.size());
  for (const auto& a : {std::make_tuple(ip(127, 0, 0, 1), ip(255, 0, 0, 0), "lo"),
                        std::make_tuple(ip(10, 1, 0, 1), ip(255, 255, 255, 0), "v0"),
                        std::make_tuple(ip(10, 2, 0, 1), ip(255, 255, 0, 0), "br0")}) {
    EXPECT_TRUE(find(addrs, [&](const message& m) {
      return m.get(u32_id(1), 0) == std::get<0>(a) && m.get(u32_id(3), 0) == std::get<1>(a) &&
             m.get(u32_id(5), 0) == id(std::get<2>(a));
    })) << std::get<2>(a);
  }
  const std::vector<message> arp = client_->walk(20, 8, 0);
  ASSERT_EQ(1u, arp.size());
  EXPECT_EQ(ip(10, 1, 0, 9), arp[0].get(u32_id(1), 0));
  EXPECT_EQ((bytes{2, 0, 0, 0, 0, 9}), arp[0].get(raw_id(2), bytes()));
  EXPECT_EQ(id("v0"), arp[0].get(u32_id(3), 0));
  EXPECT_FALSE(arp[0].get(bool_id(0xfe0007), true));  // static

  const std::vector<message> fdb = client_->walk(16, 3, 0);
  for (const auto& f : {std::make_tuple(0x55, id("v1"), 0u), std::make_tuple(0x02, id("v1"), 1u),
                        std::make_tuple(0x0b, 0u, 1u)}) {
    EXPECT_TRUE(find(fdb, [&](const message& m) {
      return m.get(raw_id(2), bytes()) == bytes{2, 0, 0, 0, 0, uint8_t(std::get<0>(f))} &&
             m.get(u32_id(1), 9) == std::get<1>(f) && m.get(u32_id(4), 9) == std::get<2>(f) &&
             m.get(u32_id(5), 0) == id("br0");
    })) << "mac ..:" << std::get<0>(f);
  }

  // Kinds: 2 local, 3 static, 4 rip, 6 ospf, 8 bgp.
  const std::vector<message> routes = client_->walk(44, 1, 2);
  struct {
    uint32_t dst, kind;
    size_t gateways;
    uint32_t metric;
  } cases[] = {{ip(10, 1, 0, 0), 2, 0, 0},  {ip(10, 2, 0, 0), 2, 0, 0},
               {ip(10, 20, 0, 0), 3, 1, 0}, {ip(10, 30, 0, 0), 6, 1, 0},
               {ip(10, 40, 0, 0), 8, 1, 7}, {ip(10, 50, 0, 0), 4, 1, 0},
               {ip(10, 60, 0, 0), 3, 2, 0}};
  for (const auto& r : cases) {
    const message* m = find(routes, [&](const message& x) { return x.get(u32_id(1), 0) == r.dst; });
    ASSERT_TRUE(m) << std::hex << r.dst;
    EXPECT_EQ(r.kind, m->get(u32_id(7), 0)) << *m;
    EXPECT_EQ(r.gateways, m->get(u32_array_id(4)).size()) << *m;
    EXPECT_EQ(r.metric, m->get(u32_id(8), 99)) << *m;
    if (r.kind == 2) {
      EXPECT_EQ(r.dst | ip(0, 0, 0, 1), m->get(u32_id(3), 0)) << *m;
    } else {
      EXPECT_EQ(ip(10, 1, 0, 9), m->get(u32_array_id(4))[0]) << *m;
    }
  }
  EXPECT_EQ(routes.size(), client_->ask(44, 1, kCmdGetCount).get(u32_id(kFieldCount), 0));
}

// The host's own values, and the changes a host stand-in refuses.
TEST_F(HostTest, SystemValuesAndRefusedChanges) {
  char host[256] = {0};
  gethostname(host, sizeof host - 1);
  EXPECT_EQ(host, client_->ask(24, 1, kCmdGet).get(string_id(12), ""));
  EXPECT_NEAR(time(nullptr), client_->ask(24, 0, kCmdGet).get(u32_id(7), 0), 5);
  const std::string meminfo = router_test::readAll("/proc/meminfo");
  EXPECT_EQ(std::stoul(meminfo.substr(meminfo.find(':') + 1)),
            client_->ask(24, 2, kCmdGet).get(u32_id(2), 0));
  EXPECT_EQ(0u, client_->ask(65, 0, kCmdGet).get(string_id(1), "").find("Linux "));
  message name, rename;
  name.insert(string_id(12), std::string("elsewhere"));
  rename.insert(u32_id(kFieldObjId), id("v0"));
  rename.insert(string_id(0x10006), std::string("x"));
  unsigned code = 0;
  EXPECT_TRUE(isError(client_->ask(24, 1, kCmdSet, name), &code));
  EXPECT_EQ(static_cast<unsigned>(kErrDenied), code);
  EXPECT_TRUE(isError(client_->ask(20, 0, kCmdSetObj, rename)));
  EXPECT_TRUE(isError(client_->ask(24, 0, 5)));  // reboot
}

}  // namespace
