// Out-of-line members of TableProvider and TableProviderClient.
#include "data/table_provider.h"

TableProviderClient::~TableProviderClient() = default;

bool TableProvider::getCountCMD(unsigned&) { return false; }

TableProvider::~TableProvider() = default;
