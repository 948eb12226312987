// tarn-supervisor: runs the router services and the SNMP agent under one
// platform root, starting the agent on demand through its bus socket (see
// supervisor/supervisor.h and docs/operators-guide.md).
#include <iostream>

#include "supervisor/options.h"
#include "supervisor/supervisor.h"
#include "version.h"

int main(int argc, char** argv) {
  supervisor::Options options;
  std::string error;
  if (!supervisor::parseOptions(argc, argv, &options, &error)) {
    std::cerr << "tarn-supervisor: " << error << " (see --help)\n";
    return 2;
  }
  if (options.help) {
    std::cout << supervisor::kUsage;
    return 0;
  }
  if (options.version) {
    std::cout << "tarn-supervisor " << kTarnVersion << "\n";
    return 0;
  }
  supervisor::Supervisor s(options);
  if (!s.init()) return 1;
  return s.run();
}
