// One supervised program: how to start it and the state of its current
// process. The supervisor decides when to start it; Child only forks,
// execs, signals and records.
//
// A child started with an activation socket gets that socket as fd 3 with
// LISTEN_FDS=1, LISTEN_PID=<its own pid> and TARN_SERVICE_ID=<service>, so
// the platform adopts it instead of binding its own. Every child runs in a
// process group of its own (so a terminal's Ctrl-C reaches only the
// supervisor, which stops the children in order) and gets SIGTERM should
// the supervisor die first.
#ifndef SUPERVISOR_CHILD_H
#define SUPERVISOR_CHILD_H

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

#include "supervisor/backoff.h"

namespace supervisor {

// The one exit for the supervisor's event lines ("tarn-supervisor: ..."
// on the standard error stream, through the platform's diagnostics).
void logEvent(const std::string& text);

class Child {
 public:
  // activationFd < 0: no socket is handed over. The descriptor stays
  // owned by the caller.
  Child(const std::string& name, const std::string& path,
        const std::vector<std::string>& args, int activationFd,
        unsigned service, bool captureErrors = false);
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  // Forks and execs the program. False, with a log line, if fork fails;
  // a failing exec shows up as exit status 127.
  bool start();
  // Sends sig to the child's process group, if it runs.
  void signal(int sig) const;
  // Records the end of the process; returns how long it ran, in ms.
  uint64_t ended();
  // The read end of the current process's error pipe (non-blocking,
  // close-on-exec), now the caller's; -1 if there is none.
  int takeErrorFd();

  const std::string& name() const { return name_; }
  pid_t pid() const { return pid_; }
  bool running() const { return pid_ > 0; }
  bool onDemand() const { return activationFd_ >= 0; }
  unsigned service() const { return service_; }

  Backoff backoff;
  uint64_t restartAt = 0;  // monotonic ms; 0 when no restart is due

 private:
  std::string name_;
  std::string path_;
  std::vector<std::string> argv_;
  std::vector<std::string> env_;  // without LISTEN_PID, filled in the child
  int activationFd_;
  unsigned service_;
  bool captureErrors_;
  int errorFd_ = -1;
  pid_t pid_ = 0;
  uint64_t startedAt_ = 0;
};

}  // namespace supervisor

#endif  // SUPERVISOR_CHILD_H
