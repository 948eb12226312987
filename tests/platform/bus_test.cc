// The bus over real sockets: exchanges, time-outs, late replies, malformed
// frames, and two processes with requests and notifications.
#include "platform/bus.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/clock.h"
#include "platform/codes.h"
#include "platform/diag.h"
#include "platform/errors.h"
#include "platform/looper.h"
#include "platform/paths.h"
#include "platform/wire.h"
#include "tests/platform/raw_bus.h"
#include "tests/platform/test_root.h"

using namespace tarn;
using namespace tarn_test;

namespace {

const unsigned kServer = 700, kClient = 701, kRaw = 702;
const unsigned kCmdSlow = 0x50, kCmdFire = 0x51, kCmdStop = 0x52;
const unsigned kLinkCode = 0x10004;

std::vector<std::string> g_diags;
void capture(const std::string& line) { g_diags.push_back(line); }

message request(unsigned service, unsigned cmd) {
  message m;
  m.insert_vector(u32_array_id(kFieldDst), service, 0);
  m.insert(u32_id(kFieldCmd), cmd);
  return m;
}

TEST(Bus, UnreachableServiceGivesLocalErrorAndSendDrops) {
  tarn_test::TempRoot root;
  Looper l(kClient);
  message m = request(799, kCmdGetObj);
  unsigned code = 0;
  EXPECT_TRUE(isError(l.exchangeMessage(m, 1000), &code, nullptr));
  EXPECT_EQ(static_cast<unsigned>(kErrNoService), code);
  message s = request(799, kCmdGetObj);
  l.sendMessage(s);  // dropped, no harm
}

TEST(Bus, TimeOutThenLateReplyIsDiscarded) {
  tarn_test::TempRoot root;
  int lfd = rawListen(kRaw);
  ASSERT_GE(lfd, 0);
  Looper l(kClient);
  message m = request(kRaw, kCmdGetObj);
  uint64_t start = nowMs();
  message r = l.exchangeMessage(m, 150);
  uint64_t took = nowMs() - start;
  unsigned code = 0;
  EXPECT_TRUE(isError(r, &code, nullptr));
  EXPECT_EQ(static_cast<unsigned>(kErrTimeout), code);
  EXPECT_GE(took, 140u);
  EXPECT_LT(took, 3000u);

  // The server answers the timed-out request late, and the next one too.
  int conn = accept(lfd, nullptr, nullptr);
  message got;
  ASSERT_TRUE(readFrame(conn, &got, 1000));
  uint32_t seq = got.get(u32_id(kFieldSeq), 0);
  for (uint32_t s : {seq, seq + 1}) {
    message reply;
    reply.insert(u32_id(kFieldSeq), s);
    reply.insert(bool_id(kFieldReply), true);
    reply.insert(u32_id(1), s == seq ? 111 : 222);
    writeFrame(conn, reply);
  }
  message m2 = request(kRaw, kCmdGetObj);
  message r2 = l.exchangeMessage(m2, 2000);
  EXPECT_FALSE(isError(r2));
  EXPECT_EQ(222u, r2.get(u32_id(1), 0));
  close(conn);
  close(lfd);
}

TEST(Bus, MalformedFrameClosesOnlyThatConnection) {
  tarn_test::TempRoot root;
  Looper l(kServer);
  int bad = rawConnect(kServer), good = rawConnect(kServer);
  ASSERT_GE(bad, 0);
  ASSERT_GE(good, 0);
  bytes garbage;
  wire::put32(garbage, 9);
  wire::put32(garbage, 1);
  wire::put32(garbage, 0x28000001);  // unknown tag
  garbage.push_back(0);
  ASSERT_EQ(13, write(bad, garbage.data(), garbage.size()));
  message m = request(kServer, kCmdGetCount);
  m.insert(u32_id(kFieldSeq), 5);
  writeFrame(good, m);
  g_diags.clear();
  DiagSink old = setDiagSink(capture);
  for (int i = 0; i < 10; ++i) l.runOnce(20);
  setDiagSink(old);
  ASSERT_EQ(1u, g_diags.size());
  EXPECT_EQ("tarn: malformed frame from pid " + std::to_string(getpid()) +
                ", connection closed",
            g_diags[0]);
  char c;
  EXPECT_EQ(0, read(bad, &c, 1));  // closed by the server
  message reply;
  ASSERT_TRUE(readFrame(good, &reply, 1000));
  EXPECT_EQ(5u, reply.get(u32_id(kFieldSeq), 0));
  EXPECT_TRUE(reply.get(bool_id(kFieldReply), false));
  EXPECT_TRUE(reply.has(u32_id(kFieldCount)));
  close(bad);
  close(good);
}

// The server process: answers get-one, a slow command, fires a link
// notification on request, and stops on request.
class Server : public Looper {
 public:
  Server() : Looper(kServer) {}
  message cmdGetObj(const message&, unsigned id) override {
    message m;
    m.insert(u32_id(1), id * 2);
    return m;
  }
  message cmdUnknown(const message&, unsigned cmd) override {
    message m;
    if (cmd == kCmdSlow) {
      usleep(300 * 1000);
      m.insert(u32_id(1), 5);
    } else if (cmd == kCmdFire) {
      message event;
      event.insert(u32_id(kFieldObjId), 3);
      event.insert(u32_id(0x10003), 0x500);
      notify(kLinkCode, event);
    } else if (cmd == kCmdStop) {
      shutdown();
    }
    return m;
  }
};

class Client : public Looper {
 public:
  Client() : Looper(kClient) {}
  message cmdUnknown(const message& msg, unsigned cmd) override {
    if (cmd == kLinkCode) {
      notified = msg;
      shutdown();
    }
    return message();
  }
  message notified;
};

pid_t startServer() {
  pid_t pid = fork();
  if (pid == 0) {
    alarm(20);
    Server s;
    s.run();
    _exit(0);
  }
  return pid;
}

// Exchanges get-one until the server answers (it may still be starting).
message askServer(Looper& l, uint32_t id) {
  message r;
  uint64_t start = nowMs();
  do {
    message m = request(kServer, kCmdGetObj);
    m.insert(u32_id(kFieldObjId), id);
    r = l.exchangeMessage(m, 2000);
  } while (isError(r) && nowMs() - start < 5000 && usleep(20000) == 0);
  return r;
}

TEST(Bus, TwoProcessesRequestReplyAndNotification) {
  tarn_test::TempRoot root;
  pid_t pid = startServer();
  ASSERT_GT(pid, 0);
  Client c;
  message r = askServer(c, 21);
  EXPECT_EQ(42u, r.get(u32_id(1), 0)) << r;
  EXPECT_EQ((std::vector<uint32_t>{kServer, 0}),
            r.get(u32_array_id(kFieldSrc)));

  message slow = request(kServer, kCmdSlow);
  unsigned code = 0;
  EXPECT_TRUE(isError(c.exchangeMessage(slow, 50), &code, nullptr));
  EXPECT_EQ(static_cast<unsigned>(kErrTimeout), code);

  message filter;
  filter.insert(u32_id(0x10003), 128);
  c.subscribe(u32_vector(kServer, 0), kLinkCode, filter);
  message fire = request(kServer, kCmdFire);
  message fired = c.exchangeMessage(fire, 3000);
  EXPECT_FALSE(isError(fired)) << fired;
  EXPECT_TRUE(fired.get(u32_id(1), 0) != 5);  // not the late slow reply
  c.addTimer(&c, [](void* p) { static_cast<Client*>(p)->shutdown(); }, 3000);
  c.run();
  EXPECT_EQ(0x500u, c.notified.get(u32_id(0x10003), 0)) << c.notified;
  EXPECT_EQ((std::vector<uint32_t>{kClient, 0}),
            c.notified.get(u32_array_id(kFieldDst)));

  message stop = request(kServer, kCmdStop);
  c.exchangeMessage(stop, 3000);
  int status = 0;
  waitpid(pid, &status, 0);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

// The client keeps its connection; the server is killed and started again;
// the next exchange finds the old connection dead and opens a new one.
TEST(Bus, KeptConnectionSurvivesPeerRestart) {
  tarn_test::TempRoot root;
  pid_t first = startServer();
  ASSERT_GT(first, 0);
  Looper c(kClient);
  EXPECT_EQ(2u, askServer(c, 1).get(u32_id(1), 0));
  kill(first, SIGKILL);
  waitpid(first, nullptr, 0);
  pid_t second = startServer();
  ASSERT_GT(second, 0);
  message r = askServer(c, 2);
  EXPECT_EQ(4u, r.get(u32_id(1), 0)) << r;
  message stop = request(kServer, kCmdStop);
  c.exchangeMessage(stop, 3000);
  waitpid(second, nullptr, 0);
}

}  // namespace

namespace {

// Serves the client's loop for ms (renewals, notifications), ending early
// if a notification shuts it down.
void stopClient(void* c) { static_cast<Client*>(c)->shutdown(); }

void serveFor(Client& c, unsigned ms) {
  c.addTimer(&c, stopClient, ms);
  c.run();
  c.removeTimer(&c, stopClient);
}

void fire(Client& c) {
  message m = request(kServer, kCmdFire);
  EXPECT_FALSE(isError(c.exchangeMessage(m, 3000)));
}

// A publisher keeps subscriptions in memory only: the subscriber sends them
// again, so a restarted publisher notifies it once more; an unsubscribe
// ends the renewals.
TEST(Bus, SubscriptionsAreRenewedAfterPublisherRestart) {
  tarn_test::TempRoot root;
  pid_t first = startServer();
  ASSERT_GT(first, 0);
  Client c;
  c.renewSubscriptionsEvery(50);
  askServer(c, 1);
  message filter;
  filter.insert(u32_id(0x10003), 128);
  c.subscribe(u32_vector(kServer, 0), kLinkCode, filter);
  kill(first, SIGKILL);
  waitpid(first, nullptr, 0);
  pid_t second = startServer();
  ASSERT_GT(second, 0);
  askServer(c, 2);
  serveFor(c, 200);  // a few renewals reach the new publisher
  fire(c);
  serveFor(c, 3000);
  EXPECT_EQ(0x500u, c.notified.get(u32_id(0x10003), 0)) << c.notified;

  c.notified = message();
  c.unsubscribe(u32_vector(kServer, 0), kLinkCode, filter);
  serveFor(c, 200);
  fire(c);
  serveFor(c, 300);
  EXPECT_FALSE(c.notified.has(u32_id(0x10003))) << c.notified;
  message stop = request(kServer, kCmdStop);
  c.exchangeMessage(stop, 3000);
  waitpid(second, nullptr, 0);
}

}  // namespace

namespace {

// listenUnix: a socket file that exists always accepts; a live service is
// never taken over; a stale file is replaced; no temporary name is left.
TEST(Bus, ListenUnixPublishesOnlyListeningSockets) {
  tarn_test::TempRoot root;
  const std::string dir = root.dir();
  const std::string path = dir + "/s.sock";
  int stale = socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un a{};
  a.sun_family = AF_UNIX;
  path.copy(a.sun_path, path.size());
  ASSERT_EQ(0, bind(stale, reinterpret_cast<sockaddr*>(&a), sizeof a));
  close(stale);  // the file stays, nobody listens: stale

  int fd = -1;
  ASSERT_EQ(ListenResult::kListening, listenUnix(path, &fd));
  int c = socket(AF_UNIX, SOCK_STREAM, 0);
  EXPECT_EQ(0, connect(c, reinterpret_cast<sockaddr*>(&a), sizeof a));
  close(c);
  EXPECT_NE(0, access((path + "." + std::to_string(getpid())).c_str(), F_OK));
  int second = -1;
  EXPECT_EQ(ListenResult::kAlreadyServed, listenUnix(path, &second));
  EXPECT_EQ(-1, second);
  EXPECT_EQ(ListenResult::kPathTooLong, listenUnix(dir + "/" + std::string(120, 'x'), &second));
  close(fd);
}

}  // namespace
