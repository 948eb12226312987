#include "security/engine_id.h"

#include <gtest/gtest.h>

#include "codec/diag.h"
#include "tests/security/hex_util.h"

namespace {

TEST(EngineID, FormatAndDeformat) {
  struct {
    const char* internalHex;
    const char* text;
  } cases[] = {
      {"80009cb504616263", "abc"},
      {"80009cb504", ""},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(hex(formatEngineID(c.text)), c.internalHex);
    EXPECT_EQ(deformatEngineID(unhexString(c.internalHex)), c.text);
  }
  EXPECT_EQ(deformatEngineID(unhexString("8000")), "");
  EXPECT_EQ(deformatEngineID(unhexString("80009cb5047a")), "z");
}

TEST(EngineID, HexdumpSixteenToALine) {
  unsigned char bytes[18];
  for (unsigned i = 0; i < sizeof bytes; ++i) bytes[i] = 0xF0 + i;
  diag::Capture cap;
  hexdump(bytes, sizeof bytes);
  hexdump(bytes, 0);
  EXPECT_EQ(cap.out(),
            "f0 f1 f2 f3 f4 f5 f6 f7 f8 f9 fa fb fc fd fe ff\n"
            "00 01\n");
}

}  // namespace
