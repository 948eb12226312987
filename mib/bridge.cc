// The bridge objects: records and registrations.
#include "mib/bridge.h"

#include "codec/wire.h"
#include "engine/registry.h"
#include "mib/fields.h"
#include "mib/modules.h"
#include "mib/packers.h"

using namespace packers;
using namespace wire;

namespace {

GetFirstProvider* firstBridge = nullptr;

}  // namespace

Data* BridgeRecord::build(const tarn::message& m) {
  if (fields::u32(m, 0x10001) != 12) return nullptr;
  BridgeRecord* r = new BridgeRecord;
  r->address = fields::raw(m, 1001);
  r->priority = static_cast<int>(fields::u32(m, 2));
  return r;
}

void FdbRecord::build(const tarn::message& m, std::vector<Data*>* out) {
  if (!firstBridge || fields::u32(m, 5) != firstBridge->getFirstObjId()) return;
  FdbRecord* r = new FdbRecord;
  r->port = static_cast<int>(fields::u32(m, 1));
  r->address = fields::raw(m, 2);
  r->status = fields::u32(m, 4) == 0 ? 3 : 4;
  out->push_back(r);
}

BridgeModule::BridgeModule()
    : bridge(BridgeRecord::build, {20, 0}), fdbTable(&fdb) {
  firstBridge = &bridge;
  fdb.addSource(FdbRecord::build, {16, 3});
  Packer* fdbAddress = raw(&FdbRecord::address, 6);
  fdbTable.addIndex(fdbAddress);

  const OID fdbEntry("1.3.6.1.2.1.17.4.3.1");
  addScalarLeaf(OID("1.3.6.1.2.1.17.1.1"), raw(&BridgeRecord::address, 6), &bridge);
  addScalarConstNumLeaf(OID("1.3.6.1.2.1.17.2.1"), 3, INTEGER);
  addScalarLeaf(OID("1.3.6.1.2.1.17.2.2"), num(&BridgeRecord::priority, INTEGER), &bridge);
  addColumnarLeaf(fdbEntry + 1, fdbAddress, &fdbTable);
  addColumnarLeaf(fdbEntry + 2, num(&FdbRecord::port, INTEGER), &fdbTable);
  addColumnarLeaf(fdbEntry + 3, num(&FdbRecord::status, INTEGER), &fdbTable);
}

BridgeModule::~BridgeModule() {
  if (firstBridge == &bridge) firstBridge = nullptr;
}

namespace {

BridgeModule* bridgeModule;  // kept for the life of the process

}  // namespace

void buildBridgeModule() { bridgeModule = new BridgeModule; }
