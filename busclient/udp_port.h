// Who holds a UDP port, as tarnctl sees it: the sockets bound to the port
// in /proc/net/udp and /proc/net/udp6 (this process's network namespace),
// and the processes whose descriptors are those sockets (/proc/PID/fd, all
// of them for root, only the user's own for anyone else). tarnctl uses it
// to say whether the agent's SNMP socket is open without asking the agent,
// whose settings carry no such field.
#ifndef BUSCLIENT_UDP_PORT_H
#define BUSCLIENT_UDP_PORT_H

#include <sys/types.h>

#include <string>
#include <vector>

namespace tarnctl {

struct PortHolder {
  pid_t pid;
  std::string program;  // /proc/PID/comm
};

// False if no socket is bound to the port; else true, with the processes
// that could be seen holding it in *holders (possibly none).
bool udpPortHolders(unsigned port, std::vector<PortHolder>* holders);

// The "socket: ..." line of tarnctl snmp show: whether the agent
// (program tarn-snmpd) holds its port, and if not, who does.
std::string socketLine(bool enabled, unsigned port);

}  // namespace tarnctl

#endif  // BUSCLIENT_UDP_PORT_H
