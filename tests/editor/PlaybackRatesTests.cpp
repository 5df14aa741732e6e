#include "editor/PlaybackRates.h"

#include <gmock/gmock.h>

#include <vector>

namespace varnelle {
namespace {

TEST(PlaybackRatesTest, AreLabelledWithTheirFractionOnly) {
    std::vector<std::string> labels;
    for (const float rate : kPlaybackRates) labels.push_back(playbackRateLabel(rate));
    EXPECT_THAT(labels, testing::ElementsAre("0.5x", "1x", "1.5x", "2x", "4x", "8x"));
}

}  // namespace
}  // namespace varnelle
