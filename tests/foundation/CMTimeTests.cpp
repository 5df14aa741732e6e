#include "foundation/CMTime.h"

#include <gtest/gtest.h>

#include <limits>

namespace varnelle {
namespace {

TEST(CMTime, SumsOfDifferentTimescalesAreExact) {
    const CMTime third = CMTime::make(1, 3);
    const CMTime seventh = CMTime::make(1, 7);
    EXPECT_EQ(third + seventh, CMTime::make(10, 21));
    EXPECT_EQ(third + seventh - seventh, third);
    // The least common multiple of the timescales, 3e9, is too large; the reduced fraction fits.
    const CMTime mixed = CMTime::make(1, 600) + CMTime::make(500, 1'000'000'000);
    EXPECT_EQ(mixed, CMTime::make(10'003, 6'000'000));
    EXPECT_FALSE(mixed.flags & CMTime::hasBeenRounded);
}

TEST(CMTime, RoundsOnlyWhereNoTimescaleHoldsTheSum) {
    const CMTime a = CMTime::make(1, 2'147'483'647);
    const CMTime b = CMTime::make(1, 2'147'483'629);
    const CMTime sum = a + b;
    EXPECT_TRUE(sum.flags & CMTime::hasBeenRounded);
    EXPECT_NEAR(sum.seconds(), 2.0 / 2'147'483'640.0, 1e-17);
    EXPECT_FALSE((CMTime::make(1, 600) + CMTime::make(1, 48000)).flags & CMTime::hasBeenRounded);
}

TEST(CMTime, LargeValuesOverflowToInfinityAndNotAround) {
    const CMTime large = CMTime::make(std::numeric_limits<std::int64_t>::max(), 1);
    EXPECT_EQ(large + large, kCMTimePositiveInfinity);
    EXPECT_EQ(large - large, kCMTimeZero);
    // Comparison multiplies the same values crosswise: it needs more than 64 bits.
    EXPECT_LT(CMTime::make(std::numeric_limits<std::int64_t>::max(), 600), large);
}

TEST(CMTime, ComparesByNumberAndState) {
    EXPECT_EQ(CMTime::make(1, 2), CMTime::make(300, 600));
    EXPECT_LT(CMTime::make(-5, 1), kCMTimeZero);
    EXPECT_LT(kCMTimeInvalid, CMTime::make(-5, 1));
    EXPECT_LT(CMTime::make(5, 1), kCMTimeIndefinite);
    EXPECT_LT(kCMTimeIndefinite, kCMTimePositiveInfinity);
    EXPECT_EQ(kCMTimeInvalid, CMTime::make(1, 0));
}

TEST(CMTime, StatesSpreadThroughSums) {
    EXPECT_FALSE((kCMTimeZero + kCMTimeInvalid).isValid());
    EXPECT_TRUE((kCMTimeZero + kCMTimeIndefinite).isIndefinite());
    EXPECT_TRUE((kCMTimeZero + kCMTimePositiveInfinity).isPositiveInfinity());
    EXPECT_FALSE((kCMTimeZero - kCMTimePositiveInfinity).isValid());
}

TEST(CMTime, SecondsForStorageAreNeverNegativeOrStrange) {
    struct Case {
        CMTime time;
        double seconds;
    };
    for (const Case& c :
         {Case{CMTime::make(900, 600), 1.5}, Case{CMTime::make(-900, 600), 0}, Case{kCMTimeInvalid, 0},
          Case{kCMTimeIndefinite, 0}, Case{kCMTimePositiveInfinity, 0}}) {
        EXPECT_EQ(clampedSeconds(c.time), c.seconds);
    }
    EXPECT_EQ(timeFromSeconds(-1), kCMTimeZero);
    EXPECT_EQ(timeFromSeconds(std::numeric_limits<double>::infinity()), kCMTimeZero);
    EXPECT_EQ(timeFromSeconds(std::numeric_limits<double>::quiet_NaN()), kCMTimeZero);
    EXPECT_EQ(timeFromSeconds(0.1).value, 60);
    EXPECT_EQ(timeFromSeconds(1.0 / 1199).value, 1) << "0.5004 of a unit rounds up";
    EXPECT_EQ(timeFromSeconds(1e300), kCMTimePositiveInfinity);
}

TEST(CMTime, ConvertsToTheNearestUnit) {
    EXPECT_EQ(CMTime::make(1, 3).converted(600).value, 200);
    EXPECT_EQ(CMTime::make(1, 7).converted(600).value, 86);
    EXPECT_TRUE(CMTime::make(1, 7).converted(600).flags & CMTime::hasBeenRounded);
    EXPECT_EQ(CMTime::make(-1, 7).converted(600).value, -86);
}

}  // namespace
}  // namespace varnelle
