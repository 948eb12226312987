// The community registry: address checks and key derivation in process,
// and its bus commands driven from a second process over real sockets,
// surviving a restart of the registry's process.
#include "security/community_keep.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include "engine/request.h"
#include "platform/codes.h"
#include "platform/errors.h"
#include "platform/looper.h"
#include "security/engine_id.h"
#include "security/v3_server_info.h"
#include "tests/platform/test_root.h"

namespace {

using tarn::be32_id;
using tarn::bool_id;
using tarn::message;
using tarn::string_id;
using tarn::u32_id;

message community(const std::string& name) {
  message m;
  m.insert(string_id(5), name);
  return m;
}

TEST(CommunityKeep, DefaultCommunityAndAddressChecks) {
  tarn_test::TempRoot root;
  CommunityKeep keep;
  keep.init();
  ASSERT_EQ(keep.items().size(), 1u);
  const CommunityKeep::Item* mallow = keep.items()[0];
  EXPECT_TRUE(mallow->id == 0 && mallow->name == "mallow" && mallow->readAccess &&
              !mallow->writeAccess && mallow->security == 0);

  message host = community("host");
  host.insert(be32_id(8), htonl(0x0A000005));
  host.insert(be32_id(9), htonl(0xFFFFFFFF));
  message net = community("net");
  net.insert(be32_id(8), htonl(0x0A000000));
  net.insert(be32_id(9), htonl(0xFFFF0000));
  keep.cmdAddObj(host);
  keep.cmdAddObj(net);
  struct Case {
    const char* name;
    unsigned address;
    bool admitted;
  } cases[] = {
      {"mallow", 0xC0A80001, true},  // any source
      {"host", 0x0A000005, true},    {"host", 0x0A000006, false},
      {"net", 0x0A00FFFF, true},     {"net", 0x0A010000, false},
      {"Mallow", 0x0A000005, false},  // names are case-sensitive
  };
  for (const Case& c : cases)
    EXPECT_EQ(keep.check(c.name, htonl(c.address)), c.admitted) << c.name << " " << c.address;
}

TEST(CommunityKeep, KeysFollowTheEngineId) {
  tarn_test::TempRoot root;
  CommunityKeep keep;
  keep.init();
  V3ServerInfo engine;
  v3Engine = &engine;
  message user = community("user");
  user.insert(string_id(11), std::string("authpass"));
  keep.cmdAddObj(user);
  CommunityKeep::Item* item = keep.findItem("user");
  const CommunityKeep::Item* mallow = keep.findItem("mallow");

  engine.engineId = formatEngineID("one");
  keep.regenerateKeys();
  const std::vector<unsigned char> first = item->authKey;
  EXPECT_EQ(first.size(), 128u);  // the HMAC pad blocks
  // Empty passwords still give keys: the digest of the engine ID alone.
  EXPECT_EQ(mallow->authKey.size(), 128u);
  EXPECT_EQ(mallow->privKey.size(), 16u);

  engine.engineId = formatEngineID("two");
  keep.regenerateKeys();
  EXPECT_NE(item->authKey, first);
  v3Engine = nullptr;
}

// --- over the bus ---

constexpr unsigned kAgent = 161;
constexpr unsigned kClient = 4242;

pid_t startRegistry() {
  pid_t pid = fork();
  if (pid == 0) {
    alarm(30);
    tarn::Looper looper(kAgent);
    communityKeep = new CommunityKeep;
    communityKeep->init();
    looper.addHandler(snmp::ID_COMMUNITIES, communityKeep);
    looper.run();
    _exit(0);
  }
  return pid;
}

void stopRegistry(pid_t pid) {
  kill(pid, SIGKILL);
  waitpid(pid, nullptr, 0);
}

class CommunityBus : public ::testing::Test {
 protected:
  CommunityBus() : client(kClient, tarn::kLooperClientOnly) {}

  // Sends a command to the registry; retries while its process starts.
  message send(unsigned cmd, message m = message()) {
    m.insert(tarn::u32_array_id(tarn::kFieldDst),
             std::vector<uint32_t>{kAgent, snmp::ID_COMMUNITIES});
    m.insert(u32_id(tarn::kFieldCmd), cmd);
    message r;
    for (int i = 0; i < 100; ++i) {
      message copy = m;
      r = client.exchangeMessage(copy, 3000);
      unsigned code = 0;
      if (!tarn::isError(r, &code) || code != tarn::kErrNoService) break;
      usleep(20000);
    }
    return r;
  }

  std::string error(const message& r) {
    unsigned code = 0;
    std::string text;
    if (!tarn::isError(r, &code, &text)) return "ok";
    char buf[16];
    snprintf(buf, sizeof buf, "%#x", code);
    return std::string(buf) + " " + text;
  }

  std::vector<std::string> names(const message& page) {
    std::vector<std::string> out;
    for (const auto& flat : page.get(tarn::message_array_id(tarn::kFieldObjList)))
      out.push_back(message(flat).get(string_id(5), std::string()));
    return out;
  }

  tarn_test::TempRoot root;
  tarn::Looper client;
};

TEST_F(CommunityBus, CommandsAndTheirErrors) {
  pid_t pid = startRegistry();
  message withId = community("seven");
  withId.insert(u32_id(tarn::kFieldObjId), 7u);
  message nameless;
  nameless.insert(bool_id(6), true);
  struct Step {
    unsigned cmd;
    message msg;
    unsigned id;  // object id for get/set/remove
    std::string result;
    unsigned newId;  // expected id of an added community
  } steps[] = {
      {tarn::kCmdAddObj, community("private"), 0, "ok", 1},
      {tarn::kCmdAddObj, withId, 0, "ok", 7},
      {tarn::kCmdAddObj, community("third"), 0, "ok", 2},  // lowest free
      {tarn::kCmdAddObj, community("private"), 0,
       "0xfe0006 community with such name already exists", 0},
      {tarn::kCmdAddObj, nameless, 0, "0xfe0005 missing community name", 0},
      {tarn::kCmdAddObj, community(""), 0, "0xfe0006 empty script name", 0},
      {tarn::kCmdSetObj, community("mallow"), 1,
       "0xfe0006 community with such name already exists", 0},
      {tarn::kCmdSetObj, community("private"), 1, "ok", 0},  // its own name
      {tarn::kCmdSetObj, community(""), 2, "ok", 0},  // empty is allowed here
      {tarn::kCmdSetObj, community("x"), 9, "0xfe0004 ", 0},
      {tarn::kCmdGetObj, message(), 9, "0xfe0004 ", 0},
      {tarn::kCmdRemoveObj, message(), 9, "0xfe0004 ", 0},
      {tarn::kCmdRemoveObj, message(), 7, "ok", 0},
  };
  for (Step& s : steps) {
    SCOPED_TRACE(testing::Message() << std::hex << s.cmd << " " << s.result);
    if (s.cmd != tarn::kCmdAddObj) s.msg.insert(u32_id(tarn::kFieldObjId), s.id);
    message r = send(s.cmd, s.msg);
    EXPECT_EQ(error(r), s.result);
    if (s.newId) {
      EXPECT_EQ(r.get(u32_id(tarn::kFieldObjId), 0u), s.newId);
    }
  }
  message get;
  get.insert(u32_id(tarn::kFieldObjId), 1u);
  EXPECT_EQ(send(tarn::kCmdGetObj, get).get(string_id(5), std::string()), "private");
  EXPECT_EQ(names(send(tarn::kCmdGetAll)),
            (std::vector<std::string>{"mallow", "private", ""}));

  // The registry's process restarts: everything acknowledged is there.
  stopRegistry(pid);
  pid = startRegistry();
  EXPECT_EQ(names(send(tarn::kCmdGetAll)),
            (std::vector<std::string>{"mallow", "private", ""}));
  stopRegistry(pid);
}

TEST_F(CommunityBus, GetAllPagesAtTwenty) {
  pid_t pid = startRegistry();
  for (int i = 1; i <= 24; ++i) send(tarn::kCmdAddObj, community("c" + std::to_string(i)));
  for (unsigned count : {0u, 50u, 20u}) {
    message req;
    req.insert(u32_id(tarn::kFieldMaxCount), count);
    message page = send(tarn::kCmdGetAll, req);
    EXPECT_EQ(names(page).size(), 20u) << count;
    EXPECT_EQ(page.get(u32_id(tarn::kFieldStart), 0u), 20u) << count;  // the 21st
  }
  message rest;
  rest.insert(u32_id(tarn::kFieldStart), 20u);
  message last = send(tarn::kCmdGetAll, rest);
  EXPECT_EQ(names(last), (std::vector<std::string>{"c20", "c21", "c22", "c23", "c24"}));
  EXPECT_FALSE(last.has(u32_id(tarn::kFieldStart)));
  message unknown;
  unknown.insert(u32_id(tarn::kFieldStart), 99u);
  EXPECT_EQ(error(send(tarn::kCmdGetAll, unknown)), "0xfe000b ");
  stopRegistry(pid);
}

}  // namespace
