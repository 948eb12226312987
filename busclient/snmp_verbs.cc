// tarnctl snmp ...: friendly verbs for the SNMP agent (service 161): its
// settings (handler 0), its communities (handler 1), its trap generators
// and test events, and the export and import of all of it
// (busclient/snmp_transfer.h). Every verb reads what it needs from the
// agent first and checks the whole change against the rules of
// busclient/snmp_keys.h; a refused change is never sent.
#include "busclient/snmp_verbs.h"

#include <arpa/inet.h>
#include <ctype.h>
#include <errno.h>
#include <stdlib.h>

#include <iostream>

#include "busclient/fields.h"
#include "busclient/json.h"
#include "busclient/snmp_agent.h"
#include "busclient/snmp_keys.h"
#include "busclient/snmp_transfer.h"
#include "busclient/udp_port.h"
#include "platform/codes.h"
#include "security/community_fields.h"
#include "service/ports.h"
#include "service/snmp_fields.h"

namespace tarnctl {

namespace {

using tarn::JsonValue;
using tarn::message;

int refuse(const std::string& text) {
  std::cerr << "tarnctl snmp: " << text << "\n";
  return kExitUsage;
}

// A change went through: "ok", or the new community's id.
int done(const Options& opts, const message& reply) {
  const bool added = reply.has(tarn::u32_id(tarn::kFieldObjId));
  const uint32_t id = reply.get(tarn::u32_id(tarn::kFieldObjId), 0u);
  if (opts.json) {
    std::cout << "{\"ok\":true" << (added ? ",\"id\":" + std::to_string(id) : "") << "}\n";
  } else {
    std::cout << (added ? "id " + std::to_string(id) : "ok") << "\n";
  }
  return kExitOk;
}

// Whether a KEY=VALUE word among args[first..] sets `key`.
bool sets(const std::vector<std::string>& args, size_t first, const std::string& key) {
  for (size_t i = first; i < args.size(); ++i) {
    if (args[i].compare(0, key.size() + 1, key + "=") == 0) return true;
  }
  return false;
}

bool fetchNames(const Options& opts, Names* names) {
  std::vector<message> communities;
  if (!fetchCommunities(opts, &communities) || !fetchGenerators(opts, &names->generators)) {
    return false;
  }
  names->communities = communityNames(communities);
  return true;
}

int show(const Options& opts) {
  message settings;
  Names names;
  if (!fetchSettings(opts, &settings) || !fetchNames(opts, &names)) return kExitErrorReply;
  // Not a setting: whether the agent holds its UDP port, seen from here.
  const std::string socket = socketLine(settings.get(snmpf::ENABLED, false),
                                        servicePort("TARN_SNMP_PORT", SNMP_PORT));
  if (opts.json) {
    JsonValue out = JsonValue::object();
    out.add("ok", JsonValue::of(true));
    out.add("settings", settingsJson(settings, names, true));
    out.add("socket", JsonValue::of(socket));
    writeJsonValue(std::cout, out, false);
    std::cout << "\n";
    return kExitOk;
  }
  for (const Key& k : settingKeys()) {
    std::cout << k.name << ": " << showText(k, settings, names) << "\n";
  }
  std::cout << "socket: " << socket << "\n";
  return kExitOk;
}

int set(const Options& opts, const std::vector<std::string>& args) {
  Names names;
  std::vector<message> communities;
  if (sets(args, 1, "trap-community")) {
    if (!fetchCommunities(opts, &communities)) return kExitErrorReply;
    names.communities = communityNames(communities);
  }
  if (sets(args, 1, "trap-generators") && !fetchGenerators(opts, &names.generators)) {
    return kExitErrorReply;
  }
  message m, reply;
  std::string err;
  if (!readWords(settingKeys(), args, 1, names, &m, &err)) return refuse(err);
  if (!askAgent(opts, kSettingsHandler, tarn::kCmdSet, m, &reply)) return kExitErrorReply;
  return done(opts, reply);
}

int communities(const Options& opts) {
  std::vector<message> list;
  if (!fetchCommunities(opts, &list)) return kExitErrorReply;
  if (opts.json) {
    JsonValue out = JsonValue::object();
    out.add("ok", JsonValue::of(true));
    JsonValue& array = out.add("communities", JsonValue::array());
    for (const message& c : list) array.items.push_back(communityJson(c, false));
    writeJsonValue(std::cout, out, false);
    std::cout << "\n";
    return kExitOk;
  }
  for (const message& c : list) {
    std::cout << "id: " << idOf(c) << "\n";
    for (const Key& k : communityKeys()) {
      std::cout << k.name << ": " << showText(k, c, Names()) << "\n";
    }
    std::cout << "\n";
  }
  return kExitOk;
}

const char kCommunityUsage[] =
    "community add NAME [KEY=VALUE...] | set NAME|ID KEY=VALUE... | remove NAME|ID";

// The community that args[2] names, by name or id, among `list`.
const message* pick(const std::vector<message>& list, const std::string& ref, std::string* err) {
  uint32_t id = 0;
  if (!findNamed(communityNames(list), ref, "community", &id, err)) {
    *err += " (tarnctl snmp communities lists them)";
    return nullptr;
  }
  for (const message& c : list) {
    if (idOf(c) == id) return &c;
  }
  return nullptr;
}

// The refusal for a new name that another community already has, or empty.
std::string nameTaken(const std::vector<message>& list, const message& change, uint32_t self) {
  if (!change.has(communityf::NAME)) return "";
  const std::string name = change.get(communityf::NAME, std::string());
  for (const message& c : list) {
    if (idOf(c) != self && c.get(communityf::NAME, std::string()) == name) {
      return "name=" + name + ": community " + std::to_string(idOf(c)) + " has that name";
    }
  }
  return "";
}

int community(const Options& opts, const std::vector<std::string>& args) {
  if (args.size() < 3) return refuse(kCommunityUsage);
  const std::string& action = args[1];
  const bool add = action == "add", change = action == "set", remove = action == "remove";
  if (!add && !change && !(remove && args.size() == 3)) return refuse(kCommunityUsage);
  std::vector<message> list;
  if (!fetchCommunities(opts, &list)) return kExitErrorReply;
  message m, reply;
  std::string err;
  if (add) {
    m.insert(communityf::NAME, args[2]);
    if (readWords(communityKeys(), args, 3, Names(), &m, &err)) {
      err = nameTaken(list, m, snmpf::NO_COMMUNITY);
      if (err.empty()) checkCommunity(mergeFields(communityDefaults(), m), &err);
    }
    if (!err.empty()) return refuse((args[2].empty() ? "" : "community " + args[2] + ": ") + err);
    if (!askAgent(opts, kCommunitiesHandler, tarn::kCmdAddObj, m, &reply)) return kExitErrorReply;
    return done(opts, reply);
  }
  const message* current = pick(list, args[2], &err);
  if (!current) return refuse(err);
  const uint32_t id = idOf(*current);
  if (remove) {
    message settings;
    if (!fetchSettings(opts, &settings)) return kExitErrorReply;
    if (settings.get(snmpf::TRAP_COMMUNITY_ID, snmpf::NO_COMMUNITY) == id) {
      return refuse("community " + args[2] + " sends the traps (trap-community); set "
                    "trap-community to another community or none first");
    }
  } else {
    if (readWords(communityKeys(), args, 3, Names(), &m, &err)) {
      err = nameTaken(list, m, id);
      if (err.empty()) checkCommunity(mergeFields(*current, m), &err);
    }
    if (!err.empty()) return refuse("community " + args[2] + ": " + err);
  }
  m.insert(tarn::u32_id(tarn::kFieldObjId), id);
  if (!askAgent(opts, kCommunitiesHandler, remove ? tarn::kCmdRemoveObj : tarn::kCmdSetObj, m,
                &reply)) {
    return kExitErrorReply;
  }
  return done(opts, reply);
}

int generators(const Options& opts) {
  std::vector<Named> list;
  if (!fetchGenerators(opts, &list)) return kExitErrorReply;
  if (opts.json) {
    JsonValue out = JsonValue::object();
    out.add("ok", JsonValue::of(true));
    JsonValue& array = out.add("generators", JsonValue::array());
    for (const Named& g : list) {
      JsonValue& item = array.items.emplace_back(JsonValue::object());
      item.add("id", JsonValue::of(uint64_t{g.id}));
      item.add("name", JsonValue::of(g.name));
    }
    writeJsonValue(std::cout, out, false);
    std::cout << "\n";
    return kExitOk;
  }
  for (const Named& g : list) {
    char id[16];
    snprintf(id, sizeof id, "0x%x", g.id);
    std::cout << id << " " << g.name << "\n";
  }
  return kExitOk;
}

const char kOidRule[] =
    "two or more numbers joined by dots, the first 0, 1 or 2, such as 1.3.6.1.2.1.1.5.0";

// Event binding types. The agent writes the value of these; `rule` is the
// value's refusal, empty when any text does.
const struct {
  const char* name;
  uint32_t type;
  const char* rule;
} kValueTypes[] = {
    {"integer", 0x02, "a whole number from -2147483648 to 2147483647"},
    {"string", 0x04, ""},
    {"null", 0x05, "no value"},
    {"oid", 0x06, kOidRule},
    {"ipaddress", 0x40,
     "an IPv4 address whose first number is 1 to 127: the agent writes an IpAddress as a "
     "plain number, and only those reach managers as four octets; send others as string"},
    {"counter", 0x41, "a number from 0 to 2147483647 (the agent reads it as signed)"},
    {"timeticks", 0x43, "a number from 0 to 2147483647 (the agent reads it as signed)"},
};

// Types the agent takes and then sends without a value, which managers
// drop (snmptrapd) or call malformed (tshark).
const struct {
  const char* name;
  uint32_t type;
} kUnsentTypes[] = {{"gauge", 0x42}, {"counter64", 0x46}};

bool validOid(const std::string& text) {
  const std::string t = !text.empty() && text[0] == '.' ? text.substr(1) : text;
  std::vector<uint32_t> arcs;
  size_t start = 0;
  while (start <= t.size()) {
    size_t end = t.find('.', start);
    if (end == std::string::npos) end = t.size();
    const std::string arc = t.substr(start, end - start);
    uint32_t n = 0;
    if (arc.empty() || !isdigit(static_cast<unsigned char>(arc[0])) || !parseU32(arc, &n) ||
        arc.find_first_not_of("0123456789") != std::string::npos) {
      return false;
    }
    arcs.push_back(n);
    start = end + 1;
  }
  return arcs.size() >= 2 && arcs[0] <= 2 && (arcs[0] == 2 || arcs[1] <= 39);
}

bool validValue(uint32_t type, const std::string& v) {
  errno = 0;
  char* end = nullptr;
  const long long n = strtoll(v.c_str(), &end, 10);
  const bool whole = !v.empty() && *end == '\0' && errno == 0 &&
                     !isspace(static_cast<unsigned char>(v[0]));
  in_addr ip;
  switch (type) {
    case 0x02: return whole && n >= -2147483648LL && n <= 2147483647LL;
    case 0x06: return validOid(v);
    case 0x40: return inet_pton(AF_INET, v.c_str(), &ip) == 1 &&
                      (ntohl(ip.s_addr) >> 24) >= 1 && (ntohl(ip.s_addr) >> 24) <= 127;
    case 0x41:
    case 0x43: return whole && v[0] != '-' && v[0] != '+' && n <= 2147483647LL;
    default: return true;
  }
}

int event(const Options& opts, const std::vector<std::string>& args) {
  if (args.size() < 3 || args.size() > 4) return refuse("event OID TYPE [VALUE]");
  const std::string& oid = args[1];
  const std::string& typeText = args[2];
  if (!validOid(oid)) {
    return refuse("event OID " + oid + ": an OID is " + kOidRule);
  }
  uint32_t number = 0;
  const bool numeric = parseU32(typeText, &number);
  for (const auto& t : kUnsentTypes) {
    if (typeText == t.name || (numeric && number == t.type)) {
      return refuse("event type " + typeText + ": the agent sends a " + t.name +
                    " without its value, and managers drop the trap (snmptrapd) or call it "
                    "malformed (tshark); send the value as counter or integer");
    }
  }
  const char* rule = nullptr;
  uint32_t type = 0;
  for (const auto& t : kValueTypes) {
    if (typeText == t.name || (numeric && number == t.type)) {
      type = t.type;
      rule = t.rule;
    }
  }
  if (!rule) {
    return refuse("event type " + typeText + ": expected integer, string, null, oid, "
                  "ipaddress, counter or timeticks (or one of their type numbers)");
  }
  if (type == 0x05 && args.size() == 4) return refuse("event type null takes no value");
  if (type != 0x05 && args.size() == 3) {
    return refuse("event type " + typeText + " needs a value (without one the trap carries "
                  "no binding)");
  }
  if (type != 0x05 && !validValue(type, args[3])) {
    return refuse("event value " + args[3] + ": " + typeText + " takes " + rule);
  }
  message m, reply;
  m.insert(snmpf::EVENT_OID, oid);
  m.insert(snmpf::EVENT_TYPE, type);
  if (args.size() == 4) m.insert(snmpf::EVENT_VALUE, args[3]);
  if (!askAgent(opts, kSettingsHandler, snmpf::CMD_EVENT, m, &reply)) return kExitErrorReply;
  return done(opts, reply);
}

}  // namespace

const char kSnmpArgs[] =
    "show | set KEY=VALUE... | communities | generators\n"
    "       | community add NAME [KEY=VALUE...] | community set NAME|ID KEY=VALUE...\n"
    "       | community remove NAME|ID | event OID TYPE [VALUE]\n"
    "       | export [--passwords] | import [--dry-run] FILE|-";

const char kSnmpSummary[] =
    "the SNMP agent's settings, communities, trap generators and events.\n"
    "      set keys: enabled=yes|no contact= location= engine-id= (at most 27 octets)\n"
    "        engine-boots=N time-window=S trap-target=IP trap-version=v1|v2c|v3\n"
    "        trap-community=NAME|ID|none trap-community-name= trap-generators=NAME|ID,...\n"
    "        (as 'tarnctl snmp generators' lists them)\n"
    "        bulk=yes|no (answer GetBulk) exceptions=yes|no (v2 exception values)\n"
    "      community keys: name= read=yes|no write=yes|no address=IP netmask=IP\n"
    "        security=none|auth|priv auth-protocol=md5|sha|sha224|sha256|sha384|sha512\n"
    "        auth-password= priv-password= (8 characters or more) priv-protocol=des|aes\n"
    "      event TYPE: integer string null oid ipaddress counter timeticks\n"
    "      export: settings and communities as JSON, passwords only with --passwords;\n"
    "        import: makes the agent match the file, all or nothing";

int verbSnmp(const Options& opts, const std::vector<std::string>& args) {
  const std::string what = args.empty() ? "" : args[0];
  if (what == "show" && args.size() == 1) return show(opts);
  if (what == "set" && args.size() > 1) return set(opts, args);
  if (what == "communities" && args.size() == 1) return communities(opts);
  if (what == "community") return community(opts, args);
  if (what == "generators" && args.size() == 1) return generators(opts);
  if (what == "event") return event(opts, args);
  if (what == "export") return exportAgent(opts, args);
  if (what == "import") return importAgent(opts, args);
  return refuse(std::string("usage: tarnctl snmp ") + kSnmpArgs);
}

}  // namespace tarnctl
