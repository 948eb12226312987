// V3ServerInfo: this engine's side of SNMPv3 security, and its clock.
//
// The agent service holds one and hands it to the security checks; the
// trap builder reads it too. Engine time is the uptime in seconds minus the
// uptime at start; the uptime comes through the replaceable v3Uptime hook so
// that the platform's clock (or a test's) can be plugged in.
#ifndef SECURITY_V3_SERVER_INFO_H
#define SECURITY_V3_SERVER_INFO_H

#include <string>

struct V3ServerInfo {
  int engineBoots = 0;
  unsigned startUptime = 0;  // uptime in seconds when the engine started
  unsigned timeWindow = 15;  // seconds a message may lag behind our time
  std::string engineId;      // internal form (formatEngineID)
};

// This engine's SNMPv3 state, owned by the agent service, which points this
// at its own record. Requests are not checked, and version 3 messages are
// dropped, while it is null; the community keep derives users' keys for it.
extern const V3ServerInfo* v3Engine;

// The uptime in seconds used for engine time. Defaults to the system's
// seconds since boot; point it at the platform clock (or a test clock).
// Never null.
extern unsigned (*v3Uptime)();
// The system's seconds since boot (the default of v3Uptime).
unsigned systemUptimeSeconds();

// Our engine time: v3Uptime() - startUptime, modulo 2^32.
unsigned engineTime(const V3ServerInfo& server);

// A fresh DES salt for a message this engine sends: the engine boots as 4
// bytes in network order, then 4 bytes from the process's random generator
// (rand(), seeded once at start).
std::string makeSalt(int engineBoots);

// A fresh AES salt: a 64-bit counter as 8 bytes in network order. It starts
// at a random value (from the system's random source) on first use and
// goes up by one per call, so that no salt repeats while the process runs,
// whatever the key.
std::string makeAesSalt();

// The salt of a message this engine encrypts with `privProtocol`.
std::string makeSalt(unsigned privProtocol, int engineBoots);

#endif
