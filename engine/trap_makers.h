// Trap makers: functions that turn an event message into a trap.
//
// A maker fills the bindings, the trap OID and the SNMPv1 generic and
// specific codes from the event and returns true if it handled the event.
// `trapMakers` is consulted in order; the first maker that returns true
// wins. The agent service adds its own makers (service/trap_makers.h), the
// MIB modules theirs while their event source is on, and plug-ins append
// theirs in their autorun.
#ifndef ENGINE_TRAP_MAKERS_H
#define ENGINE_TRAP_MAKERS_H

#include <vector>

#include "codec/oid.h"
#include "codec/out_stream.h"
#include "platform/message.h"

typedef bool (*TrapMaker)(std::vector<VariableBinding>& bindings,
                          const tarn::message& event, OID& trapOid,
                          int& genericTrap, int& specificTrap);

extern std::vector<TrapMaker> trapMakers;

#endif
