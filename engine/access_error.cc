#include "engine/access_error.h"

#include "codec/wire.h"
#include "engine/context.h"

void PathNotExists::apply(Context& ctx) const {
  ctx.out.addErrorStatus(wire::NO_SUCH_NAME);
  ctx.pathMissing = true;
}

void MiscError::apply(Context& ctx) const {
  ctx.out.addErrorStatus(wire::GEN_ERR);
}

void InvalidOID::apply(Context& ctx) const {
  ctx.out.addErrorStatus(wire::GEN_ERR);
}
