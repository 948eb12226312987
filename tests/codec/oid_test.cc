// OID: parsing quirks, printing, ordering, ranges, and the pop/as helpers.
#include "codec/oid.h"

#include <gtest/gtest.h>

namespace {

TEST(Oid, ParsesTextAndPrintsBothForms) {
  struct Case { const char* text; const char* str; const char* dotted; };
  const Case cases[] = {
      {"", "", ""},
      {".", ".0", "0"},
      {".1.3.6", ".1.3.6", "1.3.6"},
      {"1.3.", ".1.3", "1.3"},
      {"1..3", ".1.3", "1.3"},
      {"1...3", ".1.0.3", "1.0.3"},
      {"1.a.3", ".1.0.3", "1.0.3"},
      {"4294967296", ".0", "0"},
      {"4294967297.1", ".1.1", "1.1"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(OID(c.text).str(), c.str) << c.text;
    EXPECT_EQ(OID(c.text).dotted(), c.dotted) << c.text;
  }
  EXPECT_EQ(kZeroOid, OID({0}));
}

TEST(Oid, OrdersByUnsignedArcWithPrefixFirst) {
  struct Case { const char* a; const char* b; int cmp; };
  const Case cases[] = {
      {"1.3", "1.3.0", -1},
      {"1.3.0", "1.4", -1},
      {"1.3.6", ".1.3.6", 0},
      {"1.2147483648", "1.2147483647", 1},
  };
  for (const Case& c : cases) {
    OID a(c.a), b(c.b);
    const unsigned *x = a.arcs().data(), *y = b.arcs().data();
    EXPECT_EQ(compare(x, x + a.size(), y, y + b.size()), c.cmp) << c.a << " " << c.b;
    EXPECT_EQ(a < b, c.cmp < 0) << c.a << " " << c.b;
    EXPECT_EQ(b < a, c.cmp > 0) << c.a << " " << c.b;
    EXPECT_EQ(a == b, c.cmp == 0) << c.a << " " << c.b;
  }
}

TEST(Oid, ComparesAndCutsClampedRanges) {
  const OID name("1.3.6.1.2.1");
  struct Case { size_t pos, n; const char* other; int cmp; const char* sub; };
  const Case cases[] = {
      {2, 2, "6.1", 0, "6.1"},
      {2, 2, "6.1.2", -1, "6.1"},
      {4, OID::npos, "2.0", 1, "2.1"},
      {9, 1, "1", -1, ""},  // past the end: empty, never a fault
  };
  for (const Case& c : cases) {
    EXPECT_EQ(name.compare(c.pos, c.n, OID(c.other)), c.cmp) << c.pos;
    EXPECT_EQ(name.substr(c.pos, c.n), OID(c.sub)) << c.pos;
  }
  EXPECT_EQ(OID("1.3") + 6u + OID("1.2"), OID("1.3.6.1.2"));
}

enum Pop { UNSIGNED, IP, STRING, STRING3, OID_PREFIXED, OID4 };

TEST(Oid, PopsIndexComponentsFromTheFront) {
  struct Case { Pop op; const char* in; bool ok; const char* out; const char* rest; };
  const Case cases[] = {
      {OID4, "1.2.3.4", true, "1.2.3.4", ""},
      {UNSIGNED, "7.8", true, "7", "8"},
      {UNSIGNED, "", false, "9", ""},
      {IP, "10.0.0.1.5", true, "10.0.0.1", "5"},
      {IP, "10.0.0.256", false, "9", "10.0.0.256"},
      {STRING, "3.65.66.67.9", true, "3.65.66.67", "9"},
      {STRING, "3.65.66", false, "9", "3.65.66"},
      {STRING, "2.65.300", false, "9", "2.65.300"},
      {STRING, "4294967295.1", false, "9", "4294967295.1"},
      {STRING3, "65.66.67.68", true, "65.66.67", "68"},
      {STRING3, "65.256.67", false, "9", "65.256.67"},
      {OID_PREFIXED, "2.1000.3.4", true, "2.1000.3", "4"},
      {OID_PREFIXED, "2.1", false, "9", "2.1"},
  };
  for (const Case& c : cases) {
    OID in(c.in), out("9");
    bool ok = c.op == UNSIGNED ? in.popUnsigned(&out)
              : c.op == IP     ? in.popIP(&out)
              : c.op == STRING ? in.popString(&out)
              : c.op == STRING3 ? in.popString(3, &out)
              : c.op == OID4   ? in.popOID(4, &out)
                               : in.popOID(&out);
    EXPECT_EQ(ok, c.ok) << c.op << " " << c.in;
    EXPECT_EQ(out, OID(c.out)) << c.op << " " << c.in;
    EXPECT_EQ(in, OID(c.rest)) << c.op << " " << c.in;
  }
}

TEST(Oid, TurnsPoppedArcsIntoValues) {
  unsigned u = 7;
  EXPECT_FALSE(OID("1.2").asUnsigned(&u));
  EXPECT_FALSE(OID("10.0.0.256").asIP(&u));
  EXPECT_TRUE(OID("1.2.3.4").asIP(&u));
  EXPECT_EQ(u, 0x04030201u);  // first arc in the low byte

  struct Case { const char* in; int len; bool ok; std::string value; };  // len < 0: prefixed
  const Case strings[] = {
      {"3.65.66.67.9", -1, true, "ABC"},  // arcs after the string ignored
      {"2.0.255", -1, true, std::string("\0\xFF", 2)},
      {"0", -1, true, ""},
      {"3.65.66", -1, false, "x"},
      {"2.65.256", -1, false, "x"},
      {"65.66.67", 3, true, "ABC"},
      {"65.66.67.68", 3, false, "x"},
      {"65.666.67", 3, false, "x"},
  };
  for (const Case& c : strings) {
    std::string s = "x";
    EXPECT_EQ(c.len < 0 ? OID(c.in).asString(&s) : OID(c.in).asString(c.len, &s), c.ok) << c.in;
    EXPECT_EQ(s, c.value) << c.in;
  }
  struct OidCase { const char* in; int n; bool ok; const char* out; };  // n < 0: prefixed
  const OidCase oids[] = {
      {"2.7.8.9", -1, true, "7.8.9"},  // all arcs after the first
      {"5.1.2", -1, true, "9"},        // too short: true, output untouched
      {"2.7", -1, true, "9"},
      {"1.2.3", 3, true, "1.2.3"},
      {"1.2.3", 2, false, "9"},
  };
  for (const OidCase& c : oids) {
    OID out("9");
    EXPECT_EQ(c.n < 0 ? OID(c.in).asOID(&out) : OID(c.in).asOID(c.n, &out), c.ok) << c.in;
    EXPECT_EQ(out, OID(c.out)) << c.in;
  }
}

}  // namespace
