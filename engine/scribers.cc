// The agent's event subscriptions, filled at start-up by the MIB modules
// and plug-ins; see engine/scribers.h.
#include "engine/scribers.h"

std::vector<Scribers> scribers;
