// The system and vendor scalar groups with host resources, and health with
// its lazy registrations, read through their leaves from fake services.
#include "mib/system.h"

#include <cstdlib>
#include <ctime>

#include "codec/diag.h"
#include "mib/health.h"
#include "mib/host_resources.h"
#include "tests/mib/mib_fixture.h"

namespace {

using tarn::message;

class SystemTest : public MibTest {
 protected:
  SystemTest() : resources(bus.at(24, 2)) {
    const char* tz = getenv("TZ");  // dates here are broken down in UTC
    savedTz = tz ? tz : "";
    setenv("TZ", "UTC", 1);
    tzset();
    resources.answer = [](const message&) {
      return u32Message({{1, 12345}, {2, 1000}, {3, 1200}, {10, 500}, {11, 100}, {6, 42}});
    };
    bus.at(24, 1).answer = [](const message&) {
      message m;
      m.insert(tarn::string_id(12), "gw");
      return m;
    };
    bus.at(65).answer = [](const message&) { return u32Message({{4, 3}, {9, 6}}); };
    bus.at(24, 0).answer = [](const message&) {
      return u32Message({{7, 0}, {27, static_cast<unsigned>(-3600)}});
    };
  }
  ~SystemTest() override {
    if (savedTz.empty()) unsetenv("TZ"); else setenv("TZ", savedTz.c_str(), 1);
    tzset();
  }
  std::string savedTz;
  FakeService& resources;
};

TEST_F(SystemTest, ScalarsAndHostResourcesFromTheirServices) {
  diag::Capture capture;
  SystemModule m;
  HostResourcesModule host(&m.resources);
  const OID storage("1.3.6.1.2.1.25.2.3.1");
  struct Case {
    OID leaf, instance;
    std::string value;
  } cases[] = {
      {OID("1.3.6.1.2.1.1.3"), {0}, "43 03 12 d6 44"},
      {OID("1.3.6.1.2.1.1.5"), {0}, "04 02 67 77"},
      {OID("1.3.6.1.4.1.40117.1.1.4.2"), {0}, "04 08 07 b2 01 01 00 01 07 00"},
      {OID("1.3.6.1.4.1.40117.1.1.4.5"), {0}, "02 01 07"},
      {OID("1.3.6.1.4.1.40117.1.1.7.1"), {0}, "02 01 00"},
      {OID("1.3.6.1.2.1.25.1.1"), {0}, "43 03 12 d6 44"},
      {OID("1.3.6.1.2.1.25.1.2"), {0}, "04 0b 07 b2 01 01 00 00 00 00 2d 01 00"},
      {storage + 3, {1}, "04 04 64 69 73 6b"},
      {storage + 6, {1}, "02 02 01 90"},
      {storage + 6, {2}, "02 02 ff 38"},  // free above total wraps
      {storage + 7, {2}, "41 01 00"},
      {OID("1.3.6.1.2.1.25.3.3.1.2"), {1}, "02 01 2a"},
  };
  for (const Case& c : cases) EXPECT_EQ(value(c.leaf, c.instance), c.value) << c.leaf;
  EXPECT_EQ(walk(storage + 1), ".1 .2");
  // sysUpTime and hrSystemUptime share one cached fetch; control has its own.
  EXPECT_EQ(resources.requests.size(), 2u);
  EXPECT_EQ(capture.err(), "TheSystem::build\n");
  EXPECT_FALSE(m.agent.set(nullptr));
}

TEST(ClockRecord, ZoneOffsetOctets) {
  struct Case {
    int offset;
    std::string zone;
  } cases[] = {
      {-3600, std::string("-\x01\x00", 3)}, {19800, "+\x05\x1e"},
      {-19800, "-\x05\x1e"}, {0, std::string("+\x00\x00", 3)},
  };
  for (const Case& c : cases) {
    message m = u32Message({{27, static_cast<unsigned>(c.offset)}});
    ClockRecord* r = static_cast<ClockRecord*>(ClockRecord::build(m));
    EXPECT_EQ(std::string(r->date.begin() + 8, r->date.end()), c.zone) << c.offset;
    delete r;
  }
}

TEST_F(SystemTest, WritesGoBackToTheirServices) {
  FakeService& scripts = bus.at(48, 101);
  FakeService& device = bus.at(24);
  diag::Capture capture;
  SystemModule m;
  struct Case {
    int run;
    unsigned cmd;
    std::string name, err;
  } cases[] = {
      {0, tarn::kCmdSetObj, "s1", "Script::reverseBuild\n"},
      {1, 1, "", "Script::reverseBuild\nRun, FOREST, run!\n"},
  };
  for (const Case& c : cases) {
    Script s;
    s.id = 4;
    s.run = c.run;
    s.name = "s1";
    capture.clear();
    EXPECT_TRUE(m.scripts.setData(&s));
    const message& sent = scripts.requests.back();
    EXPECT_EQ(sent.get(tarn::u32_id(tarn::kFieldCmd), 0), c.cmd);
    EXPECT_EQ(sent.get(tarn::u32_id(tarn::kFieldObjId), 0), 4u);
    EXPECT_EQ(sent.get(tarn::string_id(102), ""), c.name);
    EXPECT_EQ(capture.err(), c.err);
  }
  TheSystem keep, reboot;
  reboot.reboot = 1;
  capture.clear();
  EXPECT_TRUE(m.control.set(&keep));
  EXPECT_TRUE(device.requests.empty());
  EXPECT_TRUE(m.control.set(&reboot));
  ASSERT_EQ(device.requests.size(), 1u);
  EXPECT_EQ(device.cmd(0), 5u);
  EXPECT_EQ(capture.err(),
            "TheSystem::reverseBuild\nTheSystem::reverseBuild\nTheSystem::REBOOT\n");
}

class HealthTest : public MibTest {};

TEST_F(HealthTest, OptionalObjectsRegisterOnFirstSightAndStay) {
  const OID health("1.3.6.1.4.1.40117.1.1.3");
  message answer;
  bus.at(12, 1).answer = [&](const message&) { return answer; };
  HealthModule m;
  struct Case {
    message answer;
    std::string out, registered, source, temperature;
  } cases[] = {
      {u32Message({{12, 1}}), "", "9", "main", "none"},
      {u32Message({{13, 12}, {12, 0}}), "+ voltage\n", "8 9", "aux", "none"},
      {u32Message({{14, 35}, {17, 40}, {12, 2}}), "+ temperature\n+ cpu temperature\n",
       "8 9 10 11", "none", "02 02 01 5e"},
      {u32Message({{12, 3}, {14, static_cast<unsigned>(-5)}}), "", "8 9 10 11", "n/a",
       "02 01 ce"},
      {message(), "", "8 9 10 11", "n/a", "02 02 f5 56"},
  };
  for (const Case& c : cases) {
    answer = c.answer;
    m.provider.invalidateData();
    diag::Capture capture;
    EXPECT_EQ(value(health + 9, OID{0}), "04 " + hex({static_cast<unsigned char>(c.source.size())}) +
                                             " " + hex({c.source.begin(), c.source.end()}));
    EXPECT_EQ(capture.out(), c.out) << c.answer;
    std::string registered;
    for (auto& e : leafs)
      registered += (registered.empty() ? "" : " ") + std::to_string(e.first[e.first.size() - 1]);
    EXPECT_EQ(registered, c.registered) << c.answer;
    EXPECT_EQ(leafs.count(health + 10) ? value(health + 10, OID{0}) : "none", c.temperature);
  }
  EXPECT_EQ(value(health + 8, OID{0}), "02 01 00");  // absent voltage reads 0
}

}  // namespace
