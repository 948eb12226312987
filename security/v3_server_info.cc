// The SNMPv3 engine clock (seconds since boot, replaceable) and the salt of
// the messages this engine sends.
#include "security/v3_server_info.h"

#include <fcntl.h>
#include <sys/sysinfo.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>

#include "security/crypto.h"

const V3ServerInfo* v3Engine = nullptr;

namespace {

// 64 random bits for the AES salt's start: from /dev/urandom, or, where it
// cannot be read, from the clock and the process's random generator.
unsigned long long randomStart() {
  unsigned char bytes[8] = {};
  const int fd = open("/dev/urandom", O_RDONLY | O_CLOEXEC);
  bool ok = false;
  if (fd >= 0) {
    ok = read(fd, bytes, sizeof bytes) == static_cast<ssize_t>(sizeof bytes);
    close(fd);
  }
  unsigned long long value = 0;
  for (unsigned char b : bytes) value = value << 8 | b;
  if (!ok) {
    value = static_cast<unsigned long long>(std::time(nullptr)) << 32 ^
            static_cast<unsigned long long>(std::rand()) << 16 ^
            static_cast<unsigned long long>(std::rand());
  }
  return value;
}

}  // namespace

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

std::string makeAesSalt() {
  static unsigned long long next = randomStart();
  const unsigned long long value = next++;
  std::string salt(AES_SALT_SIZE, '\0');
  for (unsigned i = 0; i < AES_SALT_SIZE; ++i)
    salt[i] = static_cast<char>(value >> (56 - 8 * i) & 0xFF);
  return salt;
}

std::string makeSalt(unsigned privProtocol, int engineBoots) {
  return privProtocol == PRIV_AES128 ? makeAesSalt() : makeSalt(engineBoots);
}
