#include "codec/buffer.h"

#include <gtest/gtest.h>

TEST(Buffer, HoldsOneMaximalDatagram) {
  EXPECT_EQ(sizeof(c_buf), 65536u);
}
