// Health (1.3.6.1.4.1.40117.1.1.3): power source, voltage and temperatures
// from the health service {12, 1}.
//
// Only the source (.9) is registered at start-up. The voltage (.8),
// temperature (.10) and processor temperature (.11) register themselves the
// first time an answer holds their field (13, 14, 17), each once, printing
// "+ voltage", "+ temperature" or "+ cpu temperature" on standard output;
// they stay registered when later answers lack the field. So a walk before
// the first read of the group shows .9 alone: deliberate.
#ifndef MIB_HEALTH_H
#define MIB_HEALTH_H

#include <string>

#include "data/data.h"
#include "data/get_provider.h"

namespace tarn {
class message;
}

struct Health : Data {
  int voltage = 0;
  int temperature = 0;     // tenths of a degree; absent reads -2730
  int cpuTemperature = 0;  // likewise
  std::string source;      // "aux", "main", "none" or "n/a"
  // Registers the optional objects on first sight (see above) when a health
  // module exists, then builds the record.
  static Data* build(const tarn::message& m);
};

// The health provider and the once-flags of the optional objects. One
// module at a time (the builder reaches it through a global); it must
// outlive its leaves.
struct HealthModule {
  HealthModule();
  ~HealthModule();

  GetProvider provider;
  bool registered[3] = {false, false, false};  // voltage, temp., cpu temp.
};

#endif
