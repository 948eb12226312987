// The agent's one diagnostic sink.
//
// Every diagnostic of the agent is a single text line without time stamp or
// level: the codec's on standard output, failures and the senders of bus
// requests on standard error. All of them pass through these two calls, so a
// test can capture the exact lines (Capture) instead of the process streams.
#ifndef CODEC_DIAG_H
#define CODEC_DIAG_H

#include <string>

namespace diag {

// Writes `line` and a line end to standard output (flushed at once).
void out(const std::string& line);
// Writes `line` and a line end to standard error.
void err(const std::string& line);

// While a Capture exists, lines are collected in it instead of being
// written. Captures nest; the innermost one collects. Tests only.
class Capture {
 public:
  Capture();
  ~Capture();
  Capture(const Capture&) = delete;
  Capture& operator=(const Capture&) = delete;

  // Lines written so far, each ended by '\n'.
  const std::string& out() const { return out_; }
  const std::string& err() const { return err_; }
  void clear() { out_.clear(); err_.clear(); }

 private:
  friend void diag::out(const std::string&);
  friend void diag::err(const std::string&);
  std::string out_, err_;
  Capture* outer_;
};

}  // namespace diag

#endif
