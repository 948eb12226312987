// Hex helpers for the codec tests: "30 81 C8" <-> bytes.
#ifndef TESTS_CODEC_HEX_H
#define TESTS_CODEC_HEX_H

#include <cstdio>
#include <string>
#include <vector>

// Parses pairs of hex digits; spaces are ignored.
inline std::vector<unsigned char> hex(const std::string& text) {
  std::vector<unsigned char> out;
  int high = -1;
  for (char c : text) {
    int v;
    if (c >= '0' && c <= '9') v = c - '0';
    else if (c >= 'A' && c <= 'F') v = c - 'A' + 10;
    else if (c >= 'a' && c <= 'f') v = c - 'a' + 10;
    else continue;
    if (high < 0) {
      high = v;
    } else {
      out.push_back(static_cast<unsigned char>(high << 4 | v));
      high = -1;
    }
  }
  return out;
}

// Upper-case hex pairs separated by single spaces.
inline std::string toHex(const std::vector<unsigned char>& bytes) {
  std::string s;
  char buf[4];
  for (unsigned char b : bytes) {
    std::snprintf(buf, sizeof(buf), s.empty() ? "%02X" : " %02X", b);
    s += buf;
  }
  return s;
}

#endif
