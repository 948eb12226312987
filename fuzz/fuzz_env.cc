// Temporary root and silenced diagnostics for the fuzz targets.
#include "fuzz/fuzz_env.h"

#include <ftw.h>
#include <stdio.h>
#include <stdlib.h>

#include "codec/diag.h"
#include "platform/diag.h"

namespace fuzz {

namespace {

std::string gRoot;
diag::Capture* gCapture = nullptr;

void dropLine(const std::string&) {}

void removeRoot() {
  nftw(gRoot.c_str(),
       [](const char* p, const struct stat*, int, struct FTW*) {
         return ::remove(p);
       },
       16, FTW_DEPTH | FTW_PHYS);
}

}  // namespace

void setUp() {
  if (gCapture) return;
  char tmpl[] = "/tmp/tarn-fuzz-XXXXXX";
  const char* dir = mkdtemp(tmpl);
  if (!dir) abort();
  gRoot = dir;
  atexit(removeRoot);
  setenv("TARN_ROOT", gRoot.c_str(), 1);
  unsetenv("TARN_SERVICE_ID");
  gCapture = new diag::Capture;  // lives as long as the process
  tarn::setDiagSink(dropLine);
}

const std::string& root() { return gRoot; }

void forgetDiagnostics() {
  if (gCapture) gCapture->clear();
}

}  // namespace fuzz
