#include "codec/diag.h"

#include <cstdio>

namespace diag {
namespace {
Capture* current = nullptr;

void writeLine(FILE* f, const std::string& line) {
  std::fwrite(line.data(), 1, line.size(), f);
  std::fputc('\n', f);
  std::fflush(f);
}
}  // namespace

Capture::Capture() : outer_(current) { current = this; }
Capture::~Capture() { current = outer_; }

void out(const std::string& line) {
  if (current) {
    current->out_ += line;
    current->out_ += '\n';
  } else {
    writeLine(stdout, line);
  }
}

void err(const std::string& line) {
  if (current) {
    current->err_ += line;
    current->err_ += '\n';
  } else {
    writeLine(stderr, line);
  }
}

}  // namespace diag
