// The agent's event subscriptions, filled at start-up by the MIB modules
// and plug-ins; see data/scribers.h.
#include "data/scribers.h"

std::vector<Scribers> scribers;
