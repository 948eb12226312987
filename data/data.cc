// Data: out-of-line members of the record base.
#include "data/data.h"

Data::~Data() = default;

void Data::reverseBuild(tarn::message&) {}
