// Exception values, GetBulk and Counter64-free version 1 replies. See
// engine/v2_replies.h for the contract.
#include "engine/v2_replies.h"

#include <algorithm>
#include <vector>

#include "codec/wire.h"
#include "engine/context.h"
#include "engine/registry.h"
#include "engine/request.h"

namespace {

// Octets that closing the open sequences may still add to a reply: up to two
// length octets each for the binding list, the PDU and the message, and for
// version 3 the scoped PDU's, its encryption's padding (at most 7 for DES)
// and the four-octet header of the encrypted octet string.
constexpr unsigned kCloseReserve = 24;

bool fits(const Context& ctx, unsigned maxMessage) {
  return ctx.out.size() + kCloseReserve <= maxMessage;
}

// The identifier of the value that follows the name written at `at` (an
// OBJECT IDENTIFIER with a short or 0x81/0x82 length), or 0 if none follows.
unsigned valueTypeAfterName(const std::vector<unsigned char>& d, unsigned at) {
  if (at + 2 > d.size()) return 0;
  unsigned len = d[at + 1], header = 2;
  if (len == 0x81 || len == 0x82) {
    header += len - 0x80;
    if (at + header > d.size()) return 0;
    len = len == 0x81 ? d[at + 2] : (d[at + 2] << 8 | d[at + 3]);
  }
  const size_t value = static_cast<size_t>(at) + header + len;
  return value < d.size() ? d[value] : 0;
}

bool wroteCounter64(const Context& ctx, unsigned mark) {
  return valueTypeAfterName(ctx.out.data, mark) == wire::COUNTER64;
}

// True when a registered object (a leaf) is `name` or one of its ancestors.
bool objectExists(const OID& name) {
  auto it = leafs.upper_bound(name);
  if (it == leafs.begin()) return false;
  --it;
  return name.startsWith(it->first);
}

// One GET binding: the value, or the exception saying what is missing.
void getBinding(Context& ctx, const OID& name) {
  ctx.out.startSeq(wire::SEQUENCE);
  ctx.oid = name;
  if (snmpGet(ctx) != wire::NO_ERROR) {
    ctx.out.addOID(name, wire::OBJECT_ID);
    ctx.out.addNull(objectExists(name) ? wire::NO_SUCH_INSTANCE : wire::NO_SUCH_OBJECT);
  }
  ctx.out.endSeq();
}

// One GETNEXT binding from `name`. True with the binding's name in
// ctx.leafName, or false past the last object, with `name` and endOfMibView
// written.
bool nextBinding(Context& ctx, const OID& name) {
  ctx.out.startSeq(wire::SEQUENCE);
  ctx.oid = name;
  const bool found = snmpGetNext(ctx) == wire::NO_ERROR;
  if (!found) {
    ctx.out.addOID(name, wire::OBJECT_ID);
    ctx.out.addNull(wire::END_OF_MIB_VIEW);
  }
  ctx.out.endSeq();
  return found;
}

// The repeated part of a GetBulk: up to `maxRepetitions` rounds of one
// GETNEXT per repeater, each from that repeater's previous name. A round that
// would not fit is dropped whole; a round at endOfMibView for every repeater
// is the last.
void repeat(Context& ctx, std::vector<OID>& repeaters, long maxRepetitions,
            unsigned maxMessage) {
  if (repeaters.empty()) return;
  for (long round = 0; round < maxRepetitions; ++round) {
    const unsigned mark = ctx.out.size();
    bool allEnded = true;
    for (OID& name : repeaters) {
      if (nextBinding(ctx, name)) {
        name = ctx.leafName;
        allEnded = false;
      }
      if (!fits(ctx, maxMessage)) {
        ctx.out.truncate(mark);
        return;
      }
    }
    if (allEnded) return;
  }
}

}  // namespace

int snmpGetV1(Context& ctx) {
  const unsigned mark = ctx.out.size();
  const int status = snmpGet(ctx);
  if (status != wire::NO_ERROR || !wroteCounter64(ctx, mark)) return status;
  ctx.out.truncate(mark);
  return wire::NO_SUCH_NAME;
}

int snmpGetNextV1(Context& ctx) {
  const unsigned mark = ctx.out.size();
  for (;;) {
    const int status = snmpGetNext(ctx);
    if (status != wire::NO_ERROR || !wroteCounter64(ctx, mark)) return status;
    // Step over it: the next GETNEXT starts from the name just skipped.
    ctx.out.truncate(mark);
    ctx.oid = ctx.leafName;
  }
}

bool answerV2(Context& ctx, unsigned pduType, unsigned maxMessage, int* status) {
  *status = wire::NO_ERROR;
  std::vector<OID> names;
  while (!ctx.in.isSeqEnd()) {
    OID name;
    if (ctx.in.enterSeq() < 0 || !ctx.in.getOID(&name)) return false;
    ctx.in.exitSeq();
    names.push_back(std::move(name));
  }
  const unsigned start = ctx.out.size();
  if (pduType == wire::GET_BULK_REQUEST) {
    // Negative counts are read as 0; more non-repeaters than bindings
    // leaves no repeater.
    const size_t nonRepeaters =
        std::min(names.size(), static_cast<size_t>(std::max(ctx.requestStatus, 0)));
    for (size_t i = 0; i < nonRepeaters && fits(ctx, maxMessage); ++i)
      nextBinding(ctx, names[i]);
    if (fits(ctx, maxMessage)) {
      std::vector<OID> repeaters(names.begin() + static_cast<long>(nonRepeaters), names.end());
      repeat(ctx, repeaters, std::max(ctx.requestIndex, 0), maxMessage);
      return true;
    }
  } else {
    for (const OID& name : names) {
      if (pduType == wire::GET_REQUEST) {
        getBinding(ctx, name);
      } else {
        nextBinding(ctx, name);
      }
      if (!fits(ctx, maxMessage)) break;
    }
    if (fits(ctx, maxMessage)) return true;
  }
  ctx.out.truncate(start);
  *status = wire::TOO_BIG;
  return true;
}
