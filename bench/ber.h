// BER encoding and decoding for the load generator: just what SNMP
// requests with one binding and their replies need. Header-only; every
// function is inline. Readers never read past their buffer: a malformed
// reply makes them return false (Reader::ok turns false).
#ifndef BENCH_BER_H
#define BENCH_BER_H

#include <cstdlib>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace bench {

typedef std::string Bytes;

// ---- BER writing ----------------------------------------------------------

inline void putLength(Bytes* b, size_t n) {
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

inline Bytes tlv(unsigned char tag, const Bytes& content) {
  Bytes b(1, static_cast<char>(tag));
  putLength(&b, content.size());
  return b + content;
}

// INTEGER of four content octets, so that a request id can be patched in.
inline Bytes int4(uint32_t v) {
  Bytes c;
  for (int s = 24; s >= 0; s -= 8) c.push_back(static_cast<char>((v >> s) & 0xff));
  return tlv(0x02, c);
}

inline Bytes intMin(long v) {
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

inline bool parseOid(const std::string& text, std::vector<uint32_t>* arcs) {
  arcs->clear();
  std::stringstream ss(text[0] == '.' ? text.substr(1) : text);
  std::string part;
  while (std::getline(ss, part, '.')) arcs->push_back(static_cast<uint32_t>(std::strtoul(part.c_str(), nullptr, 10)));
  return arcs->size() >= 2;
}

inline Bytes oidContent(const std::vector<uint32_t>& arcs) {
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

// A PDU with one binding; its request id sits at a fixed offset. For a
// GetBulk (0xA5) the two integers after it are non-repeaters (0) and
// `maxRepetitions`; otherwise both are 0.
inline Bytes pdu(unsigned char type, uint32_t id, const Bytes& oid, const Bytes& value,
                 long maxRepetitions = 0) {
  Bytes vb = tlv(0x30, tlv(0x30, tlv(0x06, oid) + value));
  return tlv(type, int4(id) + intMin(0) + intMin(type == 0xA5 ? maxRepetitions : 0) + vb);
}

inline Bytes communityMessage(const std::string& community, unsigned char type, uint32_t id,
                              const Bytes& oid, const Bytes& value, long maxRepetitions = 0) {
  return tlv(0x30, intMin(1) + tlv(0x04, community) + pdu(type, id, oid, value, maxRepetitions));
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

// The checked content of a response PDU: the first binding's name and
// value tag, and the names of the bindings that carry a value, in order.
struct Answer {
  long id = 0;
  Bytes name;   // content octets of the first binding's name
  int valueTag = 0;
  std::vector<Bytes> names;  // of the bindings up to the first non-value
  size_t bindings = 0;       // in the reply, values or not
};

// Reads a response PDU of tag `expectTag` with status 0. True when its
// first binding carries a value: NULL and the v2 exceptions
// (noSuchObject, noSuchInstance, endOfMibView) are not answers.
inline bool readPdu(Reader* r, int expectTag, Answer* a) {
  long status, index;
  size_t n;
  if (!r->enter(expectTag) || !r->integer(&a->id) || !r->integer(&status) ||
      !r->integer(&index) || status != 0 || r->header(&n) != 0x30 || !r->ok)
    return false;
  const unsigned char* listEnd = r->p + n;
  a->names.clear();
  a->bindings = 0;
  bool values = true;
  for (bool first = true; r->p < listEnd; first = false) {
    const unsigned char* c;
    if (!r->enter(0x30) || !r->take(0x06, &c, &n)) return false;
    Bytes name(reinterpret_cast<const char*>(c), n);
    int tag = r->header(&n);
    if (!r->ok) return false;
    r->p += n;
    ++a->bindings;
    if (first) {
      a->name = name;
      a->valueTag = tag;
    }
    values = values && tag != 0x05 && (tag < 0x80 || tag > 0x82);
    if (values) a->names.push_back(std::move(name));
  }
  return !a->names.empty();
}

// The request id of a community reply, whatever its status; -1 if unreadable.
inline long replyId(const unsigned char* b, size_t n) {
  Reader r(b, n);
  long version, id;
  Bytes community;
  size_t len;
  if (!r.enter(0x30) || !r.integer(&version) || !r.octets(&community) || r.header(&len) < 0 ||
      !r.integer(&id))
    return -1;
  return id;
}

inline bool readCommunityReply(const unsigned char* b, size_t n, Answer* a) {
  Reader r(b, n);
  long version;
  Bytes community;
  return r.enter(0x30) && r.integer(&version) && r.octets(&community) && readPdu(&r, 0xA2, a);
}

}  // namespace bench

#endif
