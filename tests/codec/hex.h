// Hex helpers for the codec tests: "30 81 C8" <-> bytes.
#ifndef TESTS_CODEC_HEX_H
#define TESTS_CODEC_HEX_H

#include <string>
#include <vector>

// Pairs of hex digits; spaces are ignored.
inline std::vector<unsigned char> hex(const std::string& text) {
  auto nibble = [](char c) { return c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10; };
  std::vector<unsigned char> out;
  for (size_t i = 0; i + 1 < text.size(); ++i) {
    if (text[i] == ' ') continue;
    out.push_back(static_cast<unsigned char>(nibble(text[i]) << 4 | nibble(text[i + 1])));
    ++i;
  }
  return out;
}

// Upper-case pairs separated by single spaces.
inline std::string toHex(const std::vector<unsigned char>& bytes) {
  static const char digits[] = "0123456789ABCDEF";
  std::string s;
  for (unsigned char b : bytes) {
    if (!s.empty()) s += ' ';
    s += digits[b >> 4];
    s += digits[b & 15];
  }
  return s;
}

#endif
