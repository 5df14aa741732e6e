#include "render/AudioMixBuilder.h"

#include <gtest/gtest.h>

namespace varnelle {
namespace {

TEST(AudioMixBuilder, TurnsSourcesOnAndOffInTheirOrder) {
    constexpr auto system = RecordedAudioSource::system;
    constexpr auto microphone = RecordedAudioSource::microphone;
    struct Case {
        std::vector<RecordedAudioSource> sources;
        AudioConfiguration configuration;
        std::vector<AudioMixInputParameters> expected;
    };
    const std::vector<Case> cases{
        {{system, microphone}, {true, false}, {{2, 1}, {3, 0}, {4, 0.5F}}},
        {{microphone, system}, {true, false}, {{3, 1}, {2, 0}, {4, 0.5F}}},
        {{microphone}, {false, true}, {{2, 1}, {3, 0.5F}, {4, 0.5F}}},
        {{}, {true, true}, {{2, 0.5F}, {3, 0.5F}, {4, 0.5F}}},
        // The later track of a source is the one that counts.
        {{system, system}, {false, true}, {{3, 0}, {4, 0.5F}}},
    };
    for (const Case& test : cases) {
        const auto routing = AudioTrackRouting::pairing({2, 3, 4}, test.sources);
        EXPECT_EQ(audioMix(routing, test.configuration, 0.5F).inputParameters, test.expected);
    }
}

}  // namespace
}  // namespace varnelle
