// Fuzz target: every InStream getter on arbitrary bytes.
//
// The first input byte gives how many of the following bytes (0-15) are a
// script of getter calls; the rest is the datagram. The script is played
// over and over until the cursor stops moving, so the getters meet each
// other's leftovers: half-read lengths, unbalanced sequences, cursors left
// past a failed element.
#include <stdint.h>

#include <string>
#include <vector>

#include "codec/in_stream.h"
#include "codec/oid.h"
#include "fuzz/fuzz_env.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  fuzz::setUp();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input{data, size};
  size_t steps = input.byte() & 0x0F;
  if (steps > input.n) steps = input.n;
  const std::vector<uint8_t> script(input.p, input.p + steps);
  input.p += steps;
  input.n -= steps;

  InStream in(input.p, static_cast<unsigned>(input.n));
  int i;
  unsigned long long u;
  std::string s;
  OID oid;
  std::vector<unsigned char> bits;
  // Each round either moves the cursor or ends the loop, and no getter can
  // move it backwards except reset, which is played once at most.
  bool wasReset = false;
  for (int round = 0; round < 4096; ++round) {
    const unsigned before = in.position();
    for (uint8_t op : script) {
      switch (op % 14) {
        case 0: in.getType(); break;
        case 1: in.getLen(); break;
        case 2: in.getInt(&i); break;
        case 3: in.get64(&u); break;
        case 4: in.getString(&s); break;
        case 5:
          if (in.getOID(&oid)) s = oid.str();
          break;
        case 6: in.getNull(); break;
        case 7: in.getBits(&bits); break;
        case 8: in.enterSeq(); break;
        case 9: in.exitSeq(); break;
        case 10: in.isSeqEnd(); break;
        case 11: in.getVersion(); break;
        case 12:
          if (!wasReset) {
            in.reset();
            wasReset = true;
          }
          break;
        default:
          // Walk a whole element list the way request processing does.
          while (!in.isSeqEnd() && in.enterSeq() >= 0) {
            if (!in.getOID(&oid)) break;
            in.exitSeq();
          }
          break;
      }
    }
    if (in.position() == before) break;
  }
  fuzz::forgetDiagnostics();
  return 0;
}
