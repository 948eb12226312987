// MapTable: an ordered index of the records a TableProvider delivers.
//
// The provider refills the table through the TableProviderClient calls;
// every lookup first asks the provider to bring the table up to date. A
// row's key is built from the record alone, joining the index arcs of the
// index packers in order, so two records with equal index fields collapse
// into one row (the later wins), and a record whose index cannot be built
// gets the empty key and is never served. Records, packers and the provider
// are not owned; the provider must outlive the table.
#ifndef DATA_MAP_TABLE_H
#define DATA_MAP_TABLE_H

#include <vector>

#include "codec/oid.h"
#include "data/row_index.h"
#include "data/table.h"
#include "data/table_provider.h"

class Packer;

class MapTable : public Table, public TableProviderClient {
 public:
  // Subscribes itself to `provider` (non-null).
  explicit MapTable(TableProvider* provider);
  Data* get(const OID& index) override;
  Row getNext(const OID& index) override;
  // Hands the record to the provider's setData and returns false whatever
  // it did.
  bool set(const OID& index, Data* d) override;
  // The provider's count when it can give one cheaply, else the rows after
  // an update.
  unsigned count() override;
  ~MapTable() override;

  // Appends an index packer; all are added before the first row arrives.
  virtual void addIndex(Packer* p);
  virtual OID getKey(const Data* d) const;
  // Stores the index arcs into the record's index fields.
  virtual void storeKey(Data* d, const OID& index) const;

  // Forgets every row and gives their memory back.
  void clear() override;
  void change(Data* d) override;
  void remove(Data* d) override;

 private:
  // getKey() into *key, reusing its storage.
  void keyOf(const Data* d, OID* key) const;

  RowIndex rows;
  OID scratch;  // the key of the row being changed
  std::vector<Packer*> indexes;
  TableProvider* provider;
};

#endif
