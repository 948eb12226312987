// MapTable: rows keyed by the index arcs of their records.
#include "data/map_table.h"

#include "data/packer.h"

MapTable::MapTable(TableProvider* p) : provider(p) {
  provider->subscribe(this);
}

MapTable::~MapTable() = default;

void MapTable::addIndex(Packer* p) { indexes.push_back(p); }

OID MapTable::getKey(const Data* d) const {
  if (indexes.size() == 1) return indexes[0]->getAsKey(d);
  OID key;
  for (const Packer* p : indexes) key += p->getAsKey(d);
  return key;
}

void MapTable::storeKey(Data* d, const OID& index) const {
  OID rest = index;
  for (Packer* p : indexes) rest = p->setFromKey(d, rest);
}

Data* MapTable::get(const OID& index) {
  provider->updateTables();
  auto it = rows.find(index);
  return it == rows.end() ? nullptr : it->second;
}

Table::Row MapTable::getNext(const OID& index) {
  provider->updateTables();
  auto it = rows.upper_bound(index);
  if (it == rows.end()) return Row(OID(), nullptr);
  return *it;
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

void MapTable::change(Data* d) { rows[getKey(d)] = d; }

void MapTable::remove(Data* d) { rows.erase(getKey(d)); }
