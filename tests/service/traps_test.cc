// Traps: what send_trap says when it cannot send, the encoding of SNMPv1
// and SNMPv2c traps, and the trap makers' choices. (SNMPv3 traps are
// checked end to end, by snmptrapd and by the capture's dissector.)
#include "service/traps.h"

#include <stdlib.h>

#include <algorithm>

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
    setenv("TARN_SNMP_TRAP_PORT", std::to_string(sink.port).c_str(), 1);
    start();
    agent->enabled = true, agent->trapTarget = htonl(0x7F000001);
    agent->trapCommunityId = 0;  // "mallow"
    trapMakers = {zarrowTrapMaker};
  }
  void TearDown() override { unsetenv("TARN_SNMP_TRAP_PORT"), Agent::TearDown(); }
  // send_trap's diagnostics; *trap gets what the sink received within `ms`.
  std::string send(const message& event, std::vector<unsigned char>* trap, int ms = 1000) {
    diag::Capture c;
    agent->send_trap(event);
    *trap = sink.receive(ms);
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
  using Fields = std::initializer_list<std::pair<unsigned, unsigned>>;
  for (auto f : Fields{{tarn::kFieldCmd, snmpf::CMD_LINK}, {tarn::kFieldObjId, id}, {0x10003, state}})
    m.insert(tarn::u32_id(f.first), f.second);
  m.insert(tarn::u32_array_id(tarn::kFieldSrc), std::vector<uint32_t>{20, handler});
  return m;
}

// An SNMPv2c trap by "mallow" as hex from the binding after sysUpTime on
// (the request id and the time stamp vary); "bad" if it is not one.
std::string afterUptime(const std::vector<unsigned char>& trap) {
  const std::vector<unsigned char> head = unhex("02 01 01 04 06 6d 61 6c 6c 6f 77 a7"),
                                    uptime = unhex("06 08 2b 06 01 02 01 01 03 00 43");
  auto at = std::search(trap.begin(), trap.end(), uptime.begin(), uptime.end());
  if (trap.size() < 14 || !std::equal(head.begin(), head.end(), trap.begin() + 2) || at == trap.end()) return "bad";
  at += static_cast<long>(uptime.size());
  return hex({at + 1 + *at, trap.end()});
}

TEST_F(Traps, NothingSentWhenItCannotBe) {
  struct { bool enabled; unsigned target, community; const char* said; } cases[] = {
      {false, htonl(0x7F000001), 0, "send_trap: snmp disabled\n"},
      {true, 0, 0, "send_trap: no trap sink specified\n"},
      {true, htonl(0x7F000001), 0xFFFFFFFF, "send_trap: no trap sink specified\n"},
      {true, htonl(0x7F000001), 9, "createTrap: bad community\nsend_trap: createTrap failed\n"},
  };
  for (const auto& c : cases) {
    agent->enabled = c.enabled, agent->trapTarget = c.target, agent->trapCommunityId = c.community;
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

// SNMPv2c: the trap OID binding, then the event's binding; the link maker
// traps a change of the admin and running bits of an interface-list event
// only, and an event no maker takes is dumped (out: "" for nothing sent).
TEST_F(Traps, VersionTwoBindings) {
  agent->trapVersion = 1;
  const TrapMaker start = startupTrapMaker, link = linkTrapMaker;
  const std::string vendor = "30 1b 06 0a 2b 06 01 06 03 01 01 04 01 00 06 0d 2b 06 01 04 01 82 b9 35 01 01 09 00 01",
                    trapOid = "30 17 06 0a 2b 06 01 06 03 01 01 04 01 00 06 09 2b 06 01 06 03 01 01 05 0";
  // ifIndex 3, ifAdminStatus, ifOperStatus.
  auto ifc = [](char admin, char oper) {
    return std::string(" 30 0e 06 09 2b 06 01 02 01 02 02 01 01 02 01 03 30 0e 06 09 2b 06 01 02 01 02 02 01 07 02 01 0") +
           admin + " 30 0e 06 09 2b 06 01 02 01 02 02 01 08 02 01 0" + oper;
  };
  struct { TrapMaker maker; message event; std::string out; } cases[] = {
      {start, vendorEvent("1.3.6.1.2.1.1.5.0", 4, "x"), vendor + " 30 0d 06 08 2b 06 01 02 01 01 05 00 04 01 78"},
      {start, vendorEvent("1.3.6.1.2.1.1.5.0", 5, nullptr), vendor + " 30 0c 06 08 2b 06 01 02 01 01 05 00 05 00"},
      {start, vendorEvent("1.3.6.1.2.1.1.5.0", 4, nullptr), vendor},
      {start, vendorEvent(nullptr, 0, nullptr), vendor},
      {start, message(), trapOid + "2"},
      {link, linkEvent(3, 0x500), trapOid + "4" + ifc('1', '1')},
      {link, linkEvent(3, 0x501), ""},  // bits outside 0x500 do not count
      {link, linkEvent(3, 0x100), trapOid + "4" + ifc('1', '2')},
      {link, linkEvent(3, 0x000), trapOid + "3" + ifc('2', '2')},
      {link, linkEvent(5, 0x500, 1), ""},  // not the interface list
  };
  for (const auto& c : cases) {
    trapMakers = {zarrowTrapMaker, c.maker};
    std::vector<unsigned char> trap;
    const std::string said = send(c.event, &trap, c.out.empty() ? 50 : 1000);
    EXPECT_EQ(c.out.empty(), said.find("Could not handle trap, msg dump:\n{") == 0) << said;
    EXPECT_EQ(c.out, trap.empty() ? "" : afterUptime(trap));
  }
  EXPECT_EQ(0u, linkStates.count(5));
}

}  // namespace
