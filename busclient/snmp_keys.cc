// The agent's keys: tables, readers, the rules and the shown forms.
#include "busclient/snmp_keys.h"

#include <arpa/inet.h>

#include "busclient/fields.h"
#include "busclient/json.h"
#include "platform/codes.h"
#include "security/community_fields.h"
#include "service/snmp_fields.h"

namespace tarnctl {

namespace {

using tarn::JsonValue;
using tarn::message;

// The field number of a typed field id.
template <class Field>
constexpr uint32_t number(Field f) {
  return f.id & tarn::kNumberMask;
}

const size_t kMinPassword = 8;

const char kAuthProtocols[] = "md5=0,sha=1,sha224=2,sha256=3,sha384=4,sha512=5";

// TEXT keys whose value has a length limit, with the rule as a refusal
// states it. The agent refuses a longer value too; refusing it here keeps
// it off the bus.
const struct {
  const char* name;
  size_t max;
  const char* rule;
} kTextLimits[] = {
    {"engine-id", snmpf::ENGINE_ID_MAX_TEXT,
     "too long: at most 27 octets (32 on the wire with its 5-octet prefix)"},
};

// Calls found(name, number) for each name=number pair of `choices`, in
// order, until it returns true; says whether one did.
template <class Found>
bool eachChoice(const char* choices, Found found) {
  const std::string list = choices;
  size_t start = 0;
  while (start < list.size()) {
    size_t end = list.find(',', start);
    if (end == std::string::npos) end = list.size();
    const std::string pair = list.substr(start, end - start);
    const size_t eq = pair.find('=');
    uint32_t n = 0;
    if (parseU32(pair.substr(eq + 1), &n) && found(pair.substr(0, eq), n)) return true;
    start = end + 1;
  }
  return false;
}

// "md5, sha, sha224, ..." for refusals.
std::string choiceList(const char* choices) {
  std::string out;
  eachChoice(choices, [&](const std::string& name, uint32_t) {
    out += (out.empty() ? "" : ", ") + name;
    return false;
  });
  return out;
}

// The name `choices` gives n, or n as a number.
std::string choiceName(const char* choices, uint32_t n) {
  std::string out = std::to_string(n);
  eachChoice(choices, [&](const std::string& name, uint32_t v) {
    if (v == n) out = name;
    return v == n;
  });
  return out;
}

std::string ipText(uint32_t be) {
  in_addr a;
  a.s_addr = be;
  char buf[INET_ADDRSTRLEN];
  return inet_ntop(AF_INET, &a, buf, sizeof buf) ? buf : "?";
}

// The name of the object with `id`, or empty.
std::string nameOf(const std::vector<Named>& objects, uint32_t id) {
  for (const Named& o : objects) {
    if (o.id == id) return o.name;
  }
  return "";
}

bool readGenerator(const std::string& ref, const Names& names, std::vector<uint32_t>* ids,
                   std::string* err) {
  uint32_t id = 0;
  if (!findNamed(names.generators, ref, "trap generator", &id, err)) {
    *err += " (tarnctl snmp generators lists them)";
    return false;
  }
  ids->push_back(id);
  return true;
}

const char kEmptyGenerators[] =
    "an empty list changes nothing; to stop every event source, keep only the "
    "start trap (trap-generators=start-trap)";

}  // namespace

const std::vector<Key>& settingKeys() {
  static const std::vector<Key> keys = {
      {"enabled", KeyKind::kYesNo, number(snmpf::ENABLED), nullptr},
      {"contact", KeyKind::kText, number(snmpf::CONTACT), nullptr},
      {"location", KeyKind::kText, number(snmpf::LOCATION), nullptr},
      {"trap-community-name", KeyKind::kText, number(snmpf::TRAP_COMMUNITY), nullptr},
      {"engine-id", KeyKind::kText, number(snmpf::ENGINE_ID), nullptr},
      {"engine-boots", KeyKind::kNumber, number(snmpf::BOOTS), nullptr},
      {"time-window", KeyKind::kNumber, number(snmpf::TIME_WINDOW), nullptr},
      {"trap-target", KeyKind::kAddress, number(snmpf::TRAP_TARGET), nullptr},
      {"trap-community", KeyKind::kCommunity, number(snmpf::TRAP_COMMUNITY_ID), nullptr},
      {"trap-version", KeyKind::kChoice, number(snmpf::TRAP_VERSION), "v1=0,v2c=1,v3=3"},
      {"trap-generators", KeyKind::kGenerators, number(snmpf::TRAP_GENERATORS), nullptr},
      {"bulk", KeyKind::kYesNo, number(snmpf::BULK), nullptr},
      {"exceptions", KeyKind::kYesNo, number(snmpf::EXCEPTIONS), nullptr},
  };
  return keys;
}

const std::vector<Key>& communityKeys() {
  static const std::vector<Key> keys = {
      {"name", KeyKind::kText, number(communityf::NAME), nullptr},
      {"read", KeyKind::kYesNo, number(communityf::READ), nullptr},
      {"write", KeyKind::kYesNo, number(communityf::WRITE), nullptr},
      {"address", KeyKind::kAddress, number(communityf::ADDRESS), nullptr},
      {"netmask", KeyKind::kNetmask, number(communityf::NETMASK), nullptr},
      {"auth-password", KeyKind::kPassword, number(communityf::AUTH_PASSWORD), nullptr},
      {"priv-password", KeyKind::kPassword, number(communityf::PRIV_PASSWORD), nullptr},
      {"security", KeyKind::kChoice, number(communityf::SECURITY), "none=0,auth=1,priv=2"},
      {"auth-protocol", KeyKind::kChoice, number(communityf::AUTH_PROTOCOL), kAuthProtocols},
      {"priv-protocol", KeyKind::kChoice, number(communityf::PRIV_PROTOCOL), "des=0,aes=1"},
  };
  return keys;
}

const Key* findKey(const std::vector<Key>& keys, const std::string& name) {
  for (const Key& k : keys) {
    if (name == k.name) return &k;
  }
  return nullptr;
}

bool findNamed(const std::vector<Named>& objects, const std::string& ref,
               const char* what, uint32_t* id, std::string* err) {
  const Named* byName = nullptr;
  const Named* byId = nullptr;
  uint32_t n = 0;
  const bool numeric = parseU32(ref, &n);
  for (const Named& o : objects) {
    if (o.name == ref && !byName) byName = &o;
    if (numeric && o.id == n && !byId) byId = &o;
  }
  if (byName && byId && byName->id != byId->id) {
    *err = "\"" + ref + "\" is the name of " + what + " " + std::to_string(byName->id) +
           " and the id of " + what + " \"" + byId->name + "\"; rename one of them";
    return false;
  }
  if (!byName && !byId) {
    *err = std::string("no ") + what + " has the name or id " + ref;
    return false;
  }
  *id = (byName ? byName : byId)->id;
  return true;
}

bool readText(const Key& k, const std::string& value, const Names& names, message* m,
              std::string* err) {
  uint32_t n = 0;
  in_addr ip;
  switch (k.kind) {
    case KeyKind::kYesNo:
      if (value != "yes" && value != "no") {
        *err = "expected yes or no";
        return false;
      }
      m->insert(tarn::bool_id(k.field), value == "yes");
      return true;
    case KeyKind::kNumber:
      if (!parseU32(value, &n)) {
        *err = "expected a number from 0 to 4294967295";
        return false;
      }
      m->insert(tarn::u32_id(k.field), n);
      return true;
    case KeyKind::kAddress:
    case KeyKind::kNetmask:
      if (inet_pton(AF_INET, value.c_str(), &ip) != 1) {
        *err = "expected an IPv4 address such as 192.0.2.1";
        return false;
      }
      if (k.kind == KeyKind::kNetmask) {
        const uint32_t holes = ~ntohl(ip.s_addr);
        if ((holes & (holes + 1)) != 0) {
          *err = "a netmask is ones, then zeros (255.255.255.0, not 255.0.255.0); "
                 "the agent would admit addresses no one meant";
          return false;
        }
      }
      m->insert(tarn::be32_id(k.field), static_cast<uint32_t>(ip.s_addr));
      return true;
    case KeyKind::kText:
      for (const auto& limit : kTextLimits) {
        if (std::string(k.name) == limit.name && value.size() > limit.max) {
          *err = limit.rule;
          return false;
        }
      }
      m->insert(tarn::string_id(k.field), value);
      return true;
    case KeyKind::kPassword:
      if (!value.empty() && value.size() < kMinPassword) {
        *err = "at least 8 characters (RFC 3414; net-snmp refuses shorter ones)";
        return false;
      }
      m->insert(tarn::string_id(k.field), value);
      return true;
    case KeyKind::kChoice: {
      const bool found = eachChoice(k.choices, [&](const std::string& name, uint32_t v) {
        if (name == value || std::to_string(v) == value) n = v;
        return name == value || std::to_string(v) == value;
      });
      if (!found) {
        *err = "expected one of " + choiceList(k.choices);
        return false;
      }
      m->insert(tarn::u32_id(k.field), n);
      return true;
    }
    case KeyKind::kCommunity:
      if (value == "none") {
        n = snmpf::NO_COMMUNITY;
      } else if (!findNamed(names.communities, value, "community", &n, err)) {
        *err += " (" + names.communitiesListed + "); traps would not be sent";
        return false;
      }
      m->insert(tarn::u32_id(k.field), n);
      return true;
    case KeyKind::kGenerators: {
      if (value.empty()) {
        *err = kEmptyGenerators;
        return false;
      }
      std::vector<uint32_t> ids;
      size_t start = 0;
      while (start <= value.size()) {
        size_t end = value.find(',', start);
        if (end == std::string::npos) end = value.size();
        if (!readGenerator(value.substr(start, end - start), names, &ids, err)) return false;
        start = end + 1;
      }
      m->insert(tarn::u32_array_id(k.field), ids);
      return true;
    }
  }
  return false;
}

bool readJson(const Key& k, const JsonValue& value, const Names& names, message* m,
              std::string* err) {
  const JsonValue::Type want = k.kind == KeyKind::kYesNo       ? JsonValue::kBool
                               : k.kind == KeyKind::kNumber     ? JsonValue::kNumber
                               : k.kind == KeyKind::kGenerators ? JsonValue::kArray
                                                                : JsonValue::kString;
  const bool idNumber = k.kind == KeyKind::kCommunity && value.type == JsonValue::kNumber;
  if (value.type != want && !idNumber) {
    *err = std::string("expected ") + jsonTypeName(want) + ", not " + jsonTypeName(value.type);
    return false;
  }
  switch (k.kind) {
    case KeyKind::kYesNo:
      m->insert(tarn::bool_id(k.field), value.boolean);
      return true;
    case KeyKind::kNumber:
      if (value.magnitude > 0xFFFFFFFFu) {
        *err = "expected a number from 0 to 4294967295";
        return false;
      }
      m->insert(tarn::u32_id(k.field), static_cast<uint32_t>(value.magnitude));
      return true;
    case KeyKind::kGenerators: {
      // An empty list is what a fresh agent reports; the agent takes it
      // as no change, which only an import can tell apart from a change
      // (busclient/snmp_transfer.cc).
      std::vector<uint32_t> ids;
      for (const JsonValue& item : value.items) {
        if (item.type != JsonValue::kString && item.type != JsonValue::kNumber) {
          *err = std::string("expected names or ids, not ") + jsonTypeName(item.type);
          return false;
        }
        const std::string ref =
            item.type == JsonValue::kString ? item.text : std::to_string(item.magnitude);
        if (!readGenerator(ref, names, &ids, err)) return false;
      }
      m->insert(tarn::u32_array_id(k.field), ids);
      return true;
    }
    default:
      return readText(k, idNumber ? std::to_string(value.magnitude) : value.text, names, m, err);
  }
}

bool readWords(const std::vector<Key>& keys, const std::vector<std::string>& args,
               size_t first, const Names& names, message* m, std::string* err) {
  for (size_t i = first; i < args.size(); ++i) {
    const std::string& word = args[i];
    const size_t eq = word.find('=');
    if (eq == std::string::npos) {
      *err = "expected KEY=VALUE, not " + word;
      return false;
    }
    const std::string name = word.substr(0, eq), value = word.substr(eq + 1);
    const Key* k = findKey(keys, name);
    if (!k) {
      *err = "unknown key " + name;
      return false;
    }
    std::string rule;
    if (!readText(*k, value, names, m, &rule)) {
      *err = (k->kind == KeyKind::kPassword ? name : word) + ": " + rule;
      return false;
    }
  }
  return true;
}

std::string showText(const Key& k, const message& m, const Names& names) {
  const JsonValue v = showJson(k, m, names);
  switch (k.kind) {
    case KeyKind::kYesNo:
      return v.boolean ? "yes" : "no";
    case KeyKind::kText:
      return '"' + v.text + '"';
    case KeyKind::kPassword:
      return v.text.empty() ? "(none)" : "(set)";
    case KeyKind::kGenerators: {
      std::string out;
      for (const JsonValue& item : v.items) {
        out += (out.empty() ? "" : ",") +
               (item.type == JsonValue::kString ? item.text : std::to_string(item.magnitude));
      }
      return out;
    }
    default:
      return v.type == JsonValue::kNumber ? std::to_string(v.magnitude) : v.text;
  }
}

JsonValue showJson(const Key& k, const message& m, const Names& names) {
  switch (k.kind) {
    case KeyKind::kYesNo:
      return JsonValue::of(m.get(tarn::bool_id(k.field), false));
    case KeyKind::kNumber:
      return JsonValue::of(uint64_t{m.get(tarn::u32_id(k.field), 0u)});
    case KeyKind::kAddress:
    case KeyKind::kNetmask:
      return JsonValue::of(ipText(m.get(tarn::be32_id(k.field), 0u)));
    case KeyKind::kText:
    case KeyKind::kPassword:
      return JsonValue::of(m.get(tarn::string_id(k.field), std::string()));
    case KeyKind::kChoice:
      return JsonValue::of(choiceName(k.choices, m.get(tarn::u32_id(k.field), 0u)));
    case KeyKind::kCommunity: {
      const uint32_t id = m.get(tarn::u32_id(k.field), snmpf::NO_COMMUNITY);
      if (id == snmpf::NO_COMMUNITY) return JsonValue::of(std::string("none"));
      const std::string name = nameOf(names.communities, id);
      return name.empty() ? JsonValue::of(uint64_t{id}) : JsonValue::of(name);
    }
    case KeyKind::kGenerators: {
      JsonValue list = JsonValue::array();
      for (uint32_t id : m.get(tarn::u32_array_id(k.field))) {
        const std::string name = nameOf(names.generators, id);
        list.items.push_back(name.empty() ? JsonValue::of(uint64_t{id}) : JsonValue::of(name));
      }
      return list;
    }
  }
  return JsonValue();
}

JsonValue communityJson(const message& community, bool passwords) {
  JsonValue out = JsonValue::object();
  out.add("id", JsonValue::of(uint64_t{community.get(tarn::u32_id(tarn::kFieldObjId), 0u)}));
  for (const Key& k : communityKeys()) {
    if (k.kind == KeyKind::kPassword && !passwords) continue;
    out.add(k.name, showJson(k, community, Names()));
  }
  return out;
}

JsonValue settingsJson(const message& settings, const Names& names, bool boots) {
  JsonValue out = JsonValue::object();
  for (const Key& k : settingKeys()) {
    if (k.field == number(snmpf::BOOTS) && !boots) continue;
    out.add(k.name, showJson(k, settings, names));
  }
  return out;
}

bool checkCommunity(const message& c, std::string* err) {
  if (c.get(communityf::NAME, std::string()).empty()) {
    *err = "name: must not be empty (the agent refuses it as \"empty script name\")";
    return false;
  }
  const uint32_t security = c.get(communityf::SECURITY, 0u);
  const bool auth = !c.get(communityf::AUTH_PASSWORD, std::string()).empty();
  const bool priv = !c.get(communityf::PRIV_PASSWORD, std::string()).empty();
  if ((security >= 1 && !auth) || (security == 2 && !priv)) {
    *err = security == 2 ? "security=priv needs auth-password and priv-password"
                         : "security=auth needs auth-password";
    *err += ", 8 characters or more; without them no manager can use it";
    return false;
  }
  return true;
}

message mergeFields(message base, const message& change) {
  for (const message::field& f : change.fields()) base.insertTagged(f.id, f.v);
  return base;
}

message communityDefaults() {
  message m;
  m.insert(communityf::NAME, std::string());
  m.insert(communityf::ADDRESS, 0u);
  m.insert(communityf::NETMASK, 0u);
  m.insert(communityf::READ, false);
  m.insert(communityf::WRITE, false);
  m.insert(communityf::AUTH_PASSWORD, std::string());
  m.insert(communityf::PRIV_PASSWORD, std::string());
  m.insert(communityf::AUTH_PROTOCOL, 0u);
  m.insert(communityf::PRIV_PROTOCOL, 0u);
  m.insert(communityf::SECURITY, 0u);
  return m;
}

}  // namespace tarnctl
