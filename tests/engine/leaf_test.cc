// A small MIB registered through the registration functions, answering
// GET, GETNEXT and SET at the leaf level: the exact bytes of each binding.
#include "engine/leaf.h"

#include <gtest/gtest.h>

#include <map>

#include "codec/diag.h"
#include "codec/wire.h"
#include "data/data_packers.h"
#include "data/map_table.h"
#include "engine/context.h"
#include "engine/request.h"
#include "tests/data/fakes.h"
#include "tests/hex.h"

namespace {

using namespace wire;

struct Script : Data {
  Script(int id, const std::string& name) : id(id), name(name) {}
  int id;
  std::string name;
  int run = 0;
};

const OID kDescr{1, 3, 6, 1, 2, 1, 1, 1};
const OID kServices{1, 3, 6, 1, 2, 1, 1, 7}, kAbsent{1, 3, 6, 1, 2, 1, 1, 9};
const OID kScriptName{1, 3, 6, 1, 4, 1, 40117, 1, 1, 8, 1, 1, 2};
const OID kScriptRun{1, 3, 6, 1, 4, 1, 40117, 1, 1, 8, 1, 1, 3};

// Names as encoded (kEntry: the script entry, content octets only).
const std::string kDescr0 = "06 08 2b 06 01 02 01 01 01 00 04 06 72 6f 75 74 65 72";
const std::string kServices0 = "06 08 2b 06 01 02 01 01 07 00";
const std::string kEntry = "06 0f 2b 06 01 04 01 82 b9 35 01 01 08 01 01";

class SmallMib : public ::testing::Test {
 protected:
  SmallMib() : absent(nullptr), table(&scripts), id(field(&Script::id), INTEGER) {
    table.addIndex(&id);
    scripts.add(new Script(9, "b"));
    scripts.add(new Script(5, "a"));
    addScalarConstStringLeaf(kDescr, "router", OCTET_STRING);
    addScalarConstNumLeaf(kServices, 78, INTEGER);
    addScalarLeaf(kAbsent, new DataNumPacker(field(&Script::run), INTEGER), &absent);
    addColumnarLeaf(kScriptName, new DataStringPacker(field(&Script::name), OCTET_STRING, 0), &table);
    addColumnarLeaf(kScriptRun, new DataNumPacker(field(&Script::run), INTEGER), &table);
  }

  // The binding written, or "none" when the leaf answered false (and then
  // must have written nothing).
  static std::string reply(bool ok, const Context& ctx) {
    std::string bytes = hex(ctx.out.data);
    return ok ? bytes : bytes.empty() ? "none" : "false after writing " + bytes;
  }

  // As the request handlers call a leaf: the leaf's OID cut from the name.
  std::string call(bool next, const OID& leafOid, const OID& instance) {
    const unsigned char none = 0;
    Context ctx(&none, 0);
    ctx.leafName = leafOid;
    ctx.oid = instance;
    Leaf* leaf = leafs.at(leafOid);
    return reply(next ? leaf->getNext(ctx) : leaf->get(ctx), ctx);
  }

  ScopedRegistry registry;
  FixedProvider absent;
  FakeTableProvider scripts;
  MapTable table;
  DataNumPacker id;
};

TEST_F(SmallMib, GetAndGetNextWriteTheBinding) {
  const bool GET = false, NEXT = true;
  struct Case { bool next; OID leaf, instance; std::string bytes; } cases[] = {
      {GET, kDescr, OID{0}, kDescr0},
      {GET, kDescr, OID(), "none"},
      {GET, kDescr, OID{1}, "none"},
      {GET, kDescr, OID{0, 0}, "none"},
      {GET, kAbsent, OID{0}, "none"},
      {GET, kScriptName, OID{5}, kEntry + " 02 05 04 01 61"},
      {GET, kScriptName, OID(), "none"},
      {GET, kScriptName, OID{7}, "none"},
      {GET, kScriptName, OID{5, 0}, "none"},
      {NEXT, kDescr, OID(), kDescr0},
      {NEXT, kDescr, OID{0}, "none"},
      {NEXT, kAbsent, OID(), "none"},
      {NEXT, kScriptName, OID(), kEntry + " 02 05 04 01 61"},
      {NEXT, kScriptName, OID{6}, kEntry + " 02 09 04 01 62"},
      {NEXT, kScriptName, OID{9}, "none"},
      {NEXT, kScriptRun, OID(), kEntry + " 03 05 02 01 00"},
  };
  for (const Case& c : cases) EXPECT_EQ(call(c.next, c.leaf, c.instance), c.bytes) << c.leaf.dotted() << " " << c.instance.dotted();
}

// As the SET handler calls a leaf: the full name, the cut arcs, and the
// request stream at the binding's value.
TEST_F(SmallMib, SetDecodesStoresAndAnswersWithTheRecord) {
  struct Case { OID leaf, name, suffix; std::string value, bytes, err; } cases[] = {
      // A constant answers with itself; the name goes back as sent.
      {kServices, kServices + 0, OID{0}, "02 01 05", kServices0 + " 02 01 4e", ""},
      {kDescr, kDescr, OID(), "04 01 78", "06 07 2b 06 01 02 01 01 01 04 06 72 6f 75 74 65 72", ""},
      {kAbsent, kAbsent + 0, OID{0}, "02 01 01", "none", ""},
      {kScriptName, kScriptName + 5, OID{5}, "04 01 7a", kEntry + " 02 05 04 01 7a", "unpacked s = z\n"},
      {kScriptName, kScriptName + 7, OID{7}, "04 01 7a", "none", ""},
  };
  for (const Case& c : cases) {
    std::vector<unsigned char> in = unhex(c.value);
    Context ctx(in.data(), static_cast<unsigned>(in.size()));
    ctx.oid = c.name;
    ctx.setSuffix = c.suffix;
    diag::Capture capture;
    EXPECT_EQ(reply(leafs.at(c.leaf)->set(ctx), ctx), c.bytes) << c.name.dotted();
    EXPECT_EQ(capture.err(), c.err) << c.name.dotted();
  }
  ASSERT_EQ(scripts.sets.size(), 1u);
  EXPECT_EQ(static_cast<Script*>(scripts.sets[0])->name, "z");
}

// The SET handler cuts arcs off the name's end until a leaf matches, each in
// front of those already in setSuffix; earlier bindings' arcs stay there.
TEST_F(SmallMib, SetHandlerGathersCutArcsInFront) {
  struct Case { OID name, before, after; int status; } cases[] = {
      {kScriptName + 5, OID(), OID{5}, NO_ERROR},
      {kScriptName + 5 + 9, OID(), OID{5, 9}, NO_SUCH_NAME},
      {kScriptName + 5, OID{0}, OID{5, 0}, NO_SUCH_NAME},  // left by a binding before
  };
  for (const Case& c : cases) {
    std::vector<unsigned char> in = unhex("04 01 7a");
    Context ctx(in.data(), static_cast<unsigned>(in.size()));
    ctx.oid = c.name;
    ctx.setSuffix = c.before;
    diag::Capture capture;
    EXPECT_EQ(snmpSet(ctx), c.status) << c.name.dotted();
    EXPECT_EQ(ctx.setSuffix, c.after) << c.name.dotted();
  }
}

// A plug-in's own table, keyed by the first index arc only, so that it
// finds its row whatever the SET handler leaves in front of the name.
class FirstArcTable : public Table {
 public:
  Data* get(const OID& index) override { return index.empty() ? nullptr : rows[index[0]]; }
  Row getNext(const OID&) override { return Row(OID(), nullptr); }
  bool set(const OID&, Data*) override { return true; }
  unsigned count() override { return static_cast<unsigned>(rows.size()); }
  std::map<unsigned, Data*> rows;
};

// Two column bindings of one SET, each answered under its own name.
TEST_F(SmallMib, SetOfTwoColumnsAnswersEachUnderItsName) {
  const OID kColumnA{1, 3, 6, 1, 4, 1, 99, 1, 2}, kColumnB{1, 3, 6, 1, 4, 1, 99, 1, 3};
  Script row(4, "x");
  FirstArcTable plugin;
  plugin.rows[4] = &row;
  addColumnarLeaf(kColumnA, new DataStringPacker(field(&Script::name), OCTET_STRING, 0), &plugin);
  addColumnarLeaf(kColumnB, new DataNumPacker(field(&Script::run), INTEGER), &plugin);
  std::vector<unsigned char> in = unhex("04 01 79 02 01 01");
  Context ctx(in.data(), static_cast<unsigned>(in.size()));
  diag::Capture capture;
  ctx.oid = kColumnA + 4;
  EXPECT_EQ(snmpSet(ctx), NO_ERROR);
  ctx.oid = kColumnB + 4;
  EXPECT_EQ(snmpSet(ctx), NO_ERROR);
  EXPECT_EQ(hex(ctx.out.data), "06 09 2b 06 01 04 01 63 01 02 04 04 01 79 "
                               "06 09 2b 06 01 04 01 63 01 03 04 02 01 01");
  EXPECT_EQ(row.name, "y");
  EXPECT_EQ(row.run, 1);
}

}  // namespace
