#include <gtest/gtest.h>

#include <meldra3d/meldra3d.h>

TEST(Version, IsOneConstantText) {
    EXPECT_STREQ(quorl::meldra3d::version(), "5.6.0.0");
    EXPECT_EQ(quorl::meldra3d::version(), quorl::meldra3d::version());
}
