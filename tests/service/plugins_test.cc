// The plug-in loader's walk: which entries are opened, what it says, and
// where it stops.
#include "service/plugins.h"

#include <dirent.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <set>

#include "codec/diag.h"
#include "service/trap_makers.h"
#include "tests/platform/test_root.h"

namespace {

class Plugins : public ::testing::Test {
 protected:
  void SetUp() override { saved.swap(trapMakers); }
  void TearDown() override { trapMakers.swap(saved); }

  std::string dir(const std::string& rel) {
    mkdir((root.dir() + "/" + rel).c_str(), 0755);
    return root.dir() + "/" + rel;
  }
  void copy(const char* from, const std::string& to) {
    std::ofstream(to, std::ios::binary) << std::ifstream(from, std::ios::binary).rdbuf();
  }
  // The lines loadPlugins(path) writes, as a set (directory order is the
  // file system's).
  std::set<std::string> load(const std::string& path) {
    diag::Capture c;
    loadPlugins(path);
    std::set<std::string> lines;
    std::istringstream s(c.err());
    for (std::string line; std::getline(s, line);) lines.insert(line);
    return lines;
  }

  tarn_test::TempRoot root;
  std::vector<TrapMaker> saved;
};

TEST_F(Plugins, WalkOpensSharedObjectsOnly) {
  const std::string top = dir("lib");
  for (const char* sub : {"lib/sub", "lib/.plugins", "lib/dir.so"}) dir(sub);  // dir.so is walked, not opened
  for (const char* name : {"/x.so", "/a.s", "/lib.so.1", "/.so", "/.plugins/hidden.so"}) copy(TEST_PLUGIN, top + name);
  copy(TEST_PLUGIN_BARE, top + "/sub/bare.so");
  std::ofstream(top + "/junk.so") << "not an object";
  ASSERT_EQ(0, symlink("sub", (top + "/linked").c_str()));
  const std::set<std::string> lines = load(top);
  for (const std::string& want : {"plugin loaded: " + top + "/x.so", "plugin loaded: " + top + "/sub/bare.so",
                                   "plugin " + top + "/sub/bare.so has no symbol autorun",
                                   "plugin loaded: " + top + "/linked/bare.so",
                                   "plugin " + top + "/linked/bare.so has no symbol autorun",
                                   "failed dlopen: " + top + "/junk.so:"})
    EXPECT_EQ(1u, lines.count(want)) << want;
  EXPECT_EQ(7u, lines.size());  // the six above and dlerror()'s text
  EXPECT_EQ(1u, trapMakers.size());  // x.so's autorun ran, bound to ours
}

TEST_F(Plugins, PathLimitIs128Characters) {
  const std::string base = dir("p");
  for (size_t length : {128u, 129u}) {
    const std::string path = base + "/" + std::string(length - base.size() - 1, 'd');
    ASSERT_EQ(length, path.size());
    mkdir(path.c_str(), 0755);
    copy(TEST_PLUGIN_BARE, path + "/x.so");
    const std::set<std::string> lines = load(path);
    EXPECT_EQ(length == 129 ? 1u : 0u, lines.count("Refusing to search for snmp plugins in following directory, because "
                                                   "it's path is longer than 128 characters (recursive symlink?):"));
    EXPECT_EQ(length == 128 ? 1u : 0u, lines.count("plugin loaded: " + path + "/x.so"));
  }
  EXPECT_TRUE(load(base + "/absent").empty());
}

// An entry whose status cannot be taken (a dangling link) ends the walk of
// its directory: entries the directory lists after it are not opened.
TEST_F(Plugins, DanglingLinkStopsItsDirectory) {
  const std::string top = dir("d");
  ASSERT_EQ(0, symlink("nowhere", (top + "/broken.so").c_str()));
  // Plug-ins are added until some come before the link and some after it
  // in the directory's own order.
  std::vector<std::string> order;
  for (int i = 0; i < 64 && (order.size() < 3 || order.front() == "broken.so" || order.back() == "broken.so"); ++i) {
    copy(TEST_PLUGIN_BARE, top + "/p" + std::to_string(i) + ".so");
    order.clear();
    DIR* d = opendir(top.c_str());
    while (const dirent* e = readdir(d)) if (e->d_name[0] != '.') order.push_back(e->d_name);
    closedir(d);
  }
  ASSERT_NE(order.front(), "broken.so");
  ASSERT_NE(order.back(), "broken.so");
  const std::set<std::string> lines = load(top);
  bool afterBroken = false;
  for (const std::string& name : order) {
    afterBroken |= name == "broken.so";  // the link itself is never loaded
    EXPECT_EQ(afterBroken ? 0u : 1u, lines.count("plugin loaded: " + top + "/" + name)) << name;
  }
}

}  // namespace
