// RowIndex: an arena of coded keys and a sorted list of row references.
//
// A row in the arena is: the key's length in one byte (below 128) or two
// (7 bits each, high first, the first with bit 7 set), the key's code, and
// the record pointer's bytes. The pointer is host memory, never wire data,
// so it is copied as it lies.
#include "data/row_index.h"

#include <string.h>

#include <algorithm>

#include "data/record_pool.h"

namespace {

// A record pointer's bytes in the arena.
constexpr size_t kPointerBytes = sizeof(void*);

// The order-keeping code of one arc: below 248 the arc itself; otherwise
// 247 + n followed by the arc in n big-endian bytes, n = 1 to 4 the fewest
// that hold it. A larger arc gets a larger first byte or, with the same
// first byte, larger following bytes, and no code is a prefix of another,
// so comparing codes byte by byte compares the arcs. Returns the bytes
// written at p, at most 5.
size_t putArc(uint8_t* p, uint32_t arc) {
  if (arc < 248) {
    p[0] = static_cast<uint8_t>(arc);
    return 1;
  }
  int n = arc < 0x100 ? 1 : arc < 0x10000 ? 2 : arc < 0x1000000 ? 3 : 4;
  p[0] = static_cast<uint8_t>(247 + n);
  for (int i = 0; i < n; ++i) p[1 + i] = static_cast<uint8_t>(arc >> (8 * (n - 1 - i)));
  return 1 + static_cast<size_t>(n);
}

void encode(const OID& key, std::string* out) {
  out->resize(key.size() * 5);
  uint8_t* p = reinterpret_cast<uint8_t*>(&(*out)[0]);
  size_t n = 0;
  for (size_t i = 0; i < key.size(); ++i) n += putArc(p + n, key[i]);
  out->resize(n);
}

OID decode(const uint8_t* p, size_t n) {
  OID oid;
  oid.arcs().reserve(n);
  const uint8_t* end = p + n;
  while (p < end) {
    uint32_t arc = *p++;
    if (arc >= 248) {
      int k = static_cast<int>(arc) - 247;
      arc = 0;
      for (int i = 0; i < k; ++i) arc = arc << 8 | *p++;
    }
    oid += arc;
  }
  return oid;
}

// -1, 0 or 1 as bytes a sort before, with or after bytes b.
int compareKeys(const uint8_t* a, size_t an, const uint8_t* b, size_t bn) {
  int c = memcmp(a, b, std::min(an, bn));
  if (c != 0) return c < 0 ? -1 : 1;
  return an < bn ? -1 : an > bn ? 1 : 0;
}

}  // namespace

RowIndex::Entry RowIndex::entry(uint32_t ref) const {
  const uint8_t* p = chunks_[ref >> kChunkBits] + (ref & (kChunkSize - 1));
  size_t length = p[0];
  size_t head = 1;
  if (length & 0x80) {
    length = (length & 0x7F) << 7 | p[1];
    head = 2;
  }
  Entry e;
  e.key = p + head;
  e.keyLength = length;
  memcpy(&e.record, p + head + length, kPointerBytes);
  return e;
}

uint32_t RowIndex::following(uint32_t ref) const {
  Entry e = entry(ref);
  uint32_t chunk = ref >> kChunkBits;
  size_t end = static_cast<size_t>(e.key + e.keyLength - chunks_[chunk]) +
               kPointerBytes;
  if (end < chunkEnds_[chunk]) return chunk << kChunkBits | static_cast<uint32_t>(end);
  return (chunk + 1) << kChunkBits;
}

void RowIndex::append(const OID& key, Data* d) {
  encode(key, &scratch_);
  if (scratch_.size() > kMaxKeyBytes) scratch_.clear();
  size_t length = scratch_.size();
  size_t head = length < 0x80 ? 1 : 2;
  size_t size = head + length + kPointerBytes;
  if (chunks_.empty() || chunkEnds_.back() + size > kChunkSize) {
    chunks_.push_back(static_cast<uint8_t*>(bulkAllocate(kChunkSize)));
    chunkEnds_.push_back(0);
  }
  uint32_t chunk = static_cast<uint32_t>(chunks_.size() - 1);
  uint32_t ref = chunk << kChunkBits | chunkEnds_.back();
  if (haveLast_) {
    Entry prev = entry(last_);
    const uint8_t* code = reinterpret_cast<const uint8_t*>(scratch_.data());
    if (compareKeys(prev.key, prev.keyLength, code, length) >= 0) inOrder_ = false;
  }
  if (d == nullptr) inOrder_ = false;
  uint8_t* p = chunks_.back() + chunkEnds_.back();
  if (head == 1) {
    p[0] = static_cast<uint8_t>(length);
  } else {
    p[0] = static_cast<uint8_t>(0x80 | length >> 7);
    p[1] = static_cast<uint8_t>(length & 0x7F);
  }
  memcpy(p + head, scratch_.data(), length);
  memcpy(p + head + length, &d, kPointerBytes);
  chunkEnds_.back() += static_cast<uint32_t>(size);
  if (appended_ == settled_) pending_ = ref;
  ++appended_;
  last_ = ref;
  haveLast_ = true;
}

RowIndex::~RowIndex() {
  for (uint8_t* c : chunks_) bulkRelease(c, kChunkSize);
}

void RowIndex::clear() {
  for (uint8_t* c : chunks_) bulkRelease(c, kChunkSize);
  std::vector<uint8_t*>().swap(chunks_);
  std::vector<uint32_t>().swap(chunkEnds_);
  std::vector<uint32_t>().swap(order_);
  appended_ = settled_ = pending_ = 0;
  inOrder_ = true;
  haveLast_ = false;
}

void RowIndex::settle() {
  if (settled_ == appended_) return;
  // Reserved to the row, not doubled: at a million rows the slack of a
  // growing vector would cost more than the references themselves.
  order_.reserve(order_.size() + (appended_ - settled_));
  for (uint32_t ref = pending_, n = settled_; n < appended_; ++n) {
    order_.push_back(ref);
    if (n + 1 < appended_) ref = following(ref);
  }
  settled_ = appended_;
  if (inOrder_) return;
  // References grow with every append, so among equal keys the larger
  // reference is the later row: the one that stays.
  std::sort(order_.begin(), order_.end(), [this](uint32_t a, uint32_t b) {
    Entry x = entry(a), y = entry(b);
    int c = compareKeys(x.key, x.keyLength, y.key, y.keyLength);
    return c != 0 ? c < 0 : a < b;
  });
  size_t kept = 0;
  for (size_t i = 0; i < order_.size(); ++i) {
    Entry x = entry(order_[i]);
    if (i + 1 < order_.size()) {
      Entry y = entry(order_[i + 1]);
      if (compareKeys(x.key, x.keyLength, y.key, y.keyLength) == 0) continue;
    }
    if (x.record != nullptr) order_[kept++] = order_[i];
  }
  order_.resize(kept);
  inOrder_ = true;
  haveLast_ = kept > 0;
  if (haveLast_) last_ = order_.back();
}

size_t RowIndex::lowerBound(const std::string& key, bool after) const {
  const uint8_t* code = reinterpret_cast<const uint8_t*>(key.data());
  size_t lo = 0, hi = order_.size();
  while (lo < hi) {
    size_t mid = lo + (hi - lo) / 2;
    Entry e = entry(order_[mid]);
    int c = compareKeys(e.key, e.keyLength, code, key.size());
    if (c < 0 || (after && c == 0)) {
      lo = mid + 1;
    } else {
      hi = mid;
    }
  }
  return lo;
}

Data* RowIndex::find(const OID& key) {
  settle();
  encode(key, &scratch_);
  size_t at = lowerBound(scratch_, false);
  if (at == order_.size()) return nullptr;
  Entry e = entry(order_[at]);
  if (compareKeys(e.key, e.keyLength, reinterpret_cast<const uint8_t*>(scratch_.data()),
                  scratch_.size()) != 0) {
    return nullptr;
  }
  return e.record;
}

Data* RowIndex::findNext(const OID& key, OID* next) {
  settle();
  encode(key, &scratch_);
  size_t at = lowerBound(scratch_, true);
  if (at == order_.size()) return nullptr;
  Entry e = entry(order_[at]);
  *next = decode(e.key, e.keyLength);
  return e.record;
}

size_t RowIndex::size() {
  settle();
  return order_.size();
}
