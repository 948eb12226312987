// Clocks.
#include "platform/clock.h"

#include <sys/utsname.h>
#include <time.h>

namespace tarn {

namespace {
uint64_t readMs(clockid_t id) {
  struct timespec ts;
  clock_gettime(id, &ts);
  return static_cast<uint64_t>(ts.tv_sec) * 1000u +
         static_cast<uint64_t>(ts.tv_nsec) / 1000000u;
}
}  // namespace

unsigned getUptime() {
  return static_cast<unsigned>(readMs(CLOCK_BOOTTIME) / 1000u);
}

unsigned getJiffies() {
  return static_cast<unsigned>(readMs(CLOCK_BOOTTIME) / 10u);
}

std::string getOSVersion() {
  struct utsname u;
  if (uname(&u) != 0) return "tarn";
  return std::string(u.sysname) + " " + u.release;
}

uint64_t nowMs() { return readMs(CLOCK_MONOTONIC); }

}  // namespace tarn
