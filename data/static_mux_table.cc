// StaticMuxTable: rows looked up in a fixed map of providers.
#include "data/static_mux_table.h"

#include "data/data_provider.h"

StaticMuxTable::StaticMuxTable() = default;

StaticMuxTable::~StaticMuxTable() = default;

void StaticMuxTable::addProvider(const OID& index, DataProvider* p) {
  providers[index] = p;
}

Data* StaticMuxTable::get(const OID& index) {
  auto it = providers.find(index);
  return it == providers.end() ? nullptr : it->second->get();
}

Table::Row StaticMuxTable::getNext(const OID& index) {
  auto it = providers.upper_bound(index);
  if (it == providers.end()) return Row(OID(), nullptr);
  return Row(it->first, it->second->get());
}

bool StaticMuxTable::set(const OID& index, Data* d) {
  auto it = providers.find(index);
  return it != providers.end() && it->second->set(d);
}

unsigned StaticMuxTable::count() {
  return static_cast<unsigned>(providers.size());
}
