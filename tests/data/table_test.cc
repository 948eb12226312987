// Tables: MapTable ordering and lookups over a provider, StaticMuxTable over
// per-row providers, AugmentProxyTable over a base table, CountProvider.
#include "data/map_table.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "codec/diag.h"
#include "codec/wire.h"
#include "data/augment_proxy_table.h"
#include "data/count_provider.h"
#include "data/data_packers.h"
#include "data/data_provider.h"
#include "data/static_mux_table.h"

namespace {

struct Entry : Data {
  Entry(int id, const std::string& name) : id(id), name(name) {}
  int id;
  std::string name;
};

// Hands its rows to its tables on the first update after they changed, as
// a caching provider refills after its cache was dropped.
class FakeTableProvider : public TableProvider {
 public:
  ~FakeTableProvider() override {
    for (Data* d : rows) delete d;
  }
  bool setData(Data* d) override {
    setCalls.push_back(d);
    return true;
  }
  void subscribe(TableProviderClient* c) override { clients.push_back(c); }
  void updateTables() override {
    ++updates;
    if (fresh) return;
    fresh = true;
    for (TableProviderClient* c : clients) {
      c->clear();
      for (Data* d : rows) c->change(d);
    }
  }
  bool getCountCMD(unsigned& n) override {
    n = cheapCount;
    return cheapCount != 0;
  }

  std::vector<Data*> rows;
  std::vector<TableProviderClient*> clients;
  std::vector<Data*> setCalls;
  int updates = 0;
  bool fresh = false;
  unsigned cheapCount = 0;
};

class MapTableTest : public ::testing::Test {
 protected:
  MapTableTest() : table(&provider), id(field(&Entry::id), wire::INTEGER) {
    table.addIndex(&id);
  }
  Entry* add(int i, const char* name) {
    Entry* r = new Entry(i, name);
    provider.rows.push_back(r);
    provider.fresh = false;
    return r;
  }

  FakeTableProvider provider;
  MapTable table;
  DataNumPacker id;
};

TEST_F(MapTableTest, GetNextWalksInIndexOrder) {
  Entry* r2 = add(2, "b");
  Entry* r10 = add(10, "c");
  Entry* r30 = add(30, "d");
  struct Case {
    OID from, index;
    Data* rec;
  } cases[] = {
      {OID(), OID{2}, r2},          {OID{1, 5}, OID{2}, r2},
      {OID{2}, OID{10}, r10},       {OID{5}, OID{10}, r10},
      {OID{10, 0}, OID{30}, r30},   {OID{30}, OID(), nullptr},
      {OID{4000000000u}, OID(), nullptr},
  };
  for (const Case& c : cases) {
    Table::Row row = table.getNext(c.from);
    EXPECT_EQ(row.first, c.index) << c.from;
    EXPECT_EQ(row.second, c.rec) << c.from;
  }
  EXPECT_EQ(provider.updates, 7);
}

TEST_F(MapTableTest, GetFindsOnlyExactIndexes) {
  Entry* r7 = add(7, "x");
  struct Case {
    OID index;
    Data* rec;
  } cases[] = {{OID{7}, r7}, {OID(), nullptr}, {OID{7, 0}, nullptr}, {OID{8}, nullptr}};
  for (const Case& c : cases) EXPECT_EQ(table.get(c.index), c.rec) << c.index;
}

TEST(MapTable, KeyJoinsIndexPackersAndAPrefixFindsNothing) {
  FakeTableProvider provider;
  MapTable table(&provider);
  DataNumPacker id(field(&Entry::id), wire::INTEGER);
  DataStringPacker name(field(&Entry::name), wire::OCTET_STRING, 0);
  table.addIndex(&id);
  table.addIndex(&name);
  Entry* r = new Entry(7, "ab");
  provider.rows.push_back(r);
  EXPECT_EQ(table.getKey(r), (OID{7, 2, 97, 98}));
  EXPECT_EQ(table.get(OID{7, 2, 97, 98}), r);
  EXPECT_EQ(table.get(OID{7}), nullptr);
  EXPECT_EQ(table.get(OID{7, 2, 97}), nullptr);

  Entry stored(0, "");
  table.storeKey(&stored, OID{9, 1, 122});
  EXPECT_EQ(stored.id, 9);
  EXPECT_EQ(stored.name, "z");
}

TEST_F(MapTableTest, EqualKeysCollapseAndTheLaterWins) {
  add(4, "first");
  Entry* later = add(4, "later");
  add(5, "other");
  EXPECT_EQ(table.count(), 2u);
  EXPECT_EQ(table.get(OID{4}), later);
  table.remove(later);
  EXPECT_EQ(table.getNext(OID{}).first, OID{5});
}

TEST(MapTable, RowWithoutAValidKeyIsNeverServed) {
  FakeTableProvider provider;
  MapTable table(&provider);
  DataStringPacker mac(field(&Entry::name), wire::OCTET_STRING, 6);
  table.addIndex(&mac);
  provider.rows.push_back(new Entry(1, "12345"));  // 5 bytes for a 6-byte key
  diag::Capture capture;
  EXPECT_EQ(table.getNext(OID()).second, nullptr);
  EXPECT_EQ(table.count(), 1u);  // it is there, under the empty key
  EXPECT_EQ(capture.err(), "inconsistent key length\n");
}

TEST_F(MapTableTest, SetIsFalseEvenWhenTheProviderAccepted) {
  Entry* r = add(1, "a");
  EXPECT_FALSE(table.set(OID{1}, r));
  EXPECT_EQ(provider.setCalls, std::vector<Data*>{r});
}

TEST_F(MapTableTest, CountPrefersTheProvidersCheapCount) {
  add(1, "a");
  add(2, "b");
  EXPECT_EQ(table.count(), 2u);
  EXPECT_EQ(provider.updates, 1);
  provider.cheapCount = 42;
  EXPECT_EQ(table.count(), 42u);
  EXPECT_EQ(provider.updates, 1);
}

// A fixed record, or none.
class FixedProvider : public DataProvider {
 public:
  explicit FixedProvider(Data* d) : record(d) {}
  Data* get() override { return record; }
  bool set(Data* d) override {
    sets.push_back(d);
    return accept;
  }
  Data* record;
  bool accept = true;
  std::vector<Data*> sets;
};

TEST(StaticMuxTable, RowsComeFromTheirProviders) {
  Entry a(1, "a"), c(3, "c");
  FixedProvider pa(&a), pb(nullptr), pc(&c), replaced(&c);
  StaticMuxTable table;
  table.addProvider(OID{1}, &replaced);
  table.addProvider(OID{1}, &pa);
  table.addProvider(OID{2}, &pb);
  table.addProvider(OID{3}, &pc);
  struct Case {
    OID from, index;
    Data* rec;
  } cases[] = {
      {OID(), OID{1}, &a},
      // A provider that yields null ends the walk even with rows after it.
      {OID{1}, OID{2}, nullptr},
      {OID{2}, OID{3}, &c},
      {OID{3}, OID(), nullptr},
  };
  for (const Case& k : cases) {
    Table::Row row = table.getNext(k.from);
    EXPECT_EQ(row.first, k.index) << k.from;
    EXPECT_EQ(row.second, k.rec) << k.from;
  }
  EXPECT_EQ(table.get(OID{1}), &a);
  EXPECT_EQ(table.get(OID{2}), nullptr);
  EXPECT_EQ(table.get(OID{4}), nullptr);
  EXPECT_EQ(table.count(), 3u);

  EXPECT_FALSE(table.set(OID{9}, &a));
  EXPECT_TRUE(table.set(OID{1}, &a));
  pc.accept = false;
  EXPECT_FALSE(table.set(OID{3}, &c));
  EXPECT_EQ(pa.sets.size() + pb.sets.size() + pc.sets.size() + replaced.sets.size(), 2u);
}

// Augments the even rows of its base only.
class EvenRows : public AugmentProxyTable {
 public:
  explicit EvenRows(Table* base) : AugmentProxyTable(base) {}
  Data* augment(const OID&, Data* baseRecord) override {
    Entry* r = static_cast<Entry*>(baseRecord);
    if (r->id % 2) return nullptr;
    extra.reset(new Entry(r->id * 100, "extra"));
    return extra.get();
  }
  std::unique_ptr<Entry> extra;
};

TEST_F(MapTableTest, AugmentProxyFollowsTheBaseRows) {
  add(1, "odd");
  add(2, "even");
  EvenRows aug(&table);
  EXPECT_EQ(aug.count(), 2u);
  EXPECT_EQ(aug.get(OID{1}), nullptr);
  EXPECT_EQ(aug.get(OID{3}), nullptr);
  ASSERT_NE(aug.get(OID{2}), nullptr);
  EXPECT_EQ(aug.extra->id, 200);

  Table::Row first = aug.getNext(OID());
  EXPECT_EQ(first.first, OID{1});
  EXPECT_EQ(first.second, nullptr);
  Table::Row second = aug.getNext(OID{1});
  EXPECT_EQ(second.first, OID{2});
  EXPECT_EQ(second.second, aug.extra.get());
  EXPECT_FALSE(aug.set(OID{2}, second.second));
  EXPECT_TRUE(provider.setCalls.empty());
}

TEST_F(MapTableTest, CountProviderServesTheRowCount) {
  CountProvider counter(&table);
  DataNumPacker count(field(&CountProvider::CountData::count), wire::INTEGER);
  Data* d = counter.get();
  ASSERT_NE(d, nullptr);
  EXPECT_EQ(count.get(d), 0);
  add(1, "a");
  add(2, "b");
  EXPECT_EQ(count.get(counter.get()), 2);
  EXPECT_FALSE(counter.set(d));
}

Data* theRecord() {
  static Entry row(1, "proxy");
  return &row;
}

TEST(ProxyDataProvider, AsksItsFunctionEveryTimeAndRefusesSets) {
  ProxyDataProvider p(theRecord);
  EXPECT_EQ(p.get(), theRecord());
  EXPECT_FALSE(p.set(p.get()));
}

}  // namespace
