// A stand-in service for the bus client's tests and for timing exchanges.
//
//   tarn_echo_service serve SID        serve SID until killed: get-one
//       echoes the request's fields, get-all lists three objects in pages
//       of 2, command 0x77 answers error 0xfe0004
//   tarn_echo_service bench SID N      time N get-one exchanges with SID
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "platform/clock.h"
#include "platform/codes.h"
#include "platform/errors.h"
#include "platform/looper.h"

using namespace tarn;

namespace {

class Echo : public Looper {
 public:
  explicit Echo(unsigned sid) : Looper(sid) {}
  message cmdGetObj(const message& msg, unsigned) override {
    message reply;
    for (const message::field& f : msg.fields()) {
      if ((f.id & kNumberMask) < 0xff0000) reply.insertTagged(f.id, f.v);
    }
    return reply;
  }
  message cmdGetAll(const message& msg, unsigned start, unsigned count) override {
    (void)msg;
    message reply;
    const unsigned first = start == 0xFFFFFFFFu ? 0 : start;
    unsigned id = first;
    for (; id < 3 && id - first < count && id < first + 2; ++id) {
      message obj;
      obj.insert(u32_id(kFieldObjId), id);
      obj.insert(string_id(kFieldName), "obj" + std::to_string(id));
      reply[message_array_id(kFieldObjList)].push_back(flat_message(obj));
    }
    if (id < 3) reply.insert(u32_id(kFieldStart), id);
    return reply;
  }
  message cmdUnknown(const message&, unsigned cmd) override {
    if (cmd == 0x77) return errorMsg(kErrNoObject, "no such object");
    return message();
  }
};

}  // namespace

int main(int argc, char** argv) {
  if (argc >= 3 && strcmp(argv[1], "serve") == 0) {
    Echo e(static_cast<unsigned>(atoi(argv[2])));
    e.run();
    return 0;
  }
  if (argc >= 4 && strcmp(argv[1], "bench") == 0) {
    Looper l(0, kLooperClientOnly);
    unsigned sid = static_cast<unsigned>(atoi(argv[2]));
    int n = atoi(argv[3]);
    uint64_t start = nowMs();
    for (int i = 0; i < n; ++i) {
      message m;
      m.insert_vector(u32_array_id(kFieldDst), sid, 0);
      m.insert(u32_id(kFieldCmd), kCmdGetObj);
      m.insert(u32_id(kFieldObjId), static_cast<uint32_t>(i));
      m.insert(string_id(0x10006), "ether1");
      message r = l.exchangeMessage(m, 6000);
      if (isError(r) || r.get(u32_id(kFieldObjId), 0) != static_cast<uint32_t>(i)) {
        fprintf(stderr, "bench: bad reply at %d: %s\n", i, getError(r).c_str());
        return 1;
      }
    }
    uint64_t ms = nowMs() - start;
    printf("%d exchanges in %llu ms: %.1f us each\n", n,
           static_cast<unsigned long long>(ms), ms * 1000.0 / (n ? n : 1));
    return 0;
  }
  fprintf(stderr, "usage: tarn_echo_service serve SID | bench SID N\n");
  return 2;
}
