// The interfaces group: ifNumber, ifTable and ifXTable over the interface
// service {20, 0}, with traffic counters fetched per interface on demand;
// plus the start-up snapshot of the link states and the "interfaces" event
// source that switches the link trap maker on and off.
#ifndef MIB_INTERFACES_H
#define MIB_INTERFACES_H

#include <map>
#include <string>
#include <vector>

#include "data/augment_proxy_table.h"
#include "data/cache_update_timeout.h"
#include "data/count_provider.h"
#include "data/data.h"
#include "data/get_all_provider.h"
#include "data/map_table.h"

namespace tarn {
class message;
}

// One interface of the list; index is the platform's id and the ifIndex.
struct InterfaceRecord : Data {
  int index = 0;
  int mtu = 0;
  int speed = 0;  // bits per second, by kind (kind 30: the parent's rate)
  int type = 0;   // IANA ifType, by kind
  int operStatus = 0;
  int adminStatus = 0;
  std::string name;
  std::vector<unsigned char> hardwareAddress;
  // For kind 30 this asks the interface service for the parent (one
  // exchange of at most 6000 ms on the process's looper).
  static void build(const tarn::message& m, std::vector<Data*>* out);
};

// ifSpeed of an interface of kind 1 (and of the parent of kind 30) from
// its link rate f 1010: 0, 1, 2 give 10M, 100M, 1G; others 0.
int speedOfLinkRate(unsigned rate);

// The traffic counters of one interface; zero until filled.
struct InterfaceCounters : Data {
  int inOctets = 0;
  unsigned long long inOctets64 = 0;
  int outOctets = 0;
  unsigned long long outOctets64 = 0;
  int inPackets = 0;
  unsigned long long inPackets64 = 0;
  int outPackets = 0;
  unsigned long long outPackets64 = 0;
  int inErrors = 0;
  int outErrors = 0;
  int inDiscards = 0;
  int outDiscards = 0;
  // Copies the counters an answer holds; the 32-bit ones of the 64-bit
  // counters are their low halves.
  void fill(const tarn::message& m);
};

// The counters of the interface table's rows, fetched from {20, 0} the
// first time a row is read (one exchange per interface) and kept until the
// cache rule (25 ticks idle, 95 at most) drops them all. A failed fetch
// leaves a row of zeros until then. Owns its records.
class CountersTable : public AugmentProxyTable, public CacheUpdateTimeout {
 public:
  explicit CountersTable(Table* rows);
  ~CountersTable() override;
  Data* augment(const OID& index, Data* baseRecord) override;
  void clearCache() override;   // deletes the records
  void updateCache() override;  // nothing: rows are fetched one by one

  std::map<unsigned, InterfaceCounters*> records;
};

// The interface table, its counters and ifNumber; the constructor takes
// the link-state snapshot, registers the leaves and appends the
// "interfaces" entry to `scribers`. Must outlive its leaves.
struct InterfacesModule {
  InterfacesModule();

  GetAllProvider provider;
  MapTable rows;
  CountersTable counters;
  CountProvider count;
};

// Fills `linkStates` from the interface service's list (command 1), paged;
// ends quietly at an error.
void takeLinkSnapshot();
// The "interfaces" event source: the link trap maker in or out of
// `trapMakers`, and the subscription to {20, 0} code 0x10004.
void subscribeInterfaces();
void unsubscribeInterfaces();

#endif
