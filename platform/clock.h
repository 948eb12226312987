// Clocks: time since boot for the SNMP engine time and sysUpTime, a
// monotonic millisecond clock for the loop's timers, and the OS version.
#ifndef PLATFORM_CLOCK_H
#define PLATFORM_CLOCK_H

#include <cstdint>
#include <string>

namespace tarn {

// Whole seconds since the system started (CLOCK_BOOTTIME).
unsigned getUptime();
// Hundredths of a second since the system started, wrapping at 2^32.
unsigned getJiffies();
// The operating system's name and release, e.g. "Linux 6.1.0".
std::string getOSVersion();
// Monotonic milliseconds, for deadlines.
uint64_t nowMs();

}  // namespace tarn

#endif  // PLATFORM_CLOCK_H
