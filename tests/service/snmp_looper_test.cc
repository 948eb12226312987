// The agent service: settings through start, the bus and the store, event
// sources restarted by the generator setting, and the request socket.
#include "service/snmp_looper.h"

#include <stdlib.h>

#include <sstream>

#include "engine/request.h"
#include "platform/codes.h"
#include "platform/errors.h"
#include "platform/store.h"
#include "security/community_keep.h"
#include "security/engine_id.h"
#include "service/snmp_fields.h"
#include "tests/service/agent_fixture.h"

namespace {

using namespace agent_test;
using tarn::message;

// A stored record lacking fields takes the per-field defaults; every start
// stores boots + 1 before serving; settings set over the bus survive a
// restart, and so do the keys derived from them.
TEST_F(Agent, SettingsThroughStartsAndTheStore) {
  message stored;
  stored.insert(snmpf::BOOTS, 4u);
  stored.insert(snmpf::ENGINE_ID, std::string("abc"));
  stored.insert(snmpf::CONTACT, std::string("noc"));
  tarn::Store("/tarn/store/snmpd", 5).set(0, stored);
  EXPECT_EQ("engineBoots = 5\n", start());
  EXPECT_EQ(formatEngineID("abc"), agent->engine.engineId);
  EXPECT_EQ(agent->trapCommunityName, "");
  EXPECT_EQ(agent->engine.timeWindow, 0u);
  EXPECT_EQ(agent->trapCommunityId, snmpf::NO_COMMUNITY);
  EXPECT_EQ(agent->contact, "noc");
  EXPECT_FALSE(communityKeep->findItem("mallow")->authKey.empty());

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
  m.insert(snmpf::BULK, true);
  m.insert(snmpf::EXCEPTIONS, true);
  EXPECT_EQ("cmd_set from 999\n", set(m));
  const std::vector<unsigned char> key = communityKeep->findItem("mallow")->authKey;
  EXPECT_EQ("engineBoots = 42\n", start());
  m.insert(snmpf::BOOTS, 42u);
  const message got = agent->getConfig();
  for (const message::field& f : m.fields()) {
    ASSERT_NE(nullptr, got.find(f.id)) << std::hex << f.id;
    EXPECT_TRUE(*got.find(f.id) == f.v) << std::hex << f.id;
  }
  EXPECT_EQ(key, communityKeep->findItem("mallow")->authKey);
  EXPECT_TRUE(replyOptions.bulk);
  EXPECT_TRUE(replyOptions.exceptions);
  EXPECT_EQ(42u, tarn::Store("/tarn/store/snmpd", 5).get(0).get(snmpf::BOOTS, 0u));
}

// The generator list restarts the sources once; at the next start only the
// valid indexes are subscribed, silently; an empty list changes nothing.
TEST_F(Agent, SourcesAndSocketFollowTheSettings) {
  start();
  message m, none;
  m.insert(snmpf::TRAP_GENERATORS, std::vector<uint32_t>{2, 2, snmpf::START_TRAP_GENERATOR, 5});
  none[snmpf::TRAP_GENERATORS];
  EXPECT_EQ("unsubscribed from a\nunsubscribed from b\nunsubscribed from c\nsubscribed to c\ncmd_set from 999\n", set(m));
  EXPECT_EQ((std::vector<uint32_t>{2, snmpf::START_TRAP_GENERATOR, 5}), agent->trapGenerators);
  start();
  sourceCalls.clear();
  agent->startSubscribers();
  set(none);
  EXPECT_EQ((std::vector<std::string>{"+c"}), sourceCalls);
  EXPECT_EQ((std::vector<uint32_t>{2, snmpf::START_TRAP_GENERATOR, 5}), agent->trapGenerators);

  // Enabling twice keeps one socket; a port taken by another socket gives
  // one line and the agent stays closed. (Replies are checked end to end.)
  setenv("TARN_SNMP_PORT", "0", 1);
  message on;
  on.insert(snmpf::ENABLED, true);
  set(on);
  const int first = agent->sock;
  agent->enable();
  EXPECT_EQ(first, agent->sock);
  agent->disable();
  diag::Capture c;
  Udp other;  // SO_REUSEADDR does not share a UDP port bound without it
  setenv("TARN_SNMP_PORT", std::to_string(other.port).c_str(), 1);
  agent->enable();
  EXPECT_EQ("cannot create service connection\n", c.err());
  EXPECT_FALSE(agent->open);
  unsetenv("TARN_SNMP_PORT");
}

// An engine ID whose wire form (5-octet prefix and text) would pass 32
// octets is refused with the whole request: nothing changes, in memory or
// in the store. 27 octets of text are taken.
TEST_F(Agent, EngineIdLongerThanTheWireAllowsIsRefused) {
  start();
  const auto dump = [](const message& m) {
    std::ostringstream text;
    text << m;
    return text.str();
  };
  for (size_t len : {27u, 28u}) {
    SCOPED_TRACE(len);
    const std::string text(len, 'e');
    message m;
    m.insert(snmpf::ENGINE_ID, text);
    m.insert(snmpf::CONTACT, std::string("noc ") + std::to_string(len));
    const std::string before = dump(agent->getConfig());
    const std::string stored = dump(tarn::Store("/tarn/store/snmpd", 5).get(0));
    diag::Capture quiet;
    unsigned code = 0;
    std::string error;
    const bool refused = tarn::isError(agent->cmdSet(m), &code, &error);
    EXPECT_EQ(refused, len > 27);
    if (refused) {
      EXPECT_EQ(code, tarn::kErrConflict);
      EXPECT_EQ(error, "engine-id: at most 27 octets (32 on the wire with its prefix)");
      EXPECT_EQ(dump(agent->getConfig()), before);
      EXPECT_EQ(dump(tarn::Store("/tarn/store/snmpd", 5).get(0)), stored);
    } else {
      EXPECT_EQ(agent->engine.engineId, formatEngineID(text));
      EXPECT_EQ(agent->contact, "noc 27");
    }
  }
}

}  // namespace
