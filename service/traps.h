// The trap encoder: one event message in, one SNMPv1, SNMPv2c or SNMPv3
// Trap message out, as the agent's trap settings say (version, community,
// engine state; read from `loop`, which must be set). The sending side is
// SnmpLooper::send_trap.
#ifndef SERVICE_TRAPS_H
#define SERVICE_TRAPS_H

#include "platform/message.h"

struct Context;

// Encodes the trap for `event` into ctx.out; `agentAddress` (first octet
// most significant) is the agent address of an SNMPv1 trap. False, with a
// diagnostic, when the trap community does not exist or no trap maker
// takes the event; ctx.out then holds a partial message.
bool createTrap(Context& ctx, const tarn::message& event, unsigned agentAddress);

#endif
