#include "platform/PixelRegion.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "platform/linux/FramePacer.h"

namespace varnelle {
namespace {

using namespace std::chrono_literals;

TEST(PixelRegion, JoinsNeighboursAndKeepsWhatIsFarApart) {
    PixelRegion region;
    region.add({0, 0, 100, 20});
    region.add({0, 20, 100, 40});
    EXPECT_EQ(region.rects(), (std::vector<PixelRect>{{0, 0, 100, 40}}));
    region.add({1000, 700, 1010, 710});
    EXPECT_EQ(region.rects().size(), 2U);
    region.add({5, 5, 5, 50});
    EXPECT_EQ(region.rects().size(), 2U) << "an empty rectangle adds nothing";
    EXPECT_TRUE(region.covers({10, 10, 90, 30}));
    EXPECT_FALSE(region.covers({90, 30, 110, 35}));
}

TEST(PixelRegion, CoversAllThatWasAddedWithFewDisjointRectangles) {
    std::mt19937 random(7);
    std::uniform_int_distribution<int> place(0, 1900);
    std::uniform_int_distribution<int> size(1, 300);
    for (int round = 0; round < 50; ++round) {
        PixelRegion region;
        std::vector<PixelRect> added;
        for (int i = 0; i < 100; ++i) {
            const int x = place(random);
            const int y = place(random);
            added.push_back({x, y, x + size(random), y + size(random)});
            region.add(added.back());
        }
        ASSERT_LE(region.rects().size(), PixelRegion::kMaximumRects);
        for (const PixelRect& rect : added) ASSERT_TRUE(region.covers(rect));
        for (std::size_t i = 0; i < region.rects().size(); ++i) {
            for (std::size_t j = i + 1; j < region.rects().size(); ++j) {
                ASSERT_TRUE(region.rects()[i].intersection(region.rects()[j]).isEmpty());
            }
        }
    }
}

TEST(FramePacer, KeepsTheAverageAndForgetsPauses) {
    const FramePacer::Clock::time_point start{1h};
    FramePacer pacer(10ms);
    pacer.noteFrame(start);
    EXPECT_EQ(pacer.earliestNext(), start + 10ms);
    pacer.noteFrame(start + 12ms);
    EXPECT_EQ(pacer.earliestNext(), start + 20ms) << "a late frame doesn't push the next";
    pacer.noteFrame(start + 70ms);
    EXPECT_EQ(pacer.earliestNext(), start + 80ms) << "a pause gives no credit";
}

}  // namespace
}  // namespace varnelle
