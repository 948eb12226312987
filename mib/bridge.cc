// The bridge objects: records and registrations.
#include "mib/bridge.h"

#include "codec/wire.h"
#include "engine/registry.h"
#include "mib/fields.h"
#include "mib/modules.h"
#include "mib/packers.h"
#include "mib/service_fields.h"

using namespace packers;
using namespace wire;

namespace {

GetFirstProvider* firstBridge = nullptr;

}  // namespace

Data* BridgeRecord::build(const tarn::message& m) {
  if (fields::u32(m, svc::iface::kKind) != svc::iface::kBridgeKind) return nullptr;
  BridgeRecord* r = new BridgeRecord;
  r->address = fields::raw(m, svc::iface::kHardwareAddress);
  r->priority = static_cast<int>(fields::u32(m, svc::iface::kBridgePriority));
  return r;
}

void FdbRecord::build(const tarn::message& m, std::vector<Data*>* out) {
  if (!firstBridge || fields::u32(m, svc::fdb::kBridge) != firstBridge->getFirstObjId()) return;
  FdbRecord* r = new FdbRecord;
  r->port = static_cast<int>(fields::u32(m, svc::fdb::kPort));
  r->address = fields::raw(m, svc::fdb::kAddress);
  r->status = fields::u32(m, svc::fdb::kStatic) == 0 ? 3 : 4;
  out->push_back(r);
}

BridgeModule::BridgeModule()
    : bridge(BridgeRecord::build, svc::iface::kPath), fdbTable(&fdb) {
  firstBridge = &bridge;
  fdb.addSource(FdbRecord::build, svc::fdb::kPath);
  Packer* fdbAddress = raw(&FdbRecord::address, 6);
  fdbTable.addIndex(fdbAddress);

  const OID fdbEntry("1.3.6.1.2.1.17.4.3.1");
  addScalarLeaf(OID("1.3.6.1.2.1.17.1.1"), raw(&BridgeRecord::address, 6), &bridge);        // dot1dBaseBridgeAddress
  addScalarConstNumLeaf(OID("1.3.6.1.2.1.17.2.1"), 3, INTEGER);                            // dot1dStpProtocolSpecification
  addScalarLeaf(OID("1.3.6.1.2.1.17.2.2"), num(&BridgeRecord::priority, INTEGER), &bridge); // dot1dStpPriority
  addColumnarLeaf(fdbEntry + 1, fdbAddress, &fdbTable);                                    // dot1dTpFdbAddress
  addColumnarLeaf(fdbEntry + 2, num(&FdbRecord::port, INTEGER), &fdbTable);                // dot1dTpFdbPort
  addColumnarLeaf(fdbEntry + 3, num(&FdbRecord::status, INTEGER), &fdbTable);              // dot1dTpFdbStatus
}

BridgeModule::~BridgeModule() {
  if (firstBridge == &bridge) firstBridge = nullptr;
}

namespace {

BridgeModule* bridgeModule;  // kept for the life of the process

}  // namespace

void buildBridgeModule() { bridgeModule = new BridgeModule; }
