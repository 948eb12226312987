// A JSON value as tarnctl reads and writes it: the agent's settings and
// communities in `--json` output and in export files. Numbers are whole
// and unsigned (every number the agent keeps is); strings are octet
// strings, as on the bus.
//
// Strings: a string that is valid UTF-8 (ASCII included) is written as it
// is, control characters escaped, and reads back to the same octets; \u
// escapes read as UTF-8, as in any JSON. A string of other octets (the
// agent keeps octets, not text) has each octet from 0x80 up written as
// \u00XX: it reads back as the UTF-8 of those characters, not as the
// octets; no JSON can hold them.
//
// Parsing never throws: it returns false with a one-line reason that starts
// with the line number ("3: expected ':'").
#ifndef BUSCLIENT_JSON_VALUE_H
#define BUSCLIENT_JSON_VALUE_H

#include <cstdint>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace tarnctl {

struct JsonValue {
  enum Type { kNull, kBool, kNumber, kString, kArray, kObject };
  Type type = kNull;
  bool boolean = false;
  uint64_t number = 0;
  std::string text;
  std::vector<JsonValue> items;                            // arrays
  std::vector<std::pair<std::string, JsonValue>> members;  // objects, in order

  static JsonValue of(bool b);
  static JsonValue of(uint64_t n);
  static JsonValue of(const std::string& s);
  static JsonValue array();
  static JsonValue object();
  // Appends a member (objects) and returns it.
  JsonValue& add(const std::string& key, JsonValue v);
  // The member named key of an object, or null.
  const JsonValue* get(const std::string& key) const;
};

// "number", "string", ... for refusals ("expected a string, not a number").
const char* jsonTypeName(JsonValue::Type t);

// Reads one whole JSON text. A negative or fractional number, a duplicate
// member name or anything after the value is refused.
bool parseJson(const std::string& text, JsonValue* out, std::string* err);

// Compact on one line, or pretty: objects one member a line, indented by
// two spaces, arrays of scalars on one line. No newline at the end.
void writeJsonValue(std::ostream& os, const JsonValue& v, bool pretty);

}  // namespace tarnctl

#endif  // BUSCLIENT_JSON_VALUE_H
