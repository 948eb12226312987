// The engine clock for SNMPv3: seconds since boot, replaceable.
#include "security/v3_server_info.h"

#include <sys/sysinfo.h>

unsigned systemUptimeSeconds() {
  struct sysinfo info;
  if (sysinfo(&info) != 0) return 0;
  return static_cast<unsigned>(info.uptime);
}

unsigned (*v3Uptime)() = systemUptimeSeconds;

unsigned engineTime(const V3ServerInfo& server) {
  return v3Uptime() - server.startUptime;
}
