// CountProvider: a table's row count as a record.
#include "data/count_provider.h"

#include "data/table.h"

CountProvider::CountProvider(Table* table) : table(table) {}

Data* CountProvider::get() {
  record.count = static_cast<int>(table->count());
  return &record;
}

bool CountProvider::set(Data*) { return false; }
