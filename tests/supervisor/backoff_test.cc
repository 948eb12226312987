// Restart pacing (doubling, the cap, the reset after a steady run) and the
// texts the event lines are made of.
#include "supervisor/backoff.h"

#include <signal.h>

#include <gtest/gtest.h>

namespace supervisor {
namespace {

TEST(BackoffTest, DelaysAndTexts) {
  const uint64_t steps[][2] = {  // {ran ms, delay ms}
      {5, 100},   {5, 200},   {5, 400},     {29999, 800}, {5, 1600},   {5, 3200},
      {5, 6400},  {5, 10000}, {5, 10000},   {30000, 100},  // a steady run starts over
      {5, 200},   {600000, 100},
  };
  Backoff b;
  for (const auto& s : steps) EXPECT_EQ(s[1], b.next(s[0])) << "after running " << s[0];
  Backoff capped(300, 1000, 30000);  // the cap below double the last step
  for (unsigned want : {300u, 600u, 1000u, 1000u}) EXPECT_EQ(want, capped.next(0));
  EXPECT_EQ("killed by signal 11 (Segmentation fault)", describeExit(SIGSEGV | 0x80));  // core
  const std::pair<unsigned, const char*> secs[] = {{6400, "6.4"}, {10000, "10"}, {0, "0"}};
  for (const auto& c : secs) EXPECT_EQ(c.second, seconds(c.first));
}

}  // namespace
}  // namespace supervisor
