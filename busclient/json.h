// JSON form of a message for scripts: an array of fields in order, each
// {"kind": "u32", "id": 16646146, "value": ...}. Strings are JSON strings
// (bytes outside ASCII escaped as \u00XX), raw bytes hex strings, message
// arrays arrays of such field arrays.
#ifndef BUSCLIENT_JSON_H
#define BUSCLIENT_JSON_H

#include <ostream>

#include "platform/message.h"

namespace tarnctl {

void writeJson(std::ostream& os, const tarn::message& m);
void writeJsonString(std::ostream& os, const std::string& s);

}  // namespace tarnctl

#endif  // BUSCLIENT_JSON_H
