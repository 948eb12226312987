// The host's system values for the settings paths: clock {24, 0}, identity
// {24, 1}, resources {24, 2}, health {12, 1} and software {65}, read from
// the kernel's interfaces (/proc, statvfs, /sys/class/thermal, uname) and
// the system's description of itself (/etc/os-release, the firmware's DMI
// strings, the device tree) on every request; they are cheap.
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
  // f 1, the software identifier, says what a poller needs to tell the
  // device: "<os-release PRETTY_NAME>; <uname -s -r -m>[; <board>]", e.g.
  // "Debian GNU/Linux 12 (bookworm); Linux 6.1.0-18-amd64 x86_64; Dell
  // Inc. PowerEdge R640". Parts the host does not tell are left out.
  void software(tarn::message* out);
  static std::string softwareIdentifier();
  // The value of key in os-release text, unquoted; empty when absent.
  static std::string osReleaseValue(const std::string& text,
                                    const std::string& key);
  // The board or model name: the DMI product (else board) name, with the
  // vendor in front unless it already starts with it, else the device
  // tree's model; firmware placeholders ("To be filled by O.E.M.") count
  // as absent. Empty when nothing is known.
  static std::string boardName(const std::string& vendor,
                               const std::string& product,
                               const std::string& board,
                               const std::string& deviceTreeModel);

  // Changes the host name; false with *error.
  static bool setHostName(const std::string& name, std::string* error);

 private:
  uint64_t lastBusy_ = 0, lastTotal_ = 0;
};

}  // namespace router

#endif  // ROUTER_HOST_INFO_H
