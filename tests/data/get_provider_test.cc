// GetProvider and GetFirstProvider against fake services on a local looper.
#include "data/get_provider.h"

#include <gtest/gtest.h>

#include "codec/diag.h"
#include "data/data.h"
#include "data/get_first_provider.h"
#include "tests/data/fake_service.h"

namespace {

using tarn::message;
using tarn::u32_id;

struct Named : Data {
  unsigned value = 0;
  void reverseBuild(message& msg) override { msg.insert(u32_id(12), value); }
};

Data* buildNamed(const message& m) {
  Named* r = new Named;
  r->value = m.get(u32_id(12), 77);
  return r;
}

// Accepts objects with field 1 = 12 only.
Data* buildKind12(const message& m) {
  return m.get(u32_id(1), 0) == 12 ? buildNamed(m) : nullptr;
}

TEST(GetProvider, BuildsFromTheReplyOrDefaultsOnErrorAndWritesBack) {
  FakeBus bus;
  FakeService& s = bus.at(24, 1);
  GetProvider p(buildNamed, {24, 1}, 0xfe000d, 0xfe000e);
  struct Case { message reply; unsigned value; std::string err; } cases[] = {
      {u32Message({{12, 5}}), 5, ""},
      {tarn::errorMsg(9, "busy"), 77, "GetProvider::getData error: busy\n"},
  };
  for (const Case& c : cases) {
    s.answer = [&](const message&) { return c.reply; };
    diag::Capture capture;
    Data* d = p.getData();
    EXPECT_EQ(static_cast<Named*>(d)->value, c.value);
    EXPECT_EQ(capture.err(), c.err);
    EXPECT_EQ(p.setData(d), !tarn::isError(c.reply));
    delete d;
  }
  EXPECT_EQ(s.cmd(0), 0xfe000du);
  EXPECT_EQ(s.requests[0].get(tarn::u32_array_id(tarn::kFieldDst)),
            (std::vector<uint32_t>{24, 1}));
  EXPECT_EQ(s.cmd(1), 0xfe000eu);
  EXPECT_EQ(s.u32(1, 12), 5u);
}

TEST(GetFirstProvider, FirstMatchAcrossPagesAndNoMatch) {
  FakeBus bus;
  FakeService& s = bus.at(20, 0);
  GetFirstProvider p(buildKind12, {20, 0});
  message kind6 = u32Message({{1, 6}, {tarn::kFieldObjId, 2}});
  message bridge3 = u32Message({{1, 12}, {tarn::kFieldObjId, 3}});
  message bridge4 = u32Message({{1, 12}, {tarn::kFieldObjId, 4}});
  bool match = true;
  s.answer = [&](const message& req) {
    if (!req.has(u32_id(tarn::kFieldStart))) return FakeService::page({kind6}, 7);
    return FakeService::page(match ? std::vector<message>{kind6, bridge3, bridge4}
                                   : std::vector<message>{kind6});
  };
  EXPECT_EQ(p.getFirstObjId(), 3u);
  ASSERT_EQ(s.requests.size(), 2u);
  EXPECT_EQ(s.cmd(0), 0xfe0004u);
  EXPECT_EQ(s.u32(0, tarn::kFieldMaxCount), 0xdeadu);  // no page size
  EXPECT_EQ(s.u32(1, tarn::kFieldStart), 7u);

  match = false;
  EXPECT_EQ(p.getData(), nullptr);
  EXPECT_EQ(p.firstObjId, 3u);  // kept from the earlier match
  GetFirstProvider none(buildKind12, {20, 0});
  EXPECT_EQ(none.getFirstObjId(), 0xFFFFFFFFu);
  EXPECT_EQ(none.get(), nullptr);
  EXPECT_FALSE(none.set(nullptr));
}

}  // namespace
