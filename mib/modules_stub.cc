// Empty module builders so that the daemon links while the MIB modules are
// built elsewhere; the real modules replace this file.
#include "mib/modules.h"

void buildSystemModule() {}
void buildIpModule() {}
void buildBridgeModule() {}
void buildInterfacesModule() {}
void buildHealthModule() {}
