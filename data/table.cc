// Out-of-line members of the Table interface.
#include "data/table.h"

Table::~Table() = default;
