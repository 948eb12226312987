// The bridge objects: the first bridge interface and the forwarding
// database filtered to it.
#include "mib/bridge.h"

#include "data/table.h"
#include "engine/leaf.h"
#include "tests/mib/mib_fixture.h"

namespace {

using tarn::message;

message interface(unsigned id, unsigned kind) {
  message m = u32Message({{tarn::kFieldObjId, id}, {0x10001, kind}, {2, 32768}});
  m.insert(tarn::raw_id(1001), tarn::bytes{0, 0, 0, 0, 0, static_cast<uint8_t>(id)});
  return m;
}

message entry(unsigned bridge, uint8_t mac, unsigned self) {
  message m = u32Message({{1, mac}, {4, self}, {5, bridge}});
  m.insert(tarn::raw_id(2), tarn::bytes{2, 0, 0, 0, 0, mac});
  return m;
}

class BridgeTest : public MibTest {};

// "index port status;" per forwarding row, in walk order.
std::string fdbRows() {
  std::string s;
  Table* t = static_cast<ColumnarLeaf*>(leafs.at(OID("1.3.6.1.2.1.17.4.3.1.1")))->table;
  for (Table::Row r = t->getNext(OID()); r.second; r = t->getNext(r.first)) {
    const FdbRecord* f = static_cast<const FdbRecord*>(r.second);
    s += r.first.str() + " " + std::to_string(f->port) + " " + std::to_string(f->status) + ";";
  }
  return s;
}

// The first interface of the bridge kind is the bridge; without one the
// bridge scalars have no instance.
TEST_F(BridgeTest, ForwardingEntriesOfTheFirstBridgeOnly) {
  struct Case { std::vector<message> interfaces; std::string rows, address, priority; } cases[] = {
      {{interface(1, 1), interface(7, 12), interface(9, 12)}, ".2.0.0.0.0.2 2 3;.2.0.0.0.0.4 4 4;",
       "04 06 00 00 00 00 00 07", "02 03 00 80 00"},
      {{interface(9, 12), interface(7, 12)}, ".2.0.0.0.0.3 3 3;", "04 06 00 00 00 00 00 09", "02 03 00 80 00"},
      {{interface(1, 1)}, "", "none", "none"},
  };
  for (const Case& c : cases) {
    bus.at(20, 0).answer = [&](const message&) { return FakeService::page(c.interfaces); };
    bus.at(16, 3).answer = [](const message&) {
      return FakeService::page({entry(7, 2, 0), entry(9, 3, 0), entry(7, 4, 1)});
    };
    BridgeModule m;
    EXPECT_EQ(fdbRows(), c.rows);
    EXPECT_EQ(value(OID("1.3.6.1.2.1.17.1.1")), c.address);
    EXPECT_EQ(value(OID("1.3.6.1.2.1.17.2.2")), c.priority);
    ScopedRegistry::clear();
  }
}

}  // namespace
