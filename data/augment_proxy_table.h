// AugmentProxyTable: follows the rows of a base table and serves a record
// of its own for each, made by augment().
//
// Rows, their order and their count are the base table's; the augmenting
// record of a row may be null (the row then looks absent to GET and ends a
// GETNEXT walk). The augmented columns are read-only. The base table is not
// owned.
#ifndef DATA_AUGMENT_PROXY_TABLE_H
#define DATA_AUGMENT_PROXY_TABLE_H

#include "codec/oid.h"
#include "data/table.h"

class AugmentProxyTable : public Table {
 public:
  explicit AugmentProxyTable(Table* base);
  Data* get(const OID& index) override;
  Row getNext(const OID& index) override;
  bool set(const OID& index, Data* d) override;  // false
  unsigned count() override;                     // the base table's
  ~AugmentProxyTable() override;
  // This table's record for the base row `index` with record `baseRecord`
  // (non-null), or null. The subclass keeps ownership.
  virtual Data* augment(const OID& index, Data* baseRecord) = 0;

 protected:
  Table* base;
};

#endif
