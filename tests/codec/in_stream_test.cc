// InStream: every getter's results and failures with their exact lines,
// sequence handling, and every truncation of a real request (arbitrary
// bytes are the in_stream fuzz target's).
#include "codec/in_stream.h"

#include <gtest/gtest.h>

#include "codec/diag.h"
#include "tests/hex.h"

namespace {

enum Getter { LEN, INT, I64, STR, OBJ, NUL, BITS, SEQ };

// Runs one getter; the value as text: numbers in decimal, bytes in hex,
// identifiers dotted. The OID output starts as .9.9 to show it kept.
std::string run(Getter g, InStream& in, bool* ok) {
  switch (g) {
    case LEN: { int l = in.getLen(); *ok = l >= 0; return std::to_string(l); }
    case SEQ: { int l = in.enterSeq(); *ok = l >= 0; return std::to_string(l); }
    case INT: { int v = 0; *ok = in.getInt(&v); return std::to_string(v); }
    case I64: { unsigned long long v = 0; *ok = in.get64(&v); return std::to_string(v); }
    case STR: { std::string s; *ok = in.getString(&s); return hex({s.begin(), s.end()}); }
    case OBJ: { OID o("9.9"); *ok = in.getOID(&o); return o.str(); }
    case NUL: { *ok = in.getNull(); return ""; }
    case BITS: { std::vector<unsigned char> b; *ok = in.getBits(&b); return hex(b); }
  }
  return "";
}

// Bytes, getter, success, value, cursor afterwards, diagnostic after
// "SNMP InStream: " (or none).
struct Case { const char* bytes; Getter g; bool ok; const char* value; unsigned pos; const char* line; };

const Case kCases[] = {
    {"", LEN, false, "-1", 0, ""},
    {"80 01", LEN, false, "-1", 0, "we don't support indefinite lengths"},
    {"85 00 00 00 00 01", LEN, false, "-1", 0, "we can't support data lengths that long"},
    {"81", LEN, false, "-1", 1, "malformed in getLen"},
    {"81 80", LEN, true, "128", 2, ""},
    {"84 80 00 00 00", LEN, false, "-2147483648", 5, ""},

    {"02 01 ff", INT, true, "-1", 3, ""},
    {"41 05 00 80 00 00 00", INT, true, "-2147483648", 7, ""},
    {"02 02 00 80", INT, true, "128", 4, ""},
    {"02 00", INT, true, "0", 2, ""},
    {"04 01 05", INT, true, "5", 3, ""},
    {"02 05 01 00 00 00 00", INT, false, "0", 2, "I don't support such large integers 2"},
    {"02 06 00 00 00 00 00 01", INT, false, "0", 2, "I don't support such large integers"},
    {"02 03 00 01", INT, false, "0", 2, "get int overflow of message"},
    {"02 84 80 00 00 00", INT, false, "0", 6, ""},
    {"02 80", INT, false, "0", 1, "we don't support indefinite lengths"},
    {"02", INT, false, "0", 1, ""},

    {"46 00", I64, true, "0", 2, ""},
    {"46 08 ff ff ff ff ff ff ff ff", I64, true, "18446744073709551615", 10, ""},
    {"46 09 00 80 00 00 00 00 00 00 00", I64, false, "0", 2, "invalig counter64 size"},
    {"46 09 00 80", I64, false, "0", 2, "get 64 overflow of message"},

    {"04 81 05 41 42 43 44 45", STR, true, "41 42 43 44 45", 8, ""},
    {"04 84 80 00 00 00", STR, false, "", 6, ""},
    {"04 84 7f ff ff ff", STR, false, "", 6, "get string overflow of message"},
    {"04 03 41 42", STR, false, "", 2, "get string overflow of message"},

    {"05 00", NUL, true, "", 2, ""},
    {"05 01 00", NUL, false, "", 2, "malformed null"},

    {"03 02 07 80", BITS, true, "07 80", 4, ""},
    {"03 00", BITS, false, "", 2, "Invalid bitstring"},
    {"03 02 08 00", BITS, false, "", 2, "Invalid bitstring"},
    {"03 03 00 01", BITS, false, "", 2, "get bits overflow of message"},

    {"06 00", OBJ, true, ".0.0", 2, ""},
    {"06 01 78", OBJ, true, ".3.0", 3, ""},
    {"06 08 2b 06 01 04 01 82 b9 35", OBJ, true, ".1.3.6.1.4.1.40117", 10, ""},
    {"06 06 2b 8f ff ff ff 7f", OBJ, true, ".1.3.4294967295", 8, ""},
    {"06 06 2b 90 80 80 80 00", OBJ, true, ".1.3.0", 8, ""},  // wraps mod 2^32
    {"06 02 2b 86 01", OBJ, false, ".9.9", 5, "malformed oid"},
    {"06 05 2b 06", OBJ, false, ".9.9", 2, "get oid overflow of message2 5 4"},
    {"06 81 05 2b", OBJ, false, ".9.9", 3, "get oid overflow of message3 5 4"},

    {"30 03 02 01 05", SEQ, true, "3", 2, ""},
    {"30 04 02 01 05", SEQ, false, "-1", 2, ""},
    {"30 80", SEQ, false, "-1", 1, "we don't support indefinite lengths"},
};

TEST(InStream, GettersReadValuesAndReportEachFailure) {
  for (const Case& c : kCases) {
    std::vector<unsigned char> bytes = unhex(c.bytes);
    InStream in(bytes.data(), static_cast<unsigned>(bytes.size()));
    diag::Capture cap;
    bool ok = false;
    EXPECT_EQ(run(c.g, in, &ok), c.value) << c.bytes;
    EXPECT_EQ(ok, c.ok) << c.bytes;
    EXPECT_EQ(in.position(), c.pos) << c.bytes;
    EXPECT_EQ(cap.out(), *c.line ? std::string("SNMP InStream: ") + c.line + "\n" : "") << c.bytes;
  }
}

TEST(InStream, SequencesSkipUnreadContentAndStopAtTheirEnd) {
  std::vector<unsigned char> b = unhex("30 06 02 01 05 02 01 06 02 01 07");
  InStream in(b.data(), static_cast<unsigned>(b.size()));
  diag::Capture cap;
  int v = 0;
  EXPECT_EQ(in.enterSeq(), 6);
  EXPECT_TRUE(in.getInt(&v));
  EXPECT_FALSE(in.isSeqEnd());
  in.exitSeq();  // skips the unread 02 01 06
  EXPECT_TRUE(in.getInt(&v));
  EXPECT_EQ(v, 7);
  EXPECT_TRUE(in.isSeqEnd());
  EXPECT_EQ(in.getType(), -1);
  EXPECT_EQ(cap.out(), "");
  in.exitSeq();
  EXPECT_EQ(in.position(), 11u);
  EXPECT_EQ(cap.out(), "SNMP InStream: exitSeq when seqEndp is empty!\n");
  in.reset();
  EXPECT_EQ(in.enterSeq(), 6);
  EXPECT_TRUE(in.getInt(&v));
  EXPECT_TRUE(in.getInt(&v));
  EXPECT_TRUE(in.isSeqEnd());  // data remains
  // The version is read once and cached, also when reading it failed.
  for (const char* msg : {"30 06 02 01 03 02 01 07", "30 03 04"}) {
    std::vector<unsigned char> m = unhex(msg);
    InStream v3(m.data(), static_cast<unsigned>(m.size()));
    const int version = v3.getVersion();
    EXPECT_EQ(version, m.size() == 8 ? 3 : -1) << msg;
    EXPECT_EQ(v3.getVersion(), version) << msg;
    EXPECT_EQ(v3.position(), m.size() == 8 ? 5u : 3u) << msg;
  }
}

// Reads `snmpget -v2c -c public 127.0.0.1 1.3.6.1.2.1.1.1.0` as request
// processing does; false on any failure.
const char kGetRequest[] =
    "30 29 02 01 01 04 06 70 75 62 6c 69 63 a0 1c 02 04 07 88 0d cd 02 01 00"
    " 02 01 00 30 0e 30 0c 06 08 2b 06 01 02 01 01 01 00 05 00";

bool walk(InStream& in, std::vector<OID>* names) {
  std::string community;
  int id, status, index;
  if (in.getVersion() != 1 || !in.getString(&community) || community != "public" ||
      in.getType() != 0xA0 || in.enterSeq() < 0 || !in.getInt(&id) ||
      !in.getInt(&status) || !in.getInt(&index) || in.enterSeq() < 0)
    return false;
  while (!in.isSeqEnd()) {
    OID name;
    if (in.enterSeq() < 0 || !in.getOID(&name) || !in.getNull()) return false;
    names->push_back(name);
    in.exitSeq();
  }
  return id == 0x07880DCD && status == 0 && index == 0;
}

TEST(InStream, WalksARealRequestAndFailsOnEveryTruncation) {
  const std::vector<unsigned char> msg = unhex(kGetRequest);
  std::vector<OID> names;
  InStream whole(msg.data(), static_cast<unsigned>(msg.size()));
  ASSERT_TRUE(walk(whole, &names));
  EXPECT_EQ(names, std::vector<OID>{OID("1.3.6.1.2.1.1.1.0")});
  diag::Capture quiet;
  for (size_t n = 0; n < msg.size(); ++n) {
    InStream in(msg.data(), static_cast<unsigned>(n));  // ASan sees overreads
    EXPECT_FALSE(walk(in, &names)) << n;
    EXPECT_LE(in.position(), n);
  }
}

}  // namespace
