#include "camera/MotionAnalysis.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace varnelle {
namespace {

using State = CursorWindowMotionState;

TEST(CursorMotionWindow, StatisticsMatchTheirDefinition) {
    std::mt19937 random(7);
    std::uniform_real_distribution<double> unit(0, 1);
    CursorMotionWindow window(0.78);
    std::vector<CursorWindowPositionSample> samples;
    for (int i = 0; i < 12'000; ++i) {
        const CursorWindowPositionSample sample{i / 120.0, {unit(random), unit(random)}};
        window.append(sample);
        samples.push_back(sample);
        std::erase_if(samples, [&](const auto& s) { return s.timeSeconds < sample.timeSeconds - 0.78; });
        if (i % 997 != 0 || samples.size() < 2) continue;
        CGPoint mean;
        double path = 0;
        for (std::size_t k = 0; k < samples.size(); ++k) {
            mean.x += samples[k].position.x / static_cast<double>(samples.size());
            mean.y += samples[k].position.y / static_cast<double>(samples.size());
            if (k > 0) {
                path += std::hypot(samples[k].position.x - samples[k - 1].position.x,
                                   samples[k].position.y - samples[k - 1].position.y);
            }
        }
        double dispersion = 0;
        for (const auto& s : samples) {
            dispersion += std::hypot(s.position.x - mean.x, s.position.y - mean.y) /
                          static_cast<double>(samples.size());
        }
        const double duration = samples.back().timeSeconds - samples.front().timeSeconds;
        const auto statistics = window.statistics();
        ASSERT_TRUE(statistics);
        EXPECT_EQ(statistics->sampleCount, samples.size());
        EXPECT_NEAR(statistics->meanPosition.x, mean.x, 1e-12);
        EXPECT_NEAR(statistics->meanPosition.y, mean.y, 1e-12);
        EXPECT_NEAR(statistics->speed, path / duration, 1e-9);
        EXPECT_NEAR(statistics->dispersion, dispersion, 1e-12);
        EXPECT_EQ(statistics->duration, duration);
    }
}

TEST(CursorMotionWindow, NeedsTwoSamplesAndForgetsOnDemand) {
    CursorMotionWindow window(0.1);  // becomes 0.2
    EXPECT_FALSE(window.statistics());
    window.append({1, {0.5, 0.5}});
    EXPECT_FALSE(window.statistics());
    window.append({1.2, {0.5, 0.5}});
    EXPECT_EQ(window.count(), 2U) << "a sample exactly as old as the window stays";
    EXPECT_EQ(window.statistics()->speed, 0);
    window.removeAll();
    window.append({1.3, {0.9, 0.5}});
    window.append({1.4, {0.9, 0.5}});
    EXPECT_EQ(window.statistics()->speed, 0) << "no distance leads in from before the reset";
}

TEST(ClassifyMotion, LimitsAreIncludedAndStatesSustain) {
    struct Case {
        double duration, speed, dispersion;
        State previous, expected;
    };
    for (const Case& c : {
             Case{0.26, 0.4, 0.09, State::neutral, State::travel},
             Case{0.25, 9, 9, State::neutral, State::neutral},
             Case{0.26, 0.39, 0.09, State::neutral, State::neutral},
             Case{0.2, 0.18, 0.06, State::neutral, State::hover},
             Case{0.19, 0, 0, State::neutral, State::neutral},
             Case{0.5, 0.55, 0.16, State::hover, State::hover},  // a fast sweep that still fits stays
             Case{0.5, 0.56, 0.16, State::hover, State::travel},
             Case{0.5, 0.3, 0.17, State::hover, State::neutral},
             Case{0.26, 0.12, 0.03, State::travel, State::travel},
             Case{0.26, 0.11, 0.03, State::travel, State::hover},
             Case{0.26, 0.3, 0.02, State::travel, State::neutral},
         }) {
        const CursorWindowStatistics statistics{{0.5, 0.5}, c.speed, c.dispersion, c.duration, 50};
        EXPECT_EQ(classifyMotion(statistics, c.previous), c.expected)
            << c.duration << " " << c.speed << " " << c.dispersion;
    }
    EXPECT_EQ(classifyMotion(std::nullopt, State::hover), State::neutral);
}

}  // namespace
}  // namespace varnelle
