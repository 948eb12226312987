// Error replies: a message carrying u32 0xff0005 (code) and string 0xff0006
// (text). Any message with the code field is an error reply.
#ifndef PLATFORM_ERRORS_H
#define PLATFORM_ERRORS_H

#include <string>

#include "platform/message.h"

namespace tarn {

message errorMsg(unsigned code, const std::string& text);
// True if m is an error reply; fills *code and *text when not null.
bool isError(const message& m, unsigned* code = nullptr,
             std::string* text = nullptr);
// The error text, empty when m is not an error reply.
std::string getError(const message& m);

}  // namespace tarn

#endif  // PLATFORM_ERRORS_H
