// The community registry in process: the default entry and address checks,
// the object commands with their exact errors, what each change stores and
// the undo step it records, and paging.
#include "security/community_keep.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "platform/codes.h"
#include "platform/errors.h"
#include "platform/paths.h"
#include "platform/wire.h"
#include "tests/platform/test_root.h"

namespace {

using namespace tarn;

const unsigned kFirst = 0xFFFFFFFF;  // cmdGetAll's start: from the first item

message community(const std::string& name) {
  message m;
  m.insert(string_id(5), name);
  return m;
}

// "ok", or an error reply as "0xcode text".
std::string error(const message& r) {
  unsigned code = 0;
  std::string text;
  if (!isError(r, &code, &text)) return "ok";
  char buf[16];
  snprintf(buf, sizeof buf, "%#x ", code);
  return buf + text;
}

std::vector<std::string> names(const message& page) {
  std::vector<std::string> out;
  for (const auto& flat : page.get(message_array_id(kFieldObjList)))
    out.push_back(message(flat).get(string_id(5), std::string()));
  return out;
}

// The change history: "<description>: <undo command> <id> <name>" a line.
std::vector<std::string> history() {
  std::ifstream lines(rootPath("/tarn/log/history"));
  std::ifstream undoFile(rootPath("/tarn/log/history.undo"), std::ios::binary);
  const bytes undo((std::istreambuf_iterator<char>(undoFile)), std::istreambuf_iterator<char>());
  std::vector<std::string> out;
  size_t at = 0;
  for (std::string line; std::getline(lines, line) && at + 4 <= undo.size();) {
    const size_t len = wire::get32(undo.data() + at);
    message m;
    if (at + 4 + len > undo.size() || !message::parse(undo.data() + at + 4, len, &m)) break;
    at += 4 + len;
    char head[64];
    snprintf(head, sizeof head, ": %#x %u ", m.get(u32_id(kFieldCmd), 0u),
             m.get(u32_id(kFieldObjId), 0u));
    out.push_back(line.substr(line.find(' ', line.find(' ') + 1) + 1) + head +
                  m.get(string_id(5), std::string()));
  }
  return out;
}

TEST(CommunityKeep, DefaultCommunityAndAddressChecks) {
  tarn_test::TempRoot root;
  CommunityKeep keep;
  keep.init();
  ASSERT_EQ(keep.items().size(), 1u);
  const CommunityKeep::Item* mallow = keep.items()[0];
  EXPECT_EQ(mallow->id, 0u);
  EXPECT_EQ(mallow->name, "mallow");
  EXPECT_TRUE(mallow->readAccess);
  EXPECT_FALSE(mallow->writeAccess);
  EXPECT_EQ(mallow->security, 0u);
  message host = community("host"), net = community("net");
  host.insert(be32_id(8), htonl(0x0A000005));
  host.insert(be32_id(9), htonl(0xFFFFFFFF));
  net.insert(be32_id(8), htonl(0x0A000000));
  net.insert(be32_id(9), htonl(0xFFFF0000));
  keep.cmdAddObj(host);
  keep.cmdAddObj(net);
  struct {
    const char* name;
    unsigned address;
    bool admitted;
  } cases[] = {
      {"mallow", 0xC0A80001, true},  // any source
      {"host", 0x0A000005, true},    {"host", 0x0A000006, false},
      {"net", 0x0A00FFFF, true},     {"net", 0x0A010000, false},
      {"Mallow", 0x0A000005, false},  // names are case-sensitive
  };
  for (const auto& c : cases)
    EXPECT_EQ(keep.check(c.name, htonl(c.address)), c.admitted) << c.name << " " << c.address;
}

TEST(CommunityKeep, CommandsStoreAndUndo) {
  tarn_test::TempRoot root;
  CommunityKeep keep;
  keep.init();
  message withId = community("seven"), nameless;
  withId.insert(u32_id(kFieldObjId), 7u);
  nameless.insert(bool_id(6), true);
  const char* const kAdded = "new snmp community created: 0xfe0006 ";
  const char* const kChanged = "changed snmp community settings: 0xfe0003 ";
  struct {
    unsigned cmd, id;  // id: the object of a get, set or remove
    message msg;
    std::string result;   // "id N" for an add
    std::string history;  // the change recorded, empty for none
  } steps[] = {
      {kCmdAddObj, 0, community("private"), "id 1", kAdded + std::string("1 ")},
      {kCmdAddObj, 0, withId, "id 7", kAdded + std::string("7 ")},
      {kCmdAddObj, 0, community("third"), "id 2", kAdded + std::string("2 ")},  // lowest free
      {kCmdAddObj, 0, community("private"), "0xfe0006 community with such name already exists", ""},
      {kCmdAddObj, 0, nameless, "0xfe0005 missing community name", ""},
      {kCmdAddObj, 0, community(""), "0xfe0006 empty script name", ""},
      {kCmdSetObj, 1, community("mallow"), "0xfe0006 community with such name already exists", ""},
      {kCmdSetObj, 1, community("private"), "ok", kChanged + std::string("1 private")},  // own name
      {kCmdSetObj, 2, community(""), "ok", kChanged + std::string("2 third")},  // empty allowed
      {kCmdSetObj, 9, community("x"), "0xfe0004 ", ""},
      {kCmdGetObj, 9, message(), "0xfe0004 ", ""},
      {kCmdRemoveObj, 9, message(), "0xfe0004 ", ""},
      {kCmdRemoveObj, 7, message(), "ok", "snmp community removed: 0xfe0005 7 seven"},
  };
  std::vector<std::string> recorded;
  for (const auto& s : steps) {
    const message r = s.cmd == kCmdAddObj   ? keep.cmdAddObj(s.msg)
                      : s.cmd == kCmdSetObj ? keep.cmdSetObj(s.msg, s.id)
                      : s.cmd == kCmdGetObj ? keep.cmdGetObj(s.msg, s.id)
                                            : keep.cmdRemoveObj(s.msg, s.id);
    std::string got = error(r);
    if (got == "ok" && s.cmd == kCmdAddObj)
      got = "id " + std::to_string(r.get(u32_id(kFieldObjId), 0u));
    EXPECT_EQ(got, s.result) << std::hex << s.cmd << " " << s.result;
    if (!s.history.empty()) recorded.push_back(s.history);
  }
  EXPECT_EQ(history(), recorded);
  EXPECT_EQ(keep.cmdGetObj(message(), 1).get(string_id(5), std::string()), "private");
  const std::vector<std::string> all{"mallow", "private", ""};
  EXPECT_EQ(names(keep.cmdGetAll(message(), kFirst, 0)), all);
  CommunityKeep restarted;  // reads the store while `keep` still lives
  restarted.init();
  EXPECT_EQ(names(restarted.cmdGetAll(message(), kFirst, 0)), all);
}

TEST(CommunityKeep, GetAllPagesAtMostTwenty) {
  tarn_test::TempRoot root;
  CommunityKeep keep;
  keep.init();
  for (int i = 1; i <= 24; ++i) keep.cmdAddObj(community("c" + std::to_string(i)));
  struct {
    unsigned start, count;
    size_t size;
    unsigned next;  // 0: none
  } pages[] = {{kFirst, 0, 20, 20}, {kFirst, 50, 20, 20}, {kFirst, 20, 20, 20},
               {kFirst, 3, 3, 3},   {20, 0, 5, 0},        {24, 1, 1, 0}};
  for (const auto& p : pages) {
    const message page = keep.cmdGetAll(message(), p.start, p.count);
    EXPECT_EQ(names(page).size(), p.size) << p.start << " " << p.count;
    EXPECT_EQ(page.get(u32_id(kFieldStart), 0u), p.next) << p.start << " " << p.count;
  }
  EXPECT_EQ(names(keep.cmdGetAll(message(), 22, 0)), (std::vector<std::string>{"c22", "c23", "c24"}));
  EXPECT_EQ(error(keep.cmdGetAll(message(), 99, 0)), "0xfe000b ");
}

}  // namespace
