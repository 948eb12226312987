// InStream: BER decoding of one received datagram.
//
// The datagram comes from the network, so every read is checked against the
// end of data for any byte sequence. Lengths are compared with the bytes that
// remain (never by adding them to the cursor, which could wrap), values are
// assembled in unsigned arithmetic by shifting, and the cursor never moves
// past the end of data.
#include "codec/in_stream.h"

#include <string>

#include "codec/diag.h"

namespace {

void fail(const char* text) { diag::out(std::string("SNMP InStream: ") + text); }

}  // namespace

InStream::InStream(const unsigned char* bytes, unsigned length) {
  if (length != 0) data.assign(bytes, bytes + length);
  // A request nests four or five sequences; room for them up front spares
  // the vector's regrowth on every request.
  seqEnds_.reserve(8);
}

InStream::~InStream() { delete v3info_; }

void InStream::reset() {
  seqEnds_.clear();
  cursor_ = 0;
}

int InStream::getType() const {
  return cursor_ < data.size() ? data[cursor_] : -1;
}

int InStream::getLen() {
  const size_t size = data.size();
  if (cursor_ >= size) return -1;
  const unsigned first = data[cursor_];
  if (first < 0x80) {
    ++cursor_;
    return static_cast<int>(first);
  }
  if (first == 0x80) {
    fail("we don't support indefinite lengths");
    return -1;
  }
  const unsigned n = first & 0x7F;
  if (n > 4) {
    fail("we can't support data lengths that long");
    return -1;
  }
  ++cursor_;
  if (n > size - cursor_) {
    fail("malformed in getLen");
    return -1;
  }
  unsigned len = 0;
  for (unsigned i = 0; i < n; ++i) len = len << 8 | data[cursor_++];
  // A length of 2^31 or more comes out negative: every caller refuses it.
  return static_cast<int>(len);
}

// Steps over the identifier octet (never past the end) and reads the
// length. Returns false, without a message of its own beyond getLen's, when
// the length is unreadable or negative.
bool InStream::header(unsigned* len) {
  if (cursor_ < data.size()) ++cursor_;
  const int l = getLen();
  if (l < 0) return false;
  *len = static_cast<unsigned>(l);
  return true;
}

bool InStream::getInt(int* out) {
  unsigned len;
  if (!header(&len)) return false;
  if (len > remaining()) {
    fail("get int overflow of message");
    return false;
  }
  if (len > 5) {
    fail("I don't support such large integers");
    return false;
  }
  if (len == 5 && data[cursor_] != 0) {
    fail("I don't support such large integers 2");
    return false;
  }
  unsigned value = 0;
  if (len != 0) {
    // Sign-extend from the first octet; a 5-octet value starts with 0x00 and
    // so yields an unsigned 32-bit value (Counter32, Gauge32, TimeTicks).
    if (data[cursor_] & 0x80) value = 0xFFFFFFFFu;
    for (unsigned i = 0; i < len; ++i) value = value << 8 | data[cursor_++];
  }
  *out = static_cast<int>(value);
  return true;
}

bool InStream::get64(unsigned long long* out) {
  unsigned len;
  if (!header(&len)) return false;
  if (len > remaining()) {
    fail("get 64 overflow of message");
    return false;
  }
  if (len > 8) {
    fail("invalig counter64 size");
    return false;
  }
  unsigned long long value = 0;
  for (unsigned i = 0; i < len; ++i) value = value << 8 | data[cursor_++];
  *out = value;
  return true;
}

bool InStream::getString(std::string* out) {
  unsigned len;
  if (!header(&len)) return false;
  if (len > remaining()) {
    fail("get string overflow of message");
    return false;
  }
  const char* p = reinterpret_cast<const char*>(data.data()) + cursor_;
  out->assign(p, len);
  cursor_ += len;
  return true;
}

bool InStream::getNull() {
  unsigned len;
  if (!header(&len)) return false;
  if (len != 0) {
    fail("malformed null");
    return false;
  }
  return true;
}

bool InStream::getBits(std::vector<unsigned char>* out) {
  unsigned len;
  if (!header(&len)) return false;
  if (len > remaining()) {
    fail("get bits overflow of message");
    return false;
  }
  if (len == 0 || data[cursor_] >= 8) {
    fail("Invalid bitstring");
    return false;
  }
  out->assign(data.begin() + cursor_, data.begin() + cursor_ + len);
  cursor_ += len;
  return true;
}

bool InStream::getOID(OID* out) {
  unsigned len;
  if (!header(&len)) return false;
  if (len > remaining()) {
    diag::out("SNMP InStream: get oid overflow of message" +
              std::to_string(cursor_) + " " + std::to_string(len) + " " +
              std::to_string(data.size()));
    return false;
  }
  // The arcs are decoded behind the output's old contents, reusing its
  // storage, and the old arcs are dropped only on success.
  std::vector<unsigned>& arcs = out->arcs();
  const size_t old = arcs.size();
  if (len == 0) {
    arcs.assign({0u, 0u});
    return true;
  }
  arcs.reserve(old + len + 1);
  const unsigned first = data[cursor_++];
  arcs.push_back(first / 40);
  arcs.push_back(first % 40);
  // The count runs past zero when the last content octet carries the
  // continuation bit; decoding then continues into the following bytes until
  // the end of data stops it.
  unsigned count = len - 1;
  const size_t size = data.size();
  while (count != 0) {
    unsigned value = 0;
    unsigned char octet;
    do {
      if (cursor_ >= size) {
        fail("malformed oid");
        arcs.resize(old);
        return false;
      }
      octet = data[cursor_++];
      --count;
      value = value << 7 | (octet & 0x7F);
    } while (octet & 0x80);
    arcs.push_back(value);
  }
  arcs.erase(arcs.begin(), arcs.begin() + old);
  return true;
}

int InStream::enterSeq() {
  unsigned len;
  if (!header(&len)) return -1;
  if (len > remaining()) return -1;
  seqEnds_.push_back(cursor_ + len);
  return static_cast<int>(len);
}

void InStream::exitSeq() {
  if (seqEnds_.empty()) {
    fail("exitSeq when seqEndp is empty!");
    return;
  }
  cursor_ = seqEnds_.back();
  seqEnds_.pop_back();
}

bool InStream::isSeqEnd() const {
  return cursor_ >= data.size() ||
         (!seqEnds_.empty() && cursor_ == seqEnds_.back());
}

int InStream::getVersion() {
  if (!versionRead_) {
    versionRead_ = true;
    enterSeq();
    if (!getInt(&version_)) version_ = -1;
  }
  return version_;
}
