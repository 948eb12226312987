// The interfaces group: records, the link trap maker and registrations.
#include "mib/interfaces.h"

#include <algorithm>
#include <string>

#include "codec/wire.h"
#include "data/exchange.h"
#include "engine/registry.h"
#include "engine/scribers.h"
#include "engine/trap_makers.h"
#include "mib/fields.h"
#include "mib/modules.h"
#include "mib/packers.h"
#include "mib/service_fields.h"
#include "platform/codes.h"
#include "platform/errors.h"

using namespace packers;
using namespace wire;
namespace iface = svc::iface;

std::map<unsigned, unsigned> linkStates;

namespace {

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

const OID kLinkDown("1.3.6.1.6.3.1.1.5.3");
const OID kLinkUp("1.3.6.1.6.3.1.1.5.4");
const OID kIfEntry("1.3.6.1.2.1.2.2.1");
const OID kIfXEntry("1.3.6.1.2.1.31.1.1.1");

// The link rate of interface `parent`; an empty or failed answer reads as
// a rate without a speed.
unsigned parentLinkRate(unsigned parent) {
  tarn::message reply = getObject(iface::kPath, parent);
  if (tarn::isError(reply)) return 0xFFFFFFFF;
  return fields::u32(reply, iface::kLinkRate, 0xFFFFFFFF);
}

// The link-change events of interfaces that have a link state.
tarn::message linkFilter() {
  tarn::message filter;
  filter.insert(tarn::u32_id(iface::kLinkFlags), 0);
  filter.insert(tarn::u32_id(iface::kState), 128);
  return filter;
}

unsigned interfaceId(const Data* row) {
  return static_cast<unsigned>(static_cast<const InterfaceRecord*>(row)->index);
}

VariableBinding integer(const OID& name, const std::string& value) {
  VariableBinding vb;
  vb.oid = name;
  vb.type = INTEGER;
  vb.value = value;
  return vb;
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
  r->mtu = static_cast<int>(fields::u32(m, iface::kMtu));
  unsigned kind = fields::u32(m, iface::kKind);
  const KindRow& row = kKinds[kind <= 35 ? kind : 0];
  r->type = row.type;
  if (kind == 1) {
    r->speed = speedOfLinkRate(fields::u32(m, iface::kLinkRate));
  } else if (kind == 30) {
    r->speed = speedOfLinkRate(parentLinkRate(fields::u32(m, iface::kParent)));
  } else {
    r->speed = row.speed;
  }
  r->operStatus = fields::flag(m, iface::kRunning) ? 1 : 2;
  r->adminStatus = fields::flag(m, svc::kDisabled) ? 2 : 1;
  r->name = fields::str(m, iface::kName);
  r->hardwareAddress = fields::raw(m, iface::kHardwareAddress);
  out->push_back(r);
}

Data* InterfaceCounters::build(const tarn::message& m) {
  InterfaceCounters* r = new InterfaceCounters;
  r->inOctets64 = fields::u64(m, iface::kInOctets);
  r->outOctets64 = fields::u64(m, iface::kOutOctets);
  r->inPackets64 = fields::u64(m, iface::kInPackets);
  r->outPackets64 = fields::u64(m, iface::kOutPackets);
  r->inOctets = static_cast<int>(static_cast<uint32_t>(r->inOctets64));
  r->outOctets = static_cast<int>(static_cast<uint32_t>(r->outOctets64));
  r->inPackets = static_cast<int>(static_cast<uint32_t>(r->inPackets64));
  r->outPackets = static_cast<int>(static_cast<uint32_t>(r->outPackets64));
  r->inErrors = static_cast<int>(fields::u32(m, iface::kInErrors));
  r->outErrors = static_cast<int>(fields::u32(m, iface::kOutErrors));
  r->inDiscards = static_cast<int>(fields::u32(m, iface::kInDiscards));
  r->outDiscards = static_cast<int>(fields::u32(m, iface::kOutDiscards));
  return r;
}

void takeLinkSnapshot() {
  tarn::message msg = tarn::command(iface::kPath, iface::kListLinks);
  walkPages(msg, [](const tarn::message& item) {
    if (item.has(tarn::u32_id(tarn::kFieldObjId)) && item.has(tarn::u32_id(iface::kLinkFlags)) &&
        item.has(tarn::u32_id(iface::kState)) &&
        !(fields::u32(item, iface::kLinkFlags) & iface::kNoLinkState)) {
      linkStates[fields::u32(item, tarn::kFieldObjId)] =
          fields::u32(item, iface::kState) & iface::kRememberedState;
    }
    return true;
  });
}

bool linkTrapMaker(std::vector<VariableBinding>& bindings, const tarn::message& event,
                   OID& trapOid, int& genericTrap, int& specificTrap) {
  const std::vector<uint32_t>& source = event.get(tarn::u32_array_id(tarn::kFieldSrc));
  if (!std::equal(source.begin(), source.end(), iface::kPath.begin(), iface::kPath.end())) {
    return false;
  }
  const tarn::u32_id objectId(tarn::kFieldObjId);
  if (!event.has(tarn::u32_id(iface::kState)) || !event.has(objectId)) return false;
  const unsigned id = event.get(objectId, 0u);
  const unsigned state =
      fields::u32(event, iface::kState) & (iface::kAdminUp | iface::kLinkRunning);
  std::map<unsigned, unsigned>::iterator known = linkStates.find(id);
  if (known != linkStates.end() && known->second == state) return false;
  linkStates[id] = state;
  const bool up = (state & iface::kAdminUp) != 0;
  trapOid = up ? kLinkUp : kLinkDown;
  genericTrap = up ? 3 : 2;
  specificTrap = 0;
  bindings.push_back(integer(kIfEntry + 1, std::to_string(id)));  // ifIndex
  bindings.push_back(integer(kIfEntry + 7, up ? "1" : "2"));      // ifAdminStatus
  bindings.push_back(integer(kIfEntry + 8, (state & iface::kLinkRunning) ? "1" : "2"));  // ifOperStatus
  return true;
}

void subscribeInterfaces() {
  trapMakers.push_back(linkTrapMaker);
  subscribe(iface::kPath, iface::kLinkEvent, linkFilter());
}

void unsubscribeInterfaces() {
  auto it = std::find(trapMakers.begin(), trapMakers.end(), linkTrapMaker);
  if (it != trapMakers.end()) trapMakers.erase(it);
  unsubscribe(iface::kPath, iface::kLinkEvent, linkFilter());
}

InterfacesModule::InterfacesModule()
    : rows(&provider),
      counters(&rows, interfaceId, InterfaceCounters::build, iface::kPath, 256, 25, 95),
      count(&rows) {
  provider.addSource(InterfaceRecord::build, iface::kPath);
  Packer* index = num(&InterfaceRecord::index, INTEGER);
  rows.addIndex(index);
  takeLinkSnapshot();
  using Row = InterfaceRecord;
  using Counters = InterfaceCounters;

  addScalarLeaf(OID("1.3.6.1.2.1.2.1"), num(&CountProvider::CountData::count, INTEGER), &count);  // ifNumber
  addColumnarLeaf(kIfEntry + 1, index, &rows);                                           // ifIndex
  addColumnarLeaf(kIfEntry + 2, str(&Row::name), &rows);                                 // ifDescr
  addColumnarLeaf(kIfEntry + 3, num(&Row::type, INTEGER), &rows);                        // ifType
  addColumnarLeaf(kIfEntry + 4, num(&Row::mtu, INTEGER), &rows);                         // ifMtu
  addColumnarLeaf(kIfEntry + 5, num(&Row::speed, GAUGE32), &rows);                       // ifSpeed
  addColumnarLeaf(kIfEntry + 6, raw(&Row::hardwareAddress), &rows);                      // ifPhysAddress
  addColumnarLeaf(kIfEntry + 7, num(&Row::adminStatus, INTEGER), &rows);                 // ifAdminStatus
  addColumnarLeaf(kIfEntry + 8, num(&Row::operStatus, INTEGER), &rows);                  // ifOperStatus
  addColumnarLeaf(kIfEntry + 9, constNum(0, TIMETICKS), &rows);                          // ifLastChange
  addColumnarLeaf(kIfEntry + 10, num(&Counters::inOctets, COUNTER32), &counters);        // ifInOctets
  addColumnarLeaf(kIfEntry + 11, num(&Counters::inPackets, COUNTER32), &counters);       // ifInUcastPkts
  addColumnarLeaf(kIfEntry + 12, constNum(0, COUNTER32), &rows);                         // ifInNUcastPkts
  addColumnarLeaf(kIfEntry + 13, num(&Counters::inDiscards, COUNTER32), &counters);      // ifInDiscards
  addColumnarLeaf(kIfEntry + 14, num(&Counters::inErrors, COUNTER32), &counters);        // ifInErrors
  addColumnarLeaf(kIfEntry + 15, constNum(0, COUNTER32), &rows);                         // ifInUnknownProtos
  addColumnarLeaf(kIfEntry + 16, num(&Counters::outOctets, COUNTER32), &counters);       // ifOutOctets
  addColumnarLeaf(kIfEntry + 17, num(&Counters::outPackets, COUNTER32), &counters);      // ifOutUcastPkts
  addColumnarLeaf(kIfEntry + 18, constNum(0, COUNTER32), &rows);                         // ifOutNUcastPkts
  addColumnarLeaf(kIfEntry + 19, num(&Counters::outDiscards, COUNTER32), &counters);     // ifOutDiscards
  addColumnarLeaf(kIfEntry + 20, num(&Counters::outErrors, COUNTER32), &counters);       // ifOutErrors
  addColumnarLeaf(kIfEntry + 21, constNum(0, GAUGE32), &rows);                           // ifOutQLen
  addColumnarLeaf(kIfXEntry + 1, str(&Row::name), &rows);                                // ifName
  addColumnarLeaf(kIfXEntry + 2, constNum(0, COUNTER32), &rows);                         // ifInMulticastPkts
  addColumnarLeaf(kIfXEntry + 3, constNum(0, COUNTER32), &rows);                         // ifInBroadcastPkts
  addColumnarLeaf(kIfXEntry + 4, constNum(0, COUNTER32), &rows);                         // ifOutMulticastPkts
  addColumnarLeaf(kIfXEntry + 5, constNum(0, COUNTER32), &rows);                         // ifOutBroadcastPkts
  addColumnarLeaf(kIfXEntry + 6, big(&Counters::inOctets64, COUNTER64), &counters);      // ifHCInOctets
  addColumnarLeaf(kIfXEntry + 7, big(&Counters::inPackets64, COUNTER64), &counters);     // ifHCInUcastPkts
  addColumnarLeaf(kIfXEntry + 8, constBig(0, COUNTER64), &rows);                         // ifHCInMulticastPkts
  addColumnarLeaf(kIfXEntry + 9, constBig(0, COUNTER64), &rows);                         // ifHCInBroadcastPkts
  addColumnarLeaf(kIfXEntry + 10, big(&Counters::outOctets64, COUNTER64), &counters);    // ifHCOutOctets
  addColumnarLeaf(kIfXEntry + 11, big(&Counters::outPackets64, COUNTER64), &counters);   // ifHCOutUcastPkts
  addColumnarLeaf(kIfXEntry + 12, constBig(0, COUNTER64), &rows);                        // ifHCOutMulticastPkts
  addColumnarLeaf(kIfXEntry + 13, constBig(0, COUNTER64), &rows);                        // ifHCOutBroadcastPkts
  addColumnarLeaf(kIfXEntry + 15, constNum(0, GAUGE32), &rows);  // ifHighSpeed (0: see ifSpeed)

  scribers.push_back(Scribers{"interfaces", subscribeInterfaces, unsubscribeInterfaces});
}

namespace {

InterfacesModule* interfacesModule;  // kept for the life of the process

}  // namespace

void buildInterfacesModule() { interfacesModule = new InterfacesModule; }
