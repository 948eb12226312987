// OutStream: exact encodings at every boundary, sequence patching with
// insertion, the patched error fields, values from text, and the round trip
// through InStream.
#include "codec/out_stream.h"

#include <gtest/gtest.h>

#include <climits>
#include <functional>

#include "codec/diag.h"
#include "codec/in_stream.h"
#include "tests/codec/hex.h"

namespace {

struct Case {
  const char* what;
  std::function<void(OutStream&)> write;
  const char* bytes;
  const char* line;  // diagnostic after "SNMP OutStream: ", or ""
};

void check(const Case& c) {
  OutStream out;
  diag::Capture cap;
  c.write(out);
  EXPECT_EQ(toHex(out.data), c.bytes) << c.what;
  std::string line = *c.line ? std::string("SNMP OutStream: ") + c.line + "\n" : "";
  EXPECT_EQ(cap.out(), line) << c.what;
}

TEST(OutStream, EncodesScalarsWithFewestOctets) {
  using O = OutStream&;
  const Case cases[] = {
      {"int 0", [](O o) { o.add(0, 2); }, "02 01 00", ""},
      {"int -1", [](O o) { o.add(-1, 2); }, "02 01 FF", ""},
      {"int 127", [](O o) { o.add(127, 2); }, "02 01 7F", ""},
      {"int 128", [](O o) { o.add(128, 2); }, "02 02 00 80", ""},
      {"int -128", [](O o) { o.add(-128, 2); }, "02 01 80", ""},
      {"int -129", [](O o) { o.add(-129, 2); }, "02 02 FF 7F", ""},
      {"int 32768", [](O o) { o.add(32768, 2); }, "02 03 00 80 00", ""},
      {"int -8388609", [](O o) { o.add(-8388609, 2); }, "02 04 FF 7F FF FF", ""},
      {"int max", [](O o) { o.add(INT_MAX, 2); }, "02 04 7F FF FF FF", ""},
      {"int min", [](O o) { o.add(INT_MIN, 2); }, "02 04 80 00 00 00", ""},
      {"u 5", [](O o) { o.add(5u, 0x43); }, "43 01 05", ""},
      {"u 0", [](O o) { o.add(0u, 0x41); }, "41 01 00", ""},
      {"u 128", [](O o) { o.add(128u, 0x41); }, "41 02 00 80", ""},
      {"u 2^31-1", [](O o) { o.add(0x7FFFFFFFu, 0x41); }, "41 04 7F FF FF FF", ""},
      {"u 2^31", [](O o) { o.add(0x80000000u, 0x41); }, "41 05 00 80 00 00 00", ""},
      {"u max", [](O o) { o.add(0xFFFFFFFFu, 0x42); }, "42 05 00 FF FF FF FF", ""},
      {"type low 8 bits", [](O o) { o.add(1u, 0x141); }, "41 01 01", ""},
      {"u64 0", [](O o) { o.add(0ull, 0x46); }, "46 01 00", ""},
      {"u64 2^32-1", [](O o) { o.add(0xFFFFFFFFull, 0x46); }, "46 05 00 FF FF FF FF", ""},
      {"u64 2^56", [](O o) { o.add(1ull << 56, 0x46); }, "46 08 01 00 00 00 00 00 00 00", ""},
      {"u64 2^63-1", [](O o) { o.add(~0ull >> 1, 0x46); }, "46 08 7F FF FF FF FF FF FF FF", ""},
      {"u64 2^63", [](O o) { o.add(1ull << 63, 0x46); }, "46 09 00 80 00 00 00 00 00 00 00", ""},
      {"u64 max", [](O o) { o.add(~0ull, 0x46); }, "46 09 00 FF FF FF FF FF FF FF FF", ""},
      {"len 127", [](O o) { o.addLen(127); }, "7F", ""},
      {"len 128", [](O o) { o.addLen(128); }, "81 80", ""},
      {"len 255", [](O o) { o.addLen(255); }, "81 FF", ""},
      {"len 256", [](O o) { o.addLen(256); }, "82 01 00", ""},
      {"len 65535", [](O o) { o.addLen(65535); }, "82 FF FF", ""},
      {"len 65536", [](O o) { o.addLen(65536); }, "82 00 00", ""},  // truncated
      {"string", [](O o) { o.add(std::string("ab"), 4); }, "04 02 61 62", ""},
      {"null", [](O o) { o.addNull(5); }, "05 00", ""},
      {"bits", [](O o) { const unsigned char b[] = {7, 0x80}; o.addBits(b, 2, 3); }, "03 02 07 80", ""},
      {"bits empty", [](O o) { const unsigned char b[] = {0}; o.addBits(b, 0, 3); }, "", "building invalid bitstring"},
      {"bits unused 8", [](O o) { const unsigned char b[] = {8}; o.addBits(b, 1, 3); }, "", "building invalid bitstring"},
  };
  for (const Case& c : cases) check(c);
}

TEST(OutStream, EncodesObjectIdentifiersWithinLimits) {
  using O = OutStream&;
  const Case cases[] = {
      {"vendor", [](O o) { o.addOID(OID("1.3.6.1.4.1.40117"), 6); }, "06 08 2B 06 01 04 01 82 B9 35", ""},
      {"0.0", [](O o) { o.addOID(OID("0.0"), 6); }, "06 01 00", ""},
      {"arc 127", [](O o) { o.addOID(OID("1.3.127"), 6); }, "06 02 2B 7F", ""},
      {"arc 128", [](O o) { o.addOID(OID("1.3.128"), 6); }, "06 03 2B 81 00", ""},
      {"arc 16384", [](O o) { o.addOID(OID("1.3.16384"), 6); }, "06 04 2B 81 80 00", ""},
      {"arc 2^32-1", [](O o) { o.addOID(OID("1.3.4294967295"), 6); }, "06 06 2B 8F FF FF FF 7F", ""},
      {"2.39", [](O o) { o.addOID(OID("2.39"), 6); }, "06 01 77", ""},
      {"2.40", [](O o) { o.addOID(OID("2.40"), 6); }, "", "encoding invalid OID"},
      {"3.0", [](O o) { o.addOID(OID("3.0"), 6); }, "", "encoding invalid OID"},
      {"one arc", [](O o) { o.addOID(OID("1"), 6); }, "", "cannot encode OID shorter that 2"},
      {"empty", [](O o) { o.addOID(OID(""), 6); }, "", "cannot encode OID shorter that 2"},
  };
  for (const Case& c : cases) check(c);

  OID longest("1.3");
  for (int i = 0; i < 200; ++i) longest += 300u;  // 2 octets each: 401 in all
  OutStream out;
  out.addOID(longest, 6);
  EXPECT_EQ(toHex({out.data.begin(), out.data.begin() + 6}), "06 82 01 91 2B 82");
  ASSERT_EQ(out.data.size(), 4u + 401u);
}

// Opens a sequence, writes `n` content octets, closes it.
std::vector<unsigned char> sequenceOf(size_t n, std::string* line) {
  OutStream out;
  diag::Capture cap;
  out.startSeq(0x30);
  out.data.resize(out.data.size() + n, 0xAB);
  out.endSeq();
  *line = cap.out();
  return out.data;
}

TEST(OutStream, PatchesSequenceLengthsAtEveryBoundary) {
  struct Case { size_t n; const char* head; const char* line; };
  const Case cases[] = {
      {0, "30 00", ""},
      {127, "30 7F", ""},
      {128, "30 81 80", ""},
      {200, "30 81 C8", ""},
      {255, "30 81 FF", ""},
      {256, "30 82 01 00", ""},
      {300, "30 82 01 2C", ""},
      {65535, "30 82 FF FF", ""},
      {65536, "30 00", "SNMP OutStream: sequence too long\n"},
  };
  for (const Case& c : cases) {
    std::string line;
    std::vector<unsigned char> d = sequenceOf(c.n, &line);
    std::vector<unsigned char> head = hex(c.head);
    ASSERT_EQ(d.size(), head.size() + c.n) << c.n;
    EXPECT_EQ(toHex({d.begin(), d.begin() + head.size()}), c.head) << c.n;
    EXPECT_EQ(d.back(), c.n ? 0xAB : 0x00) << c.n;
    EXPECT_EQ(line, c.line) << c.n;
  }
  OutStream out;
  diag::Capture cap;
  out.endSeq();
  EXPECT_TRUE(out.data.empty());
  EXPECT_EQ(cap.out(), "SNMP OutStream: no sequence\n");
}

TEST(OutStream, NestedInsertionsGrowOuterSequencesAndMoveV3Positions) {
  struct Case { size_t inner; unsigned auth, scoped; const char* head; unsigned auth2, scoped2; };
  const Case cases[] = {
      {100, 3, 0, "30 66 A1 64", 3, 0},
      {126, 3, 0, "30 81 80 A1 7E", 4, 0},  // only the outer inserts
      {130, 3, 9, "30 81 85 A1 81 82", 5, 11},
      {300, 0, 9, "30 82 01 30 A1 82 01 2C", 0, 13},
  };
  for (const Case& c : cases) {
    OutStream out;
    out.startSeq(0x30);
    out.startSeq(0xA1);
    out.data.resize(out.data.size() + c.inner, 0);
    out.authParamsPos = c.auth;
    out.scopedPduPos = c.scoped;
    out.endSeq();
    out.endSeq();
    std::vector<unsigned char> head = hex(c.head);
    EXPECT_EQ(toHex({out.data.begin(), out.data.begin() + head.size()}), c.head) << c.inner;
    EXPECT_EQ(out.data.size(), head.size() + c.inner) << c.inner;
    EXPECT_EQ(out.authParamsPos, c.auth2) << c.inner;
    EXPECT_EQ(out.scopedPduPos, c.scoped2) << c.inner;
  }
}

TEST(OutStream, PatchesErrorFieldsInPlace) {
  OutStream out;
  out.startSeq(0xA2);
  out.add(0x1234, 2);
  out.addErrorStatus(0);
  out.addErrorIndex(0);
  out.startSeq(0x30);
  out.addVarBind({OID("1.3.6.1.2.1.1.3.0"), 0x43, "12345"});
  out.endSeq();
  out.addErrorStatus(2);
  out.addErrorIndex(0x101);  // only the low 8 bits
  out.endSeq();
  EXPECT_EQ(toHex(out.data),
            "A2 1C 02 02 12 34 02 01 02 02 01 01 30 10"
            " 30 0E 06 08 2B 06 01 02 01 01 03 00 43 02 30 39");
}

TEST(OutStream, WritesValuesGivenAsText) {
  using O = OutStream&;
  const Case cases[] = {
      {"int", [](O o) { o.addByType("-5", 2); }, "02 01 FB", ""},
      {"int junk", [](O o) { o.addByType("12ab", 2); }, "02 01 0C", ""},
      {"string", [](O o) { o.addByType("ab", 4); }, "04 02 61 62", ""},
      {"null", [](O o) { o.addByType("ignored", 5); }, "05 00", ""},
      {"oid", [](O o) { o.addByType("1.3.6.1", 6); }, "06 03 2B 06 01", ""},
      {"bad oid", [](O o) { o.addByType("1", 6); }, "", "cannot encode OID shorter that 2"},
      {"ip", [](O o) { o.addByType("10.1.2.3", 0x40); }, "40 04 0A 01 02 03", ""},
      {"ip top bit", [](O o) { o.addByType("192.168.0.1", 0x40); }, "40 05 00 C0 A8 00 01", ""},
      {"ip small", [](O o) { o.addByType("0.0.0.1", 0x40); }, "40 01 01", ""},
      {"ip invalid", [](O o) { o.addByType("bogus", 0x40); }, "40 05 00 FF FF FF FF", ""},
      {"counter", [](O o) { o.addByType("100", 0x41); }, "41 01 64", ""},
      {"ticks -1", [](O o) { o.addByType("-1", 0x43); }, "43 05 00 FF FF FF FF", ""},
      {"0x47", [](O o) { o.addByType("7", 0x47); }, "47 01 07", ""},
      {"gauge", [](O o) { o.addByType("7", 0x42); }, "", ""},
      {"counter64", [](O o) { o.addByType("7", 0x46); }, "", ""},
      {"sequence", [](O o) { o.addByType("7", 0x30); }, "", ""},
      {"gauge binding", [](O o) { o.addVarBind({OID("1.3.6"), 0x42, "7"}); }, "30 04 06 02 2B 06", ""},
  };
  for (const Case& c : cases) check(c);
}

TEST(OutStream, IntegersRoundTripThroughTheReader) {
  const int ints[] = {0, 1, -1, 127, 128, -128, -129, 32767, 32768, -32769,
                      8388607, 8388608, INT_MAX, INT_MIN};
  const unsigned unsigneds[] = {0u, 255u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu};
  const unsigned long long longs[] = {0, 0xFFFFFFFFull, 1ull << 32, ~0ull >> 1};
  OutStream out;
  for (int v : ints) out.add(v, 2);
  for (unsigned v : unsigneds) out.add(v, 0x41);
  for (unsigned long long v : longs) out.add(v, 0x46);
  out.add(1ull << 63, 0x46);
  InStream in(out.data.data(), static_cast<unsigned>(out.data.size()));
  int i = 0;
  unsigned long long l = 0;
  for (int v : ints) EXPECT_TRUE(in.getInt(&i) && i == v) << v;
  for (unsigned v : unsigneds) EXPECT_TRUE(in.getInt(&i) && static_cast<unsigned>(i) == v) << v;
  for (unsigned long long v : longs) EXPECT_TRUE(in.get64(&l) && l == v) << v;
  diag::Capture cap;
  EXPECT_FALSE(in.get64(&l));  // the writer's 9 octets for 2^63 are refused
  EXPECT_EQ(cap.out(), "SNMP InStream: invalig counter64 size\n");
}

}  // namespace
