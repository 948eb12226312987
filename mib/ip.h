// The IP group of MIB-II (1.3.6.1.2.1.4): two constants, ipAddrTable over
// the address service {20, 1}, ipNetToMediaTable over the ARP service
// {20, 8}, and ipCidrRouteTable, ipRouteTable and ipCidrRouteNumber over
// one provider of the route service {44, 1}. All read-only. Registered
// with the vendor address tables (mib/vendor_tables.h) by buildIpModule.
#ifndef MIB_IP_H
#define MIB_IP_H

#include <vector>

#include "data/count_provider.h"
#include "data/data.h"
#include "data/get_all_provider.h"
#include "data/map_table.h"
#include "data/record_pool.h"

namespace tarn {
class message;
}

struct IpAddressRecord : Data {
  unsigned address = 0;
  int interfaceIndex = 0;
  unsigned netMask = 0;
  // Invalid or disabled addresses give no record.
  static void build(const tarn::message& m, std::vector<Data*>* out);
};

struct ArpRecord : Data {
  int interfaceIndex = 0;
  unsigned address = 0;
  int type = 0;  // 2 invalid, 3 dynamic, 4 static
  std::vector<unsigned char> hardwareAddress;
  static void build(const tarn::message& m, std::vector<Data*>* out);
};

// One row per active gateway of a route.
struct RouteRecord : Data, PooledRecord<RouteRecord> {
  unsigned destination = 0;
  unsigned mask = 0;
  int metric = 0;
  unsigned nextHop = 0;
  int routeType = 0;
  int cidrRouteType = 0;
  int cidrProtocol = 0;
  int protocol = 0;
  int interfaceIndex = 0;
  // Skips invalid and disabled routes; classifies by the route kind f 7;
  // a kind-2 route without gateways gives one row to f 3 on the first
  // interface; otherwise one row per gateway whose active flag (f 6, when
  // present) is not 0, with the interface of the same position.
  static void build(const tarn::message& m, std::vector<Data*>* out);
};

// The providers and tables of the IP group; the constructor registers the
// leaves. Must outlive them.
struct IpModule {
  IpModule();

  GetAllProvider addresses;
  MapTable addressTable;
  GetAllProvider arp;
  MapTable arpTable;
  GetAllProvider routes;
  MapTable cidrTable;
  MapTable routeTable;
  CountProvider cidrCount;
};

#endif
