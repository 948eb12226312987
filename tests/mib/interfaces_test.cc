// The interface record builder: speed and type by kind, with the parent
// lookup of kind 30 and its failures. (The module's tables, counters and
// link events are pinned end to end.)
#include "mib/interfaces.h"

#include "tests/mib/mib_fixture.h"

namespace {

using tarn::message;

class InterfacesTest : public MibTest {};

TEST_F(InterfacesTest, RecordFieldsWithSpeedAndTypeByKind) {
  FakeService& ifs = bus.at(20, 0);
  // Parents of kind-30 interfaces: 5 has rate 1, 6 no rate, 7 fails.
  ifs.answer = [](const message& req) {
    unsigned id = req.get(tarn::u32_id(tarn::kFieldObjId), 0);
    if (id == 7) return tarn::errorMsg(4, "no object");
    return id == 5 ? u32Message({{1010, 1}}) : message();
  };
  // rateOrParent: field 1010 for kind 1, field 2002 for kind 30; -1 absent.
  struct Case { unsigned kind; int rateOrParent, speed, type; } cases[] = {
      {1, 0, 10000000, 6},     {1, 2, 1000000000, 6}, {1, 3, 0, 6},
      {1, -1, 10000000, 6},    {2, -1, 2000000, 188}, {12, -1, 100000000, 209},
      {35, -1, 11000000, 71},  {40, -1, 10000000, 1},
      {30, 5, 100000000, 135}, {30, 6, 0, 135},       {30, 7, 0, 135},
  };
  for (const Case& c : cases) {
    message m = u32Message({{tarn::kFieldObjId, 3}, {0x10001, c.kind}});
    if (c.rateOrParent >= 0) m.insert(tarn::u32_id(c.kind == 30 ? 2002 : 1010), static_cast<unsigned>(c.rateOrParent));
    auto r = built<InterfaceRecord>(InterfaceRecord::build, m);
    EXPECT_EQ(r.at(0)->speed, c.speed) << c.kind << " " << c.rateOrParent;
    EXPECT_EQ(r[0]->type, c.type) << c.kind;
    freeAll(r);
  }
  // Only kind 30 asks, for its parent by id with the get-object command.
  ASSERT_EQ(ifs.requests.size(), 3u);
  EXPECT_EQ(ifs.cmd(0), tarn::kCmdGetObj);
  EXPECT_EQ(ifs.u32(0, tarn::kFieldObjId), 5u);
}

}  // namespace
