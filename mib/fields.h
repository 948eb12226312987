// Readers of the router services' answer fields, shared by the record
// builders. Fields are named by number; each reader knows the field's kind
// (see docs/mib.md) and returns the given default when the field is absent.
// IPv4 addresses travel as be32 (network order in the number's memory) and
// come out with the first octet most significant, on any host.
#ifndef MIB_FIELDS_H
#define MIB_FIELDS_H

#include <cstdint>
#include <string>
#include <vector>

#include "platform/message.h"

namespace fields {

inline unsigned u32(const tarn::message& m, unsigned id, unsigned def = 0) {
  return m.get(tarn::u32_id(id), def);
}
// A signed value carried as its two's complement in a u32 field.
inline int s32(const tarn::message& m, unsigned id, int def = 0) {
  return static_cast<int>(m.get(tarn::u32_id(id), static_cast<uint32_t>(def)));
}
inline unsigned long long u64(const tarn::message& m, unsigned id) {
  return m.get(tarn::u64_id(id), 0);
}
inline bool flag(const tarn::message& m, unsigned id) {
  return m.get(tarn::bool_id(id), false);
}
inline std::string str(const tarn::message& m, unsigned id) {
  return m.get(tarn::string_id(id), std::string());
}
inline const std::vector<uint8_t>& raw(const tarn::message& m, unsigned id) {
  return m.get(tarn::raw_id(id));
}
inline const std::vector<uint32_t>& u32s(const tarn::message& m, unsigned id) {
  return m.get(tarn::u32_array_id(id));
}

// The address held in a be32 value: its bytes in memory order are the
// dotted octets.
inline unsigned ipOf(uint32_t be32) {
  const unsigned char* b = reinterpret_cast<const unsigned char*>(&be32);
  return static_cast<unsigned>(b[0]) << 24 | static_cast<unsigned>(b[1]) << 16 |
         static_cast<unsigned>(b[2]) << 8 | b[3];
}
inline unsigned ip(const tarn::message& m, unsigned id) {
  return ipOf(m.get(tarn::be32_id(id), 0));
}

}  // namespace fields

#endif
