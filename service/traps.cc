// Traps: the event command of the agent's handler, sending one trap per
// event on a fresh UDP socket, and its encoding.
#include "service/traps.h"

#include <arpa/inet.h>
#include <errno.h>
#include <netinet/in.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "codec/diag.h"
#include "codec/wire.h"
#include "engine/context.h"
#include "engine/scribers.h"
#include "platform/clock.h"
#include "platform/codes.h"
#include "security/community_keep.h"
#include "security/crypto.h"
#include "security/v3_flags.h"
#include "service/ports.h"
#include "service/snmp_fields.h"
#include "service/snmp_looper.h"
#include "service/trap_makers.h"

namespace {

const OID kSysUpTime0{1, 3, 6, 1, 2, 1, 1, 3, 0};
const OID kSnmpTrapOid0{1, 3, 6, 1, 6, 3, 1, 1, 4, 1, 0};
const int kUsm = 3;
const int kEnterpriseSpecific = 6;

std::string withError(const char* text) {
  return std::string(text) + strerror(errno);
}

// The generator list entry {0xfe0001 = id, 0xfe0010 = name}.
tarn::message generator(unsigned id, const std::string& name) {
  tarn::message m;
  m.insert(tarn::u32_id(tarn::kFieldObjId), id);
  m.insert(tarn::string_id(tarn::kFieldName), name);
  return m;
}

// The SNMPv3 header of a trap sent as `user`, with our engine as the
// authoritative one.
V3Info trapHeader(const CommunityKeep::Item& user, const V3ServerInfo& engine) {
  V3Info info;
  info.msgId = std::rand();
  info.maxSize = static_cast<int>(wire::MAX_MESSAGE);
  char flags = 0;
  if (user.security > 0) flags |= v3flags::AUTH;
  if (user.security == 2) flags |= v3flags::PRIV;
  info.flags.assign(1, flags);
  info.securityModel = kUsm;
  if (user.security > 0) info.authParams.assign(macLength(user.authProtocol), '\0');
  if (user.security == 2) info.privParams = makeSalt(user.privProtocol, engine.engineBoots);
  info.engineId = engine.engineId;
  info.engineBoots = engine.engineBoots;
  info.engineTime = static_cast<int>(engineTime(engine));
  info.userName = user.name;
  info.contextEngineId = engine.engineId;
  return info;
}

}  // namespace

bool createTrap(Context& ctx, const tarn::message& event, unsigned agentAddress) {
  OutStream& out = ctx.out;
  const unsigned version = loop->trapVersion;
  out.startSeq(wire::SEQUENCE);
  out.add(static_cast<int>(version), wire::INTEGER);
  const CommunityKeep::Item* community = communityKeep->findItem(loop->trapCommunityId);
  if (community == nullptr) {
    diag::err("createTrap: bad community");
    return false;
  }
  V3Info info;
  if (version == 3) {
    diag::out("snmp v3 trap");
    info = trapHeader(*community, loop->engine);
    out.securityLevel = community->security;
    out.writeV3Info(&info);
  } else {
    out.add(community->name, wire::OCTET_STRING);
  }
  out.startSeq(version != 0 ? wire::TRAP_V2 : wire::TRAP_V1);

  std::vector<VariableBinding> bindings;
  OID trapOid;
  int generic = 0;
  int specific = 0;
  bool handled = false;
  for (TrapMaker maker : trapMakers) {
    if (maker(bindings, event, trapOid, generic, specific)) {
      handled = true;
      break;
    }
  }
  if (!handled) {
    diag::out("Could not handle trap, msg dump:");
    diag::out(tarn::toText(event));
    return false;
  }

  const unsigned ticks = tarn::getJiffies() - loop->startTicks;
  if (version != 0) {
    out.add(std::rand(), wire::INTEGER);
    out.add(0, wire::INTEGER);
    out.add(0, wire::INTEGER);
  } else {
    out.addOID(trapOid, wire::OBJECT_ID);
    const unsigned char address[4] = {
        static_cast<unsigned char>(agentAddress >> 24),
        static_cast<unsigned char>(agentAddress >> 16),
        static_cast<unsigned char>(agentAddress >> 8),
        static_cast<unsigned char>(agentAddress)};
    out.add(address, 4, wire::IP_ADDRESS);
    out.add(generic, wire::INTEGER);
    out.add(specific, wire::INTEGER);
    out.add(ticks, wire::TIMETICKS);
  }
  out.startSeq(wire::SEQUENCE);
  if (version != 0) {
    out.startSeq(wire::SEQUENCE);
    out.addOID(kSysUpTime0, wire::OBJECT_ID);
    out.add(ticks, wire::TIMETICKS);
    out.endSeq();
    OID name = trapOid;
    if (generic == kEnterpriseSpecific) {
      name += 0;
      name += static_cast<unsigned>(specific);
    }
    out.startSeq(wire::SEQUENCE);
    out.addOID(kSnmpTrapOid0, wire::OBJECT_ID);
    out.addOID(name, wire::OBJECT_ID);
    out.endSeq();
  }
  for (const VariableBinding& vb : bindings) out.addVarBind(vb);
  out.endSeq();  // bindings
  out.endSeq();  // PDU
  if (version == 3) {
    out.cryptPacket(&info, community->privKey, community->privProtocol);
    out.endSeq();
    out.signPacket(&info, community->authKey, community->authProtocol);
  } else {
    out.endSeq();
  }
  return true;
}

void SnmpLooper::send_trap(const tarn::message& msg) {
  if (!enabled) {
    diag::err("send_trap: snmp disabled");
    return;
  }
  if (trapTarget == 0 || trapCommunityId == snmpf::NO_COMMUNITY) {
    diag::err("send_trap: no trap sink specified");
    return;
  }
  const int fd = socket(AF_INET, SOCK_DGRAM, 0);
  if (fd < 0) {
    diag::err(withError("send_trap: failed to open UDP socket: "));
    return;
  }
  sockaddr_in target = {};
  target.sin_family = AF_INET;
  target.sin_addr.s_addr = trapTarget;
  target.sin_port =
      htons(static_cast<uint16_t>(servicePort("TARN_SNMP_TRAP_PORT", SNMP_TRAP_PORT)));
  sockaddr_in local = {};
  socklen_t localLen = sizeof local;
  if (connect(fd, reinterpret_cast<sockaddr*>(&target), sizeof target) != 0) {
    diag::err(withError("send_trap: failed to connect: "));
  } else if (getsockname(fd, reinterpret_cast<sockaddr*>(&local), &localLen) != 0) {
    diag::err(withError("send_trap: failed to getsockname: "));
  } else {
    Context ctx(nullptr, 0);
    if (!createTrap(ctx, msg, ntohl(local.sin_addr.s_addr))) {
      diag::err("send_trap: createTrap failed");
    } else if (send(fd, ctx.out.data.data(), ctx.out.data.size(), 0) < 0) {
      diag::err(withError("send_trap: failed to send trap packet: "));
    }
  }
  close(fd);
}

tarn::message SnmpLooper::cmdUnknown(const tarn::message& msg, unsigned cmd) {
  tarn::message reply;
  if (cmd == snmpf::CMD_GENERATORS) {
    tarn::flat_list& list = reply[tarn::message_array_id(tarn::kFieldObjList)];
    list.push_back(generator(snmpf::START_TRAP_GENERATOR, "start-trap"));
    for (unsigned i = 0; i < scribers.size(); ++i) {
      list.push_back(generator(i, scribers[i].name));
    }
  } else if (cmd == snmpf::CMD_EVENT || cmd == snmpf::CMD_TRAP ||
             cmd == snmpf::CMD_LINK) {
    send_trap(msg);
  }
  return reply;
}
