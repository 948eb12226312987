// Parsing of the bus client's command-line forms.
#include "busclient/fields.h"

#include <arpa/inet.h>
#include <ctype.h>
#include <errno.h>
#include <stdlib.h>

#include "platform/codes.h"
#include "platform/wire.h"

namespace tarnctl {

using tarn::message;

const std::vector<CommandName>& commandNames() {
  static const std::vector<CommandName> names = {
      {"get", tarn::kCmdGet},          {"set", tarn::kCmdSet},
      {"getobj", tarn::kCmdGetObj},    {"setobj", tarn::kCmdSetObj},
      {"getall", tarn::kCmdGetAll},    {"add", tarn::kCmdAddObj},
      {"remove", tarn::kCmdRemoveObj}, {"count", tarn::kCmdGetCount},
      {"subscribe", tarn::kCmdSubscribe},
      {"unsubscribe", tarn::kCmdUnsubscribe},
      {"policies", tarn::kCmdGetPolicies},
  };
  return names;
}

bool parseU64(const std::string& text, uint64_t* out) {
  if (text.empty() || text[0] == '-' || text[0] == '+' || isspace(text[0])) {
    return false;
  }
  errno = 0;
  char* end = nullptr;
  unsigned long long v = strtoull(text.c_str(), &end, 0);
  if (errno != 0 || *end != '\0') return false;
  *out = v;
  return true;
}

bool parseU32(const std::string& text, uint32_t* out) {
  uint64_t v;
  if (!parseU64(text, &v) || v > 0xFFFFFFFFu) return false;
  *out = static_cast<uint32_t>(v);
  return true;
}

namespace {

std::vector<std::string> split(const std::string& text, char sep) {
  std::vector<std::string> parts;
  if (text.empty()) return parts;
  size_t start = 0;
  for (;;) {
    size_t at = text.find(sep, start);
    parts.push_back(text.substr(start, at - start));
    if (at == std::string::npos) return parts;
    start = at + 1;
  }
}

bool parseBool(const std::string& t, bool* out) {
  if (t == "1" || t == "true" || t == "yes") {
    *out = true;
  } else if (t == "0" || t == "false" || t == "no") {
    *out = false;
  } else {
    return false;
  }
  return true;
}

bool parseBe32(const std::string& t, uint32_t* out) {
  in_addr a;
  if (inet_pton(AF_INET, t.c_str(), &a) == 1) {
    // The four address bytes in network order, read as a native number.
    const uint8_t* p = reinterpret_cast<const uint8_t*>(&a.s_addr);
    *out = tarn::wire::get32(p);
    return true;
  }
  return parseU32(t, out);
}

bool parseHex(const std::string& t, tarn::bytes* out) {
  std::string s;
  for (char c : t) {
    if (c != ':' && c != '-' && c != ' ') s += c;
  }
  if (s.size() % 2) return false;
  out->clear();
  for (size_t i = 0; i < s.size(); i += 2) {
    uint32_t v;
    std::string byte = "0x" + s.substr(i, 2);
    if (!isxdigit(s[i]) || !isxdigit(s[i + 1]) || !parseU32(byte, &v)) {
      return false;
    }
    out->push_back(static_cast<uint8_t>(v));
  }
  return true;
}

template <class T, class F>
bool parseList(const std::string& text, std::vector<T>* out, F one) {
  // "[1,2]" as the text dump writes it is taken as well as "1,2".
  std::string t = text;
  if (t.size() >= 2 && t.front() == '[' && t.back() == ']') {
    t = t.substr(1, t.size() - 2);
  }
  for (const std::string& part : split(t, ',')) {
    T v;
    if (!one(part, &v)) return false;
    out->push_back(v);
  }
  return true;
}

}  // namespace

bool parsePath(const std::string& text, std::vector<uint32_t>* out,
               std::string* err) {
  std::string t = text;
  for (char& c : t) {
    if (c == ',' || c == ' ') c = '/';
  }
  out->clear();
  for (const std::string& part : split(t, '/')) {
    uint32_t v;
    if (!parseU32(part, &v)) {
      *err = "bad path '" + text + "' (expected S or S/H, e.g. 161/1)";
      return false;
    }
    out->push_back(v);
  }
  if (out->empty() || out->size() > 2) {
    *err = "bad path '" + text + "' (expected S or S/H, e.g. 161/1)";
    return false;
  }
  return true;
}

bool parseCommand(const std::string& text, uint32_t* out, std::string* err) {
  for (const CommandName& n : commandNames()) {
    if (text == n.name) {
      *out = n.code;
      return true;
    }
  }
  if (parseU32(text, out)) return true;
  *err = "unknown command '" + text + "'";
  return false;
}

bool parseField(const std::string& text, message* m, std::string* err) {
  size_t colon = text.find(':');
  size_t eq = text.find('=', colon == std::string::npos ? 0 : colon);
  uint32_t id;
  if (colon == std::string::npos || eq == std::string::npos ||
      !parseU32(text.substr(colon + 1, eq - colon - 1), &id)) {
    *err = "bad field '" + text + "' (expected KIND:ID=VALUE)";
    return false;
  }
  std::string kind = text.substr(0, colon);
  std::string v = text.substr(eq + 1);
  bool ok = false;
  if (kind == "bool") {
    bool b;
    ok = parseBool(v, &b);
    if (ok) m->insert(tarn::bool_id(id), b);
  } else if (kind == "u32") {
    uint32_t x;
    ok = parseU32(v, &x);
    if (ok) m->insert(tarn::u32_id(id), x);
  } else if (kind == "be32") {
    uint32_t x;
    ok = parseBe32(v, &x);
    if (ok) m->insert(tarn::be32_id(id), x);
  } else if (kind == "u64") {
    uint64_t x;
    ok = parseU64(v, &x);
    if (ok) m->insert(tarn::u64_id(id), x);
  } else if (kind == "str") {
    m->insert(tarn::string_id(id), v);
    ok = true;
  } else if (kind == "raw") {
    tarn::bytes b;
    ok = parseHex(v, &b);
    if (ok) m->insert(tarn::raw_id(id), b);
  } else if (kind == "bool[]") {
    std::vector<bool> out;
    ok = parseList(v, &out, parseBool);
    if (ok) m->insert(tarn::bool_array_id(id), out);
  } else if (kind == "u32[]" || kind == "be32[]") {
    std::vector<uint32_t> out;
    ok = kind == "u32[]" ? parseList(v, &out, parseU32)
                         : parseList(v, &out, parseBe32);
    if (ok) m->insert(tarn::u32_array_id(id), out);
  } else if (kind == "u64[]") {
    std::vector<uint64_t> out;
    ok = parseList(v, &out, parseU64);
    if (ok) m->insert(tarn::u64_array_id(id), out);
  } else if (kind == "str[]") {
    m->insert(tarn::string_array_id(id), split(v, ','));
    ok = true;
  } else if (kind == "raw[]") {
    std::vector<tarn::bytes> out;
    ok = parseList(v, &out, parseHex);
    if (ok) m->insert(tarn::raw_array_id(id), out);
  } else {
    *err = "unknown field kind '" + kind + "'";
    return false;
  }
  if (!ok) *err = "bad " + kind + " value in '" + text + "'";
  return ok;
}

}  // namespace tarnctl
