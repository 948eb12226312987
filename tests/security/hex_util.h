// Hex text <-> bytes for the security tests' vectors. Spaces are ignored.
#ifndef TESTS_SECURITY_HEX_UTIL_H
#define TESTS_SECURITY_HEX_UTIL_H

#include <string>
#include <vector>

inline std::vector<unsigned char> unhex(const std::string& text) {
  std::vector<unsigned char> out;
  int hi = -1;
  for (char c : text) {
    int v = c >= '0' && c <= '9'   ? c - '0'
            : c >= 'a' && c <= 'f' ? c - 'a' + 10
            : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                   : -1;
    if (v < 0) continue;
    if (hi < 0) {
      hi = v;
    } else {
      out.push_back(static_cast<unsigned char>(hi << 4 | v));
      hi = -1;
    }
  }
  return out;
}

inline std::string unhexString(const std::string& text) {
  std::vector<unsigned char> b = unhex(text);
  return std::string(b.begin(), b.end());
}

template <typename Bytes>
std::string hex(const Bytes& bytes) {
  static const char kHex[] = "0123456789abcdef";
  std::string out;
  for (unsigned char c : bytes) {
    out += kHex[c >> 4];
    out += kHex[c & 15];
  }
  return out;
}

#endif
