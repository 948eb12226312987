// The UDP ports of the agent: 161 for requests and 162 for traps, as every
// SNMP manager expects. For test runs that cannot use them (no privilege,
// or another agent on the host) the environment may override them:
// TARN_SNMP_PORT for the request socket (0 lets the kernel choose) and
// TARN_SNMP_TRAP_PORT for the trap target's port. A router never sets them.
#ifndef SERVICE_PORTS_H
#define SERVICE_PORTS_H

#include <cstdlib>

// The port named by the environment variable, or `standard` when it is
// unset, empty or not a number up to 65535.
inline unsigned servicePort(const char* envName, unsigned standard) {
  const char* text = std::getenv(envName);
  if (text == nullptr || *text == '\0') return standard;
  char* end = nullptr;
  const unsigned long port = std::strtoul(text, &end, 10);
  return (*end == '\0' && port <= 65535) ? static_cast<unsigned>(port)
                                         : standard;
}

constexpr unsigned SNMP_PORT = 161;
constexpr unsigned SNMP_TRAP_PORT = 162;

#endif
