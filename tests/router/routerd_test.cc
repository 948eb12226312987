// tarn-routerd asked over the bus where the agent's own reads do not reach:
// a model device (paging, odd objects, guarded commands, link injection,
// broken models) and --host in a network namespace the test builds; and the
// host backend's parsers of os-release and the board's names.
#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

#include "platform/clock.h"
#include "platform/codes.h"
#include "platform/errors.h"
#include "platform/looper.h"
#include "router/host_info.h"
#include "tests/platform/test_root.h"

using namespace tarn;

namespace {

// A tarn-routerd child (diagnostics in <root>/routerd.log; after a bash script
// in a new network namespace if given), stopped (SIGTERM) with the object;
// also the test's end of the bus (service 750), keeping notifications.
struct Routerd : Looper {
  Routerd(const std::string& root, const std::string& args, const std::string& netns = "")
      : Looper(750), log_(root + "/routerd.log") {
    char exe[4096] = {0};
    std::string bin(exe, std::max<ssize_t>(0, readlink("/proc/self/exe", exe, sizeof exe - 1)));
    std::string cmd = "exec " + bin.substr(0, bin.rfind('/')) + "/../router/tarn-routerd " + args;
    if (!netns.empty()) cmd = "exec unshare -n bash -ec '" + netns + "; " + cmd + "' >&2";
    if ((pid_ = fork()) == 0) {
      dup2(open(log_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), 2);
      execl("/bin/bash", "bash", "-c", cmd.c_str(), static_cast<char*>(nullptr));
      _exit(5);
    }
  }
  ~Routerd() { end(SIGTERM); }
  // Waits until the services answer; false if the child ended first.
  bool ready() {
    for (uint64_t until = nowMs() + 15000; nowMs() < until; usleep(20000)) {
      if (!isError(ask(10, 1, kCmdGetCount))) return true;
      if (waitpid(pid_, nullptr, WNOHANG) == pid_) return (pid_ = -1) > 0;
    }
    return false;
  }
  // Sends sig (unless 0), waits for the child; its exit status or 128+signal.
  int end(int sig) {
    int status = 0;
    if (pid_ <= 0 || (sig && kill(pid_, sig)) || waitpid(pid_, &status, 0) != pid_) return -1;
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }
  std::string log() const {
    std::ifstream in(log_);
    return std::string(std::istreambuf_iterator<char>(in), {});
  }
  message cmdUnknown(const message& msg, unsigned cmd) override {
    if (cmd == 0x10004) events.push_back(msg);
    return message();
  }
  message ask(unsigned service, unsigned handler, unsigned cmd, message m = message()) {
    m.insert_vector(u32_array_id(kFieldDst), service, handler);
    m.insert(u32_id(kFieldCmd), cmd);
    return exchangeMessage(m, 5000);
  }
  // One page from `start` (count 0: no page size); *next: where the next starts, or 0.
  std::vector<message> page(unsigned svc, unsigned handler, uint32_t start, uint32_t count,
                            uint32_t* next) {
    message req;
    if (start) req.insert(u32_id(kFieldStart), start);
    if (count) req.insert(u32_id(kFieldMaxCount), count);
    const message r = ask(svc, handler, kCmdGetAll, req);
    *next = r.get(u32_id(kFieldStart), 0);
    std::vector<message> out;
    for (const auto& f : r.get(message_array_id(kFieldObjList))) out.emplace_back(f);
    return out;
  }
  std::vector<message> walk(unsigned svc, unsigned handler, uint32_t count, uint32_t start = 0) {
    std::vector<message> all = page(svc, handler, start, count, &start), more;
    if (start) more = walk(svc, handler, count, start);
    all.insert(all.end(), more.begin(), more.end());
    return all;
  }

  std::string log_;
  pid_t pid_;
  std::vector<message> events;
};

// Expects one object of the answer (a list walked page by page, or a reply)
// to hold every field as printed ("u32:7=2"); "!u32:17=": the field is absent.
void expectHolds(Routerd& c, unsigned svc, unsigned handler, unsigned cmd, uint32_t id,
                 const std::string& fields) {
  auto objects = cmd == kCmdGetAll ? c.walk(svc, handler, 1) : std::vector<message>();
  message req;
  if (id) req.insert(u32_id(kFieldObjId), id);
  const unsigned name = cmd == kCmdSet ? 12 : 102;  // a name the set would give
  if (cmd == kCmdSet || cmd == kCmdSetObj) req.insert(string_id(name), std::string("x"));
  if (cmd != kCmdGetAll) objects.push_back(c.ask(svc, handler, cmd, req));
  std::string seen;
  bool found = false;
  for (const message& m : objects) {
    std::ostringstream os;
    os << ' ' << m << ' ';  // " u32:1=2 u32:3=4 ", a space either side of each field
    std::string t = os.str();
    t[1] = t[t.size() - 2] = ' ';
    std::istringstream want(fields);
    bool all = true;
    for (std::string f; want >> f;) {
      const bool no = f[0] == '!';
      all = all && no == (t.find(no ? " " + f.substr(1) : " " + f + " ") == std::string::npos);
    }
    found = found || all;
    seen += t + "\n";
  }
  EXPECT_TRUE(found) << fields << " in\n" << seen;
}

const char kModel[] = R"({
  "clock": {"time": 1700000000, "utc-offset": -3600},
  "interfaces": [
    {"id": 2, "name": "ether1", "kind": 1, "running": true},
    {"id": 5, "name": "lo", "kind": 3, "flags": 128, "running": true},
    {"id": 9, "name": "ether2", "kind": 1, "running": false, "disabled": true}
  ],
  "routes": [{"id": 3}, {"id": 4}, {}, {}, {"id": 10}, {}, {"id": 20, "u32:0x4444": 7}],
  "vendor-12": [{"name": "q", "label": "abc"}],
  "scripts": [{"id": 1, "name": "backup"}]
})";

std::vector<uint32_t> ids(const std::vector<message>& items, std::vector<uint32_t> out = {}) {
  for (const message& m : items) out.push_back(m.get(u32_id(kFieldObjId), 0));
  return out;
}

TEST(ModelService, PagesObjectsGuardsAndLinkEvents) {
  tarn_test::TempRoot root;
  std::ofstream(root.dir() + "/model.json") << kModel;
  Routerd d(root.dir(), "--model " + root.dir() + "/model.json");
  ASSERT_TRUE(d.ready()) << d.log();

  const std::vector<uint32_t> all{3, 4, 5, 6, 10, 11, 20};
  for (unsigned page : {0u, 1u, 2u, 7u, 1000u}) EXPECT_EQ(all, ids(d.walk(44, 1, page))) << page;
  struct { uint32_t start, count; std::vector<uint32_t> ids; uint32_t next; } pages[] = {
      {0, 2, {3, 4}, 5}, {5, 3, {5, 6, 10}, 11}, {7, 2, {10, 11}, 20}, {20, 5, {20}, 0},
      {21, 5, {}, 0}};
  for (const auto& p : pages) {
    uint32_t next = 1;
    EXPECT_EQ(p.ids, ids(d.page(44, 1, p.start, p.count, &next))) << "start " << p.start;
    EXPECT_EQ(p.next, next) << "start " << p.start;
  }

  // Type-and-number field, text kept with its NUL, absent object, absent
  // optional value, negative clock offset; refused rename, script, reboot.
  struct { unsigned svc, handler, cmd, id; const char* want; } reads[] = {
      {44, 1, kCmdGetObj, 20, " u32:17476=7 "},
      {20, 12, kCmdGetObj, 1, " raw:12=61626300 "},
      {20, 0, kCmdGetObj, 8, " u32:0xfe0013=1 "},
      {12, 1, kCmdGet, 0, "!u32:17="},
      {24, 0, kCmdGet, 0, " u32:27=0xfffff1f0 "},
      {48, 101, kCmdSetObj, 7, " u32:0xff0005=0xfe0004 "},
      {48, 101, 1, 1, " u32:0xff0005=0xff0013 "},
      {24, 0, 5, 0, " u32:0xff0005=0xff0013 "},
  };
  for (const auto& r : reads) expectHolds(d, r.svc, r.handler, r.cmd, r.id, r.want);

  // Injected link changes: only real changes past the filter (flag 128) are notified.
  message filter;
  filter.insert(u32_id(0x10002), 0);
  filter.insert(u32_id(0x10003), 128);
  d.subscribe(u32_vector(20, 0), 0x10004, filter);
  struct { uint32_t id; bool running; uint32_t state; } links[] = {  // state 0: no notification
      {5, false, 0}, {2, false, 0x100}, {2, false, 0}, {9, true, 0x400}};
  for (const auto& l : links) {
    d.events.clear();
    message set;
    set.insert(u32_id(kFieldObjId), l.id);
    set.insert(bool_id(0x1000e), l.running);
    EXPECT_FALSE(isError(d.ask(20, 0, 0x10005, set)));
    for (uint64_t until = nowMs() + 300; d.events.empty() && nowMs() < until;) d.runOnce(20);
    EXPECT_EQ(l.state, d.events.empty() ? 0 : d.events[0].get(u32_id(0x10003), 0)) << l.id;
  }

  EXPECT_EQ(0, d.end(SIGTERM));
  EXPECT_EQ("run of script 1 requested by 750/0: refused (start with --allow-scripts to allow it)\n"
            "reboot requested by 750/0: refused (start with --allow-reboot to allow it)\n",
            d.log());
}

TEST(ModelService, BrokenModelsAreRefusedWithTheirLine) {
  struct { const char* text; const char* error; } cases[] = {
      {"{\"routes\": [{\"id\": 1}, {\"id\": 1}]}", "1: id 1 twice in \"routes\""},
      {"{\"nat\": []}", "1: unknown section \"nat\""},
      {"{\"routes\": [{\"dst\": \"10.0.0.256\"}]}", "1: bad value for \"dst\""},
      {"{\"routes\": [{\"metric\": 1.5}]}", "1: only whole numbers are allowed"},
      {"{\"scripts\": [\n{\"id\": 1},\n]}", "3: trailing ','"},
      {"{\"clock\": {\"zone\": 1}}", "1: unknown field \"zone\""},
      {"{\"health\": {\"temperature\": -2147483649}}", "1: bad value for \"temperature\""},
      {"{} x", "1: text after the model"},
      // Cut short: inside a string, between objects, before the close.
      {"{\"routes\": [\n{\"id\": 1},\n{\"id\": 2, \"dst\": \"10.0", "3: unterminated string"},
      {"{\"routes\": [\n{\"id\": 1},\n", "3: unexpected end"},
      {"{\"routes\": [\n{\"id\": 1}\n]", "3: expected ',' or '}'"},
      {"", "1: expected '{'"},
      {"\x89PNG\r\n", "1: expected '{'"},
  };
  for (const auto& c : cases) {
    tarn_test::TempRoot root;
    const std::string file = root.dir() + "/m.json";
    std::ofstream(file) << c.text;
    Routerd d(root.dir(), "--model " + file);
    EXPECT_EQ(1, d.end(0)) << c.text;
    EXPECT_EQ("tarn-routerd: " + file + ":" + c.error + "\n", d.log()) << c.text;
    EXPECT_NE(0, access((root.dir() + "/tarn/run/bus/44.sock").c_str(), F_OK)) << c.text;
  }
}

const char kSetup[] =
    "echo 1 | tee /proc/sys/net/ipv6/conf/{all,default}/disable_ipv6 >/dev/null; ip link set lo up;"
    "ip link add v0 address 02:00:00:00:00:01 mtu 1400 type veth peer v1 address 02:00:00:00:00:02;"
    "ip link add br0 address 02:00:00:00:00:0b type bridge; ip link set v1 master br0;"
    "ip link add mv0 link v0 address 02:00:00:00:00:0c type macvlan;"
    "for l in v0 v1 br0; do ip link set $l up; done; ip addr add 10.1.0.1/24 dev v0;"
    "ip neigh add 10.1.0.9 lladdr 02:00:00:00:00:09 dev v0 nud permanent;"
    "ip route add 10.30.0.0/16 via 10.1.0.9 proto ospf;"
    "ip route add 10.50.0.0/16 via 10.1.0.9 proto rip;"
    "ip route add 10.40.0.0/16 via 10.1.0.9 proto bgp metric 7;"
    "ip route add 10.60.0.0/16 nexthop via 10.1.0.9 nexthop via 10.1.0.10;"
    "bridge fdb add 02:00:00:00:00:55 dev v1 master static";

TEST(HostService, ListsAsTheKernelHasThem) {
  if (system("unshare -n true 2>/dev/null") != 0) GTEST_SKIP() << "needs a network namespace";
  tarn_test::TempRoot root;
  Routerd d(root.dir(), "--host", kSetup);
  ASSERT_TRUE(d.ready()) << d.log();
  auto expand = [&](std::string s) {
    for (size_t at; (at = s.find('@')) != std::string::npos;) {
      const size_t end = s.find_first_of(" ,]", at);
      const uint32_t ip = inet_addr(s.substr(at + 1, end - at - 1).c_str());
      char be32[16];
      snprintf(be32, sizeof be32, ip > 0xffff ? "0x%x" : "%u", ip);
      s.replace(at, end - at, be32);
    }
    return s;
  };
  // Interfaces lo, v1, v0, br0, mv0 are 1 to 5 in a new namespace. Kinds:
  // 1 ethernet, 3 loopback, 12 bridge; state 1280 running.
  // Route kinds: 2 local, 3 static, 4 rip, 6 ospf, 8 bgp.
  struct { unsigned svc, handler, cmd; const char* fields; } rows[] = {
      {20, 0, kCmdGetAll, "u32:0xfe0001=1 u32:0x10001=3 u32:0x10002=128 u32:0x10064=0x10000"},
      {20, 0, kCmdGetAll, "u32:0xfe0001=3 u32:0x10001=1 u32:0x10003=1280 u32:0x10064=1400 "
                          "raw:1001=020000000001"},
      {20, 0, kCmdGetAll, "u32:0xfe0001=4 u32:0x10001=12 raw:1001=02000000000b u32:2=32768"},
      {20, 0, kCmdGetAll, "u32:0xfe0001=5 u32:0x10003=0 bool:0xfe000a=1 raw:1001=02000000000c"},
      {20, 1, kCmdGetAll, "u32:1=@10.1.0.1 u32:3=@255.255.255.0 u32:5=3"},
      {20, 8, kCmdGetAll, "u32:1=@10.1.0.9 raw:2=020000000009 u32:3=3 bool:0xfe0007=0"},
      {16, 3, kCmdGetAll, "raw:2=020000000055 u32:1=2 u32:4=0 u32:5=4"},
      {16, 3, kCmdGetAll, "raw:2=020000000002 u32:1=2 u32:4=1 u32:5=4"},
      {16, 3, kCmdGetAll, "raw:2=02000000000b u32:1=0 u32:4=1 u32:5=4"},
      {44, 1, kCmdGetAll, "u32:1=@10.1.0.0 u32:3=@10.1.0.1 u32:7=2"},
      {44, 1, kCmdGetAll, "u32:1=@10.30.0.0 u32[]:4=[@10.1.0.9] u32:7=6"},
      {44, 1, kCmdGetAll, "u32:1=@10.40.0.0 u32:7=8 u32:8=7"},
      {44, 1, kCmdGetAll, "u32:1=@10.50.0.0 u32:7=4"},
      {44, 1, kCmdGetAll, "u32:1=@10.60.0.0 u32[]:4=[@10.1.0.9,@10.1.0.10] u32:7=3"},
      {24, 1, kCmdSet, "u32:0xff0005=0xff0013"},  // a new name: denied
  };
  for (const auto& r : rows) expectHolds(d, r.svc, r.handler, r.cmd, 0, expand(r.fields));
  EXPECT_EQ(0, d.end(SIGTERM)) << d.log();
}

// The software identifier's parts: os-release values as a shell reads
// them, and a board name that skips what firmware leaves unfilled.
TEST(HostInfo, OsReleaseAndBoardAsAPollerNeedsThem) {
  const std::string release =
      "NAME=Debian\nPRETTY_NAME=\"Debian GNU/Linux 12 (bookworm)\"\n"
      "ID='deb ian'\nVERSION=\"12 \\\"x\\\"\"\nX=";
  struct { const char* key; const char* value; } values[] = {
      {"PRETTY_NAME", "Debian GNU/Linux 12 (bookworm)"}, {"NAME", "Debian"},
      {"ID", "deb ian"}, {"VERSION", "12 \"x\""}, {"X", ""}, {"PRETTY", ""}, {"ABSENT", ""}};
  for (const auto& v : values) {
    EXPECT_EQ(v.value, router::HostInfo::osReleaseValue(release, v.key)) << v.key;
  }
  struct { const char *vendor, *product, *board, *tree, *name; } boards[] = {
      {"Dell Inc.", "PowerEdge R640", "0X45NX", "", "Dell Inc. PowerEdge R640"},
      {"LENOVO", "LENOVO ThinkCentre", "", "", "LENOVO ThinkCentre"},
      {"System manufacturer", "System Product Name", "PRIME B450M-A", "", "PRIME B450M-A"},
      {"To be filled by O.E.M.", "To Be Filled By O.E.M.", "Default string", "", ""},
      {"", "", "", "Raspberry Pi 4 Model B Rev 1.4", "Raspberry Pi 4 Model B Rev 1.4"},
      {"QEMU", "Standard PC (Q35 + ICH9, 2009)", "", "x", "QEMU Standard PC (Q35 + ICH9, 2009)"},
      {"", "", "", "", ""},
  };
  for (const auto& b : boards) {
    EXPECT_EQ(b.name, router::HostInfo::boardName(b.vendor, b.product, b.board, b.tree)) << b.product;
  }
}

}  // namespace
