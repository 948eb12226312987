// The agent's error stream as the supervisor reads it, through a pipe.
// Every line is passed on unchanged to the supervisor's own error stream,
// in order with the supervisor's lines. One line of the agent gets a line
// of the supervisor after it: "cannot create service connection" says
// only that the SNMP socket could not be opened (the agent's text is fixed
// and its bus contract carries no reason), so the supervisor tries the
// same bind itself at once -- same user, same network namespace, same
// address, port and options -- and names the port and the errno it gets.
// That is a second attempt a moment later, not the agent's own errno; when
// the port turns out to be free by then, the line says so instead.
#ifndef SUPERVISOR_AGENT_OUTPUT_H
#define SUPERVISOR_AGENT_OUTPUT_H

#include <functional>
#include <string>

namespace supervisor {

// The agent's line after a failed open of its SNMP socket.
extern const char kAgentSocketFailure[];

// Splits a byte stream into lines (without their "\n") as it arrives.
class LineSplitter {
 public:
  typedef std::function<void(const std::string&)> LineFn;
  void feed(const char* data, size_t size, const LineFn& line);
  // The stream ended: a last line without "\n" is given too.
  void finish(const LineFn& line);

 private:
  std::string partial_;
};

// Binds a UDP socket to `port` on every IPv4 address as the agent does
// (SO_REUSEADDR) and closes it again: 0 if that worked, else the errno.
int probeUdpPort(unsigned port);

// The supervisor's line about the agent's failed socket, from the probe's
// result: "tarn-snmpd (pid 7) cannot open UDP port 161: errno 98 (Address
// already in use)".
std::string describeSocketFailure(const std::string& who, unsigned port,
                                  int err);

}  // namespace supervisor

#endif  // SUPERVISOR_AGENT_OUTPUT_H
