// Byte helpers for the bus and the store: integers in the host's native byte
// order, written and read by shifting (never by copying memory), so the code
// is the same on little- and big-endian hosts.
#ifndef PLATFORM_WIRE_H
#define PLATFORM_WIRE_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tarn {
namespace wire {

#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
constexpr bool kBigEndian = true;
#else
constexpr bool kBigEndian = false;
#endif

inline void putN(std::vector<uint8_t>& out, uint64_t v, int n) {
  for (int i = 0; i < n; ++i) {
    int shift = kBigEndian ? 8 * (n - 1 - i) : 8 * i;
    out.push_back(static_cast<uint8_t>(v >> shift));
  }
}
inline void put32(std::vector<uint8_t>& out, uint32_t v) { putN(out, v, 4); }
inline void put64(std::vector<uint8_t>& out, uint64_t v) { putN(out, v, 8); }

inline uint64_t getN(const uint8_t* p, int n) {
  uint64_t v = 0;
  for (int i = 0; i < n; ++i) {
    int shift = kBigEndian ? 8 * (n - 1 - i) : 8 * i;
    v |= static_cast<uint64_t>(p[i]) << shift;
  }
  return v;
}
inline uint32_t get32(const uint8_t* p) {
  return static_cast<uint32_t>(getN(p, 4));
}
inline uint64_t get64(const uint8_t* p) { return getN(p, 8); }

// Overwrites 4 bytes at out[pos] (a length patched in after the fact).
inline void set32(std::vector<uint8_t>& out, size_t pos, uint32_t v) {
  for (int i = 0; i < 4; ++i) {
    int shift = kBigEndian ? 8 * (3 - i) : 8 * i;
    out[pos + i] = static_cast<uint8_t>(v >> shift);
  }
}

}  // namespace wire
}  // namespace tarn

#endif  // PLATFORM_WIRE_H
