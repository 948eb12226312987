// A plug-in for the end-to-end test, built only against the agent's headers
// and bound to the daemon's symbols when it is opened. It registers:
//  - 1.3.6.1.4.1.40117.250.1.0 (string, writable) and .250.2.0 (integer),
//    read from and written to the test's fake service {77, 1} through a
//    provider of its own (get 0xfe000d, set 0xfe000e, fields 1 and 2);
//  - .250.3.0, a constant string, for measuring the request path alone;
//  - the event source "links", which switches the agent's own
//    "interfaces" source (its link trap maker and the subscription to the
//    interface service's link changes) on and off.
#include <string>
#include <vector>

#include "engine/plugin_api.h"

namespace {

const tarn::string_id kName(1);
const tarn::u32_id kLevel(2);

struct Settings : Data {
  std::string name;
  int level = 0;
  void reverseBuild(tarn::message& msg) override {
    msg.insert(kName, name);
    msg.insert(kLevel, static_cast<unsigned>(level));
  }
};

tarn::message request(unsigned cmd) {
  tarn::message m;
  m.insert_vector(tarn::u32_array_id(tarn::kFieldDst), 77, 1);
  m.insert(tarn::u32_id(0xff0007), cmd);
  return m;
}

class FakeServiceProvider : public SingleProvider {
 public:
  ~FakeServiceProvider() override { clearCache(); }
  Data* getData() override {
    tarn::message m = request(0xfe000d);
    const tarn::message reply = exchange(m);
    if (tarn::isError(reply, nullptr, nullptr)) return nullptr;
    Settings* s = new Settings;
    s->name = reply.get(kName, std::string());
    s->level = static_cast<int>(reply.get(kLevel, 0u));
    return s;
  }
  bool setData(Data* d) override {
    tarn::message m = request(0xfe000e);
    d->reverseBuild(m);
    return !tarn::isError(exchange(m), nullptr, nullptr);
  }
};

// The agent's own "interfaces" event source, switched by this one.
void switchInterfaces(bool on) {
  for (const Scribers& source : scribers) {
    if (source.name == "interfaces") (on ? source.subscribe : source.unsubscribe)();
  }
}

void followLinks() { switchInterfaces(true); }
void stopLinks() { switchInterfaces(false); }

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
