// Writing messages and JSON values.
#include "busclient/json.h"

#include <cstdio>

namespace tarnctl {

using tarn::JsonValue;
using tarn::message;

void writeJsonString(std::ostream& os, const std::string& s) {
  tarn::writeQuoted(os, s, true);
}

namespace {

const char* kindName(uint32_t tag) {
  switch (tag) {
    case tarn::kTagBool: return "bool";
    case tarn::kTagU32: return "u32";
    case tarn::kTagU64: return "u64";
    case tarn::kTagString: return "str";
    case tarn::kTagRaw: return "raw";
    case tarn::kTagBoolArray: return "bool[]";
    case tarn::kTagU32Array: return "u32[]";
    case tarn::kTagU64Array: return "u64[]";
    case tarn::kTagStringArray: return "str[]";
    case tarn::kTagMessageArray: return "msg[]";
    case tarn::kTagRawArray: return "raw[]";
    default: return "?";
  }
}

std::string hex(const tarn::bytes& b) {
  static const char digits[] = "0123456789abcdef";
  std::string s;
  for (uint8_t c : b) {
    s += digits[c >> 4];
    s += digits[c & 15];
  }
  return s;
}

struct Value {
  std::ostream& os;
  template <class T, class F>
  void list(const std::vector<T>& v, F each) {
    os << '[';
    for (size_t i = 0; i < v.size(); ++i) {
      if (i) os << ',';
      each(v[i]);
    }
    os << ']';
  }
  void operator()(bool v) { os << (v ? "true" : "false"); }
  void operator()(uint32_t v) { os << v; }
  void operator()(uint64_t v) { os << v; }
  void operator()(const std::string& v) { writeJsonString(os, v); }
  void operator()(const tarn::bytes& v) { os << '"' << hex(v) << '"'; }
  void operator()(const std::vector<bool>& v) {
    list(v, [this](bool b) { (*this)(b); });
  }
  void operator()(const std::vector<uint32_t>& v) {
    list(v, [this](uint32_t x) { os << x; });
  }
  void operator()(const std::vector<uint64_t>& v) {
    list(v, [this](uint64_t x) { os << x; });
  }
  void operator()(const std::vector<std::string>& v) {
    list(v, [this](const std::string& s) { writeJsonString(os, s); });
  }
  void operator()(const std::vector<tarn::bytes>& v) {
    list(v, [this](const tarn::bytes& b) { os << '"' << hex(b) << '"'; });
  }
  void operator()(const tarn::flat_list& v) {
    os << '[';
    for (auto it = v.begin(); it != v.end(); ++it) {
      if (it != v.begin()) os << ',';
      const tarn::flat_view f = *it;
      message m;
      if (message::parse(f.data(), f.size(), &m)) {
        writeJson(os, m);
      } else {
        os << "null";
      }
    }
    os << ']';
  }
};

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

// As writeJsonString, except that valid UTF-8 is written as it is.
void writeValueString(std::ostream& os, const std::string& s) {
  if (!validUtf8(s)) return writeJsonString(os, s);
  os << '"';
  for (unsigned char c : s) {
    if (c == '"' || c == '\\') {
      os << '\\' << c;
    } else if (c < 0x20 || c == 0x7f) {
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
    case JsonValue::kNumber: os << (v.negative ? "-" : "") << v.magnitude; break;
    case JsonValue::kString: writeValueString(os, v.text); break;
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
        writeValueString(os, v.members[i].first);
        os << (pretty ? ": " : ":");
        write(os, v.members[i].second, pretty, indent + 1);
      }
      if (!v.members.empty()) os << end;
      os << '}';
      break;
  }
}

}  // namespace

void writeJson(std::ostream& os, const message& m) {
  os << '[';
  bool first = true;
  Value value{os};
  for (const message::field& f : m.fields()) {
    if (!first) os << ',';
    first = false;
    os << "{\"kind\":\"" << kindName(f.id & tarn::kTagMask)
       << "\",\"id\":" << (f.id & tarn::kNumberMask) << ",\"value\":";
    std::visit(value, f.v);
    os << '}';
  }
  os << ']';
}

void writeJsonValue(std::ostream& os, const JsonValue& v, bool pretty) {
  write(os, v, pretty, 0);
}

const char* jsonTypeName(JsonValue::Type t) {
  static const char* const names[] = {"null", "true or false", "number",
                                      "string", "array", "object"};
  return names[t];
}

}  // namespace tarnctl
