// tarn::message: the platform's typed record of fields, the unit of every bus
// exchange and of every stored object.
//
// A field is keyed by a 32-bit id whose top 5 bits are a type tag and whose
// low 27 bits are the field number. Typed id kinds (u32_id, string_id, ...)
// build the tagged id from a number, so one number under two kinds names two
// different fields. Fields keep insertion order; inserting a present field
// replaces its value where it stands. Lookups scan the fields linearly: bus
// messages hold tens of fields, where a scan beats any index.
//
// flat_message is the byte form of a message (see flat.cc for the layout).
// message::parse decodes it and refuses, with a false result and without
// touching memory outside the input, every malformed or truncated input.
//
// A message array is a flat_list: its elements' flat bytes in one buffer,
// laid out as on the bus, read as flat_views (pointer and length) that
// convert to a message where one is wanted. A page of a thousand objects is
// one heap block, appended to a frame and taken from one with one copy.
#ifndef PLATFORM_MESSAGE_H
#define PLATFORM_MESSAGE_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iosfwd>
#include <iterator>
#include <string>
#include <variant>
#include <vector>

#include "platform/wire.h"

namespace tarn {

typedef std::vector<uint8_t> bytes;

enum : uint32_t {
  kTagMask = 0xF8000000u,
  kNumberMask = 0x07FFFFFFu,
  kTagBool = 0x00000000u,
  kTagU32 = 0x08000000u,
  kTagU64 = 0x10000000u,
  kTagString = 0x20000000u,
  kTagRaw = 0x30000000u,
  kTagBoolArray = 0x80000000u,
  kTagU32Array = 0x88000000u,
  kTagU64Array = 0x90000000u,
  kTagStringArray = 0xA0000000u,
  kTagMessageArray = 0xA8000000u,
  kTagRawArray = 0xB0000000u,
};

// A typed field id. Variant only tells apart kinds that share a tag
// (u32/be32), so that overloads and dumps can differ if ever needed.
template <uint32_t Tag, class T, int Variant>
struct field_id {
  typedef T value_type;
  static constexpr uint32_t tag = Tag;
  explicit constexpr field_id(uint32_t number)
      : id((number & kNumberMask) | Tag) {}
  uint32_t id;  // the tagged id
};

class message;
class flat_list;

namespace detail {
template <class T> struct same { typedef T type; };
struct FlatDecoder;
}  // namespace detail

// The flat bytes of one message, not owned: an element of a flat_list, or
// any flat_message or bytes it was made from, which must outlive it.
class flat_view {
 public:
  flat_view() : data_(nullptr), size_(0) {}
  flat_view(const uint8_t* data, size_t size) : data_(data), size_(size) {}
  flat_view(const bytes& b)  // NOLINT(runtime/explicit)
      : data_(b.data()), size_(b.size()) {}
  const uint8_t* data() const { return data_; }
  size_t size() const { return size_; }

 private:
  const uint8_t* data_;
  size_t size_;
};

// The value of a message array: the flat messages of its elements in one
// buffer, each as a u32 length and its bytes (the bus's form of the array
// after its count). push_back flattens a message straight into the buffer
// or copies flat bytes as they are; iteration yields flat_views into the
// buffer, valid until the list changes or dies. Elements are reached in
// order only: finding the i-th walks the i before it. The buffer is its
// own rather than a std::vector, whose growth zero-fills and whose appends
// are calls: a page of a thousand objects is built element by element.
class flat_list {
 public:
  class const_iterator {
   public:
    typedef std::forward_iterator_tag iterator_category;
    typedef flat_view value_type;
    typedef std::ptrdiff_t difference_type;
    typedef const flat_view* pointer;
    typedef flat_view reference;

    const_iterator() : p_(nullptr) {}
    explicit const_iterator(const uint8_t* p) : p_(p) {}
    flat_view operator*() const { return flat_view(p_ + 4, length()); }
    const_iterator& operator++() {
      p_ += 4 + length();
      return *this;
    }
    const_iterator operator++(int) {
      const_iterator old = *this;
      ++*this;
      return old;
    }
    bool operator==(const const_iterator& o) const { return p_ == o.p_; }
    bool operator!=(const const_iterator& o) const { return p_ != o.p_; }

   private:
    size_t length() const { return wire::get32(p_); }
    const uint8_t* p_;
  };

  flat_list() {}
  flat_list(const flat_list& o);
  flat_list(flat_list&& o) noexcept;
  flat_list& operator=(const flat_list& o);
  flat_list& operator=(flat_list&& o) noexcept;
  ~flat_list();

  size_t size() const { return count_; }
  bool empty() const { return count_ == 0; }
  const_iterator begin() const { return const_iterator(data_); }
  const_iterator end() const { return const_iterator(data_ + size_); }
  // The first element; the list must not be empty.
  flat_view front() const { return *begin(); }

  // Appends m's flat form.
  void push_back(const message& m);
  // Appends flat bytes as they are. They are not checked here: a receiver
  // refuses the whole message if they are not a valid flat message.
  void push_back(flat_view flat) {
    const size_t n = flat.size();
    if (capacity_ - size_ < 4 + n) {
      appendGrowing(flat);
      return;
    }
    uint8_t* to = data_ + size_;
    wire::store32(to, static_cast<uint32_t>(n));
    if (n) memcpy(to + 4, flat.data(), n);
    size_ += 4 + n;
    ++count_;
  }
  // Room for this many bytes of elements (each takes its flat size and 4).
  void reserve_bytes(size_t n);
  void clear() {
    size_ = 0;
    count_ = 0;
  }

  // The elements as the bus carries them after the count.
  flat_view elements() const { return flat_view(data_, size_); }

  // Equal when the elements are, byte for byte.
  bool operator==(const flat_list& o) const;
  bool operator!=(const flat_list& o) const { return !(*this == o); }

 private:
  friend struct detail::FlatDecoder;
  // Where n more bytes go, after making room for them; the caller writes
  // them and then counts them in size_.
  uint8_t* room(size_t n);
  void reallocate(size_t capacity);
  // push_back when the buffer must grow first.
  void appendGrowing(flat_view flat);

  uint8_t* data_ = nullptr;
  size_t size_ = 0;
  size_t capacity_ = 0;
  uint32_t count_ = 0;
};

class message {
 public:
  // The serialised form of a message, owned.
  class flat_message : public bytes {
   public:
    flat_message() {}
    explicit flat_message(const message& m) { m.flatten(*this); }
  };

  typedef std::variant<bool, uint32_t, uint64_t, std::string, bytes,
                       std::vector<bool>, std::vector<uint32_t>,
                       std::vector<uint64_t>, std::vector<std::string>,
                       flat_list, std::vector<bytes>>
      value;
  struct field {
    uint32_t id;
    value v;
  };

  message() {}
  // Decodes a flat message; an invalid one gives an empty message (use
  // parse() where failure must be seen). Implicit, so an element of a
  // message array reads as a message where one is wanted; a flat_message
  // or bytes convert too (as a flat_view).
  message(flat_view flat);  // NOLINT(runtime/explicit)

  // Decodes size bytes at data into *out (replacing its content). Returns
  // false, leaving *out empty, on truncation, counts or lengths running past
  // the end, trailing bytes, bool bytes other than 0/1, unknown tags, or
  // nested messages that are themselves invalid.
  static bool parse(const uint8_t* data, size_t size, message* out);

  // Appends the flat form to out (out is cleared first).
  void flatten(bytes& out) const;
  // Appends the flat form to out without clearing it (frames, stores).
  void appendFlat(bytes& out) const;

  // Scalar access: the value, or def when absent.
  template <uint32_t G, class T, int V>
  T get(field_id<G, T, V> k, const typename detail::same<T>::type& def) const {
    const T* p = findAs<T>(k.id);
    return p ? *p : def;
  }
  // Array access: the stored vector, or an empty one when absent.
  template <uint32_t G, class T, int V>
  const T& get(field_id<G, T, V> k) const {
    static const T empty;
    const T* p = findAs<T>(k.id);
    return p ? *p : empty;
  }
  // The stored vector, created empty when absent.
  template <uint32_t G, class T, int V>
  T& operator[](field_id<G, T, V> k) {
    T* p = findAs<T>(k.id);
    if (p) return *p;
    field& f = addField(k.id);
    return f.v.template emplace<T>();
  }

  template <uint32_t G, class T, int V>
  void insert(field_id<G, T, V> k, typename detail::same<T>::type v) {
    T* p = findAs<T>(k.id);
    if (p) {
      *p = std::move(v);
    } else {
      addField(k.id).v.template emplace<T>(std::move(v));
    }
  }
  // Convenience for paths: inserts {a} or {a, b} into an array field.
  template <uint32_t G, int V>
  void insert_vector(field_id<G, std::vector<uint32_t>, V> k, uint32_t a) {
    insert(k, std::vector<uint32_t>{a});
  }
  template <uint32_t G, int V>
  void insert_vector(field_id<G, std::vector<uint32_t>, V> k, uint32_t a,
                     uint32_t b) {
    insert(k, std::vector<uint32_t>{a, b});
  }

  // Element count: 0 when absent, 1 for a present scalar, the vector's size
  // for an array. has() is true when the count is not 0.
  template <uint32_t G, class T, int V>
  size_t size(field_id<G, T, V> k) const {
    const value* v = find(k.id);
    return v ? countOf(*v) : 0;
  }
  template <uint32_t G, class T, int V>
  bool has(field_id<G, T, V> k) const {
    return size(k) != 0;
  }
  template <uint32_t G, class T, int V>
  bool has_array(field_id<G, T, V> k) const {
    return size(k) != 0;
  }
  template <uint32_t G, class T, int V>
  void remove(field_id<G, T, V> k) {
    removeTagged(k.id);
  }

  // Raw field access for codecs, dumps and tools.
  const std::vector<field>& fields() const { return fields_; }
  const value* find(uint32_t tagged) const;
  void removeTagged(uint32_t tagged);
  // Sets a field by tagged id; false if the value's type does not match
  // the tag.
  bool insertTagged(uint32_t tagged, value v);
  bool empty() const { return fields_.empty(); }
  void clear() { fields_.clear(); }

 private:
  template <class T>
  const T* findAs(uint32_t tagged) const {
    const value* v = find(tagged);
    return v ? std::get_if<T>(v) : nullptr;
  }
  template <class T>
  T* findAs(uint32_t tagged) {
    return const_cast<T*>(static_cast<const message*>(this)->findAs<T>(tagged));
  }
  static size_t countOf(const value& v);
  // Appends a field holding false; the caller sets its value.
  field& addField(uint32_t tagged);

  std::vector<field> fields_;
};

typedef message::flat_message flat_message;

typedef field_id<kTagBool, bool, 0> bool_id;
typedef field_id<kTagU32, uint32_t, 0> u32_id;
typedef field_id<kTagU32, uint32_t, 1> be32_id;
typedef field_id<kTagU64, uint64_t, 0> u64_id;
typedef field_id<kTagString, std::string, 0> string_id;
typedef field_id<kTagRaw, bytes, 0> raw_id;
typedef field_id<kTagBoolArray, std::vector<bool>, 0> bool_array_id;
typedef field_id<kTagU32Array, std::vector<uint32_t>, 0> u32_array_id;
typedef field_id<kTagU32Array, std::vector<uint32_t>, 1> be32_array_id;
typedef field_id<kTagU64Array, std::vector<uint64_t>, 0> u64_array_id;
typedef field_id<kTagStringArray, std::vector<std::string>, 0>
    string_array_id;
typedef field_id<kTagMessageArray, flat_list, 0> message_array_id;
typedef field_id<kTagRawArray, std::vector<bytes>, 0> raw_array_id;

// The variant alternative that holds values of a tag, or -1 for an unknown
// tag.
int valueIndexOfTag(uint32_t tag);

// A command message: destination path and command code, the fields every
// request starts with.
message command(const std::vector<uint32_t>& path, uint32_t cmd);

// Paths: {a} and {a, b}.
std::vector<uint32_t> u32_vector(uint32_t a);
std::vector<uint32_t> u32_vector(uint32_t a, uint32_t b);

// One-line text dump of every field, e.g.
//   {u32:0xff0007=0xfe0002 u32[]:0xff0001=[20,0] str:0x10006="ether1"}
// Field kinds are written as the bus client's field syntax names them.
std::string toText(const message& m);

// Appends `s` in double quotes: quote and backslash escaped with a
// backslash, printable ASCII as is, any other byte as \xHH, or as \u00HH
// when `json` (JSON has no \x escape). Shared by the dump above and the
// bus client's JSON output.
void appendQuoted(std::string* out, const std::string& s, bool json);

// The same two onto a stream, for the bus client and tests
// (message_stream.cc). The agent itself builds strings and uses no streams.
std::ostream& operator<<(std::ostream& os, const message& m);
void writeQuoted(std::ostream& os, const std::string& s, bool json);

}  // namespace tarn

#endif  // PLATFORM_MESSAGE_H
