// CountProvider: serves the row count of a table as a one-field record,
// for the "number of entries" scalars beside a table.
#ifndef DATA_COUNT_PROVIDER_H
#define DATA_COUNT_PROVIDER_H

#include "data/data.h"
#include "data/data_provider.h"

class Table;

class CountProvider : public DataProvider {
 public:
  class CountData : public Data {
   public:
    int count = 0;  // read with a DataNumPacker
  };

  // `table` is not owned and must outlive the provider.
  explicit CountProvider(Table* table);
  // Refreshes the count and returns the embedded record; never null.
  Data* get() override;
  bool set(Data* d) override;  // false

 private:
  Table* table;
  CountData record;
};

#endif
