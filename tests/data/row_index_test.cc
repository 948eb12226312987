// RowIndex against an ordered map of OIDs, the structure it replaces: the
// same rows, the same order, the same answers, whatever order rows come in.
#include <gtest/gtest.h>

#include <map>
#include <random>

#include "data/data.h"
#include "data/record_pool.h"
#include "data/row_index.h"

namespace {

Data* rec(uintptr_t n) { return reinterpret_cast<Data*>(n * 16); }

// Every lookup of `probe` agrees with the map.
void expectSame(RowIndex& index, const std::map<OID, Data*>& model, const OID& probe) {
  auto exact = model.find(probe);
  EXPECT_EQ(index.find(probe), exact == model.end() ? nullptr : exact->second) << probe.dotted();
  auto next = model.upper_bound(probe);
  OID got{99};
  Data* d = index.findNext(probe, &got);
  if (next == model.end()) {
    EXPECT_EQ(d, nullptr) << probe.dotted();
  } else {
    EXPECT_EQ(d, next->second) << probe.dotted();
    EXPECT_EQ(got, next->first) << probe.dotted();
  }
}

// Arcs on each side of every change of code length, prefixes, the empty
// index: each pair sorts as OIDs do.
TEST(RowIndex, OrdersAsOids) {
  const unsigned arcs[] = {0, 1, 127, 128, 247, 248, 255, 256, 65535, 65536,
                           0xFFFFFF, 0x1000000, 0xFFFFFFFFu};
  std::map<OID, Data*> model;
  RowIndex index;
  uintptr_t n = 1;
  std::vector<OID> keys = {OID()};
  for (unsigned a : arcs) {
    keys.push_back(OID{a});
    keys.push_back(OID{a, 0});
    keys.push_back(OID{7, a, 255});
  }
  // Appended backwards, so that the first lookup has to sort.
  for (auto k = keys.rbegin(); k != keys.rend(); ++k) {
    index.append(*k, rec(n));
    model[*k] = rec(n++);
  }
  EXPECT_EQ(index.size(), model.size());
  for (const OID& k : keys) {
    expectSame(index, model, k);
    expectSame(index, model, k + 0u);
    expectSame(index, model, k + 0xFFFFFFFFu);
  }
  // A walk from the empty index visits every row in order.
  OID at;
  size_t walked = 0;
  for (auto it = model.upper_bound(OID()); it != model.end(); ++it, ++walked) {
    ASSERT_EQ(index.findNext(at, &at), it->second);
    EXPECT_EQ(at, it->first);
  }
  EXPECT_EQ(walked, model.size() - 1);  // the empty index is never walked to
}

// Replacing, removing (a null record), appending after lookups in order and
// out of order, and clearing, in random mixes checked against the map.
TEST(RowIndex, ChangesInAnyOrderMatchTheMap) {
  std::mt19937 random(7);
  for (int round = 0; round < 40; ++round) {
    std::map<OID, Data*> model;
    RowIndex index;
    const bool sorted = round % 2 == 0;  // half the rounds append in order
    unsigned next = 0;
    for (int step = 0; step < 300; ++step) {
      OID key;
      if (sorted) {
        next += 1 + random() % 3;
        key = OID{next / 256, next % 256};
      } else {
        key = OID{static_cast<unsigned>(random() % 6), static_cast<unsigned>(random() % 300)};
        if (random() % 4 == 0) key += static_cast<unsigned>(random());
      }
      Data* d = (!sorted && random() % 5 == 0) ? nullptr : rec(step + 1);
      index.append(key, d);
      if (d) {
        model[key] = d;
      } else {
        model.erase(key);
      }
      if (random() % 25 == 0) {
        EXPECT_EQ(index.size(), model.size());
        expectSame(index, model, key);
        expectSame(index, model, OID{static_cast<unsigned>(random() % 6)});
      }
    }
    EXPECT_EQ(index.size(), model.size());
    for (const auto& row : model) expectSame(index, model, row.first);
    index.clear();
    EXPECT_EQ(index.size(), 0u);
    EXPECT_EQ(index.findNext(OID(), nullptr), nullptr);
  }
}

// An index too long to keep is kept under the empty index.
TEST(RowIndex, OverlongIndexFallsBackToTheEmptyOne) {
  RowIndex index;
  OID huge;
  for (int i = 0; i < 5000; ++i) huge += 0xFFFFFFFFu;
  index.append(huge, rec(1));
  EXPECT_EQ(index.find(OID()), rec(1));
  EXPECT_EQ(index.find(huge), nullptr);
  OID next;
  EXPECT_EQ(index.findNext(OID(), &next), nullptr);
}

struct Pooled : Data, PooledRecord<Pooled> {
  int value[5] = {};
};
struct Bigger : Pooled {
  int more[9] = {};
};

// Pooled records reuse their slots, a class derived from one takes the heap,
// and the pool gives everything back with its last record.
TEST(RecordPool, ReusesSlotsAndEmptiesWithTheLastRecord) {
  RecordPool& pool = Pooled::pool();
  std::vector<Data*> made;
  for (int i = 0; i < 20000; ++i) made.push_back(new Pooled);
  Data* bigger = new Bigger;
  EXPECT_EQ(pool.live(), 20000u);
  Data* freed = made[123];
  delete freed;
  made[123] = new Pooled;
  EXPECT_EQ(made[123], freed);
  delete bigger;
  EXPECT_EQ(pool.live(), 20000u);
  RecordList list;
  for (Data* d : made) list.push_back(d);
  EXPECT_EQ(list.size(), made.size());
  size_t i = 0;
  for (Data* d : list) EXPECT_EQ(d, made[i++]);
  for (Data* d : list) delete d;
  list.clear();
  EXPECT_EQ(pool.live(), 0u);
  EXPECT_TRUE(list.empty());
}

}  // namespace
