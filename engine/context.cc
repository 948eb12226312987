#include "engine/context.h"

unsigned Context::v3counters[6];
