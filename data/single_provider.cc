// SingleProvider: a one-record cache over getData().
#include "data/single_provider.h"

#include "data/data.h"

SingleProvider::SingleProvider() : CacheUpdateTimeout(25, 200), data(nullptr) {}

SingleProvider::~SingleProvider() { delete data; }

Data* SingleProvider::get() {
  accessData();
  return data;
}

bool SingleProvider::set(Data* d) { return setData(d); }

void SingleProvider::clearCache() {
  delete data;
  data = nullptr;
}

void SingleProvider::updateCache() {
  delete data;  // normally null: the cache was cleared before refilling
  data = getData();
}
