// snmpload: an SNMP load generator for side-by-side agent benchmarks.
//
// One UDP socket, no process or thread per request. Modes:
//   get     GetRequest of one name, WINDOW requests in flight (1 = sequential)
//   walk    GetNextRequest walk of a subtree, one request at a time
//   bulkwalk  GetBulkRequest walk of a subtree (--max-rep bindings a reply),
//           one request at a time
//   set     SetRequest of one OCTET STRING name, sequential
//   v3get   SNMPv3 authPriv GetRequest, sequential, after engine discovery
//           and key localisation: HMAC-MD5-96 + DES-CBC, or with
//           --auth-proto sha256 --priv-proto aes HMAC-SHA-256-192 + AES-128
//   echo    sends a v2c GetRequest and expects the very bytes back
// Every reply is checked (request id, PDU type, error status, the name, a
// value that is not NULL); a reply that fails a check counts as an error,
// a request without a reply within the time-out as a time-out.
// With --pid, the CPU time (utime + stime from /proc/PID/stat) that the
// process spent during the run is reported per operation.
// Output: one line of key=value pairs, for bench/summary.py.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "bench/ber.h"
#include "bench/usm.h"

namespace {

using namespace bench;

// ---- running ----------------------------------------------------------------

double now() {
  timespec t;
  clock_gettime(CLOCK_MONOTONIC, &t);
  return t.tv_sec + t.tv_nsec * 1e-9;
}

// utime + stime of a process, in clock ticks; -1 if unreadable.
long cpuTicks(int pid) {
  if (pid <= 0) return -1;
  std::ifstream f("/proc/" + std::to_string(pid) + "/stat");
  std::string line;
  if (!std::getline(f, line)) return -1;
  size_t close = line.rfind(')');
  std::stringstream ss(line.substr(close + 2));
  std::string field;
  long utime = 0, stime = 0;
  // Fields after the name start at field 3 (state); utime is 14, stime 15.
  for (int i = 3; i <= 15 && ss >> field; ++i) {
    if (i == 14) utime = std::atol(field.c_str());
    if (i == 15) stime = std::atol(field.c_str());
  }
  return utime + stime;
}

struct Options {
  std::string mode = "get", host = "127.0.0.1", oid = "1.3.6.1.2.1.1.1.0", community = "public";
  std::string label = "-", user, authPass, privPass, value = "bench";
  std::string authProto = "md5", privProto = "des";
  int port = 161, window = 1, pid = 0, timeoutMs = 1000, maxRepetitions = 25;
  double seconds = 2;
  long maxOps = 0;
  bool once = false;
};

struct Stats {
  long ops = 0, ok = 0, timeouts = 0, errors = 0, varbinds = 0;
  std::vector<float> latencies;  // microseconds, of answered requests
};

class Client {
 public:
  explicit Client(const Options& o) {
    fd_ = socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_port = htons(static_cast<uint16_t>(o.port));
    inet_pton(AF_INET, o.host.c_str(), &a.sin_addr);
    if (fd_ < 0 || connect(fd_, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0) {
      std::perror("snmpload: socket");
      std::exit(2);
    }
    int big = 1 << 20;
    setsockopt(fd_, SOL_SOCKET, SO_RCVBUF, &big, sizeof big);
  }
  ~Client() { close(fd_); }

  void send(const Bytes& b) {
    if (::send(fd_, b.data(), b.size(), 0) < 0) std::perror("snmpload: send");
  }
  // Waits up to `ms` for a datagram; returns its length or -1.
  long receive(int ms) {
    pollfd p{fd_, POLLIN, 0};
    if (poll(&p, 1, ms) <= 0) return -1;
    return recv(fd_, buf_, sizeof buf_, 0);
  }
  const unsigned char* data() const { return buf_; }

 private:
  int fd_;
  unsigned char buf_[65536];
};

// Sequential or windowed requests of one pre-built message whose request
// id is patched per request.
void runGet(const Options& o, Client* c, Stats* st, unsigned char type, const Bytes& value, bool echo) {
  std::vector<uint32_t> arcs;
  parseOid(o.oid, &arcs);
  const Bytes name = oidContent(arcs);
  Bytes msg = communityMessage(o.community, type, 0x11111111, name, value);
  const size_t idAt = msg.find(int4(0x11111111)) + 2;
  const int window = std::max(1, o.window);
  std::vector<double> sentAt(window, 0);
  std::vector<uint32_t> idOf(window, 0);
  std::vector<bool> busy(window, false);
  uint32_t nextId = 1;
  int inFlight = 0;
  const double end = now() + o.seconds;
  auto launch = [&](int slot) {
    uint32_t id = nextId++ & 0x7fffffff;
    for (int k = 0; k < 4; ++k) msg[idAt + k] = static_cast<char>((id >> (24 - 8 * k)) & 0xff);
    idOf[slot] = id;
    sentAt[slot] = now();
    busy[slot] = true;
    ++inFlight;
    ++st->ops;
    c->send(msg);
  };
  bool stop = false;
  for (int s = 0; s < window; ++s) launch(s);
  while (inFlight > 0) {
    long n = c->receive(o.timeoutMs);
    double t = now();
    stop = stop || t >= end || (o.maxOps > 0 && st->ops >= o.maxOps);
    if (n < 0) {
      // Everything outstanding is given up.
      for (int s = 0; s < window; ++s) {
        if (!busy[s]) continue;
        busy[s] = false;
        --inFlight;
        ++st->timeouts;
        if (!stop) launch(s);
      }
      continue;
    }
    int slot = -1;
    bool good;
    if (echo) {
      uint32_t id = 0;
      for (int k = 0; k < 4 && idAt + k < static_cast<size_t>(n); ++k) id = (id << 8) | c->data()[idAt + k];
      for (int s = 0; s < window; ++s) if (busy[s] && idOf[s] == id) slot = s;
      Bytes expect = msg;
      for (int k = 0; k < 4; ++k) expect[idAt + k] = static_cast<char>((id >> (24 - 8 * k)) & 0xff);
      good = slot >= 0 && static_cast<size_t>(n) == expect.size() && std::memcmp(expect.data(), c->data(), n) == 0;
    } else {
      Answer a;
      good = readCommunityReply(c->data(), n, &a);
      for (int s = 0; s < window; ++s) if (busy[s] && idOf[s] == static_cast<uint32_t>(a.id)) slot = s;
      good = good && slot >= 0 && a.name == name;
    }
    if (slot < 0) {
      ++st->errors;  // a stray or late reply
      continue;
    }
    busy[slot] = false;
    --inFlight;
    if (good) {
      ++st->ok;
      ++st->varbinds;
      st->latencies.push_back(static_cast<float>((t - sentAt[slot]) * 1e6));
    } else {
      ++st->errors;
    }
    if (!stop) launch(slot);
  }
}

// Whether `name` (BER content) lies below the subtree `root`; both encodings
// share their prefix exactly when the OIDs do, arc by arc.
bool inSubtree(const Bytes& name, const Bytes& root) {
  return name.size() > root.size() && name.compare(0, root.size(), root) == 0 &&
         !(static_cast<unsigned char>(name[root.size() - 1]) & 0x80);
}

// A walk with GetNext, or with GetBulk when `bulk`: each request asks for
// what follows the last name received; the walk ends at the first name
// outside the subtree or the first binding without a value.
void runWalk(const Options& o, Client* c, Stats* st, bool bulk) {
  std::vector<uint32_t> arcs;
  parseOid(o.oid, &arcs);
  const Bytes root = oidContent(arcs);
  const double end = now() + o.seconds;
  uint32_t id = 1;
  Bytes cursor = root;
  while (true) {
    Bytes msg = communityMessage(o.community, bulk ? 0xA5 : 0xA1, id, cursor, tlv(0x05, Bytes()),
                                 o.maxRepetitions);
    ++st->ops;
    double t0 = now();
    c->send(msg);
    long n;
    Answer a;
    // A late reply to an earlier request is skipped.
    while ((n = c->receive(o.timeoutMs)) >= 0 && replyId(c->data(), n) != static_cast<long>(id)) {
    }
    ++id;
    if (n < 0) {
      ++st->timeouts;
      break;
    }
    double t = now();
    // The end of the subtree (or of the MIB: status 2, or endOfMibView)
    // ends one walk.
    size_t taken = 0;
    bool disorder = false;
    if (readCommunityReply(c->data(), n, &a)) {
      for (const Bytes& name : a.names) {
        if (!inSubtree(name, root)) break;
        disorder = name <= cursor;
        if (disorder) break;
        cursor = name;
        ++taken;
      }
    }
    if (taken > 0) {
      ++st->ok;
      st->varbinds += static_cast<long>(taken);
      st->latencies.push_back(static_cast<float>((t - t0) * 1e6));
    }
    if (disorder) ++st->errors;
    if (taken > 0 && taken == a.bindings) continue;
    if (o.once || t >= end || (o.maxOps > 0 && st->ops >= o.maxOps)) break;
    cursor = root;
  }
}

void runV3(const Options& o, Client* c, Stats* st) {
  V3 v;
  v.user = o.user;
  if (o.authProto == "sha256") {
    v.md = EVP_sha256();
    v.macLength = 24;
  }
  v.aes = o.privProto == "aes";
  std::vector<uint32_t> arcs;
  parseOid(o.oid, &arcs);
  const Bytes name = oidContent(arcs);
  // Discovery: an unauthenticated request answered with a report.
  Bytes scoped = tlv(0x30, tlv(0x04, "") + tlv(0x04, "") + pdu(0xA0, 1, name, tlv(0x05, Bytes())));
  V3 probe;
  c->send(v3Message(&probe, false, 1, 0, scoped));
  long n = c->receive(o.timeoutMs);
  Answer a;
  if (n < 0 || !readV3Reply(&v, c->data(), n, false, 0xA8, &a)) {
    std::fprintf(stderr, "snmpload: engine discovery failed\n");
    std::exit(1);
  }
  v.discoveredAt = now();
  v.authKey = passwordToKey(v.md, o.authPass, v.engineId);
  v.privKey = passwordToKey(v.md, o.privPass, v.engineId);
  const double end = now() + o.seconds;
  for (uint32_t id = 2;; ++id) {
    double t0 = now();
    if (t0 >= end || (o.maxOps > 0 && st->ops >= o.maxOps)) break;
    long engineTime = v.time + static_cast<long>(t0 - v.discoveredAt);
    scoped = tlv(0x30, tlv(0x04, v.engineId) + tlv(0x04, "") + pdu(0xA0, id, name, tlv(0x05, Bytes())));
    c->send(v3Message(&v, true, id, engineTime, scoped));
    ++st->ops;
    n = c->receive(o.timeoutMs);
    if (n < 0) {
      ++st->timeouts;
      continue;
    }
    double t = now();
    if (readV3Reply(&v, c->data(), n, true, 0xA2, &a) && a.id == static_cast<long>(id) && a.name == name) {
      ++st->ok;
      ++st->varbinds;
      st->latencies.push_back(static_cast<float>((t - t0) * 1e6));
    } else {
      ++st->errors;
    }
  }
}

float percentile(std::vector<float>* v, double q) {
  if (v->empty()) return 0;
  size_t k = static_cast<size_t>(q * (v->size() - 1));
  std::nth_element(v->begin(), v->begin() + k, v->end());
  return (*v)[k];
}

const char* const USAGE =
    "usage: snmpload --mode get|walk|bulkwalk|set|v3get|echo --port N [--host A]\n"
    "                [--oid OID] [--community C] [--window W] [--seconds S]\n"
    "                [--max-ops N] [--once] [--pid PID] [--label L] [--timeout-ms MS]\n"
    "                [--value TEXT] [--max-rep R (bulkwalk, default 25)]\n"
    "                [--user U --auth-pass A --priv-pass P\n"
    "                 [--auth-proto md5|sha256] [--priv-proto des|aes]]\n";

}  // namespace

int main(int argc, char** argv) {
  Options o;
  for (int i = 1; i < argc; ++i) {
    std::string k = argv[i];
    if (k == "--once") {
      o.once = true;
      continue;
    }
    if (i + 1 >= argc) {
      std::fputs(USAGE, stderr);
      return 2;
    }
    std::string v = argv[++i];
    if (k == "--mode") o.mode = v;
    else if (k == "--host") o.host = v;
    else if (k == "--port") o.port = std::atoi(v.c_str());
    else if (k == "--oid") o.oid = v;
    else if (k == "--community") o.community = v;
    else if (k == "--window") o.window = std::atoi(v.c_str());
    else if (k == "--seconds") o.seconds = std::atof(v.c_str());
    else if (k == "--max-ops") o.maxOps = std::atol(v.c_str());
    else if (k == "--pid") o.pid = std::atoi(v.c_str());
    else if (k == "--label") o.label = v;
    else if (k == "--timeout-ms") o.timeoutMs = std::atoi(v.c_str());
    else if (k == "--value") o.value = v;
    else if (k == "--user") o.user = v;
    else if (k == "--auth-pass") o.authPass = v;
    else if (k == "--priv-pass") o.privPass = v;
    else if (k == "--auth-proto" && (v == "md5" || v == "sha256")) o.authProto = v;
    else if (k == "--priv-proto" && (v == "des" || v == "aes")) o.privProto = v;
    else if (k == "--max-rep") o.maxRepetitions = std::atoi(v.c_str());
    else {
      std::fputs(USAGE, stderr);
      return 2;
    }
  }
  Client c(o);
  Stats st;
  long cpu0 = cpuTicks(o.pid);
  double t0 = now();
  if (o.mode == "get") runGet(o, &c, &st, 0xA0, tlv(0x05, Bytes()), false);
  else if (o.mode == "echo") runGet(o, &c, &st, 0xA0, tlv(0x05, Bytes()), true);
  else if (o.mode == "set") runGet(o, &c, &st, 0xA3, tlv(0x04, o.value), false);
  else if (o.mode == "walk") runWalk(o, &c, &st, false);
  else if (o.mode == "bulkwalk") runWalk(o, &c, &st, true);
  else if (o.mode == "v3get") runV3(o, &c, &st);
  else {
    std::fputs(USAGE, stderr);
    return 2;
  }
  double secs = now() - t0;
  long cpu1 = cpuTicks(o.pid);
  double cpuUs = (cpu0 >= 0 && cpu1 >= 0 && st.ops > 0)
                     ? (cpu1 - cpu0) * 1e6 / sysconf(_SC_CLK_TCK) / st.ops : -1;
  std::printf("label=%s mode=%s window=%d ops=%ld ok=%ld timeouts=%ld errors=%ld secs=%.6f "
              "rate=%.0f vb_rate=%.0f p50_us=%.1f p99_us=%.1f cpu_us_per_op=%.2f varbinds=%ld\n",
              o.label.c_str(), o.mode.c_str(), o.window, st.ops, st.ok, st.timeouts, st.errors, secs,
              st.ok / secs, st.varbinds / secs, percentile(&st.latencies, 0.5),
              percentile(&st.latencies, 0.99), cpuUs, st.varbinds);
  return 0;
}
