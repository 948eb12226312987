// Packers' deliberate quirks: signed numbers whatever the type, what a SET
// stores or refuses, and the table-index arcs both ways, asymmetries
// included. (Plain values are pinned by the end-to-end walk.)
#include "data/packer.h"

#include <gtest/gtest.h>

#include <sstream>

#include "codec/diag.h"
#include "codec/wire.h"
#include "data/const_packers.h"
#include "data/data_packers.h"
#include "engine/context.h"
#include "tests/hex.h"

namespace {

using namespace wire;

struct Rec : Data {
  int n = 0;
  unsigned ip = 0;
  unsigned long long big = 0;
  std::string s;
  std::vector<unsigned char> raw;
  OID o;
};

// The fields that differ from a new record; "" when none do.
std::string changed(const Rec& r) {
  std::ostringstream os;
  if (r.n) os << "n=" << r.n << ' ';
  if (r.ip) os << "ip=" << std::hex << r.ip << std::dec << ' ';
  if (r.big) os << "big=" << r.big << ' ';
  if (!r.s.empty()) os << "s=" << hex({r.s.begin(), r.s.end()}) << ' ';
  if (!r.raw.empty()) os << "raw=" << hex(r.raw) << ' ';
  if (!r.o.empty()) os << "o=" << r.o.dotted() << ' ';
  return os.str();
}

// One packer of each family over Rec's fields, and a few constants.
class Packers : public ::testing::Test {
 protected:
  DataNumPacker num{field(&Rec::n), INTEGER};
  DataStringPacker str{field(&Rec::s), OCTET_STRING, 0};
  DataRawPacker raw{field(&Rec::raw), OCTET_STRING, 0}, raw6{field(&Rec::raw), OCTET_STRING, 6};
  DataBignumPacker big{field(&Rec::big), COUNTER64};
  DataOIDPacker oid{field(&Rec::o), OBJECT_ID};
  DataIPPacker ip{field(&Rec::ip), IP_ADDRESS};
  ConstNumPacker minus1{-1, COUNTER32}, top{static_cast<int>(0x80000000u), COUNTER32}, five{5, INTEGER};
  ConstStringPacker router{"router", OCTET_STRING, 0};
};

// in: null for a row that packs `r`, out the bytes; else the bytes unpacked,
// out the fields they set.
TEST_F(Packers, PackAndUnpackQuirks) {
  Rec r;
  r.ip = 0xC0A80001;
  r.big = 1ULL << 63;
  struct Case { Packer* p; const char* in; const char* out; const char* err; } cases[] = {
      // Numbers go out signed whatever the type; 64-bit ones unsigned.
      {&minus1, nullptr, "41 01 ff", ""},
      {&top, nullptr, "41 04 80 00 00 00", ""},
      {&big, nullptr, "46 09 00 80 00 00 00 00 00 00 00", ""},
      {&raw, nullptr, "04 00", ""},
      {&ip, nullptr, "40 04 c0 a8 00 01", ""},
      {&str, "02 01 41", "s=41 ", "unpacked s = A\n"},  // INTEGER content
      {&raw, "04 02 41 42", "raw=41 42 ", "unpacked s = AB\n"},
      {&num, "04 01 07", "n=7 ", ""},
      {&num, "02 02 01", "", ""},  // truncated: nothing stored
      {&big, "46 08 80 00 00 00 00 00 00 01", "big=9223372036854775809 ", ""},
      {&big, "46 09 00 80 00 00 00 00 00 00 00", "", ""},  // reader refuses 9
      {&ip, "04 05 0a 00 00 01 02", "", ""},  // only 4 bytes make an address
      {&five, "02 01 07", "", ""},    // constants ignore a SET
      {&router, "04 01 78", "", "unpacked s = x\n"},
  };
  for (const Case& c : cases) {
    std::vector<unsigned char> in = unhex(c.in ? c.in : "00");
    Context ctx(in.data(), c.in ? static_cast<unsigned>(in.size()) : 0);
    Rec got;
    diag::Capture capture;
    if (!c.in) c.p->pack(ctx, &r);
    if (c.in) c.p->unpack(&got, ctx);
    EXPECT_EQ(c.in ? changed(got) : hex(ctx.out.data), c.out) << c.out;
    EXPECT_EQ(capture.err(), c.err) << c.out;
  }
}

TEST_F(Packers, KeyArcsBothWays) {
  Rec k;  // each packer reads its own field
  k.raw = {1, 2, 3, 4, 5}, k.ip = 0x0A000001;
  struct KeyCase { const Packer* p; OID key; const char* err; } keys[] = {
      {&raw6, OID(), "inconsistent key length\n"},
      {&oid, OID{0}, ""},
      {&ip, OID{10, 0, 0, 1}, ""},
      {&big, OID(), "BUG: Packer::getAsKey called\n"},
  };
  for (const KeyCase& c : keys) {
    diag::Capture capture;
    EXPECT_EQ(c.p->getAsKey(&k), c.key) << c.key.dotted();
    EXPECT_EQ(capture.err(), c.err) << c.key.dotted();
  }
  // Back from the arcs; after: "" when the record was left alone.
  struct Case { Packer* p; OID index, rest; const char* after; } cases[] = {
      {&str, OID{2, 97, 98, 7}, OID{7}, "s=61 62 "},
      {&str, OID{1, 256}, OID(), ""},
      // A fixed length still reads its arcs as length-prefixed.
      {&raw6, OID{2, 0xaa, 0xbb, 0xcc, 0xdd, 0xee, 9}, OID{9}, "raw=aa bb "},
      {&raw6, OID{6, 1, 2, 3, 4, 5}, OID(), ""},
      {&num, OID{4294967295u, 6}, OID{6}, "n=-1 "},
      {&oid, OID{2, 1, 3, 9}, OID{9}, "o=1.3 "},
      // The first arc lands in the least significant byte.
      {&ip, OID{10, 0, 0, 1, 7}, OID{7}, "ip=100000a "},
      {&ip, OID{256, 0, 0, 1}, OID(), ""},
  };
  for (const Case& c : cases) {
    Rec r;
    EXPECT_EQ(c.p->setFromKey(&r, c.index), c.rest) << c.index.dotted();
    EXPECT_EQ(changed(r), c.after) << c.index.dotted();
  }
  Rec r;
  diag::Capture capture;
  EXPECT_EQ(big.setFromKey(&r, OID{1, 2}), OID());
  EXPECT_EQ(capture.err(), "BUG: Packer::setFromKey called\n");
}

}  // namespace
