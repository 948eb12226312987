// SNMP engine IDs of this agent, and a hex dump for debugging.
//
// Settings and the bus carry the engine ID as configured text; the wire, key
// localisation and comparisons use the internal form: the five bytes
// 80 00 9C B5 04 (enterprise 40117 with the top bit set, then format 4,
// text) followed by that text.
#ifndef SECURITY_ENGINE_ID_H
#define SECURITY_ENGINE_ID_H

#include <string>

// Number of prefix bytes formatEngineID puts before the text.
constexpr unsigned ENGINE_ID_PREFIX_LEN = 5;
// The longest engine ID on the wire (SnmpEngineID is 5 to 32 octets);
// managers refuse a longer one, discovery included.
constexpr unsigned ENGINE_ID_MAX_LEN = 32;

// The internal form of configured text: the prefix, then the text.
std::string formatEngineID(const std::string& text);
// The text of an internal-form ID: the ID without its first five bytes, or
// empty when the ID is shorter than six bytes.
std::string deformatEngineID(const std::string& id);

// Prints `len` bytes at `bytes` as two-digit hexadecimal, separated by
// spaces, 16 to a line, through the diagnostic sink's standard output.
void hexdump(const void* bytes, unsigned len);

#endif
