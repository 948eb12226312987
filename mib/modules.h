// The built-in MIB modules. Each builder allocates its providers, tables,
// packers and leaves and registers them into `leafs`; they are called once
// by the process entry, in this order, and live for the whole process.
#ifndef MIB_MODULES_H
#define MIB_MODULES_H

#include <string>

// System, vendor (software, control, scripts, peers) and host resources;
// sysContact and sysLocation are read through `readAgentIdent`.
void buildSystemModule(void (*readAgentIdent)(std::string* contact, std::string* location));
// IP group and the vendor address tables under 1.3.6.1.4.1.40117.1.1.2.
void buildIpModule();
// Bridge objects under 1.3.6.1.2.1.17 with their two providers.
void buildBridgeModule();
// ifNumber, ifTable, ifXTable, the link-state snapshot and the
// "interfaces" event source.
void buildInterfacesModule();
// The health provider and its one scalar that always exists.
void buildHealthModule();

#endif
