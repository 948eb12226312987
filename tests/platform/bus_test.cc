// The bus over real sockets: time-outs and late replies, peers that die or
// stall in the middle of an exchange, malformed frames, and a peer
// restarting under a kept connection and a subscription.
#include "platform/bus.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>

#include "platform/diag.h"
#include "platform/errors.h"
#include "platform/looper.h"
#include "tests/platform/raw_bus.h"
#include "tests/platform/test_root.h"

using namespace tarn_test;

namespace {

const unsigned kServer = 700, kClient = 701, kRaw = 702;
const unsigned kCmdFire = 0x51, kLinkCode = 0x10004;

std::vector<std::string> g_diags;

message one(uint32_t v, unsigned id = 1) {
  message m;
  m.insert(u32_id(id), v);
  return m;
}

unsigned errorCode(const message& r) {
  unsigned code = 0;
  return isError(r, &code, nullptr) ? code : 0;
}

void reap(pid_t pid) {
  kill(pid, SIGKILL);
  waitpid(pid, nullptr, 0);
}

// Exchanges a request to service's get-one with id (if any) in ms.
message ask(Looper& l, unsigned service, int ms, uint32_t id = 0) {
  message m = request(service, kCmdGetObj);
  if (id) m.insert(u32_id(kFieldObjId), id);
  return l.exchangeMessage(m, ms);
}

TEST(Bus, TimeOutThenLateReplyIsDiscarded) {
  TempRoot root;
  int lfd = rawListen(kRaw);
  Looper l(kClient);
  uint64_t start = nowMs();
  EXPECT_EQ(static_cast<unsigned>(kErrTimeout), errorCode(ask(l, kRaw, 150)));
  EXPECT_GE(nowMs() - start, 140u);
  EXPECT_LT(nowMs() - start, 3000u);

  // The server answers the timed-out request late, and the next one too.
  int conn = accept(lfd, nullptr, nullptr);
  message got;
  ASSERT_TRUE(readFrame(conn, &got, 1000));
  uint32_t seq = got.get(u32_id(kFieldSeq), 0);
  for (uint32_t s : {seq, seq + 1}) writeFrame(conn, replyTo(s, one(s == seq ? 111 : 222)));
  EXPECT_EQ(222u, ask(l, kRaw, 2000).get(u32_id(1), 0));
  close(conn);
  close(lfd);
}

// A peer process takes the request and then goes away, or stops, in the
// middle of its reply: the exchange ends with an error (at once when the
// peer is gone, at the time-out when it is stopped), and the next exchange,
// with a new peer, is answered.
TEST(Bus, PeerDiesOrStallsMidExchange) {
  enum Act { kDieBeforeReply, kDieMidFrame, kStall };
  struct { Act act; unsigned code; bool waitsTimeout; } cases[] = {
      {kDieBeforeReply, kErrNoService, false},
      {kDieMidFrame, kErrNoService, false},
      {kStall, kErrTimeout, true},
  };
  TempRoot root;
  int lfd = rawListen(kRaw);
  Looper l(kClient);
  // A peer that accepts one connection and serves it as act says; answers
  // (with 7) when act is -1.
  auto peer = [lfd](int act) {
    pid_t pid = fork();
    if (pid != 0) return pid;
    alarm(10);
    int conn = accept(lfd, nullptr, nullptr);
    for (message got; readFrame(conn, &got, 5000);) {
      message reply = one(7);
      for (int i = 0; i < 2000; ++i) reply[u32_array_id(2)].push_back(i);
      const bytes frame = frameOf(replyTo(got.get(u32_id(kFieldSeq), 0), reply));
      if (act == kDieBeforeReply) raise(SIGKILL);
      if (act == kStall) raise(SIGSTOP);
      size_t n = act == kDieMidFrame ? frame.size() / 2 : frame.size();
      if (write(conn, frame.data(), n) != static_cast<ssize_t>(n)) break;
      if (act == kDieMidFrame) raise(SIGKILL);
    }
    _exit(0);
  };
  for (const auto& c : cases) {
    pid_t bad = peer(c.act);
    uint64_t start = nowMs();
    message r = ask(l, kRaw, 400);
    uint64_t took = nowMs() - start;
    EXPECT_EQ(c.code, errorCode(r)) << c.act << " " << r;
    EXPECT_TRUE(c.waitsTimeout ? took >= 390 : took < 390) << c.act << " " << took;
    reap(bad);
    pid_t good = peer(-1);
    r = ask(l, kRaw, 3000);
    EXPECT_EQ(7u, r.get(u32_id(1), 0)) << c.act << " " << r;
    reap(good);
  }
  close(lfd);
}

TEST(Bus, MalformedFrameClosesOnlyThatConnection) {
  TempRoot root;
  Looper l(kServer);
  int bad = rawConnect(kServer), good = rawConnect(kServer);
  bytes garbage;
  for (uint32_t v : {9u, 1u, 0x28000001u}) wire::put32(garbage, v);  // unknown tag
  garbage.push_back(0);
  ASSERT_EQ(13, write(bad, garbage.data(), garbage.size()));
  message m = request(kServer, kCmdGetCount);
  m.insert(u32_id(kFieldSeq), 5);
  writeFrame(good, m);
  g_diags.clear();
  DiagSink old = setDiagSink([](const std::string& line) { g_diags.push_back(line); });
  for (int i = 0; i < 10; ++i) l.runOnce(20);
  setDiagSink(old);
  EXPECT_EQ(std::vector<std::string>{"tarn: malformed frame from pid " +
                                     std::to_string(getpid()) + ", connection closed"},
            g_diags);
  char c;
  EXPECT_EQ(0, read(bad, &c, 1));  // closed by the server
  message reply;
  ASSERT_TRUE(readFrame(good, &reply, 1000));
  EXPECT_EQ(5u, reply.get(u32_id(kFieldSeq), 0));
  EXPECT_TRUE(reply.has(u32_id(kFieldCount)));
  close(bad);
  close(good);
}

// The server process: get-one answers twice the id; it fires a link
// notification on request.
class Server : public Looper {
 public:
  Server() : Looper(kServer) {}
  message cmdGetObj(const message&, unsigned id) override { return one(id * 2); }
  message cmdUnknown(const message&, unsigned cmd) override {
    if (cmd == kCmdFire) {
      message event = one(0x500, 0x10003);
      event.insert(u32_id(kFieldObjId), 3);
      notify(kLinkCode, event);
    }
    return message();
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
  // Serves the loop for ms (renewals, notifications), ending early if a
  // notification arrives.
  void serveFor(unsigned ms) {
    auto stop = [](void* c) { static_cast<Client*>(c)->shutdown(); };
    addTimer(this, stop, ms);
    run();
    removeTimer(this, stop);
  }
  message notified;
};

pid_t startServer() {
  pid_t pid = fork();
  if (pid == 0) { alarm(20); Server().run(); _exit(0); }
  return pid;
}

// Exchanges get-one until the server answers (it may still be starting).
message askServer(Looper& l, uint32_t id) {
  message r;
  for (uint64_t until = nowMs() + 5000; isError(r = ask(l, kServer, 2000, id)) && nowMs() < until;) usleep(20000);
  return r;
}

// The client keeps its connection and its subscription while the server is
// killed and started again: the next exchange finds the old connection dead
// and opens a new one, and the renewed subscription reaches the new
// publisher (which keeps subscriptions in memory only).
TEST(Bus, PeerRestartUnderKeptConnectionAndSubscription) {
  TempRoot root;
  pid_t first = startServer();
  Client c;
  c.renewSubscriptionsEvery(50);
  message r = askServer(c, 21);
  EXPECT_EQ(42u, r.get(u32_id(1), 0)) << r;
  EXPECT_EQ((std::vector<uint32_t>{kServer, 0}), r.get(u32_array_id(kFieldSrc)));
  c.subscribe(u32_vector(kServer, 0), kLinkCode, one(128, 0x10003));
  reap(first);
  pid_t second = startServer();
  r = askServer(c, 2);
  EXPECT_EQ(4u, r.get(u32_id(1), 0)) << r;
  c.serveFor(200);  // a few renewals reach the new publisher
  message fire = request(kServer, kCmdFire);
  EXPECT_FALSE(isError(c.exchangeMessage(fire, 3000)));
  c.serveFor(3000);
  EXPECT_EQ(0x500u, c.notified.get(u32_id(0x10003), 0)) << c.notified;
  EXPECT_EQ((std::vector<uint32_t>{kClient, 0}), c.notified.get(u32_array_id(kFieldDst)));
  reap(second);
}

}  // namespace
