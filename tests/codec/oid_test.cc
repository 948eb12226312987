// OID: parsing quirks, printing, ordering, and the pop/as index helpers.
#include "codec/oid.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

std::string streamed(const OID& oid) {
  std::ostringstream os;
  os << oid;
  return os.str();
}

TEST(Oid, ParsesTextAndPrintsBothForms) {
  struct Case { const char* text; const char* str; const char* streamed; };
  const Case cases[] = {
      {"", "", ""},
      {".", ".0", "0"},
      {"1.3.6", ".1.3.6", "1.3.6"},
      {".1.3.6", ".1.3.6", "1.3.6"},
      {"1.3.", ".1.3", "1.3"},
      {"1..3", ".1.3", "1.3"},
      {"1...3", ".1.0.3", "1.0.3"},
      {"1.a.3", ".1.0.3", "1.0.3"},
      {"1.3a.4", ".1.3.4", "1.3.4"},
      {"4294967295", ".4294967295", "4294967295"},
      {"4294967296", ".0", "0"},
      {"4294967297.1", ".1.1", "1.1"},
      {"1.3.6.1.4.1.40117", ".1.3.6.1.4.1.40117", "1.3.6.1.4.1.40117"},
  };
  for (const Case& c : cases) {
    OID oid(c.text);
    EXPECT_EQ(oid.str(), c.str) << c.text;
    EXPECT_EQ(streamed(oid), c.streamed) << c.text;
  }
  EXPECT_EQ(ZERO_OID, OID({0}));
}

TEST(Oid, OrdersByUnsignedArcWithPrefixFirst) {
  struct Case { const char* a; const char* b; int cmp; };
  const Case cases[] = {
      {"1.3", "1.3.0", -1},
      {"1.3.0", "1.4", -1},
      {"1.3.6", ".1.3.6", 0},
      {"", "0", -1},
      {"1.2147483648", "1.2147483647", 1},  // unsigned, not signed
      {"1.4294967295", "2", -1},
  };
  for (const Case& c : cases) {
    OID a(c.a), b(c.b);
    EXPECT_EQ(a < b, c.cmp < 0) << c.a << " < " << c.b;
    EXPECT_EQ(b < a, c.cmp > 0) << c.b << " < " << c.a;
    EXPECT_EQ(a == b, c.cmp == 0) << c.a << " == " << c.b;
    EXPECT_EQ(a != b, c.cmp != 0) << c.a << " != " << c.b;
    const auto& x = a.arcs();
    const auto& y = b.arcs();
    EXPECT_EQ(compare(x.data(), x.data() + x.size(), y.data(), y.data() + y.size()),
              c.cmp) << c.a << " vs " << c.b;
  }
}

TEST(Oid, ConcatenatesComparesAndCutsRanges) {
  OID base("1.3.6");
  EXPECT_EQ(base + 1u, OID("1.3.6.1"));
  EXPECT_EQ(base + OID("4.1"), OID("1.3.6.4.1"));
  OID grown = base;
  grown += OID("");
  grown += 7u;
  EXPECT_EQ(grown, OID("1.3.6.7"));

  OID name("1.3.6.1.2.1");
  struct Case { size_t pos, n; const char* other; int cmp; const char* sub; };
  const Case cases[] = {
      {0, 3, "1.3.6", 0, "1.3.6"},
      {2, 2, "6.1", 0, "6.1"},
      {2, 2, "6.1.2", -1, "6.1"},
      {4, OID::npos, "2.1", 0, "2.1"},
      {4, 100, "2.0", 1, "2.1"},
      {6, 1, "", 0, ""},
      {9, 1, "1", -1, ""},  // past the end: an empty range, never a fault
  };
  for (const Case& c : cases) {
    EXPECT_EQ(name.compare(c.pos, c.n, OID(c.other)), c.cmp) << c.pos << "," << c.n;
    EXPECT_EQ(name.substr(c.pos, c.n), OID(c.sub)) << c.pos << "," << c.n;
  }
}

// One pop call on `in`: whether it succeeded, what was popped, what remains.
enum Pop { UNSIGNED, IP, STRING, STRING3, OID_PREFIXED, OID4 };

TEST(Oid, PopsIndexComponentsFromTheFront) {
  struct Case { Pop op; const char* in; bool ok; const char* out; const char* rest; };
  const Case cases[] = {
      {OID4, "1.2.3.4", true, "1.2.3.4", ""},
      {OID4, "1.2.3", false, "9", "1.2.3"},
      {UNSIGNED, "7.8", true, "7", "8"},
      {UNSIGNED, "", false, "9", ""},
      {IP, "10.0.0.1.5", true, "10.0.0.1", "5"},
      {IP, "10.0.0.256", false, "9", "10.0.0.256"},
      {IP, "10.0.0", false, "9", "10.0.0"},
      {STRING, "3.65.66.67.9", true, "3.65.66.67", "9"},
      {STRING, "0.5", true, "0", "5"},
      {STRING, "3.65.66", false, "9", "3.65.66"},
      {STRING, "2.65.300", false, "9", "2.65.300"},
      {STRING, "", false, "9", ""},
      {STRING, "4294967295.1", false, "9", "4294967295.1"},
      {STRING3, "65.66.67.68", true, "65.66.67", "68"},
      {STRING3, "65.256.67", false, "9", "65.256.67"},
      {STRING3, "65.66", false, "9", "65.66"},
      {OID_PREFIXED, "2.1.3.4", true, "2.1.3", "4"},
      {OID_PREFIXED, "2.1000.3", true, "2.1000.3", ""},  // arcs not limited
      {OID_PREFIXED, "2.1", false, "9", "2.1"},
      {OID_PREFIXED, "", false, "9", ""},
  };
  for (const Case& c : cases) {
    OID in(c.in), out("9");
    bool ok = false;
    switch (c.op) {
      case UNSIGNED: ok = in.popUnsigned(&out); break;
      case IP: ok = in.popIP(&out); break;
      case STRING: ok = in.popString(&out); break;
      case STRING3: ok = in.popString(3, &out); break;
      case OID_PREFIXED: ok = in.popOID(&out); break;
      case OID4: ok = in.popOID(4, &out); break;
    }
    EXPECT_EQ(ok, c.ok) << c.op << " " << c.in;
    EXPECT_EQ(out, OID(c.out)) << c.op << " " << c.in;
    EXPECT_EQ(in, OID(c.rest)) << c.op << " " << c.in;
  }
  OID four("1.2.3.4"), out;
  EXPECT_FALSE(four.popOID(5, &out));
  EXPECT_TRUE(four.popOID(4, &out));
  EXPECT_TRUE(four.empty());
}

TEST(Oid, TurnsPoppedArcsIntoValues) {
  unsigned u = 7;
  EXPECT_TRUE(OID("42").asUnsigned(&u));
  EXPECT_EQ(u, 42u);
  EXPECT_FALSE(OID("1.2").asUnsigned(&u));
  EXPECT_FALSE(OID("").asUnsigned(&u));
  EXPECT_EQ(u, 42u);

  EXPECT_TRUE(OID("1.2.3.4").asIP(&u));
  EXPECT_EQ(u, 0x04030201u);  // first arc in the low byte
  EXPECT_TRUE(OID("255.0.0.255").asIP(&u));
  EXPECT_EQ(u, 0xFF0000FFu);
  EXPECT_FALSE(OID("10.0.0.256").asIP(&u));
  EXPECT_FALSE(OID("1.2.3.4.5").asIP(&u));
  EXPECT_EQ(u, 0xFF0000FFu);

  struct Case { const char* in; bool ok; std::string value; };
  const Case prefixed[] = {
      {"3.65.66.67", true, "ABC"},
      {"3.65.66.67.9", true, "ABC"},  // trailing arcs ignored
      {"2.0.255", true, std::string("\0\xFF", 2)},
      {"0", true, ""},
      {"3.65.66", false, "x"},
      {"2.65.256", false, "x"},
      {"", false, "x"},
  };
  for (const Case& c : prefixed) {
    std::string s = "x";
    EXPECT_EQ(OID(c.in).asString(&s), c.ok) << c.in;
    EXPECT_EQ(s, c.value) << c.in;
  }
  const Case fixed[] = {
      {"65.66.67", true, "ABC"},
      {"65.66", false, "x"},
      {"65.66.67.68", false, "x"},
      {"65.666.67", false, "x"},
  };
  for (const Case& c : fixed) {
    std::string s = "x";
    EXPECT_EQ(OID(c.in).asString(3, &s), c.ok) << c.in;
    EXPECT_EQ(s, c.value) << c.in;
  }

  struct OidCase { const char* in; int n; bool ok; const char* out; };  // n < 0: length-prefixed
  const OidCase oids[] = {
      {"2.7.8.9", -1, true, "7.8.9"},  // all arcs after the first
      {"5.1.2", -1, true, "9"},        // too short: output untouched
      {"2.7", -1, true, "9"},
      {"", -1, true, "9"},
      {"0", -1, true, ""},
      {"1.2.3", 3, true, "1.2.3"},
      {"1.2.3", 2, false, "9"},
  };
  for (const OidCase& c : oids) {
    OID out("9");
    bool ok = c.n < 0 ? OID(c.in).asOID(&out) : OID(c.in).asOID(c.n, &out);
    EXPECT_EQ(ok, c.ok) << c.in;
    EXPECT_EQ(out, OID(c.out)) << c.in;
  }
}

}  // namespace
