// The agent service: settings through start, the bus and the store, event
// sources restarted by the generator setting, and the request socket.
#include "service/snmp_looper.h"

#include <stdlib.h>
#include <sys/stat.h>

#include "platform/paths.h"
#include "platform/store.h"
#include "security/community_keep.h"
#include "security/engine_id.h"
#include "service/snmp_fields.h"
#include "tests/service/agent_fixture.h"

namespace {

using namespace agent_test;
using tarn::message;

bool storeExists() {
  struct stat st;
  return stat(tarn::rootPath("/tarn/store/snmpd").c_str(), &st) == 0;
}

TEST_F(Agent, ConstructorTracesAndFirstStartKeepsDefaults) {
  {
    diag::Capture c;
    agent.reset(new SnmpLooper);
    EXPECT_EQ("communityKeep = new CommunityKeep;\ncommunityKeep->init();\n"
              "addHandler(snmp::ID_COMMUNITIES, communityKeep);\n", c.err());
    loop = agent.get();
    agent->init();
    EXPECT_EQ("", c.out());  // no boots line: nothing was stored
  }
  EXPECT_FALSE(storeExists());
  EXPECT_FALSE(agent->open);
  diag::Capture c;
  message got = agent->cmdGet(message());
  EXPECT_EQ("bogonymous cmd_get request\n", c.err());
  std::ostringstream dump;
  dump << got;
  EXPECT_EQ("{str:4=\"mallow\" str:2=\"\" str:3=\"\" str:10=\"\" u32:14=15 u32:16=0 "
            "u32:18=0 u32:17=0xffffffff u32[]:19=[] u32:13=0 bool:1=0}", dump.str());
}

// A stored record lacking fields takes the per-field defaults, and every
// start stores boots + 1 before serving.
TEST_F(Agent, StartLoadsStoredSettingsAndCountsBoots) {
  {
    tarn::Store s("/tarn/store/snmpd", 5);
    message m;
    m.insert(snmpf::BOOTS, 4u);
    m.insert(snmpf::ENGINE_ID, std::string("abc"));
    m.insert(snmpf::CONTACT, std::string("noc"));
    s.set(0, m);
  }
  diag::Capture c;
  agent.reset(new SnmpLooper);
  loop = agent.get();
  agent->init();
  EXPECT_EQ("engineBoots = 5\n", c.out());
  EXPECT_EQ(formatEngineID("abc"), agent->engine.engineId);
  EXPECT_EQ("", agent->trapCommunityName);
  EXPECT_EQ(0u, agent->engine.timeWindow);
  EXPECT_EQ(0xFFFFFFFFu, agent->trapCommunityId);
  EXPECT_EQ("noc", agent->contact);
  EXPECT_FALSE(communityKeep->findItem("mallow")->authKey.empty());
  stop();
  start();
  EXPECT_EQ(6, agent->engine.engineBoots);
  EXPECT_EQ(6u, tarn::Store("/tarn/store/snmpd", 5).get(0).get(snmpf::BOOTS, 0u));
}

TEST_F(Agent, SettingsSurviveARestart) {
  start();
  message m;
  m.insert(snmpf::CONTACT, std::string("ops"));
  m.insert(snmpf::LOCATION, std::string("rack 4"));
  m.insert(snmpf::TRAP_COMMUNITY, std::string("traps"));
  m.insert(snmpf::TIME_WINDOW, 150u);
  m.insert(snmpf::TRAP_TARGET, htonl(0x0A000001));
  m.insert(snmpf::TRAP_COMMUNITY_ID, 0u);
  m.insert(snmpf::TRAP_VERSION, 3u);
  m.insert(snmpf::ENGINE_ID, std::string("edge"));
  m.insert(snmpf::BOOTS, 41u);
  EXPECT_EQ("cmd_set from 999\n", set(m));
  const std::vector<unsigned char> key = communityKeep->findItem("mallow")->authKey;
  EXPECT_FALSE(key.empty());
  stop();
  start();
  message want = m;
  want.insert(snmpf::BOOTS, 42u);
  message got = agent->getConfig();
  for (const message::field& f : want.fields()) {
    ASSERT_NE(nullptr, got.find(f.id)) << std::hex << f.id;
    EXPECT_TRUE(*got.find(f.id) == f.v) << std::hex << f.id;
  }
  EXPECT_EQ(key, communityKeep->findItem("mallow")->authKey);
}

TEST_F(Agent, GeneratorListRestartsSourcesOnce) {
  useThreeSources();
  start();
  message m;
  m.insert(snmpf::TRAP_GENERATORS, std::vector<uint32_t>{2, 2, START_TRAP_GENERATOR, 5});
  EXPECT_EQ("unsubscribed from a\nunsubscribed from b\nunsubscribed from c\n"
            "subscribed to c\ncmd_set from 999\n", set(m));
  EXPECT_EQ((std::vector<std::string>{"-a", "-b", "-c", "+c"}), sourceCalls());
  const std::vector<uint32_t> kept{2, START_TRAP_GENERATOR, 5};
  EXPECT_EQ(kept, agent->trapGenerators);
  EXPECT_EQ(kept, tarn::Store("/tarn/store/snmpd", 5).get(0).get(snmpf::TRAP_GENERATORS));
  // At the next start only the valid indexes are subscribed, silently.
  stop();
  sourceCalls().clear();
  start();
  EXPECT_EQ(kept, agent->trapGenerators);
  agent->startSubscribers();
  EXPECT_EQ((std::vector<std::string>{"+c"}), sourceCalls());
  // An empty list is a change too: everything stops.
  message none;
  none[snmpf::TRAP_GENERATORS];
  sourceCalls().clear();
  set(none);
  EXPECT_EQ((std::vector<std::string>{"-a", "-b", "-c"}), sourceCalls());
  EXPECT_TRUE(agent->trapGenerators.empty());
}

TEST_F(Agent, GeneratorListCommand) {
  useThreeSources();
  start();
  message reply = agent->cmdUnknown(message(), snmpf::CMD_GENERATORS);
  const auto& list = reply.get(tarn::message_array_id(0xfe0002));
  ASSERT_EQ(4u, list.size());
  const unsigned ids[] = {START_TRAP_GENERATOR, 0, 1, 2};
  const char* names[] = {"start-trap", "a", "b", "c"};
  for (unsigned i = 0; i < 4; ++i) {
    message entry(list[i]);
    EXPECT_EQ(ids[i], entry.get(tarn::u32_id(0xfe0001), 0u));
    EXPECT_EQ(names[i], entry.get(tarn::string_id(0xfe0010), std::string()));
  }
  EXPECT_TRUE(agent->cmdUnknown(message(), 77).empty());
}

// A v2c GET of sysDescr.0 by "mallow" (the registry's default).
const std::vector<unsigned char> kGet = {
    0x30, 0x29, 0x02, 0x01, 0x01, 0x04, 0x06, 'm',  'a',  'l',  'l',
    'o',  'w',  0xa0, 0x1c, 0x02, 0x04, 0x00, 0x00, 0x00, 0x01, 0x02,
    0x01, 0x00, 0x02, 0x01, 0x00, 0x30, 0x0e, 0x30, 0x0c, 0x06, 0x08,
    0x2b, 0x06, 0x01, 0x02, 0x01, 0x01, 0x01, 0x00, 0x05, 0x00};

// The reply leaves from the address the request was sent to, also a
// secondary one; enabling twice keeps one socket; disabling twice is quiet.
TEST_F(Agent, SocketFollowsEnabledAndRepliesFromTheRequestedAddress) {
  setenv("TARN_SNMP_PORT", "0", 1);
  start();
  message on;
  on.insert(snmpf::ENABLED, true);
  set(on);
  ASSERT_TRUE(agent->open);
  const int first = agent->sock;
  agent->enable();
  EXPECT_EQ(first, agent->sock);
  sockaddr_in bound;
  socklen_t len = sizeof bound;
  getsockname(agent->sock, reinterpret_cast<sockaddr*>(&bound), &len);
  Udp manager;
  for (unsigned host : {0x7F000001u, 0x7F000005u}) {
    manager.sendTo(kGet, Udp::loopback(ntohs(bound.sin_port), host));
    agent->runOnce(1000);
    sockaddr_in from;
    std::vector<unsigned char> reply = manager.receive(1000, &from);
    ASSERT_FALSE(reply.empty());
    EXPECT_EQ(0xA2, reply[13]);  // GetResponse
    EXPECT_EQ(host, ntohl(from.sin_addr.s_addr));
  }
  message off;
  off.insert(snmpf::ENABLED, false);
  set(off);
  EXPECT_FALSE(agent->open);
  diag::Capture c;
  agent->disable();
  EXPECT_EQ("", c.err());
  unsetenv("TARN_SNMP_PORT");
}

TEST_F(Agent, PortTakenGivesOneLineAndStaysClosed) {
  Udp other;
  setenv("TARN_SNMP_PORT", std::to_string(other.port()).c_str(), 1);
  start();
  // SO_REUSEADDR does not share a UDP port bound without it.
  diag::Capture c;
  agent->enable();
  EXPECT_EQ("cannot create service connection\n", c.err());
  EXPECT_FALSE(agent->open);
  unsetenv("TARN_SNMP_PORT");
}

}  // namespace
