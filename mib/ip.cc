// The IP group: records and registrations.
#include "mib/ip.h"

#include "codec/wire.h"
#include "engine/registry.h"
#include "mib/fields.h"
#include "mib/modules.h"
#include "mib/packers.h"
#include "mib/service_fields.h"
#include "mib/vendor_tables.h"
#include "platform/codes.h"

using namespace packers;
using namespace wire;

namespace {

// Routes asked for per get-all page. A full routing table is a million
// routes: at the default 5 a filling takes 200 000 exchanges, at 1000 it
// takes 1000. The route service answers with fewer if it allows fewer.
constexpr unsigned kRoutesPerPage = 1000;

// Route type, protocol, CIDR route type and CIDR protocol by route kind;
// row k - 2 for kinds 2 to 31, kDefault for every other kind.
struct RouteClass {
  int routeType, protocol, cidrType, cidrProtocol;
};
const RouteClass kDefaultClass = {4, 1, 1, 1};
const RouteClass kClasses[] = {
    {3, 1, 3, 2},    // 2
    {4, 2, 4, 3},    // 3
    {4, 8, 4, 8},    // 4
    {4, 1, 1, 1},    // 5
    {4, 13, 4, 13},  // 6
    {4, 1, 1, 1},    // 7
    {4, 14, 4, 14},  // 8
    {4, 1, 1, 1},    // 9
    {4, 1, 1, 1},    // 10
    {4, 1, 1, 1},    // 11
    {4, 1, 1, 1},    // 12
    {4, 1, 1, 1},    // 13
    {4, 1, 1, 1},    // 14
    {4, 1, 1, 1},    // 15
    {4, 1, 1, 1},    // 16
    {4, 1, 1, 1},    // 17
    {4, 1, 1, 1},    // 18
    {4, 1, 1, 1},    // 19
    {4, 1, 1, 1},    // 20
    {4, 1, 1, 1},    // 21
    {4, 1, 1, 1},    // 22
    {4, 1, 1, 1},    // 23
    {4, 1, 1, 1},    // 24
    {4, 1, 1, 1},    // 25
    {4, 1, 1, 1},    // 26
    {4, 1, 1, 1},    // 27
    {4, 1, 1, 1},    // 28
    {4, 1, 1, 1},    // 29
    {4, 2, 4, 3},    // 30
    {4, 1, 3, 2},    // 31
};

// A row of `route` to `nextHop` on interface `interfaceIndex`.
RouteRecord* routeRow(const RouteRecord& route, unsigned nextHop,
                      unsigned interfaceIndex) {
  RouteRecord* r = new RouteRecord(route);
  r->nextHop = nextHop;
  r->interfaceIndex = static_cast<int>(interfaceIndex);
  return r;
}

}  // namespace

void IpAddressRecord::build(const tarn::message& m, std::vector<Data*>* out) {
  if (fields::flag(m, svc::kInvalid) || fields::flag(m, svc::kDisabled)) return;
  IpAddressRecord* r = new IpAddressRecord;
  r->address = fields::ip(m, svc::address::kAddress);
  r->interfaceIndex = static_cast<int>(fields::u32(m, svc::address::kInterface));
  r->netMask = fields::ip(m, svc::address::kNetMask);
  out->push_back(r);
}

void ArpRecord::build(const tarn::message& m, std::vector<Data*>* out) {
  ArpRecord* r = new ArpRecord;
  r->interfaceIndex = static_cast<int>(fields::u32(m, svc::arp::kInterface));
  r->address = fields::ip(m, svc::arp::kAddress);
  r->type = fields::flag(m, svc::kInvalid) ? 2 : fields::flag(m, svc::kDynamic) ? 3 : 4;
  r->hardwareAddress = fields::raw(m, svc::arp::kHardwareAddress);
  out->push_back(r);
}

void RouteRecord::build(const tarn::message& m, std::vector<Data*>* out) {
  if (fields::flag(m, svc::kInvalid) || fields::flag(m, svc::kDisabled)) return;
  RouteRecord route;
  route.destination = fields::ip(m, svc::route::kDestination);
  route.mask = fields::ip(m, svc::route::kMask);
  route.metric = static_cast<int>(fields::u32(m, svc::route::kMetric));
  unsigned kind = fields::u32(m, svc::route::kKind);
  const RouteClass& c =
      kind >= 2 && kind <= 31 ? kClasses[kind - 2] : kDefaultClass;
  route.routeType = c.routeType;
  route.protocol = c.protocol;
  route.cidrRouteType = c.cidrType;
  route.cidrProtocol = c.cidrProtocol;
  const std::vector<uint32_t>& gateways = fields::u32s(m, svc::route::kGateways);
  const std::vector<uint32_t>& interfaces = fields::u32s(m, svc::route::kInterfaces);
  if (gateways.empty() && kind == 2) {
    out->push_back(routeRow(route, fields::ip(m, svc::route::kNextHop),
                            interfaces.empty() ? 0 : interfaces[0]));
    return;
  }
  if (interfaces.empty()) return;
  const std::vector<uint32_t>& active = fields::u32s(m, svc::route::kActive);
  for (size_t i = 0; i < gateways.size(); ++i) {
    if (i < active.size() && active[i] == 0) continue;
    out->push_back(routeRow(route, fields::ipOf(gateways[i]),
                            i < interfaces.size() ? interfaces[i] : 0));
  }
}

namespace {

const OID kAddrEntry("1.3.6.1.2.1.4.20.1");
const OID kRouteEntry("1.3.6.1.2.1.4.21.1");
const OID kNetToMediaEntry("1.3.6.1.2.1.4.22.1");
const OID kCidrEntry("1.3.6.1.2.1.4.24.4.1");

}  // namespace

IpModule::IpModule()
    : addressTable(&addresses),
      arpTable(&arp),
      cidrTable(&routes),
      routeTable(&routes),
      cidrCount(&cidrTable) {
  addresses.addSource(IpAddressRecord::build, svc::address::kPath);
  arp.addSource(ArpRecord::build, svc::arp::kPath);
  routes.addSource(RouteRecord::build, svc::route::kPath, kRoutesPerPage);
  Packer* address = ip(&IpAddressRecord::address);
  Packer* arpInterface = num(&ArpRecord::interfaceIndex, INTEGER);
  Packer* arpAddress = ip(&ArpRecord::address);
  Packer* routeDestination = ip(&RouteRecord::destination);
  Packer* cidrDestination = ip(&RouteRecord::destination);
  Packer* cidrMask = ip(&RouteRecord::mask);
  Packer* cidrTos = constNum(0, INTEGER);
  Packer* cidrNextHop = ip(&RouteRecord::nextHop);
  addressTable.addIndex(address);
  arpTable.addIndex(arpInterface);
  arpTable.addIndex(arpAddress);
  routeTable.addIndex(routeDestination);
  cidrTable.addIndex(cidrDestination);
  cidrTable.addIndex(cidrMask);
  cidrTable.addIndex(cidrTos);
  cidrTable.addIndex(cidrNextHop);

  addScalarConstNumLeaf(OID("1.3.6.1.2.1.4.1"), 1, INTEGER);  // ipForwarding
  addScalarConstNumLeaf(OID("1.3.6.1.2.1.4.2"), 255, INTEGER);  // ipDefaultTTL
  addColumnarLeaf(kAddrEntry + 1, address, &addressTable);  // ipAdEntAddr
  addColumnarLeaf(kAddrEntry + 2, num(&IpAddressRecord::interfaceIndex, INTEGER), &addressTable);  // ipAdEntIfIndex
  addColumnarLeaf(kAddrEntry + 3, ip(&IpAddressRecord::netMask), &addressTable);  // ipAdEntNetMask
  addColumnarLeaf(kAddrEntry + 4, constNum(1, INTEGER), &addressTable);  // ipAdEntBcastAddr
  addColumnarLeaf(kAddrEntry + 5, constNum(65535, INTEGER), &addressTable);  // ipAdEntReasmMaxSize
  addColumnarLeaf(kRouteEntry + 1, routeDestination, &routeTable);  // ipRouteDest
  addColumnarLeaf(kRouteEntry + 2, num(&RouteRecord::interfaceIndex, INTEGER), &routeTable);  // ipRouteIfIndex
  addColumnarLeaf(kRouteEntry + 3, num(&RouteRecord::metric, INTEGER), &routeTable);  // ipRouteMetric1
  addColumnarLeaf(kRouteEntry + 4, constNum(-1, INTEGER), &routeTable);  // ipRouteMetric2
  addColumnarLeaf(kRouteEntry + 5, constNum(-1, INTEGER), &routeTable);  // ipRouteMetric3
  addColumnarLeaf(kRouteEntry + 6, constNum(-1, INTEGER), &routeTable);  // ipRouteMetric4
  addColumnarLeaf(kRouteEntry + 7, ip(&RouteRecord::nextHop), &routeTable);  // ipRouteNextHop
  addColumnarLeaf(kRouteEntry + 8, num(&RouteRecord::routeType, INTEGER), &routeTable);  // ipRouteType
  addColumnarLeaf(kRouteEntry + 9, num(&RouteRecord::protocol, INTEGER), &routeTable);  // ipRouteProto
  addColumnarLeaf(kRouteEntry + 10, constNum(0, INTEGER), &routeTable);  // ipRouteAge
  addColumnarLeaf(kRouteEntry + 11, ip(&RouteRecord::mask), &routeTable);  // ipRouteMask
  addColumnarLeaf(kRouteEntry + 12, constNum(-1, INTEGER), &routeTable);  // ipRouteMetric5
  addColumnarLeaf(kRouteEntry + 13, constOid(OID{0, 0}), &routeTable);  // ipRouteInfo
  addColumnarLeaf(kNetToMediaEntry + 1, arpInterface, &arpTable);  // ipNetToMediaIfIndex
  addColumnarLeaf(kNetToMediaEntry + 2, raw(&ArpRecord::hardwareAddress), &arpTable);  // ipNetToMediaPhysAddress
  addColumnarLeaf(kNetToMediaEntry + 3, arpAddress, &arpTable);  // ipNetToMediaNetAddress
  addColumnarLeaf(kNetToMediaEntry + 4, num(&ArpRecord::type, INTEGER), &arpTable);  // ipNetToMediaType
  addScalarLeaf(OID("1.3.6.1.2.1.4.24.3"), num(&CountProvider::CountData::count, GAUGE32), &cidrCount);  // ipCidrRouteNumber
  addColumnarLeaf(kCidrEntry + 1, cidrDestination, &cidrTable);  // ipCidrRouteDest
  addColumnarLeaf(kCidrEntry + 2, cidrMask, &cidrTable);  // ipCidrRouteMask
  addColumnarLeaf(kCidrEntry + 3, cidrTos, &cidrTable);  // ipCidrRouteTos
  addColumnarLeaf(kCidrEntry + 4, cidrNextHop, &cidrTable);  // ipCidrRouteNextHop
  addColumnarLeaf(kCidrEntry + 5, num(&RouteRecord::interfaceIndex, INTEGER), &cidrTable);  // ipCidrRouteIfIndex
  addColumnarLeaf(kCidrEntry + 6, num(&RouteRecord::cidrRouteType, INTEGER), &cidrTable);  // ipCidrRouteType
  addColumnarLeaf(kCidrEntry + 7, num(&RouteRecord::cidrProtocol, INTEGER), &cidrTable);  // ipCidrRouteProto
  addColumnarLeaf(kCidrEntry + 8, constNum(0, INTEGER), &cidrTable);  // ipCidrRouteAge
  addColumnarLeaf(kCidrEntry + 9, constOid(OID{0, 0}), &cidrTable);  // ipCidrRouteInfo
  addColumnarLeaf(kCidrEntry + 10, constNum(0, INTEGER), &cidrTable);  // ipCidrRouteNextHopAS
  addColumnarLeaf(kCidrEntry + 11, num(&RouteRecord::metric, INTEGER), &cidrTable);  // ipCidrRouteMetric1
  addColumnarLeaf(kCidrEntry + 12, constNum(-1, INTEGER), &cidrTable);  // ipCidrRouteMetric2
  addColumnarLeaf(kCidrEntry + 13, constNum(-1, INTEGER), &cidrTable);  // ipCidrRouteMetric3
  addColumnarLeaf(kCidrEntry + 14, constNum(-1, INTEGER), &cidrTable);  // ipCidrRouteMetric4
  addColumnarLeaf(kCidrEntry + 15, constNum(-1, INTEGER), &cidrTable);  // ipCidrRouteMetric5
  addColumnarLeaf(kCidrEntry + 16, constNum(1, INTEGER), &cidrTable);  // ipCidrRouteStatus
}

namespace {

// Made once at start-up and kept for the life of the process.
IpModule* ipModule;
VendorTablesModule* vendorTablesModule;

}  // namespace

void buildIpModule() {
  ipModule = new IpModule;
  vendorTablesModule = new VendorTablesModule;
}
