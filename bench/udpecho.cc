// udpecho: answers every UDP datagram with its own bytes, one at a time,
// from one socket. The floor against which the agents' round trips are
// compared: the same client, the same kernel path, no SNMP work.
//   udpecho PORT      (127.0.0.1; runs until killed)
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdio>
#include <cstdlib>

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fputs("usage: udpecho PORT\n", stderr);
    return 2;
  }
  int fd = socket(AF_INET, SOCK_DGRAM, 0);
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_port = htons(static_cast<uint16_t>(std::atoi(argv[1])));
  a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (fd < 0 || bind(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0) {
    std::perror("udpecho");
    return 1;
  }
  static char buf[65536];
  for (;;) {
    sockaddr_in from{};
    socklen_t len = sizeof from;
    ssize_t n = recvfrom(fd, buf, sizeof buf, 0, reinterpret_cast<sockaddr*>(&from), &len);
    if (n >= 0) sendto(fd, buf, static_cast<size_t>(n), 0, reinterpret_cast<sockaddr*>(&from), len);
  }
}
