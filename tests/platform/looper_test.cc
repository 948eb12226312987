// The looper and handlers in one process: local routing, publishing with
// notifyChange, policies by peer credentials and the undo history. (Socket
// activation and the idle leave are checked with real processes by
// tests/supervisor.)
#include "platform/looper.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <fstream>

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
  l.runOnce(0);  // serves the local subscribe
  l.runOnce(0);
  ASSERT_EQ(1u, publisher.subscriberCount());
  message changed;
  changed.insert(string_id(5), "public");
  publisher.notifyChange(7, changed);
  l.addTimer(&l, [](void* p) { static_cast<Looper*>(p)->shutdown(); }, 3000);
  l.run();
  ASSERT_EQ(1u, l.changes.size());
  const message& n = l.changes[0];
  EXPECT_EQ(7u, n.get(u32_id(kFieldObjId), 0));
  EXPECT_EQ((std::vector<uint32_t>{kSvc, 1}), n.get(u32_array_id(kFieldSrc)));
  ASSERT_EQ(1u, n.size(message_array_id(kFieldFilter)));
  EXPECT_EQ("public", message(n.get(message_array_id(kFieldFilter))[0]).get(string_id(5), ""));
  // An exchange with our own service is served at once.
  message count;
  count.insert_vector(u32_array_id(kFieldDst), kSvc, 1);
  EXPECT_TRUE(l.exchangeCmd(count, kCmdGetCount, 100).has(u32_id(kFieldCount)));
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
    if (fd < 0) _exit(11);
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

TEST(Looper, UndoHistoryKeepsLineAndReplayableUndo) {
  TempRoot root;
  Looper l(kSvc);
  message undo;
  undo.insert(u32_id(kFieldCmd), kCmdSetObj);
  undo.insert(u32_id(kFieldObjId), 4);
  l.sendUndo(message(), undo, "changed snmp settings");
  std::ifstream history(rootPath("/tarn/log/history"));
  std::string line;
  ASSERT_TRUE(std::getline(history, line));
  EXPECT_NE(std::string::npos, line.find(" 810 changed snmp settings"));
  std::ifstream undoFile(rootPath("/tarn/log/history.undo"), std::ios::binary);
  bytes data((std::istreambuf_iterator<char>(undoFile)), std::istreambuf_iterator<char>());
  ASSERT_GE(data.size(), 4u);
  ASSERT_EQ(data.size() - 4, wire::get32(data.data()));
  message back;
  ASSERT_TRUE(message::parse(data.data() + 4, data.size() - 4, &back));
  EXPECT_EQ(4u, back.get(u32_id(kFieldObjId), 0));
}

}  // namespace
