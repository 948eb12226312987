// The SNMPv3 engine clock (seconds since boot, replaceable) and the salt of
// the messages this engine sends.
#include "security/v3_server_info.h"

#include <sys/sysinfo.h>

#include <cstdlib>

unsigned systemUptimeSeconds() {
  struct sysinfo info;
  if (sysinfo(&info) != 0) return 0;
  return static_cast<unsigned>(info.uptime);
}

unsigned (*v3Uptime)() = systemUptimeSeconds;

unsigned engineTime(const V3ServerInfo& server) {
  return v3Uptime() - server.startUptime;
}

std::string makeSalt(int engineBoots) {
  const unsigned boots = static_cast<unsigned>(engineBoots);
  std::string salt(8, '\0');
  for (unsigned i = 0; i < 4; ++i) {
    salt[i] = static_cast<char>(boots >> (24 - 8 * i) & 0xFF);
    salt[4 + i] = static_cast<char>(std::rand() & 0xFF);
  }
  return salt;
}
