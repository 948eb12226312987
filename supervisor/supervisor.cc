// tarn-supervisor's event loop: start, on-demand start, restart, stop.
#include "supervisor/supervisor.h"

#include <errno.h>
#include <limits.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/bus.h"
#include "platform/clock.h"
#include "platform/diag.h"
#include "platform/paths.h"
#include "service/ports.h"

namespace supervisor {

namespace {

std::string who(const Child& c, pid_t pid) {
  return c.name() + " (pid " + std::to_string(pid) + ")";
}

}  // namespace

Supervisor::Supervisor(const Options& options) : options_(options) {}

Supervisor::~Supervisor() {
  for (auto& p : errorPipes_) {
    runner_.removeSocket(p.first);
    close(p.first);
  }
  if (listenFd_ >= 0) {
    watchSocket(false);
    close(listenFd_);
    unlink(socketPath_.c_str());
  }
  if (signalFd_ >= 0) {
    runner_.removeSocket(signalFd_);
    close(signalFd_);
  }
}

bool Supervisor::init() {
  if (!prepareRoot()) return false;
  std::string agent = program("tarn-snmpd");
  std::string router = program("tarn-routerd");
  for (const std::string& p : {agent, router}) {
    if (p == router && !options_.router) continue;
    if (access(p.c_str(), X_OK) != 0) {
      logEvent("cannot run " + p + ": " + strerror(errno) +
               " (--bin names the directory of the programs)");
      return false;
    }
  }
  if (!bindAgentSocket()) return false;

  sigset_t set;
  sigemptyset(&set);
  for (int sig : {SIGCHLD, SIGTERM, SIGINT, SIGHUP}) {
    sigaddset(&set, sig);
    // Blocked and read from the signalfd; an inherited "ignore" (as a
    // shell gives background jobs) must not hide Ctrl-C or SIGTERM.
    if (sig != SIGCHLD) ::signal(sig, SIG_DFL);
  }
  sigprocmask(SIG_BLOCK, &set, nullptr);
  signalFd_ = signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
  if (signalFd_ < 0) {
    logEvent(std::string("cannot watch signals: ") + strerror(errno));
    return false;
  }
  runner_.addSocket(signalFd_, this, &Supervisor::onSignal, tarn::kEventRead);

  // The router services first: the agent reads them from its start.
  if (options_.router) {
    children_.emplace_back(
        new Child("tarn-routerd", router, options_.routerArgs, -1, 0));
  }
  children_.emplace_back(
      new Child("tarn-snmpd", agent, {}, listenFd_, kAgentService, true));
  agent_ = children_.back().get();
  return true;
}

bool Supervisor::prepareRoot() {
  if (!tarn::makeDirs(options_.root, 0755)) {
    logEvent("cannot create the root " + options_.root);
    return false;
  }
  char real[PATH_MAX];
  if (!realpath(options_.root.c_str(), real)) {
    logEvent("cannot resolve the root " + options_.root);
    return false;
  }
  options_.root = real;
  // Children inherit it; the platform's path mapping reads it here too.
  setenv("TARN_ROOT", real, 1);
  for (const char* dir : {"/tarn/run/bus", "/tarn/store", "/tarn/log"}) {
    std::string path = tarn::rootPath(dir);
    if (!tarn::makeDirs(path, 0700)) {
      logEvent("cannot create " + path);
      return false;
    }
  }
  return true;
}

std::string Supervisor::program(const std::string& name) const {
  if (!options_.bin.empty()) return options_.bin + "/" + name;
  char self[PATH_MAX];
  ssize_t n = readlink("/proc/self/exe", self, sizeof self - 1);
  if (n <= 0) return name;
  self[n] = 0;
  return tarn::dirName(self) + "/" + name;
}

bool Supervisor::bindAgentSocket() {
  socketPath_ = tarn::busSocketPath(kAgentService);
  switch (tarn::listenUnix(socketPath_, &listenFd_)) {
    case tarn::ListenResult::kListening:
      return true;
    case tarn::ListenResult::kAlreadyServed:
      logEvent("service " + std::to_string(kAgentService) +
               " is already served at " + socketPath_);
      return false;
    case tarn::ListenResult::kPathTooLong:
      logEvent("socket path too long: " + socketPath_);
      return false;
    case tarn::ListenResult::kFailed:
      break;
  }
  logEvent("cannot listen on " + socketPath_ + ": " + strerror(errno));
  return false;
}

int Supervisor::run() {
  logEvent("root " + options_.root + ", agent socket " + socketPath_);
  for (auto& c : children_) start(c.get());
  runner_.run();
  logEvent("stopped");
  return 0;
}

void Supervisor::start(Child* c) {
  if (c->start()) {
    logEvent("started " + who(*c, c->pid()));
    int fd = c->takeErrorFd();
    if (fd >= 0) {
      errorPipes_[fd].pid = c->pid();
      runner_.addSocket(fd, this, &Supervisor::onAgentErrors, tarn::kEventRead);
    }
    return;
  }
  c->restartAt = tarn::nowMs() + c->backoff.next(0);
  armRestarts();
}

void Supervisor::onAgentErrors(int fd, unsigned) { readErrors(fd, false); }

void Supervisor::readErrors(int fd, bool last) {
  auto it = errorPipes_.find(fd);
  if (it == errorPipes_.end()) return;
  ErrorPipe& p = it->second;
  const pid_t pid = p.pid;
  auto line = [this, pid](const std::string& l) { agentLine(pid, l); };
  char buf[4096];
  ssize_t n;
  while ((n = read(fd, buf, sizeof buf)) > 0) {
    p.lines.feed(buf, static_cast<size_t>(n), line);
  }
  if (n < 0 && errno == EINTR) return;  // readable again on the next pass
  const bool more = n < 0 && errno == EAGAIN;
  if (more && !last) return;
  p.lines.finish(line);
  runner_.removeSocket(fd);
  close(fd);
  errorPipes_.erase(it);
}

void Supervisor::agentLine(pid_t pid, const std::string& line) {
  tarn::diag(line);
  if (line != kAgentSocketFailure) return;
  const unsigned port = servicePort("TARN_SNMP_PORT", SNMP_PORT);
  logEvent(describeSocketFailure(who(*agent_, pid), port, probeUdpPort(port)));
}

void Supervisor::onSignal(int fd, unsigned) {
  signalfd_siginfo info;
  bool child = false;
  while (read(fd, &info, sizeof info) == static_cast<ssize_t>(sizeof info)) {
    if (info.ssi_signo == SIGCHLD) {
      child = true;
    } else {
      stop(static_cast<int>(info.ssi_signo));
    }
  }
  // Several ends may share one SIGCHLD, so reap until none is left.
  if (child) reap();
}

void Supervisor::reap() {
  int status;
  pid_t pid;
  while ((pid = waitpid(-1, &status, WNOHANG)) > 0) {
    for (auto& c : children_) {
      if (c->pid() == pid) ended(c.get(), status);
    }
  }
}

void Supervisor::ended(Child* c, int status) {
  const std::string name = who(*c, c->pid());
  // The process's last lines come before the line about its end.
  for (auto it = errorPipes_.begin(); it != errorPipes_.end();) {
    int fd = it->first;
    bool mine = it->second.pid == c->pid();
    ++it;  // readErrors may erase the entry
    if (mine) readErrors(fd, true);
  }
  uint64_t ranMs = c->ended();
  if (stopping_) {
    logEvent(name + " " + describeExit(status));
    for (auto& other : children_) {
      if (other->running()) return;
    }
    runner_.shutdown();
    return;
  }
  bool clean = WIFEXITED(status) && WEXITSTATUS(status) == 0;
  if (c->onDemand() && clean && ranMs >= kIdleLeaveMs) {
    logEvent(name + " left by itself; the next connection starts it again");
    watchSocket(true);
    return;
  }
  // A clean end sooner than an idle leave can come is a failure: watching
  // the socket again would start it at once for the same waiting
  // connection, over and over.
  unsigned delay = c->backoff.next(ranMs);
  logEvent(name + " " + describeExit(status) +
           (c->onDemand() && clean ? " before it could have been idle" : "") +
           "; restarting in " + seconds(delay) + " s");
  c->restartAt = tarn::nowMs() + delay;
  armRestarts();
}

void Supervisor::watchSocket(bool on) {
  if (on == watching_) return;
  watching_ = on;
  if (on) {
    runner_.addSocket(listenFd_, this, &Supervisor::onConnection,
                      tarn::kEventRead);
  } else {
    runner_.removeSocket(listenFd_);
  }
}

void Supervisor::onConnection(int, unsigned) {
  // The connection stays queued on the socket until the agent accepts it.
  watchSocket(false);
  logEvent("connection for service " + std::to_string(kAgentService) +
           "; starting " + agent_->name());
  start(agent_);
}

void Supervisor::armRestarts() {
  uint64_t first = 0;
  for (auto& c : children_) {
    if (c->restartAt && (!first || c->restartAt < first)) first = c->restartAt;
  }
  if (!first) {
    runner_.removeTimer(this, &Supervisor::restartDue);
    return;
  }
  uint64_t now = tarn::nowMs();
  runner_.addTimer(this, &Supervisor::restartDue,
                   first > now ? static_cast<unsigned>(first - now) : 0);
}

void Supervisor::restartDue() {
  uint64_t now = tarn::nowMs();
  for (auto& c : children_) {
    if (c->restartAt && c->restartAt <= now) start(c.get());
  }
  armRestarts();
}

void Supervisor::stop(int sig) {
  if (stopping_) return;  // Ctrl-C often arrives twice (shell and terminal)
  stopping_ = true;
  logEvent("stopping on signal " + std::to_string(sig) + " (" +
           strsignal(sig) + ")");
  watchSocket(false);
  for (auto& c : children_) c->restartAt = 0;
  runner_.removeTimer(this, &Supervisor::restartDue);
  bool any = false;
  for (auto& c : children_) {
    if (c->running()) {
      c->signal(SIGTERM);
      any = true;
    }
  }
  if (!any) {
    runner_.shutdown();
    return;
  }
  runner_.addTimer(this, &Supervisor::graceOver, options_.graceMs);
}

void Supervisor::graceOver() {
  for (auto& c : children_) {
    if (!c->running()) continue;
    logEvent(who(*c, c->pid()) + " did not stop within " +
             seconds(options_.graceMs) + " s; killing it");
    c->signal(SIGKILL);
  }
}

}  // namespace supervisor
