// OID: parsing, printing, ordering and the pop/as index helpers.
//
// Parsing is a single pass without allocation beyond the arc vector; arcs
// wrap modulo 2^32 by design (unsigned arithmetic, never signed). The pop
// and as operations check everything first and only then touch either
// operand, so a failed call leaves both as they were.
#include "codec/oid.h"

#include <algorithm>

namespace {

// Writes `v` in decimal into the end of `buf` and returns the first digit.
char* formatUnsigned(unsigned v, char* end) {
  char* p = end;
  do {
    *--p = static_cast<char>('0' + v % 10);
    v /= 10;
  } while (v != 0);
  return p;
}

// True when each of the `n` arcs from `from` on fits in one byte.
bool bytesOnly(const std::vector<unsigned>& arcs, size_t from, size_t n) {
  for (size_t i = from; i < from + n; ++i) {
    if (arcs[i] > 255) return false;
  }
  return true;
}

}  // namespace

const OID kZeroOid("0");

OID::OID(const std::string& text) {
  const size_t len = text.size();
  // Every arc but possibly the first costs at least two characters.
  arcs_.reserve(len / 2 + 1);
  size_t p = 0;
  while (p < len) {
    if (text[p] == '.') ++p;
    unsigned value = 0;
    while (p < len) {
      unsigned digit = static_cast<unsigned char>(text[p]) - '0';
      if (digit > 9) break;
      value = value * 10 + digit;
      ++p;
    }
    arcs_.push_back(value);
    ++p;  // past the character that ended the arc, whatever it was
  }
}

std::string OID::str() const {
  std::string s;
  s.reserve(arcs_.size() * 4);
  char buf[16];
  char* end = buf + sizeof(buf);
  for (unsigned arc : arcs_) {
    s += '.';
    char* first = formatUnsigned(arc, end);
    s.append(first, end);
  }
  return s;
}

std::string OID::dotted() const {
  std::string s = str();
  if (!s.empty()) s.erase(0, 1);
  return s;
}

OID& OID::operator+=(unsigned arc) {
  arcs_.push_back(arc);
  return *this;
}

OID OID::operator+(unsigned arc) const {
  OID r;
  r.arcs_.reserve(arcs_.size() + 1);
  r.arcs_.insert(r.arcs_.end(), arcs_.begin(), arcs_.end());
  r.arcs_.push_back(arc);
  return r;
}

OID& OID::operator+=(const OID& other) {
  arcs_.insert(arcs_.end(), other.arcs_.begin(), other.arcs_.end());
  return *this;
}

OID OID::operator+(const OID& other) const {
  OID r;
  r.arcs_.reserve(arcs_.size() + other.arcs_.size());
  r.arcs_.insert(r.arcs_.end(), arcs_.begin(), arcs_.end());
  r.arcs_.insert(r.arcs_.end(), other.arcs_.begin(), other.arcs_.end());
  return r;
}

bool OID::operator<(const OID& o) const {
  return ::compare(arcs_.data(), arcs_.data() + arcs_.size(), o.arcs_.data(),
                   o.arcs_.data() + o.arcs_.size()) < 0;
}

int compare(const unsigned* a_begin, const unsigned* a_end,
            const unsigned* b_begin, const unsigned* b_end) {
  for (; a_begin != a_end && b_begin != b_end; ++a_begin, ++b_begin) {
    if (*a_begin != *b_begin) return *a_begin < *b_begin ? -1 : 1;
  }
  if (a_begin != a_end) return 1;
  return b_begin != b_end ? -1 : 0;
}

int OID::compare(size_t pos, size_t n, const OID& other) const {
  pos = std::min(pos, arcs_.size());
  n = std::min(n, arcs_.size() - pos);
  const unsigned* a = arcs_.data() + pos;
  return ::compare(a, a + n, other.arcs_.data(),
                   other.arcs_.data() + other.arcs_.size());
}

OID OID::substr(size_t pos, size_t n) const {
  pos = std::min(pos, arcs_.size());
  n = std::min(n, arcs_.size() - pos);
  OID r;
  r.arcs_.assign(arcs_.begin() + pos, arcs_.begin() + pos + n);
  return r;
}

bool OID::startsWith(const OID& prefix) const {
  return prefix.size() <= size() && compare(0, prefix.size(), prefix) == 0;
}

bool OID::asUnsigned(unsigned* out) const {
  if (arcs_.size() != 1) return false;
  *out = arcs_[0];
  return true;
}

bool OID::asIP(unsigned* out) const {
  if (arcs_.size() != 4 || !bytesOnly(arcs_, 0, 4)) return false;
  // The first arc goes to the least significant byte (kept as it always was).
  *out = arcs_[0] | arcs_[1] << 8 | arcs_[2] << 16 | arcs_[3] << 24;
  return true;
}

bool OID::asString(std::string* out) const {
  if (arcs_.empty()) return false;
  const unsigned n = arcs_[0];
  if (arcs_.size() - 1 < n || !bytesOnly(arcs_, 1, n)) return false;
  out->resize(n);
  for (unsigned i = 0; i < n; ++i) (*out)[i] = static_cast<char>(arcs_[i + 1]);
  return true;
}

bool OID::asString(unsigned len, std::string* out) const {
  if (arcs_.size() != len || !bytesOnly(arcs_, 0, len)) return false;
  out->resize(len);
  for (unsigned i = 0; i < len; ++i) (*out)[i] = static_cast<char>(arcs_[i]);
  return true;
}

bool OID::asOID(unsigned n, OID* out) const {
  if (arcs_.size() != n) return false;
  *out = *this;
  return true;
}

bool OID::asOID(OID* out) const {
  // Everything after the length arc, not only length-many arcs; an index
  // too short for its length arc leaves the output alone yet still succeeds.
  if (!arcs_.empty() && arcs_.size() > arcs_[0]) {
    out->arcs_.assign(arcs_.begin() + 1, arcs_.end());
  }
  return true;
}

bool OID::popOID(unsigned n, OID* out) {
  if (arcs_.size() < n) return false;
  out->arcs_.assign(arcs_.begin(), arcs_.begin() + n);
  arcs_.erase(arcs_.begin(), arcs_.begin() + n);
  return true;
}

bool OID::popOID(OID* out) {
  if (arcs_.empty() || arcs_.size() <= arcs_[0]) return false;
  return popOID(arcs_[0] + 1, out);
}

bool OID::popString(OID* out) {
  if (arcs_.empty() || arcs_.size() <= arcs_[0]) return false;
  if (!bytesOnly(arcs_, 1, arcs_[0])) return false;
  return popOID(arcs_[0] + 1, out);
}

bool OID::popString(unsigned len, OID* out) {
  if (arcs_.size() < len || !bytesOnly(arcs_, 0, len)) return false;
  return popOID(len, out);
}

bool OID::popIP(OID* out) {
  if (arcs_.size() < 4 || !bytesOnly(arcs_, 0, 4)) return false;
  return popOID(4, out);
}

bool OID::popUnsigned(OID* out) { return popOID(1, out); }
