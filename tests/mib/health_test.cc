// Health: the power source by code, and the optional objects that register
// on the first answer holding their field and stay registered afterwards.
#include "mib/health.h"

#include "codec/diag.h"
#include "tests/mib/mib_fixture.h"

namespace {

using tarn::message;

class HealthTest : public MibTest {};

TEST_F(HealthTest, OptionalObjectsRegisterOnFirstSightAndStay) {
  const OID health("1.3.6.1.4.1.40117.1.1.3");
  message answer;
  bus.at(12, 1).answer = [&](const message&) { return answer; };
  HealthModule m;
  // registered: the last arcs of the health objects served after the read.
  struct Case { message answer; std::string out, registered, source, temperature; } cases[] = {
      {u32Message({{12, 1}}), "", "9", "04 04 6d 61 69 6e", "none"},  // main
      {u32Message({{13, 12}, {12, 0}}), "+ voltage\n", "8 9", "04 03 61 75 78", "none"},  // aux
      {u32Message({{14, 35}, {17, 40}, {12, 2}}), "+ temperature\n+ cpu temperature\n", "8 9 10 11",
       "04 04 6e 6f 6e 65", "02 02 01 5e"},  // none
      {u32Message({{12, 3}, {14, static_cast<unsigned>(-5)}}), "", "8 9 10 11", "04 03 6e 2f 61", "02 01 ce"},
      {message(), "", "8 9 10 11", "04 03 6e 2f 61", "02 02 f5 56"},  // n/a, -273.0
  };
  for (const Case& c : cases) {
    answer = c.answer;
    m.provider.invalidateData();
    diag::Capture capture;
    EXPECT_EQ(value(health + 9), c.source) << c.answer;
    EXPECT_EQ(capture.out(), c.out) << c.answer;
    std::string registered;
    for (auto& e : leafs) registered += (registered.empty() ? "" : " ") + std::to_string(e.first[e.first.size() - 1]);
    EXPECT_EQ(registered, c.registered) << c.answer;
    EXPECT_EQ(leafs.count(health + 10) ? value(health + 10) : "none", c.temperature);
  }
  EXPECT_EQ(value(health + 8), "02 01 00");  // absent voltage reads 0
}

}  // namespace
