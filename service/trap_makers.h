// Trap makers: functions that turn an event message into a trap.
//
// A maker fills the bindings, the trap OID and the SNMPv1 generic and
// specific codes from the event and returns true if it handled the event.
// `trapMakers` is consulted in order; the first maker that returns true
// wins. Plug-ins append their own makers in their autorun; the built-in
// vendor maker is appended after the plug-ins are loaded.
#ifndef SERVICE_TRAP_MAKERS_H
#define SERVICE_TRAP_MAKERS_H

#include <map>
#include <vector>

#include "codec/oid.h"
#include "codec/out_stream.h"
#include "platform/message.h"

typedef bool (*TrapMaker)(std::vector<VariableBinding>& bindings,
                          const tarn::message& event, OID& trapOid,
                          int& genericTrap, int& specificTrap);

extern std::vector<TrapMaker> trapMakers;

// warmStart, generic 1, no bindings; always handles.
bool startupTrapMaker(std::vector<VariableBinding>&, const tarn::message&,
                      OID&, int&, int&);
// The vendor event (command 1): 1.3.6.1.4.1.40117.1.1.9, generic 6,
// specific 1, with the one optional binding of fields 1001-1003.
bool zarrowTrapMaker(std::vector<VariableBinding>&, const tarn::message&,
                     OID&, int&, int&);
// linkUp / linkDown from the interface service's link-change events; added
// and removed by the "interfaces" event source.
bool linkTrapMaker(std::vector<VariableBinding>&, const tarn::message&,
                   OID&, int&, int&);

// The last seen state bits per interface id, shared by the interfaces
// module's start-up snapshot and linkTrapMaker.
extern std::map<unsigned, unsigned> linkStates;

#endif
