// tarnctl: a command-line client of the message bus. It sends one command
// to any service path and prints the reply, as text or as JSON; the exit
// status is non-zero for an error reply (1) or a usage error (2).
#include <string.h>

#include <iostream>

#include "busclient/fields.h"
#include "busclient/verbs.h"
#include "platform/looper.h"
#include "version.h"

namespace {

const char kExamples[] =
    "Fields: KIND:ID=VALUE, KIND one of bool u32 be32 u64 str raw and the\n"
    "arrays bool[] u32[] be32[] u64[] str[] raw[] (values comma-separated).\n"
    "IDs and numbers are decimal or 0x hex; be32 takes 10.0.0.1; raw takes\n"
    "hex bytes (00:1a:2b or 001a2b).\n"
    "\n"
    "Examples:\n"
    "  tarnctl send 161 get                        the agent's settings\n"
    "  tarnctl send 161/1 getall                   the communities, one page\n"
    "  tarnctl list 161/1                          every community\n"
    "  tarnctl send 20/0 getobj u32:0xfe0001=3     interface 3\n"
    "  tarnctl send 20/0 0xfe0002 u32:0xfe0001=3   the same, by code\n"
    "  tarnctl send 161 set bool:1=1 u32[]:19=0,1  enable SNMP, two generators\n"
    "  tarnctl send 161/1 add str:5=public be32:8=10.0.0.0 be32:9=255.0.0.0\n"
    "  tarnctl --json send 24/2 getobj             resources, as JSON\n";

void usage(std::ostream& os) {
  os << "usage: tarnctl [--json] [--timeout MS] VERB ARGS...\n"
     << "       tarnctl --version\n\nVerbs:\n";
  for (const tarnctl::Verb& v : tarnctl::verbs()) {
    std::string head = std::string(v.name) + " " + v.args;
    os << "  " << head << "\n      " << v.summary << "\n";
  }
  os << "\nCommands by name:";
  for (const tarnctl::CommandName& n : tarnctl::commandNames()) {
    os << " " << n.name;
  }
  os << "\n\n" << kExamples
     << "\nExit status: 0 success, 1 error reply (time-out and absent service\n"
     << "included), 2 usage error or a change refused before it was sent. The\n"
     << "bus root is $TARN_ROOT (default /).\n";
}

}  // namespace

int main(int argc, char** argv) {
  tarnctl::Options opts;
  int i = 1;
  for (; i < argc && argv[i][0] == '-'; ++i) {
    std::string a = argv[i];
    if (a == "--json") {
      opts.json = true;
    } else if (a == "--timeout" && i + 1 < argc) {
      uint32_t ms;
      if (!tarnctl::parseU32(argv[++i], &ms) || ms > 0x7FFFFFFF) {
        std::cerr << "tarnctl: bad time-out '" << argv[i] << "'\n";
        return tarnctl::kExitUsage;
      }
      opts.timeoutMs = static_cast<int>(ms);
    } else if (a == "--help" || a == "-h") {
      usage(std::cout);
      return tarnctl::kExitOk;
    } else if (a == "--version") {
      std::cout << "tarnctl " << kTarnVersion << "\n";
      return tarnctl::kExitOk;
    } else {
      std::cerr << "tarnctl: unknown option " << a << "\n";
      usage(std::cerr);
      return tarnctl::kExitUsage;
    }
  }
  if (i >= argc) {
    usage(std::cerr);
    return tarnctl::kExitUsage;
  }
  std::string name = argv[i++];
  std::vector<std::string> args(argv + i, argv + argc);
  for (const tarnctl::Verb& v : tarnctl::verbs()) {
    if (name == v.name) {
      // A client only: it sends from service 0 and listens on no socket.
      tarn::Looper looper(0, tarn::kLooperClientOnly);
      return v.run(opts, args);
    }
  }
  std::cerr << "tarnctl: unknown verb '" << name << "'\n";
  usage(std::cerr);
  return tarnctl::kExitUsage;
}
