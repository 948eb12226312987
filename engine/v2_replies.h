// Replies with the SNMPv2 exception values, GetBulk, and version 1 replies
// that hold no Counter64: the reply behaviours an operator turns on with the
// agent's `bulk` and `exceptions` settings. createReply uses them only when
// a setting asks for them; with both off every reply is built as before.
//
// Each function answers the variable bindings of one PDU: ctx.in stands at
// the first binding, ctx.out inside the reply's (open) binding list.
#ifndef ENGINE_V2_REPLIES_H
#define ENGINE_V2_REPLIES_H

struct Context;

// Per-binding handlers for version 1 replies (RFC 3584 4.2.2.1), same
// contract as snmpGet and snmpGetNext: a GET of a Counter64 fails with
// noSuchName, a GETNEXT steps over Counter64 objects to the next other one.
int snmpGetV1(Context& ctx);
int snmpGetNextV1(Context& ctx);

// The binding list of a version 2c/3 GET, GETNEXT or GetBulk (`pduType`),
// per RFC 3416 4.2.1-4.2.3: a missing object or instance, or a GETNEXT past
// the last object, gets noSuchObject, noSuchInstance or endOfMibView in its
// binding; the request never fails for it. A GetBulk reply keeps whole
// repetitions so that the message stays within `maxMessage` octets; when
// even the non-repeaters do not fit, the list is empty and the status
// tooBig. Returns false when a binding cannot be decoded (the request is
// dropped), else true with the error status in *status (0 or tooBig).
bool answerV2(Context& ctx, unsigned pduType, unsigned maxMessage, int* status);

#endif
