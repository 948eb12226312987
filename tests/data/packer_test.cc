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
#include "tests/data/hex.h"

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

// Every field of a record, for comparing the effect of a call at once.
std::string dump(const Rec& r) {
  std::ostringstream os;
  os << "n=" << r.n << " ip=" << std::hex << r.ip << std::dec
     << " big=" << r.big << " s=" << hex(std::vector<unsigned char>(
                                            r.s.begin(), r.s.end()))
     << " raw=" << hex(r.raw) << " o=" << r.o;
  return os.str();
}

const std::string kBlank = "n=0 ip=0 big=0 s= raw= o=";

typedef std::function<Packer*()> Make;

Make num(int v, unsigned t) { return [=] { return new ConstNumPacker(v, t); }; }
Make dnum(unsigned t = INTEGER) {
  return [=] { return new DataNumPacker(field(&Rec::n), t); };
}
Make dstr(unsigned keyLength = 0) {
  return [=] { return new DataStringPacker(field(&Rec::s), OCTET_STRING, keyLength); };
}
Make draw(unsigned keyLength = 0) {
  return [=] { return new DataRawPacker(field(&Rec::raw), OCTET_STRING, keyLength); };
}
Make dbig() {
  return [] { return new DataBignumPacker(field(&Rec::big), COUNTER64); };
}
Make doid() { return [] { return new DataOIDPacker(field(&Rec::o), OBJECT_ID); }; }
Make dip() { return [] { return new DataIPPacker(field(&Rec::ip), IP_ADDRESS); }; }

Rec sample() {
  Rec r;
  r.n = 300;
  r.ip = 0xC0A80001;
  r.big = 1ULL << 63;
  r.s = "x";
  r.raw = {0x00, 0x01, 0xff};
  r.o = OID{1, 3, 6, 1};
  return r;
}

std::string packed(const Packer& p, const Data* d) {
  const unsigned char none = 0;
  Context ctx(&none, 0);
  p.pack(ctx, d);
  return hex(ctx.out.data);
}

TEST(Packer, PackWritesOneElementOfTheGivenType) {
  const Rec r = sample();
  Rec empty;
  struct Case {
    Make make;
    const Rec* rec;
    const char* bytes;
  } cases[] = {
      // Numbers go out signed whatever the type.
      {num(-1, INTEGER), nullptr, "02 01 ff"},
      {num(-1, COUNTER32), nullptr, "41 01 ff"},
      {num(static_cast<int>(0x80000000u), COUNTER32), nullptr, "41 04 80 00 00 00"},
      {num(128, TIMETICKS), nullptr, "43 02 00 80"},
      {num(0, GAUGE32), nullptr, "42 01 00"},
      {dnum(), &r, "02 02 01 2c"},
      // 64-bit numbers go out unsigned, with a leading zero when needed.
      {[] { return new ConstBignumPacker(1ULL << 63, COUNTER64); }, nullptr,
       "46 09 00 80 00 00 00 00 00 00 00"},
      {[] { return new ConstBignumPacker(0, COUNTER64); }, nullptr, "46 01 00"},
      {dbig(), &r, "46 09 00 80 00 00 00 00 00 00 00"},
      {[] { return new ConstStringPacker("router", OCTET_STRING, 0); }, nullptr,
       "04 06 72 6f 75 74 65 72"},
      {[] { return new ConstStringPacker("", OCTET_STRING, 0); }, nullptr, "04 00"},
      {[] { return new ConstStringPacker("a", COUNTER32, 0); }, nullptr, "41 01 61"},
      {dstr(), &r, "04 01 78"},
      {draw(), &r, "04 03 00 01 ff"},
      {draw(), &empty, "04 00"},
      {[] { return new ConstOIDPacker(OID{1, 3, 6, 1, 4, 1, 40117, 1}, OBJECT_ID); },
       nullptr, "06 09 2b 06 01 04 01 82 b9 35 01"},
      {doid(), &r, "06 03 2b 06 01"},
      {[] { return new ConstIPPacker(0x0A000001, IP_ADDRESS); }, nullptr,
       "40 04 0a 00 00 01"},
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
    std::string after;
    const char* err;
  } cases[] = {
      {dstr(), "04 02 68 69", "n=0 ip=0 big=0 s=68 69 raw= o=", "unpacked s = hi\n"},
      // An INTEGER set onto a string stores its content bytes.
      {dstr(), "02 01 41", "n=0 ip=0 big=0 s=41 raw= o=", "unpacked s = A\n"},
      {draw(), "04 02 41 42", "n=0 ip=0 big=0 s= raw=41 42 o=", "unpacked s = AB\n"},
      {dnum(), "02 01 ff", "n=-1 ip=0 big=0 s= raw= o=", ""},
      {dnum(), "41 05 00 ff ff ff ff", "n=-1 ip=0 big=0 s= raw= o=", ""},
      {dnum(), "04 01 07", "n=7 ip=0 big=0 s= raw= o=", ""},
      {dnum(), "02 02 01", kBlank, ""},  // truncated: nothing stored
      {dbig(), "46 08 80 00 00 00 00 00 00 01",
       "n=0 ip=0 big=9223372036854775809 s= raw= o=", ""},
      {dbig(), "46 09 00 80 00 00 00 00 00 00 00", kBlank, ""},  // reader refuses 9
      {doid(), "06 03 2b 06 01", "n=0 ip=0 big=0 s= raw= o=1.3.6.1", ""},
      {dip(), "40 04 0a 00 00 01", "n=0 ip=a000001 big=0 s= raw= o=", ""},
      {dip(), "04 05 0a 00 00 01 02", kBlank, ""},  // not 4 bytes: ignored
      {dip(), "40 03 0a 00 00", kBlank, ""},
      // Constants ignore what is set.
      {num(5, INTEGER), "02 01 07", kBlank, ""},
      {[] { return new ConstStringPacker("c", OCTET_STRING, 0); }, "04 01 78",
       kBlank, "unpacked s = x\n"},
  };
  for (const Case& c : cases) {
    std::unique_ptr<Packer> p(c.make());
    std::vector<unsigned char> in = unhex(c.input);
    Context ctx(in.data(), static_cast<unsigned>(in.size()));
    Rec r;
    diag::Capture capture;
    p->unpack(&r, ctx);
    EXPECT_EQ(dump(r), c.after) << c.input;
    EXPECT_EQ(capture.err(), c.err) << c.input;
  }
  // A constant still packs its own value after a SET.
  ConstNumPacker constant(5, INTEGER);
  std::vector<unsigned char> in = unhex("02 01 07");
  Context ctx(in.data(), static_cast<unsigned>(in.size()));
  constant.unpack(nullptr, ctx);
  EXPECT_EQ(packed(constant, nullptr), "02 01 05");
}

TEST(Packer, GetAsKeyGivesIndexArcs) {
  Rec mac, shortMac, neg, text, high, ip, oid, emptyOid;
  mac.raw = {0, 0x1b, 0x2c, 0x3d, 0x4e, 0xff};
  shortMac.raw = {1, 2, 3, 4, 5};
  neg.n = -1;
  text.s = "ab";
  high.s = "\xff";
  ip.ip = 0x0A000001;
  oid.o = OID{1, 3};
  struct Case {
    Make make;
    const Rec* rec;
    OID key;
    const char* err;
  } cases[] = {
      {dstr(), &emptyOid, OID{0}, ""},
      {dstr(), &text, OID{2, 97, 98}, ""},
      {dstr(), &high, OID{1, 255}, ""},
      {draw(6), &mac, OID{0, 27, 44, 61, 78, 255}, ""},
      {draw(6), &shortMac, OID(), "inconsistent key length\n"},
      {dnum(), &neg, OID{4294967295u}, ""},
      {doid(), &oid, OID{2, 1, 3}, ""},
      {doid(), &emptyOid, OID{0}, ""},
      {dip(), &ip, OID{10, 0, 0, 1}, ""},
      {dbig(), &mac, OID(), "BUG: Packer::getAsKey called\n"},
  };
  for (const Case& c : cases) {
    std::unique_ptr<Packer> p(c.make());
    diag::Capture capture;
    EXPECT_EQ(p->getAsKey(c.rec), c.key) << c.key;
    EXPECT_EQ(capture.err(), c.err) << c.key;
  }
}

TEST(Packer, SetFromKeyTakesItsArcsAndReturnsTheRest) {
  struct Case {
    Make make;
    OID index, rest;
    std::string after;  // the record; kBlank when the call failed
  } cases[] = {
      {dstr(), OID{2, 97, 98, 7}, OID{7}, "n=0 ip=0 big=0 s=61 62 raw= o="},
      {dstr(), OID{0}, OID(), kBlank},  // empty string: success, nothing left
      {dstr(), OID{3, 97, 98}, OID(), kBlank},
      {dstr(), OID{1, 256}, OID(), kBlank},
      {dstr(), OID(), OID(), kBlank},
      // A fixed length still reads its arcs as length-prefixed.
      {draw(6), OID{2, 0xaa, 0xbb, 0xcc, 0xdd, 0xee, 9}, OID{9},
       "n=0 ip=0 big=0 s= raw=aa bb o="},
      {draw(6), OID{6, 1, 2, 3, 4, 5}, OID(), kBlank},
      {draw(6), OID{0, 1, 2, 3, 4}, OID(), kBlank},
      {draw(6), OID{1, 1, 2, 3, 4, 300}, OID(), kBlank},
      {dnum(), OID{5, 6}, OID{6}, "n=5 ip=0 big=0 s= raw= o="},
      {dnum(), OID{4294967295u}, OID(), "n=-1 ip=0 big=0 s= raw= o="},
      {dnum(), OID(), OID(), kBlank},
      {doid(), OID{2, 1, 3, 9}, OID{9}, "n=0 ip=0 big=0 s= raw= o=1.3"},
      {doid(), OID{3, 1, 3}, OID(), kBlank},
      // The first arc lands in the least significant byte.
      {dip(), OID{10, 0, 0, 1, 7}, OID{7}, "n=0 ip=100000a big=0 s= raw= o="},
      {dip(), OID{10, 0, 0}, OID(), kBlank},
      {dip(), OID{256, 0, 0, 1}, OID(), kBlank},
  };
  for (const Case& c : cases) {
    std::unique_ptr<Packer> p(c.make());
    Rec r;
    EXPECT_EQ(p->setFromKey(&r, c.index), c.rest) << c.index;
    EXPECT_EQ(dump(r), c.after) << c.index;
  }
  DataBignumPacker big(field(&Rec::big), COUNTER64);
  Rec r;
  diag::Capture capture;
  EXPECT_EQ(big.setFromKey(&r, OID{1, 2}), OID());
  EXPECT_EQ(capture.err(), "BUG: Packer::setFromKey called\n");
}

}  // namespace
