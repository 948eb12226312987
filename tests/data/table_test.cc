// Tables: MapTable over a provider, StaticMuxTable over per-row providers,
// AugmentProxyTable over a base table, and CountProvider.
#include <gtest/gtest.h>

#include <memory>

#include "codec/diag.h"
#include "codec/wire.h"
#include "data/augment_proxy_table.h"
#include "data/count_provider.h"
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

class MapTableTest : public ::testing::Test {
 protected:
  MapTableTest() : table(&provider), id(field(&Entry::id), wire::INTEGER) {
    table.addIndex(&id);
  }
  Entry* add(int i) { return provider.add(new Entry(i, "")); }

  FakeTableProvider provider;
  MapTable table;
  DataNumPacker id;
};

TEST_F(MapTableTest, LookupsFollowIndexOrder) {
  Entry* r30 = add(30);
  Entry* r2 = add(2);
  Entry* r10 = add(10);
  struct Case {
    OID from, next;
    Data* nextRec;
    Data* exact;  // get(from)
  } cases[] = {
      {OID(), OID{2}, r2, nullptr},
      {OID{2}, OID{10}, r10, r2},
      {OID{5}, OID{10}, r10, nullptr},
      {OID{10, 0}, OID{30}, r30, nullptr},
      {OID{30}, OID(), nullptr, r30},
      {OID{4000000000u}, OID(), nullptr, nullptr},
  };
  for (const Case& c : cases) {
    Table::Row row = table.getNext(c.from);
    EXPECT_EQ(row.first, c.next) << c.from;
    EXPECT_EQ(row.second, c.nextRec) << c.from;
    EXPECT_EQ(table.get(c.from), c.exact) << c.from;
  }
  EXPECT_EQ(provider.updates, 12);  // every lookup brings the table up to date
}

TEST(MapTable, KeyJoinsIndexPackersInOrder) {
  FakeTableProvider provider;
  MapTable table(&provider);
  DataNumPacker id(field(&Entry::id), wire::INTEGER);
  DataStringPacker name(field(&Entry::name), wire::OCTET_STRING, 0);
  table.addIndex(&id);
  table.addIndex(&name);
  Entry* r = provider.add(new Entry(7, "ab"));
  EXPECT_EQ(table.get(OID{7, 2, 97, 98}), r);
  EXPECT_EQ(table.get(OID{7, 2, 97}), nullptr);  // a prefix
  Entry stored(0, "");
  table.storeKey(&stored, OID{9, 1, 122});
  EXPECT_EQ(stored.id, 9);
  EXPECT_EQ(stored.name, "z");
}

TEST_F(MapTableTest, EqualKeysCollapseAndTheLaterWins) {
  add(4);
  Entry* later = add(4);
  add(5);
  EXPECT_EQ(table.count(), 2u);
  EXPECT_EQ(table.get(OID{4}), later);
  table.remove(later);
  EXPECT_EQ(table.getNext(OID()).first, OID{5});
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

TEST_F(MapTableTest, SetIsFalseEvenWhenTheProviderAccepted) {
  Entry* r = add(1);
  EXPECT_FALSE(table.set(OID{1}, r));
  EXPECT_EQ(provider.sets, std::vector<Data*>{r});
}

TEST_F(MapTableTest, CountPrefersTheProvidersCheapCount) {
  add(1);
  add(2);
  EXPECT_EQ(table.count(), 2u);
  provider.cheapCount = 42;
  EXPECT_EQ(table.count(), 42u);
  EXPECT_EQ(provider.updates, 1);
}

TEST(StaticMuxTable, RowsComeFromTheirProviders) {
  Entry a(1, "a"), c(3, "c");
  FixedProvider pa(&a), pb(nullptr), pc(&c), replaced(&c);
  StaticMuxTable table;
  table.addProvider(OID{1}, &replaced);
  table.addProvider(OID{1}, &pa);
  table.addProvider(OID{2}, &pb);
  table.addProvider(OID{3}, &pc);
  struct Case {
    OID from, next;
    Data* nextRec;
    Data* exact;
  } cases[] = {
      {OID(), OID{1}, &a, nullptr},
      {OID{1}, OID{2}, nullptr, &a},  // a null record ends the walk here
      {OID{2}, OID{3}, &c, nullptr},
      {OID{3}, OID(), nullptr, &c},
  };
  for (const Case& k : cases) {
    Table::Row row = table.getNext(k.from);
    EXPECT_EQ(row.first, k.next) << k.from;
    EXPECT_EQ(row.second, k.nextRec) << k.from;
    EXPECT_EQ(table.get(k.from), k.exact) << k.from;
  }
  EXPECT_EQ(table.count(), 3u);
  EXPECT_FALSE(table.set(OID{9}, &a));
  EXPECT_TRUE(table.set(OID{1}, &a));
  pc.accept = false;
  EXPECT_FALSE(table.set(OID{3}, &c));
  EXPECT_EQ(pa.sets.size() + pc.sets.size() + replaced.sets.size(), 2u);
}

// Augments the even rows of its base only.
class EvenRows : public AugmentProxyTable {
 public:
  using AugmentProxyTable::AugmentProxyTable;
  Data* augment(const OID&, Data* base) override {
    int id = static_cast<Entry*>(base)->id;
    if (id % 2) return nullptr;
    extra.reset(new Entry(id * 100, ""));
    return extra.get();
  }
  std::unique_ptr<Entry> extra;
};

TEST_F(MapTableTest, AugmentProxyFollowsTheBaseRows) {
  add(1);
  add(2);
  EvenRows aug(&table);
  EXPECT_EQ(aug.count(), 2u);
  EXPECT_EQ(aug.get(OID{1}), nullptr);
  ASSERT_NE(aug.get(OID{2}), nullptr);
  EXPECT_EQ(aug.extra->id, 200);
  EXPECT_EQ(aug.getNext(OID()), Table::Row(OID{1}, nullptr));
  Table::Row second = aug.getNext(OID{1});
  EXPECT_EQ(second, Table::Row(OID{2}, aug.extra.get()));
  EXPECT_FALSE(aug.set(OID{2}, aug.extra.get()));
}

TEST_F(MapTableTest, CountProviderServesTheRowCount) {
  CountProvider counter(&table);
  DataNumPacker count(field(&CountProvider::CountData::count), wire::INTEGER);
  ASSERT_NE(counter.get(), nullptr);
  EXPECT_EQ(count.get(counter.get()), 0);
  add(1);
  add(2);
  EXPECT_EQ(count.get(counter.get()), 2);
}

}  // namespace
