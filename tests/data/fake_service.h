// Test double for the services behind the bus: a looper of the test process
// (under a temporary TARN_ROOT) that serves chosen service paths locally,
// where each request is recorded and answered by a function of the test.
#ifndef TESTS_DATA_FAKE_SERVICE_H
#define TESTS_DATA_FAKE_SERVICE_H

#include <functional>
#include <map>
#include <memory>
#include <set>

#include "platform/codes.h"
#include "platform/errors.h"
#include "platform/looper.h"
#include "tests/platform/test_root.h"

// One handler; answers with answer(request), an empty message if unset.
class FakeService : public tarn::Handler {
 public:
  tarn::message handle(const tarn::message& msg) override {
    requests.push_back(msg);
    return answer ? answer(msg) : tarn::message();
  }
  // A page of a list reply: objects, and the next start if not 0.
  static tarn::message page(const std::vector<tarn::message>& objects, unsigned next = 0) {
    tarn::message reply;
    auto& list = reply[tarn::message_array_id(tarn::kFieldObjList)];
    for (const tarn::message& o : objects) list.push_back(o);
    if (next) reply.insert(tarn::u32_id(tarn::kFieldStart), next);
    return reply;
  }
  unsigned cmd(size_t i) const { return u32(i, tarn::kFieldCmd, 0); }
  unsigned u32(size_t i, unsigned id, unsigned def = 0xdead) const {
    return requests.at(i).get(tarn::u32_id(id), def);
  }

  std::function<tarn::message(const tarn::message&)> answer;
  std::vector<tarn::message> requests;
};

// The looper with the fake services; at most one per test.
class FakeBus {
 public:
  FakeBus() : looper(161) {}
  ~FakeBus() { for (auto& s : services) looper.removeHandler(s.first >> 16, s.first & 0xffff); }
  // The service at {service, handler}, created on first use.
  FakeService& at(unsigned service, unsigned handler = 0) {
    std::unique_ptr<FakeService>& s = services[service << 16 | handler];
    if (!s) {
      s.reset(new FakeService);
      if (served.insert(service).second) looper.serve(service);
      looper.addHandler(service, handler, s.get());
    }
    return *s;
  }

 private:
  tarn_test::TempRoot root;
  tarn::Looper looper;
  std::map<unsigned, std::unique_ptr<FakeService>> services;
  std::set<unsigned> served;
};

inline tarn::message u32Message(std::initializer_list<std::pair<unsigned, unsigned>> fields) {
  tarn::message m;
  for (auto& f : fields) m.insert(tarn::u32_id(f.first), f.second);
  return m;
}

#endif
