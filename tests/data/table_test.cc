// Tables: MapTable's order, key collapse, unkeyable rows, refused SET and
// count; StaticMuxTable's per-row providers and its walk ending at a null
// record.
#include <gtest/gtest.h>

#include "codec/diag.h"
#include "codec/wire.h"
#include "data/data_packers.h"
#include "data/map_table.h"
#include "data/static_mux_table.h"
#include "tests/data/fakes.h"

namespace {

struct Entry : Data {
  Entry(int id, const std::string& name) : id(id), name(name) {}
  int id;
  std::string name;
};

struct Lookup { OID from, next; Data* nextRec; Data* exact; };

void expectLookups(Table& table, const std::vector<Lookup>& cases) {
  for (const Lookup& c : cases) {
    EXPECT_EQ(table.getNext(c.from), Table::Row(c.next, c.nextRec)) << c.from;
    EXPECT_EQ(table.get(c.from), c.exact) << c.from;
  }
}

// Indexes compare as unsigned arcs; of two rows with one key the later wins.
TEST(MapTable, RowsInKeyOrderTheLaterOfEqualKeysWins) {
  FakeTableProvider provider;
  MapTable table(&provider);
  DataNumPacker id(field(&Entry::id), wire::INTEGER);
  table.addIndex(&id);
  Entry* r30 = provider.add(new Entry(30, ""));
  Entry* r2 = provider.add(new Entry(2, ""));
  provider.add(new Entry(10, ""));
  Entry* r10 = provider.add(new Entry(10, ""));
  expectLookups(table, {
      {OID(), OID{2}, r2, nullptr},
      {OID{2}, OID{10}, r10, r2},
      {OID{5}, OID{10}, r10, nullptr},
      {OID{10, 0}, OID{30}, r30, nullptr},
      {OID{30}, OID(), nullptr, r30},
      {OID{4000000000u}, OID(), nullptr, nullptr},
  });
  EXPECT_EQ(provider.updates, 12);  // every lookup brings the table up to date
  EXPECT_EQ(table.count(), 3u);
  provider.cheapCount = 42;  // the provider's own count is preferred
  EXPECT_EQ(table.count(), 42u);
  // The provider accepted the write; the table reports failure all the same.
  EXPECT_FALSE(table.set(OID{2}, r2));
  EXPECT_EQ(provider.sets, std::vector<Data*>{r2});
}

TEST(MapTable, RowWithoutAValidKeyIsNeverWalked) {
  FakeTableProvider provider;
  MapTable table(&provider);
  DataStringPacker mac(field(&Entry::name), wire::OCTET_STRING, 6);
  table.addIndex(&mac);
  provider.add(new Entry(1, "12345"));
  diag::Capture capture;
  EXPECT_EQ(table.getNext(OID()).second, nullptr);
  EXPECT_EQ(table.count(), 1u);
  EXPECT_EQ(capture.err(), "inconsistent key length\n");
}

TEST(StaticMuxTable, RowsComeFromTheirProviders) {
  Entry a(1, "a"), c(3, "c");
  FixedProvider pa(&a), pb(nullptr), pc(&c), replaced(&c);
  StaticMuxTable table;
  table.addProvider(OID{1}, &replaced);
  table.addProvider(OID{1}, &pa);
  table.addProvider(OID{2}, &pb);
  table.addProvider(OID{3}, &pc);
  expectLookups(table, {
      {OID(), OID{1}, &a, nullptr},
      {OID{1}, OID{2}, nullptr, &a},  // a null record ends the walk here
      {OID{2}, OID{3}, &c, nullptr},
      {OID{3}, OID(), nullptr, &c},
  });
  EXPECT_EQ(table.count(), 3u);
  EXPECT_FALSE(table.set(OID{9}, &a));
  EXPECT_TRUE(table.set(OID{1}, &a));
  pc.accept = false;
  EXPECT_FALSE(table.set(OID{3}, &c));
  EXPECT_EQ(pa.sets.size() + pc.sets.size() + replaced.sets.size(), 2u);
}

}  // namespace
