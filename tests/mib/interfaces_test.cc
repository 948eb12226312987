// The interfaces module: speed and type by kind (with the parent lookup),
// row fields, per-interface counters, the link-state snapshot, the
// registered columns and the event source.
#include "mib/interfaces.h"

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
  FakeService& ifs;
};

TEST_F(InterfacesTest, RecordFieldsWithSpeedAndTypeByKind) {
  // Parents of kind-30 interfaces: 5 has rate 1, 6 no rate, 7 fails.
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
      {1, 0, 10000000, 6},     {1, 2, 1000000000, 6}, {1, 3, 0, 6},
      {1, -1, 10000000, 6},    {2, -1, 2000000, 188}, {12, -1, 100000000, 209},
      {35, -1, 11000000, 71},  {40, -1, 10000000, 1},
      {30, 5, 100000000, 135}, {30, 6, 0, 135},       {30, 7, 0, 135},
  };
  for (const Case& c : cases) {
    message m = item(3, c.kind);
    if (c.rateOrParent >= 0)
      m.insert(tarn::u32_id(c.kind == 30 ? 2002 : 1010),
               static_cast<unsigned>(c.rateOrParent));
    if (c.kind == 2) {
      m.insert(tarn::bool_id(0x1000e), true);
      m.insert(tarn::bool_id(0xfe000a), true);
      m.insert(tarn::raw_id(1001), tarn::bytes{0, 1, 2, 3, 4, 5});
    }
    auto r = built<InterfaceRecord>(InterfaceRecord::build, m);
    EXPECT_EQ(r.at(0)->speed, c.speed) << c.kind << " " << c.rateOrParent;
    EXPECT_EQ(r[0]->type, c.type) << c.kind;
    EXPECT_EQ(r[0]->operStatus, c.kind == 2 ? 1 : 2) << c.kind;
    EXPECT_EQ(r[0]->adminStatus, c.kind == 2 ? 2 : 1) << c.kind;
    EXPECT_EQ(r[0]->hardwareAddress.size(), c.kind == 2 ? 6u : 0u) << c.kind;
    freeAll(r);
  }
  // Only kind 30 asks, for its parent by id with the get-object command.
  ASSERT_EQ(ifs.requests.size(), 3u);
  EXPECT_EQ(ifs.cmd(0), tarn::kCmdGetObj);
  EXPECT_EQ(ifs.u32(0, tarn::kFieldObjId), 5u);
}

TEST_F(InterfacesTest, ModuleServesRowsCountersOnceAndLinkStates) {
  ifs.answer = [](const message& req) {
    unsigned cmd = req.get(tarn::u32_id(tarn::kFieldCmd), 0);
    if (cmd == 1 && !req.has(tarn::u32_id(tarn::kFieldStart))) {
      return FakeService::page(  // link states, first page
          {u32Message({{tarn::kFieldObjId, 1}, {0x10002, 0}, {0x10003, 0xfff}}),
           u32Message({{tarn::kFieldObjId, 2}, {0x10002, 0x80}, {0x10003, 1}}),
           u32Message({{tarn::kFieldObjId, 3}, {0x10003, 1}})},
          4);
    }
    if (cmd == 1)
      return FakeService::page(
          {u32Message({{tarn::kFieldObjId, 4}, {0x10002, 1}, {0x10003, 0x500}})});
    if (cmd == tarn::kCmdGetAll) return FakeService::page({item(1, 1), item(2, 6)});
    if (cmd == tarn::kCmdGetCount) return u32Message({{tarn::kFieldCount, 2}});
    message counters;  // get one
    counters.insert(tarn::u64_id(0x100fc), 4294967296ull + 5);
    counters.insert(tarn::u64_id(0x100ff), 7);
    counters.insert(tarn::u32_id(0x100f8), 9);
    return counters;
  };
  std::map<unsigned, unsigned> savedStates;
  savedStates.swap(linkStates);
  {
    InterfacesModule m;
    EXPECT_EQ(linkStates, (std::map<unsigned, unsigned>{{1, 0x103}, {4, 0x100}}));
    EXPECT_EQ(scribers.back().name, "interfaces");
    scribers.pop_back();

    const OID ifEntry("1.3.6.1.2.1.2.2.1"), ifXEntry("1.3.6.1.2.1.31.1.1.1");
    EXPECT_EQ(walk(ifEntry + 1), ".1 .2");
    EXPECT_EQ(scalar("1.3.6.1.2.1.2.1"), "02 01 02");
    size_t before = ifs.requests.size();
    struct Case {
      OID column;
      std::string value;
    } cases[] = {
        {ifEntry + 10, "41 01 05"},          {ifXEntry + 6, "46 05 01 00 00 00 05"},
        {ifXEntry + 11, "46 01 07"},         {ifEntry + 13, "41 01 09"},
        {ifEntry + 14, "41 01 00"},          {ifEntry + 5, "42 04 00 98 96 80"},
        {ifXEntry + 15, "42 01 00"},         {ifEntry + 9, "43 01 00"},
    };
    for (const Case& c : cases) EXPECT_EQ(value(c.column, OID{2}), c.value) << c.column;
    ASSERT_EQ(ifs.requests.size(), before + 1);  // one exchange for the row
    EXPECT_EQ(ifs.cmd(before), tarn::kCmdGetObj);
    EXPECT_EQ(ifs.u32(before, tarn::kFieldObjId), 2u);
    EXPECT_EQ(ifs.u32(before, tarn::kFieldMaxCount), 256u);
    // ifSpecific and ifXTable columns 14 and 16 to 19 are not served.
    EXPECT_EQ(leafs.size(), 1u + 21u + 14u);
    EXPECT_EQ(leafs.count(ifXEntry + 18), 0u);
  }
  linkStates.swap(savedStates);
}

TEST_F(InterfacesTest, EventSourceSwitchesTheLinkTrapMaker) {
  std::vector<TrapMaker> saved{zarrowTrapMaker};
  saved.swap(trapMakers);
  subscribeInterfaces();
  EXPECT_EQ(trapMakers, (std::vector<TrapMaker>{zarrowTrapMaker, linkTrapMaker}));
  unsubscribeInterfaces();
  EXPECT_EQ(trapMakers, std::vector<TrapMaker>{zarrowTrapMaker});
  trapMakers.swap(saved);
  while (tarn::getLooper()->runOnce(0)) {  // delivers the two requests
  }
  ASSERT_EQ(ifs.requests.size(), 2u);
  for (size_t i = 0; i < 2; ++i) {
    EXPECT_EQ(ifs.cmd(i), i == 0 ? tarn::kCmdSubscribe : tarn::kCmdUnsubscribe);
    EXPECT_EQ(ifs.u32(i, tarn::kFieldWhat), 0x10004u);
    message filter = ifs.requests[i].get(tarn::message_array_id(tarn::kFieldFilter)).at(0);
    EXPECT_EQ(filter.get(tarn::u32_id(0x10002), 9), 0u);
    EXPECT_EQ(filter.get(tarn::u32_id(0x10003), 9), 128u);
  }
}

}  // namespace
