// The flat form of tarn::message, shared by the bus and the store:
//
//   flat message := u32 field count, then the fields in insertion order
//   field        := u32 tagged id, then the value as the tag says
//
// bool 1 byte (0/1); u32 4 bytes; u64 8 bytes; string and raw: u32 length
// and the bytes; bool/u32/u64 arrays: u32 count and the elements; string and
// raw arrays: u32 count, then u32 length and bytes each; message arrays: u32
// count, then u32 length and a flat message each. Integers are in the host's
// native order (the bus never leaves the host).
//
// The decoder checks every length against the bytes left before using it, so
// no input can make it read past the end or allocate more than the input's
// size; nested messages are checked, up to a fixed depth, before they are
// accepted.
//
// The encoder counts a message's bytes first and then writes them in place.
// A message array (flat_list) holds its elements already in this form: it
// is written out, and once checked taken from the input, with one copy.
#include "platform/message.h"

#include <string.h>

#include <algorithm>
#include <functional>
#include <utility>

#include "platform/wire.h"

namespace tarn {

namespace detail {

// The decoder's access to a flat_list: it fills one from elements it has
// checked.
struct FlatDecoder {
  static void adopt(uint32_t count, const uint8_t* begin, const uint8_t* end,
                    message::value* out) {
    flat_list& list = out->emplace<flat_list>();
    const size_t n = static_cast<size_t>(end - begin);
    if (n) {
      list.reallocate(n);
      memcpy(list.data_, begin, n);
    }
    list.size_ = n;
    list.count_ = count;
  }
};

}  // namespace detail

namespace {

// Nested message arrays deeper than this are refused (stack safety).
const int kMaxDepth = 16;

// Where an Encoder writes: into memory set aside for exactly the bytes a
// Sizer counted beforehand, or appended to a byte vector through a small
// buffer. Appending to a vector byte by byte is a call each; making room
// by a resize zeroes the bytes first, which costs little for a small
// message and as much as the copy for a page of objects. Up to this size a
// message is written in place after a resize.
const size_t kSmallFlat = 1024;

class ToBytes {
 public:
  explicit ToBytes(bytes& out) : out_(out) {}
  void u8(uint8_t v) {
    room(1);
    buf_[n_++] = v;
  }
  void u32(uint32_t v) {
    room(4);
    wire::store32(buf_ + n_, v);
    n_ += 4;
  }
  void u64(uint64_t v) {
    room(8);
    wire::store64(buf_ + n_, v);
    n_ += 8;
  }
  void raw(const uint8_t* p, size_t n) {
    if (n > sizeof buf_ / 4) {
      flush();
      out_.insert(out_.end(), p, p + n);
      return;
    }
    room(n);
    if (n) memcpy(buf_ + n_, p, n);
    n_ += n;
  }
  // Appends what is buffered; the last call.
  void flush() {
    out_.insert(out_.end(), buf_, buf_ + n_);
    n_ = 0;
  }

 private:
  void room(size_t n) {
    if (n_ + n > sizeof buf_) flush();
  }
  bytes& out_;
  uint8_t buf_[256] = {};
  size_t n_ = 0;
};
struct ToMemory {
  uint8_t* p;
  void u8(uint8_t v) { *p++ = v; }
  void u32(uint32_t v) {
    wire::store32(p, v);
    p += 4;
  }
  void u64(uint64_t v) {
    wire::store64(p, v);
    p += 8;
  }
  void raw(const uint8_t* q, size_t n) {
    if (n) memcpy(p, q, n);
    p += n;
  }
};
struct Sizer {
  size_t n = 0;
  void u8(uint8_t) { n += 1; }
  void u32(uint32_t) { n += 4; }
  void u64(uint64_t) { n += 8; }
  void raw(const uint8_t*, size_t k) { n += k; }
};

template <class Out>
struct Encoder {
  Out& out;
  void chunk(const uint8_t* p, size_t n) {
    out.u32(static_cast<uint32_t>(n));
    out.raw(p, n);
  }
  void operator()(bool v) { out.u8(v ? 1 : 0); }
  void operator()(uint32_t v) { out.u32(v); }
  void operator()(uint64_t v) { out.u64(v); }
  void operator()(const std::string& v) {
    chunk(reinterpret_cast<const uint8_t*>(v.data()), v.size());
  }
  void operator()(const bytes& v) { chunk(v.data(), v.size()); }
  void operator()(const std::vector<bool>& v) {
    out.u32(static_cast<uint32_t>(v.size()));
    for (bool b : v) out.u8(b ? 1 : 0);
  }
  void operator()(const std::vector<uint32_t>& v) {
    out.u32(static_cast<uint32_t>(v.size()));
    for (uint32_t x : v) out.u32(x);
  }
  void operator()(const std::vector<uint64_t>& v) {
    out.u32(static_cast<uint32_t>(v.size()));
    for (uint64_t x : v) out.u64(x);
  }
  template <class E>
  void operator()(const std::vector<E>& v) {  // strings, raws
    out.u32(static_cast<uint32_t>(v.size()));
    for (const E& e : v) (*this)(e);
  }
  void operator()(const flat_list& v) {
    out.u32(static_cast<uint32_t>(v.size()));
    out.raw(v.elements().data(), v.elements().size());
  }
};

template <class Out>
void encode(const std::vector<message::field>& fields, Out& out) {
  out.u32(static_cast<uint32_t>(fields.size()));
  Encoder<Out> enc{out};
  for (const message::field& f : fields) {
    out.u32(f.id);
    std::visit(enc, f.v);
  }
}

// Reads from [p, end); every take checks the remaining size first.
struct Reader {
  const uint8_t* p;
  const uint8_t* end;
  size_t left() const { return static_cast<size_t>(end - p); }
  bool u8(uint8_t* v) {
    if (left() < 1) return false;
    *v = *p++;
    return true;
  }
  bool u32(uint32_t* v) {
    if (left() < 4) return false;
    *v = wire::get32(p);
    p += 4;
    return true;
  }
  bool u64(uint64_t* v) {
    if (left() < 8) return false;
    *v = wire::get64(p);
    p += 8;
    return true;
  }
  bool boolean(bool* v) {
    uint8_t b;
    if (!u8(&b) || b > 1) return false;
    *v = b != 0;
    return true;
  }
  // A u32 length and that many bytes; *data points into the input.
  bool chunk(const uint8_t** data, uint32_t* n) {
    if (!u32(n) || left() < *n) return false;
    *data = p;
    p += *n;
    return true;
  }
  // A u32 count whose elements take at least min_size bytes each.
  bool count(uint32_t* n, size_t min_size) {
    return u32(n) && *n <= left() / min_size;
  }
};

const uint8_t* checkElements(const uint8_t* p, const uint8_t* end, uint64_t n,
                             int depth);

// Checks the flat message in [p, end) without building anything: the
// nested messages of a message array are checked this way before they are
// kept as bytes. A tight loop of its own, since a page of a get-all holds
// hundreds of them. Refuses exactly what parseInto refuses.
inline bool checkFlat(const uint8_t* p, const uint8_t* end, int depth) {
  if (end - p < 4) return false;
  uint32_t count = wire::get32(p);
  p += 4;
  // The smallest field is an id and a bool: 5 bytes.
  if (count > static_cast<size_t>(end - p) / 5) return false;
  for (uint32_t i = 0; i < count; ++i) {
    if (end - p < 4) return false;
    const uint32_t tag = wire::get32(p) & kTagMask;
    p += 4;
    const size_t left = static_cast<size_t>(end - p);
    uint64_t n;
    switch (tag) {
      case kTagBool:
        if (left < 1 || *p > 1) return false;
        p += 1;
        continue;
      case kTagU32:
        if (left < 4) return false;
        p += 4;
        continue;
      case kTagU64:
        if (left < 8) return false;
        p += 8;
        continue;
      default:
        break;
    }
    if (left < 4) return false;
    n = wire::get32(p);
    p += 4;
    const size_t rest = left - 4;
    switch (tag) {
      case kTagString:
      case kTagRaw:
        if (n > rest) return false;
        p += n;
        break;
      case kTagBoolArray:
        if (n > rest) return false;
        for (const uint8_t* q = p + n; p < q; ++p) {
          if (*p > 1) return false;
        }
        break;
      case kTagU32Array:
        if (4 * n > rest) return false;
        p += 4 * n;
        break;
      case kTagU64Array:
        if (8 * n > rest) return false;
        p += 8 * n;
        break;
      case kTagStringArray:
      case kTagRawArray:
        if (n > rest / 4) return false;
        for (uint64_t k = 0; k < n; ++k) {
          if (end - p < 4) return false;
          const uint32_t len = wire::get32(p);
          p += 4;
          if (len > static_cast<size_t>(end - p)) return false;
          p += len;
        }
        break;
      case kTagMessageArray:
        if (n > rest / 4 || depth >= kMaxDepth) return false;
        p = checkElements(p, end, n, depth + 1);
        if (!p) return false;
        break;
      default:
        return false;
    }
  }
  return p == end;
}


// Checks the n elements of a message array at p, each a u32 length and a
// flat message of the given depth, against end. Returns where they end, or
// null. One loop for a whole page, rather than a call per element.
const uint8_t* checkElements(const uint8_t* p, const uint8_t* end, uint64_t n,
                             int depth) {
  for (uint64_t k = 0; k < n; ++k) {
    if (end - p < 4) return nullptr;
    const uint32_t len = wire::get32(p);
    p += 4;
    if (len > static_cast<size_t>(end - p)) return nullptr;
    if (!checkFlat(p, p + len, depth)) return nullptr;
    p += len;
  }
  return p;
}

// Decodes one value of the given tag into *out, built in place.
bool parseValue(Reader& r, uint32_t tag, message::value* out, int depth) {
  uint32_t n;
  const uint8_t* data;
  switch (tag) {
    case kTagBool: {
      bool b;
      if (!r.boolean(&b)) return false;
      out->emplace<bool>(b);
      return true;
    }
    case kTagU32: {
      uint32_t v;
      if (!r.u32(&v)) return false;
      out->emplace<uint32_t>(v);
      return true;
    }
    case kTagU64: {
      uint64_t v;
      if (!r.u64(&v)) return false;
      out->emplace<uint64_t>(v);
      return true;
    }
    case kTagString:
      if (!r.chunk(&data, &n)) return false;
      out->emplace<std::string>(reinterpret_cast<const char*>(data), n);
      return true;
    case kTagRaw:
      if (!r.chunk(&data, &n)) return false;
      out->emplace<bytes>(data, data + n);
      return true;
    case kTagBoolArray: {
      if (!r.count(&n, 1)) return false;
      auto& v = out->emplace<std::vector<bool>>(n);
      for (uint32_t i = 0; i < n; ++i) {
        bool b;
        if (!r.boolean(&b)) return false;
        v[i] = b;
      }
      return true;
    }
    case kTagU32Array: {
      if (!r.count(&n, 4)) return false;
      auto& v = out->emplace<std::vector<uint32_t>>(n);
      for (uint32_t i = 0; i < n; ++i) r.u32(&v[i]);
      return true;
    }
    case kTagU64Array: {
      if (!r.count(&n, 8)) return false;
      auto& v = out->emplace<std::vector<uint64_t>>(n);
      for (uint32_t i = 0; i < n; ++i) r.u64(&v[i]);
      return true;
    }
    case kTagStringArray: {
      if (!r.count(&n, 4)) return false;
      auto& v = out->emplace<std::vector<std::string>>(n);
      for (uint32_t i = 0; i < n; ++i) {
        uint32_t len;
        if (!r.chunk(&data, &len)) return false;
        v[i].assign(reinterpret_cast<const char*>(data), len);
      }
      return true;
    }
    case kTagRawArray: {
      if (!r.count(&n, 4)) return false;
      auto& v = out->emplace<std::vector<bytes>>(n);
      for (uint32_t i = 0; i < n; ++i) {
        uint32_t len;
        if (!r.chunk(&data, &len)) return false;
        v[i].assign(data, data + len);
      }
      return true;
    }
    case kTagMessageArray: {
      if (!r.count(&n, 4) || depth >= kMaxDepth) return false;
      const uint8_t* first = r.p;
      const uint8_t* last = checkElements(first, r.end, n, depth + 1);
      if (!last) return false;
      r.p = last;
      // Checked whole, the elements are kept as they came: one copy.
      detail::FlatDecoder::adopt(n, first, last, out);
      return true;
    }
    default:
      return false;
  }
}

// Decodes the fields into `fields` (empty). Each value is decoded straight
// into a new last field; an id met before takes the value where it stands
// instead, as insertTagged would place it.
bool parseInto(Reader& r, std::vector<message::field>& fields, int depth) {
  uint32_t count;
  // The smallest field is an id and a bool: 5 bytes.
  if (!r.count(&count, 5)) return false;
  for (uint32_t i = 0; i < count; ++i) {
    uint32_t id;
    if (!r.u32(&id)) return false;
    fields.emplace_back();
    message::field& f = fields.back();
    f.id = id;
    if (!parseValue(r, id & kTagMask, &f.v, depth)) return false;
    for (size_t k = 0; k + 1 < fields.size(); ++k) {
      if (fields[k].id == id) {
        fields[k].v = std::move(f.v);
        fields.pop_back();
        break;
      }
    }
  }
  return r.left() == 0;
}

}  // namespace

void message::appendFlat(bytes& out) const {
  // Counted first, so that the vector grows at most once (and still by
  // doubling: a store appends every object to one vector).
  Sizer sizer;
  encode(fields_, sizer);
  const size_t at = out.size();
  if (out.capacity() - at < sizer.n) {
    out.reserve(std::max(at + sizer.n, 2 * out.capacity()));
  }
  if (sizer.n <= kSmallFlat) {
    out.resize(at + sizer.n);
    ToMemory to{out.data() + at};
    encode(fields_, to);
  } else {
    ToBytes to(out);
    encode(fields_, to);
    to.flush();
  }
}

void message::flatten(bytes& out) const {
  out.clear();
  appendFlat(out);
}

bool message::parse(const uint8_t* data, size_t size, message* out) {
  out->clear();
  // One allocation for the fields, not one per doubling: a filling of a
  // large table parses a message for every row. The count is bounded by
  // the smallest field's size, as parseInto checks again.
  if (size >= 4) out->fields_.reserve(std::min<size_t>(wire::get32(data), size / 5));
  Reader r{data, data + size};
  if (parseInto(r, out->fields_, 0)) return true;
  out->clear();
  return false;
}

message::message(flat_view flat) { parse(flat.data(), flat.size(), this); }

flat_list::flat_list(const flat_list& o) : count_(o.count_) {
  if (o.size_) {
    reallocate(o.size_);
    memcpy(data_, o.data_, o.size_);
  }
  size_ = o.size_;
}

flat_list::flat_list(flat_list&& o) noexcept
    : data_(o.data_), size_(o.size_), capacity_(o.capacity_),
      count_(o.count_) {
  o.data_ = nullptr;
  o.size_ = o.capacity_ = 0;
  o.count_ = 0;
}

flat_list& flat_list::operator=(const flat_list& o) {
  if (this != &o) {
    clear();
    if (o.size_) memcpy(room(o.size_), o.data_, o.size_);
    size_ = o.size_;
    count_ = o.count_;
  }
  return *this;
}

flat_list& flat_list::operator=(flat_list&& o) noexcept {
  std::swap(data_, o.data_);
  std::swap(size_, o.size_);
  std::swap(capacity_, o.capacity_);
  std::swap(count_, o.count_);
  return *this;
}

flat_list::~flat_list() { ::operator delete(data_); }

void flat_list::reallocate(size_t capacity) {
  uint8_t* p = static_cast<uint8_t*>(::operator new(capacity));
  if (size_) memcpy(p, data_, size_);
  ::operator delete(data_);
  data_ = p;
  capacity_ = capacity;
}

uint8_t* flat_list::room(size_t n) {
  if (capacity_ - size_ < n) {
    reallocate(std::max(size_ + n, 2 * capacity_));
  }
  return data_ + size_;
}

void flat_list::reserve_bytes(size_t n) {
  if (n > capacity_) reallocate(n);
}

void flat_list::push_back(const message& m) {
  Sizer sizer;
  encode(m.fields(), sizer);
  // Written past size_, which is counted only afterwards: m may hold this
  // very list and read it while it is being written.
  ToMemory to{room(4 + sizer.n)};
  to.u32(static_cast<uint32_t>(sizer.n));
  encode(m.fields(), to);
  size_ += 4 + sizer.n;
  ++count_;
}

void flat_list::appendGrowing(flat_view flat) {
  const uint8_t* from = flat.data();
  const size_t n = flat.size();
  const std::less<const uint8_t*> before;
  const bool inside = !before(from, data_) && before(from, data_ + size_);
  const size_t offset = inside ? static_cast<size_t>(from - data_) : 0;
  uint8_t* to = room(4 + n);
  // An element of this very list moved with the buffer.
  if (inside) from = data_ + offset;
  wire::store32(to, static_cast<uint32_t>(n));
  if (n) memcpy(to + 4, from, n);
  size_ += 4 + n;
  ++count_;
}

bool flat_list::operator==(const flat_list& o) const {
  return count_ == o.count_ && size_ == o.size_ &&
         (size_ == 0 || memcmp(data_, o.data_, size_) == 0);
}

}  // namespace tarn
