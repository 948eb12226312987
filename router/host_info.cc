// System values of the host.
#include "router/host_info.h"

#include <ctype.h>
#include <dirent.h>
#include <stdlib.h>
#include <errno.h>
#include <string.h>
#include <sys/statvfs.h>
#include <sys/sysinfo.h>
#include <sys/utsname.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <sstream>
#include <vector>

#include "router/fields.h"

namespace router {

namespace {

uint32_t clamp32(uint64_t v) {
  return v > 0xFFFFFFFFu ? 0xFFFFFFFFu : static_cast<uint32_t>(v);
}

uint64_t ceilKiB(uint64_t bytes) { return (bytes + 1023) / 1024; }

// A value of /proc/meminfo in KiB, 0 if absent.
uint64_t meminfo(const std::string& text, const char* key) {
  size_t at = text.find(std::string("\n") + key + ":");
  if (at == std::string::npos) return 0;
  return strtoull(text.c_str() + at + strlen(key) + 2, nullptr, 10);
}

std::string readFile(const std::string& path) {
  std::ifstream in(path);
  std::stringstream ss;
  ss << in.rdbuf();
  return ss.str();
}

// The first line of a sysfs or device-tree file, without the trailing
// white space and NULs they end with; empty if unreadable.
std::string firstLine(const std::string& path) {
  std::string text = readFile(path);
  text = text.substr(0, text.find('\n'));
  static const char kTrailing[] = {' ', '\t', '\r', '\0'};
  size_t end = text.find_last_not_of(kTrailing, std::string::npos, sizeof kTrailing);
  return end == std::string::npos ? std::string() : text.substr(0, end + 1);
}

}  // namespace

void HostInfo::clock(tarn::message* out) {
  time_t now = time(nullptr);
  struct tm local;
  localtime_r(&now, &local);
  out->insert(tarn::u32_id(7), static_cast<uint32_t>(now));
  // A signed offset travels as its two's complement.
  out->insert(tarn::u32_id(27), static_cast<uint32_t>(local.tm_gmtoff));
}

void HostInfo::identity(tarn::message* out) {
  char name[256] = {0};
  gethostname(name, sizeof name - 1);
  out->insert(tarn::string_id(kHostName), std::string(name));
}

void HostInfo::resources(tarn::message* out) {
  struct sysinfo si;
  if (sysinfo(&si) == 0) {
    out->insert(tarn::u32_id(1), static_cast<uint32_t>(si.uptime));
  }
  std::string mem = "\n" + readFile("/proc/meminfo");
  out->insert(tarn::u32_id(2), clamp32(meminfo(mem, "MemTotal")));
  out->insert(tarn::u32_id(3), clamp32(meminfo(mem, "MemAvailable")));
  struct statvfs fs;
  if (statvfs("/", &fs) == 0) {
    // The agent serves size f 10 and used f 10 - f 11. df's used is the
    // blocks not free (f_bfree: the root-reserved blocks count as free,
    // not as used), in KiB rounded up like df's own; free is sent as size
    // minus that, so the difference the agent takes is df's figure.
    uint64_t size = ceilKiB(uint64_t{fs.f_blocks} * fs.f_frsize);
    uint64_t used = ceilKiB(uint64_t{fs.f_blocks - fs.f_bfree} * fs.f_frsize);
    out->insert(tarn::u32_id(10), clamp32(size));
    out->insert(tarn::u32_id(11), clamp32(size) - clamp32(std::min(used, size)));
  }
  // cpu  user nice system idle iowait irq softirq steal ...
  std::istringstream stat(readFile("/proc/stat"));
  std::string cpu;
  stat >> cpu;
  uint64_t v[8] = {0}, total = 0;
  for (int i = 0; i < 8 && stat >> v[i]; ++i) total += v[i];
  uint64_t busy = total - v[3] - v[4];
  uint64_t dt = total - lastTotal_, db = busy - lastBusy_;
  out->insert(tarn::u32_id(6),
              dt ? static_cast<uint32_t>(db * 100 / dt) : 0);
  lastTotal_ = total;
  lastBusy_ = busy;
}

void HostInfo::health(tarn::message* out) {
  // The first thermal zone is the board temperature; a zone whose type
  // names the processor gives the processor temperature.
  DIR* d = opendir("/sys/class/thermal");
  if (!d) return;
  std::vector<std::string> zones;
  while (dirent* e = readdir(d)) {
    if (strncmp(e->d_name, "thermal_zone", 12) == 0) zones.push_back(e->d_name);
  }
  closedir(d);
  std::sort(zones.begin(), zones.end(), [](const std::string& a,
                                           const std::string& b) {
    return a.size() != b.size() ? a.size() < b.size() : a < b;
  });
  bool board = false, cpu = false;
  for (const std::string& z : zones) {
    std::string base = "/sys/class/thermal/" + z;
    std::string temp = readFile(base + "/temp");
    if (temp.empty()) continue;
    // Millidegrees, possibly negative; whole degrees as two's complement.
    long milli = strtol(temp.c_str(), nullptr, 10);
    uint32_t degrees = static_cast<uint32_t>(static_cast<int32_t>(
        (milli >= 0 ? milli + 500 : milli - 500) / 1000));
    std::string type = readFile(base + "/type");
    bool isCpu = type.find("cpu") != std::string::npos ||
                 type.find("x86_pkg") != std::string::npos ||
                 type.find("coretemp") != std::string::npos;
    if (isCpu && !cpu) {
      out->insert(tarn::u32_id(17), degrees);
      cpu = true;
    } else if (!isCpu && !board) {
      out->insert(tarn::u32_id(14), degrees);
      board = true;
    }
  }
}

void HostInfo::software(tarn::message* out) {
  out->insert(tarn::string_id(1), softwareIdentifier());
  out->insert(tarn::u32_id(4), 0);
  out->insert(tarn::u32_id(9), 0);
}

std::string HostInfo::softwareIdentifier() {
  std::string release = readFile("/etc/os-release");
  if (release.empty()) release = readFile("/usr/lib/os-release");
  std::string os = osReleaseValue(release, "PRETTY_NAME");
  if (os.empty()) os = osReleaseValue(release, "NAME");
  struct utsname u;
  std::string kernel = "Linux";
  if (uname(&u) == 0) {
    kernel = std::string(u.sysname) + " " + u.release + " " + u.machine;
  }
  std::string board = boardName(
      firstLine("/sys/class/dmi/id/sys_vendor"),
      firstLine("/sys/class/dmi/id/product_name"),
      firstLine("/sys/class/dmi/id/board_name"),
      firstLine("/proc/device-tree/model"));
  std::string id = os.empty() ? kernel : os + "; " + kernel;
  return board.empty() ? id : id + "; " + board;
}

std::string HostInfo::osReleaseValue(const std::string& text,
                                     const std::string& key) {
  std::istringstream lines(text);
  std::string line;
  while (std::getline(lines, line)) {
    if (line.compare(0, key.size() + 1, key + "=") != 0) continue;
    // A shell assignment: quoted with " or ', or bare; \ escapes in "".
    std::string value;
    char quote = 0;
    for (size_t i = key.size() + 1; i < line.size(); ++i) {
      char c = line[i];
      if (!quote && (c == '"' || c == '\'')) {
        quote = c;
      } else if (quote && c == quote) {
        quote = 0;
      } else if (quote == '"' && c == '\\' && i + 1 < line.size()) {
        value += line[++i];
      } else {
        value += c;
      }
    }
    return value;
  }
  return std::string();
}

std::string HostInfo::boardName(const std::string& vendor,
                                const std::string& product,
                                const std::string& board,
                                const std::string& deviceTreeModel) {
  // Firmware that was never filled in says so in many ways.
  auto blank = [](const std::string& v) {
    static const char* const kFillers[] = {
        "to be filled by o.e.m.", "default string", "system product name",
        "system manufacturer", "not specified", "not applicable", "none",
        "o.e.m.", "oem", "unknown", "0123456789"};
    std::string lower;
    for (char c : v) lower += static_cast<char>(tolower(static_cast<unsigned char>(c)));
    if (lower.empty()) return true;
    for (const char* f : kFillers) {
      if (lower == f) return true;
    }
    return false;
  };
  std::string model = !blank(product) ? product : !blank(board) ? board : "";
  if (model.empty()) return blank(deviceTreeModel) ? "" : deviceTreeModel;
  if (blank(vendor) || model.compare(0, vendor.size(), vendor) == 0) return model;
  return vendor + " " + model;
}

bool HostInfo::setHostName(const std::string& name, std::string* error) {
  if (sethostname(name.data(), name.size()) != 0) {
    *error = std::string("cannot set the host name: ") + strerror(errno);
    return false;
  }
  return true;
}

}  // namespace router
