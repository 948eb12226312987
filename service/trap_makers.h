// The agent service's own trap makers (see engine/trap_makers.h): the
// start trap and the vendor event. The service puts the start maker in
// `trapMakers` for its start trap; the daemon appends the vendor maker
// after the plug-ins are loaded.
#ifndef SERVICE_TRAP_MAKERS_H
#define SERVICE_TRAP_MAKERS_H

#include <vector>

#include "engine/trap_makers.h"

// warmStart, generic 1, no bindings; always handles.
bool startupTrapMaker(std::vector<VariableBinding>&, const tarn::message&,
                      OID&, int&, int&);
// The vendor event (command 1): 1.3.6.1.4.1.40117.1.1.9, generic 6,
// specific 1, with the one optional binding of fields 1001-1003.
bool zarrowTrapMaker(std::vector<VariableBinding>&, const tarn::message&,
                     OID&, int&, int&);

#endif
