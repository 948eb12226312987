// AugmentProxyTable: the base table's rows with augment()'s records.
#include "data/augment_proxy_table.h"

AugmentProxyTable::AugmentProxyTable(Table* base) : base(base) {}

AugmentProxyTable::~AugmentProxyTable() = default;

Data* AugmentProxyTable::get(const OID& index) {
  Data* record = base->get(index);
  return record ? augment(index, record) : nullptr;
}

Table::Row AugmentProxyTable::getNext(const OID& index) {
  Row row = base->getNext(index);
  if (row.second) row.second = augment(row.first, row.second);
  return row;
}

bool AugmentProxyTable::set(const OID&, Data*) { return false; }

unsigned AugmentProxyTable::count() { return base->count(); }
