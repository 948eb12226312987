// Test helpers: bytes to and from spaced lowercase hex ("02 01 ff").
#ifndef TESTS_DATA_HEX_H
#define TESTS_DATA_HEX_H

#include <cstdio>
#include <string>
#include <vector>

inline std::string hex(const std::vector<unsigned char>& bytes) {
  std::string s;
  char buf[4];
  for (unsigned char b : bytes) {
    std::snprintf(buf, sizeof buf, "%02x", b);
    if (!s.empty()) s += ' ';
    s += buf;
  }
  return s;
}

inline std::vector<unsigned char> unhex(const std::string& text) {
  std::vector<unsigned char> bytes;
  unsigned value = 0;
  int digits = 0;
  for (char c : text) {
    if (c == ' ') continue;
    value = value * 16 + (c <= '9' ? c - '0' : c - 'a' + 10);
    if (++digits == 2) {
      bytes.push_back(static_cast<unsigned char>(value));
      value = 0;
      digits = 0;
    }
  }
  return bytes;
}

#endif
