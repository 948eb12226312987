// Id allocation, path mapping and clocks.
#include "platform/allocator.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include "platform/clock.h"
#include "platform/paths.h"

using namespace tarn;

namespace {

TEST(Allocator, LowestFreeAndExplicitIds) {
  Allocator a(10, 13);
  EXPECT_EQ(11u, a.allocate(11));
  EXPECT_EQ(10u, a.allocate());
  EXPECT_EQ(12u, a.allocate());
  EXPECT_EQ(13u, a.allocate());
  EXPECT_EQ(Allocator::kNone, a.allocate());
  a.free(11);
  EXPECT_EQ(11u, a.allocate());
  Allocator wide(0, 0xFFFFFFFE);
  EXPECT_EQ(0u, wide.allocate());
  wide.allocate(0xFFFFFFFE);
  EXPECT_EQ(1u, wide.allocate());
}

TEST(Paths, RootMapping) {
  struct Case {
    const char* root;
    const char* expected;
  } cases[] = {
      {nullptr, "/tarn/store/snmpd"},
      {"", "/tarn/store/snmpd"},
      {"/", "/tarn/store/snmpd"},
      {"/tmp/r", "/tmp/r/tarn/store/snmpd"},
      {"/tmp/r/", "/tmp/r/tarn/store/snmpd"},
  };
  for (const Case& c : cases) {
    if (c.root) {
      setenv("TARN_ROOT", c.root, 1);
    } else {
      unsetenv("TARN_ROOT");
    }
    EXPECT_EQ(c.expected, rootPath("/tarn/store/snmpd")) << (c.root ? c.root : "unset");
  }
  unsetenv("TARN_ROOT");
}

TEST(Clock, JiffiesAndUptimeAgree) {
  unsigned up = getUptime();
  unsigned j = getJiffies();
  EXPECT_LE(up, j / 100 + 1);
  EXPECT_GE(up + 1, j / 100);
  EXPECT_FALSE(getOSVersion().empty());
}

}  // namespace
