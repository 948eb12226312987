// Hex text <-> bytes for the security tests' vectors.
#ifndef TESTS_SECURITY_HEX_UTIL_H
#define TESTS_SECURITY_HEX_UTIL_H

#include <string>
#include <vector>

inline std::string unhexString(const std::string& text) {
  std::string out;
  for (size_t i = 0; i + 1 < text.size(); i += 2)
    out += static_cast<char>(std::stoi(text.substr(i, 2), nullptr, 16));
  return out;
}

inline std::vector<unsigned char> unhex(const std::string& text) {
  const std::string s = unhexString(text);
  return std::vector<unsigned char>(s.begin(), s.end());
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
