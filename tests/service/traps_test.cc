// Traps: what send_trap says when it cannot send, the encoding of SNMPv1
// and SNMPv2c traps, and the trap makers' choices. (SNMPv3 traps are
// checked end to end, by snmptrapd and by the capture's dissector.)
#include "service/traps.h"

#include <stdlib.h>

#include "codec/in_stream.h"
#include "codec/wire.h"
#include "platform/codes.h"
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
  // send_trap's diagnostics; *trap gets the datagram the sink received
  // within `ms`.
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

message linkEvent(unsigned id, unsigned state, unsigned handler = 0) {
  message m;
  m.insert(tarn::u32_id(tarn::kFieldCmd), snmpf::CMD_LINK);
  m.insert(tarn::u32_array_id(tarn::kFieldSrc), std::vector<uint32_t>{20, handler});
  m.insert(tarn::u32_id(tarn::kFieldObjId), id);
  m.insert(tarn::u32_id(0x10003), state);
  return m;
}

// The bindings of an SNMPv2c trap by "mallow" as "name=value " each (time
// ticks as "ticks"); "bad" if the header is not that of such a trap.
std::string v2Bindings(const std::vector<unsigned char>& trap) {
  InStream in(trap.data(), static_cast<unsigned>(trap.size()));
  std::string community;
  int v = -1, status = -1, index = -1;
  if (in.getVersion() != 1 || !in.getString(&community) || community != "mallow" ||
      in.getType() != static_cast<int>(wire::TRAP_V2) || in.enterSeq() < 0 || !in.getInt(&v) ||
      !in.getInt(&status) || !in.getInt(&index) || status || index || in.enterSeq() < 0) {
    return "bad";
  }
  std::ostringstream s;
  for (int n = 0; n < 8 && !in.isSeqEnd(); ++n) {
    OID name, oid;
    std::string text;
    in.enterSeq();
    in.getOID(&name);
    s << name << "=";
    const unsigned type = static_cast<unsigned>(in.getType());
    if (type == wire::OBJECT_ID && in.getOID(&oid)) s << oid;
    if (type == wire::OCTET_STRING && in.getString(&text)) s << text;
    if (type == wire::NULL_TYPE && in.getNull()) s << "null";
    if (type == wire::TIMETICKS && in.getInt(&v)) s << "ticks";
    if (type == wire::INTEGER && in.getInt(&v)) s << v;
    in.exitSeq();
    s << " ";
  }
  return s.str();
}

TEST_F(Traps, NothingSentWhenItCannotBe) {
  struct {
    bool enabled;
    unsigned target, community;
    const char* said;
  } cases[] = {
      {false, htonl(0x7F000001), 0, "send_trap: snmp disabled\n"},
      {true, 0, 0, "send_trap: no trap sink specified\n"},
      {true, htonl(0x7F000001), 0xFFFFFFFF, "send_trap: no trap sink specified\n"},
      {true, htonl(0x7F000001), 9, "createTrap: bad community\nsend_trap: createTrap failed\n"},
  };
  for (const auto& c : cases) {
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
  trapMakers.push_back(startupTrapMaker);
  const std::string head =
      "1.3.6.1.2.1.1.3.0=ticks 1.3.6.1.6.3.1.1.4.1.0=1.3.6.1.4.1.40117.1.1.9.0.1 ";
  struct {
    message event;
    std::string bindings;
  } cases[] = {
      {vendorEvent("1.3.6.1.2.1.1.5.0", 4, "x"), head + "1.3.6.1.2.1.1.5.0=x "},
      {vendorEvent("1.3.6.1.2.1.1.5.0", 5, nullptr), head + "1.3.6.1.2.1.1.5.0=null "},
      {vendorEvent("1.3.6.1.2.1.1.5.0", 4, nullptr), head},
      {vendorEvent(nullptr, 0, nullptr), head},
      {message(), "1.3.6.1.2.1.1.3.0=ticks 1.3.6.1.6.3.1.1.4.1.0=1.3.6.1.6.3.1.1.5.2 "},
  };
  for (const auto& c : cases) {
    std::vector<unsigned char> trap;
    EXPECT_EQ("", send(c.event, &trap));
    EXPECT_EQ(c.bindings, v2Bindings(trap));
  }
}

// The link maker traps a change of the admin and running bits of an
// interface-list event only; an event no maker takes is dumped.
TEST_F(Traps, LinkMakerTrapsChangesOnly) {
  agent->trapVersion = 1;
  trapMakers.push_back(linkTrapMaker);
  const std::string head = "1.3.6.1.2.1.1.3.0=ticks 1.3.6.1.6.3.1.1.4.1.0=1.3.6.1.6.3.1.1.5.";
  const std::string ifc = " 1.3.6.1.2.1.2.2.1.1=3 1.3.6.1.2.1.2.2.1.7=";
  struct {
    message event;
    std::string bindings;  // empty: nothing sent
  } cases[] = {
      {linkEvent(3, 0x500), head + "4" + ifc + "1 1.3.6.1.2.1.2.2.1.8=1 "},
      {linkEvent(3, 0x501), ""},  // bits outside 0x500 do not count
      {linkEvent(3, 0x100), head + "4" + ifc + "1 1.3.6.1.2.1.2.2.1.8=2 "},
      {linkEvent(3, 0x000), head + "3" + ifc + "2 1.3.6.1.2.1.2.2.1.8=2 "},
      {linkEvent(5, 0x500, 1), ""},  // not the interface list
  };
  for (const auto& c : cases) {
    std::vector<unsigned char> trap;
    const std::string said = send(c.event, &trap, c.bindings.empty() ? 50 : 1000);
    EXPECT_EQ(c.bindings.empty(), said.find("Could not handle trap, msg dump:\n{") == 0) << said;
    EXPECT_EQ(c.bindings.empty() ? "bad" : c.bindings, trap.empty() ? "bad" : v2Bindings(trap));
  }
  EXPECT_EQ(0u, linkStates.count(5));
}

// The start trap goes out only when its generator is listed, and its
// maker does not stay.
TEST_F(Traps, StartupSendsTheStartTrapOnlyWhenListed) {
  agent->startup();
  EXPECT_TRUE(sink.receive(50).empty());
  agent->trapGenerators = {START_TRAP_GENERATOR};
  agent->startup();
  EXPECT_FALSE(sink.receive(1000).empty());
  EXPECT_EQ(1u, trapMakers.size());
}

}  // namespace
