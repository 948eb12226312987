// Packer families: encoding, decoding and index arcs of each value kind.
#include "data/packer.h"

#include "codec/diag.h"
#include "engine/context.h"

namespace {

// True when arcs [from, to) of `index` are all byte values.
bool allBytes(const OID& index, size_t from, size_t to) {
  for (size_t i = from; i < to; ++i) {
    if (index[i] > 255) return false;
  }
  return true;
}

}  // namespace

Packer::~Packer() = default;

OID Packer::getAsKey(const Data*) const {
  diag::err("BUG: Packer::getAsKey called");
  return OID();
}

void Packer::appendKey(const Data* d, OID* key) const { *key += getAsKey(d); }

OID Packer::setFromKey(Data*, const OID&) {
  diag::err("BUG: Packer::setFromKey called");
  return OID();
}

// --- StringPacker ---

void StringPacker::pack(Context& ctx, const Data* d) const {
  ctx.out.add(get(d), type);
}

void StringPacker::unpack(Data* d, Context& ctx) {
  std::string s;
  if (!ctx.in.getString(&s)) return;
  diag::err("unpacked s = " + s);
  set(d, s);
}

OID StringPacker::getAsKey(const Data* d) const {
  std::string s = get(d);
  OID key;
  std::vector<unsigned>& arcs = key.arcs();
  if (keyLength == 0) {
    arcs.reserve(s.size() + 1);
    arcs.push_back(static_cast<unsigned>(s.size()));
  } else if (s.size() != keyLength) {
    diag::err("inconsistent key length");
    return OID();
  } else {
    arcs.reserve(s.size());
  }
  for (unsigned char c : s) arcs.push_back(c);
  return key;
}

OID StringPacker::setFromKey(Data* d, const OID& index) {
  size_t taken;  // arcs that belong to this packer
  if (keyLength == 0) {
    if (index.empty() || index.size() <= index[0]) return OID();
    taken = static_cast<size_t>(index[0]) + 1;
    if (!allBytes(index, 1, taken)) return OID();
  } else {
    taken = keyLength;
    if (index.size() < taken || !allBytes(index, 0, taken)) return OID();
  }
  // The taken arcs are read as length-prefixed in both forms: with a fixed
  // keyLength the first byte becomes the length.
  size_t len = index[0];
  if (len >= taken) return OID();
  std::string s;
  s.reserve(len);
  for (size_t i = 1; i <= len; ++i) s.push_back(static_cast<char>(index[i]));
  set(d, s);
  return index.substr(taken);
}

// --- NumPacker ---

void NumPacker::pack(Context& ctx, const Data* d) const {
  ctx.out.add(get(d), type);
}

void NumPacker::unpack(Data* d, Context& ctx) {
  int value;
  if (ctx.in.getInt(&value)) set(d, value);
}

OID NumPacker::getAsKey(const Data* d) const {
  return OID{static_cast<unsigned>(get(d))};
}

void NumPacker::appendKey(const Data* d, OID* key) const {
  *key += static_cast<unsigned>(get(d));
}

OID NumPacker::setFromKey(Data* d, const OID& index) {
  if (index.empty()) return OID();
  set(d, static_cast<int>(index[0]));
  return index.substr(1);
}

// --- BignumPacker ---

void BignumPacker::pack(Context& ctx, const Data* d) const {
  ctx.out.add(get(d), type);
}

void BignumPacker::unpack(Data* d, Context& ctx) {
  unsigned long long value;
  if (ctx.in.get64(&value)) set(d, value);
}

// --- OIDPacker ---

void OIDPacker::pack(Context& ctx, const Data* d) const {
  ctx.out.addOID(get(d), type);
}

void OIDPacker::unpack(Data* d, Context& ctx) {
  OID value;
  if (ctx.in.getOID(&value)) set(d, value);
}

OID OIDPacker::getAsKey(const Data* d) const {
  const OID& value = get(d);
  OID key;
  key.arcs().reserve(value.size() + 1);
  key.arcs().push_back(static_cast<unsigned>(value.size()));
  key.arcs().insert(key.arcs().end(), value.arcs().begin(), value.arcs().end());
  return key;
}

OID OIDPacker::setFromKey(Data* d, const OID& index) {
  if (index.empty() || index.size() <= index[0]) return OID();
  size_t n = index[0];
  OID value;
  value.arcs().assign(index.arcs().begin() + 1, index.arcs().begin() + 1 + n);
  set(d, value);
  return index.substr(n + 1);
}

// --- IPPacker ---

void IPPacker::pack(Context& ctx, const Data* d) const {
  unsigned a = get(d);
  const unsigned char bytes[4] = {
      static_cast<unsigned char>(a >> 24), static_cast<unsigned char>(a >> 16),
      static_cast<unsigned char>(a >> 8), static_cast<unsigned char>(a)};
  ctx.out.add(bytes, 4, type);
}

void IPPacker::unpack(Data* d, Context& ctx) {
  std::string s;
  if (!ctx.in.getString(&s) || s.size() != 4) return;
  unsigned a = 0;
  for (unsigned char c : s) a = (a << 8) | c;
  set(d, a);
}

OID IPPacker::getAsKey(const Data* d) const {
  unsigned a = get(d);
  return OID{a >> 24, (a >> 16) & 0xFF, (a >> 8) & 0xFF, a & 0xFF};
}

void IPPacker::appendKey(const Data* d, OID* key) const {
  unsigned a = get(d);
  std::vector<unsigned>& arcs = key->arcs();
  arcs.push_back(a >> 24);
  arcs.push_back((a >> 16) & 0xFF);
  arcs.push_back((a >> 8) & 0xFF);
  arcs.push_back(a & 0xFF);
}

OID IPPacker::setFromKey(Data* d, const OID& index) {
  if (index.size() < 4 || !allBytes(index, 0, 4)) return OID();
  // First arc least significant: the reverse of getAsKey, kept on purpose.
  set(d, index[0] | index[1] << 8 | index[2] << 16 | index[3] << 24);
  return index.substr(4);
}
