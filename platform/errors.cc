// Error replies.
#include "platform/errors.h"

#include "platform/codes.h"

namespace tarn {

message errorMsg(unsigned code, const std::string& text) {
  message m;
  m.insert(u32_id(kFieldErrCode), code);
  m.insert(string_id(kFieldErrText), text);
  return m;
}

bool isError(const message& m, unsigned* code, std::string* text) {
  if (!m.has(u32_id(kFieldErrCode))) return false;
  if (code) *code = m.get(u32_id(kFieldErrCode), 0);
  if (text) *text = m.get(string_id(kFieldErrText), "");
  return true;
}

std::string getError(const message& m) {
  return m.get(string_id(kFieldErrText), "");
}

}  // namespace tarn
