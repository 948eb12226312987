// The clock record's zone octets: sign, hours and minutes of the offset.
#include "mib/host_resources.h"

#include "tests/mib/mib_fixture.h"

namespace {

TEST(ClockRecord, ZoneOffsetOctets) {
  struct Case { int offset; std::string zone; } cases[] = {
      {-3600, std::string("-\x01\x00", 3)},
      {19800, "+\x05\x1e"},
      {-19800, "-\x05\x1e"},
      {0, std::string("+\x00\x00", 3)},
  };
  for (const Case& c : cases) {
    ClockRecord* r = static_cast<ClockRecord*>(ClockRecord::build(u32Message({{27, static_cast<unsigned>(c.offset)}})));
    EXPECT_EQ(std::string(r->date.begin() + 8, r->date.end()), c.zone) << c.offset;
    delete r;
  }
}

}  // namespace
