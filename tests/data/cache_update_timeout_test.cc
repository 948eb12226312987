// The cache rule on a manual clock: fills, idle and age drops at their exact
// limits, the empty fill, a fill reading its own cache, and the clock
// wrapping around; then the timer on the platform runner.
#include "data/cache_update_timeout.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "data/data.h"
#include "data/single_provider.h"
#include "platform/runner.h"

namespace {

// A manual clock and a one-slot timer in place of the platform. As on the
// target, the clock ticks every 10 ms and the timer delay is in ms.
unsigned now, armedAt, armedDelay, disarms;
CacheUpdateTimeout* armed;  // null when no timer is pending

void fire() { std::exchange(armed, nullptr)->invalidateDataTimer(); }

// Records the ticks at which it was asked for a record; a reentrant one
// reads its own cache while filling (a builder consulting providers).
struct CountingProvider : SingleProvider {
  explicit CountingProvider(bool yields = true, bool reentrant = false) : yields(yields), reentrant(reentrant) {}
  Data* getData() override {
    if (reentrant) inner.push_back(get());
    fills.push_back(now);
    now += fillTicks;  // a slow service: the clock runs while it fills
    return yields ? new Data : nullptr;
  }
  bool setData(Data*) override { return true; }
  std::vector<unsigned> fills;
  std::vector<Data*> inner;
  bool yields, reentrant;
  unsigned fillTicks = 0;
};

struct CacheRule : ::testing::Test {
  CacheRule() : saved(cacheTimerHooks) {
    cacheTimerHooks = {[] { return now; },
                       [](CacheUpdateTimeout* c, unsigned delay) { armed = c, armedAt = now, armedDelay = delay; },
                       [](CacheUpdateTimeout*) { armed = nullptr, ++disarms; }};
    now = disarms = 0;
    armed = nullptr;
  }
  ~CacheRule() override { cacheTimerHooks = saved; }
  CacheTimerHooks saved;
};

// Runs the clock from `start` for `span` ticks, firing the timer when due,
// then reading at the given offsets; returns the fills as offsets.
std::vector<unsigned> run(CountingProvider& p, unsigned start, unsigned span, const std::vector<unsigned>& reads) {
  size_t next = 0;
  for (unsigned t = 0; t < span; ++t) {
    now = start + t;
    if (armed && (now - armedAt) * 10 >= armedDelay) fire();
    if (next < reads.size() && reads[next] == t) p.get(), ++next;
  }
  std::vector<unsigned> offsets;
  for (unsigned f : p.fills) offsets.push_back(f - start);
  return offsets;
}

TEST_F(CacheRule, FillsOnceWhileReadAndRefillsWhenIdleOrOld) {
  std::vector<unsigned> every10;
  for (unsigned t = 0; t < 500; t += 10) every10.push_back(t);
  const unsigned nearWrap = 0xFFFFFFFFu - 95;
  struct Case { unsigned maxAge, start, span; std::vector<unsigned> reads, fills; } cases[] = {
      // Reads 10 apart: one fill; 30 after the last read it was dropped.
      {200, 0, 60, {0, 10}, {0}},
      {200, 0, 60, {0, 10, 40}, {0, 40}},
      // Reads every 10 ticks for 5 s: a fill about every 2 s.
      {200, 0, 500, every10, {0, 210, 420}},
      {95, 0, 500, every10, {0, 100, 200, 300, 400}},
      {200, nearWrap, 500, every10, {0, 210, 420}},
  };
  for (const Case& c : cases) {
    CountingProvider p;
    p.setTimeouts(25, c.maxAge);
    EXPECT_EQ(run(p, c.start, c.span, c.reads), c.fills) << "maxAge " << c.maxAge << " start " << c.start;
    armed = nullptr;
  }
}

TEST_F(CacheRule, RecheckDropsAtExactlyTheLimits) {
  const unsigned wrap = 0xFFFFFFFFu - 9;  // the clock wraps 10 ticks in
  struct Case { unsigned start, lastRead, check; bool kept; } cases[] = {  // offsets from start
      {0, 0, 24, true},       {0, 0, 25, false},     // idle
      {0, 190, 199, true},    {0, 199, 200, false},  // age
      {wrap, 0, 24, true},    {wrap, 0, 25, false},
      {wrap, 190, 199, true}, {wrap, 199, 200, false},
  };
  for (const Case& c : cases) {
    CountingProvider p;
    for (unsigned t : {0u, c.lastRead}) now = c.start + t, p.get();
    now = c.start + c.check;
    fire();
    EXPECT_EQ(armed == &p, c.kept) << c.start << " " << c.check;
    p.get();
    EXPECT_EQ(p.fills.size(), c.kept ? 1u : 2u) << c.start << " " << c.check;
    armed = nullptr;
  }
}

// A fill slower than the age limit (a large table over a slow service)
// counts its age and idleness from its end: the reads that follow it are
// served from it until the limits pass again.
TEST_F(CacheRule, AgeAndIdleCountFromTheEndOfTheFill) {
  CountingProvider p;
  p.fillTicks = 300;
  now = 0;
  p.get();
  for (now = 310; now < 520; now += 10) {
    if (armed && (now - armedAt) * 10 >= armedDelay) fire();
    p.get();
  }
  EXPECT_EQ(p.fills, (std::vector<unsigned>{0, 500}));
}

// An empty fill is kept until dropped. A fill that reads its own provider
// finds the cache marked filled (and still empty) instead of recursing;
// invalidateData drops the cache and cancels the timer once.
TEST_F(CacheRule, EmptyFillKeptAndFillMarksTheCacheFirst) {
  CountingProvider empty(false);
  for (unsigned t : {0u, 10u, 20u, 44u}) {
    now = t;
    EXPECT_EQ(empty.get(), nullptr);
    if (t == 20) fire();  // idle 0: kept
  }
  now = 69;
  fire();  // idle 25: dropped
  EXPECT_EQ(empty.get(), nullptr);
  EXPECT_EQ(empty.fills, (std::vector<unsigned>{0, 69}));
  CountingProvider p(true, true);
  disarms = 0;
  EXPECT_NE(p.get(), nullptr);
  EXPECT_EQ(p.inner, std::vector<Data*>{nullptr});
  p.invalidateData();
  p.invalidateData();  // nothing pending: nothing to cancel
  EXPECT_EQ(disarms, 1);
  p.get();
  EXPECT_EQ(p.fills, (std::vector<unsigned>{69, 69}));
}

// Bound to the platform runner: filling arms a timer, invalidating or
// destroying the cache cancels it; without a runner nothing is armed.
TEST(CacheTimerOnRunner, ArmsAndCancels) {
  tarn::ThinRunner *saved = tarn::getRunner(), runner;
  tarn::setRunner(&runner);
  CountingProvider p;
  p.get(), p.get();  // cached: one timer
  EXPECT_EQ(runner.timerCount(), 1u);
  p.invalidateData();
  EXPECT_EQ(runner.timerCount(), 0u);
  CountingProvider().get();  // destroyed while armed
  EXPECT_EQ(runner.timerCount(), 0u);
  tarn::setRunner(nullptr);
  p.get();
  p.invalidateData();
  tarn::setRunner(saved);
}

}  // namespace
