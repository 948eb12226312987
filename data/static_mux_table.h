// StaticMuxTable: a fixed set of rows, each served by its own DataProvider.
//
// A row's record is whatever its provider gives at that moment; a provider
// that yields null ends a walk of the column at its row even when further
// rows exist (GETNEXT stops at a null record). Providers are not owned.
#ifndef DATA_STATIC_MUX_TABLE_H
#define DATA_STATIC_MUX_TABLE_H

#include <map>

#include "codec/oid.h"
#include "data/table.h"

class DataProvider;

class StaticMuxTable : public Table {
 public:
  StaticMuxTable();
  Data* get(const OID& index) override;
  Row getNext(const OID& index) override;
  bool set(const OID& index, Data* d) override;  // false for an unknown row
  unsigned count() override;
  ~StaticMuxTable() override;
  // Serves row `index` from `p`, replacing an earlier provider.
  virtual void addProvider(const OID& index, DataProvider* p);

 private:
  std::map<OID, DataProvider*> providers;
};

#endif
