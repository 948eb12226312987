// System values of the host.
#include "router/host_info.h"

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
    out->insert(tarn::u32_id(10),
                clamp32(uint64_t{fs.f_blocks} * fs.f_frsize / 1024));
    out->insert(tarn::u32_id(11),
                clamp32(uint64_t{fs.f_bavail} * fs.f_frsize / 1024));
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
  struct utsname u;
  std::string id = "Linux";
  if (uname(&u) == 0) id = std::string(u.sysname) + " " + u.release;
  out->insert(tarn::string_id(1), id);
  out->insert(tarn::u32_id(4), 0);
  out->insert(tarn::u32_id(9), 0);
}

bool HostInfo::setHostName(const std::string& name, std::string* error) {
  if (sethostname(name.data(), name.size()) != 0) {
    *error = std::string("cannot set the host name: ") + strerror(errno);
    return false;
  }
  return true;
}

}  // namespace router
