// Table: the rows behind the columnar leaves of one SNMP table.
//
// Rows are named by index OIDs that sort as OIDs do (arc by arc, a prefix
// before its extensions). Records returned stay owned by whoever produced
// them and are valid for the current request only.
#ifndef DATA_TABLE_H
#define DATA_TABLE_H

#include <utility>

#include "codec/oid.h"

class Data;

class Table {
 public:
  // A row's index and record; a null record marks the end.
  typedef std::pair<OID, Data*> Row;

  // The row with exactly this index, or null.
  virtual Data* get(const OID& index) = 0;
  // The first row whose index sorts strictly after `index` (an empty index
  // gives the first row); at the end an empty index and null.
  virtual Row getNext(const OID& index) = 0;
  // Carries out a SET on a row; true when it was done.
  virtual bool set(const OID& index, Data* d) = 0;
  virtual unsigned count() = 0;
  virtual ~Table();
};

#endif
