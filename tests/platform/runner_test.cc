// Timers and sockets of the poll runner.
#include "platform/runner.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <vector>

#include "platform/clock.h"

using namespace tarn;

namespace {

struct Recorder {
  ThinRunner* runner;
  std::vector<int> order;
  void rearm() {
    order.push_back(100 + static_cast<int>(order.size()));
    if (order.size() < 3) {
      tarn::addTimer<Recorder>(this, &Recorder::rearm, 0);
    } else {
      runner->shutdown();
    }
  }
  void never() { order.push_back(-1); }
  void readable(int fd, unsigned events) {
    char c;
    if ((events & kEventRead) && read(fd, &c, 1) == 1) order.push_back(c);
    runner->shutdown();
  }
};

struct Tagged {
  std::vector<int>* order;
  int tag;
};

// Due timers fire in order of due time, equal ones in arming order.
TEST(Runner, TimersFireInDueOrderThenArmingOrder) {
  ThinRunner r;
  std::vector<int> order;
  Tagged tags[] = {{&order, 30}, {&order, 10}, {&order, 20}, {&order, 0}, {&order, 1}};
  for (Tagged& t : tags) {
    r.addTimer(&t, [](void* p) {
      Tagged* t = static_cast<Tagged*>(p);
      t->order->push_back(t->tag);
    }, t.tag > 1 ? t.tag : 0);
  }
  uint64_t start = nowMs();
  while (r.timerCount() > 0 && nowMs() - start < 5000) r.runOnce(100);
  EXPECT_EQ((std::vector<int>{0, 1, 10, 20, 30}), order);
}

// Arming a member timer again re-arms it; a callback may re-arm itself;
// sockets call back when readable.
TEST(Runner, MemberTimersRearmAndSocketsCallBack) {
  ThinRunner r;
  Recorder rec{&r, {}};
  tarn::addTimer<Recorder>(&rec, &Recorder::never, 10);
  tarn::addTimer<Recorder>(&rec, &Recorder::never, 20);
  EXPECT_EQ(1u, r.timerCount());
  tarn::removeTimer<Recorder>(&rec, &Recorder::never);
  EXPECT_EQ(0u, r.timerCount());
  tarn::addTimer<Recorder>(&rec, &Recorder::rearm, 0);
  r.run();
  EXPECT_EQ((std::vector<int>{100, 101, 102}), rec.order);

  rec.order.clear();
  int p[2];
  ASSERT_EQ(0, pipe(p));
  r.addSocket<Recorder>(p[0], &rec, &Recorder::readable, kEventRead);
  ASSERT_EQ(1, write(p[1], "x", 1));
  r.run();
  r.removeSocket(p[0]);
  close(p[0]);
  close(p[1]);
  EXPECT_EQ((std::vector<int>{'x'}), rec.order);
}

}  // namespace
