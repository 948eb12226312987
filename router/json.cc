// The JSON reader.
#include "router/json.h"

namespace router {

namespace {
const int kMaxDepth = 64;
}

const Json* Json::get(const std::string& key) const {
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

void JsonReader::skipSpace() {
  while (pos_ < s_.size() && (s_[pos_] == ' ' || s_[pos_] == '\t' ||
                              s_[pos_] == '\n' || s_[pos_] == '\r')) {
    ++pos_;
  }
}

char JsonReader::peek() {
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

bool JsonReader::key(std::string* out) {
  if (peek() != '"') return fail("expected a member name");
  if (!string(out)) return false;
  if (peek() != ':') return fail("expected ':'");
  ++pos_;
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
    char e = s_[pos_++];
    switch (e) {
      case '"': case '\\': case '/': out->push_back(e); break;
      case 'n': out->push_back('\n'); break;
      case 't': out->push_back('\t'); break;
      case 'r': out->push_back('\r'); break;
      case 'b': out->push_back('\b'); break;
      case 'f': out->push_back('\f'); break;
      case 'u': {
        if (pos_ + 4 > s_.size()) return fail("short \\u escape");
        unsigned v = 0;
        for (int i = 0; i < 4; ++i) {
          char h = s_[pos_++];
          int d = h >= '0' && h <= '9' ? h - '0'
                  : h >= 'a' && h <= 'f' ? h - 'a' + 10
                  : h >= 'A' && h <= 'F' ? h - 'A' + 10 : -1;
          if (d < 0) return fail("bad \\u escape");
          v = v * 16 + static_cast<unsigned>(d);
        }
        // UTF-8 of the code unit (surrogate pairs are not joined).
        if (v < 0x80) {
          out->push_back(static_cast<char>(v));
        } else if (v < 0x800) {
          out->push_back(static_cast<char>(0xC0 | (v >> 6)));
          out->push_back(static_cast<char>(0x80 | (v & 0x3F)));
        } else {
          out->push_back(static_cast<char>(0xE0 | (v >> 12)));
          out->push_back(static_cast<char>(0x80 | ((v >> 6) & 0x3F)));
          out->push_back(static_cast<char>(0x80 | (v & 0x3F)));
        }
        break;
      }
      default: return fail("bad escape in string");
    }
  }
  return fail("unterminated string");
}

bool JsonReader::number(Json* out) {
  out->type = Json::kNumber;
  out->negative = false;
  out->magnitude = 0;
  if (s_[pos_] == '-') {
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

bool JsonReader::value(Json* out) {
  *out = Json();
  char c = peek();
  bool more = false;
  switch (c) {
    case '{':
      out->type = Json::kObject;
      if (!enter('{')) return false;
      while (next('}', &more) && more) {
        std::string k;
        if (!key(&k)) return false;
        out->members.emplace_back(std::move(k), Json());
        if (!value(&out->members.back().second)) return false;
      }
      return error_.empty();
    case '[':
      out->type = Json::kArray;
      if (!enter('[')) return false;
      while (next(']', &more) && more) {
        out->items.emplace_back();
        if (!value(&out->items.back())) return false;
      }
      return error_.empty();
    case '"':
      out->type = Json::kString;
      return string(&out->text);
    case 't':
      out->type = Json::kBool;
      out->boolean = true;
      return literal("true");
    case 'f':
      out->type = Json::kBool;
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

}  // namespace router
