// snmpV3: the binding of an SNMPv3 Report PDU, one usmStats counter.
#include "codec/wire.h"
#include "engine/context.h"
#include "engine/request.h"
#include "security/v3_errors.h"

namespace {
// usmStats; the counter for error code e is arc e + 1 below it.
const OID kUsmStats("1.3.6.1.6.3.15.1.1");
}  // namespace

int snmpV3(Context& ctx) {
  const unsigned code = static_cast<unsigned>(ctx.reportCode) % v3err::COUNT;
  ctx.out.startSeq(wire::SEQUENCE);
  ctx.out.addOID(kUsmStats + (code + 1) + 0u, wire::OBJECT_ID);
  ctx.out.add(Context::v3counters[code], wire::COUNTER32);
  ctx.out.endSeq();
  return wire::NO_ERROR;
}
