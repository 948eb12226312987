// The host's system values for the settings paths: clock {24, 0}, identity
// {24, 1}, resources {24, 2}, health {12, 1} and software {65}, read from
// the kernel's interfaces (/proc, statvfs, /sys/class/thermal, uname) on
// every request; they are cheap.
#ifndef ROUTER_HOST_INFO_H
#define ROUTER_HOST_INFO_H

#include <cstdint>
#include <string>

#include "platform/message.h"

namespace router {

class HostInfo {
 public:
  void clock(tarn::message* out);
  void identity(tarn::message* out);
  // The processor load is over the time since the previous call (since
  // boot on the first).
  void resources(tarn::message* out);
  void health(tarn::message* out);
  void software(tarn::message* out);

  // Changes the host name; false with *error.
  static bool setHostName(const std::string& name, std::string* error);

 private:
  uint64_t lastBusy_ = 0, lastTotal_ = 0;
};

}  // namespace router

#endif  // ROUTER_HOST_INFO_H
