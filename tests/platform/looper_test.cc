// The looper and handlers in one process: local routing, publishing with
// notifyChange, and policies by peer credentials.
#include "platform/looper.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include "platform/errors.h"
#include "tests/platform/raw_bus.h"
#include "tests/platform/test_root.h"

using namespace tarn_test;

namespace {

const unsigned kSvc = 810;

class Listener : public Looper {
 public:
  Listener() : Looper(kSvc) {}
  message cmdUnknown(const message& msg, unsigned cmd) override {
    if (cmd == kCmdChanged) {
      changes.push_back(msg);
      shutdown();
    }
    return message();
  }
  std::vector<message> changes;
};

TEST(Looper, LocalSubscriptionAndNotifyChange) {
  TempRoot root;
  Listener l;
  Handler publisher;
  l.addHandler(1, &publisher);
  l.subscribe(u32_vector(kSvc, 1), kCmdChanged, message());
  l.runOnce(0), l.runOnce(0);  // serves the local subscribe
  ASSERT_EQ(1u, publisher.subscriberCount());
  message changed;
  changed.insert(string_id(5), "public");
  publisher.notifyChange(7, changed);
  l.addTimer(&l, [](void* p) { static_cast<Looper*>(p)->shutdown(); }, 3000);
  l.run();
  ASSERT_EQ(1u, l.changes.size());
  const message n = l.changes[0];
  EXPECT_EQ(7u, n.get(u32_id(kFieldObjId), 0));
  EXPECT_EQ((std::vector<uint32_t>{kSvc, 1}), n.get(u32_array_id(kFieldSrc)));
  ASSERT_EQ(1u, n.size(message_array_id(kFieldFilter)));
  EXPECT_EQ("public", message(n.get(message_array_id(kFieldFilter)).front()).get(string_id(5), ""));
}

// A command with a policy is refused to another user; others stay open.
TEST(Looper, PolicyRefusesOtherUsers) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root to play another user";
  TempRoot root;
  Looper l(kSvc);
  l.add_policy(1, 128);
  chmod(root.dir().c_str(), 0755);
  chmod(rootPath("/tarn/run/bus").c_str(), 0755);
  chmod(busSocketPath(kSvc).c_str(), 0777);
  pid_t pid = fork();
  ASSERT_GE(pid, 0);
  if (pid == 0) {
    if (setgid(65534) != 0 || setuid(65534) != 0) _exit(10);
    int fd = rawConnect(kSvc);
    int result = 0;
    for (uint32_t cmd : {1u, 2u}) {
      message m = request(kSvc, cmd);
      m.insert(u32_id(kFieldSeq), cmd);
      writeFrame(fd, m);
      message r;
      if (!readFrame(fd, &r, 3000)) _exit(12);
      unsigned code = 0;
      bool denied = isError(r, &code, nullptr) && code == kErrDenied;
      if (denied == (cmd == 1)) result |= cmd;
    }
    _exit(result);
  }
  int status = 0;
  uint64_t start = nowMs();
  while (waitpid(pid, &status, WNOHANG) == 0 && nowMs() - start < 5000) l.runOnce(20);
  EXPECT_TRUE(WIFEXITED(status));
  EXPECT_EQ(3, WEXITSTATUS(status));
}

}  // namespace
