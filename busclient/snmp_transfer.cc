// Export and import of the agent's settings and communities.
#include "busclient/snmp_transfer.h"

#include <algorithm>
#include <fstream>
#include <iostream>
#include <iterator>
#include <set>
#include <sstream>

#include "busclient/json.h"
#include "busclient/snmp_agent.h"
#include "busclient/snmp_keys.h"
#include "platform/codes.h"
#include "security/community_fields.h"
#include "service/snmp_fields.h"

namespace tarnctl {

namespace {

using tarn::JsonValue;
using tarn::message;

const char kBootsKey[] = "engine-boots";
// The agent keeps no negative numbers, and a member given twice in a file
// would be a setting given twice: both are refused where they stand.
const tarn::JsonRules kFileRules = {true, true};
const uint32_t kLastId = 0xFFFFFFFE;

// What the agent holds now.
struct Agent {
  message settings;
  std::vector<message> communities;
  std::vector<Named> generators;
};

bool fetchAgent(const Options& opts, Agent* a) {
  return fetchSettings(opts, &a->settings) && fetchCommunities(opts, &a->communities) &&
         fetchGenerators(opts, &a->generators);
}

// One community of the file: the fields it will have, whether the agent
// has one of its id now.
struct Planned {
  std::string where;  // "communities[2] \"ops\"" for refusals
  message given;      // the file's keys
  bool hasId = false;
  uint32_t id = 0;
  bool passwords = false;  // the file gives a password key
  const message* current = nullptr;
  message final;  // as the agent will hold it, id included
};

// One change, as it will be sent.
struct Step {
  uint32_t handler;
  uint32_t cmd;
  message request;
  std::string what;
};

std::string compact(const JsonValue& v) {
  std::ostringstream os;
  writeJsonValue(os, v, false);
  return os.str();
}

std::string quoted(const std::string& name) { return compact(JsonValue::of(name)); }

// Reads the members of `object` as keys of `keys` into *m; "id" too when
// `id` is not null.
bool readObject(const JsonValue& object, const std::vector<Key>& keys, const Names& names,
                const std::string& where, message* m, Planned* id, std::string* err) {
  if (object.type != JsonValue::kObject) {
    *err = where + ": expected an object, not " + jsonTypeName(object.type);
    return false;
  }
  for (const auto& member : object.members) {
    const std::string& name = member.first;
    if (id && name == "id") {
      if (member.second.type != JsonValue::kNumber || member.second.magnitude > kLastId) {
        *err = where + ": id=" + compact(member.second) +
               ": expected a number from 0 to 4294967294";
        return false;
      }
      id->hasId = true;
      id->id = static_cast<uint32_t>(member.second.magnitude);
      continue;
    }
    const Key* k = findKey(keys, name);
    if (!k || (!id && name == kBootsKey)) {
      *err = where + ": " +
             (k ? "engine-boots is the agent's count of its starts; it is not imported"
                : "unknown key " + name);
      return false;
    }
    std::string rule;
    if (!readJson(*k, member.second, names, m, &rule)) {
      const std::string value = k->kind == KeyKind::kPassword ? "" : "=" + compact(member.second);
      *err = where + ": " + name + value + ": " + rule;
      return false;
    }
    if (k->kind == KeyKind::kPassword && id) id->passwords = true;
  }
  return true;
}

bool same(const message& a, const message& b) {
  tarn::bytes x, y;
  a.flatten(x);
  b.flatten(y);
  return x == y;
}

std::string nameOf(const message& c) { return c.get(communityf::NAME, std::string()); }

const message* withId(const std::vector<message>& list, uint32_t id) {
  for (const message& c : list) {
    if (idOf(c) == id) return &c;
  }
  return nullptr;
}

// Reads "communities" into *planned: every community checked, ids given
// to those without one (the id of the agent's community of that name, else
// the lowest free one).
bool readCommunities(const JsonValue& list, const Agent& now, std::vector<Planned>* planned,
                     std::string* err) {
  if (list.type != JsonValue::kArray) {
    *err = std::string("communities: expected an array, not ") + jsonTypeName(list.type);
    return false;
  }
  std::set<std::string> names;
  std::set<uint32_t> ids;
  for (size_t i = 0; i < list.items.size(); ++i) {
    Planned p;
    const JsonValue* name = list.items[i].get("name");
    p.where = "communities[" + std::to_string(i) + "]" +
              (name && name->type == JsonValue::kString ? " " + quoted(name->text) : "");
    if (!readObject(list.items[i], communityKeys(), Names(), p.where, &p.given, &p, err)) {
      return false;
    }
    if (!p.given.has(communityf::NAME)) {
      *err = p.where + ": no name";
      return false;
    }
    if (!names.insert(nameOf(p.given)).second) {
      *err = p.where + ": name given twice";
      return false;
    }
    if (p.hasId && !ids.insert(p.id).second) {
      *err = p.where + ": id " + std::to_string(p.id) + " given twice";
      return false;
    }
    planned->push_back(p);
  }
  for (Planned& p : *planned) {
    if (p.hasId) continue;
    for (const message& c : now.communities) {
      if (nameOf(c) == nameOf(p.given) && !ids.count(idOf(c))) {
        p.id = idOf(c);
        p.hasId = true;
      }
    }
    while (!p.hasId && p.id <= kLastId) {
      p.hasId = !ids.count(p.id);
      if (!p.hasId) ++p.id;
    }
    ids.insert(p.id);
  }
  for (Planned& p : *planned) {
    p.current = withId(now.communities, p.id);
    // The agent's own fields (passwords included) carry over only to the
    // same community: same id and same name.
    message fresh;
    fresh.insert(tarn::u32_id(tarn::kFieldObjId), p.id);
    fresh = mergeFields(fresh, communityDefaults());
    const bool sameOne = p.current && nameOf(*p.current) == nameOf(p.given);
    p.final = mergeFields(sameOne ? *p.current : fresh, p.given);
    std::string rule;
    if (!checkCommunity(p.final, &rule)) {
      *err = p.where + ": " + rule +
             (p.passwords ? "" : "; the file holds no passwords (tarnctl snmp export --passwords)");
      return false;
    }
  }
  return true;
}

// The changes that make the agent match the file, or false with the
// file's first refusal.
bool plan(const JsonValue& doc, const Agent& now, std::vector<Step>* steps, std::string* err) {
  if (doc.type != JsonValue::kObject) {
    *err = std::string("expected an object, not ") + jsonTypeName(doc.type);
    return false;
  }
  for (const auto& member : doc.members) {
    if (member.first != "settings" && member.first != "communities") {
      *err = "unknown member " + member.first + " (expected settings and communities)";
      return false;
    }
  }
  const JsonValue* settings = doc.get("settings");
  const JsonValue* communities = doc.get("communities");
  std::vector<Planned> planned;
  if (communities && !readCommunities(*communities, now, &planned, err)) return false;

  Names names{communityNames(now.communities), now.generators};
  if (communities) {
    names.communities.clear();
    names.communitiesListed = "the file's communities";
    for (const Planned& p : planned) names.communities.push_back({p.id, nameOf(p.final)});
  }
  message set;
  if (settings && !readObject(*settings, settingKeys(), names, "settings", &set, nullptr, err)) {
    return false;
  }
  // The agent takes an empty generator list as no change: a file can only
  // say [] to an agent that has none.
  if (set.find(snmpf::TRAP_GENERATORS.id) && !set.has(snmpf::TRAP_GENERATORS) &&
      now.settings.has(snmpf::TRAP_GENERATORS)) {
    *err = "settings: trap-generators=[]: the agent cannot be given an empty list; to stop "
           "every event source, keep only the start trap ([\"start-trap\"])";
    return false;
  }
  const uint32_t trapId =
      mergeFields(now.settings, set).get(snmpf::TRAP_COMMUNITY_ID, snmpf::NO_COMMUNITY);
  const bool trapKept = std::any_of(planned.begin(), planned.end(),
                                    [&](const Planned& p) { return p.id == trapId; });
  if (communities && trapId != snmpf::NO_COMMUNITY && !trapKept) {
    *err = "the traps go out with community " + std::to_string(trapId) +
           " (trap-community), which the file's communities leave out; name another, or none";
    return false;
  }

  std::set<uint32_t> kept;
  for (const Planned& p : planned) kept.insert(p.id);
  for (const message& c : now.communities) {
    if (!communities || kept.count(idOf(c))) continue;
    message m;
    m.insert(tarn::u32_id(tarn::kFieldObjId), idOf(c));
    steps->push_back({kCommunitiesHandler, tarn::kCmdRemoveObj, m,
                      "remove community " + std::to_string(idOf(c)) + " " + quoted(nameOf(c))});
  }
  // A rename onto a name that another kept community still holds would be
  // refused: then every renamed community first takes a temporary name.
  bool clash = false;
  for (const Planned& p : planned) {
    if (!p.current || nameOf(*p.current) == nameOf(p.final)) continue;
    for (const Planned& q : planned) {
      clash = clash || (q.current && &q != &p && nameOf(*q.current) == nameOf(p.final));
    }
  }
  std::set<std::string> taken;
  for (const Planned& p : planned) taken.insert(nameOf(p.final));
  for (const message& c : now.communities) taken.insert(nameOf(c));
  for (const Planned& p : planned) {
    if (!clash || !p.current || nameOf(*p.current) == nameOf(p.final)) continue;
    std::string temporary = "tarnctl-import-" + std::to_string(p.id);
    while (taken.count(temporary)) temporary += "-";
    taken.insert(temporary);
    message m;
    m.insert(tarn::u32_id(tarn::kFieldObjId), p.id);
    m.insert(communityf::NAME, temporary);
    steps->push_back({kCommunitiesHandler, tarn::kCmdSetObj, m,
                      "rename community " + std::to_string(p.id) + " " + quoted(temporary) +
                          " for now"});
  }
  for (const Planned& p : planned) {
    if (!p.current || same(p.final, *p.current)) continue;
    steps->push_back({kCommunitiesHandler, tarn::kCmdSetObj, p.final,
                      "change community " + std::to_string(p.id) + " " + quoted(nameOf(p.final))});
  }
  for (const Planned& p : planned) {
    if (p.current) continue;
    steps->push_back({kCommunitiesHandler, tarn::kCmdAddObj, p.final,
                      "add community " + std::to_string(p.id) + " " + quoted(nameOf(p.final))});
  }
  if (!same(mergeFields(now.settings, set), now.settings)) {
    steps->push_back({kSettingsHandler, tarn::kCmdSet, set, "change the settings"});
  }
  return true;
}

bool readFile(const std::string& path, std::string* text) {
  if (path == "-") {
    text->assign(std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>());
    return true;
  }
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  text->assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  return !in.bad();
}

int refuse(const std::string& verb, const std::string& text) {
  std::cerr << "tarnctl snmp " << verb << ": " << text << "\n";
  return kExitUsage;
}

}  // namespace

int exportAgent(const Options& opts, const std::vector<std::string>& args) {
  const bool passwords = args.size() == 2 && args[1] == "--passwords";
  if (args.size() > 2 || (args.size() == 2 && !passwords)) {
    return refuse("export", "usage: tarnctl snmp export [--passwords] > FILE");
  }
  Agent now;
  if (!fetchAgent(opts, &now)) return kExitErrorReply;
  const Names names{communityNames(now.communities), now.generators};
  std::vector<message> sorted = now.communities;
  std::stable_sort(sorted.begin(), sorted.end(),
                   [](const message& a, const message& b) { return idOf(a) < idOf(b); });
  JsonValue doc = JsonValue::object();
  doc.add("settings", settingsJson(now.settings, names, false));
  JsonValue& list = doc.add("communities", JsonValue::array());
  for (const message& c : sorted) list.items.push_back(communityJson(c, passwords));
  writeJsonValue(std::cout, doc, true);
  std::cout << "\n";
  return kExitOk;
}

int importAgent(const Options& opts, const std::vector<std::string>& args) {
  const bool dryRun = args.size() == 3 && args[1] == "--dry-run";
  if (args.size() != (dryRun ? 3u : 2u)) {
    return refuse("import", "usage: tarnctl snmp import [--dry-run] FILE|-");
  }
  const std::string& path = args.back();
  std::string text, err;
  JsonValue doc;
  if (!readFile(path, &text)) return refuse("import", path + ": cannot be read");
  if (!tarn::parseJson(text, kFileRules, &doc, &err)) return refuse("import", path + ":" + err);
  Agent now;
  if (!fetchAgent(opts, &now)) return kExitErrorReply;
  std::vector<Step> steps;
  if (!plan(doc, now, &steps, &err)) return refuse("import", path + ": " + err);
  if (dryRun && opts.json) {
    JsonValue out = JsonValue::object();
    out.add("ok", JsonValue::of(true));
    JsonValue& list = out.add("changes", JsonValue::array());
    for (const Step& s : steps) list.items.push_back(JsonValue::of(s.what));
    writeJsonValue(std::cout, out, false);
    std::cout << "\n";
    return kExitOk;
  }
  if (dryRun) {
    for (const Step& s : steps) std::cout << s.what << "\n";
    if (steps.empty()) std::cout << "no change\n";
    return kExitOk;
  }
  for (size_t i = 0; i < steps.size(); ++i) {
    message reply;
    if (!askAgent(opts, steps[i].handler, steps[i].cmd, steps[i].request, &reply)) {
      std::string before;
      for (size_t k = 0; k < i; ++k) before += (k ? "; " : "") + steps[k].what;
      std::cerr << "tarnctl snmp import: the agent refused change " << i + 1 << " of "
                << steps.size() << " (" << steps[i].what << "); made before it: "
                << (i ? before : "none") << "\n";
      return kExitErrorReply;
    }
  }
  if (opts.json) {
    std::cout << "{\"ok\":true,\"changes\":" << steps.size() << "}\n";
  } else {
    std::cout << "imported " << path << ": " << steps.size()
              << (steps.size() == 1 ? " change" : " changes") << "\n";
  }
  return kExitOk;
}

}  // namespace tarnctl
