// The JSON reader and the value's builders.
#include "platform/json.h"

namespace tarn {

namespace {

const int kMaxDepth = 64;

// Appends the UTF-8 of code point v (at most 0x10FFFF).
void appendUtf8(unsigned v, std::string* out) {
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
}

}  // namespace

JsonValue JsonValue::of(bool b) {
  JsonValue v;
  v.type = kBool;
  v.boolean = b;
  return v;
}

JsonValue JsonValue::of(uint64_t n) {
  JsonValue v;
  v.type = kNumber;
  v.magnitude = n;
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

bool JsonReader::fail(const std::string& what) {
  if (!error_.empty()) return false;
  int line = 1;
  for (size_t i = 0; i < pos_ && i < s_.size(); ++i) line += s_[i] == '\n';
  error_ = std::to_string(line) + ": " + what;
  return false;
}

inline void JsonReader::skipSpace() {
  while (pos_ < s_.size() && (s_[pos_] == ' ' || s_[pos_] == '\t' ||
                              s_[pos_] == '\n' || s_[pos_] == '\r')) {
    ++pos_;
  }
}

inline char JsonReader::peek() {
  skipSpace();
  return pos_ < s_.size() ? s_[pos_] : 0;
}

bool JsonReader::atEnd() { return peek() == 0; }

bool JsonReader::enter(char open) {
  if (peek() != open) return fail(std::string("expected '") + open + "'");
  if (++depth_ > kMaxDepth) return fail("nested too deeply");
  ++pos_;
  first_.push_back(true);
  return true;
}

bool JsonReader::next(char close, bool* more) {
  char c = peek();
  if (c == close) {
    ++pos_;
    --depth_;
    first_.pop_back();
    *more = false;
    return true;
  }
  if (!first_.back()) {
    if (c != ',') return fail(std::string("expected ',' or '") + close + "'");
    ++pos_;
    if (peek() == close) return fail("trailing ','");
  }
  first_.back() = false;
  *more = true;
  return true;
}

bool JsonReader::name(std::string* out) {
  if (peek() != '"') return fail("expected a member name");
  return string(out);
}

bool JsonReader::colon() {
  if (peek() != ':') return fail("expected ':'");
  ++pos_;
  return true;
}

bool JsonReader::key(std::string* out) { return name(out) && colon(); }

bool JsonReader::hex4(unsigned* out) {
  if (pos_ + 4 > s_.size()) return fail("short \\u escape");
  *out = 0;
  for (int i = 0; i < 4; ++i) {
    const char h = s_[pos_++];
    const int d = h >= '0' && h <= '9'   ? h - '0'
                  : h >= 'a' && h <= 'f' ? h - 'a' + 10
                  : h >= 'A' && h <= 'F' ? h - 'A' + 10
                                         : -1;
    if (d < 0) return fail("bad \\u escape");
    *out = *out * 16 + static_cast<unsigned>(d);
  }
  return true;
}

bool JsonReader::string(std::string* out) {
  out->clear();
  ++pos_;  // the opening quote
  while (pos_ < s_.size()) {
    char c = s_[pos_++];
    if (c == '"') return true;
    if (static_cast<unsigned char>(c) < 0x20) return fail("control character in string");
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
        appendUtf8(v, out);
        break;
      default: return fail("bad escape in string");
    }
  }
  return fail("unterminated string");
}

bool JsonReader::number(JsonValue* out) {
  out->type = JsonValue::kNumber;
  out->negative = false;
  out->magnitude = 0;
  if (s_[pos_] == '-') {
    if (rules_.refuseNegative) return fail("negative number");
    out->negative = true;
    ++pos_;
  }
  size_t start = pos_;
  while (pos_ < s_.size() && s_[pos_] >= '0' && s_[pos_] <= '9') {
    uint64_t d = static_cast<uint64_t>(s_[pos_] - '0');
    if (out->magnitude > (UINT64_MAX - d) / 10) return fail("number too large");
    out->magnitude = out->magnitude * 10 + d;
    ++pos_;
  }
  if (pos_ == start) return fail("bad number");
  if (pos_ < s_.size() &&
      (s_[pos_] == '.' || s_[pos_] == 'e' || s_[pos_] == 'E')) {
    return fail("only whole numbers are allowed");
  }
  return true;
}

bool JsonReader::literal(const char* word) {
  size_t n = std::char_traits<char>::length(word);
  if (s_.compare(pos_, n, word) != 0) return fail("unexpected character");
  pos_ += n;
  return true;
}

bool JsonReader::value(JsonValue* out) {
  *out = JsonValue();
  char c = peek();
  bool more = false;
  switch (c) {
    case '{':
      out->type = JsonValue::kObject;
      if (!enter('{')) return false;
      while (next('}', &more) && more) {
        std::string k;
        if (!name(&k)) return false;
        if (rules_.refuseDuplicateNames && out->get(k)) {
          return fail("member \"" + k + "\" given twice");
        }
        if (!colon()) return false;
        out->members.emplace_back(std::move(k), JsonValue());
        if (!value(&out->members.back().second)) return false;
      }
      return error_.empty();
    case '[':
      out->type = JsonValue::kArray;
      if (!enter('[')) return false;
      while (next(']', &more) && more) {
        out->items.emplace_back();
        if (!value(&out->items.back())) return false;
      }
      return error_.empty();
    case '"':
      out->type = JsonValue::kString;
      return string(&out->text);
    case 't':
      out->type = JsonValue::kBool;
      out->boolean = true;
      return literal("true");
    case 'f':
      out->type = JsonValue::kBool;
      return literal("false");
    case 'n':
      return literal("null");
    case 0:
      return fail("unexpected end");
    default:
      if (c == '-' || (c >= '0' && c <= '9')) return number(out);
      return fail("unexpected character");
  }
}

bool parseJson(std::string_view text, const JsonRules& rules, JsonValue* out,
               std::string* err) {
  JsonReader r(text, rules);
  if (r.value(out) && !r.atEnd()) r.fail("more after the end of the value");
  *err = r.error();
  return err->empty();
}

}  // namespace tarn
