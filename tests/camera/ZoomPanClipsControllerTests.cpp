#include "camera/ZoomPanClipsController.h"

#include <gtest/gtest.h>

#include <limits>
#include <thread>

#include "support/SampleProject.h"

namespace varnelle {
namespace {

using test::rangeOfSeconds;

TEST(ZoomPanClipsController, RampsInsideTheRange) {
    const ZoomPanClipsController controller({rangeOfSeconds(2, 3)});
    struct Case {
        double time;
        ZoomPanPhase phase;
        double weight;
    };
    for (const Case& c : {Case{1.9, ZoomPanPhase::outside, 0}, Case{2, ZoomPanPhase::entering, 0},
                          Case{2.425, ZoomPanPhase::entering, 0.5}, Case{2.9, ZoomPanPhase::holding, 1},
                          Case{4.1, ZoomPanPhase::holding, 1}, Case{4.575, ZoomPanPhase::leaving, 0.5},
                          Case{5, ZoomPanPhase::outside, 0}}) {
        const ZoomPanState state = controller.state(timeFromSeconds(c.time), 0.85);
        EXPECT_EQ(state.phase, c.phase) << c.time;
        // The smootherstep of one half is one half.
        EXPECT_NEAR(state.progress, c.weight, 1e-9) << c.time;
        EXPECT_EQ(state.isEmpty, c.phase == ZoomPanPhase::outside);
    }
    const double quarter = controller.state(timeFromSeconds(2 + 0.85 / 4), 0.85).progress;
    EXPECT_NEAR(quarter, 0.103515625, 0.005) << "w³(w(6w−15)+10) at a quarter, on the grid of times";
}

TEST(ZoomPanClipsController, ShortRangeTurnsFromEnteringToLeaving) {
    const ZoomPanClipsController controller({rangeOfSeconds(0, 1)});
    EXPECT_EQ(controller.state(timeFromSeconds(0.5), 0.85).phase, ZoomPanPhase::entering);
    EXPECT_EQ(controller.state(timeFromSeconds(0.51), 0.85).phase, ZoomPanPhase::leaving);
    EXPECT_LT(controller.state(timeFromSeconds(0.5), 0.85).progress, 1);
    EXPECT_EQ(controller.state(timeFromSeconds(0.5), 0).transitionDuration, 1.0 / 120);
}

TEST(ZoomPanClipsController, NormalizesItsRanges) {
    using Range = ZoomPanClipsController::ClipRange;
    EXPECT_EQ(normalizeClipRanges({rangeOfSeconds(5, 2),
                                   rangeOfSeconds(0, 2),
                                   rangeOfSeconds(2, 1),
                                   rangeOfSeconds(5.5, 0.5),
                                   rangeOfSeconds(9, 0),
                                   {kCMTimeInvalid, kCMTimeInvalid},
                                   {timeFromSeconds(8), kCMTimePositiveInfinity}}),
              (std::vector<Range>{{0, 3}, {5, 7}}));
}

TEST(ZoomPanClipsController, AnswersWhileRangesAreReplaced) {
    ZoomPanClipsController controller({rangeOfSeconds(0, 10)});
    std::jthread editor([&controller] {
        for (int i = 0; i < 2000; ++i) {
            controller.replaceRanges(i % 2 == 0 ? std::vector<CMTimeRange>{}
                                                : std::vector{rangeOfSeconds(0, 10)});
        }
    });
    int lastRevision = 0;
    while (lastRevision < 2000) {
        const ZoomPanState state = controller.state(timeFromSeconds(5), 0.85);
        ASSERT_GE(state.revision, lastRevision);
        ASSERT_EQ(state.isEmpty, state.revision % 2 == 1);
        lastRevision = state.revision;
    }
}

}  // namespace
}  // namespace varnelle
