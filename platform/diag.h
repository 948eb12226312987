// The platform's one exit for diagnostics: single text lines on the standard
// error stream. Tests may divert them to capture the exact text.
#ifndef PLATFORM_DIAG_H
#define PLATFORM_DIAG_H

#include <string>

namespace tarn {

// Writes line and a newline to stderr (or to the sink, when one is set).
void diag(const std::string& line);

// Diverts diagnostics to sink (null restores stderr). Returns the previous.
typedef void (*DiagSink)(const std::string& line);
DiagSink setDiagSink(DiagSink sink);

}  // namespace tarn

#endif  // PLATFORM_DIAG_H
