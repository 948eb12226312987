// Helpers shared by the backends.
#include "router/device.h"

#include <arpa/inet.h>

#include "platform/codes.h"

namespace router {

void mergeFields(const tarn::message& request, tarn::message* obj) {
  for (const tarn::message::field& f : request.fields()) {
    uint32_t number = f.id & tarn::kNumberMask;
    if (number >= 0xff0000 || number == tarn::kFieldObjId) continue;
    obj->insertTagged(f.id, f.v);
  }
}

uint32_t be32FromHost(uint32_t hostOrder) { return htonl(hostOrder); }
uint32_t hostFromBe32(uint32_t be) { return ntohl(be); }

uint32_t be32FromBytes(const uint8_t* b) {
  return htonl((static_cast<uint32_t>(b[0]) << 24) |
               (static_cast<uint32_t>(b[1]) << 16) |
               (static_cast<uint32_t>(b[2]) << 8) | b[3]);
}

}  // namespace router
