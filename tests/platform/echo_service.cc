// A stand-in service for tarnctl's test: `tarn_echo_service SID` serves SID
// until killed; get-one echoes the request's fields, get-all lists three
// objects in pages of 2, command 0x77 answers error 0xfe0004.
#include <stdlib.h>

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
  message cmdGetAll(const message&, unsigned start, unsigned) override {
    message reply;
    unsigned id = start == 0xFFFFFFFFu ? 0 : start, end = id + 2;
    for (; id < 3 && id < end; ++id) {
      message obj;
      obj.insert(u32_id(kFieldObjId), id);
      obj.insert(string_id(kFieldName), "obj" + std::to_string(id));
      reply[message_array_id(kFieldObjList)].push_back(obj);
    }
    if (id < 3) reply.insert(u32_id(kFieldStart), id);
    return reply;
  }
  message cmdUnknown(const message&, unsigned cmd) override {
    return cmd == 0x77 ? errorMsg(kErrNoObject, "no such object") : message();
  }
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  Echo e(static_cast<unsigned>(atoi(argv[1])));
  e.run();
  return 0;
}
