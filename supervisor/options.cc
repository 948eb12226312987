// Parsing of tarn-supervisor's command line.
#include "supervisor/options.h"

#include <stdlib.h>

namespace supervisor {

const char kUsage[] =
    "usage: tarn-supervisor [--root DIR] [--bin DIR] [--grace SECONDS]\n"
    "                       [--host | --model FILE | --no-router]\n"
    "                       [-- ROUTERD-OPTION...]\n"
    "       tarn-supervisor --version\n"
    "\n"
    "Runs the router services (tarn-routerd) and the SNMP agent (tarn-snmpd)\n"
    "under one platform root. The supervisor owns the agent's bus socket\n"
    "ROOT/tarn/run/bus/161.sock and starts the agent whenever a connection\n"
    "arrives while it is not running; an agent that leaves by itself (exit\n"
    "status 0, as it does when idle with SNMP disabled) waits for the next\n"
    "connection. A process that crashes is restarted after 0.1 s, doubling\n"
    "up to 10 s while it keeps crashing. SIGTERM or Ctrl-C stops everything.\n"
    "One line per event goes to the standard error stream.\n"
    "\n"
    "  --root DIR       platform root (TARN_ROOT); default $TARN_ROOT or /\n"
    "  --bin DIR        where tarn-snmpd and tarn-routerd are; default: the\n"
    "                   supervisor's own directory\n"
    "  --host           tarn-routerd serves this host's data (the default)\n"
    "  --model FILE     tarn-routerd serves the device model in FILE (JSON)\n"
    "  --no-router      start only the agent (router services run elsewhere)\n"
    "  --grace SECONDS  how long stopping waits before SIGKILL; default 5\n"
    "  -- OPTION...     further options for tarn-routerd\n"
    "\n"
    "Examples:\n"
    "  tarn-supervisor --root /tmp/r --host\n"
    "  tarn-supervisor --root /tmp/r --model router/models/small-router.json\n"
    "  tarn-supervisor --root /tmp/r --host -- --allow-scripts\n"
    "  TARN_ROOT=/tmp/r tarnctl snmp set enabled=yes     (from another shell)\n";

bool parseOptions(int argc, char** argv, Options* o, std::string* error) {
  const char* env = getenv("TARN_ROOT");
  o->root = env && *env ? env : "/";
  std::vector<std::string> backend;
  bool noRouter = false;
  int i = 1;
  for (; i < argc; ++i) {
    std::string a = argv[i];
    bool hasValue = i + 1 < argc;
    if (a == "--") {
      ++i;
      break;
    } else if (a == "--help" || a == "-h") {
      o->help = true;
      return true;
    } else if (a == "--version") {
      o->version = true;
      return true;
    } else if (a == "--root" && hasValue) {
      o->root = argv[++i];
    } else if (a == "--bin" && hasValue) {
      o->bin = argv[++i];
    } else if (a == "--host") {
      backend = {"--host"};
    } else if (a == "--model" && hasValue) {
      backend = {"--model", argv[++i]};
    } else if (a == "--no-router") {
      noRouter = true;
    } else if (a == "--grace" && hasValue) {
      char* end = nullptr;
      double s = strtod(argv[++i], &end);
      if (*end || !(s >= 0 && s <= 3600)) {
        *error = "bad --grace value: " + std::string(argv[i]);
        return false;
      }
      o->graceMs = static_cast<unsigned>(s * 1000);
    } else {
      *error = "unknown option or missing value: " + a;
      return false;
    }
  }
  if (noRouter && (!backend.empty() || i < argc)) {
    *error = "--no-router takes no router options";
    return false;
  }
  o->router = !noRouter;
  o->routerArgs = backend.empty() ? std::vector<std::string>{"--host"}
                                  : backend;
  for (; i < argc; ++i) o->routerArgs.push_back(argv[i]);
  if (o->root.empty()) {
    *error = "empty --root";
    return false;
  }
  return true;
}

}  // namespace supervisor
