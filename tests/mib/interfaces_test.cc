// The interfaces module: speed and type by kind (with the parent lookup),
// row fields, per-interface counters, the link-state snapshot and the
// registered columns.
#include "mib/interfaces.h"

#include <algorithm>

#include "data/scribers.h"
#include "service/trap_makers.h"
#include "tests/mib/mib_fixture.h"

namespace {

using tarn::message;

message item(unsigned id, unsigned kind) {
  return u32Message({{tarn::kFieldObjId, id}, {0x10001, kind}});
}

class InterfacesTest : public MibTest {
 protected:
  InterfacesTest() : ifs(bus.at(20, 0)) {}
  InterfaceRecord* build(const message& m) {
    std::vector<InterfaceRecord*> out =
        built<InterfaceRecord>(InterfaceRecord::build, m);
    records.push_back(out.at(0));
    return out[0];
  }
  ~InterfacesTest() override { freeAll(records); }

  FakeService& ifs;
  std::vector<InterfaceRecord*> records;
};

TEST_F(InterfacesTest, SpeedAndTypeByKind) {
  // The parent of kind-30 interfaces: id 5 has rate 1, id 6 none, id 7
  // fails.
  ifs.answer = [](const message& req) {
    unsigned id = req.get(tarn::u32_id(tarn::kFieldObjId), 0);
    if (id == 7) return tarn::errorMsg(4, "no object");
    return id == 5 ? u32Message({{1010, 1}}) : message();
  };
  struct Case {
    unsigned kind;
    int rateOrParent;  // f 1010 for kind 1, f 2002 for kind 30; -1 absent
    int speed, type;
  } cases[] = {
      {1, 0, 10000000, 6},     {1, 1, 100000000, 6},  {1, 2, 1000000000, 6},
      {1, 3, 0, 6},            {1, -1, 10000000, 6},  {2, -1, 2000000, 188},
      {5, -1, 11000000, 71},   {6, -1, 10000000, 188}, {7, -1, 64000, 118},
      {11, -1, 10000000, 23},  {12, -1, 100000000, 209}, {15, -1, 64000, 63},
      {17, -1, 10000000, 131}, {19, -1, 57600, 23},   {21, -1, 128000, 131},
      {27, -1, 64000, 32},     {28, -1, 64000, 118},  {29, -1, 10000000, 1},
      {35, -1, 11000000, 71},  {0, -1, 10000000, 1},  {40, -1, 10000000, 1},
      {30, 5, 100000000, 135}, {30, 6, 0, 135},       {30, 7, 0, 135},
  };
  for (const Case& c : cases) {
    message m = item(1, c.kind);
    if (c.rateOrParent >= 0)
      m.insert(tarn::u32_id(c.kind == 30 ? 2002 : 1010),
               static_cast<unsigned>(c.rateOrParent));
    InterfaceRecord* r = build(m);
    EXPECT_EQ(r->speed, c.speed) << c.kind << " " << c.rateOrParent;
    EXPECT_EQ(r->type, c.type) << c.kind;
  }
  // Only kind 30 asks, for its parent by id with the get-object command.
  ASSERT_EQ(ifs.requests.size(), 3u);
  EXPECT_EQ(ifs.cmd(0), tarn::kCmdGetObj);
  EXPECT_EQ(ifs.u32(0, tarn::kFieldObjId), 5u);
}

TEST_F(InterfacesTest, StatusNameMtuAndHardwareAddress) {
  message m = item(3, 1);
  InterfaceRecord* bare = build(m);
  m.insert(tarn::bool_id(0x1000e), true);
  m.insert(tarn::bool_id(0xfe000a), true);
  m.insert(tarn::string_id(0x10006), "ether1");
  m.insert(tarn::u32_id(0x10064), 1500);
  m.insert(tarn::raw_id(1001), tarn::bytes{0, 1, 2, 3, 4, 5});
  InterfaceRecord* full = build(m);
  EXPECT_EQ(bare->operStatus, 2);
  EXPECT_EQ(bare->adminStatus, 1);
  EXPECT_TRUE(bare->hardwareAddress.empty());
  EXPECT_EQ(bare->mtu, 0);
  EXPECT_EQ(full->index, 3);
  EXPECT_EQ(full->operStatus, 1);
  EXPECT_EQ(full->adminStatus, 2);
  EXPECT_EQ(full->name, "ether1");
  EXPECT_EQ(full->mtu, 1500);
  EXPECT_EQ(full->hardwareAddress.size(), 6u);
}

TEST_F(InterfacesTest, ModuleServesRowsCountersOnceAndLinkStates) {
  ifs.answer = [](const message& req) {
    unsigned cmd = req.get(tarn::u32_id(tarn::kFieldCmd), 0);
    if (cmd == 1) {  // the link-state list, two pages
      if (!req.has(tarn::u32_id(tarn::kFieldStart))) {
        return FakeService::page(
            {u32Message({{tarn::kFieldObjId, 1}, {0x10002, 0}, {0x10003, 0xfff}}),
             u32Message({{tarn::kFieldObjId, 2}, {0x10002, 0x80}, {0x10003, 1}}),
             u32Message({{tarn::kFieldObjId, 3}, {0x10003, 1}})},
            4);
      }
      return FakeService::page(
          {u32Message({{tarn::kFieldObjId, 4}, {0x10002, 1}, {0x10003, 0x500}})});
    }
    if (cmd == tarn::kCmdGetAll) return FakeService::page({item(1, 1), item(2, 6)});
    if (cmd == tarn::kCmdGetCount) return u32Message({{tarn::kFieldCount, 2}});
    message counters;  // get one: the counters of interface 2
    counters.insert(tarn::u64_id(0x100fc), 4294967296ull + 5);
    counters.insert(tarn::u64_id(0x100ff), 7);
    counters.insert(tarn::u32_id(0x100f8), 9);
    return counters;
  };
  std::map<unsigned, unsigned> savedStates;
  savedStates.swap(linkStates);
  size_t scriberCount = scribers.size();
  {
    InterfacesModule m;
    EXPECT_EQ(linkStates, (std::map<unsigned, unsigned>{{1, 0x103}, {4, 0x100}}));
    ASSERT_EQ(scribers.size(), scriberCount + 1);
    EXPECT_EQ(scribers.back().name, "interfaces");

    const OID ifEntry("1.3.6.1.2.1.2.2.1"), ifXEntry("1.3.6.1.2.1.31.1.1.1");
    EXPECT_EQ(walk(ifEntry + 1), "1 2");
    EXPECT_EQ(scalar("1.3.6.1.2.1.2.1"), "02 01 02");
    size_t before = ifs.requests.size();
    EXPECT_EQ(value(ifEntry + 10, OID{2}), "41 01 05");
    EXPECT_EQ(value(ifXEntry + 6, OID{2}), "46 05 01 00 00 00 05");
    EXPECT_EQ(value(ifXEntry + 11, OID{2}), "46 01 07");
    EXPECT_EQ(value(ifEntry + 13, OID{2}), "41 01 09");
    EXPECT_EQ(value(ifEntry + 14, OID{2}), "41 01 00");
    ASSERT_EQ(ifs.requests.size(), before + 1);  // one exchange for the row
    EXPECT_EQ(ifs.cmd(before), tarn::kCmdGetObj);
    EXPECT_EQ(ifs.u32(before, tarn::kFieldObjId), 2u);
    EXPECT_EQ(ifs.u32(before, tarn::kFieldMaxCount), 256u);
    EXPECT_EQ(value(ifEntry + 5, OID{1}), "42 04 00 98 96 80");
    EXPECT_EQ(value(ifXEntry + 15, OID{1}), "42 01 00");
    EXPECT_EQ(value(ifEntry + 9, OID{2}), "43 01 00");

    // ifSpecific and ifXTable columns 14, 16 to 19 are not served.
    for (unsigned absent : {22u}) EXPECT_EQ(leafs.count(ifEntry + absent), 0u);
    for (unsigned absent : {14u, 16u, 17u, 18u, 19u})
      EXPECT_EQ(leafs.count(ifXEntry + absent), 0u) << absent;
    EXPECT_EQ(leafs.size(), 1u + 21u + 14u);
  }
  scribers.pop_back();
  linkStates.swap(savedStates);
}

TEST_F(InterfacesTest, EventSourceSwitchesTheLinkTrapMaker) {
  std::vector<TrapMaker> saved;
  saved.swap(trapMakers);
  trapMakers.push_back(zarrowTrapMaker);
  subscribeInterfaces();
  EXPECT_EQ(trapMakers,
            (std::vector<TrapMaker>{zarrowTrapMaker, linkTrapMaker}));
  unsubscribeInterfaces();
  EXPECT_EQ(trapMakers, std::vector<TrapMaker>{zarrowTrapMaker});
  trapMakers.swap(saved);
  // Both requests are sent without waiting; the loop delivers them.
  while (tarn::getLooper()->runOnce(0)) {
  }
  ASSERT_EQ(ifs.requests.size(), 2u);
  for (size_t i = 0; i < 2; ++i) {
    EXPECT_EQ(ifs.cmd(i), i == 0 ? tarn::kCmdSubscribe : tarn::kCmdUnsubscribe);
    EXPECT_EQ(ifs.u32(i, tarn::kFieldWhat), 0x10004u);
    const auto& filter =
        ifs.requests[i].get(tarn::message_array_id(tarn::kFieldFilter));
    ASSERT_EQ(filter.size(), 1u);
    EXPECT_EQ(message(filter[0]).get(tarn::u32_id(0x10002), 9), 0u);
    EXPECT_EQ(message(filter[0]).get(tarn::u32_id(0x10003), 9), 128u);
  }
}

}  // namespace
