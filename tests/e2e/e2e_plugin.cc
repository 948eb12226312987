// A plug-in for the end-to-end test, built only against the agent's headers
// and bound to the daemon's symbols when it is opened. It registers:
//  - 1.3.6.1.4.1.40117.250.1.0 (string, writable) and .250.2.0 (integer),
//    read from and written to the test's fake service {77, 1} through a
//    provider of its own (get 0xfe000d, set 0xfe000e, fields 1 and 2);
//  - .250.3.0, a constant string, for measuring the request path alone;
//  - the event source "links", which switches the daemon's link trap maker
//    on and follows link changes of the interface service {20, 0}.
#include <algorithm>
#include <string>
#include <vector>

#include "codec/wire.h"
#include "data/data.h"
#include "data/data_packers.h"
#include "data/scribers.h"
#include "data/single_provider.h"
#include "engine/registry.h"
#include "platform/errors.h"
#include "service/snmp_looper.h"
#include "service/trap_makers.h"

namespace {

const tarn::string_id NAME(1);
const tarn::u32_id LEVEL(2);
const unsigned LINK_CHANGE = 0x10004;

struct Settings : Data {
  std::string name;
  int level = 0;
  void reverseBuild(tarn::message& msg) override {
    msg.insert(NAME, name);
    msg.insert(LEVEL, static_cast<unsigned>(level));
  }
};

tarn::message request(unsigned cmd) {
  tarn::message m;
  m.insert_vector(tarn::u32_array_id(0xff0001), 77, 1);
  m.insert(tarn::u32_id(0xff0007), cmd);
  return m;
}

class FakeServiceProvider : public SingleProvider {
 public:
  ~FakeServiceProvider() override { clearCache(); }
  Data* getData() override {
    tarn::message m = request(0xfe000d);
    const tarn::message reply = loop->exchangeMessage(m, 6000);
    if (tarn::isError(reply, nullptr, nullptr)) return nullptr;
    Settings* s = new Settings;
    s->name = reply.get(NAME, std::string());
    s->level = static_cast<int>(reply.get(LEVEL, 0u));
    return s;
  }
  bool setData(Data* d) override {
    tarn::message m = request(0xfe000e);
    d->reverseBuild(m);
    return !tarn::isError(loop->exchangeMessage(m, 6000), nullptr, nullptr);
  }
};

tarn::message linkFilter() {
  tarn::message f;
  f.insert(tarn::u32_id(0x10002), 0u);
  f.insert(tarn::u32_id(0x10003), 128u);
  return f;
}

void followLinks() {
  trapMakers.push_back(linkTrapMaker);
  loop->subscribe(tarn::u32_vector(20, 0), LINK_CHANGE, linkFilter());
}

void stopLinks() {
  trapMakers.erase(std::remove(trapMakers.begin(), trapMakers.end(), linkTrapMaker),
                   trapMakers.end());
  loop->unsubscribe(tarn::u32_vector(20, 0), LINK_CHANGE, linkFilter());
}

}  // namespace

extern "C" void autorun() {
  const OID base{1, 3, 6, 1, 4, 1, 40117, 250};
  DataProvider* provider = new FakeServiceProvider;
  addScalarLeaf(base + 1, new DataStringPacker(field(&Settings::name), wire::OCTET_STRING, 0),
                provider);
  addScalarLeaf(base + 2, new DataNumPacker(field(&Settings::level), wire::INTEGER), provider);
  addScalarConstStringLeaf(base + 3, "constant", wire::OCTET_STRING);
  scribers.push_back(Scribers{"links", followLinks, stopLinks});
}
