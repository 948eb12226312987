// Restart pacing: doubling, the cap, the reset after a steady run, and the
// texts the event lines are made of.
#include "supervisor/backoff.h"

#include <signal.h>

#include <gtest/gtest.h>

namespace supervisor {
namespace {

TEST(BackoffTest, DelaysForASequenceOfFailures) {
  struct Step {
    uint64_t ranMs;
    unsigned delayMs;
  };
  const Step steps[] = {
      {5, 100},     {5, 200},     {5, 400},      {29999, 800},
      {5, 1600},    {5, 3200},    {5, 6400},     {5, 10000},
      {5, 10000},   {30000, 100},  // a steady run starts over
      {5, 200},     {600000, 100},
  };
  Backoff b;
  for (const Step& s : steps) {
    EXPECT_EQ(s.delayMs, b.next(s.ranMs)) << "after running " << s.ranMs;
  }
}

TEST(BackoffTest, CapBelowDoubleOfTheLastStep) {
  Backoff b(300, 1000, 30000);
  const unsigned want[] = {300, 600, 1000, 1000};
  for (unsigned w : want) EXPECT_EQ(w, b.next(0));
}

TEST(BackoffTest, Texts) {
  struct Case {
    int status;
    const char* text;
  };
  const Case cases[] = {
      {0, "exited with status 0"},
      {3 << 8, "exited with status 3"},
      {SIGKILL, "killed by signal 9 (Killed)"},
      {SIGSEGV | 0x80, "killed by signal 11 (Segmentation fault)"},
  };
  for (const Case& c : cases) EXPECT_EQ(c.text, describeExit(c.status));
  EXPECT_EQ("0.1", seconds(100));
  EXPECT_EQ("6.4", seconds(6400));
  EXPECT_EQ("10", seconds(10000));
  EXPECT_EQ("0", seconds(0));
}

}  // namespace
}  // namespace supervisor
