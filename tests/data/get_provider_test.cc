// GetProvider against a fake service on a local looper: error replies and
// write-back. (Served values are pinned end to end.)
#include "data/get_provider.h"

#include <gtest/gtest.h>

#include "codec/diag.h"
#include "data/data.h"
#include "tests/data/fake_service.h"

namespace {

using tarn::message;
using tarn::u32_id;

struct Named : Data {
  explicit Named(unsigned value) : value(value) {}
  unsigned value;
  void reverseBuild(message& msg) override { msg.insert(u32_id(12), value); }
};

Data* buildNamed(const message& m) { return new Named(m.get(u32_id(12), 77)); }

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
  EXPECT_EQ(s.cmd(1), 0xfe000eu);
  EXPECT_EQ(s.u32(1, 12), 5u);
}

}  // namespace
