// tarn::message field access and the text dump used in diagnostics.
#include "platform/message.h"

#include <cstdio>

#include "platform/codes.h"

namespace tarn {

int valueIndexOfTag(uint32_t tag) {
  switch (tag) {
    case kTagBool: return 0;
    case kTagU32: return 1;
    case kTagU64: return 2;
    case kTagString: return 3;
    case kTagRaw: return 4;
    case kTagBoolArray: return 5;
    case kTagU32Array: return 6;
    case kTagU64Array: return 7;
    case kTagStringArray: return 8;
    case kTagMessageArray: return 9;
    case kTagRawArray: return 10;
    default: return -1;
  }
}

const message::value* message::find(uint32_t tagged) const {
  for (const field& f : fields_) {
    if (f.id == tagged) return &f.v;
  }
  return nullptr;
}

void message::removeTagged(uint32_t tagged) {
  for (auto it = fields_.begin(); it != fields_.end(); ++it) {
    if (it->id == tagged) {
      fields_.erase(it);
      return;
    }
  }
}

bool message::insertTagged(uint32_t tagged, value v) {
  if (valueIndexOfTag(tagged & kTagMask) != static_cast<int>(v.index())) {
    return false;
  }
  for (field& f : fields_) {
    if (f.id == tagged) {
      f.v = std::move(v);
      return true;
    }
  }
  fields_.push_back(field{tagged, std::move(v)});
  return true;
}

message::field& message::addField(uint32_t tagged) {
  fields_.emplace_back();
  fields_.back().id = tagged;
  return fields_.back();
}

size_t message::countOf(const value& v) {
  switch (v.index()) {
    case 0: case 1: case 2: case 3: case 4:
      return 1;
    default:
      return std::visit(
          [](const auto& x) -> size_t {
            if constexpr (std::is_same_v<std::decay_t<decltype(x)>, bool> ||
                          std::is_arithmetic_v<std::decay_t<decltype(x)>>) {
              return 1;
            } else {
              return x.size();
            }
          },
          v);
  }
}

message command(const std::vector<uint32_t>& path, uint32_t cmd) {
  message m;
  m.insert(u32_array_id(kFieldDst), path);
  m.insert(u32_id(kFieldCmd), cmd);
  return m;
}

std::vector<uint32_t> u32_vector(uint32_t a) { return {a}; }
std::vector<uint32_t> u32_vector(uint32_t a, uint32_t b) { return {a, b}; }

namespace {

// Numbers up to 0xffff read best in decimal, larger ones (codes, field
// numbers in the platform's ranges) in hex.
void number(std::string* out, uint64_t v) {
  char buf[24];
  const int n = snprintf(buf, sizeof buf, v > 0xffff ? "0x%llx" : "%llu",
                         static_cast<unsigned long long>(v));
  out->append(buf, static_cast<size_t>(n));
}

void hex(std::string* out, const bytes& b) {
  static const char digits[] = "0123456789abcdef";
  for (uint8_t c : b) {
    *out += digits[c >> 4];
    *out += digits[c & 15];
  }
}

const char* kindName(uint32_t tag) {
  switch (tag) {
    case kTagBool: return "bool";
    case kTagU32: return "u32";
    case kTagU64: return "u64";
    case kTagString: return "str";
    case kTagRaw: return "raw";
    case kTagBoolArray: return "bool[]";
    case kTagU32Array: return "u32[]";
    case kTagU64Array: return "u64[]";
    case kTagStringArray: return "str[]";
    case kTagMessageArray: return "msg[]";
    case kTagRawArray: return "raw[]";
    default: return "?";
  }
}

void appendText(std::string* out, const message& m);

template <class T, class F>
void list(std::string* out, const std::vector<T>& v, F each) {
  *out += '[';
  for (size_t i = 0; i < v.size(); ++i) {
    if (i) *out += ',';
    each(v[i]);
  }
  *out += ']';
}

struct Dumper {
  std::string* out;
  void operator()(bool v) { *out += v ? '1' : '0'; }
  void operator()(uint32_t v) { number(out, v); }
  void operator()(uint64_t v) { number(out, v); }
  void operator()(const std::string& v) { appendQuoted(out, v, false); }
  void operator()(const bytes& v) { hex(out, v); }
  void operator()(const std::vector<bool>& v) {
    list(out, v, [this](bool b) { *out += b ? '1' : '0'; });
  }
  void operator()(const std::vector<uint32_t>& v) {
    list(out, v, [this](uint32_t x) { number(out, x); });
  }
  void operator()(const std::vector<uint64_t>& v) {
    list(out, v, [this](uint64_t x) { number(out, x); });
  }
  void operator()(const std::vector<std::string>& v) {
    list(out, v, [this](const std::string& s) { appendQuoted(out, s, false); });
  }
  void operator()(const std::vector<bytes>& v) {
    list(out, v, [this](const bytes& b) { hex(out, b); });
  }
  void operator()(const flat_list& v) {
    *out += '[';
    for (auto it = v.begin(); it != v.end(); ++it) {
      if (it != v.begin()) *out += ',';
      const flat_view f = *it;
      message m;
      if (message::parse(f.data(), f.size(), &m)) {
        appendText(out, m);
      } else {
        *out += "<invalid>";
      }
    }
    *out += ']';
  }
};

void appendText(std::string* out, const message& m) {
  *out += '{';
  bool first = true;
  Dumper dump{out};
  for (const message::field& f : m.fields()) {
    if (!first) *out += ' ';
    first = false;
    *out += kindName(f.id & kTagMask);
    *out += ':';
    number(out, f.id & kNumberMask);
    *out += '=';
    std::visit(dump, f.v);
  }
  *out += '}';
}

}  // namespace

void appendQuoted(std::string* out, const std::string& s, bool json) {
  *out += '"';
  for (unsigned char c : s) {
    if (c == '"' || c == '\\') {
      *out += '\\';
      *out += static_cast<char>(c);
    } else if (c >= 0x20 && c < 0x7f) {
      *out += static_cast<char>(c);
    } else {
      char buf[8];
      const int n = snprintf(buf, sizeof buf, json ? "\\u%04x" : "\\x%02x", c);
      out->append(buf, static_cast<size_t>(n));
    }
  }
  *out += '"';
}

std::string toText(const message& m) {
  std::string text;
  appendText(&text, m);
  return text;
}

}  // namespace tarn
