// The keys of the SNMP agent's settings and communities as tarnctl names
// them (enabled, trap-target, auth-protocol, ...). Each key is one field of
// the agent's bus messages (service/snmp_fields.h,
// security/community_fields.h) with a kind that says how its value is read
// from a command line word or a JSON file and how it is shown.
//
// The agent takes any value of the right type and stores it; some then
// silently do not work (a trap community that does not exist, a netmask
// with holes, a password that no manager accepts). The readers here refuse
// those, so that tarnctl never sends them: each returns false with the rule
// the value breaks in *err, and the caller names the key in front of it.
#ifndef BUSCLIENT_SNMP_KEYS_H
#define BUSCLIENT_SNMP_KEYS_H

#include <cstdint>
#include <string>
#include <vector>

#include "platform/json.h"
#include "platform/message.h"

namespace tarnctl {

enum class KeyKind {
  kYesNo,       // bool: yes|no, JSON true|false
  kNumber,      // u32
  kAddress,     // be32: a dotted IPv4 address
  kNetmask,     // be32: a dotted IPv4 netmask, ones then zeros
  kText,        // string
  kPassword,    // string: empty, or 8 characters or more
  kChoice,      // u32: one of the key's named choices
  kCommunity,   // u32: a community by name or id, or none
  kGenerators,  // u32 array: trap generators by name or id
};

struct Key {
  const char* name;
  KeyKind kind;
  uint32_t field;       // the field number; the kind gives its type
  const char* choices;  // kChoice: "name=number,..."; no other value is taken
};

// An object of the agent that values may name: a community or a trap
// generator, with its id.
struct Named {
  uint32_t id;
  std::string name;
};

// What names in values refer to: the communities (trap-community) and the
// trap generators (trap-generators), as the agent lists them or as an
// import file will leave them.
struct Names {
  std::vector<Named> communities;
  std::vector<Named> generators;
  // Where the communities above are listed, for refusals.
  std::string communitiesListed = "tarnctl snmp communities lists them";
};

// The keys in the order tarnctl shows them.
const std::vector<Key>& settingKeys();
const std::vector<Key>& communityKeys();
// The key named `name` among `keys`, or null.
const Key* findKey(const std::vector<Key>& keys, const std::string& name);

// Reads a value into its field of *m. An empty trap generator list is
// refused as text and read as JSON (see snmp_transfer.cc).
bool readText(const Key& k, const std::string& value, const Names& names,
              tarn::message* m, std::string* err);
bool readJson(const Key& k, const tarn::JsonValue& value, const Names& names,
              tarn::message* m, std::string* err);

// Reads KEY=VALUE words args[first..] into *m. A refusal is
// "KEY=VALUE: RULE" (a password's value left out) in *err.
bool readWords(const std::vector<Key>& keys, const std::vector<std::string>& args,
               size_t first, const Names& names, tarn::message* m, std::string* err);

// The key's value in m, to show: as text (strings in quotes, passwords only
// as "(set)" or "(none)") or as JSON (passwords in full).
std::string showText(const Key& k, const tarn::message& m, const Names& names);
tarn::JsonValue showJson(const Key& k, const tarn::message& m, const Names& names);

// A community as a JSON object: "id", then every key, the passwords only
// if `passwords`.
tarn::JsonValue communityJson(const tarn::message& community, bool passwords);
// The settings as a JSON object, every key, engine-boots only if `boots`.
tarn::JsonValue settingsJson(const tarn::message& settings, const Names& names, bool boots);

// The id of the object that `ref` names among `objects`: by name, else by
// id (a number). False, with the reason in *err, if none or two different
// ones match; `what` names the kind of object in it ("community").
bool findNamed(const std::vector<Named>& objects, const std::string& ref,
               const char* what, uint32_t* id, std::string* err);

// The rules of a whole community, its fields as the agent will hold them
// after a change: a name, and the passwords its security level needs.
bool checkCommunity(const tarn::message& community, std::string* err);

// `base` with every field of `change` put in (replacing those present):
// an object as it will be after a change.
tarn::message mergeFields(tarn::message base, const tarn::message& change);

// A community's fields as the agent holds a fresh one before any key is
// set (security/community_keep.h's Item defaults).
tarn::message communityDefaults();

}  // namespace tarnctl

#endif  // BUSCLIENT_SNMP_KEYS_H
