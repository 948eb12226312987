// Writing messages as JSON.
#include "busclient/json.h"

#include <cstdio>

namespace tarnctl {

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

}  // namespace tarnctl
