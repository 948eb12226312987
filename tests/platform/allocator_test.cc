// Id allocation: the lowest free id, explicit ids, the full range.
#include "platform/allocator.h"

#include <gtest/gtest.h>

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

}  // namespace
