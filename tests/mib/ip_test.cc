// The route record builder: one row per active gateway, classified by kind,
// and the routes it skips. (The served tables are pinned end to end.)
#include "mib/ip.h"

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
  struct Case { message in; std::string rows; } cases[] = {
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

}  // namespace
