// The vendor address tables: records and registrations.
#include "mib/vendor_tables.h"

#include <algorithm>

#include "codec/wire.h"
#include "engine/registry.h"
#include "mib/fields.h"
#include "mib/packers.h"
#include "mib/service_fields.h"
#include "platform/codes.h"

using namespace packers;
using namespace wire;

void VendorTable21Record::build(const tarn::message& m,
                                std::vector<Data*>* out) {
  VendorTable21Record* r = new VendorTable21Record;
  r->id = static_cast<int>(fields::u32(m, tarn::kFieldObjId));
  r->name = fields::str(m, svc::vendor21::kName);
  const std::vector<uint32_t>& pair = fields::u32s(m, svc::vendor21::kAddressPair);
  if (pair.size() >= 2) {
    r->firstAddress = fields::ipOf(pair[0]);
    r->secondAddress = fields::ipOf(pair[1]);
  }
  r->address3 = fields::ip(m, svc::vendor21::kAddress3);
  r->address4 = fields::ip(m, svc::vendor21::kAddress4);
  r->number = static_cast<int>(fields::u32(m, svc::vendor21::kNumber));
  r->firstCounter = fields::u64(m, svc::vendor21::kFirstCounter);
  r->secondCounter = fields::u64(m, svc::vendor21::kSecondCounter);
  r->thirdCounter = static_cast<int>(fields::u32(m, svc::vendor21::kThirdCounter));
  r->fourthCounter = static_cast<int>(fields::u32(m, svc::vendor21::kFourthCounter));
  out->push_back(r);
}

void VendorTable22Record::build(const tarn::message& m,
                                std::vector<Data*>* out) {
  VendorTable22Record* r = new VendorTable22Record;
  r->id = static_cast<int>(fields::u32(m, tarn::kFieldObjId));
  r->name = fields::str(m, svc::vendor22::kName);
  const std::vector<uint8_t>& label = fields::raw(m, svc::vendor22::kLabel);
  if (label.size() > 7) {
    r->label.assign(label.begin(), std::find(label.begin(), label.end(), 0));
  }
  r->number = static_cast<int>(fields::u32(m, svc::vendor22::kNumber));
  r->secondCounter = fields::u64(m, svc::vendor22::kSecondCounter);
  r->secondCounterLow = static_cast<int>(static_cast<uint32_t>(r->secondCounter));
  r->fourthCounter = static_cast<int>(fields::u32(m, svc::vendor22::kFourthCounter));
  out->push_back(r);
}

namespace {

const OID kEntry21("1.3.6.1.4.1.40117.1.1.2.1.1");
const OID kEntry22("1.3.6.1.4.1.40117.1.1.2.2.1");

}  // namespace

VendorTablesModule::VendorTablesModule()
    : table21(&provider21),
      id21(field(&VendorTable21Record::id), INTEGER),
      table22(&provider22),
      id22(field(&VendorTable22Record::id), INTEGER) {
  provider21.addSource(VendorTable21Record::build, svc::vendor21::kPath, 7);
  table21.addIndex(&id21);
  provider22.addSource(VendorTable22Record::build, svc::vendor22::kPath, 7);
  table22.addIndex(&id22);

  addColumnarLeaf(kEntry21 + 2, str(&VendorTable21Record::name), &table21);  // tarnAddrName
  addColumnarLeaf(kEntry21 + 3, ip(&VendorTable21Record::firstAddress), &table21);  // tarnAddrFirstAddress
  addColumnarLeaf(kEntry21 + 4, ip(&VendorTable21Record::secondAddress), &table21);  // tarnAddrSecondAddress
  addColumnarLeaf(kEntry21 + 5, ip(&VendorTable21Record::address3), &table21);  // tarnAddrThirdAddress
  addColumnarLeaf(kEntry21 + 6, ip(&VendorTable21Record::address4), &table21);  // tarnAddrFourthAddress
  addColumnarLeaf(kEntry21 + 7, num(&VendorTable21Record::number, INTEGER), &table21);  // tarnAddrNumber
  addColumnarLeaf(kEntry21 + 8, big(&VendorTable21Record::firstCounter, COUNTER64), &table21);  // tarnAddrHCCounter1
  addColumnarLeaf(kEntry21 + 9, big(&VendorTable21Record::secondCounter, COUNTER64), &table21);  // tarnAddrHCCounter2
  addColumnarLeaf(kEntry21 + 10, num(&VendorTable21Record::thirdCounter, COUNTER32), &table21);  // tarnAddrCounter3
  addColumnarLeaf(kEntry21 + 11, num(&VendorTable21Record::fourthCounter, COUNTER32), &table21);  // tarnAddrCounter4
  addColumnarLeaf(kEntry22 + 2, str(&VendorTable22Record::name), &table22);  // tarnLabelName
  addColumnarLeaf(kEntry22 + 3, str(&VendorTable22Record::label), &table22);  // tarnLabelText
  addColumnarLeaf(kEntry22 + 4, num(&VendorTable22Record::number, INTEGER), &table22);  // tarnLabelNumber
  addColumnarLeaf(kEntry22 + 5, num(&VendorTable22Record::secondCounterLow, COUNTER32), &table22);  // tarnLabelCounter
  addColumnarLeaf(kEntry22 + 6, num(&VendorTable22Record::fourthCounter, COUNTER32), &table22);  // tarnLabelCounter2
  addColumnarLeaf(kEntry22 + 7, big(&VendorTable22Record::secondCounter, COUNTER64), &table22);  // tarnLabelHCCounter
}
