// Test doubles for providers: a scalar provider with a fixed record and a
// table provider that refills its tables once after its rows changed.
#ifndef TESTS_DATA_FAKES_H
#define TESTS_DATA_FAKES_H

#include <vector>

#include "data/data.h"
#include "data/data_provider.h"
#include "data/table_provider.h"

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

// Owns its rows; add() marks the tables stale.
class FakeTableProvider : public TableProvider {
 public:
  ~FakeTableProvider() override {
    for (Data* d : rows) delete d;
  }
  template <class R>
  R* add(R* r) {
    rows.push_back(r);
    fresh = false;
    return r;
  }
  bool setData(Data* d) override {
    sets.push_back(d);
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

  std::vector<Data*> rows, sets;
  std::vector<TableProviderClient*> clients;
  int updates = 0;
  bool fresh = false;
  unsigned cheapCount = 0;  // 0: the count must come from the rows
};

#endif
