// Platform paths. Every platform path ("/tarn/store/snmpd", the bus sockets)
// lives under the root named by TARN_ROOT (unset or empty: "/"); rootPath is
// the one place that maps them.
//
// Under any other root than "/" a platform path is simply prefixed with it
// ($TARN_ROOT/tarn/store/snmpd). On the host's own root "/" the platform
// takes the system's directories instead of a /tarn tree of its own:
//   /tarn/run/...    -> /run/tarn/...           (bus sockets)
//   /tarn/store/...  -> /var/lib/tarn/store/... (settings, communities)
//   /tarn/log/...    -> /var/lib/tarn/log/...   (change history)
// and every other path (the plug-in directory /tarn/lib/snmp) is as given.
// That is where the installed systemd units keep them (RuntimeDirectory=,
// StateDirectory=); a build tree runs under its own root (.run/root).
#ifndef PLATFORM_PATHS_H
#define PLATFORM_PATHS_H

#include <sys/types.h>

#include <string>

namespace tarn {

// "/tarn/x" -> "$TARN_ROOT/tarn/x", or the system layout above on "/"
// (read from the environment on each call, so tests may change it between
// cases).
std::string rootPath(const std::string& platformPath);

// Creates the directory dir (a real path, already mapped) and its missing
// parents; the last one gets mode, parents 0755. True if it exists after.
bool makeDirs(const std::string& dir, mode_t mode);

// The directory part of a real path ("/a/b/c" -> "/a/b").
std::string dirName(const std::string& path);

// The bus socket of service id: <root>/tarn/run/bus/<id>.sock.
std::string busSocketPath(unsigned service);

}  // namespace tarn

#endif  // PLATFORM_PATHS_H
