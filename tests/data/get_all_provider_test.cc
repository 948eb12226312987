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
  unsigned id = 0;
  void reverseBuild(message& msg) override {
    msg.insert(u32_id(tarn::kFieldObjId), id);
  }
};

// Two records per object, to see that a builder may append several.
void buildTwice(const message& m, std::vector<Data*>* out) {
  for (int i = 0; i < 2; ++i) {
    Item* r = new Item;
    r->id = m.get(u32_id(tarn::kFieldObjId), 0);
    out->push_back(r);
  }
}

class Recorder : public TableProviderClient {
 public:
  void clear() override { log += "clear "; }
  void change(Data* d) override {
    log += std::to_string(static_cast<Item*>(d)->id) + " ";
  }
  void remove(Data*) override { log += "remove "; }
  std::string log;
};

message object(unsigned id) { return u32Message({{tarn::kFieldObjId, id}}); }

TEST(GetAllProvider, PagesWithContinuationFeedEveryClientPerSource) {
  FakeBus bus;
  FakeService& a = bus.at(20, 9);
  FakeService& b = bus.at(20, 12);
  a.answer = [](const message& req) {
    if (!req.has(u32_id(tarn::kFieldStart)))
      return FakeService::page({object(1)}, 7);
    return FakeService::page({object(2)});
  };
  b.answer = [](const message&) { return FakeService::page({object(3)}); };
  GetAllProvider p;
  p.addSource(buildTwice, {20, 9});
  p.addSource(buildTwice, {20, 12}, 7);
  Recorder t1, t2;
  p.subscribe(&t1);
  p.subscribe(&t2);
  p.updateTables();
  EXPECT_EQ(t1.log, "1 1 2 2 1 1 2 2 3 3 ");
  EXPECT_EQ(t2.log, t1.log);
  ASSERT_EQ(a.requests.size(), 2u);
  EXPECT_EQ(a.cmd(0), 0xfe0004u);
  EXPECT_EQ(a.u32(0, tarn::kFieldMaxCount), 5u);
  EXPECT_EQ(a.u32(0, tarn::kFieldStart), 0xdeadu);
  EXPECT_EQ(a.u32(1, tarn::kFieldStart), 7u);
  EXPECT_EQ(a.u32(1, tarn::kFieldMaxCount), 5u);
  ASSERT_EQ(b.requests.size(), 1u);
  EXPECT_EQ(b.u32(0, tarn::kFieldMaxCount), 7u);
  EXPECT_EQ(p.records.size(), 6u);

  p.updateTables();  // cached: no request
  EXPECT_EQ(a.requests.size(), 2u);
  p.invalidateData();
  EXPECT_EQ(t1.log, "1 1 2 2 1 1 2 2 3 3 clear ");
  EXPECT_TRUE(p.records.empty());
}

TEST(GetAllProvider, AnErrorEndsOnlyThatSourcesWalk) {
  FakeBus bus;
  bus.at(20, 9).answer = [](const message& req) {
    if (!req.has(u32_id(tarn::kFieldStart)))
      return FakeService::page({object(1)}, 2);
    return tarn::errorMsg(1, "gone");
  };
  bus.at(20, 12).answer = [](const message&) {
    return FakeService::page({object(3)});
  };
  GetAllProvider p;
  p.addSource(buildTwice, {20, 9});
  p.addSource(buildTwice, {20, 12});
  Recorder t;
  p.subscribe(&t);
  p.updateTables();
  EXPECT_EQ(t.log, "1 1 1 1 3 3 ");
}

TEST(GetAllProvider, CountSumsTheSources) {
  struct Case {
    unsigned first, second;
    bool secondHasCount, ok;
    unsigned n;
  } cases[] = {
      {3, 4, true, true, 7},
      {3, 4, false, false, 3},
  };
  for (const Case& c : cases) {
    FakeBus bus;
    bus.at(1).answer = [&](const message&) {
      return u32Message({{tarn::kFieldCount, c.first}});
    };
    bus.at(2).answer = [&](const message&) {
      return c.secondHasCount ? u32Message({{tarn::kFieldCount, c.second}})
                              : message();
    };
    GetAllProvider p;
    p.addSource(buildTwice, {1});
    p.addSource(buildTwice, {2});
    unsigned n = 99;
    EXPECT_EQ(p.getCountCMD(n), c.ok);
    EXPECT_EQ(n, c.n);
    EXPECT_EQ(bus.at(1).cmd(0), 0xfe0015u);
  }
}

TEST(GetAllProvider, SetGoesToEverySourceAndNeedsOneAcceptance) {
  struct Case {
    bool firstFails, secondFails, ok;
    std::string err;
  } cases[] = {
      {false, false, true, ""},
      {true, false, true, "refused 1\n"},
      {true, true, false, "refused 1\nrefused 2\n"},
  };
  for (const Case& c : cases) {
    FakeBus bus;
    bus.at(1).answer = [&](const message&) {
      return c.firstFails ? tarn::errorMsg(5, "refused 1") : message();
    };
    bus.at(2).answer = [&](const message&) {
      return c.secondFails ? tarn::errorMsg(5, "refused 2") : message();
    };
    GetAllProvider p;
    p.addSource(buildTwice, {1});
    p.addSource(buildTwice, {2});
    Item r;
    r.id = 42;
    diag::Capture capture;
    EXPECT_EQ(p.setData(&r), c.ok);
    EXPECT_EQ(capture.err(), c.err);
    EXPECT_EQ(bus.at(2).cmd(0), 0xfe0003u);
    EXPECT_EQ(bus.at(2).u32(0, tarn::kFieldObjId), 42u);
  }
}

}  // namespace
