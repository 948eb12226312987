// tarn-supervisor's event loop: starts the router services and the agent
// under one platform root, keeps them running and stops them together.
//
// The agent's bus socket belongs to the supervisor: it is bound once and
// handed to every agent process as fd 3. While no agent runs, the
// supervisor watches that socket and starts the agent when a connection
// arrives; the connection waits in the socket's queue and the new agent
// accepts it. An agent that exits with status 0 after running at least
// 1 s has left by itself (idle with SNMP disabled) and is started again by
// the next connection. Any other end of any process is a crash: the
// process is started again after its back-off delay.
//
// The agent's error stream comes through a pipe and is passed on line by
// line (supervisor/agent_output.h): when the agent cannot open its UDP
// port, the supervisor adds a line naming the port and the errno.
//
// Single-threaded: one poll loop (the platform's ThinRunner) over a
// signalfd (SIGCHLD, SIGTERM, SIGINT, SIGHUP), the agent's socket and the
// agent's error pipes.
#ifndef SUPERVISOR_SUPERVISOR_H
#define SUPERVISOR_SUPERVISOR_H

#include <sys/types.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/runner.h"
#include "supervisor/agent_output.h"
#include "supervisor/child.h"
#include "supervisor/options.h"

namespace supervisor {

// The agent's service id: its bus socket is <root>/tarn/run/bus/161.sock.
// An agent leaves by itself only after this long idle, so a clean exit
// that comes sooner counts as a failure.
enum : unsigned { kAgentService = 161, kIdleLeaveMs = 1000 };

class Supervisor {
 public:
  explicit Supervisor(const Options& options);
  Supervisor(const Supervisor&) = delete;
  Supervisor& operator=(const Supervisor&) = delete;
  // Closes and removes the agent's socket.
  ~Supervisor();

  // Sets TARN_ROOT, creates the platform's directories, finds the programs,
  // binds the agent's socket and takes over the signals. False, with a log
  // line, if any of it fails (nothing has been started then).
  bool init();
  // Starts every program and serves events until a stop signal has ended
  // them all. Returns the process exit status (0).
  int run();

 private:
  bool prepareRoot();
  bool bindAgentSocket();
  std::string program(const std::string& name) const;

  void start(Child* c);
  void onAgentErrors(int fd, unsigned events);
  // Reads what the pipe holds; at its end (or with last) closes it.
  void readErrors(int fd, bool last);
  void agentLine(pid_t pid, const std::string& line);
  void onSignal(int fd, unsigned events);
  void onConnection(int fd, unsigned events);
  void reap();
  void ended(Child* c, int status);
  void watchSocket(bool on);
  void armRestarts();
  void restartDue();
  void stop(int sig);
  void graceOver();

  Options options_;
  tarn::ThinRunner runner_;
  std::vector<std::unique_ptr<Child>> children_;
  Child* agent_ = nullptr;
  int signalFd_ = -1;
  int listenFd_ = -1;
  std::string socketPath_;
  // The agent's error pipes (one per process until its end is read).
  struct ErrorPipe {
    pid_t pid;
    LineSplitter lines;
  };
  std::map<int, ErrorPipe> errorPipes_;
  bool watching_ = false;
  bool stopping_ = false;
};

}  // namespace supervisor

#endif  // SUPERVISOR_SUPERVISOR_H
