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
#include "platform/message.h"

#include <algorithm>
#include <functional>

#include "platform/wire.h"

namespace tarn {

namespace detail {

// The decoder's access to a flat_list: it fills one from elements it has
// checked.
struct FlatDecoder {
  static void adopt(uint32_t count, const uint8_t* begin, const uint8_t* end,
                    message::value* out) {
    flat_list& list = out->emplace<flat_list>();
    list.count_ = count;
    list.data_.assign(begin, end);
  }
};

}  // namespace detail

namespace {

// Nested message arrays deeper than this are refused (stack safety).
const int kMaxDepth = 16;

void putBytes(bytes& out, const uint8_t* p, size_t n) {
  wire::put32(out, static_cast<uint32_t>(n));
  out.insert(out.end(), p, p + n);
}

struct Encoder {
  bytes& out;
  void operator()(bool v) { out.push_back(v ? 1 : 0); }
  void operator()(uint32_t v) { wire::put32(out, v); }
  void operator()(uint64_t v) { wire::put64(out, v); }
  void operator()(const std::string& v) {
    putBytes(out, reinterpret_cast<const uint8_t*>(v.data()), v.size());
  }
  void operator()(const bytes& v) { putBytes(out, v.data(), v.size()); }
  void operator()(const std::vector<bool>& v) {
    wire::put32(out, static_cast<uint32_t>(v.size()));
    for (bool b : v) out.push_back(b ? 1 : 0);
  }
  void operator()(const std::vector<uint32_t>& v) {
    wire::put32(out, static_cast<uint32_t>(v.size()));
    for (uint32_t x : v) wire::put32(out, x);
  }
  void operator()(const std::vector<uint64_t>& v) {
    wire::put32(out, static_cast<uint32_t>(v.size()));
    for (uint64_t x : v) wire::put64(out, x);
  }
  template <class E>
  void operator()(const std::vector<E>& v) {  // strings, raws
    wire::put32(out, static_cast<uint32_t>(v.size()));
    for (const E& e : v) (*this)(e);
  }
  void operator()(const flat_list& v) {
    wire::put32(out, static_cast<uint32_t>(v.size()));
    out.insert(out.end(), v.elements().begin(), v.elements().end());
  }
};

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
  // Steps over n bytes (already known to be there).
  bool skip(size_t n) {
    if (left() < n) return false;
    p += n;
    return true;
  }
  // A u32 count whose elements take at least min_size bytes each.
  bool count(uint32_t* n, size_t min_size) {
    return u32(n) && *n <= left() / min_size;
  }
};

bool parseInto(Reader& r, message* out, int depth);

// Checks the flat message in [p, end) without building anything: the
// nested messages of a message array are checked this way before they are
// kept as bytes. A tight loop of its own, since a page of a get-all holds
// hundreds of them. Refuses exactly what parseInto refuses.
bool checkFlat(const uint8_t* p, const uint8_t* end, int depth) {
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
      case kTagMessageArray:
        if (n > rest / 4) return false;
        if (tag == kTagMessageArray && depth >= kMaxDepth) return false;
        for (uint64_t k = 0; k < n; ++k) {
          if (end - p < 4) return false;
          const uint32_t len = wire::get32(p);
          p += 4;
          if (len > static_cast<size_t>(end - p)) return false;
          if (tag == kTagMessageArray && !checkFlat(p, p + len, depth + 1)) {
            return false;
          }
          p += len;
        }
        break;
      default:
        return false;
    }
  }
  return p == end;
}


// Decodes one value of the given tag; out may be null (check only).
bool parseValue(Reader& r, uint32_t tag, message::value* out, int depth) {
  uint32_t n;
  const uint8_t* data;
  switch (tag) {
    case kTagBool: {
      bool b;
      if (!r.boolean(&b)) return false;
      if (out) *out = b;
      return true;
    }
    case kTagU32: {
      uint32_t v;
      if (!r.u32(&v)) return false;
      if (out) *out = v;
      return true;
    }
    case kTagU64: {
      uint64_t v;
      if (!r.u64(&v)) return false;
      if (out) *out = v;
      return true;
    }
    case kTagString:
      if (!r.chunk(&data, &n)) return false;
      if (out) *out = std::string(reinterpret_cast<const char*>(data), n);
      return true;
    case kTagRaw:
      if (!r.chunk(&data, &n)) return false;
      if (out) *out = bytes(data, data + n);
      return true;
    case kTagBoolArray: {
      if (!r.count(&n, 1)) return false;
      std::vector<bool> v(out ? n : 0);
      for (uint32_t i = 0; i < n; ++i) {
        bool b;
        if (!r.boolean(&b)) return false;
        if (out) v[i] = b;
      }
      if (out) *out = std::move(v);
      return true;
    }
    case kTagU32Array: {
      if (!r.count(&n, 4)) return false;
      if (!out) return r.skip(4 * static_cast<size_t>(n));
      std::vector<uint32_t> v(n);
      for (uint32_t i = 0; i < n; ++i) r.u32(&v[i]);
      *out = std::move(v);
      return true;
    }
    case kTagU64Array: {
      if (!r.count(&n, 8)) return false;
      if (!out) return r.skip(8 * static_cast<size_t>(n));
      std::vector<uint64_t> v(n);
      for (uint32_t i = 0; i < n; ++i) r.u64(&v[i]);
      *out = std::move(v);
      return true;
    }
    case kTagStringArray: {
      if (!r.count(&n, 4)) return false;
      std::vector<std::string> v(out ? n : 0);
      for (uint32_t i = 0; i < n; ++i) {
        uint32_t len;
        if (!r.chunk(&data, &len)) return false;
        if (out) v[i].assign(reinterpret_cast<const char*>(data), len);
      }
      if (out) *out = std::move(v);
      return true;
    }
    case kTagRawArray: {
      if (!r.count(&n, 4)) return false;
      std::vector<bytes> v(out ? n : 0);
      for (uint32_t i = 0; i < n; ++i) {
        uint32_t len;
        if (!r.chunk(&data, &len)) return false;
        if (out) v[i].assign(data, data + len);
      }
      if (out) *out = std::move(v);
      return true;
    }
    case kTagMessageArray: {
      if (!r.count(&n, 4) || depth >= kMaxDepth) return false;
      const uint8_t* first = r.p;
      for (uint32_t i = 0; i < n; ++i) {
        uint32_t len;
        if (!r.chunk(&data, &len)) return false;
        if (!checkFlat(data, data + len, depth + 1)) return false;
      }
      // Checked whole, the elements are kept as they came: one copy.
      if (out) detail::FlatDecoder::adopt(n, first, r.p, out);
      return true;
    }
    default:
      return false;
  }
}

bool parseInto(Reader& r, message* out, int depth) {
  uint32_t count;
  // The smallest field is an id and a bool: 5 bytes.
  if (!r.count(&count, 5)) return false;
  for (uint32_t i = 0; i < count; ++i) {
    uint32_t id;
    message::value v;  // fresh per field: the last one was moved away
    if (!r.u32(&id)) return false;
    if (!parseValue(r, id & kTagMask, &v, depth)) return false;
    out->insertTagged(id, std::move(v));
  }
  return r.left() == 0;
}

}  // namespace

void message::appendFlat(bytes& out) const {
  wire::put32(out, static_cast<uint32_t>(fields_.size()));
  Encoder enc{out};
  for (const field& f : fields_) {
    wire::put32(out, f.id);
    std::visit(enc, f.v);
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
  if (parseInto(r, out, 0)) return true;
  out->clear();
  return false;
}

message::message(flat_view flat) { parse(flat.data(), flat.size(), this); }

void flat_list::push_back(const message& m) {
  const size_t at = data_.size();
  wire::put32(data_, 0);
  m.appendFlat(data_);
  wire::set32(data_, at, static_cast<uint32_t>(data_.size() - at - 4));
  ++count_;
}

void flat_list::push_back(flat_view flat) {
  const std::less<const uint8_t*> before;
  if (!before(flat.data(), data_.data()) &&
      before(flat.data(), data_.data() + data_.size())) {
    // An element of this very list: the buffer may move as it grows.
    const bytes copy(flat.data(), flat.data() + flat.size());
    push_back(flat_view(copy));
    return;
  }
  wire::put32(data_, static_cast<uint32_t>(flat.size()));
  data_.insert(data_.end(), flat.data(), flat.data() + flat.size());
  ++count_;
}

}  // namespace tarn
