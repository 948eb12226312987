// The model file's vocabulary: for every path, the key of its section in
// the file and the names of its fields with their kinds, and the
// conversion of a JSON value to a typed field. A member named "KIND:ID"
// (kinds as tarnctl writes them: bool u32 i32 be32 u64 str raw u32[] be32[]
// u64[] str[]) gives any further field directly, e.g. "u32:0x10005": 7.
#ifndef ROUTER_SCHEMA_H
#define ROUTER_SCHEMA_H

#include <cstdint>
#include <string>
#include <vector>

#include "platform/json.h"
#include "platform/message.h"
#include "router/fields.h"

namespace router {

enum class Kind {
  kBool, kU32, kI32, kBe32, kU64, kStr, kRaw, kText,
  kU32s, kBe32s, kU64s, kStrs,
};

struct FieldSpec {
  const char* name;
  uint32_t number;
  Kind kind;
};

struct Section {
  Path path;
  const char* key;  // the section's key in the model file
  bool list;        // an array of objects (else one settings object)
  std::vector<FieldSpec> fields;
};

// Every path that tarn-routerd serves, in the order of the model file.
const std::vector<Section>& sections();
// The counters of an interface (its "counters" member).
const std::vector<FieldSpec>& counterFields();

// Sets the field named name (a field of specs, or "KIND:ID") from v.
// False with *error on an unknown name or a value that does not fit.
bool setField(tarn::message* m, const std::vector<FieldSpec>& specs,
              const std::string& name, const tarn::JsonValue& v, std::string* error);

// "10.0.0.1" -> the address with the first octet most significant.
bool parseIPv4(const std::string& text, uint32_t* hostOrder);
// "00:1a:2b" or "001a2b" -> bytes.
bool parseHex(const std::string& text, tarn::bytes* out);

}  // namespace router

#endif  // ROUTER_SCHEMA_H
