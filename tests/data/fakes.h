// Test doubles: a scalar provider with a fixed record, a table provider that
// refills its tables once after its rows changed, and an empty registry for
// the lifetime of a test.
#ifndef TESTS_DATA_FAKES_H
#define TESTS_DATA_FAKES_H

#include <map>
#include <vector>

#include "data/data.h"
#include "data/data_provider.h"
#include "data/packer.h"
#include "data/table_provider.h"
#include "engine/leaf.h"
#include "engine/registry.h"

class FixedProvider : public DataProvider {
 public:
  explicit FixedProvider(Data* d) : record(d) {}
  Data* get() override { return record; }
  bool set(Data* d) override { sets.push_back(d); return accept; }
  Data* record;
  bool accept = true;
  std::vector<Data*> sets;
};

// Owns its rows; add() marks the tables stale.
class FakeTableProvider : public TableProvider {
 public:
  ~FakeTableProvider() override { for (Data* d : rows) delete d; }
  template <class R>
  R* add(R* r) { rows.push_back(r); fresh = false; return r; }
  bool setData(Data* d) override { sets.push_back(d); return true; }
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
  bool getCountCMD(unsigned& n) override { n = cheapCount; return cheapCount != 0; }

  std::vector<Data*> rows, sets;
  std::vector<TableProviderClient*> clients;
  int updates = 0;
  bool fresh = false;
  unsigned cheapCount = 0;  // 0: the count must come from the rows
};

// Swaps in an empty registry; frees every leaf and packer registered
// meanwhile and puts the old registry back when destroyed.
class ScopedRegistry {
 public:
  ScopedRegistry() { saved_.swap(leafs); }
  ~ScopedRegistry() { clear(); leafs.swap(saved_); }
  static void clear() {
    for (auto& entry : leafs) {
      delete entry.second->packer;
      delete entry.second;
    }
    leafs.clear();
  }

 private:
  std::map<OID, Leaf*> saved_;
};

#endif
