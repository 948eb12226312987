// Test helpers: bytes to and from hex text. unhex takes pairs of digits in
// either case and skips spaces; hex writes lowercase pairs joined by `sep`.
#ifndef TESTS_HEX_H
#define TESTS_HEX_H

#include <string>
#include <vector>

inline std::vector<unsigned char> unhex(const std::string& text) {
  auto nibble = [](char c) { return c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10; };
  std::vector<unsigned char> out;
  for (size_t i = 0; i + 1 < text.size(); ++i) {
    if (text[i] == ' ') continue;
    out.push_back(static_cast<unsigned char>(nibble(text[i]) << 4 | nibble(text[i + 1])));
    ++i;
  }
  return out;
}

inline std::string unhexString(const std::string& text) {
  const std::vector<unsigned char> b = unhex(text);
  return std::string(b.begin(), b.end());
}

inline std::string hex(const std::vector<unsigned char>& bytes, const char* sep = " ") {
  static const char digits[] = "0123456789abcdef";
  std::string s;
  for (unsigned char b : bytes) {
    if (!s.empty()) s += sep;
    s += digits[b >> 4];
    s += digits[b & 15];
  }
  return s;
}

#endif
