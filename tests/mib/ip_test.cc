// The IP group's and vendor tables' record builders, and the route tables
// as a walk sees them.
#include "mib/ip.h"

#include "mib/vendor_tables.h"
#include "tests/mib/mib_fixture.h"

namespace {

using tarn::message;

const unsigned kA = 0x0A000001, kB = 0x0A000002;

// A route to 192.168.1.0/24 (next hop f 3 192.168.1.254) of `kind`;
// arrays given empty are left out.
message route(unsigned kind, std::vector<uint32_t> gateways,
              std::vector<uint32_t> interfaces, std::vector<uint32_t> active,
              unsigned skipFlag = 0) {
  message m = u32Message({{1, be32(0xC0A80100)}, {2, be32(0xFFFFFF00)},
                          {3, be32(0xC0A801FE)}, {7, kind}, {8, 20}});
  for (uint32_t& g : gateways) g = be32(g);
  if (!gateways.empty()) m.insert(tarn::be32_array_id(4), gateways);
  if (!interfaces.empty()) m.insert(tarn::u32_array_id(5), interfaces);
  if (!active.empty()) m.insert(tarn::u32_array_id(6), active);
  if (skipFlag) m.insert(tarn::bool_id(skipFlag), true);
  return m;
}

// "next hop/interface type protocol cidrType cidrProtocol" per row.
std::string rows(const message& m) {
  std::vector<RouteRecord*> out = built<RouteRecord>(RouteRecord::build, m);
  std::string s;
  char buf[64];
  for (RouteRecord* r : out) {
    EXPECT_EQ(r->destination, 0xC0A80100u);
    EXPECT_EQ(r->mask, 0xFFFFFF00u);
    EXPECT_EQ(r->metric, 20);
    snprintf(buf, sizeof buf, "%s%08x/%d %d %d %d %d", s.empty() ? "" : ", ",
             r->nextHop, r->interfaceIndex, r->routeType, r->protocol,
             r->cidrRouteType, r->cidrProtocol);
    s += buf;
  }
  freeAll(out);
  return s;
}

TEST(RouteRecord, OneRowPerActiveGatewayClassifiedByKind) {
  struct Case {
    message in;
    std::string rows;
  } cases[] = {
      {route(2, {}, {3}, {}), "c0a801fe/3 3 1 3 2"},
      {route(2, {}, {}, {}), "c0a801fe/0 3 1 3 2"},
      {route(3, {kA, kB}, {1, 2}, {}), "0a000001/1 4 2 4 3, 0a000002/2 4 2 4 3"},
      {route(8, {kA, kB}, {1, 2}, {1, 0}), "0a000001/1 4 14 4 14"},
      {route(6, {kA, kB}, {1, 2}, {0, 1}), "0a000002/2 4 13 4 13"},
      {route(5, {}, {3}, {}), ""},
      {route(3, {kA}, {}, {}), ""},
      {route(3, {kA}, {1}, {}, 0xfe0008), ""},
      {route(3, {kA}, {1}, {}, 0xfe000a), ""},
      {route(30, {kA}, {1}, {}), "0a000001/1 4 2 4 3"},
      {route(31, {kA}, {1}, {}), "0a000001/1 4 1 3 2"},
      {route(32, {kA}, {1}, {}), "0a000001/1 4 1 1 1"},
  };
  for (const Case& c : cases) EXPECT_EQ(rows(c.in), c.rows) << c.in;
}

TEST(IpRecords, AddressSkipsAndArpType) {
  struct Case {
    bool invalid, disabledOrDynamic;
    size_t addresses;
    int arpType;
  } cases[] = {
      {false, false, 1, 4}, {true, false, 0, 2}, {false, true, 0, 3},
      {true, true, 0, 2},
  };
  for (const Case& c : cases) {
    message m = u32Message({{1, be32(kA)}, {3, be32(0xFFFF0000)}, {5, 4}});
    m.insert(tarn::bool_id(0xfe0008), c.invalid);
    m.insert(tarn::bool_id(0xfe000a), c.disabledOrDynamic);
    m.insert(tarn::bool_id(0xfe0007), c.disabledOrDynamic);
    auto addresses = built<IpAddressRecord>(IpAddressRecord::build, m);
    ASSERT_EQ(addresses.size(), c.addresses);
    for (IpAddressRecord* a : addresses) EXPECT_EQ(a->netMask, 0xFFFF0000u);
    auto arp = built<ArpRecord>(ArpRecord::build, m);
    EXPECT_EQ(arp.at(0)->type, c.arpType) << c.invalid << c.disabledOrDynamic;
    EXPECT_EQ(arp[0]->address, kA);
    freeAll(addresses);
    freeAll(arp);
  }
}

TEST(VendorTables, AddressPairAndLabelRules) {
  struct Case {
    std::vector<uint32_t> pair;
    std::string octets;
    unsigned first, second;
    std::string label;
  } cases[] = {
      {{}, "", 0, 0, ""},
      {{be32(kA)}, "abcdefg", 0, 0, ""},
      {{be32(kA), be32(kB)}, "abcdefgh", kA, kB, "abcdefgh"},
      {{be32(kB), be32(kA), 0}, std::string("ab\0cdefgh", 9), kB, kA, "ab"},
  };
  for (const Case& c : cases) {
    message m = u32Message({{201, 9}});
    m.insert(tarn::be32_array_id(105), c.pair);
    m.insert(tarn::raw_id(12), tarn::bytes(c.octets.begin(), c.octets.end()));
    m.insert(tarn::u64_id(200), 0x100000007ull);
    auto t21 = built<VendorTable21Record>(VendorTable21Record::build, m);
    auto t22 = built<VendorTable22Record>(VendorTable22Record::build, m);
    EXPECT_EQ(t21.at(0)->firstAddress, c.first) << c.pair.size();
    EXPECT_EQ(t21[0]->secondAddress, c.second) << c.pair.size();
    EXPECT_EQ(t22.at(0)->label, c.label) << c.octets;
    EXPECT_EQ(t22[0]->secondCounterLow, 7);
    EXPECT_EQ(t22[0]->fourthCounter, 9);
    freeAll(t21);
    freeAll(t22);
  }
}

class IpModuleTest : public MibTest {};

TEST_F(IpModuleTest, RouteTablesCountAndVendorPageSize) {
  FakeService& routes = bus.at(44, 1);
  FakeService& vendor = bus.at(20, 9);
  routes.answer = [](const message& req) {
    if (req.get(tarn::u32_id(tarn::kFieldCmd), 0) == tarn::kCmdGetCount)
      return u32Message({{tarn::kFieldCount, 2}});
    return FakeService::page({route(3, {kA, kB}, {1, 2}, {}), route(2, {}, {5}, {})});
  };
  IpModule ip;
  VendorTablesModule vendorTables;
  const OID cidr("1.3.6.1.2.1.4.24.4.1"), classic("1.3.6.1.2.1.4.21.1");
  // CIDR rows by destination, mask, tos 0 and next hop; the classic table
  // keeps one row per destination.
  EXPECT_EQ(walk(cidr + 1),
            ".192.168.1.0.255.255.255.0.0.10.0.0.1 "
            ".192.168.1.0.255.255.255.0.0.10.0.0.2 "
            ".192.168.1.0.255.255.255.0.0.192.168.1.254");
  EXPECT_EQ(walk(classic + 1), ".192.168.1.0");
  const OID row{192, 168, 1, 0, 255, 255, 255, 0, 0, 10, 0, 0, 2};
  EXPECT_EQ(value(cidr + 5, row), "02 01 02");
  EXPECT_EQ(value(cidr + 9, row), "06 01 00");
  EXPECT_EQ(value(cidr + 12, row), "02 01 ff");
  EXPECT_EQ(scalar("1.3.6.1.2.1.4.24.3"), "42 01 02");  // the service's count
  EXPECT_EQ(scalar("1.3.6.1.2.1.4.2"), "02 02 00 ff");
  vendorTables.provider21.updateTables();
  EXPECT_EQ(vendor.u32(0, tarn::kFieldMaxCount), 7u);
}

}  // namespace
