// The list of trap makers; see engine/trap_makers.h.
#include "engine/trap_makers.h"

std::vector<TrapMaker> trapMakers;
