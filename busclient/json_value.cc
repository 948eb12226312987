// Reading and writing JSON values.
#include "busclient/json_value.h"

#include <cstdio>

namespace tarnctl {

JsonValue JsonValue::of(bool b) {
  JsonValue v;
  v.type = kBool;
  v.boolean = b;
  return v;
}

JsonValue JsonValue::of(uint64_t n) {
  JsonValue v;
  v.type = kNumber;
  v.number = n;
  return v;
}

JsonValue JsonValue::of(const std::string& s) {
  JsonValue v;
  v.type = kString;
  v.text = s;
  return v;
}

JsonValue JsonValue::array() {
  JsonValue v;
  v.type = kArray;
  return v;
}

JsonValue JsonValue::object() {
  JsonValue v;
  v.type = kObject;
  return v;
}

JsonValue& JsonValue::add(const std::string& key, JsonValue v) {
  members.emplace_back(key, std::move(v));
  return members.back().second;
}

const JsonValue* JsonValue::get(const std::string& key) const {
  for (const auto& m : members) {
    if (m.first == key) return &m.second;
  }
  return nullptr;
}

const char* jsonTypeName(JsonValue::Type t) {
  static const char* const names[] = {"null", "true or false", "number",
                                      "string", "array", "object"};
  return names[t];
}

namespace {

const int kMaxDepth = 32;

class Reader {
 public:
  explicit Reader(const std::string& s) : s_(s) {}

  bool value(JsonValue* out, int depth);
  bool atEnd() {
    space();
    return pos_ == s_.size();
  }
  bool fail(const std::string& what) {
    int line = 1;
    for (size_t i = 0; i < pos_ && i < s_.size(); ++i) line += s_[i] == '\n';
    *err_ = std::to_string(line) + ": " + what;
    return false;
  }
  void setError(std::string* err) { err_ = err; }

 private:
  void space() {
    while (pos_ < s_.size() && (s_[pos_] == ' ' || s_[pos_] == '\t' ||
                                s_[pos_] == '\n' || s_[pos_] == '\r')) {
      ++pos_;
    }
  }
  char peek() {
    space();
    return pos_ < s_.size() ? s_[pos_] : 0;
  }
  bool take(char c) {
    if (peek() != c) return false;
    ++pos_;
    return true;
  }
  bool string(std::string* out);
  bool hex4(unsigned* v);
  bool number(JsonValue* out);
  bool word(const char* w) {
    const std::string ws(w);
    if (s_.compare(pos_, ws.size(), ws) != 0) return fail("unexpected character");
    pos_ += ws.size();
    return true;
  }

  const std::string& s_;
  size_t pos_ = 0;
  std::string* err_ = nullptr;
};

bool Reader::hex4(unsigned* v) {
  if (pos_ + 4 > s_.size()) return fail("short \\u escape");
  *v = 0;
  for (int i = 0; i < 4; ++i) {
    const char h = s_[pos_++];
    const int d = h >= '0' && h <= '9'   ? h - '0'
                  : h >= 'a' && h <= 'f' ? h - 'a' + 10
                  : h >= 'A' && h <= 'F' ? h - 'A' + 10
                                         : -1;
    if (d < 0) return fail("bad \\u escape");
    *v = *v * 16 + static_cast<unsigned>(d);
  }
  return true;
}

bool Reader::string(std::string* out) {
  ++pos_;  // the opening quote
  while (pos_ < s_.size()) {
    const char c = s_[pos_++];
    if (c == '"') return true;
    if (static_cast<unsigned char>(c) < 0x20) return fail("control character in a string");
    if (c != '\\') {
      out->push_back(c);
      continue;
    }
    if (pos_ >= s_.size()) break;
    const char e = s_[pos_++];
    unsigned v = 0;
    switch (e) {
      case '"': case '\\': case '/': out->push_back(e); break;
      case 'n': out->push_back('\n'); break;
      case 't': out->push_back('\t'); break;
      case 'r': out->push_back('\r'); break;
      case 'b': out->push_back('\b'); break;
      case 'f': out->push_back('\f'); break;
      case 'u':
        if (!hex4(&v)) return false;
        if (v >= 0xDC00 && v < 0xE000) return fail("lone low surrogate in a \\u escape");
        if (v >= 0xD800 && v < 0xDC00) {
          unsigned low = 0;
          if (s_.compare(pos_, 2, "\\u") != 0) return fail("lone high surrogate in a \\u escape");
          pos_ += 2;
          if (!hex4(&low)) return false;
          if (low < 0xDC00 || low >= 0xE000) return fail("lone high surrogate in a \\u escape");
          v = 0x10000 + ((v - 0xD800) << 10) + (low - 0xDC00);
        }
        if (v < 0x80) {
          out->push_back(static_cast<char>(v));
        } else if (v < 0x800) {
          out->push_back(static_cast<char>(0xC0 | (v >> 6)));
          out->push_back(static_cast<char>(0x80 | (v & 0x3F)));
        } else if (v < 0x10000) {
          out->push_back(static_cast<char>(0xE0 | (v >> 12)));
          out->push_back(static_cast<char>(0x80 | ((v >> 6) & 0x3F)));
          out->push_back(static_cast<char>(0x80 | (v & 0x3F)));
        } else {
          out->push_back(static_cast<char>(0xF0 | (v >> 18)));
          out->push_back(static_cast<char>(0x80 | ((v >> 12) & 0x3F)));
          out->push_back(static_cast<char>(0x80 | ((v >> 6) & 0x3F)));
          out->push_back(static_cast<char>(0x80 | (v & 0x3F)));
        }
        break;
      default:
        return fail("bad escape in a string");
    }
  }
  return fail("unterminated string");
}

bool Reader::number(JsonValue* out) {
  if (s_[pos_] == '-') return fail("negative number");
  out->type = JsonValue::kNumber;
  const size_t start = pos_;
  while (pos_ < s_.size() && s_[pos_] >= '0' && s_[pos_] <= '9') {
    const uint64_t d = static_cast<uint64_t>(s_[pos_] - '0');
    if (out->number > (UINT64_MAX - d) / 10) return fail("number too large");
    out->number = out->number * 10 + d;
    ++pos_;
  }
  if (pos_ == start) return fail("unexpected character");
  if (pos_ < s_.size() && (s_[pos_] == '.' || s_[pos_] == 'e' || s_[pos_] == 'E')) {
    return fail("only whole numbers are allowed");
  }
  return true;
}

bool Reader::value(JsonValue* out, int depth) {
  *out = JsonValue();
  if (depth > kMaxDepth) return fail("nested too deeply");
  const char c = peek();
  switch (c) {
    case '{':
      out->type = JsonValue::kObject;
      ++pos_;
      if (take('}')) return true;
      do {
        std::string key;
        if (peek() != '"') return fail("expected a member name in quotes");
        if (!string(&key)) return false;
        if (out->get(key)) return fail("member \"" + key + "\" given twice");
        if (!take(':')) return fail("expected ':'");
        if (!value(&out->add(key, JsonValue()), depth + 1)) return false;
      } while (take(','));
      return take('}') || fail("expected ',' or '}'");
    case '[':
      out->type = JsonValue::kArray;
      ++pos_;
      if (take(']')) return true;
      do {
        out->items.emplace_back();
        if (!value(&out->items.back(), depth + 1)) return false;
      } while (take(','));
      return take(']') || fail("expected ',' or ']'");
    case '"':
      out->type = JsonValue::kString;
      return string(&out->text);
    case 't':
      *out = JsonValue::of(true);
      return word("true");
    case 'f':
      *out = JsonValue::of(false);
      return word("false");
    case 'n':
      return word("null");
    case 0:
      return fail("unexpected end");
    default:
      return number(out);
  }
}

// The length of the UTF-8 sequence at s[i], or 0 if none starts there.
size_t utf8Length(const std::string& s, size_t i) {
  const unsigned char c = static_cast<unsigned char>(s[i]);
  size_t n = c < 0x80 ? 1 : (c >> 5) == 6 ? 2 : (c >> 4) == 14 ? 3 : (c >> 3) == 30 ? 4 : 0;
  if (n == 0 || i + n > s.size()) return 0;
  for (size_t k = 1; k < n; ++k) {
    if ((static_cast<unsigned char>(s[i + k]) & 0xC0) != 0x80) return 0;
  }
  return n;
}

bool validUtf8(const std::string& s) {
  for (size_t i = 0; i < s.size();) {
    const size_t n = utf8Length(s, i);
    if (n == 0) return false;
    i += n;
  }
  return true;
}

void writeString(std::ostream& os, const std::string& s) {
  const bool utf8 = validUtf8(s);
  os << '"';
  for (unsigned char c : s) {
    if (c == '"' || c == '\\') {
      os << '\\' << c;
    } else if (c < 0x20 || c == 0x7f || (c >= 0x80 && !utf8)) {
      char buf[8];
      snprintf(buf, sizeof buf, "\\u%04x", c);
      os << buf;
    } else {
      os << c;
    }
  }
  os << '"';
}

bool scalar(const JsonValue& v) {
  return v.type != JsonValue::kArray && v.type != JsonValue::kObject;
}

void write(std::ostream& os, const JsonValue& v, bool pretty, int indent) {
  const std::string pad = pretty ? std::string(2 * (indent + 1), ' ') : "";
  const std::string end = pretty ? "\n" + std::string(2 * indent, ' ') : "";
  switch (v.type) {
    case JsonValue::kNull: os << "null"; break;
    case JsonValue::kBool: os << (v.boolean ? "true" : "false"); break;
    case JsonValue::kNumber: os << v.number; break;
    case JsonValue::kString: writeString(os, v.text); break;
    case JsonValue::kArray: {
      bool flat = true;
      for (const JsonValue& item : v.items) flat = flat && scalar(item);
      os << '[';
      for (size_t i = 0; i < v.items.size(); ++i) {
        if (i) os << (flat && pretty ? ", " : ",");
        if (!flat && pretty) os << "\n" << pad;
        write(os, v.items[i], pretty, indent + 1);
      }
      if (!flat && !v.items.empty()) os << end;
      os << ']';
      break;
    }
    case JsonValue::kObject:
      os << '{';
      for (size_t i = 0; i < v.members.size(); ++i) {
        if (i) os << ',';
        if (pretty) os << "\n" << pad;
        writeString(os, v.members[i].first);
        os << (pretty ? ": " : ":");
        write(os, v.members[i].second, pretty, indent + 1);
      }
      if (!v.members.empty()) os << end;
      os << '}';
      break;
  }
}

}  // namespace

bool parseJson(const std::string& text, JsonValue* out, std::string* err) {
  Reader r(text);
  r.setError(err);
  if (!r.value(out, 0)) return false;
  return r.atEnd() || r.fail("more after the end of the value");
}

void writeJsonValue(std::ostream& os, const JsonValue& v, bool pretty) {
  write(os, v, pretty, 0);
}

}  // namespace tarnctl
