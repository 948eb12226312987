// The stream forms of the message dump and of quoting (platform/message.h),
// for the bus client and tests. They write what toText and appendQuoted
// build, so that the text has one definition.
#include <ostream>

#include "platform/message.h"

namespace tarn {

std::ostream& operator<<(std::ostream& os, const message& m) {
  return os << toText(m);
}

void writeQuoted(std::ostream& os, const std::string& s, bool json) {
  std::string text;
  appendQuoted(&text, s, json);
  os << text;
}

}  // namespace tarn
