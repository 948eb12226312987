// Command-line options of tarn-supervisor. The supervised programs take
// none of their own (the agent is configured over the bus); the supervisor
// is where an operator says which root to use, where the programs are and
// what the router services should serve.
#ifndef SUPERVISOR_OPTIONS_H
#define SUPERVISOR_OPTIONS_H

#include <string>
#include <vector>

namespace supervisor {

struct Options {
  std::string root;                     // TARN_ROOT for everything; "/" default
  std::string bin;                      // empty: beside the supervisor
  bool router = true;                   // start tarn-routerd
  std::vector<std::string> routerArgs;  // --host or --model FILE, then extras
  unsigned graceMs = 5000;              // SIGTERM to SIGKILL
  bool help = false;
  bool version = false;
};

// Fills *o from argv. False with *error set on a usage error. The root
// defaults to $TARN_ROOT, then "/"; the backend to --host.
bool parseOptions(int argc, char** argv, Options* o, std::string* error);

extern const char kUsage[];

}  // namespace supervisor

#endif  // SUPERVISOR_OPTIONS_H
