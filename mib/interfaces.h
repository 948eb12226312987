// The interfaces group: ifNumber, ifTable and ifXTable over the interface
// service {20, 0}, with traffic counters fetched per interface on demand;
// plus the start-up snapshot of the link states, the link trap maker that
// compares link changes with it, and the "interfaces" event source that
// switches that maker on and off.
#ifndef MIB_INTERFACES_H
#define MIB_INTERFACES_H

#include <map>
#include <string>
#include <vector>

#include "codec/oid.h"
#include "codec/out_stream.h"
#include "data/count_provider.h"
#include "data/data.h"
#include "data/get_all_provider.h"
#include "data/map_table.h"
#include "data/object_augment_table.h"
#include "platform/message.h"

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
  // blocking exchange, data/exchange.h).
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
  // The counters an answer holds (zeros for an empty one); the 32-bit
  // ones of the 64-bit counters are their low halves.
  static Data* build(const tarn::message& m);
};

// The interface table, its counters and ifNumber; the constructor takes
// the link-state snapshot, registers the leaves and appends the
// "interfaces" entry to `scribers`. Must outlive its leaves.
struct InterfacesModule {
  InterfacesModule();

  GetAllProvider provider;
  MapTable rows;
  // Fetched from {20, 0} the first time a row is read (one get object per
  // interface) and kept until the cache rule (25 ticks idle, 95 at most)
  // drops them all; a failed fetch leaves a row of zeros until then.
  ObjectAugmentTable counters;
  CountProvider count;
};

// Fills `linkStates` from the interface service's list (command 1), paged;
// ends quietly at an error.
void takeLinkSnapshot();
// The "interfaces" event source: the link trap maker in or out of
// `trapMakers`, and the subscription to {20, 0} code 0x10004.
void subscribeInterfaces();
void unsubscribeInterfaces();

// The last seen state bits per interface id: the snapshot's, then each
// link change's.
extern std::map<unsigned, unsigned> linkStates;

// linkUp / linkDown from the interface service's link-change events whose
// state differs from `linkStates`: generic 3 or 2, bindings ifIndex,
// ifAdminStatus, ifOperStatus (bare column OIDs, as receivers have always
// been given them).
bool linkTrapMaker(std::vector<VariableBinding>& bindings, const tarn::message& event,
                   OID& trapOid, int& genericTrap, int& specificTrap);

#endif
