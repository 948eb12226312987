// The cache timer bound to the platform runner: filling arms the re-check
// timer on the runner, invalidating or destroying the cache cancels it, and
// without a runner nothing is armed.
#include <gtest/gtest.h>

#include "data/data.h"
#include "data/single_provider.h"
#include "platform/runner.h"

namespace {

class OneRecordProvider : public SingleProvider {
 public:
  Data* getData() override { return new Data; }
  bool setData(Data*) override { return false; }
};

TEST(CacheTimerOnLoop, ArmsAndCancelsOnTheRunner) {
  tarn::ThinRunner* saved = tarn::getRunner();
  tarn::ThinRunner runner;
  tarn::setRunner(&runner);
  OneRecordProvider p;
  ASSERT_NE(p.get(), nullptr);
  p.get();  // cached: no second timer
  EXPECT_EQ(runner.timerCount(), 1u);
  p.invalidateData();
  EXPECT_EQ(runner.timerCount(), 0u);
  {
    OneRecordProvider destroyedWhileArmed;
    destroyedWhileArmed.get();
    EXPECT_EQ(runner.timerCount(), 1u);
  }
  EXPECT_EQ(runner.timerCount(), 0u);
  tarn::setRunner(nullptr);
  p.get();  // no runner: filled without a timer
  p.invalidateData();
  tarn::setRunner(saved);
}

}  // namespace
