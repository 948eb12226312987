// tarn-routerd serving a model device over the bus, where the agent's own
// reads do not reach: paging with continuation, odd objects, guarded
// commands, link injection with notifications, broken model files.
#include <gtest/gtest.h>

#include <fstream>

#include "tests/platform/test_root.h"
#include "tests/router/routerd.h"

using namespace tarn;
using router_test::Client;
using router_test::Routerd;

namespace {

const char kModel[] = R"({
  "identity": {"name": "r1"},
  "clock": {"time": 1700000000, "utc-offset": -3600},
  "health": {"temperature": -5, "voltage": 12},
  "interfaces": [
    {"id": 2, "name": "ether1", "kind": 1, "running": true},
    {"id": 5, "name": "lo", "kind": 3, "flags": 128, "running": true},
    {"id": 9, "name": "ether2", "kind": 1, "running": false, "disabled": true}
  ],
  "routes": [
    {"id": 3, "dst": "10.0.0.1", "mask": "255.0.0.0", "gateways": ["10.1.2.3", "10.1.2.4"],
     "interfaces": [2, 9], "active": [1, 0], "kind": 3},
    {"id": 4}, {}, {}, {"id": 10}, {}, {"id": 20, "u32:0x4444": 7}
  ],
  "vendor-12": [{"name": "q", "label": "abc"}],
  "scripts": [{"id": 1, "name": "backup"}, {"id": 2, "name": "failover"}]
})";

class ModelTest : public ::testing::Test {
 protected:
  void start() {
    const std::string file = root_.dir() + "/model.json";
    std::ofstream(file) << kModel;
    routerd_.reset(new Routerd(root_.dir(), {"--model", file}));
    client_.reset(new Client());
    ASSERT_TRUE(routerd_->ready(*client_)) << routerd_->log();
  }
  void TearDown() override {
    if (routerd_) {
      EXPECT_EQ(0, routerd_->stop()) << routerd_->log();
    }
  }
  std::vector<uint32_t> ids(const std::vector<message>& items) {
    std::vector<uint32_t> out;
    for (const message& m : items) out.push_back(m.get(u32_id(kFieldObjId), 0));
    return out;
  }

  tarn_test::TempRoot root_;
  std::unique_ptr<Routerd> routerd_;
  std::unique_ptr<Client> client_;
};

TEST_F(ModelTest, PagesFollowIdsAcrossContinuations) {
  start();
  const std::vector<uint32_t> all{3, 4, 5, 6, 10, 11, 20};
  for (unsigned page : {0u, 1u, 2u, 3u, 7u, 1000u}) {
    EXPECT_EQ(all, ids(client_->walk(44, 1, page))) << "page " << page;
  }
  struct Start { uint32_t start, count; std::vector<uint32_t> ids; uint32_t next; };
  for (const Start& c : std::vector<Start>{
           {0, 2, {3, 4}, 5}, {5, 3, {5, 6, 10}, 11}, {7, 2, {10, 11}, 20},
           {20, 5, {20}, 0}, {21, 5, {}, 0}}) {
    message req;
    req.insert(u32_id(kFieldStart), c.start);
    req.insert(u32_id(kFieldMaxCount), c.count);
    message r = client_->ask(44, 1, kCmdGetAll, req);
    std::vector<message> page;
    for (const auto& f : r.get(message_array_id(kFieldObjList))) page.emplace_back(f);
    EXPECT_EQ(c.ids, ids(page)) << "start " << c.start;
    EXPECT_EQ(c.next, r.get(u32_id(kFieldStart), 0)) << "start " << c.start;
  }
}

// What the example device does not show: a field given by its type and
// number, text kept with its terminating NUL, an absent object, an absent
// optional value, a negative clock offset.
TEST_F(ModelTest, ObjectsAsWritten) {
  start();
  auto get = [&](unsigned s, unsigned h, unsigned id) {
    message req;
    req.insert(u32_id(kFieldObjId), id);
    return client_->ask(s, h, kCmdGetObj, req);
  };
  EXPECT_EQ(7u, get(44, 1, 20).get(u32_id(0x4444), 0));
  EXPECT_EQ((bytes{'a', 'b', 'c', 0}), get(20, 12, 1).get(raw_id(12), bytes()));
  EXPECT_EQ(1u, get(20, 0, 8).get(u32_id(kFieldMissing), 0));
  EXPECT_FALSE(client_->ask(12, 1, kCmdGet).has(u32_id(17)));
  EXPECT_EQ(static_cast<uint32_t>(-3600), client_->ask(24, 0, kCmdGet).get(u32_id(27), 0));
  message rename;
  rename.insert(u32_id(kFieldObjId), 7);
  rename.insert(string_id(102), std::string("restore"));
  unsigned code = 0;
  EXPECT_TRUE(isError(client_->ask(48, 101, kCmdSetObj, rename), &code));
  EXPECT_EQ(static_cast<unsigned>(kErrNoObject), code);
}

TEST_F(ModelTest, ScriptRunsAndRebootsNeedTheirOptions) {
  start();
  message run;
  run.insert(u32_id(kFieldObjId), 1);
  unsigned code = 0, rebootCode = 0;
  EXPECT_TRUE(isError(client_->ask(48, 101, 1, run), &code));
  EXPECT_TRUE(isError(client_->ask(24, 0, 5), &rebootCode));
  EXPECT_EQ(static_cast<unsigned>(kErrDenied), code);
  EXPECT_EQ(static_cast<unsigned>(kErrDenied), rebootCode);
  EXPECT_EQ(0, routerd_->stop());
  EXPECT_EQ("run of script 1 requested by 750/0: refused (start with --allow-scripts to allow it)\n"
            "reboot requested by 750/0: refused (start with --allow-reboot to allow it)\n",
            routerd_->log());
  routerd_.reset();
}

TEST_F(ModelTest, InjectedLinkChangesReachFilteredSubscribers) {
  start();
  message filter;  // what the agent asks for: no internal interfaces
  filter.insert(u32_id(0x10002), 0);
  filter.insert(u32_id(0x10003), 128);
  client_->subscribe(u32_vector(20, 0), 0x10004, filter);
  struct Case { uint32_t id; bool running; bool notified; uint32_t state; };
  for (const Case& c : std::vector<Case>{{5, false, false, 0x100},
                                         {2, false, true, 0x100},
                                         {2, false, false, 0x100},
                                         {9, true, true, 0x400}}) {
    client_->events.clear();
    message set;
    set.insert(u32_id(kFieldObjId), c.id);
    set.insert(bool_id(0x1000e), c.running);
    EXPECT_FALSE(isError(client_->ask(20, 0, 0x10005, set)));
    EXPECT_EQ(c.notified,
              client_->waitFor([&] { return !client_->events.empty(); }, 300))
        << "interface " << c.id;
    if (c.notified) {
      EXPECT_EQ(c.id, client_->events[0].get(u32_id(kFieldObjId), 0));
      EXPECT_EQ(c.state, client_->events[0].get(u32_id(0x10003), 0));
    }
  }
  std::vector<message> links = client_->walk(20, 0, 0, 1);
  ASSERT_EQ(3u, links.size());
  EXPECT_EQ(3u, links[0].fields().size());  // id, flags, state only
  EXPECT_EQ(0x100u, links[0].get(u32_id(0x10003), 0));
}

TEST(ModelFile, BrokenModelsAreRefusedWithTheirLine) {
  struct Case { const char* text; const char* error; };
  for (const Case& c : std::vector<Case>{
           {"{\"routes\": [{\"id\": 1}, {\"id\": 1}]}", "line 1: id 1 twice in \"routes\""},
           {"{\"nat\": []}", "line 1: unknown section \"nat\""},
           {"{\"routes\": [{\"dst\": \"10.0.0.256\"}]}", "line 1: bad value for \"dst\""},
           {"{\"routes\": [{\"metric\": 1.5}]}", "line 1: only whole numbers are allowed"},
           {"{\"scripts\": [\n{\"id\": 1},\n]}", "line 3: trailing ','"},
           {"{\"clock\": {\"zone\": 1}}", "line 1: unknown field \"zone\""},
           {"{\"health\": {\"temperature\": -2147483649}}", "line 1: bad value for \"temperature\""},
           {"{} x", "line 1: text after the model"},
       }) {
    tarn_test::TempRoot root;
    std::string file = root.dir() + "/m.json";
    std::ofstream(file) << c.text;
    Routerd d(root.dir(), {"--model", file});
    int status = 0;
    waitpid(d.pid(), &status, 0);
    EXPECT_EQ(1, WEXITSTATUS(status)) << c.text;
    EXPECT_EQ("tarn-routerd: " + file + ": " + c.error + "\n", d.log()) << c.text;
  }
}

}  // namespace
