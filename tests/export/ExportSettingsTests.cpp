#include "export/ExportSettings.h"

#include <gtest/gtest.h>

#include <map>
#include <regex>

#include "export/ExportDirectory.h"
#include "foundation/AtomicFile.h"
#include "support/MemoryDefaults.h"
#include "support/TemporaryDirectory.h"

namespace varnelle {
namespace {

using P = ExportPreset;

TEST(ExportPresets, AreOfferedByTheLongSide) {
    struct Case {
        double width, height;
        std::vector<P> presets;
    };
    for (const Case& c : {
             Case{1920, 1080, {P::original, P::hd720p}},
             Case{1912, 1080, {P::original, P::fullHD, P::hd720p}},
             Case{1000, 3840, {P::original, P::uhd4K, P::qhd1440p, P::fullHD, P::hd720p}},
             Case{640, 480, {P::original}},
             Case{6000, 4000, {P::original, P::mac5K, P::uhd4K, P::qhd1440p, P::fullHD, P::hd720p}},
         }) {
        EXPECT_EQ(availablePresets(c.width, c.height), c.presets) << c.width << " x " << c.height;
    }
}

TEST(ExportSettings, MakesFileNamesUsable) {
    struct Case {
        std::optional<std::string> typed, name;
    };
    for (const Case& c : {Case{"clip.MOV", "clip"}, Case{"a/b:c.mp4", "a-b-c"}, Case{"   ", std::nullopt},
                          Case{"take1.2", "take1.2"}, Case{" .mp4x ", ".mp4x"}, Case{"x.m4v", "x"},
                          Case{std::nullopt, std::nullopt}}) {
        EXPECT_EQ(sanitizedFilename(c.typed), c.name) << c.typed.value_or("nothing");
    }
    ExportSettings settings;
    settings.outputDirectory = URL("/movies");
    settings.customFilename = "take1.2";
    EXPECT_EQ(settings.outputURL(), URL("/movies/take1.2.mp4"));
    settings.customFilename.reset();
    EXPECT_TRUE(std::regex_match(settings.outputURL().string(),
                                 std::regex(R"(/movies/Varnelle_\d{4}-\d\d-\d\d_\d\d-\d\d-\d\d\.mp4)")));
}

TEST(ExportSettings, OnlyTwoRatesExist) {
    for (const auto& [wanted, rate] :
         std::map<int, int>{{24, 30}, {30, 30}, {49, 30}, {50, 60}, {60, 60}, {144, 60}}) {
        EXPECT_EQ(exportFrameRate(wanted), rate);
    }
}

TEST(ExportDirectory, IsThePreferredOneElseTheRememberedOne) {
    const test::TemporaryDirectory directory;
    // A file where a folder should be can't be written into, whoever asks.
    const URL blocked = directory.file("blocked");
    writeFileAtomically(blocked, "");
    const URL good = directory.file("good");
    const URL chosen = directory.file("chosen");
    test::MemoryDefaults defaults;
    EXPECT_EQ(usableExportDirectory(defaults, good), good) << "made if need be";
    EXPECT_EQ(usableExportDirectory(defaults, blocked), std::nullopt);
    EXPECT_FALSE(rememberExportDirectory(defaults, blocked));
    EXPECT_EQ(usableExportDirectory(defaults, blocked), std::nullopt);
    EXPECT_TRUE(rememberExportDirectory(defaults, chosen));
    EXPECT_EQ(usableExportDirectory(defaults, blocked), chosen);
    EXPECT_EQ(usableExportDirectory(defaults, good), good) << "the usual one first";
    EXPECT_TRUE(std::filesystem::is_empty(good.path())) << "probes are removed";
}

}  // namespace
}  // namespace varnelle
