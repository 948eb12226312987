// What an error reply means, in tarnctl's words, where the reply alone says
// too little for an operator: the agent answers an unknown community id
// with error 0xfe0004 and no text, an empty community name with "empty
// script name", and the platform an unreachable service with "no such
// service 161", without the socket it tried. The services' own texts are
// kept as they are; tarnctl adds to them.
#ifndef BUSCLIENT_EXPLAIN_H
#define BUSCLIENT_EXPLAIN_H

#include <cstdint>
#include <string>
#include <vector>

#include "platform/message.h"

namespace tarnctl {

// The text to print for an error reply with `code` and `text` to `request`
// (which holds its destination path and command): the text followed by
// tarnctl's note in parentheses, the note alone when the text is empty, or
// the text alone when tarnctl has nothing to add.
std::string explainError(const tarn::message& request, unsigned code,
                         const std::string& text);

}  // namespace tarnctl

#endif  // BUSCLIENT_EXPLAIN_H
