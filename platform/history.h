// The system's change history: one text line per change in
// <root>/tarn/log/history ("<UTC time> <service> <description>"), and beside
// it, in history.undo, the flattened undo message of each line as a frame
// (u32 length, flat message), in the same order, so a tool can replay the
// Nth undo for the Nth line. Appends only; failures are reported by one
// diagnostic line and otherwise ignored (history never stops a change).
#ifndef PLATFORM_HISTORY_H
#define PLATFORM_HISTORY_H

#include <string>

#include "platform/message.h"

namespace tarn {

void appendHistory(unsigned service, const std::string& description,
                   const message& undo);

}  // namespace tarn

#endif  // PLATFORM_HISTORY_H
