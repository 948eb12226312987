// Restart pacing for supervised processes, and the text that describes how
// a process ended. Pure functions of their inputs, so they are testable
// without processes.
#ifndef SUPERVISOR_BACKOFF_H
#define SUPERVISOR_BACKOFF_H

#include <cstdint>
#include <string>

namespace supervisor {

// Delays between restarts of a process that keeps failing: the first is
// firstMs, each further one doubles, up to maxMs. A process that ran for
// at least steadyMs before it failed counts as healthy again, so its next
// delay is firstMs once more.
class Backoff {
 public:
  Backoff(unsigned firstMs = 100, unsigned maxMs = 10000,
          unsigned steadyMs = 30000);

  // The delay before restarting a process that failed after running ranMs.
  unsigned next(uint64_t ranMs);

 private:
  unsigned first_;
  unsigned max_;
  unsigned steady_;
  unsigned current_;
};

// "exited with status 3", "killed by signal 9 (Killed)"; status as
// waitpid() gives it.
std::string describeExit(int status);

// Milliseconds as seconds for log lines: 100 -> "0.1", 10000 -> "10".
std::string seconds(unsigned ms);

}  // namespace supervisor

#endif  // SUPERVISOR_BACKOFF_H
