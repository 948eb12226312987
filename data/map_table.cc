// MapTable: rows keyed by the index arcs of their records.
#include "data/map_table.h"

#include "data/packer.h"

MapTable::MapTable(TableProvider* p) : provider(p) {
  provider->subscribe(this);
}

MapTable::~MapTable() = default;

void MapTable::addIndex(Packer* p) { indexes.push_back(p); }

OID MapTable::getKey(const Data* d) const {
  OID key;
  keyOf(d, &key);
  return key;
}

void MapTable::keyOf(const Data* d, OID* key) const {
  key->clear();
  for (const Packer* p : indexes) p->appendKey(d, key);
}

void MapTable::storeKey(Data* d, const OID& index) const {
  OID rest = index;
  for (Packer* p : indexes) rest = p->setFromKey(d, rest);
}

Data* MapTable::get(const OID& index) {
  provider->updateTables();
  return rows.find(index);
}

Table::Row MapTable::getNext(const OID& index) {
  provider->updateTables();
  Row row;
  row.second = rows.findNext(index, &row.first);
  return row;
}

bool MapTable::set(const OID&, Data* d) {
  provider->setData(d);
  return false;
}

unsigned MapTable::count() {
  unsigned n;
  if (provider->getCountCMD(n)) return n;
  provider->updateTables();
  return static_cast<unsigned>(rows.size());
}

void MapTable::clear() { rows.clear(); }

void MapTable::change(Data* d) {
  keyOf(d, &scratch);
  rows.append(scratch, d);
}

void MapTable::remove(Data* d) {
  keyOf(d, &scratch);
  rows.append(scratch, nullptr);
}
