// Stands in for the programs tarn-supervisor runs, by the name it is started
// under (the test links it as tarn-snmpd and tarn-routerd). Each start
// appends "agent PID activated|bound|quit" or "router PID ARGS..." to
// $TARN_ROOT/tarn/starts. Both answer get with {u32:1 = pid}.
//   tarn-snmpd    service 161, leaves after 1 s idle; 0x79: stay (no idle
//                 leave); 0x78: exit with status 3; exits 0 at once while
//                 $TARN_ROOT/tarn/quit-at-start exists
//   tarn-routerd  service 20 until killed; --ignore-term: ignore SIGTERM
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <fstream>
#include <string>

#include "platform/looper.h"
#include "platform/paths.h"

using namespace tarn;

namespace {

struct StandIn : Looper {
  explicit StandIn(unsigned sid) : Looper(sid) {}
  message cmdGet(const message&) override {
    message m;
    m.insert(u32_id(1), static_cast<uint32_t>(getpid()));
    return m;
  }
  message cmdUnknown(const message& msg, unsigned cmd) override {
    if (cmd == 0x78) _exit(3);
    if (cmd == 0x79) setupLeave(0);
    return cmdGet(msg);
  }
};

}  // namespace

int main(int argc, char** argv) {
  const char* slash = strrchr(argv[0], '/');
  const std::string pid = std::to_string(getpid());
  std::ofstream starts(rootPath("/tarn/starts"), std::ios::app);
  if (strcmp(slash ? slash + 1 : argv[0], "tarn-routerd") == 0) {
    StandIn router(20);
    starts << "router " << pid;
    for (int i = 1; i < argc; ++i) {
      starts << ' ' << argv[i];
      if (strcmp(argv[i], "--ignore-term") == 0) signal(SIGTERM, SIG_IGN);
    }
    starts << std::endl;  // written before the supervisor looks
    router.run();
    return 0;
  }
  if (access(rootPath("/tarn/quit-at-start").c_str(), F_OK) == 0) {
    starts << "agent " << pid << " quit\n";
    return 0;
  }
  const bool activated = getenv("LISTEN_PID") && getenv("LISTEN_PID") == pid;
  setDefaultServiceId(161);
  StandIn agent(0);
  agent.setupLeave(1000);
  starts << "agent " << pid << (activated ? " activated" : " bound") << std::endl;
  agent.run();
  return 0;
}
