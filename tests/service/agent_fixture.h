// Test helpers for the agent service: a fresh TARN_ROOT with one SnmpLooper
// in `loop`, three fake event sources, and a UDP socket on loopback that
// stands in for a trap sink or holds a port.
#ifndef TESTS_SERVICE_AGENT_FIXTURE_H
#define TESTS_SERVICE_AGENT_FIXTURE_H

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "codec/diag.h"
#include "engine/scribers.h"
#include "mib/interfaces.h"
#include "service/snmp_looper.h"
#include "service/trap_makers.h"
#include "tests/platform/test_root.h"

namespace agent_test {

// A UDP socket bound to 127.0.0.1 on a kernel-chosen port.
struct Udp {
  Udp() : fd(socket(AF_INET, SOCK_DGRAM, 0)) {
    sockaddr_in a = {};
    a.sin_family = AF_INET, a.sin_addr.s_addr = htonl(0x7F000001);
    socklen_t len = sizeof a;
    bind(fd, reinterpret_cast<sockaddr*>(&a), len);
    getsockname(fd, reinterpret_cast<sockaddr*>(&a), &len);
    port = ntohs(a.sin_port);
  }
  ~Udp() { close(fd); }
  // One datagram within `ms`, or empty.
  std::vector<unsigned char> receive(int ms) {
    pollfd p = {fd, POLLIN, 0};
    if (poll(&p, 1, ms) != 1) return {};
    std::vector<unsigned char> buf(65536);
    ssize_t n = recv(fd, buf.data(), buf.size(), 0);
    buf.resize(n < 0 ? 0 : static_cast<size_t>(n));
    return buf;
  }
  int fd;
  unsigned port = 0;
};

// Three event sources that log their calls.
inline std::vector<std::string> sourceCalls;
template <char C> void subscribeSource() { sourceCalls.push_back(std::string("+") + C); }
template <char C> void unsubscribeSource() { sourceCalls.push_back(std::string("-") + C); }

class Agent : public ::testing::Test {
 protected:
  void SetUp() override {
    tarn::setDefaultServiceId(161);
    savedMakers.swap(trapMakers);
    savedScribers.swap(scribers);
    scribers = {{"a", subscribeSource<'a'>, unsubscribeSource<'a'>},
                {"b", subscribeSource<'b'>, unsubscribeSource<'b'>},
                {"c", subscribeSource<'c'>, unsubscribeSource<'c'>}};
    linkStates.clear();
    sourceCalls.clear();
  }
  void TearDown() override {
    agent.reset();
    trapMakers.swap(savedMakers);
    scribers.swap(savedScribers);
    tarn::setDefaultServiceId(0);
  }
  // A new agent over the root's store, as main makes it (init included);
  // returns what it said.
  std::string start() {
    agent.reset();
    diag::Capture c;
    agent.reset(new SnmpLooper);
    loop = agent.get();
    agent->init();
    return c.out();
  }
  // cmdSet of one message, as a bus sender {999, 0} would send it.
  std::string set(tarn::message m) {
    diag::Capture c;
    m.insert(tarn::u32_array_id(0xff0002), std::vector<uint32_t>{999, 0});
    agent->cmdSet(m);
    return c.out() + c.err();
  }

  tarn_test::TempRoot root;
  std::unique_ptr<SnmpLooper> agent;
  std::vector<TrapMaker> savedMakers;
  std::vector<Scribers> savedScribers;
};

}  // namespace agent_test

#endif
