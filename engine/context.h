// Context: the state of one request datagram from decoding to reply.
//
// Built by the service loop over the received bytes, filled and consumed by
// request processing, destroyed after the reply is sent. Leaves and packers
// read and write it: `oid` is the instance part below the leaf during GET and
// GETNEXT (the full request name during SET), `leafName` the reply name the
// leaf extends, `setSuffix` the arcs SET cut from the end of the name.
#ifndef ENGINE_CONTEXT_H
#define ENGINE_CONTEXT_H

#include <string>

#include "codec/in_stream.h"
#include "codec/oid.h"
#include "codec/out_stream.h"
#include "security/v3_errors.h"

struct Context {
  // Copies the datagram into `in`; everything else empty.
  // The answering leaf's name is assigned, then extended by the instance
  // (up to 13 arcs for a route row); reserving room once spares a regrowth.
  Context(const unsigned char* bytes, unsigned length) : in(bytes, length) {
    leafName.arcs().reserve(32);
  }

  OID oid;
  OID setPrefix;
  OID setSuffix;  // never cleared between bindings of one request
  OID leafName;
  std::string community;  // community (v1/v2c) or user name (v3)
  InStream in;
  OutStream out;
  bool pathMissing = false;
  int requestStatus = 0;  // as read; non-repeaters for a GetBulk PDU
  int requestIndex = 0;   // as read; max-repetitions for a GetBulk PDU
  int reportCode = 0;     // the SNMPv3 error code a report carries

  // Reports sent since start, indexed by SNMPv3 error code.
  static unsigned v3counters[v3err::COUNT];
};

#endif
