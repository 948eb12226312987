// Id allocation and the mapping of paths under TARN_ROOT.
#include "platform/allocator.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include "platform/paths.h"

using namespace tarn;

namespace {

TEST(Allocator, LowestFreeAndExplicitIds) {
  Allocator a(10, 13);
  EXPECT_EQ(11u, a.allocate(11));
  for (unsigned want : {10u, 12u, 13u, Allocator::kNone}) EXPECT_EQ(want, a.allocate());
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
      {nullptr, "/tarn/store/snmpd"},       {"", "/tarn/store/snmpd"},
      {"/", "/tarn/store/snmpd"},           {"/tmp/r", "/tmp/r/tarn/store/snmpd"},
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

}  // namespace
