// The common ground of the fuzz targets: a private TARN_ROOT (stores and bus
// sockets land there, never in the real /tarn) and silenced diagnostics, so
// that millions of refused inputs neither print nor grow a buffer.
#ifndef FUZZ_FUZZ_ENV_H
#define FUZZ_FUZZ_ENV_H

#include <stddef.h>
#include <stdint.h>

#include <string>

namespace fuzz {

// Makes a fresh temporary root, points TARN_ROOT at it and silences the
// agent's and the platform's diagnostic lines. Call once, from
// LLVMFuzzerInitialize. The root is left for the process's life.
void setUp();

// The temporary root made by setUp().
const std::string& root();

// Drops the diagnostic lines collected since the last call.
void forgetDiagnostics();

// Reads bytes off the front of a fuzz input: a tiny cursor for harnesses
// that take some choices from the input before handing the rest on.
struct Input {
  const uint8_t* p;
  size_t n;
  uint8_t byte() {
    if (n == 0) return 0;
    --n;
    return *p++;
  }
};

}  // namespace fuzz

#endif
