// Restart pacing and exit descriptions.
#include "supervisor/backoff.h"

#include <string.h>
#include <sys/wait.h>

namespace supervisor {

Backoff::Backoff(unsigned firstMs, unsigned maxMs, unsigned steadyMs)
    : first_(firstMs), max_(maxMs), steady_(steadyMs), current_(firstMs) {}

unsigned Backoff::next(uint64_t ranMs) {
  if (ranMs >= steady_) current_ = first_;
  unsigned delay = current_;
  current_ = current_ > max_ / 2 ? max_ : current_ * 2;
  return delay;
}

std::string describeExit(int status) {
  if (WIFEXITED(status)) {
    return "exited with status " + std::to_string(WEXITSTATUS(status));
  }
  if (WIFSIGNALED(status)) {
    int sig = WTERMSIG(status);
    return "killed by signal " + std::to_string(sig) + " (" + strsignal(sig) +
           ")";
  }
  return "ended with wait status " + std::to_string(status);
}

std::string seconds(unsigned ms) {
  std::string s = std::to_string(ms / 1000);
  unsigned tenths = ms % 1000 / 100;
  if (tenths) s += "." + std::to_string(tenths);
  return s;
}

}  // namespace supervisor
