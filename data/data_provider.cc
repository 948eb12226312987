// DataProvider and ProxyDataProvider.
#include "data/data_provider.h"

DataProvider::~DataProvider() = default;

ProxyDataProvider::ProxyDataProvider(Data* (*make)()) : make_(make) {}

Data* ProxyDataProvider::get() { return make_(); }

bool ProxyDataProvider::set(Data*) { return false; }
