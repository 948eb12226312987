// Scalar and columnar leaves: instance lookup and the binding they write.
#include "engine/leaf.h"

#include "codec/wire.h"
#include "data/data_provider.h"
#include "data/packer.h"
#include "data/table.h"
#include "engine/context.h"

Leaf::~Leaf() = default;

bool ScalarLeaf::answer(Context& ctx) {
  Data* record = nullptr;
  if (provider) {
    record = provider->get();
    if (!record) return false;
  }
  ctx.leafName += 0;
  ctx.out.addOID(ctx.leafName, wire::OBJECT_ID);
  packer->pack(ctx, record);
  return true;
}

bool ScalarLeaf::get(Context& ctx) {
  if (ctx.oid != kZeroOid) return false;
  return answer(ctx);
}

bool ScalarLeaf::getNext(Context& ctx) {
  // Only a name before the instance moves onto it; .0 itself moves on.
  if (!ctx.oid.empty()) return false;
  return answer(ctx);
}

bool ScalarLeaf::set(Context& ctx) {
  Data* record = nullptr;
  if (provider) {
    record = provider->get();
    if (!record) return false;
    packer->unpack(record, ctx);
    provider->set(record);
  }
  ctx.out.addOID(ctx.oid, wire::OBJECT_ID);
  packer->pack(ctx, record);
  return true;
}

bool ColumnarLeaf::get(Context& ctx) {
  if (ctx.oid.empty()) return false;
  Data* record = table->get(ctx.oid);
  if (!record) return false;
  ctx.leafName += ctx.oid;
  ctx.out.addOID(ctx.leafName, wire::OBJECT_ID);
  packer->pack(ctx, record);
  return true;
}

bool ColumnarLeaf::getNext(Context& ctx) {
  Table::Row row = table->getNext(ctx.oid);
  if (!row.second) return false;
  ctx.leafName += row.first;
  ctx.out.addOID(ctx.leafName, wire::OBJECT_ID);
  packer->pack(ctx, row.second);
  return true;
}

bool ColumnarLeaf::set(Context& ctx) {
  if (ctx.oid.empty()) return false;
  Data* record = table->get(ctx.setSuffix);
  if (!record) return false;
  packer->unpack(record, ctx);
  table->set(ctx.setSuffix, record);
  // During SET ctx.oid is the binding's whole name; the reply carries it.
  ctx.leafName = ctx.oid;
  ctx.out.addOID(ctx.leafName, wire::OBJECT_ID);
  packer->pack(ctx, record);
  return true;
}
