// Request processing: one received datagram in, one reply (or nothing) out.
//
// createReply decodes the message header, authenticates the request
// (community for versions 0-2, user-based security for version 3), hands
// every variable binding to the GET, GETNEXT or SET handler (or, when the
// reply options below ask for it, to the version 2 replies with exception
// values and GetBulk), and patches the error status and index. Any failure
// before the bindings are walked leaves no reply: the manager times out.
// Version 3 messages are dropped while v3Engine (security/v3_server_info.h)
// is null. Diagnostics are single lines on the error stream (diag::err).
#ifndef ENGINE_REQUEST_H
#define ENGINE_REQUEST_H

struct Context;

// Reply behaviours an operator turns on, both off by default; the agent
// service sets them from its settings. `bulk`: answer a version 2c/3
// GetBulk (otherwise it is dropped as an unknown command). `exceptions`:
// version 2c/3 replies carry noSuchObject, noSuchInstance and endOfMibView
// per binding instead of failing with noSuchName, and version 1 replies
// hold no Counter64. See engine/v2_replies.h.
struct ReplyOptions {
  bool bulk = false;
  bool exceptions = false;
};
extern ReplyOptions replyOptions;

// True when ctx.out holds a reply to send. `senderAddress` is the sender's
// IPv4 address as the socket gives it, handed to the community check.
bool createReply(Context& ctx, int senderAddress);

// Per-binding handlers: 0 when the binding was written into ctx.out,
// otherwise an error status (always 2, noSuchName) with nothing written.
int snmpGet(Context& ctx);
int snmpGetNext(Context& ctx);
int snmpSet(Context& ctx);
// GETNEXT repeated requestIndex times from ctx.oid; for MIB code, not
// reachable from createReply.
int snmpGetBulk(Context& ctx);

// The SNMPv3 report handler: writes one binding, the usmStats counter of
// ctx.reportCode as a Counter32, and returns 0.
int snmpV3(Context& ctx);

#endif
