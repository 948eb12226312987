// The agent's error lines, and the supervisor's probe of its UDP port.
#include "supervisor/agent_output.h"

#include <errno.h>
#include <netinet/in.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

namespace supervisor {

const char kAgentSocketFailure[] = "cannot create service connection";

void LineSplitter::feed(const char* data, size_t size, const LineFn& line) {
  partial_.append(data, size);
  size_t start = 0;
  for (size_t nl; (nl = partial_.find('\n', start)) != std::string::npos;
       start = nl + 1) {
    line(partial_.substr(start, nl - start));
  }
  partial_.erase(0, start);
}

void LineSplitter::finish(const LineFn& line) {
  if (!partial_.empty()) line(partial_);
  partial_.clear();
}

int probeUdpPort(unsigned port) {
  int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return errno;
  const int one = 1;
  setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
  sockaddr_in any = {};
  any.sin_family = AF_INET;
  any.sin_addr.s_addr = htonl(INADDR_ANY);
  any.sin_port = htons(static_cast<uint16_t>(port));
  int err = bind(fd, reinterpret_cast<sockaddr*>(&any), sizeof any) == 0 ? 0 : errno;
  close(fd);
  return err;
}

std::string describeSocketFailure(const std::string& who, unsigned port,
                                  int err) {
  const std::string udp = "UDP port " + std::to_string(port);
  if (err == 0) {
    return who + " could not open " + udp +
           ", which is free now: 'tarnctl snmp set enabled=yes' opens it";
  }
  return who + " cannot open " + udp + ": errno " + std::to_string(err) +
         " (" + strerror(err) + ")";
}

}  // namespace supervisor
