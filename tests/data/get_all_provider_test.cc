// GetAllProvider against fake list services on a local looper: paging,
// feeding tables, counts and writes.
#include "data/get_all_provider.h"

#include <gtest/gtest.h>

#include "codec/diag.h"
#include "data/data.h"
#include "tests/data/fake_service.h"

namespace {

using tarn::message;
using tarn::u32_id;

struct Item : Data {
  explicit Item(unsigned id) : id(id) {}
  unsigned id;
  void reverseBuild(message& msg) override { msg.insert(u32_id(tarn::kFieldObjId), id); }
};

// Two records per object: a builder may append several.
void buildTwice(const message& m, std::vector<Data*>* out) {
  for (int i = 0; i < 2; ++i) out->push_back(new Item(m.get(u32_id(tarn::kFieldObjId), 0)));
}

struct Recorder : TableProviderClient {
  void clear() override { log += "clear "; }
  void change(Data* d) override { log += std::to_string(static_cast<Item*>(d)->id) + " "; }
  void remove(Data*) override {}
  std::string log;
};

message object(unsigned id) { return u32Message({{tarn::kFieldObjId, id}}); }

TEST(GetAllProvider, PagesUntilTheLastOrAnErrorAndFeedsClientsPerSource) {
  FakeBus bus;
  FakeService &a = bus.at(20, 9), &b = bus.at(20, 12);
  a.answer = [](const message& req) {
    return req.has(u32_id(tarn::kFieldStart)) ? tarn::errorMsg(1, "gone") : FakeService::page({object(1), object(2)}, 7);
  };
  b.answer = [](const message&) { return FakeService::page({object(3)}); };
  GetAllProvider p;
  p.addSource(buildTwice, {20, 9});
  p.addSource(buildTwice, {20, 12}, 7);
  Recorder t;
  p.subscribe(&t);
  p.updateTables();
  // The records gathered so far go to the clients after each source.
  EXPECT_EQ(t.log, "1 1 2 2 1 1 2 2 3 3 ");
  // Pages of 5 unless the source says otherwise, the next from where the
  // previous one ended.
  EXPECT_EQ(a.u32(1, tarn::kFieldStart), 7u);
  EXPECT_EQ(a.u32(1, tarn::kFieldMaxCount), 5u);
  EXPECT_EQ(b.u32(0, tarn::kFieldMaxCount), 7u);

  p.updateTables();  // cached: no request
  EXPECT_EQ(a.requests.size(), 2u);
  p.invalidateData();
  EXPECT_EQ(t.log, "1 1 2 2 1 1 2 2 3 3 clear ");
}

TEST(GetAllProvider, CountsAndWritesGoToEverySource) {
  struct Case { bool firstFails, secondFails, setOk, countOk; unsigned n; std::string err; } cases[] = {
      {false, false, true, true, 7, ""},
      {true, false, true, false, 0, "refused 1\n"},
      {false, true, true, false, 3, "refused 2\n"},
      {true, true, false, false, 0, "refused 1\nrefused 2\n"},
  };
  for (const Case& c : cases) {
    FakeBus bus;
    GetAllProvider p;
    // A failing source refuses writes and answers counts without a count.
    for (unsigned i : {1u, 2u}) {
      const bool fails = i == 1 ? c.firstFails : c.secondFails;
      bus.at(i).answer = [=](const message& req) {
        if (req.get(u32_id(tarn::kFieldCmd), 0) == tarn::kCmdGetCount)
          return fails ? message() : u32Message({{tarn::kFieldCount, i + 2}});
        return fails ? tarn::errorMsg(5, "refused " + std::to_string(i)) : message();
      };
      p.addSource(buildTwice, {i});
    }
    unsigned n = 99;
    EXPECT_EQ(p.getCountCMD(n), c.countOk);
    EXPECT_EQ(n, c.n);
    Item r(42);  // written to every source
    diag::Capture capture;
    EXPECT_EQ(p.setData(&r), c.setOk);
    EXPECT_EQ(capture.err(), c.err);
    EXPECT_EQ(bus.at(2).u32(bus.at(2).requests.size() - 1, tarn::kFieldObjId), 42u);
  }
}

}  // namespace
