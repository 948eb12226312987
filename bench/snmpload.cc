// snmpload: an SNMP load generator for side-by-side agent benchmarks.
//
// One UDP socket, no process or thread per request. Modes:
//   get     GetRequest of one name, WINDOW requests in flight (1 = sequential)
//   walk    GetNextRequest walk of a subtree, one request at a time
//   set     SetRequest of one OCTET STRING name, sequential
//   v3get   SNMPv3 authPriv (HMAC-MD5-96, DES-CBC) GetRequest, sequential,
//           after engine discovery and key localisation
//   echo    sends a v2c GetRequest and expects the very bytes back
// Every reply is checked (request id, PDU type, error status, the name, a
// value that is not NULL); a reply that fails a check counts as an error,
// a request without a reply within the time-out as a time-out.
// With --pid, the CPU time (utime + stime from /proc/PID/stat) that the
// process spent during the run is reported per operation.
// Output: one line of key=value pairs, for bench/summary.py.
#define OPENSSL_SUPPRESS_DEPRECATED 1

#include <arpa/inet.h>
#include <netinet/in.h>
#include <openssl/des.h>
#include <openssl/hmac.h>
#include <openssl/md5.h>
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

namespace {

typedef std::string Bytes;

// ---- BER writing ----------------------------------------------------------

void putLength(Bytes* b, size_t n) {
  if (n < 0x80) {
    b->push_back(static_cast<char>(n));
  } else if (n < 0x100) {
    b->push_back('\x81');
    b->push_back(static_cast<char>(n));
  } else {
    b->push_back('\x82');
    b->push_back(static_cast<char>(n >> 8));
    b->push_back(static_cast<char>(n & 0xff));
  }
}

Bytes tlv(unsigned char tag, const Bytes& content) {
  Bytes b(1, static_cast<char>(tag));
  putLength(&b, content.size());
  return b + content;
}

// INTEGER of four content octets, so that a request id can be patched in.
Bytes int4(uint32_t v) {
  Bytes c;
  for (int s = 24; s >= 0; s -= 8) c.push_back(static_cast<char>((v >> s) & 0xff));
  return tlv(0x02, c);
}

Bytes intMin(long v) {
  Bytes c;
  bool started = false;
  for (int s = 24; s >= 0; s -= 8) {
    unsigned char octet = static_cast<unsigned char>((v >> s) & 0xff);
    if (!started && s > 0 && octet == 0 && !(((v >> (s - 8)) & 0x80))) continue;
    started = true;
    c.push_back(static_cast<char>(octet));
  }
  return tlv(0x02, c);
}

bool parseOid(const std::string& text, std::vector<uint32_t>* arcs) {
  arcs->clear();
  std::stringstream ss(text[0] == '.' ? text.substr(1) : text);
  std::string part;
  while (std::getline(ss, part, '.')) arcs->push_back(static_cast<uint32_t>(std::strtoul(part.c_str(), nullptr, 10)));
  return arcs->size() >= 2;
}

Bytes oidContent(const std::vector<uint32_t>& arcs) {
  Bytes c(1, static_cast<char>(arcs[0] * 40 + arcs[1]));
  for (size_t i = 2; i < arcs.size(); ++i) {
    uint32_t v = arcs[i];
    char tmp[5];
    int n = 0;
    do {
      tmp[n++] = static_cast<char>(v & 0x7f);
      v >>= 7;
    } while (v != 0);
    while (n > 0) {
      --n;
      c.push_back(static_cast<char>(tmp[n] | (n > 0 ? 0x80 : 0)));
    }
  }
  return c;
}

// A PDU with one binding; its request id sits at a fixed offset.
Bytes pdu(unsigned char type, uint32_t id, const Bytes& oid, const Bytes& value) {
  Bytes vb = tlv(0x30, tlv(0x30, tlv(0x06, oid) + value));
  return tlv(type, int4(id) + intMin(0) + intMin(0) + vb);
}

Bytes communityMessage(const std::string& community, unsigned char type, uint32_t id,
                       const Bytes& oid, const Bytes& value) {
  return tlv(0x30, intMin(1) + tlv(0x04, community) + pdu(type, id, oid, value));
}

// ---- BER reading ----------------------------------------------------------

struct Reader {
  const unsigned char* p;
  const unsigned char* end;
  bool ok = true;

  Reader(const unsigned char* b, size_t n) : p(b), end(b + n) {}

  // Reads a header; returns the tag and sets *len, leaving p at the content.
  int header(size_t* len) {
    if (end - p < 2) return fail();
    int tag = *p++;
    size_t n = *p++;
    if (n & 0x80) {
      int k = static_cast<int>(n & 0x7f);
      if (k == 0 || k > 3 || end - p < k) return fail();
      n = 0;
      while (k-- > 0) n = (n << 8) | *p++;
    }
    if (static_cast<size_t>(end - p) < n) return fail();
    *len = n;
    return tag;
  }
  int fail() {
    ok = false;
    return -1;
  }
  // Enters a constructed value of the given tag.
  bool enter(int tag) {
    size_t n;
    return header(&n) == tag && ok;
  }
  bool take(int tag, const unsigned char** content, size_t* n) {
    if (header(n) != tag || !ok) return false;
    *content = p;
    p += *n;
    return true;
  }
  bool integer(long* v) {
    const unsigned char* c;
    size_t n;
    if (!take(0x02, &c, &n) || n == 0 || n > 5) return false;
    long x = (c[0] & 0x80) ? -1 : 0;
    for (size_t i = 0; i < n; ++i) x = (x << 8) | c[i];
    *v = x;
    return true;
  }
  bool octets(Bytes* s) {
    const unsigned char* c;
    size_t n;
    if (!take(0x04, &c, &n)) return false;
    s->assign(reinterpret_cast<const char*>(c), n);
    return true;
  }
};

// The checked content of a response PDU with one binding.
struct Answer {
  long id = 0;
  Bytes name;   // content octets of the binding's name
  int valueTag = 0;
};

bool readPdu(Reader* r, int expectTag, Answer* a) {
  long status, index;
  if (!r->enter(expectTag) || !r->integer(&a->id) || !r->integer(&status) ||
      !r->integer(&index) || status != 0 || !r->enter(0x30) || !r->enter(0x30))
    return false;
  const unsigned char* c;
  size_t n;
  if (!r->take(0x06, &c, &n)) return false;
  a->name.assign(reinterpret_cast<const char*>(c), n);
  a->valueTag = r->header(&n);
  // NULL and the v2 exceptions (noSuchObject, noSuchInstance, endOfMibView)
  // are not answers.
  return r->ok && a->valueTag != 0x05 && (a->valueTag < 0x80 || a->valueTag > 0x82);
}

// The request id of a community reply, whatever its status; -1 if unreadable.
long replyId(const unsigned char* b, size_t n) {
  Reader r(b, n);
  long version, id;
  Bytes community;
  size_t len;
  if (!r.enter(0x30) || !r.integer(&version) || !r.octets(&community) || r.header(&len) < 0 ||
      !r.integer(&id))
    return -1;
  return id;
}

bool readCommunityReply(const unsigned char* b, size_t n, Answer* a) {
  Reader r(b, n);
  long version;
  Bytes community;
  return r.enter(0x30) && r.integer(&version) && r.octets(&community) && readPdu(&r, 0xA2, a);
}

// ---- SNMPv3 user-based security (MD5 / DES) ---------------------------------

Bytes passwordToKey(const std::string& password, const Bytes& engineId) {
  MD5_CTX ctx;
  MD5_Init(&ctx);
  unsigned char chunk[64];
  size_t at = 0;
  for (size_t done = 0; done < 1048576; done += 64) {
    for (int i = 0; i < 64; ++i) chunk[i] = static_cast<unsigned char>(password[at++ % password.size()]);
    MD5_Update(&ctx, chunk, 64);
  }
  unsigned char ku[16];
  MD5_Final(ku, &ctx);
  Bytes k(reinterpret_cast<char*>(ku), 16);
  Bytes material = k + engineId + k;
  unsigned char kul[16];
  MD5(reinterpret_cast<const unsigned char*>(material.data()), material.size(), kul);
  return Bytes(reinterpret_cast<char*>(kul), 16);
}

Bytes desCbc(const Bytes& key, const Bytes& salt, const Bytes& in, bool encrypt) {
  DES_cblock k, iv;
  for (int i = 0; i < 8; ++i) {
    k[i] = static_cast<unsigned char>(key[i]);
    iv[i] = static_cast<unsigned char>(key[8 + i] ^ salt[i]);
  }
  DES_key_schedule ks;
  DES_set_key_unchecked(&k, &ks);
  Bytes out(in.size(), '\0');
  DES_ncbc_encrypt(reinterpret_cast<const unsigned char*>(in.data()),
                   reinterpret_cast<unsigned char*>(&out[0]), static_cast<long>(in.size()), &ks,
                   &iv, encrypt ? DES_ENCRYPT : DES_DECRYPT);
  return out;
}

Bytes hmac12(const Bytes& key, const Bytes& msg) {
  unsigned char md[16];
  unsigned len = 0;
  HMAC(EVP_md5(), key.data(), static_cast<int>(key.size()),
       reinterpret_cast<const unsigned char*>(msg.data()), msg.size(), md, &len);
  return Bytes(reinterpret_cast<char*>(md), 12);
}

struct V3 {
  std::string user, authPass, privPass;
  Bytes engineId, authKey, privKey;
  long boots = 0, time = 0;
  double discoveredAt = 0;
  uint32_t saltCounter = 0;
};

Bytes securityParams(const V3& v, long engineTime, const Bytes& auth, const Bytes& priv) {
  return tlv(0x04, tlv(0x30, tlv(0x04, v.engineId) + intMin(v.boots) + intMin(engineTime) +
                                 tlv(0x04, v.user) + tlv(0x04, auth) + tlv(0x04, priv)));
}

// Builds a v3 message; flags 0x04 (reportable, no auth) for discovery,
// 0x07 (authPriv, reportable) otherwise.
Bytes v3Message(V3* v, bool secure, uint32_t id, long engineTime, const Bytes& scopedPdu) {
  Bytes header = tlv(0x30, int4(id) + intMin(65507) + tlv(0x04, Bytes(1, secure ? '\x07' : '\x04')) + intMin(3));
  if (!secure) {
    return tlv(0x30, intMin(3) + header + securityParams(*v, 0, Bytes(), Bytes()) + scopedPdu);
  }
  Bytes salt;
  uint32_t counter = v->saltCounter++;
  for (int s = 24; s >= 0; s -= 8) salt.push_back(static_cast<char>((v->boots >> s) & 0xff));
  for (int s = 24; s >= 0; s -= 8) salt.push_back(static_cast<char>((counter >> s) & 0xff));
  Bytes plain = scopedPdu;
  plain.append((8 - plain.size() % 8) % 8, '\0');
  Bytes data = tlv(0x04, desCbc(v->privKey, salt, plain, true));
  const Bytes zeros(12, '\0');
  Bytes msg = tlv(0x30, intMin(3) + header + securityParams(*v, engineTime, zeros, salt) + data);
  size_t at = msg.find(tlv(0x04, zeros) + tlv(0x04, salt));
  Bytes mac = hmac12(v->authKey, msg);
  msg.replace(at + 2, 12, mac);
  return msg;
}

// Parses a v3 reply: checks the digest and decrypts when secure, then
// reads the PDU (0xA2, or 0xA8 when expectReport).
bool readV3Reply(V3* v, const unsigned char* b, size_t n, bool secure, int pduTag, Answer* a) {
  Reader r(b, n);
  long version, msgId, maxSize, model;
  Bytes flags, sec;
  if (!r.enter(0x30) || !r.integer(&version) || !r.enter(0x30) || !r.integer(&msgId) ||
      !r.integer(&maxSize) || !r.octets(&flags) || !r.integer(&model) || !r.octets(&sec))
    return false;
  Reader s(reinterpret_cast<const unsigned char*>(sec.data()), sec.size());
  Bytes engineId, user, auth, priv;
  long boots, time;
  if (!s.enter(0x30) || !s.octets(&engineId) || !s.integer(&boots) || !s.integer(&time) ||
      !s.octets(&user) || !s.octets(&auth) || !s.octets(&priv))
    return false;
  if (!secure) {
    v->engineId = engineId;
    v->boots = boots;
    v->time = time;
    return r.enter(0x30) && r.octets(&flags) && r.octets(&flags) && readPdu(&r, pduTag, a);
  }
  if (auth.size() != 12 || priv.size() != 8) return false;
  Bytes whole(reinterpret_cast<const char*>(b), n);
  size_t at = whole.find(tlv(0x04, auth) + tlv(0x04, priv));
  if (at == Bytes::npos) return false;
  whole.replace(at + 2, 12, Bytes(12, '\0'));
  if (hmac12(v->authKey, whole) != auth) return false;
  Bytes cipher;
  if (!r.octets(&cipher) || cipher.size() % 8 != 0) return false;
  Bytes plain = desCbc(v->privKey, priv, cipher, false);
  Reader p(reinterpret_cast<const unsigned char*>(plain.data()), plain.size());
  Bytes ctxEngine, ctxName;
  return p.enter(0x30) && p.octets(&ctxEngine) && p.octets(&ctxName) && readPdu(&p, pduTag, a);
}

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
  int port = 161, window = 1, pid = 0, timeoutMs = 1000;
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

void runWalk(const Options& o, Client* c, Stats* st) {
  std::vector<uint32_t> arcs;
  parseOid(o.oid, &arcs);
  const Bytes root = oidContent(arcs);
  const double end = now() + o.seconds;
  uint32_t id = 1;
  Bytes cursor = root;
  while (true) {
    Bytes msg = communityMessage(o.community, 0xA1, id, cursor, tlv(0x05, Bytes()));
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
    // The end of the subtree (or of the MIB, status 2) ends one walk.
    bool good = readCommunityReply(c->data(), n, &a);
    bool beyond = !good || !inSubtree(a.name, root) || a.name <= cursor;
    if (!beyond) {
      ++st->ok;
      ++st->varbinds;
      st->latencies.push_back(static_cast<float>((t - t0) * 1e6));
      cursor = a.name;
      continue;
    }
    if (good && a.name <= cursor && inSubtree(a.name, root)) ++st->errors;  // out of order
    if (o.once || t >= end || (o.maxOps > 0 && st->ops >= o.maxOps)) break;
    cursor = root;
  }
}

void runV3(const Options& o, Client* c, Stats* st) {
  V3 v;
  v.user = o.user;
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
  v.authKey = passwordToKey(o.authPass, v.engineId);
  v.privKey = passwordToKey(o.privPass, v.engineId);
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
    "usage: snmpload --mode get|walk|set|v3get|echo --port N [--host A] [--oid OID]\n"
    "                [--community C] [--window W] [--seconds S] [--max-ops N] [--once]\n"
    "                [--pid PID] [--label L] [--timeout-ms MS] [--value TEXT]\n"
    "                [--user U --auth-pass A --priv-pass P]\n";

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
  else if (o.mode == "walk") runWalk(o, &c, &st);
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
