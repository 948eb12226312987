// Fuzz target: the flat message decoder (message::parse), the one decoder
// behind every bus frame and every stored object.
//
// Beyond not crashing, a decoded message must survive a round trip: its
// flat form parses again to the same flat form, and the nested messages of
// its message arrays decode (the decoder promised they were valid).
#include <stdint.h>
#include <stdlib.h>

#include <sstream>

#include "fuzz/fuzz_env.h"
#include "platform/message.h"

namespace {

void checkNested(const tarn::message& m, int depth) {
  if (depth > 32) abort();  // the decoder limits nesting well below this
  for (const tarn::message::field& f : m.fields()) {
    const auto* flats = std::get_if<tarn::flat_list>(&f.v);
    if (!flats) continue;
    for (tarn::flat_view flat : *flats) {
      tarn::message inner;
      if (!tarn::message::parse(flat.data(), flat.size(), &inner)) abort();
      checkNested(inner, depth + 1);
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  fuzz::setUp();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  tarn::message m;
  if (!tarn::message::parse(data, size, &m)) {
    if (!m.fields().empty()) abort();  // a refused input leaves it empty
    return 0;
  }
  tarn::bytes once;
  m.flatten(once);
  tarn::message again;
  if (!tarn::message::parse(once.data(), once.size(), &again)) abort();
  tarn::bytes twice;
  again.flatten(twice);
  if (once != twice) abort();
  checkNested(m, 0);
  std::ostringstream dump;
  dump << m;
  return 0;
}
