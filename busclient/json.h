// tarnctl's JSON output.
//
// A message, for scripts (`send --json`): an array of fields in order, each
// {"kind": "u32", "id": 16646146, "value": ...}. Strings are JSON strings
// (bytes outside ASCII escaped as \u00XX), raw bytes hex strings, message
// arrays arrays of such field arrays.
//
// A JsonValue: the agent's settings and communities in `--json` output and
// in export files. A string that is valid UTF-8 (ASCII included) is written
// as it is, control characters escaped, and reads back to the same octets.
// A string of other octets (the agent keeps octets, not text) has each
// octet from 0x80 up written as \u00XX: it reads back as the UTF-8 of those
// characters, not as the octets; no JSON can hold them.
#ifndef BUSCLIENT_JSON_H
#define BUSCLIENT_JSON_H

#include <ostream>
#include <string>

#include "platform/json.h"
#include "platform/message.h"

namespace tarnctl {

void writeJson(std::ostream& os, const tarn::message& m);
void writeJsonString(std::ostream& os, const std::string& s);

// Compact on one line, or pretty: objects one member a line, indented by
// two spaces, arrays of scalars on one line. No newline at the end.
void writeJsonValue(std::ostream& os, const tarn::JsonValue& v, bool pretty);

// "number", "string", ... for refusals ("expected a string, not a number").
const char* jsonTypeName(tarn::JsonValue::Type t);

}  // namespace tarnctl

#endif  // BUSCLIENT_JSON_H
