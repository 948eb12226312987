#include "security/engine_id.h"

#include <gtest/gtest.h>

#include "codec/diag.h"
#include "tests/hex.h"

namespace {

TEST(EngineID, FormatAndDeformat) {
  EXPECT_EQ(formatEngineID("abc"), unhexString("80009cb504616263"));
  EXPECT_EQ(deformatEngineID(unhexString("80009cb504616263")), "abc");
  EXPECT_EQ(deformatEngineID(unhexString("80009cb504")), "");  // five bytes
  EXPECT_EQ(deformatEngineID(unhexString("8000")), "");
}

TEST(EngineID, HexdumpSixteenToALine) {
  unsigned char bytes[18];
  for (unsigned i = 0; i < sizeof bytes; ++i) bytes[i] = (0xF0 + i) & 0xFF;
  diag::Capture cap;
  hexdump(bytes, sizeof bytes);
  hexdump(bytes, 0);
  EXPECT_EQ(cap.out(),
            "f0 f1 f2 f3 f4 f5 f6 f7 f8 f9 fa fb fc fd fe ff\n00 01\n");
}

}  // namespace
