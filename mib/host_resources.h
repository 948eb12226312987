// A small part of the host-resources MIB: hrSystem uptime and date,
// hrMemorySize, a fixed two-row storage table (disk, main memory) and a
// fixed one-row device and processor table. Values come from the system
// resources provider ({24, 2}, shared with sysUpTime) and the clock
// provider ({24, 0}); the rows are static records refreshed on every read.
#ifndef MIB_HOST_RESOURCES_H
#define MIB_HOST_RESOURCES_H

#include <ctime>
#include <string>
#include <vector>

#include "codec/oid.h"
#include "data/data.h"
#include "data/data_provider.h"
#include "data/get_provider.h"
#include "data/static_mux_table.h"

namespace tarn {
class message;
}

// The 8-octet DateAndTime of `t` in the process's local time zone: year
// (big-endian), month, day, hour, minute, second, deci-seconds 0.
std::vector<unsigned char> dateAndTime(time_t t);

// hrSystemDate: DateAndTime with the zone offset (11 octets) from the
// clock service's f 7 (seconds since the epoch) and f 27 (offset, signed).
struct ClockRecord : Data {
  std::vector<unsigned char> date;
  static Data* build(const tarn::message& m);
};

struct StorageRow : Data {
  int index = 0;
  OID type;
  std::string description;
  int size = 0;
  int used = 0;
};

struct ProcessorRow : Data {
  int index = 0;
  int load = 0;
  OID type;
};

// The clock provider, the row providers and the three fixed tables; the
// constructor fills the static rows' fixed fields and registers the leaves.
// `resources` (the {24, 2} provider of SystemResources) is not owned and
// must outlive the module, which must outlive its leaves.
struct HostResourcesModule {
  explicit HostResourcesModule(GetProvider* resources);
  ~HostResourcesModule();

  GetProvider clock;
  ProxyDataProvider disk, memory, processor;
  StaticMuxTable storage, devices, processors;
};

#endif
