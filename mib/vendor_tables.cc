// The vendor address tables: records and registrations.
#include "mib/vendor_tables.h"

#include <algorithm>

#include "codec/wire.h"
#include "engine/registry.h"
#include "mib/fields.h"
#include "mib/packers.h"
#include "platform/codes.h"

using namespace packers;
using namespace wire;

void VendorTable21Record::build(const tarn::message& m,
                                std::vector<Data*>* out) {
  VendorTable21Record* r = new VendorTable21Record;
  r->id = static_cast<int>(fields::u32(m, tarn::kFieldObjId));
  r->name = fields::str(m, 2);
  const std::vector<uint32_t>& pair = fields::u32s(m, 105);
  if (pair.size() >= 2) {
    r->firstAddress = fields::ipOf(pair[0]);
    r->secondAddress = fields::ipOf(pair[1]);
  }
  r->address3 = fields::ip(m, 101);
  r->address4 = fields::ip(m, 103);
  r->number = static_cast<int>(fields::u32(m, 104));
  r->firstCounter = fields::u64(m, 300);
  r->secondCounter = fields::u64(m, 200);
  r->thirdCounter = static_cast<int>(fields::u32(m, 301));
  r->fourthCounter = static_cast<int>(fields::u32(m, 201));
  out->push_back(r);
}

void VendorTable22Record::build(const tarn::message& m,
                                std::vector<Data*>* out) {
  VendorTable22Record* r = new VendorTable22Record;
  r->id = static_cast<int>(fields::u32(m, tarn::kFieldObjId));
  r->name = fields::str(m, 2);
  const std::vector<uint8_t>& label = fields::raw(m, 12);
  if (label.size() > 7) {
    r->label.assign(label.begin(), std::find(label.begin(), label.end(), 0));
  }
  r->number = static_cast<int>(fields::u32(m, 1));
  r->secondCounter = fields::u64(m, 200);
  r->secondCounterLow = static_cast<int>(static_cast<uint32_t>(r->secondCounter));
  r->fourthCounter = static_cast<int>(fields::u32(m, 201));
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
  provider21.addSource(VendorTable21Record::build, {20, 9}, 7);
  table21.addIndex(&id21);
  provider22.addSource(VendorTable22Record::build, {20, 12}, 7);
  table22.addIndex(&id22);

  addColumnarLeaf(kEntry21 + 2, str(&VendorTable21Record::name), &table21);
  addColumnarLeaf(kEntry21 + 3, ip(&VendorTable21Record::firstAddress), &table21);
  addColumnarLeaf(kEntry21 + 4, ip(&VendorTable21Record::secondAddress), &table21);
  addColumnarLeaf(kEntry21 + 5, ip(&VendorTable21Record::address3), &table21);
  addColumnarLeaf(kEntry21 + 6, ip(&VendorTable21Record::address4), &table21);
  addColumnarLeaf(kEntry21 + 7, num(&VendorTable21Record::number, INTEGER), &table21);
  addColumnarLeaf(kEntry21 + 8, big(&VendorTable21Record::firstCounter, COUNTER64), &table21);
  addColumnarLeaf(kEntry21 + 9, big(&VendorTable21Record::secondCounter, COUNTER64), &table21);
  addColumnarLeaf(kEntry21 + 10, num(&VendorTable21Record::thirdCounter, COUNTER32), &table21);
  addColumnarLeaf(kEntry21 + 11, num(&VendorTable21Record::fourthCounter, COUNTER32), &table21);
  addColumnarLeaf(kEntry22 + 2, str(&VendorTable22Record::name), &table22);
  addColumnarLeaf(kEntry22 + 3, str(&VendorTable22Record::label), &table22);
  addColumnarLeaf(kEntry22 + 4, num(&VendorTable22Record::number, INTEGER), &table22);
  addColumnarLeaf(kEntry22 + 5, num(&VendorTable22Record::secondCounterLow, COUNTER32), &table22);
  addColumnarLeaf(kEntry22 + 6, num(&VendorTable22Record::fourthCounter, COUNTER32), &table22);
  addColumnarLeaf(kEntry22 + 7, big(&VendorTable22Record::secondCounter, COUNTER64), &table22);
}
