// Traps: what send_trap says when it cannot send, the encoding of SNMPv1,
// SNMPv2c and SNMPv3 traps as a receiver decodes them, and the trap makers.
#include "service/traps.h"

#include <stdlib.h>

#include "codec/in_stream.h"
#include "codec/wire.h"
#include "engine/context.h"
#include "platform/codes.h"
#include "security/community_keep.h"
#include "security/v3_errors.h"
#include "service/snmp_fields.h"
#include "tests/hex.h"
#include "tests/service/agent_fixture.h"

namespace {

using namespace agent_test;
using tarn::message;

class Traps : public Agent {
 protected:
  void SetUp() override {
    Agent::SetUp();
    setenv("TARN_SNMP_TRAP_PORT", std::to_string(sink.port()).c_str(), 1);
    start();
    agent->enabled = true;
    agent->trapTarget = htonl(0x7F000001);
    agent->trapCommunityId = 0;  // "mallow"
    trapMakers = {zarrowTrapMaker};
  }
  void TearDown() override {
    unsetenv("TARN_SNMP_TRAP_PORT");
    Agent::TearDown();
  }
  // send_trap's diagnostics; *trap gets the datagram the sink received.
  // Waits up to `ms` for the trap (not long where none is expected).
  std::string send(const message& event, std::vector<unsigned char>* trap = nullptr,
                   int ms = 1000) {
    diag::Capture c;
    agent->send_trap(event);
    std::vector<unsigned char> got = sink.receive(trap ? ms : 50);
    if (trap) *trap = got;
    return c.out() + c.err();
  }

  Udp sink;
};

message vendorEvent(const char* oid, unsigned type, const char* value) {
  message m;
  m.insert(tarn::u32_id(tarn::kFieldCmd), snmpf::CMD_EVENT);
  if (oid) m.insert(snmpf::EVENT_OID, std::string(oid));
  if (type) m.insert(snmpf::EVENT_TYPE, type);
  if (value) m.insert(snmpf::EVENT_VALUE, std::string(value));
  return m;
}

message linkEvent(unsigned id, unsigned state) {
  message m;
  m.insert(tarn::u32_id(tarn::kFieldCmd), snmpf::CMD_LINK);
  m.insert(tarn::u32_array_id(tarn::kFieldSrc), std::vector<uint32_t>{20, 0});
  m.insert(tarn::u32_id(tarn::kFieldObjId), id);
  m.insert(tarn::u32_id(0x10003), state);
  return m;
}

// Reads one binding: name and value as text (INTEGER-like as numbers,
// OIDs dotted, strings as they are).
std::string binding(InStream& in) {
  in.enterSeq();
  OID name;
  in.getOID(&name);
  std::ostringstream s;
  s << name << "=";
  const int type = in.getType();
  if (type == wire::OBJECT_ID) {
    OID v;
    in.getOID(&v);
    s << v;
  } else if (type == wire::OCTET_STRING) {
    std::string v;
    in.getString(&v);
    s << v;
  } else if (type == wire::NULL_TYPE) {
    in.getNull();
    s << "null";
  } else if (type == wire::TIMETICKS) {
    int v;
    in.getInt(&v);
    s << "ticks";
  } else {
    int v = -1;
    in.getInt(&v);
    s << v;
  }
  in.exitSeq();
  return s.str();
}

std::string bindings(InStream& in) {
  std::string all;
  in.enterSeq();
  while (!in.isSeqEnd()) all += binding(in) + " ";
  in.exitSeq();
  return all;
}

TEST_F(Traps, NothingSentWhenItCannotBe) {
  struct Case {
    bool enabled;
    unsigned target, community;
    const char* said;
  } cases[] = {
      {false, htonl(0x7F000001), 0, "send_trap: snmp disabled\n"},
      {true, 0, 0, "send_trap: no trap sink specified\n"},
      {true, htonl(0x7F000001), 0xFFFFFFFF, "send_trap: no trap sink specified\n"},
      {true, htonl(0x7F000001), 9,
       "createTrap: bad community\nsend_trap: createTrap failed\n"},
  };
  for (const Case& c : cases) {
    agent->enabled = c.enabled;
    agent->trapTarget = c.target;
    agent->trapCommunityId = c.community;
    std::vector<unsigned char> trap;
    EXPECT_EQ(c.said, send(vendorEvent(nullptr, 0, nullptr), &trap, 50));
    EXPECT_TRUE(trap.empty());
  }
}

// SNMPv1: the enterprise is the maker's trap OID itself, the agent address
// the local address of the trap socket, four octets.
TEST_F(Traps, VersionOneStartTrap) {
  trapMakers.push_back(startupTrapMaker);
  std::vector<unsigned char> trap;
  EXPECT_EQ("", send(message(), &trap));
  // The whole message, with the time stamp as it was sent (small here).
  ASSERT_EQ(43u, trap.size());
  const std::string stamp = hex(std::vector<unsigned char>{trap[40]});
  EXPECT_EQ("30 29 02 01 00 04 06 6d 61 6c 6c 6f 77 a4 1c "
            "06 09 2b 06 01 06 03 01 01 05 02 40 04 7f 00 00 01 "
            "02 01 01 02 01 00 43 01 " + stamp + " 30 00",
            hex(trap));
}

TEST_F(Traps, VersionTwoBindings) {
  agent->trapVersion = 1;
  const std::string head =
      "1.3.6.1.2.1.1.3.0=ticks 1.3.6.1.6.3.1.1.4.1.0=1.3.6.1.4.1.40117.1.1.9.0.1 ";
  struct Case {
    message event;
    std::string bindings;
  } cases[] = {
      {vendorEvent("1.3.6.1.2.1.1.5.0", 4, "x"), head + "1.3.6.1.2.1.1.5.0=x "},
      {vendorEvent("1.3.6.1.2.1.1.5.0", 5, nullptr), head + "1.3.6.1.2.1.1.5.0=null "},
      {vendorEvent("1.3.6.1.2.1.1.5.0", 4, nullptr), head},
      {vendorEvent(nullptr, 0, nullptr), head},
      {message(), "1.3.6.1.2.1.1.3.0=ticks 1.3.6.1.6.3.1.1.4.1.0=1.3.6.1.6.3.1.1.5.2 "},
  };
  trapMakers.push_back(startupTrapMaker);
  for (const Case& c : cases) {
    std::vector<unsigned char> trap;
    EXPECT_EQ("", send(c.event, &trap));
    InStream in(trap.data(), static_cast<unsigned>(trap.size()));
    EXPECT_EQ(1, in.getVersion());
    std::string community;
    in.getString(&community);
    EXPECT_EQ(static_cast<int>(wire::TRAP_V2), in.getType());
    in.enterSeq();
    int id, status = -1, index = -1;
    EXPECT_TRUE(in.getInt(&id) && in.getInt(&status) && in.getInt(&index));
    EXPECT_EQ(0, status + index);
    EXPECT_EQ(c.bindings, bindings(in));
  }
}

// Two identical link events: one trap, then the dump of the second event.
TEST_F(Traps, LinkMakerRemembersStates) {
  agent->trapVersion = 1;
  trapMakers.push_back(linkTrapMaker);
  struct Case {
    unsigned id, state;
    const char* bindings;  // empty: nothing sent
  } cases[] = {
      {3, 0x500, "=1.3.6.1.6.3.1.1.5.4 1.3.6.1.2.1.2.2.1.1=3 1.3.6.1.2.1.2.2.1.7=1 "
                 "1.3.6.1.2.1.2.2.1.8=1 "},
      {3, 0x501, ""},  // bits outside 0x500 do not count
      {3, 0x100, "=1.3.6.1.6.3.1.1.5.4 1.3.6.1.2.1.2.2.1.1=3 1.3.6.1.2.1.2.2.1.7=1 "
                 "1.3.6.1.2.1.2.2.1.8=2 "},
      {4, 0x000, "=1.3.6.1.6.3.1.1.5.3 1.3.6.1.2.1.2.2.1.1=4 1.3.6.1.2.1.2.2.1.7=2 "
                 "1.3.6.1.2.1.2.2.1.8=2 "},
  };
  for (const Case& c : cases) {
    std::vector<unsigned char> trap;
    const std::string said = send(linkEvent(c.id, c.state), &trap, *c.bindings ? 1000 : 50);
    if (*c.bindings == '\0') {
      EXPECT_EQ(0u, said.find("Could not handle trap, msg dump:\n{")) << said;
      EXPECT_NE(std::string::npos, said.find("send_trap: createTrap failed\n"));
      EXPECT_TRUE(trap.empty());
      continue;
    }
    EXPECT_EQ("", said);
    InStream in(trap.data(), static_cast<unsigned>(trap.size()));
    in.getVersion();
    std::string community;
    in.getString(&community);
    in.enterSeq();
    int skip;
    for (int i = 0; i < 3; ++i) in.getInt(&skip);
    const std::string all = bindings(in);
    EXPECT_EQ(c.bindings, all.substr(all.find(".1.0=") + 4));
  }
  // Another source path is not a link event.
  message other = linkEvent(5, 0x500);
  other.insert(tarn::u32_array_id(tarn::kFieldSrc), std::vector<uint32_t>{20, 1});
  EXPECT_NE(std::string::npos, send(other).find("Could not handle trap"));
  EXPECT_EQ(0u, linkStates.count(5));
}

// An SNMPv3 trap by a privacy user is encrypted and signed (flags 3) and
// our own security checks accept it.
TEST_F(Traps, VersionThreeTrapDecodes) {
  message engineId;
  engineId.insert(snmpf::ENGINE_ID, std::string("traps"));
  set(engineId);
  message user;
  user.insert(tarn::string_id(5), std::string("v3user"));
  user.insert(tarn::u32_id(15), 2u);
  user.insert(tarn::u32_id(20), 1u);
  user.insert(tarn::string_id(11), std::string("authpass1"));
  user.insert(tarn::string_id(12), std::string("privpass1"));
  const unsigned id = communityKeep->cmdAddObj(user).get(tarn::u32_id(0xfe0001), 0u);
  agent->trapVersion = 3;
  agent->trapCommunityId = id;
  std::vector<unsigned char> trap;
  EXPECT_EQ("snmp v3 trap\n", send(vendorEvent("1.3.6.1.2.1.1.5.0", 4, "x"), &trap));
  InStream in(trap.data(), static_cast<unsigned>(trap.size()));
  EXPECT_EQ(3, in.getVersion());
  int err = v3err::NONE;
  ASSERT_TRUE(in.readV3Info(err));
  EXPECT_EQ(std::string(1, '\x03'), in.v3Info()->flags);
  EXPECT_EQ("v3user", in.v3Info()->userName);
  EXPECT_EQ(12u, in.v3Info()->authParams.size());
  const CommunityKeep::Item* item = communityKeep->findItem(id);
  ASSERT_TRUE(in.decryptAndCheckSignature(err, item->authKey, item->authProtocol,
                                          item->privKey, item->privProtocol,
                                          agent->engine));
  EXPECT_EQ(v3err::NONE, err);
  EXPECT_EQ(static_cast<int>(wire::TRAP_V2), in.getType());
  in.enterSeq();
  int skip;
  for (int i = 0; i < 3; ++i) in.getInt(&skip);
  EXPECT_EQ("1.3.6.1.2.1.1.3.0=ticks 1.3.6.1.6.3.1.1.4.1.0=1.3.6.1.4.1.40117.1.1.9.0.1 "
            "1.3.6.1.2.1.1.5.0=x ", bindings(in));
}

// The start trap goes out only when its generator is listed, and its
// maker does not stay.
TEST_F(Traps, StartupSendsTheStartTrapOnlyWhenListed) {
  std::vector<unsigned char> trap;
  agent->startup();
  EXPECT_TRUE(sink.receive(50).empty());
  agent->trapGenerators = {START_TRAP_GENERATOR};
  agent->startup();
  EXPECT_FALSE(sink.receive(1000).empty());
  EXPECT_EQ(1u, trapMakers.size());
}

}  // namespace
