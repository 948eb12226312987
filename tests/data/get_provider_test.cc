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
  void reverseBuild(message& msg) override {
    msg.insert(u32_id(12), value);
  }
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

TEST(GetProvider, GetBuildsFromTheReplyOrFromNothingOnError) {
  FakeBus bus;
  FakeService& s = bus.at(24, 1);
  GetProvider p(buildNamed, {24, 1}, 0xfe000d, 0xfe000e);
  s.answer = [](const message&) { return u32Message({{12, 5}}); };
  Data* d = p.getData();
  EXPECT_EQ(static_cast<Named*>(d)->value, 5u);
  delete d;
  ASSERT_EQ(s.requests.size(), 1u);
  EXPECT_EQ(s.cmd(0), 0xfe000du);
  EXPECT_EQ(s.requests[0].get(tarn::u32_array_id(tarn::kFieldDst)),
            (std::vector<uint32_t>{24, 1}));

  s.answer = [](const message&) { return tarn::errorMsg(9, "busy"); };
  diag::Capture capture;
  d = p.getData();
  EXPECT_EQ(static_cast<Named*>(d)->value, 77u);
  EXPECT_EQ(capture.err(), "GetProvider::getData error: busy\n");
  delete d;
}

TEST(GetProvider, SetSendsTheSetCommandWithTheRecordsFields) {
  FakeBus bus;
  FakeService& s = bus.at(24, 1);
  GetProvider p(buildNamed, {24, 1}, 0xfe000d, 0xfe000e);
  Named r;
  r.value = 3;
  EXPECT_TRUE(p.setData(&r));
  EXPECT_EQ(s.cmd(0), 0xfe000eu);
  EXPECT_EQ(s.u32(0, 12), 3u);
  s.answer = [](const message&) { return tarn::errorMsg(9, "no"); };
  EXPECT_FALSE(p.setData(&r));
}

TEST(GetFirstProvider, FirstMatchAcrossPagesAndNoMatch) {
  FakeBus bus;
  FakeService& s = bus.at(20, 0);
  GetFirstProvider p(buildKind12, {20, 0});
  std::vector<message> page1{u32Message({{1, 6}, {tarn::kFieldObjId, 1}})};
  std::vector<message> page2{u32Message({{1, 6}, {tarn::kFieldObjId, 2}}),
                             u32Message({{1, 12}, {tarn::kFieldObjId, 3}}),
                             u32Message({{1, 12}, {tarn::kFieldObjId, 4}})};
  bool match = true;
  s.answer = [&](const message& req) {
    if (!req.has(u32_id(tarn::kFieldStart))) return FakeService::page(page1, 7);
    return FakeService::page(match ? page2 : page1);
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
