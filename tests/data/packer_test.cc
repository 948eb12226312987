// Packers: the bytes each family writes, the values it reads, and the
// table-index arcs both ways, asymmetries included.
#include "data/packer.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
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
  if (!r.o.empty()) os << "o=" << r.o << ' ';
  return os.str();
}

typedef std::function<Packer*()> Make;
Make num(int v, unsigned t) {
  return [=] { return new ConstNumPacker(v, t); };
}
Make cstr(const char* v, unsigned t = OCTET_STRING) {
  return [=] { return new ConstStringPacker(v, t, 0); };
}
Make cbig(unsigned long long v) {
  return [=] { return new ConstBignumPacker(v, COUNTER64); };
}
Make dnum() {
  return [] { return new DataNumPacker(field(&Rec::n), INTEGER); };
}
Make dstr(unsigned keyLength = 0) {
  return [=] {
    return new DataStringPacker(field(&Rec::s), OCTET_STRING, keyLength);
  };
}
Make draw(unsigned keyLength = 0) {
  return [=] {
    return new DataRawPacker(field(&Rec::raw), OCTET_STRING, keyLength);
  };
}
Make dbig() {
  return [] { return new DataBignumPacker(field(&Rec::big), COUNTER64); };
}
Make doid() {
  return [] { return new DataOIDPacker(field(&Rec::o), OBJECT_ID); };
}
Make dip() {
  return [] { return new DataIPPacker(field(&Rec::ip), IP_ADDRESS); };
}

std::string packed(const Packer& p, const Data* d) {
  const unsigned char none = 0;
  Context ctx(&none, 0);
  p.pack(ctx, d);
  return hex(ctx.out.data);
}

TEST(Packer, PackWritesOneElementOfTheGivenType) {
  Rec r, empty;
  r.n = 300;
  r.ip = 0xC0A80001;
  r.big = 1ULL << 63;
  r.raw = {0x00, 0x01, 0xff};
  r.o = OID{1, 3, 6, 1, 4, 1, 40117, 1};
  struct Case {
    Make make;
    const Rec* rec;
    const char* bytes;
  } cases[] = {
      // Numbers go out signed whatever the type; 64-bit ones unsigned.
      {num(-1, COUNTER32), nullptr, "41 01 ff"},
      {num(static_cast<int>(0x80000000u), COUNTER32), nullptr,
       "41 04 80 00 00 00"},
      {dnum(), &r, "02 02 01 2c"},
      {cbig(0), nullptr, "46 01 00"},
      {dbig(), &r, "46 09 00 80 00 00 00 00 00 00 00"},
      {cstr("router"), nullptr, "04 06 72 6f 75 74 65 72"},
      {draw(), &r, "04 03 00 01 ff"},
      {draw(), &empty, "04 00"},
      {doid(), &r, "06 09 2b 06 01 04 01 82 b9 35 01"},
      {dip(), &r, "40 04 c0 a8 00 01"},
  };
  for (const Case& c : cases) {
    std::unique_ptr<Packer> p(c.make());
    EXPECT_EQ(packed(*p, c.rec), c.bytes);
  }
}

TEST(Packer, UnpackStoresWhatTheRequestCarries) {
  struct Case {
    Make make;
    const char* input;
    const char* after;
    const char* err;
  } cases[] = {
      {dstr(), "04 02 68 69", "s=68 69 ", "unpacked s = hi\n"},
      {dstr(), "02 01 41", "s=41 ", "unpacked s = A\n"},  // INTEGER content
      {draw(), "04 02 41 42", "raw=41 42 ", "unpacked s = AB\n"},
      {dnum(), "02 01 ff", "n=-1 ", ""},
      {dnum(), "04 01 07", "n=7 ", ""},
      {dnum(), "02 02 01", "", ""},  // truncated: nothing stored
      {dbig(), "46 08 80 00 00 00 00 00 00 01", "big=9223372036854775809 ", ""},
      {dbig(), "46 09 00 80 00 00 00 00 00 00 00", "", ""},  // reader refuses 9
      {doid(), "06 03 2b 06 01", "o=1.3.6.1 ", ""},
      {dip(), "40 04 0a 00 00 01", "ip=a000001 ", ""},
      {dip(), "04 05 0a 00 00 01 02", "", ""},  // only 4 bytes make an address
      {num(5, INTEGER), "02 01 07", "", ""},    // constants ignore a SET
      {cstr("c"), "04 01 78", "", "unpacked s = x\n"},
  };
  for (const Case& c : cases) {
    std::unique_ptr<Packer> p(c.make());
    std::vector<unsigned char> in = unhex(c.input);
    Context ctx(in.data(), static_cast<unsigned>(in.size()));
    Rec r;
    diag::Capture capture;
    p->unpack(&r, ctx);
    EXPECT_EQ(changed(r), c.after) << c.input;
    EXPECT_EQ(capture.err(), c.err) << c.input;
  }
  ConstNumPacker constant(5, INTEGER);
  constant.set(nullptr, 7);
  EXPECT_EQ(packed(constant, nullptr), "02 01 05");
}

TEST(Packer, GetAsKeyGivesIndexArcs) {
  struct Case {
    Make make;
    std::function<void(Rec&)> fill;
    OID key;
    const char* err;
  } cases[] = {
      {dstr(), [](Rec&) {}, OID{0}, ""},
      {dstr(), [](Rec& r) { r.s = "a\xff"; }, OID{2, 97, 255}, ""},
      {draw(6), [](Rec& r) { r.raw = {0, 27, 44, 61, 78, 255}; },
       OID{0, 27, 44, 61, 78, 255}, ""},
      {draw(6), [](Rec& r) { r.raw = {1, 2, 3, 4, 5}; }, OID(), "inconsistent key length\n"},
      {dnum(), [](Rec& r) { r.n = -1; }, OID{4294967295u}, ""},
      {doid(), [](Rec& r) { r.o = OID{1, 3}; }, OID{2, 1, 3}, ""},
      {doid(), [](Rec&) {}, OID{0}, ""},
      {dip(), [](Rec& r) { r.ip = 0x0A000001; }, OID{10, 0, 0, 1}, ""},
      {dbig(), [](Rec&) {}, OID(), "BUG: Packer::getAsKey called\n"},
  };
  for (const Case& c : cases) {
    std::unique_ptr<Packer> p(c.make());
    Rec r;
    c.fill(r);
    diag::Capture capture;
    EXPECT_EQ(p->getAsKey(&r), c.key) << c.key;
    EXPECT_EQ(capture.err(), c.err) << c.key;
  }
}

TEST(Packer, SetFromKeyTakesItsArcsAndReturnsTheRest) {
  struct Case {
    Make make;
    OID index, rest;
    const char* after;  // "" when the record was left alone
  } cases[] = {
      {dstr(), OID{2, 97, 98, 7}, OID{7}, "s=61 62 "},
      {dstr(), OID{3, 97, 98}, OID(), ""},
      {dstr(), OID{1, 256}, OID(), ""},
      // A fixed length still reads its arcs as length-prefixed.
      {draw(6), OID{2, 0xaa, 0xbb, 0xcc, 0xdd, 0xee, 9}, OID{9}, "raw=aa bb "},
      {draw(6), OID{6, 1, 2, 3, 4, 5}, OID(), ""},
      {draw(6), OID{0, 1, 2, 3, 4}, OID(), ""},
      {dnum(), OID{4294967295u, 6}, OID{6}, "n=-1 "},
      {dnum(), OID(), OID(), ""},
      {doid(), OID{2, 1, 3, 9}, OID{9}, "o=1.3 "},
      {doid(), OID{3, 1, 3}, OID(), ""},
      // The first arc lands in the least significant byte.
      {dip(), OID{10, 0, 0, 1, 7}, OID{7}, "ip=100000a "},
      {dip(), OID{10, 0, 0}, OID(), ""},
      {dip(), OID{256, 0, 0, 1}, OID(), ""},
  };
  for (const Case& c : cases) {
    std::unique_ptr<Packer> p(c.make());
    Rec r;
    EXPECT_EQ(p->setFromKey(&r, c.index), c.rest) << c.index;
    EXPECT_EQ(changed(r), c.after) << c.index;
  }
  DataBignumPacker big(field(&Rec::big), COUNTER64);
  Rec r;
  diag::Capture capture;
  EXPECT_EQ(big.setFromKey(&r, OID{1, 2}), OID());
  EXPECT_EQ(capture.err(), "BUG: Packer::setFromKey called\n");
}

}  // namespace
