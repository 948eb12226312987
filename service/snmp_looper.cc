// SnmpLooper: the agent's settings and their bus commands, the SNMP socket
// and the request path. Traps are in traps.cc.
//
// Command policies: the platform restricts a command that has any non-zero
// policy to root and the agent's own user. The values are the router's
// permission masks, kept as the system has always set them: 128 (0x80, the
// "write" right) guards command 1, the vendor event, because an event
// makes the agent send a trap off the box; 704 (0x2C0: read 0x40, write
// 0x80 and policy 0x200) guards command 100, the trap-generator list that
// configuration tools read before they change setting 19.
#include "service/snmp_looper.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <string>

#include "codec/buffer.h"
#include "codec/diag.h"
#include "engine/context.h"
#include "engine/request.h"
#include "engine/scribers.h"
#include "platform/clock.h"
#include "platform/codes.h"
#include "platform/errors.h"
#include "security/community_keep.h"
#include "security/engine_id.h"
#include "service/ports.h"
#include "service/snmp_fields.h"
#include "service/trap_makers.h"

SnmpLooper* loop = nullptr;

namespace {

const char* const kStorePath = "/tarn/store/snmpd";
const unsigned kSettingsId = 0;
// notifyChange's id for a change of the settings themselves, not of a
// listed object.
const unsigned kWholeSettings = 0xFFFFFFFF;
const unsigned kLeaveWhenIdleMs = 1000;
const unsigned kEventPolicy = 128;
const unsigned kGeneratorsPolicy = 704;
static_assert(snmpf::ENGINE_ID_MAX_TEXT + ENGINE_ID_PREFIX_LEN == ENGINE_ID_MAX_LEN,
              "the engine ID text limit follows from the wire limit");

unsigned platformUptime() { return tarn::getUptime(); }

// The first element of the request's sender path, if it has one.
bool senderOf(const tarn::message& msg, unsigned* sender) {
  const std::vector<uint32_t>& src = msg.get(tarn::u32_array_id(tarn::kFieldSrc));
  if (src.empty()) return false;
  *sender = src[0];
  return true;
}

// Stops every event source, then starts each id of `wanted` once, in
// order. Returns the list without repeated ids; ids that name no source
// (the start trap's, for one) stay in it.
std::vector<unsigned> restartSubscribers(const std::vector<unsigned>& wanted) {
  for (Scribers& s : scribers) {
    s.unsubscribe();
    diag::out("unsubscribed from " + s.name);
  }
  std::vector<unsigned> kept;
  kept.reserve(wanted.size());
  for (unsigned id : wanted) {
    if (std::find(kept.begin(), kept.end(), id) != kept.end()) continue;
    kept.push_back(id);
    if (id < scribers.size()) {
      scribers[id].subscribe();
      diag::out("subscribed to " + scribers[id].name);
    }
  }
  return kept;
}

}  // namespace

SnmpLooper::SnmpLooper()
    : tarn::Looper(0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0),
      store(kStorePath, 5) {
  diag::err("communityKeep = new CommunityKeep;");
  communityKeep = new CommunityKeep;
  diag::err("communityKeep->init();");
  communityKeep->init();
  diag::err("addHandler(snmp::ID_COMMUNITIES, communityKeep);");
  addHandler(snmp::ID_COMMUNITIES, communityKeep);
  v3Uptime = platformUptime;
  engine.startUptime = tarn::getUptime();
  startTicks = tarn::getJiffies();
  // Only now may the communities derive keys: they were loaded without.
  v3Engine = &engine;
}

// The process never destroys its looper; tests do, and with it the
// registry it created, so that one test's state does not leak into the next.
SnmpLooper::~SnmpLooper() {
  if (open) {
    removeSocket(sock);
    close(sock);
  }
  if (v3Engine == &engine) v3Engine = nullptr;
  replyOptions = ReplyOptions();
  if (loop == this) loop = nullptr;
  removeHandler(serviceId(), snmp::ID_COMMUNITIES);
  delete communityKeep;
  communityKeep = nullptr;
}

void SnmpLooper::init() {
  add_policy(snmpf::CMD_EVENT, kEventPolicy);
  add_policy(snmpf::CMD_GENERATORS, kGeneratorsPolicy);
  tarn::Store::const_iterator stored = store.find(kSettingsId);
  if (stored != store.end()) {
    const tarn::message& s = stored->second;
    trapCommunityName = s.get(snmpf::TRAP_COMMUNITY, std::string());
    contact = s.get(snmpf::CONTACT, std::string());
    location = s.get(snmpf::LOCATION, std::string());
    engine.timeWindow = s.get(snmpf::TIME_WINDOW, 0u);
    trapTarget = s.get(snmpf::TRAP_TARGET, 0u);
    trapVersion = s.get(snmpf::TRAP_VERSION, 0u);
    trapCommunityId = s.get(snmpf::TRAP_COMMUNITY_ID, snmpf::NO_COMMUNITY);
    if (s.has(snmpf::TRAP_GENERATORS)) trapGenerators = s.get(snmpf::TRAP_GENERATORS);
    const unsigned boots = s.get(snmpf::BOOTS, 0u) + 1;
    engine.engineBoots = static_cast<int>(boots);
    diag::out("engineBoots = " + std::to_string(boots));
    engine.engineId = formatEngineID(s.get(snmpf::ENGINE_ID, std::string()));
    communityKeep->regenerateKeys();
    enabled = s.get(snmpf::ENABLED, false);
    replyOptions.bulk = s.get(snmpf::BULK, false);
    replyOptions.exceptions = s.get(snmpf::EXCEPTIONS, false);
    // The new boots count is on disk before the first request is served.
    store.set(kSettingsId, getConfig());
  }
  if (enabled) {
    enable();
  } else {
    setupLeave(kLeaveWhenIdleMs);
  }
}

tarn::message SnmpLooper::getConfig() {
  tarn::message m;
  m.insert(snmpf::TRAP_COMMUNITY, trapCommunityName);
  m.insert(snmpf::CONTACT, contact);
  m.insert(snmpf::LOCATION, location);
  m.insert(snmpf::ENGINE_ID, deformatEngineID(engine.engineId));
  m.insert(snmpf::TIME_WINDOW, engine.timeWindow);
  m.insert(snmpf::TRAP_TARGET, trapTarget);
  m.insert(snmpf::TRAP_VERSION, trapVersion);
  m.insert(snmpf::TRAP_COMMUNITY_ID, trapCommunityId);
  m.insert(snmpf::TRAP_GENERATORS, trapGenerators);
  m.insert(snmpf::BOOTS, static_cast<unsigned>(engine.engineBoots));
  m.insert(snmpf::ENABLED, enabled);
  m.insert(snmpf::BULK, replyOptions.bulk);
  m.insert(snmpf::EXCEPTIONS, replyOptions.exceptions);
  return m;
}

tarn::message SnmpLooper::getObject(unsigned) { return getConfig(); }

tarn::message SnmpLooper::cmdGet(const tarn::message& msg) {
  unsigned sender;
  if (senderOf(msg, &sender)) {
    diag::err("cmd_get from " + std::to_string(sender));
  } else {
    diag::err("bogonymous cmd_get request");
  }
  return getConfig();
}

tarn::message SnmpLooper::cmdSet(const tarn::message& req) {
  // Checked before anything of the request applies: a refused request
  // changes nothing.
  if (req.get(snmpf::ENGINE_ID, std::string()).size() > snmpf::ENGINE_ID_MAX_TEXT) {
    return tarn::errorMsg(tarn::kErrConflict,
                          "engine-id: at most " + std::to_string(snmpf::ENGINE_ID_MAX_TEXT) +
                              " octets (" + std::to_string(ENGINE_ID_MAX_LEN) +
                              " on the wire with its prefix)");
  }
  tarn::message undo = getConfig();
  undo.insert(tarn::u32_id(tarn::kFieldCmd), tarn::kCmdSet);
  unsigned sender;
  if (senderOf(req, &sender)) diag::err("cmd_set from " + std::to_string(sender));

  trapCommunityName = req.get(snmpf::TRAP_COMMUNITY, trapCommunityName);
  contact = req.get(snmpf::CONTACT, contact);
  location = req.get(snmpf::LOCATION, location);
  engine.timeWindow = req.get(snmpf::TIME_WINDOW, engine.timeWindow);
  trapTarget = req.get(snmpf::TRAP_TARGET, trapTarget);
  trapCommunityId = req.get(snmpf::TRAP_COMMUNITY_ID, trapCommunityId);
  trapVersion = req.get(snmpf::TRAP_VERSION, trapVersion);
  // An empty list counts as absent, as at start-up: it changes nothing.
  if (req.has(snmpf::TRAP_GENERATORS)) {
    trapGenerators = restartSubscribers(req.get(snmpf::TRAP_GENERATORS));
  }
  if (req.has(snmpf::BOOTS)) {
    engine.engineBoots = static_cast<int>(req.get(snmpf::BOOTS, 0u));
  }
  if (req.has(snmpf::ENGINE_ID)) {
    engine.engineId = formatEngineID(req.get(snmpf::ENGINE_ID, std::string()));
    communityKeep->regenerateKeys();
  }
  replyOptions.bulk = req.get(snmpf::BULK, replyOptions.bulk);
  replyOptions.exceptions = req.get(snmpf::EXCEPTIONS, replyOptions.exceptions);
  if (req.has(snmpf::ENABLED)) {
    enabled = req.get(snmpf::ENABLED, false);
    if (enabled) {
      enable();
    } else {
      disable();
    }
  }
  sendUndo(req, undo, "changed snmp settings");
  notifyChange(kWholeSettings, req);
  store.set(kSettingsId, getConfig());
  return tarn::message();
}

void SnmpLooper::enable() {
  if (open) return;
  setupLeave(0);
  const int fd = socket(AF_INET, SOCK_DGRAM, 0);
  if (fd < 0) {
    diag::err("cannot create service connection");
    return;
  }
  const int one = 1;
  setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
  setsockopt(fd, IPPROTO_IP, IP_PKTINFO, &one, sizeof one);
  sockaddr_in any = {};
  any.sin_family = AF_INET;
  any.sin_addr.s_addr = htonl(INADDR_ANY);
  any.sin_port = htons(static_cast<uint16_t>(servicePort("TARN_SNMP_PORT", SNMP_PORT)));
  if (bind(fd, reinterpret_cast<sockaddr*>(&any), sizeof any) != 0) {
    close(fd);
    diag::err("cannot create service connection");
    return;
  }
  addSocket(fd, this, &SnmpLooper::receive, tarn::kEventRead);
  sock = fd;
  open = true;
}

void SnmpLooper::disable() {
  if (!open) return;
  removeSocket(sock);
  close(sock);
  sock = 0;
  open = false;
  setupLeave(kLeaveWhenIdleMs);
}

// One datagram in, one reply out, from the local address it came to: the
// IP_PKTINFO control data received is handed back unchanged to sendmsg.
// The control buffer holds exactly one IP_PKTINFO message (24 bytes on the
// 32-bit router, more where cmsghdr is wider).
void SnmpLooper::receive(int fd, unsigned) {
  union {
    cmsghdr align;
    unsigned char bytes[CMSG_SPACE(sizeof(in_pktinfo))];
  } control;
  sockaddr_in sender;
  iovec iov = {c_buf, kBufferSize};
  msghdr hdr = {};
  hdr.msg_name = &sender;
  hdr.msg_namelen = sizeof sender;
  hdr.msg_iov = &iov;
  hdr.msg_iovlen = 1;
  hdr.msg_control = control.bytes;
  hdr.msg_controllen = sizeof control.bytes;
  const ssize_t n = recvmsg(fd, &hdr, 0);
  if (n < 0) return;
  Context ctx(c_buf, static_cast<unsigned>(n));
  if (!createReply(ctx, static_cast<int>(sender.sin_addr.s_addr))) return;
  iov.iov_base = ctx.out.data.data();
  iov.iov_len = ctx.out.data.size();
  sendmsg(fd, &hdr, 0);
}

void SnmpLooper::startSubscribers() {
  for (unsigned id : trapGenerators) {
    if (id < scribers.size()) scribers[id].subscribe();
  }
}

void SnmpLooper::startup() {
  if (std::find(trapGenerators.begin(), trapGenerators.end(),
                snmpf::START_TRAP_GENERATOR) == trapGenerators.end()) {
    return;
  }
  trapMakers.push_back(startupTrapMaker);
  send_trap(tarn::message());
  trapMakers.pop_back();
}
