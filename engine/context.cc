#include "engine/context.h"

unsigned Context::v3counters[v3err::COUNT];
