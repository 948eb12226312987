// The rtnetlink socket: dump requests and event reading.
#include "router/netlink.h"

#include <errno.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

#include <linux/if_addr.h>
#include <linux/neighbour.h>

#include <vector>

namespace router {

namespace {
const size_t kBuffer = 1 << 16;

// Size of the family header of each request type; the family is its first
// byte in every one of them.
size_t headerSize(uint16_t type) {
  switch (type) {
    case RTM_GETLINK: return sizeof(ifinfomsg);
    case RTM_GETADDR: return sizeof(ifaddrmsg);
    case RTM_GETNEIGH: return sizeof(ndmsg);
    default: return sizeof(rtmsg);
  }
}
}  // namespace

Netlink::~Netlink() {
  if (fd_ >= 0) close(fd_);
}

bool Netlink::open(unsigned groups, std::string* error) {
  fd_ = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE);
  if (fd_ < 0) {
    *error = std::string("netlink socket: ") + strerror(errno);
    return false;
  }
  sockaddr_nl sa = sockaddr_nl();
  sa.nl_family = AF_NETLINK;
  sa.nl_groups = groups;
  if (bind(fd_, reinterpret_cast<sockaddr*>(&sa), sizeof sa) != 0) {
    *error = std::string("netlink bind: ") + strerror(errno);
    return false;
  }
  int size = 4 << 20;  // room for bursts of events and large dumps
  setsockopt(fd_, SOL_SOCKET, SO_RCVBUF, &size, sizeof size);
  return true;
}

bool Netlink::walk(const uint8_t* buf, size_t n, const Visit& visit,
                   bool* failed) {
  // The kernel aligns every message; the buffer is aligned for nlmsghdr.
  const nlmsghdr* h = reinterpret_cast<const nlmsghdr*>(buf);
  int left = static_cast<int>(n);
  while (left >= static_cast<int>(sizeof(nlmsghdr)) &&
         h->nlmsg_len >= sizeof(nlmsghdr) &&
         h->nlmsg_len <= static_cast<uint32_t>(left)) {
    if (h->nlmsg_type == NLMSG_DONE) return true;
    if (h->nlmsg_type == NLMSG_ERROR) {
      const nlmsgerr* e = static_cast<const nlmsgerr*>(NLMSG_DATA(h));
      if (e->error != 0) *failed = true;
      return true;
    }
    if (h->nlmsg_type >= RTM_BASE) visit(h);
    left -= static_cast<int>(NLMSG_ALIGN(h->nlmsg_len));
    h = reinterpret_cast<const nlmsghdr*>(reinterpret_cast<const uint8_t*>(h) +
                                          NLMSG_ALIGN(h->nlmsg_len));
  }
  return false;
}

bool Netlink::dump(uint16_t type, uint8_t family, const Visit& visit) {
  if (fd_ < 0) return false;
  struct {
    nlmsghdr h;
    uint8_t body[sizeof(ifinfomsg) + sizeof(rtmsg)];
  } req;
  memset(&req, 0, sizeof req);
  req.h.nlmsg_len = static_cast<uint32_t>(NLMSG_LENGTH(headerSize(type)));
  req.h.nlmsg_type = type;
  req.h.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
  req.h.nlmsg_seq = ++seq_;
  req.body[0] = family;
  if (send(fd_, &req, req.h.nlmsg_len, 0) < 0) return false;
  std::vector<uint64_t> buf(kBuffer / sizeof(uint64_t));
  bool failed = false;
  for (;;) {
    ssize_t n = recv(fd_, buf.data(), kBuffer, 0);
    if (n < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    if (walk(reinterpret_cast<const uint8_t*>(buf.data()),
             static_cast<size_t>(n), visit, &failed)) {
      return !failed;
    }
  }
}

bool Netlink::drain(const Visit& visit) {
  std::vector<uint64_t> buf(kBuffer / sizeof(uint64_t));
  bool complete = true;
  for (;;) {
    ssize_t n = recv(fd_, buf.data(), kBuffer, MSG_DONTWAIT);
    if (n < 0) {
      if (errno == EINTR) continue;
      if (errno == ENOBUFS) {
        complete = false;
        continue;
      }
      return complete;
    }
    bool failed = false;
    walk(reinterpret_cast<const uint8_t*>(buf.data()), static_cast<size_t>(n),
         visit, &failed);
  }
}

void parseAttrs(const rtattr* rta, int len, const rtattr** table, int n) {
  for (int i = 0; i < n; ++i) table[i] = nullptr;
  for (; RTA_OK(rta, len); rta = RTA_NEXT(rta, len)) {
    int type = rta->rta_type & NLA_TYPE_MASK;
    if (type < n) table[type] = rta;
  }
}

// Attribute payloads are 4-byte aligned, so 16- and 32-bit reads are
// aligned; the values are in the kernel's (native) order.
uint32_t attrU32(const rtattr* a) {
  if (!a || RTA_PAYLOAD(a) < 4) return 0;
  return *static_cast<const uint32_t*>(RTA_DATA(a));
}

uint16_t attrU16(const rtattr* a) {
  if (!a || RTA_PAYLOAD(a) < 2) return 0;
  return *static_cast<const uint16_t*>(RTA_DATA(a));
}

std::string attrString(const rtattr* a) {
  if (!a) return std::string();
  const char* p = static_cast<const char*>(RTA_DATA(a));
  return std::string(p, strnlen(p, RTA_PAYLOAD(a)));
}

tarn::bytes attrBytes(const rtattr* a) {
  if (!a) return tarn::bytes();
  const uint8_t* p = static_cast<const uint8_t*>(RTA_DATA(a));
  return tarn::bytes(p, p + RTA_PAYLOAD(a));
}

}  // namespace router
