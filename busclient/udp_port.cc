// UDP port holders from /proc.
#include "busclient/udp_port.h"

#include <dirent.h>
#include <stdlib.h>
#include <unistd.h>

#include <fstream>
#include <set>
#include <sstream>

namespace tarnctl {

namespace {

const char kAgentProgram[] = "tarn-snmpd";

// The inodes of the sockets bound to port in one /proc/net/udp* table:
// "sl local_address rem_address st tx rx tr tm retrnsmt uid timeout inode".
void boundInodes(const char* table, unsigned port, std::set<std::string>* out) {
  std::ifstream in(table);
  std::string line;
  std::getline(in, line);  // the heading
  while (std::getline(in, line)) {
    std::istringstream f(line);
    std::string slot, local, remote, skip, inode;
    f >> slot >> local >> remote;
    for (int i = 0; i < 6; ++i) f >> skip;  // st .. timeout
    f >> inode;
    size_t colon = local.rfind(':');
    if (colon == std::string::npos || inode.empty() || inode == "0") continue;
    if (strtoul(local.c_str() + colon + 1, nullptr, 16) == port) {
      out->insert("socket:[" + inode + "]");
    }
  }
}

}  // namespace

bool udpPortHolders(unsigned port, std::vector<PortHolder>* holders) {
  std::set<std::string> sockets;
  boundInodes("/proc/net/udp", port, &sockets);
  boundInodes("/proc/net/udp6", port, &sockets);
  if (sockets.empty()) return false;
  DIR* proc = opendir("/proc");
  if (!proc) return true;
  while (dirent* p = readdir(proc)) {
    char* end;
    long pid = strtol(p->d_name, &end, 10);
    if (*end || pid <= 0) continue;
    const std::string dir = std::string("/proc/") + p->d_name;
    DIR* fds = opendir((dir + "/fd").c_str());
    if (!fds) continue;  // gone, or another user's
    bool holds = false;
    while (dirent* fd = readdir(fds)) {
      char target[64];
      ssize_t n = readlink((dir + "/fd/" + fd->d_name).c_str(), target, sizeof target - 1);
      if (n <= 0) continue;
      target[n] = 0;
      if (sockets.count(target)) holds = true;
    }
    closedir(fds);
    if (!holds) continue;
    std::string comm;
    std::ifstream(dir + "/comm") >> comm;
    holders->push_back(PortHolder{static_cast<pid_t>(pid), comm});
  }
  closedir(proc);
  return true;
}

std::string socketLine(bool enabled, unsigned port) {
  const std::string udp = "UDP port " + std::to_string(port);
  std::vector<PortHolder> holders;
  if (!udpPortHolders(port, &holders)) {
    return enabled ? "not open: nothing is bound to " + udp +
                         " (see the agent's log; 'tarnctl snmp set enabled=yes' tries again)"
                   : "not open (SNMP disabled)";
  }
  std::string others;
  for (const PortHolder& h : holders) {
    if (h.program == kAgentProgram) return "open, " + udp + " (pid " + std::to_string(h.pid) + ")";
    others += (others.empty() ? "" : ", ") + h.program + " (pid " + std::to_string(h.pid) + ")";
  }
  // Maybe the agent, maybe not: only root sees every process's sockets.
  if (holders.empty()) return udp + " is bound, by a process this user cannot see (root can tell)";
  return (enabled ? "not open: " : "not open (SNMP disabled); ") + udp + " is held by " + others;
}

}  // namespace tarnctl
