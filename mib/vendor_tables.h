// The two vendor tables under 1.3.6.1.4.1.40117.1.1.2, over the interface
// service's lists {20, 9} and {20, 12}, read seven objects a page.
// Read-only; registered with the IP group by buildIpModule.
#ifndef MIB_VENDOR_TABLES_H
#define MIB_VENDOR_TABLES_H

#include <string>
#include <vector>

#include "data/data.h"
#include "data/data_packers.h"
#include "data/get_all_provider.h"
#include "data/map_table.h"

namespace tarn {
class message;
}

struct VendorTable21Record : Data {
  int id = 0;
  std::string name;
  unsigned firstAddress = 0;   // f 105[0] when f 105 has two elements
  unsigned secondAddress = 0;  // f 105[1] likewise
  unsigned address3 = 0;
  unsigned address4 = 0;
  int number = 0;
  unsigned long long firstCounter = 0;
  unsigned long long secondCounter = 0;
  int thirdCounter = 0;
  int fourthCounter = 0;
  static void build(const tarn::message& m, std::vector<Data*>* out);
};

struct VendorTable22Record : Data {
  int id = 0;
  std::string name;
  std::string label;  // f 12 up to its terminator, when longer than 7 octets
  int number = 0;
  int secondCounterLow = 0;
  int fourthCounter = 0;
  unsigned long long secondCounter = 0;
  static void build(const tarn::message& m, std::vector<Data*>* out);
};

// The two providers and tables; the constructor registers the leaves.
// Must outlive them.
struct VendorTablesModule {
  VendorTablesModule();

  GetAllProvider provider21;
  MapTable table21;
  DataNumPacker id21;
  GetAllProvider provider22;
  MapTable table22;
  DataNumPacker id22;
};

#endif
