// Text forms that the bus client reads: paths ("161/1"), command codes (by
// number or by name) and typed fields ("u32:0xfe0001=3"). Parsers return
// false with a one-line reason in *err on bad input.
#ifndef BUSCLIENT_FIELDS_H
#define BUSCLIENT_FIELDS_H

#include <cstdint>
#include <string>
#include <vector>

#include "platform/message.h"

namespace tarnctl {

// A number in decimal or 0x hex, the whole text, fitting 32 bits.
bool parseU32(const std::string& text, uint32_t* out);
bool parseU64(const std::string& text, uint64_t* out);
// "S" or "S/H" (also "S,H" and "S H").
bool parsePath(const std::string& text, std::vector<uint32_t>* out,
               std::string* err);
// A code number or one of the names in commandNames().
bool parseCommand(const std::string& text, uint32_t* out, std::string* err);
// KIND:ID=VALUE with KIND one of bool u32 be32 u64 str raw and the array
// forms bool[] u32[] be32[] u64[] str[] raw[] (values comma-separated);
// be32 takes a dotted IPv4 address or a number; raw takes hex bytes.
bool parseField(const std::string& text, tarn::message* m, std::string* err);

struct CommandName {
  const char* name;
  uint32_t code;
};
const std::vector<CommandName>& commandNames();

}  // namespace tarnctl

#endif  // BUSCLIENT_FIELDS_H
