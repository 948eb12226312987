// OutStream: exact encodings at every boundary (read back through InStream),
// sequence patching with insertion, the patched error fields, and values
// given as text.
#include "codec/out_stream.h"

#include <gtest/gtest.h>

#include <climits>

#include "codec/diag.h"
#include "codec/in_stream.h"
#include "tests/hex.h"

namespace {

std::string line(const char* text) {
  return *text ? std::string("SNMP OutStream: ") + text + "\n" : "";
}

TEST(OutStream, IntegersTakeFewestOctetsAndReadBack) {
  struct Case { long long v; unsigned type; const char* bytes; };
  const Case cases[] = {
      {0, 2, "02 01 00"}, {-1, 2, "02 01 ff"}, {127, 2, "02 01 7f"},
      {128, 2, "02 02 00 80"}, {-128, 2, "02 01 80"}, {-129, 2, "02 02 ff 7f"},
      {32768, 2, "02 03 00 80 00"}, {-8388609, 2, "02 04 ff 7f ff ff"},
      {INT_MAX, 2, "02 04 7f ff ff ff"}, {INT_MIN, 2, "02 04 80 00 00 00"},
      {128, 0x41, "41 02 00 80"},
      {0x7FFFFFFF, 0x41, "41 04 7f ff ff ff"}, {0x80000000, 0x41, "41 05 00 80 00 00 00"},
      {0xFFFFFFFF, 0x142, "42 05 00 ff ff ff ff"},  // low 8 bits of the type
  };
  for (const Case& c : cases) {
    OutStream out;
    if (c.type == 2) {
      out.add(static_cast<int>(c.v), c.type);
    } else {
      out.add(static_cast<unsigned>(c.v), c.type);
    }
    EXPECT_EQ(hex(out.data), c.bytes) << c.v;
    InStream in(out.data.data(), static_cast<unsigned>(out.data.size()));
    int back = 0;
    EXPECT_TRUE(in.getInt(&back)) << c.v;
    EXPECT_EQ(back, static_cast<int>(c.v));
  }
}

TEST(OutStream, Counter64TakesFewestOctetsAndTopHalfIsNotReadBack) {
  struct Case { unsigned long long v; const char* bytes; };
  const Case cases[] = {
      {0, "46 01 00"},
      {0xFFFFFFFF, "46 05 00 ff ff ff ff"},
      {1ull << 56, "46 08 01 00 00 00 00 00 00 00"},
      {~0ull >> 1, "46 08 7f ff ff ff ff ff ff ff"},
      {1ull << 63, "46 09 00 80 00 00 00 00 00 00 00"},
      {~0ull, "46 09 00 ff ff ff ff ff ff ff ff"},
  };
  for (const Case& c : cases) {
    OutStream out;
    out.add(c.v, 0x46);
    EXPECT_EQ(hex(out.data), c.bytes) << c.v;
    InStream in(out.data.data(), static_cast<unsigned>(out.data.size()));
    unsigned long long back = 0;
    diag::Capture cap;
    EXPECT_EQ(in.get64(&back), c.v >> 63 == 0) << c.v;
    EXPECT_EQ(back, c.v >> 63 ? 0 : c.v);
    EXPECT_EQ(cap.out(), c.v >> 63 ? "SNMP InStream: invalig counter64 size\n" : "") << c.v;
  }
}

TEST(OutStream, LengthsAndSimpleElements) {
  struct Case { unsigned len; const char* bytes; };
  const Case lens[] = {{127, "7f"}, {128, "81 80"}, {255, "81 ff"}, {256, "82 01 00"}, {65536, "82 00 00"}};
  for (const Case& c : lens) {
    OutStream out;
    out.addLen(c.len);
    EXPECT_EQ(hex(out.data), c.bytes) << c.len;
  }
  const unsigned char bits[] = {7, 0x80}, eight[] = {8};
  OutStream out;
  diag::Capture cap;
  out.add(std::string("ab"), 4);
  out.addNull(5);
  out.addBits(bits, 2, 3);
  out.addBits(bits, 0, 3);
  out.addBits(eight, 1, 3);
  EXPECT_EQ(hex(out.data), "04 02 61 62 05 00 03 02 07 80");
  EXPECT_EQ(cap.out(), line("building invalid bitstring") + line("building invalid bitstring"));
}

TEST(OutStream, SequencesArePatchedAndGrowAtEveryBoundary) {
  struct Case { size_t n; const char* head; const char* line; };
  const Case cases[] = {
      {0, "30 00", ""}, {127, "30 7f", ""}, {128, "30 81 80", ""},
      {255, "30 81 ff", ""}, {256, "30 82 01 00", ""},
      {65535, "30 82 ff ff", ""},
      {65536, "30 00", "sequence too long"},
  };
  for (const Case& c : cases) {
    OutStream out;
    diag::Capture cap;
    out.startSeq(0x30);
    out.data.resize(2 + c.n, 0xAB);
    out.endSeq();
    out.endSeq();  // the failed one is closed all the same
    std::vector<unsigned char> head = unhex(c.head);
    ASSERT_EQ(out.data.size(), head.size() + c.n) << c.n;
    EXPECT_EQ(hex({out.data.begin(), out.data.begin() + head.size()}), c.head) << c.n;
    EXPECT_EQ(out.data.back(), c.n ? 0xAB : 0x00) << c.n;
    EXPECT_EQ(cap.out(), line(c.line) + line("no sequence")) << c.n;
  }
}

TEST(OutStream, NestedInsertionsGrowOuterSequencesAndMoveV3Positions) {
  struct Case { size_t inner; unsigned auth, scoped; const char* head; unsigned auth2, scoped2; };
  const Case cases[] = {
      {100, 3, 9, "30 66 a1 64", 3, 9},
      {126, 3, 0, "30 81 80 a1 7e", 4, 0},  // only the outer inserts
      // The inner insertion lands after the auth position: only scoped moves.
      {130, 3, 9, "30 81 85 a1 81 82", 4, 11},
      {300, 0, 9, "30 82 01 30 a1 82 01 2c", 0, 13},
  };
  for (const Case& c : cases) {
    OutStream out;
    out.startSeq(0x30);
    out.startSeq(0xA1);
    out.data.resize(4 + c.inner, 0);
    out.authParamsPos = c.auth;
    out.scopedPduPos = c.scoped;
    out.endSeq();
    out.endSeq();
    std::vector<unsigned char> head = unhex(c.head);
    EXPECT_EQ(out.data.size(), head.size() + c.inner) << c.inner;
    EXPECT_EQ(hex({out.data.begin(), out.data.begin() + head.size()}), c.head) << c.inner;
    EXPECT_EQ(out.authParamsPos, c.auth2) << c.inner;
    EXPECT_EQ(out.scopedPduPos, c.scoped2) << c.inner;
  }
}

TEST(OutStream, ObjectIdentifiersWithinLimits) {
  struct Case { const char* oid; const char* bytes; const char* line; };
  const Case cases[] = {
      {"1.3.6.1.4.1.40117", "06 08 2b 06 01 04 01 82 b9 35", ""},
      {"1.3.127", "06 02 2b 7f", ""},
      {"1.3.128", "06 03 2b 81 00", ""},
      {"1.3.4294967295", "06 06 2b 8f ff ff ff 7f", ""},
      {"2.39", "06 01 77", ""},
      {"2.40", "", "encoding invalid OID"},
      {"3.0", "", "encoding invalid OID"},
      {"1", "", "cannot encode OID shorter that 2"},
  };
  for (const Case& c : cases) {
    OutStream out;
    diag::Capture cap;
    out.addOID(OID(c.oid), 6);
    EXPECT_EQ(hex(out.data), c.bytes) << c.oid;
    EXPECT_EQ(cap.out(), line(c.line)) << c.oid;
  }
  OID big("1.3");
  for (int i = 0; i < 200; ++i) big += 300u;  // two octets each: 401 in all
  OutStream out;
  out.addOID(big, 6);
  ASSERT_EQ(out.data.size(), 4u + 401u);
  EXPECT_EQ(hex({out.data.begin(), out.data.begin() + 6}), "06 82 01 91 2b 82");
}

TEST(OutStream, ErrorFieldsArePatchedInPlace) {
  OutStream out;
  out.startSeq(0xA2);
  out.add(0x1234, 2);
  out.addErrorStatus(0);
  out.addErrorIndex(0);
  out.startSeq(0x30);
  out.addVarBind({OID("1.3.6.1.2.1.1.3.0"), 0x43, "12345"});
  out.endSeq();
  out.addErrorStatus(2);
  out.addErrorIndex(0x101);  // low 8 bits
  out.endSeq();
  EXPECT_EQ(hex(out.data), "a2 1c 02 02 12 34 02 01 02 02 01 01 30 10"
                             " 30 0e 06 08 2b 06 01 02 01 01 03 00 43 02 30 39");
}

TEST(OutStream, ValuesGivenAsText) {
  struct Case { const char* text; unsigned type; const char* bytes; const char* line; };
  const Case cases[] = {
      {"-5", 2, "02 01 fb", ""},
      {"ab", 4, "04 02 61 62", ""},
      {"ignored", 5, "05 00", ""},
      {"1.3.6.1", 6, "06 03 2b 06 01", ""},
      {"10.1.2.3", 0x40, "40 04 0a 01 02 03", ""},
      {"192.168.0.1", 0x40, "40 05 00 c0 a8 00 01", ""},
      {"bogus", 0x40, "40 05 00 ff ff ff ff", ""},
      {"100", 0x41, "41 01 64", ""},
      {"-1", 0x43, "43 05 00 ff ff ff ff", ""},
      {"7", 0x47, "47 01 07", ""},
      {"7", 0x42, "", ""},
  };
  for (const Case& c : cases) {
    OutStream out;
    diag::Capture cap;
    out.addByType(c.text, c.type);
    EXPECT_EQ(hex(out.data), c.bytes) << c.text << " " << c.type;
    EXPECT_EQ(cap.out(), line(c.line)) << c.text << " " << c.type;
  }
  OutStream out;
  out.addVarBind({OID("1.3.6"), 0x42, "7"});
  EXPECT_EQ(hex(out.data), "30 04 06 02 2b 06");
}

}  // namespace
