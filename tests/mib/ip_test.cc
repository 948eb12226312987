// The IP group's and vendor tables' record builders, and the route tables
// as a walk sees them.
#include "mib/ip.h"

#include "mib/vendor_tables.h"
#include "tests/mib/mib_fixture.h"

namespace {

using tarn::message;

const unsigned kA = 0x0A000001, kB = 0x0A000002, kHop = 0xC0A801FE;

// A route to 192.168.1.0/24 of `kind`. Arrays given empty are left out.
message route(unsigned kind, std::vector<uint32_t> gateways,
              std::vector<uint32_t> interfaces, std::vector<uint32_t> active,
              bool invalid = false, bool disabled = false) {
  message m;
  m.insert(tarn::be32_id(1), be32(0xC0A80100));
  m.insert(tarn::be32_id(2), be32(0xFFFFFF00));
  m.insert(tarn::be32_id(3), be32(kHop));
  for (uint32_t& g : gateways) g = be32(g);
  if (!gateways.empty()) m.insert(tarn::be32_array_id(4), gateways);
  if (!interfaces.empty()) m.insert(tarn::u32_array_id(5), interfaces);
  if (!active.empty()) m.insert(tarn::u32_array_id(6), active);
  m.insert(tarn::u32_id(7), kind);
  m.insert(tarn::u32_id(8), 20);
  if (invalid) m.insert(tarn::bool_id(0xfe0008), true);
  if (disabled) m.insert(tarn::bool_id(0xfe000a), true);
  return m;
}

// "next hop/interface type protocol cidrType cidrProtocol" per row.
std::string rows(const message& m) {
  std::vector<RouteRecord*> out = built<RouteRecord>(RouteRecord::build, m);
  std::string s;
  char buf[80];
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
      {route(8, {kA, kB}, {1, 2}, {0, 1}), "0a000002/2 4 14 4 14"},
      {route(2, {kA}, {4}, {}), "0a000001/4 3 1 3 2"},
      {route(5, {}, {3}, {}), ""},
      {route(3, {kA}, {}, {}), ""},
      {route(3, {kA}, {1}, {}, true), ""},
      {route(3, {kA}, {1}, {}, false, true), ""},
      {route(4, {kA}, {1}, {}), "0a000001/1 4 8 4 8"},
      {route(6, {kA}, {1}, {}), "0a000001/1 4 13 4 13"},
      {route(7, {kA}, {1}, {}), "0a000001/1 4 1 1 1"},
      {route(29, {kA}, {1}, {}), "0a000001/1 4 1 1 1"},
      {route(30, {kA}, {1}, {}), "0a000001/1 4 2 4 3"},
      {route(31, {kA}, {1}, {}), "0a000001/1 4 1 3 2"},
      {route(1, {kA}, {1}, {}), "0a000001/1 4 1 1 1"},
      {route(32, {kA}, {1}, {}), "0a000001/1 4 1 1 1"},
  };
  for (const Case& c : cases) EXPECT_EQ(rows(c.in), c.rows) << c.in;
}

TEST(IpAddressRecord, InvalidOrDisabledAddressesAreSkipped) {
  struct Case {
    bool invalid, disabled;
    size_t rows;
  } cases[] = {{false, false, 1}, {true, false, 0}, {false, true, 0}};
  for (const Case& c : cases) {
    message m;
    m.insert(tarn::be32_id(1), be32(0x0A000001));
    m.insert(tarn::be32_id(3), be32(0xFFFF0000));
    m.insert(tarn::u32_id(5), 4);
    m.insert(tarn::bool_id(0xfe0008), c.invalid);
    m.insert(tarn::bool_id(0xfe000a), c.disabled);
    std::vector<IpAddressRecord*> out =
        built<IpAddressRecord>(IpAddressRecord::build, m);
    ASSERT_EQ(out.size(), c.rows);
    if (c.rows) {
      EXPECT_EQ(out[0]->address, 0x0A000001u);
      EXPECT_EQ(out[0]->netMask, 0xFFFF0000u);
      EXPECT_EQ(out[0]->interfaceIndex, 4);
    }
    freeAll(out);
  }
}

TEST(ArpRecord, TypeFromTheTwoFlags) {
  struct Case {
    bool invalid, dynamic;
    int type;
  } cases[] = {{true, true, 2}, {true, false, 2}, {false, true, 3},
               {false, false, 4}};
  for (const Case& c : cases) {
    message m;
    m.insert(tarn::bool_id(0xfe0008), c.invalid);
    m.insert(tarn::bool_id(0xfe0007), c.dynamic);
    std::vector<ArpRecord*> out = built<ArpRecord>(ArpRecord::build, m);
    EXPECT_EQ(out.at(0)->type, c.type) << c.invalid << c.dynamic;
    freeAll(out);
  }
}

TEST(VendorTables, AddressPairAndLabelRules) {
  struct Case21 {
    std::vector<uint32_t> pair;
    unsigned first, second;
  } cases21[] = {
      {{}, 0, 0},
      {{kA}, 0, 0},
      {{kA, kB}, kA, kB},
      {{kB, kA, kA}, kB, kA},
  };
  for (const Case21& c : cases21) {
    message m;
    std::vector<uint32_t> wire;
    for (uint32_t a : c.pair) wire.push_back(be32(a));
    m.insert(tarn::be32_array_id(105), wire);
    std::vector<VendorTable21Record*> out =
        built<VendorTable21Record>(VendorTable21Record::build, m);
    EXPECT_EQ(out.at(0)->firstAddress, c.first) << c.pair.size();
    EXPECT_EQ(out.at(0)->secondAddress, c.second) << c.pair.size();
    freeAll(out);
  }
  struct Case22 {
    std::string octets, label;
  } cases22[] = {
      {"", ""},
      {"abcdefg", ""},
      {"abcdefgh", "abcdefgh"},
      {std::string("ab\0cdefgh", 9), "ab"},
  };
  for (const Case22& c : cases22) {
    message m;
    m.insert(tarn::raw_id(12), tarn::bytes(c.octets.begin(), c.octets.end()));
    m.insert(tarn::u64_id(200), 0x100000007ull);
    std::vector<VendorTable22Record*> out =
        built<VendorTable22Record>(VendorTable22Record::build, m);
    EXPECT_EQ(out.at(0)->label, c.label) << c.octets;
    EXPECT_EQ(out.at(0)->secondCounterLow, 7);
    EXPECT_EQ(out.at(0)->secondCounter, 0x100000007ull);
    freeAll(out);
  }
}

class IpModuleTest : public MibTest {};

TEST_F(IpModuleTest, RouteTablesRowsCountAndConstants) {
  FakeService& routes = bus.at(44, 1);
  routes.answer = [](const message& req) {
    if (req.get(tarn::u32_id(tarn::kFieldCmd), 0) == tarn::kCmdGetCount)
      return u32Message({{tarn::kFieldCount, 2}});
    return FakeService::page({route(3, {kA, kB}, {1, 2}, {}),
                              route(2, {}, {5}, {})});
  };
  IpModule m;
  const OID cidr("1.3.6.1.2.1.4.24.4.1");
  const OID classic("1.3.6.1.2.1.4.21.1");
  // Three CIDR rows by destination, mask, tos 0, next hop; the classic
  // table keeps one row per destination.
  EXPECT_EQ(walk(cidr + 1),
            "192.168.1.0.255.255.255.0.0.10.0.0.1 "
            "192.168.1.0.255.255.255.0.0.10.0.0.2 "
            "192.168.1.0.255.255.255.0.0.192.168.1.254");
  EXPECT_EQ(walk(classic + 1), "192.168.1.0");
  EXPECT_EQ(routes.u32(0, tarn::kFieldMaxCount), 5u);
  const OID row{192, 168, 1, 0, 255, 255, 255, 0, 0, 10, 0, 0, 2};
  EXPECT_EQ(value(cidr + 5, row), "02 01 02");
  EXPECT_EQ(value(cidr + 9, row), "06 01 00");
  EXPECT_EQ(value(cidr + 12, row), "02 01 ff");
  EXPECT_EQ(value(classic + 13, OID{192, 168, 1, 0}), "06 01 00");
  EXPECT_EQ(scalar("1.3.6.1.2.1.4.24.3"), "42 01 02");  // the service's count
  EXPECT_EQ(scalar("1.3.6.1.2.1.4.1"), "02 01 01");
  EXPECT_EQ(scalar("1.3.6.1.2.1.4.2"), "02 02 00 ff");
}

TEST_F(IpModuleTest, VendorTablesAskSevenAPage) {
  FakeService& s21 = bus.at(20, 9);
  FakeService& s22 = bus.at(20, 12);
  VendorTablesModule m;
  m.provider21.updateTables();
  m.provider22.updateTables();
  EXPECT_EQ(s21.u32(0, tarn::kFieldMaxCount), 7u);
  EXPECT_EQ(s22.u32(0, tarn::kFieldMaxCount), 7u);
}

}  // namespace
