// tarnctl snmp ...: friendly verbs for the SNMP agent (service 161): its
// settings (handler 0), its communities (handler 1), its trap generators
// and test events. Settings are given as key=value words; each table row
// below says how a key's text becomes a field of the request.
#include "busclient/snmp_verbs.h"

#include <arpa/inet.h>
#include <string.h>

#include <iostream>

#include "busclient/fields.h"
#include "busclient/udp_port.h"
#include "platform/codes.h"
#include "platform/errors.h"
#include "platform/looper.h"
#include "security/community_fields.h"
#include "service/ports.h"
#include "service/snmp_fields.h"

namespace tarnctl {

namespace {

using tarn::message;

const uint32_t kAgent = 161;
const uint32_t kCommunities = 1;

enum Kind { BOOL, U32, IP, TEXT, LIST, CHOICE };

// One key=value word: the field it sets and how its value is read. CHOICE
// keys take one of `choices` (name=number pairs, comma separated) or a
// number.
struct Key {
  const char* name;
  Kind kind;
  uint32_t field;
  const char* choices;
};

// The field number of a typed field id.
template <class Field>
constexpr uint32_t number(Field f) {
  return f.id & tarn::kNumberMask;
}

const Key kSettings[] = {
    {"enabled", BOOL, number(snmpf::ENABLED), nullptr},
    {"contact", TEXT, number(snmpf::CONTACT), nullptr},
    {"location", TEXT, number(snmpf::LOCATION), nullptr},
    {"trap-community-name", TEXT, number(snmpf::TRAP_COMMUNITY), nullptr},
    {"engine-id", TEXT, number(snmpf::ENGINE_ID), nullptr},
    {"engine-boots", U32, number(snmpf::BOOTS), nullptr},
    {"time-window", U32, number(snmpf::TIME_WINDOW), nullptr},
    {"trap-target", IP, number(snmpf::TRAP_TARGET), nullptr},
    {"trap-community", CHOICE, number(snmpf::TRAP_COMMUNITY_ID), "none=0xFFFFFFFF"},
    {"trap-version", CHOICE, number(snmpf::TRAP_VERSION), "v1=0,v2c=1,v3=3"},
    {"trap-generators", LIST, number(snmpf::TRAP_GENERATORS), nullptr},
    {"bulk", BOOL, number(snmpf::BULK), nullptr},
    {"exceptions", BOOL, number(snmpf::EXCEPTIONS), nullptr},
};

const Key kCommunity[] = {
    {"name", TEXT, number(communityf::NAME), nullptr},
    {"read", BOOL, number(communityf::READ), nullptr},
    {"write", BOOL, number(communityf::WRITE), nullptr},
    {"address", IP, number(communityf::ADDRESS), nullptr},
    {"netmask", IP, number(communityf::NETMASK), nullptr},
    {"auth-password", TEXT, number(communityf::AUTH_PASSWORD), nullptr},
    {"priv-password", TEXT, number(communityf::PRIV_PASSWORD), nullptr},
    {"security", CHOICE, number(communityf::SECURITY), "none=0,auth=1,priv=2"},
    {"auth-protocol", CHOICE, number(communityf::AUTH_PROTOCOL), "md5=0,sha=1,sha224=2,sha256=3,sha384=4,sha512=5"},
    {"priv-protocol", CHOICE, number(communityf::PRIV_PROTOCOL), "des=0,aes=1"},
};

// TEXT keys whose value has a length limit: the key, the most octets, and
// the rule as the refusal states it. The agent refuses a longer value too;
// refusing it here keeps it off the bus.
const struct {
  const char* name;
  size_t max;
  const char* rule;
} kTextLimits[] = {
    {"engine-id", snmpf::ENGINE_ID_MAX_TEXT,
     "at most 27 octets (32 on the wire with its 5-octet prefix)"},
};

const struct {
  const char* name;
  uint32_t type;
} kValueTypes[] = {
    {"integer", 0x02}, {"string", 0x04},   {"null", 0x05},
    {"oid", 0x06},     {"ipaddress", 0x40}, {"counter", 0x41},
    {"gauge", 0x42},   {"timeticks", 0x43},
};

int usageError(const std::string& text) {
  std::cerr << "tarnctl snmp: " << text << "\n";
  return kExitUsage;
}

// Calls found(name, number) for each name=number pair of `choices`, in
// order, until it returns true; says whether one did.
template <class Found>
bool findChoice(const char* choices, Found found) {
  const std::string list = choices;
  size_t start = 0;
  while (start < list.size()) {
    size_t end = list.find(',', start);
    if (end == std::string::npos) end = list.size();
    const std::string pair = list.substr(start, end - start);
    const size_t eq = pair.find('=');
    uint32_t n;
    if (parseU32(pair.substr(eq + 1), &n) && found(pair.substr(0, eq), n)) return true;
    start = end + 1;
  }
  return false;
}

bool choose(const char* choices, const std::string& text, uint32_t* out) {
  if (parseU32(text, out)) return true;
  return findChoice(choices, [&](const std::string& name, uint32_t n) {
    if (name == text) *out = n;
    return name == text;
  });
}

// The name `choices` gives n, or n as a number.
std::string choiceName(const char* choices, uint32_t n) {
  std::string out = std::to_string(n);
  findChoice(choices, [&](const std::string& name, uint32_t v) {
    if (v == n) out = name;
    return v == n;
  });
  return out;
}

// Adds the field of one key=value word to m.
bool addWord(const Key* keys, size_t count, const std::string& word, message* m) {
  const size_t eq = word.find('=');
  if (eq == std::string::npos) {
    usageError("expected key=value: " + word);
    return false;
  }
  const std::string name = word.substr(0, eq), value = word.substr(eq + 1);
  for (size_t i = 0; i < count; ++i) {
    const Key& k = keys[i];
    if (name != k.name) continue;
    uint32_t n = 0;
    in_addr ip;
    switch (k.kind) {
      case BOOL:
        if (value != "yes" && value != "no") break;
        m->insert(tarn::bool_id(k.field), value == "yes");
        return true;
      case U32:
        if (!parseU32(value, &n)) break;
        m->insert(tarn::u32_id(k.field), n);
        return true;
      case IP:
        if (inet_pton(AF_INET, value.c_str(), &ip) != 1) break;
        m->insert(tarn::be32_id(k.field), static_cast<uint32_t>(ip.s_addr));
        return true;
      case TEXT:
        for (const auto& limit : kTextLimits) {
          if (name == limit.name && value.size() > limit.max) {
            usageError(name + " too long: " + limit.rule);
            return false;
          }
        }
        m->insert(tarn::string_id(k.field), value);
        return true;
      case CHOICE:
        if (!choose(k.choices, value, &n)) break;
        m->insert(tarn::u32_id(k.field), n);
        return true;
      case LIST: {
        if (value.empty()) {
          usageError(name + ": an empty list changes nothing; to stop every event source, "
                     "keep only the start trap (" + name + "=start-trap)");
          return false;
        }
        std::vector<uint32_t> ids;
        size_t start = 0;
        bool ok = true;
        while (ok && start < value.size()) {
          size_t end = value.find(',', start);
          if (end == std::string::npos) end = value.size();
          const std::string item = value.substr(start, end - start);
          ok = item == "start-trap" ? (n = snmpf::START_TRAP_GENERATOR, true) : parseU32(item, &n);
          ids.push_back(n);
          start = end + 1;
        }
        if (!ok) break;
        m->insert(tarn::u32_array_id(k.field), ids);
        return true;
      }
    }
    usageError("bad value for " + name + ": " + value);
    return false;
  }
  usageError("unknown key " + name);
  return false;
}

bool addWords(const Key* keys, size_t count, const std::vector<std::string>& args,
              size_t first, message* m) {
  for (size_t i = first; i < args.size(); ++i) {
    if (!addWord(keys, count, args[i], m)) return false;
  }
  return true;
}

// Sends and returns the reply; prints an error reply (true if it was one).
bool exchange(const Options& opts, uint32_t handler, uint32_t cmd, message& m,
              message* reply) {
  m.insert(tarn::u32_array_id(tarn::kFieldDst), tarn::u32_vector(kAgent, handler));
  m.insert(tarn::u32_id(tarn::kFieldCmd), cmd);
  *reply = tarn::getLooper()->exchangeMessage(m, opts.timeoutMs);
  if (!tarn::isError(*reply)) return false;
  printErrorReply(opts, m, *reply);
  return true;
}

std::string ipText(uint32_t be) {
  in_addr a;
  a.s_addr = be;
  char buf[INET_ADDRSTRLEN];
  return inet_ntop(AF_INET, &a, buf, sizeof buf) ? buf : "?";
}

// Prints the fields of `keys` that m holds, one "key: value" a line;
// passwords only as "(set)".
void printFields(const Key* keys, size_t count, const message& m) {
  for (size_t i = 0; i < count; ++i) {
    const Key& k = keys[i];
    std::cout << k.name << ": ";
    switch (k.kind) {
      case BOOL:
        std::cout << (m.get(tarn::bool_id(k.field), false) ? "yes" : "no");
        break;
      case IP:
        std::cout << ipText(m.get(tarn::be32_id(k.field), 0u));
        break;
      case TEXT:
        if (strstr(k.name, "password")) {
          std::cout << (m.get(tarn::string_id(k.field), std::string()).empty()
                            ? "(none)" : "(set)");
        } else {
          std::cout << '"' << m.get(tarn::string_id(k.field), std::string()) << '"';
        }
        break;
      case LIST: {
        const char* sep = "";
        for (uint32_t id : m.get(tarn::u32_array_id(k.field))) {
          std::cout << sep << (id == snmpf::START_TRAP_GENERATOR ? std::string("start-trap")
                                                : std::to_string(id));
          sep = ",";
        }
        break;
      }
      case CHOICE:
        std::cout << choiceName(k.choices, m.get(tarn::u32_id(k.field), 0u));
        break;
      default:
        std::cout << m.get(tarn::u32_id(k.field), 0u);
    }
    std::cout << "\n";
  }
}

template <size_t N>
size_t countOf(const Key (&)[N]) { return N; }

int done(const Options& opts, bool error, const message& reply) {
  if (error) return kExitErrorReply;
  if (opts.json) {
    std::cout << "{\"ok\":true}\n";
    return kExitOk;
  }
  if (reply.has(tarn::u32_id(tarn::kFieldObjId))) {
    std::cout << "id " << reply.get(tarn::u32_id(tarn::kFieldObjId), 0u) << "\n";
  } else {
    std::cout << "ok\n";
  }
  return kExitOk;
}

int show(const Options& opts) {
  message m, reply;
  if (opts.json) return exchangeAndPrint(opts, {kAgent}, tarn::kCmdGet, m);
  if (exchange(opts, 0, tarn::kCmdGet, m, &reply)) return kExitErrorReply;
  printFields(kSettings, countOf(kSettings), reply);
  // Not a setting: whether the agent holds its UDP port, seen from here.
  std::cout << "socket: "
            << socketLine(reply.get(snmpf::ENABLED, false), servicePort("TARN_SNMP_PORT", SNMP_PORT))
            << "\n";
  return kExitOk;
}

int communities(const Options& opts) {
  uint32_t start = 0xFFFFFFFF;
  do {
    message m, reply;
    if (start != 0xFFFFFFFF) m.insert(tarn::u32_id(tarn::kFieldStart), start);
    if (exchange(opts, kCommunities, tarn::kCmdGetAll, m, &reply)) return kExitErrorReply;
    for (const message::flat_message& flat : reply.get(tarn::message_array_id(tarn::kFieldObjList))) {
      const message c(flat);
      std::cout << "id: " << c.get(tarn::u32_id(tarn::kFieldObjId), 0u) << "\n";
      printFields(kCommunity, countOf(kCommunity), c);
      std::cout << "\n";
    }
    start = reply.get(tarn::u32_id(tarn::kFieldStart), 0xFFFFFFFFu);
  } while (start != 0xFFFFFFFF);
  return kExitOk;
}

int community(const Options& opts, const std::vector<std::string>& args) {
  if (args.size() < 3) return usageError("community add NAME | set ID | remove ID");
  message m, reply;
  const std::string& action = args[1];
  if (action == "add") {
    m.insert(communityf::NAME, args[2]);
    if (!addWords(kCommunity, countOf(kCommunity), args, 3, &m)) return kExitUsage;
    return done(opts, exchange(opts, kCommunities, tarn::kCmdAddObj, m, &reply), reply);
  }
  uint32_t id;
  if (!parseU32(args[2], &id)) return usageError("bad community id " + args[2]);
  m.insert(tarn::u32_id(tarn::kFieldObjId), id);
  if (action == "set") {
    if (!addWords(kCommunity, countOf(kCommunity), args, 3, &m)) return kExitUsage;
    return done(opts, exchange(opts, kCommunities, tarn::kCmdSetObj, m, &reply), reply);
  }
  if (action == "remove" && args.size() == 3) {
    return done(opts, exchange(opts, kCommunities, tarn::kCmdRemoveObj, m, &reply), reply);
  }
  return usageError("community add NAME | set ID | remove ID");
}

int generators(const Options& opts) {
  message m, reply;
  if (exchange(opts, 0, snmpf::CMD_GENERATORS, m, &reply)) return kExitErrorReply;
  for (const message::flat_message& flat : reply.get(tarn::message_array_id(tarn::kFieldObjList))) {
    const message g(flat);
    char id[16];
    snprintf(id, sizeof id, "0x%x", g.get(tarn::u32_id(tarn::kFieldObjId), 0u));
    std::cout << id << " " << g.get(tarn::string_id(tarn::kFieldName), std::string()) << "\n";
  }
  return kExitOk;
}

int event(const Options& opts, const std::vector<std::string>& args) {
  if (args.size() < 3 || args.size() > 4) return usageError("event OID TYPE [VALUE]");
  uint32_t type = 0;
  bool known = parseU32(args[2], &type);
  for (const auto& t : kValueTypes) {
    if (args[2] == t.name) {
      type = t.type;
      known = true;
    }
  }
  if (!known) return usageError("unknown value type " + args[2]);
  message m, reply;
  m.insert(snmpf::EVENT_OID, args[1]);
  m.insert(snmpf::EVENT_TYPE, type);
  if (args.size() == 4) m.insert(snmpf::EVENT_VALUE, args[3]);
  return done(opts, exchange(opts, 0, snmpf::CMD_EVENT, m, &reply), reply);
}

}  // namespace

const char kSnmpArgs[] =
    "show | set KEY=VALUE... | communities | generators\n"
    "       | community add NAME [KEY=VALUE...] | community set ID KEY=VALUE...\n"
    "       | community remove ID | event OID TYPE [VALUE]";

const char kSnmpSummary[] =
    "the SNMP agent's settings, communities, trap generators and events.\n"
    "      set keys: enabled=yes|no contact= location= engine-id= (at most 27 octets)\n"
    "        engine-boots=N time-window=S trap-target=IP trap-version=v1|v2c|v3 (or 0|1|3)\n"
    "        trap-community=ID|none trap-community-name= trap-generators=ID,...\n"
    "        (ids as 'tarnctl snmp generators' lists them; start-trap allowed)\n"
    "        bulk=yes|no (answer GetBulk) exceptions=yes|no (v2 exception values)\n"
    "      community keys: name= read=yes|no write=yes|no address=IP netmask=IP\n"
    "        security=none|auth|priv auth-protocol=md5|sha|sha224|sha256|sha384|sha512\n"
    "        auth-password= priv-password= priv-protocol=des|aes\n"
    "      event TYPE: integer string null oid ipaddress counter gauge timeticks\n"
    "        or a number";

int verbSnmp(const Options& opts, const std::vector<std::string>& args) {
  const std::string what = args.empty() ? "" : args[0];
  if (what == "show" && args.size() == 1) return show(opts);
  if (what == "set" && args.size() > 1) {
    message m, reply;
    if (!addWords(kSettings, countOf(kSettings), args, 1, &m)) return kExitUsage;
    return done(opts, exchange(opts, 0, tarn::kCmdSet, m, &reply), reply);
  }
  if (what == "communities" && args.size() == 1) return communities(opts);
  if (what == "community") return community(opts, args);
  if (what == "generators" && args.size() == 1) return generators(opts);
  if (what == "event") return event(opts, args);
  return usageError(std::string("usage: tarnctl snmp ") + kSnmpArgs);
}

}  // namespace tarnctl
