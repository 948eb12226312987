// The interfaces group: records, counters, link states and registrations.
#include "mib/interfaces.h"

#include <algorithm>

#include "codec/wire.h"
#include "data/scribers.h"
#include "engine/registry.h"
#include "mib/fields.h"
#include "mib/modules.h"
#include "mib/packers.h"
#include "platform/codes.h"
#include "platform/errors.h"
#include "platform/looper.h"
#include "service/trap_makers.h"

using namespace packers;
using namespace wire;

namespace {

enum : unsigned {
  kKind = 0x10001,
  kLinkRate = 1010,
  kParent = 2002,
  kLinkCmd = 1,        // list request of the link-state snapshot
  kLinkEvent = 0x10004,
};

const std::vector<unsigned> kInterfaces{20, 0};

// ifSpeed and ifType by interface kind; kind 0 stands for every kind
// outside 1 to 35. Kinds 1 and 30 take their speed from a link rate.
struct KindRow {
  int speed;
  int type;
} const kKinds[] = {
    {10000000, 1},    // 0: any other kind
    {0, 6},           // 1: by link rate
    {2000000, 188},   // 2
    {10000000, 1},    // 3
    {10000000, 1},    // 4
    {11000000, 71},   // 5
    {10000000, 188},  // 6
    {64000, 118},     // 7
    {64000, 118},     // 8
    {10000000, 1},    // 9
    {10000000, 23},   // 10
    {10000000, 23},   // 11
    {100000000, 209}, // 12
    {11000000, 71},   // 13
    {10000000, 1},    // 14
    {64000, 63},      // 15
    {10000000, 23},   // 16
    {10000000, 131},  // 17
    {10000000, 23},   // 18
    {57600, 23},      // 19
    {57600, 23},      // 20
    {128000, 131},    // 21
    {64000, 63},      // 22
    {64000, 118},     // 23
    {11000000, 71},   // 24
    {10000000, 1},    // 25
    {10000000, 1},    // 26
    {64000, 32},      // 27
    {64000, 118},     // 28
    {10000000, 1},    // 29
    {0, 135},         // 30: the parent's link rate
    {10000000, 1},    // 31
    {10000000, 1},    // 32
    {10000000, 23},   // 33
    {10000000, 23},   // 34
    {11000000, 71},   // 35
};

// The link rate of interface `parent`; an empty or failed answer reads as
// a rate without a speed.
unsigned parentLinkRate(unsigned parent) {
  tarn::message msg = tarn::command(kInterfaces, tarn::kCmdGetObj);
  msg.insert(tarn::u32_id(tarn::kFieldObjId), parent);
  tarn::message reply = tarn::getLooper()->exchangeMessage(msg, 6000);
  if (tarn::isError(reply)) return 0xFFFFFFFF;
  return fields::u32(reply, kLinkRate, 0xFFFFFFFF);
}

tarn::message linkFilter() {
  tarn::message filter;
  filter.insert(tarn::u32_id(0x10002), 0);
  filter.insert(tarn::u32_id(0x10003), 128);
  return filter;
}

}  // namespace

int speedOfLinkRate(unsigned rate) {
  switch (rate) {
    case 0: return 10000000;
    case 1: return 100000000;
    case 2: return 1000000000;
    default: return 0;
  }
}

void InterfaceRecord::build(const tarn::message& m, std::vector<Data*>* out) {
  InterfaceRecord* r = new InterfaceRecord;
  r->index = static_cast<int>(fields::u32(m, tarn::kFieldObjId));
  r->mtu = static_cast<int>(fields::u32(m, 0x10064));
  unsigned kind = fields::u32(m, kKind);
  const KindRow& row = kKinds[kind <= 35 ? kind : 0];
  r->type = row.type;
  if (kind == 1) {
    r->speed = speedOfLinkRate(fields::u32(m, kLinkRate));
  } else if (kind == 30) {
    r->speed = speedOfLinkRate(parentLinkRate(fields::u32(m, kParent)));
  } else {
    r->speed = row.speed;
  }
  r->operStatus = fields::flag(m, 0x1000e) ? 1 : 2;
  r->adminStatus = fields::flag(m, 0xfe000a) ? 2 : 1;
  r->name = fields::str(m, 0x10006);
  r->hardwareAddress = fields::raw(m, 1001);
  out->push_back(r);
}

void InterfaceCounters::fill(const tarn::message& m) {
  inOctets64 = fields::u64(m, 0x100fc);
  outOctets64 = fields::u64(m, 0x100fd);
  inPackets64 = fields::u64(m, 0x100fe);
  outPackets64 = fields::u64(m, 0x100ff);
  inOctets = static_cast<int>(static_cast<uint32_t>(inOctets64));
  outOctets = static_cast<int>(static_cast<uint32_t>(outOctets64));
  inPackets = static_cast<int>(static_cast<uint32_t>(inPackets64));
  outPackets = static_cast<int>(static_cast<uint32_t>(outPackets64));
  inErrors = static_cast<int>(fields::u32(m, 0x100fa));
  outErrors = static_cast<int>(fields::u32(m, 0x100fb));
  inDiscards = static_cast<int>(fields::u32(m, 0x100f8));
  outDiscards = static_cast<int>(fields::u32(m, 0x100f9));
}

CountersTable::CountersTable(Table* rows)
    : AugmentProxyTable(rows), CacheUpdateTimeout(25, 95) {}

// Frees the cached records; this class's own clearCache is meant here.
CountersTable::~CountersTable() {
  // cppcheck-suppress virtualCallInConstructor
  CountersTable::clearCache();
}

Data* CountersTable::augment(const OID&, Data* baseRecord) {
  accessData();
  unsigned index =
      static_cast<unsigned>(static_cast<InterfaceRecord*>(baseRecord)->index);
  InterfaceCounters*& r = records[index];
  if (r) return r;
  r = new InterfaceCounters;
  tarn::message msg;
  msg.insert(tarn::u32_array_id(tarn::kFieldDst), kInterfaces);
  msg.insert(tarn::u32_id(tarn::kFieldObjId), index);
  msg.insert(tarn::u32_id(tarn::kFieldMaxCount), 256);
  tarn::message reply =
      tarn::getLooper()->exchangeCmd(msg, tarn::kCmdGetObj, 6000);
  if (!tarn::isError(reply)) r->fill(reply);
  return r;
}

void CountersTable::clearCache() {
  for (auto& entry : records) delete entry.second;
  records.clear();
}

void CountersTable::updateCache() {}

void takeLinkSnapshot() {
  tarn::message msg = tarn::command(kInterfaces, kLinkCmd);
  walkPages(msg, [](const tarn::message& item) {
    if (item.has(tarn::u32_id(tarn::kFieldObjId)) &&
        item.has(tarn::u32_id(0x10002)) && item.has(tarn::u32_id(0x10003)) &&
        !(fields::u32(item, 0x10002) & 0x80)) {
      linkStates[fields::u32(item, tarn::kFieldObjId)] =
          fields::u32(item, 0x10003) & 0x10103;
    }
    return true;
  });
}

void subscribeInterfaces() {
  trapMakers.push_back(linkTrapMaker);
  tarn::getLooper()->subscribe(kInterfaces, kLinkEvent, linkFilter());
}

void unsubscribeInterfaces() {
  auto it = std::find(trapMakers.begin(), trapMakers.end(), linkTrapMaker);
  if (it != trapMakers.end()) trapMakers.erase(it);
  tarn::getLooper()->unsubscribe(kInterfaces, kLinkEvent, linkFilter());
}

namespace {

const OID kIfEntry("1.3.6.1.2.1.2.2.1");
const OID kIfXEntry("1.3.6.1.2.1.31.1.1.1");

}  // namespace

InterfacesModule::InterfacesModule()
    : rows(&provider), counters(&rows), count(&rows) {
  provider.addSource(InterfaceRecord::build, kInterfaces);
  Packer* index = num(&InterfaceRecord::index, INTEGER);
  rows.addIndex(index);
  takeLinkSnapshot();

  addScalarLeaf(OID("1.3.6.1.2.1.2.1"), num(&CountProvider::CountData::count, INTEGER), &count);
  addColumnarLeaf(kIfEntry + 1, index, &rows);
  addColumnarLeaf(kIfEntry + 2, str(&InterfaceRecord::name), &rows);
  addColumnarLeaf(kIfEntry + 3, num(&InterfaceRecord::type, INTEGER), &rows);
  addColumnarLeaf(kIfEntry + 4, num(&InterfaceRecord::mtu, INTEGER), &rows);
  addColumnarLeaf(kIfEntry + 5, num(&InterfaceRecord::speed, GAUGE32), &rows);
  addColumnarLeaf(kIfEntry + 6, raw(&InterfaceRecord::hardwareAddress), &rows);
  addColumnarLeaf(kIfEntry + 7, num(&InterfaceRecord::adminStatus, INTEGER), &rows);
  addColumnarLeaf(kIfEntry + 8, num(&InterfaceRecord::operStatus, INTEGER), &rows);
  addColumnarLeaf(kIfEntry + 10, num(&InterfaceCounters::inOctets, COUNTER32), &counters);
  addColumnarLeaf(kIfEntry + 11, num(&InterfaceCounters::inPackets, COUNTER32), &counters);
  addColumnarLeaf(kIfEntry + 13, num(&InterfaceCounters::inDiscards, COUNTER32), &counters);
  addColumnarLeaf(kIfEntry + 14, num(&InterfaceCounters::inErrors, COUNTER32), &counters);
  addColumnarLeaf(kIfEntry + 15, constNum(0, COUNTER32), &rows);
  addColumnarLeaf(kIfEntry + 16, num(&InterfaceCounters::outOctets, COUNTER32), &counters);
  addColumnarLeaf(kIfEntry + 17, num(&InterfaceCounters::outPackets, COUNTER32), &counters);
  addColumnarLeaf(kIfEntry + 19, num(&InterfaceCounters::outDiscards, COUNTER32), &counters);
  addColumnarLeaf(kIfEntry + 20, num(&InterfaceCounters::outErrors, COUNTER32), &counters);
  addColumnarLeaf(kIfEntry + 9, constNum(0, TIMETICKS), &rows);
  addColumnarLeaf(kIfEntry + 12, constNum(0, COUNTER32), &rows);
  addColumnarLeaf(kIfEntry + 18, constNum(0, COUNTER32), &rows);
  addColumnarLeaf(kIfEntry + 21, constNum(0, GAUGE32), &rows);
  addColumnarLeaf(kIfXEntry + 1, str(&InterfaceRecord::name), &rows);
  addColumnarLeaf(kIfXEntry + 6, big(&InterfaceCounters::inOctets64, COUNTER64), &counters);
  addColumnarLeaf(kIfXEntry + 7, big(&InterfaceCounters::inPackets64, COUNTER64), &counters);
  addColumnarLeaf(kIfXEntry + 10, big(&InterfaceCounters::outOctets64, COUNTER64), &counters);
  addColumnarLeaf(kIfXEntry + 11, big(&InterfaceCounters::outPackets64, COUNTER64), &counters);
  addColumnarLeaf(kIfXEntry + 2, constNum(0, COUNTER32), &rows);
  addColumnarLeaf(kIfXEntry + 3, constNum(0, COUNTER32), &rows);
  addColumnarLeaf(kIfXEntry + 4, constNum(0, COUNTER32), &rows);
  addColumnarLeaf(kIfXEntry + 5, constNum(0, COUNTER32), &rows);
  addColumnarLeaf(kIfXEntry + 8, constBig(0, COUNTER64), &rows);
  addColumnarLeaf(kIfXEntry + 9, constBig(0, COUNTER64), &rows);
  addColumnarLeaf(kIfXEntry + 12, constBig(0, COUNTER64), &rows);
  addColumnarLeaf(kIfXEntry + 13, constBig(0, COUNTER64), &rows);
  addColumnarLeaf(kIfXEntry + 15, constNum(0, GAUGE32), &rows);  // whatever ifSpeed says

  scribers.push_back(Scribers{"interfaces", subscribeInterfaces, unsubscribeInterfaces});
}

namespace {

InterfacesModule* interfacesModule;  // kept for the life of the process

}  // namespace

void buildInterfacesModule() { interfacesModule = new InterfacesModule; }
