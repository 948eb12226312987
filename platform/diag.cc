// Diagnostics: one line each, unbuffered, on stderr.
#include "platform/diag.h"

#include <unistd.h>

namespace tarn {

namespace {
DiagSink g_sink = nullptr;
}

void diag(const std::string& line) {
  if (g_sink) {
    g_sink(line);
    return;
  }
  std::string out = line + "\n";
  // One write per line keeps lines of several processes from interleaving.
  size_t done = 0;
  while (done < out.size()) {
    ssize_t n = write(2, out.data() + done, out.size() - done);
    if (n <= 0) return;
    done += static_cast<size_t>(n);
  }
}

DiagSink setDiagSink(DiagSink sink) {
  DiagSink old = g_sink;
  g_sink = sink;
  return old;
}

}  // namespace tarn
