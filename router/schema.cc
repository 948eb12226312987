// Section and field tables of the model file, and value conversion.
#include "router/schema.h"

#include <stdlib.h>

#include "platform/codes.h"
#include "router/device.h"

namespace router {

using tarn::JsonValue;

namespace {

const uint32_t kId = tarn::kFieldObjId;

std::vector<Section> makeSections() {
  return {
      {kInterfaces, "interfaces", true,
       {{"id", kId, Kind::kU32}, {"kind", kIfKind, Kind::kU32},
        {"flags", kIfFlags, Kind::kU32}, {"state", kIfState, Kind::kU32},
        {"name", kIfName, Kind::kStr}, {"mtu", kIfMtu, Kind::kU32},
        {"rate", kIfRate, Kind::kU32}, {"parent", kIfParent, Kind::kU32},
        {"running", kIfRunning, Kind::kBool},
        {"disabled", kDisabled, Kind::kBool}, {"mac", kIfMac, Kind::kRaw},
        {"priority", kIfPriority, Kind::kU32}}},
      {kAddresses, "addresses", true,
       {{"id", kId, Kind::kU32}, {"address", 1, Kind::kBe32},
        {"netmask", 3, Kind::kBe32}, {"interface", 5, Kind::kU32},
        {"invalid", kInvalid, Kind::kBool},
        {"disabled", kDisabled, Kind::kBool}}},
      {kArp, "arp", true,
       {{"id", kId, Kind::kU32}, {"address", 1, Kind::kBe32},
        {"mac", 2, Kind::kRaw}, {"interface", 3, Kind::kU32},
        {"dynamic", kDynamic, Kind::kBool},
        {"invalid", kInvalid, Kind::kBool}}},
      {kVendor9, "vendor-9", true,
       {{"id", kId, Kind::kU32}, {"name", 2, Kind::kStr},
        {"address-list", 105, Kind::kBe32s},
        {"address-101", 101, Kind::kBe32}, {"address-103", 103, Kind::kBe32},
        {"number", 104, Kind::kU32}, {"counter-300", 300, Kind::kU64},
        {"counter-200", 200, Kind::kU64}, {"counter-301", 301, Kind::kU32},
        {"counter-201", 201, Kind::kU32}}},
      {kVendor12, "vendor-12", true,
       {{"id", kId, Kind::kU32}, {"name", 2, Kind::kStr},
        {"label", 12, Kind::kText}, {"number", 1, Kind::kU32},
        {"counter-200", 200, Kind::kU64}, {"counter-201", 201, Kind::kU32}}},
      {kFdb, "fdb", true,
       {{"id", kId, Kind::kU32}, {"port", kFdbPort, Kind::kU32},
        {"mac", kFdbMac, Kind::kRaw}, {"local", kFdbLocal, Kind::kU32},
        {"bridge", kFdbBridge, Kind::kU32}}},
      {kRoutes, "routes", true,
       {{"id", kId, Kind::kU32}, {"dst", kRtDst, Kind::kBe32},
        {"mask", kRtMask, Kind::kBe32}, {"next-hop", kRtNextHop, Kind::kBe32},
        {"gateways", kRtGateways, Kind::kBe32s},
        {"interfaces", kRtInterfaces, Kind::kU32s},
        {"active", kRtActive, Kind::kU32s}, {"kind", kRtKind, Kind::kU32},
        {"metric", kRtMetric, Kind::kU32},
        {"invalid", kInvalid, Kind::kBool},
        {"disabled", kDisabled, Kind::kBool}}},
      {kScripts, "scripts", true,
       {{"id", kId, Kind::kU32}, {"name", kScriptName, Kind::kStr}}},
      {kPeers, "peers", true,
       {{"id", kId, Kind::kU32}, {"address", 1, Kind::kBe32},
        {"mac", 2, Kind::kRaw}, {"version", 6, Kind::kStr},
        {"identity", 7, Kind::kStr}, {"platform", 8, Kind::kStr},
        {"interface-name", 11, Kind::kStr}}},
      {kClock, "clock", false,
       {{"time", 7, Kind::kU32}, {"utc-offset", 27, Kind::kI32}}},
      {kIdentity, "identity", false, {{"name", kHostName, Kind::kStr}}},
      {kResources, "resources", false,
       {{"uptime", 1, Kind::kU32}, {"memory-total", 2, Kind::kU32},
        {"memory-free", 3, Kind::kU32}, {"disk-total", 10, Kind::kU32},
        {"disk-free", 11, Kind::kU32}, {"cpu-load", 6, Kind::kU32}}},
      {kHealth, "health", false,
       {{"power-source", 12, Kind::kU32}, {"voltage", 13, Kind::kU32},
        {"temperature", 14, Kind::kI32},
        {"cpu-temperature", 17, Kind::kI32}}},
      {kSoftware, "software", false,
       {{"identifier", 1, Kind::kStr}, {"level", 4, Kind::kU32},
        {"upgrade", 9, Kind::kU32}}},
  };
}

struct KindName {
  const char* name;
  Kind kind;
};
const KindName kKindNames[] = {
    {"bool", Kind::kBool}, {"u32", Kind::kU32},   {"i32", Kind::kI32},
    {"be32", Kind::kBe32}, {"u64", Kind::kU64},   {"str", Kind::kStr},
    {"raw", Kind::kRaw},   {"u32[]", Kind::kU32s}, {"be32[]", Kind::kBe32s},
    {"u64[]", Kind::kU64s}, {"str[]", Kind::kStrs},
};

bool scalar(const JsonValue& v, Kind kind, uint64_t* out) {
  if (v.type == JsonValue::kNumber) {
    if (kind == Kind::kI32) {
      if (v.negative ? v.magnitude > 0x80000000u : v.magnitude > 0x7FFFFFFFu) {
        return false;
      }
      uint32_t u = static_cast<uint32_t>(v.magnitude);
      *out = v.negative ? static_cast<uint32_t>(0u - u) : u;  // two's complement
      return true;
    }
    if (v.negative) return false;
    *out = v.magnitude;
    return kind == Kind::kU64 || v.magnitude <= 0xFFFFFFFFu;
  }
  if (v.type == JsonValue::kString && kind == Kind::kBe32) {
    uint32_t host;
    if (!parseIPv4(v.text, &host)) return false;
    *out = be32FromHost(host);
    return true;
  }
  return false;
}

}  // namespace

const std::vector<Section>& sections() {
  static const std::vector<Section> all = makeSections();
  return all;
}

const std::vector<FieldSpec>& counterFields() {
  static const std::vector<FieldSpec> all = {
      {"in-octets", kIfInOctets, Kind::kU64},
      {"out-octets", kIfOutOctets, Kind::kU64},
      {"in-packets", kIfInPackets, Kind::kU64},
      {"out-packets", kIfOutPackets, Kind::kU64},
      {"in-discards", kIfInDiscards, Kind::kU32},
      {"out-discards", kIfOutDiscards, Kind::kU32},
      {"in-errors", kIfInErrors, Kind::kU32},
      {"out-errors", kIfOutErrors, Kind::kU32},
  };
  return all;
}

bool parseIPv4(const std::string& text, uint32_t* hostOrder) {
  uint32_t v = 0;
  int parts = 0;
  const char* p = text.c_str();
  while (parts < 4) {
    if (*p < '0' || *p > '9') return false;
    char* end;
    unsigned long octet = strtoul(p, &end, 10);
    if (octet > 255 || end - p > 3) return false;
    v = (v << 8) | static_cast<uint32_t>(octet);
    ++parts;
    p = end;
    if (parts < 4 && *p++ != '.') return false;
  }
  *hostOrder = v;
  return *p == 0;
}

bool parseHex(const std::string& text, tarn::bytes* out) {
  out->clear();
  int nibbles = 0;
  unsigned cur = 0;
  for (char c : text) {
    if (c == ':' || c == '-') {
      if (nibbles != 0) return false;
      continue;
    }
    int d = c >= '0' && c <= '9' ? c - '0'
            : c >= 'a' && c <= 'f' ? c - 'a' + 10
            : c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
    if (d < 0) return false;
    cur = cur * 16 + static_cast<unsigned>(d);
    if (++nibbles == 2) {
      out->push_back(static_cast<uint8_t>(cur));
      nibbles = 0;
      cur = 0;
    }
  }
  return nibbles == 0;
}

namespace {

bool convert(tarn::message* m, uint32_t number, Kind kind,
                    const JsonValue& v) {
  uint64_t n = 0;
  switch (kind) {
    case Kind::kBool:
      if (v.type != JsonValue::kBool) return false;
      m->insert(tarn::bool_id(number), v.boolean);
      return true;
    case Kind::kU32: case Kind::kI32: case Kind::kBe32:
      if (!scalar(v, kind, &n)) return false;
      m->insert(tarn::u32_id(number), static_cast<uint32_t>(n));
      return true;
    case Kind::kU64:
      if (!scalar(v, kind, &n)) return false;
      m->insert(tarn::u64_id(number), n);
      return true;
    case Kind::kStr:
      if (v.type != JsonValue::kString) return false;
      m->insert(tarn::string_id(number), v.text);
      return true;
    case Kind::kRaw: {
      tarn::bytes b;
      if (v.type != JsonValue::kString || !parseHex(v.text, &b)) return false;
      m->insert(tarn::raw_id(number), b);
      return true;
    }
    case Kind::kText: {  // the text and its terminating zero
      if (v.type != JsonValue::kString) return false;
      tarn::bytes b(v.text.begin(), v.text.end());
      b.push_back(0);
      m->insert(tarn::raw_id(number), b);
      return true;
    }
    case Kind::kU32s: case Kind::kBe32s: case Kind::kU64s: case Kind::kStrs:
      break;
  }
  if (v.type != JsonValue::kArray) return false;
  std::vector<uint32_t> u32s;
  std::vector<uint64_t> u64s;
  std::vector<std::string> strs;
  Kind element = kind == Kind::kBe32s ? Kind::kBe32
                 : kind == Kind::kU64s ? Kind::kU64 : Kind::kU32;
  for (const JsonValue& e : v.items) {
    if (kind == Kind::kStrs) {
      if (e.type != JsonValue::kString) return false;
      strs.push_back(e.text);
    } else if (!scalar(e, element, &n)) {
      return false;
    } else if (kind == Kind::kU64s) {
      u64s.push_back(n);
    } else {
      u32s.push_back(static_cast<uint32_t>(n));
    }
  }
  if (kind == Kind::kStrs) {
    m->insert(tarn::string_array_id(number), strs);
  } else if (kind == Kind::kU64s) {
    m->insert(tarn::u64_array_id(number), u64s);
  } else {
    m->insert(tarn::u32_array_id(number), u32s);
  }
  return true;
}

}  // namespace

bool setField(tarn::message* m, const std::vector<FieldSpec>& specs,
              const std::string& name, const JsonValue& v, std::string* error) {
  for (const FieldSpec& f : specs) {
    if (name == f.name) {
      if (convert(m, f.number, f.kind, v)) return true;
      *error = "bad value for \"" + name + "\"";
      return false;
    }
  }
  size_t colon = name.find(':');
  if (colon != std::string::npos) {
    std::string kindName = name.substr(0, colon);
    char* end = nullptr;
    unsigned long number = strtoul(name.c_str() + colon + 1, &end, 0);
    for (const KindName& k : kKindNames) {
      if (kindName != k.name || *end != 0 || end == name.c_str() + colon + 1 ||
          number > tarn::kNumberMask) {
        continue;
      }
      if (convert(m, static_cast<uint32_t>(number), k.kind, v)) return true;
      *error = "bad value for \"" + name + "\"";
      return false;
    }
  }
  *error = "unknown field \"" + name + "\"";
  return false;
}

}  // namespace router
