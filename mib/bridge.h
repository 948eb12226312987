// The bridge objects of 1.3.6.1.2.1.17: the first bridge interface's
// address and spanning-tree priority, and the forwarding database of that
// bridge only. Read-only.
#ifndef MIB_BRIDGE_H
#define MIB_BRIDGE_H

#include <vector>

#include "data/data.h"
#include "data/get_all_provider.h"
#include "data/get_first_provider.h"
#include "data/map_table.h"

namespace tarn {
class message;
}

// The first interface of kind 12 (bridge); other kinds give no record.
struct BridgeRecord : Data {
  std::vector<unsigned char> address;
  int priority = 0;
  static Data* build(const tarn::message& m);
};

struct FdbRecord : Data {
  int port = 0;
  std::vector<unsigned char> address;
  int status = 0;  // 3 learned, 4 self
  // Keeps only the entries of the bridge that the bridge module's provider
  // found (asking it first), none without a bridge module.
  static void build(const tarn::message& m, std::vector<Data*>* out);
};

// The bridge provider over {20, 0} and the forwarding table over {16, 3},
// indexed by the 6-octet MAC address with the very packer of its first
// column. One module at a time (the forwarding builder reaches the bridge
// provider through a global); it must outlive its leaves.
struct BridgeModule {
  BridgeModule();
  ~BridgeModule();

  GetFirstProvider bridge;
  GetAllProvider fdb;
  MapTable fdbTable;
};

#endif
