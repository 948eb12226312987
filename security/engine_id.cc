// Engine ID text <-> internal form, and the hex dump.
#include "security/engine_id.h"

#include "codec/diag.h"

namespace {
// 0x80000000 | 40117 (the vendor's enterprise number), then format 4: text.
const char kPrefix[ENGINE_ID_PREFIX_LEN] = {'\x80', '\x00', '\x9C', '\xB5',
                                            '\x04'};
}  // namespace

std::string formatEngineID(const std::string& text) {
  return std::string(kPrefix, ENGINE_ID_PREFIX_LEN) + text;
}

std::string deformatEngineID(const std::string& id) {
  if (id.size() <= ENGINE_ID_PREFIX_LEN) return std::string();
  return id.substr(ENGINE_ID_PREFIX_LEN);
}

void hexdump(const void* bytes, unsigned len) {
  static const char kHex[] = "0123456789abcdef";
  const unsigned char* p = static_cast<const unsigned char*>(bytes);
  std::string line;
  for (unsigned i = 0; i < len; ++i) {
    if (!line.empty()) line += ' ';
    line += kHex[p[i] >> 4];
    line += kHex[p[i] & 0x0F];
    if (i % 16 == 15 || i + 1 == len) {
      diag::out(line);
      line.clear();
    }
  }
}
