// The per-binding handlers: find the leaf for a request name in the
// registry and let it answer.

#include "codec/diag.h"
#include "codec/wire.h"
#include "engine/context.h"
#include "engine/leaf.h"
#include "engine/registry.h"
#include "engine/request.h"

int snmpGet(Context& ctx) {
  auto it = leafs.upper_bound(ctx.oid);
  if (it == leafs.begin()) return wire::NO_SUCH_NAME;
  --it;
  if (!ctx.oid.startsWith(it->first)) return wire::NO_SUCH_NAME;
  ctx.leafName = it->first;
  ctx.oid = ctx.oid.substr(it->first.size());
  return it->second->get(ctx) ? wire::NO_ERROR : wire::NO_SUCH_NAME;
}

int snmpGetNext(Context& ctx) {
  const OID request = ctx.oid;
  auto it = leafs.upper_bound(request);
  if (it != leafs.begin()) {
    --it;
    if (!request.startsWith(it->first)) ++it;
  }
  for (; it != leafs.end(); ++it) {
    const OID& leaf = it->first;
    if (request.startsWith(leaf)) {
      ctx.oid = request.substr(leaf.size());
    } else {
      ctx.oid.clear();
    }
    ctx.leafName = leaf;
    if (it->second->getNext(ctx)) return wire::NO_ERROR;
  }
  return wire::NO_SUCH_NAME;
}

int snmpSet(Context& ctx) {
  ctx.setPrefix = ctx.oid;
  while (!ctx.setPrefix.empty()) {
    auto it = leafs.find(ctx.setPrefix);
    if (it != leafs.end()) {
      diag::err("snmpSet found " + it->first.dotted());
      return it->second->set(ctx) ? wire::NO_ERROR : wire::NO_SUCH_NAME;
    }
    // The suffix keeps what earlier bindings of the request left in it.
    std::vector<unsigned>& prefix = ctx.setPrefix.arcs();
    std::vector<unsigned>& suffix = ctx.setSuffix.arcs();
    suffix.insert(suffix.begin(), prefix.back());
    prefix.pop_back();
  }
  return wire::NO_SUCH_NAME;
}

int snmpGetBulk(Context& ctx) {
  for (int i = 0; i < ctx.requestIndex; ++i) {
    if (i > 0) {
      ctx.out.startSeq(wire::SEQUENCE);
      ctx.oid = ctx.leafName;
    }
    int status = snmpGetNext(ctx);
    if (status != wire::NO_ERROR) {
      diag::err("Error " + std::to_string(status));
      return status;
    }
    // The caller closes the last binding.
    if (i + 1 < ctx.requestIndex) ctx.out.endSeq();
  }
  return wire::NO_ERROR;
}
