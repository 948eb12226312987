// OutStream: BER encoding of one outgoing message.
//
// Append-only except for endSeq, which patches a one-octet length
// placeholder and inserts one or two octets when the content is longer than
// 127. Integers go out most significant octet first, by shifting.
#include "codec/out_stream.h"

#include <arpa/inet.h>

#include <cstdlib>
#include <string>

#include "codec/buffer.h"
#include "codec/diag.h"

namespace {

void fail(const char* text) { diag::out(std::string("SNMP OutStream: ") + text); }

// Text to int as the C library's atoi does it, without its undefined
// behaviour on out-of-range input.
int textToInt(const std::string& text) {
  return static_cast<int>(std::strtol(text.c_str(), nullptr, 10));
}

}  // namespace

void OutStream::addType(unsigned type) {
  data.push_back(static_cast<unsigned char>(type));
}

void OutStream::addLen(unsigned len) {
  if (len < 128) {
    data.push_back(static_cast<unsigned char>(len));
  } else if (len < 256) {
    data.push_back(0x81);
    data.push_back(static_cast<unsigned char>(len));
  } else {
    // Lengths of 65536 and more lose their high bits; a datagram never
    // gets there.
    data.push_back(0x82);
    data.push_back(static_cast<unsigned char>(len >> 8));
    data.push_back(static_cast<unsigned char>(len));
  }
}

// Writes identifier, length `n` and the low `n` octets of `value` most
// significant first; octets above the 64 bits of `value` are zero.
void OutStream::addOctets(unsigned type, unsigned long long value, unsigned n) {
  addType(type);
  data.push_back(static_cast<unsigned char>(n));
  for (unsigned i = n; i-- > 0;) {
    data.push_back(i < 8 ? static_cast<unsigned char>(value >> (8 * i)) : 0);
  }
}

void OutStream::add(int value, unsigned type) {
  // Drop the top octet while it only repeats the sign of the next one.
  unsigned shifted = static_cast<unsigned>(value);
  unsigned n = 4;
  while (n > 1 && ((shifted >> 23) == 0 || (shifted >> 23) == 0x1FF)) {
    shifted <<= 8;
    --n;
  }
  addOctets(type, static_cast<unsigned>(value), n);
}

void OutStream::add(unsigned value, unsigned type) {
  unsigned n = 5;  // a leading 0x00 keeps the top bit from reading as sign
  if (!(value & 0x80000000u)) {
    unsigned shifted = value;
    n = 4;
    while (n > 1 && (shifted >> 23) == 0) {
      shifted <<= 8;
      --n;
    }
  }
  addOctets(type, value, n);
}

void OutStream::add(unsigned long long value, unsigned type) {
  unsigned n = 9;
  if (!(value >> 63)) {
    unsigned long long shifted = value;
    n = 8;
    while (n > 1 && (shifted >> 55) == 0) {
      shifted <<= 8;
      --n;
    }
  }
  addOctets(type, value, n);
}

void OutStream::add(const std::string& value, unsigned type) {
  add(reinterpret_cast<const unsigned char*>(value.data()),
      static_cast<unsigned>(value.size()), type);
}

void OutStream::add(const unsigned char* bytes, unsigned len, unsigned type) {
  addType(type);
  addLen(len);
  data.insert(data.end(), bytes, bytes + len);
}

void OutStream::addNull(unsigned type) {
  addType(type);
  data.push_back(0);
}

void OutStream::addBits(const unsigned char* bytes, unsigned len,
                        unsigned type) {
  if (len == 0 || bytes[0] >= 8) {
    fail("building invalid bitstring");
    return;
  }
  add(bytes, len, type);
}

void OutStream::addOID(const OID& oid, unsigned type) {
  if (oid.size() < 2) {
    fail("cannot encode OID shorter that 2");
    return;
  }
  if (oid[0] > 2 || oid[1] > 39) {
    fail("encoding invalid OID");
    return;
  }
  // Assembled in the shared scratch buffer: the length must be known before
  // the content goes out. An arc takes at most 5 octets; an identifier too
  // long for the buffer (over 13000 arcs) is refused like an invalid one.
  unsigned pos = 0;
  c_buf[pos++] = static_cast<unsigned char>(oid[0] * 40 + oid[1]);
  for (size_t i = 2; i < oid.size(); ++i) {
    if (kBufferSize - pos < 5) {
      fail("encoding invalid OID");
      return;
    }
    const unsigned arc = oid[i];
    unsigned groups = 1;
    while (groups < 5 && (arc >> (7 * groups)) != 0) ++groups;
    while (--groups > 0) {
      c_buf[pos++] = static_cast<unsigned char>(0x80 | (arc >> (7 * groups)));
    }
    c_buf[pos++] = static_cast<unsigned char>(arc & 0x7F);
  }
  add(c_buf, pos, type);
}

void OutStream::startSeq(unsigned type) {
  addType(type);
  data.push_back(0);
  openSeqs_.push_back(static_cast<unsigned>(data.size()));
}

void OutStream::endSeq() {
  if (openSeqs_.empty()) {
    fail("no sequence");
    return;
  }
  const unsigned p = openSeqs_.back();
  openSeqs_.pop_back();
  const unsigned len = static_cast<unsigned>(data.size()) - p;
  if (len >= 65536) {
    fail("sequence too long");
    return;
  }
  if (len < 128) {
    data[p - 1] = static_cast<unsigned char>(len);
    return;
  }
  unsigned inserted;
  if (len < 256) {
    data[p - 1] = 0x81;
    data.insert(data.begin() + p, static_cast<unsigned char>(len));
    inserted = 1;
  } else {
    data[p - 1] = 0x82;
    const unsigned char octets[2] = {static_cast<unsigned char>(len >> 8),
                                     static_cast<unsigned char>(len)};
    data.insert(data.begin() + p, octets, octets + 2);
    inserted = 2;
  }
  // The v3 positions move when the octets went in before them (the message
  // sequence around the v3 header); the PDU and binding sequences written
  // after them leave them alone. The error-status and error-index positions
  // never move: they are patched before the sequences around them close.
  if (authParamsPos != 0 && authParamsPos >= p) authParamsPos += inserted;
  if (scopedPduPos != 0 && scopedPduPos >= p) scopedPduPos += inserted;
}

// Writes a one-octet INTEGER placeholder on the first call and patches its
// value octet on every call.
void OutStream::patchInteger(unsigned* pos, unsigned value) {
  if (*pos == 0) {
    data.push_back(0x02);
    data.push_back(0x01);
    data.push_back(0);
    *pos = static_cast<unsigned>(data.size()) - 1;
  }
  data[*pos] = static_cast<unsigned char>(value);
}

void OutStream::addErrorStatus(unsigned value) {
  patchInteger(&errorStatusPos_, value);
}

void OutStream::addErrorIndex(unsigned value) {
  patchInteger(&errorIndexPos_, value);
}

void OutStream::addByType(const std::string& value, unsigned type) {
  switch (type) {
    case 0x02:
      add(textToInt(value), type);
      break;
    case 0x04:
      add(value, type);
      break;
    case 0x05:
      addNull(type);
      break;
    case 0x06:
      addOID(OID(value), type);
      break;
    case 0x40:
      // Written as an unsigned INTEGER of 1 to 5 octets rather than four
      // fixed octets; receivers have always been given it this way. An
      // invalid text gives all ones.
      add(static_cast<unsigned>(ntohl(inet_addr(value.c_str()))), type);
      break;
    case 0x41:
    case 0x43:
    case 0x47:
      add(static_cast<unsigned>(textToInt(value)), type);
      break;
    default:
      // Gauge32, Counter64 and every other type are not written.
      break;
  }
}

void OutStream::addVarBind(const VariableBinding& vb) {
  startSeq(0x30);
  addOID(vb.oid, 0x06);
  addByType(vb.value, vb.type);
  endSeq();
}
