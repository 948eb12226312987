// Starting, signalling and reaping one supervised program.
#include "supervisor/child.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <string.h>
#include <sys/prctl.h>
#include <unistd.h>

#include "platform/clock.h"
#include "platform/diag.h"

extern char** environ;

namespace supervisor {

namespace {

// Variables a child must not inherit from the supervisor's own start:
// they would make it adopt a socket meant for someone else, or take a
// service id that is not its own.
bool inheritable(const char* entry) {
  static const char* const kDropped[] = {"LISTEN_PID=", "LISTEN_FDS=",
                                         "LISTEN_FDNAMES=", "TARN_SERVICE_ID="};
  for (const char* d : kDropped) {
    if (strncmp(entry, d, strlen(d)) == 0) return false;
  }
  return true;
}

// Writes n in decimal at out (room for 20 digits); no allocation, as it
// runs between fork and exec.
void putDecimal(char* out, unsigned long n) {
  char digits[24];
  int len = 0;
  do {
    digits[len++] = static_cast<char>('0' + n % 10);
    n /= 10;
  } while (n);
  while (len) *out++ = digits[--len];
  *out = 0;
}

}  // namespace

void logEvent(const std::string& text) { tarn::diag("tarn-supervisor: " + text); }

Child::Child(const std::string& name, const std::string& path,
             const std::vector<std::string>& args, int activationFd,
             unsigned service, bool captureErrors)
    : name_(name), path_(path), activationFd_(activationFd),
      service_(service), captureErrors_(captureErrors) {
  argv_.push_back(path);
  argv_.insert(argv_.end(), args.begin(), args.end());
  for (char** e = environ; *e; ++e) {
    if (inheritable(*e)) env_.push_back(*e);
  }
  if (onDemand()) {
    env_.push_back("LISTEN_FDS=1");
    env_.push_back("TARN_SERVICE_ID=" + std::to_string(service));
  }
}

bool Child::start() {
  // Everything the child needs is laid out before fork.
  std::vector<char*> argv;
  for (std::string& a : argv_) argv.push_back(&a[0]);
  argv.push_back(nullptr);
  char listenPid[40] = "LISTEN_PID=";
  std::vector<char*> envp;
  for (std::string& e : env_) envp.push_back(&e[0]);
  if (onDemand()) envp.push_back(listenPid);
  envp.push_back(nullptr);
  const std::string execFailed = "tarn-supervisor: cannot run " + path_ + "\n";
  const pid_t parent = getpid();
  int errors[2] = {-1, -1};
  if (captureErrors_ && pipe2(errors, O_CLOEXEC) != 0) {
    logEvent("cannot read the errors of " + name_ + ": " + strerror(errno) +
             "; they go straight to the log");
    errors[0] = errors[1] = -1;
  }

  pid_t pid = fork();
  if (pid < 0) {
    logEvent("cannot start " + name_ + ": " + strerror(errno));
    if (errors[0] >= 0) {
      close(errors[0]);
      close(errors[1]);
    }
    return false;
  }
  if (pid == 0) {
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent) _exit(1);  // the supervisor is already gone
    if (errors[1] >= 0 && dup2(errors[1], 2) < 0) _exit(126);
    if (onDemand()) {
      if (activationFd_ == 3) {
        fcntl(3, F_SETFD, 0);  // keep it across exec
      } else if (dup2(activationFd_, 3) < 0) {
        _exit(126);
      }
      putDecimal(listenPid + strlen(listenPid),
                 static_cast<unsigned long>(getpid()));
    }
    execve(argv[0], argv.data(), envp.data());
    ssize_t ignored = write(2, execFailed.data(), execFailed.size());
    (void)ignored;
    _exit(127);
  }
  // Also here, so that a signal to the group cannot precede the child's
  // own setpgid.
  setpgid(pid, pid);
  if (errors[0] >= 0) {
    close(errors[1]);
    fcntl(errors[0], F_SETFL, O_NONBLOCK);
    if (errorFd_ >= 0) close(errorFd_);  // never taken
    errorFd_ = errors[0];
  }
  pid_ = pid;
  startedAt_ = tarn::nowMs();
  restartAt = 0;
  return true;
}

void Child::signal(int sig) const {
  if (pid_ > 0) kill(-pid_, sig);
}

int Child::takeErrorFd() {
  int fd = errorFd_;
  errorFd_ = -1;
  return fd;
}

uint64_t Child::ended() {
  pid_ = 0;
  return tarn::nowMs() - startedAt_;
}

}  // namespace supervisor
