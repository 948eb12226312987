// The cache rule on a manual clock: fills, idle and age drops, the empty
// fill, and the clock wrapping around.
#include "data/cache_update_timeout.h"

#include <gtest/gtest.h>

#include <vector>

#include "data/data.h"
#include "data/single_provider.h"

namespace {

// A manual clock and a one-slot timer standing in for the platform. As on
// the target, the clock ticks every 10 ms and the timer delay is in ms.
struct FakePlatform {
  static unsigned now;
  static CacheUpdateTimeout* armed;  // null when no timer is pending
  static unsigned armedAt, delay;
  static int disarms;

  static unsigned ticks() { return now; }
  static void arm(CacheUpdateTimeout* c, unsigned d) {
    armed = c;
    armedAt = now;
    delay = d;
  }
  static void disarm(CacheUpdateTimeout*) {
    armed = nullptr;
    ++disarms;
  }
  // Fires the pending timer now.
  static void fire() {
    CacheUpdateTimeout* c = armed;
    armed = nullptr;
    c->invalidateDataTimer();
  }
  static void fireIfDue() {
    if (armed && (now - armedAt) * 10 >= delay) fire();
  }
};
unsigned FakePlatform::now, FakePlatform::armedAt, FakePlatform::delay;
CacheUpdateTimeout* FakePlatform::armed;
int FakePlatform::disarms;

struct Record : Data {};

std::vector<unsigned> every(unsigned period, unsigned until) {
  std::vector<unsigned> reads;
  for (unsigned t = 0; t < until; t += period) reads.push_back(t);
  return reads;
}

// Records the ticks at which it was asked for data.
class CountingProvider : public SingleProvider {
 public:
  explicit CountingProvider(bool yields = true) : yields_(yields) {}
  Data* getData() override {
    fills.push_back(FakePlatform::now);
    return yields_ ? new Record : nullptr;
  }
  bool setData(Data*) override { return true; }
  using CacheUpdateTimeout::setTimeouts;

  std::vector<unsigned> fills;

 private:
  bool yields_;
};

class CacheRule : public ::testing::Test {
 protected:
  void SetUp() override {
    saved_ = cacheTimerHooks;
    cacheTimerHooks = {FakePlatform::ticks, FakePlatform::arm,
                       FakePlatform::disarm};
    FakePlatform::now = 0;
    FakePlatform::armed = nullptr;
    FakePlatform::disarms = 0;
  }
  void TearDown() override { cacheTimerHooks = saved_; }

  // Advances the clock tick by tick from `start` for `span` ticks, firing
  // the timer when due and then reading at the given offsets. Fill ticks
  // are returned as offsets from `start`.
  static std::vector<unsigned> run(CountingProvider& p, unsigned start,
                                   unsigned span,
                                   const std::vector<unsigned>& reads) {
    size_t next = 0;
    for (unsigned t = 0; t < span; ++t) {
      FakePlatform::now = start + t;
      FakePlatform::fireIfDue();
      if (next < reads.size() && reads[next] == t) {
        p.get();
        ++next;
      }
    }
    std::vector<unsigned> offsets;
    for (unsigned f : p.fills) offsets.push_back(f - start);
    return offsets;
  }

 private:
  CacheTimerHooks saved_;
};

TEST_F(CacheRule, FillsOnceWhileReadAndRefillsAtMaxAge) {
  const std::vector<unsigned> every10 = every(10, 500);
  struct Case {
    unsigned access, maxAge, start, span;
    std::vector<unsigned> reads, fills;
  } cases[] = {
      // Two reads 10 apart fill once; 30 ticks after the last read the
      // timer has dropped the cache and the read fills it again.
      {25, 200, 0, 60, {0, 10}, {0}},
      {25, 200, 0, 60, {0, 10, 40}, {0, 40}},
      // Reads every 10 ticks for 5 s: a fill about every 2 s (at maxAge).
      {25, 200, 0, 500, every10, {0, 210, 420}},
      {25, 95, 0, 500, every10, {0, 100, 200, 300, 400}},
      // The same across the wrap of times() at 2^32.
      {25, 200, 0xFFFFFFFFu - 95, 500, every10, {0, 210, 420}},
      {25, 200, 0xFFFFFFFFu - 4, 500, every10, {0, 210, 420}},
      {25, 200, 0xFFFFFFFFu - 4, 60, {0, 10, 40}, {0, 40}},
  };
  for (const Case& c : cases) {
    CountingProvider p;
    p.setTimeouts(c.access, c.maxAge);
    EXPECT_EQ(run(p, c.start, c.span, c.reads), c.fills)
        << "access " << c.access << " maxAge " << c.maxAge << " start "
        << c.start << " reads " << c.reads.size();
    FakePlatform::armed = nullptr;
  }
}

TEST_F(CacheRule, RecheckKeepsOnlyRecentAndYoungFills) {
  const unsigned wrap = 0xFFFFFFFFu - 9;  // the clock wraps 10 ticks in
  struct Case {
    unsigned start, lastRead, check;  // offsets from start
    bool kept;
  } cases[] = {
      {0, 0, 24, true},       {0, 0, 25, false},  // idle limit
      {0, 190, 199, true},    {0, 199, 200, false},  // age limit
      {wrap, 0, 24, true},    {wrap, 0, 25, false},
      {wrap, 190, 199, true}, {wrap, 199, 200, false},
  };
  for (const Case& c : cases) {
    CountingProvider p;
    FakePlatform::now = c.start;
    p.get();
    FakePlatform::now = c.start + c.lastRead;
    p.get();
    FakePlatform::now = c.start + c.check;
    FakePlatform::fire();
    EXPECT_EQ(FakePlatform::armed == &p, c.kept)
        << "start " << c.start << " last read " << c.lastRead << " check "
        << c.check;
    FakePlatform::now = c.start + c.check;
    p.get();
    EXPECT_EQ(p.fills.size(), c.kept ? 1u : 2u);
    FakePlatform::armed = nullptr;
  }
}

TEST_F(CacheRule, EmptyFillIsNotRetriedUntilDropped) {
  CountingProvider p(false);
  for (unsigned t : {0u, 10u, 20u}) {
    FakePlatform::now = t;
    EXPECT_EQ(p.get(), nullptr);
  }
  EXPECT_EQ(p.fills.size(), 1u);
  FakePlatform::now = 44;
  FakePlatform::fire();  // idle 24: kept, re-armed
  EXPECT_EQ(p.get(), nullptr);
  EXPECT_EQ(p.fills.size(), 1u);
  FakePlatform::now = 69;
  FakePlatform::fire();  // idle 25: dropped
  EXPECT_EQ(FakePlatform::armed, nullptr);
  EXPECT_EQ(p.get(), nullptr);
  EXPECT_EQ(p.fills, (std::vector<unsigned>{0, 69}));
}

// A fill that reads its own provider (a builder consulting providers) sees
// the cache as filled and does not recurse.
class SelfReading : public CountingProvider {
 public:
  Data* getData() override {
    inner = get();
    readInside = true;
    return CountingProvider::getData();
  }
  bool readInside = false;
  Data* inner = nullptr;
};

TEST_F(CacheRule, FillMarksTheCacheBeforeItRuns) {
  SelfReading p;
  EXPECT_NE(p.get(), nullptr);
  EXPECT_TRUE(p.readInside);
  EXPECT_EQ(p.inner, nullptr);
  EXPECT_EQ(p.fills.size(), 1u);
}

TEST_F(CacheRule, InvalidateDataCancelsTheTimerAndDropsAtOnce) {
  CountingProvider p;
  p.get();
  p.invalidateData();
  EXPECT_EQ(FakePlatform::disarms, 1);
  EXPECT_EQ(FakePlatform::armed, nullptr);
  p.invalidateData();  // nothing pending: nothing to cancel
  EXPECT_EQ(FakePlatform::disarms, 1);
  FakePlatform::now = 1;
  p.get();
  EXPECT_EQ(p.fills, (std::vector<unsigned>{0, 1}));
}

}  // namespace
