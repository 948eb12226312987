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

// The shifts are spelt out rather than looped over, so that the compiler
// sees the plain load or store they amount to (a loop stays a loop at -O2,
// and the bus decodes and encodes millions of these).
inline void put32(std::vector<uint8_t>& out, uint32_t v) {
  if (kBigEndian) v = __builtin_bswap32(v);
  out.push_back(static_cast<uint8_t>(v));
  out.push_back(static_cast<uint8_t>(v >> 8));
  out.push_back(static_cast<uint8_t>(v >> 16));
  out.push_back(static_cast<uint8_t>(v >> 24));
}
inline void put64(std::vector<uint8_t>& out, uint64_t v) {
  if (kBigEndian) {
    put32(out, static_cast<uint32_t>(v >> 32));
    put32(out, static_cast<uint32_t>(v));
  } else {
    put32(out, static_cast<uint32_t>(v));
    put32(out, static_cast<uint32_t>(v >> 32));
  }
}

inline uint32_t get32(const uint8_t* p) {
  const uint32_t v = static_cast<uint32_t>(p[0]) |
                     static_cast<uint32_t>(p[1]) << 8 |
                     static_cast<uint32_t>(p[2]) << 16 |
                     static_cast<uint32_t>(p[3]) << 24;
  return kBigEndian ? __builtin_bswap32(v) : v;
}
inline uint64_t get64(const uint8_t* p) {
  const uint64_t a = get32(p), b = get32(p + 4);
  return kBigEndian ? a << 32 | b : b << 32 | a;
}

// Write at p, which has room for the 4 or 8 bytes.
inline void store32(uint8_t* p, uint32_t v) {
  if (kBigEndian) v = __builtin_bswap32(v);
  p[0] = static_cast<uint8_t>(v);
  p[1] = static_cast<uint8_t>(v >> 8);
  p[2] = static_cast<uint8_t>(v >> 16);
  p[3] = static_cast<uint8_t>(v >> 24);
}
inline void store64(uint8_t* p, uint64_t v) {
  if (kBigEndian) {
    store32(p, static_cast<uint32_t>(v >> 32));
    store32(p + 4, static_cast<uint32_t>(v));
  } else {
    store32(p, static_cast<uint32_t>(v));
    store32(p + 4, static_cast<uint32_t>(v >> 32));
  }
}

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
