// Stands in for the programs tarn-supervisor runs, by the name it is started
// under (the test links it as tarn-snmpd and tarn-routerd). Each start
// appends "agent PID activated|bound|quit" or "router PID ARGS..." to
// $TARN_ROOT/tarn/starts. Both answer get with {u32:1 = pid}.
//   tarn-snmpd    service 161, leaves after 1 s idle; 0x79: stay (no idle
//                 leave); 0x78: exit with status 3; exits 0 at once while
//                 $TARN_ROOT/tarn/quit-at-start exists
//   tarn-routerd  service 20 until killed; --ignore-term: ignore SIGTERM
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <string>

#include "platform/looper.h"
#include "platform/paths.h"

using namespace tarn;

namespace {

class StandIn : public Looper {
 public:
  explicit StandIn(unsigned sid) : Looper(sid) {}
  message cmdGet(const message&) override { return pidReply(); }
  message cmdUnknown(const message&, unsigned cmd) override {
    if (cmd == 0x78) _exit(3);
    if (cmd == 0x79) setupLeave(0);
    return pidReply();
  }

 private:
  static message pidReply() {
    message m;
    m.insert(u32_id(1), static_cast<uint32_t>(getpid()));
    return m;
  }
};

void record(const std::string& line) {
  FILE* f = fopen(rootPath("/tarn/starts").c_str(), "a");
  if (!f) return;
  fprintf(f, "%s\n", line.c_str());
  fclose(f);
}

}  // namespace

int main(int argc, char** argv) {
  const char* slash = strrchr(argv[0], '/');
  std::string name = slash ? slash + 1 : argv[0];
  std::string pid = std::to_string(getpid());
  if (name == "tarn-routerd") {
    std::string line = "router " + pid;
    for (int i = 1; i < argc; ++i) {
      line += std::string(" ") + argv[i];
      if (strcmp(argv[i], "--ignore-term") == 0) signal(SIGTERM, SIG_IGN);
    }
    StandIn router(20);
    record(line);
    router.run();
    return 0;
  }
  const char* listenPid = getenv("LISTEN_PID");
  bool activated = listenPid && listenPid == pid;
  if (access(rootPath("/tarn/quit-at-start").c_str(), F_OK) == 0) {
    record("agent " + pid + " quit");
    return 0;
  }
  setDefaultServiceId(161);
  StandIn agent(0);
  agent.setupLeave(1000);
  record("agent " + pid + (activated ? " activated" : " bound"));
  agent.run();
  return 0;
}
