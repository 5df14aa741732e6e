#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "foundation/AtomicFile.h"
#include "foundation/Log.h"
#include "media/AssetWriter.h"
#include "media/EncoderProbe.h"
#include "support/MediaFixtures.h"
#include "support/TemporaryDirectory.h"

namespace varnelle {
namespace {

using test::TemporaryDirectory;

/// The user's cache directory for the length of a test.
class CacheDirectory {
public:
    explicit CacheDirectory(const URL& url) {
        if (const char* old = std::getenv("XDG_CACHE_HOME")) old_ = old;
        setenv("XDG_CACHE_HOME", url.string().c_str(), 1);
    }
    ~CacheDirectory() {
        if (old_.empty()) {
            unsetenv("XDG_CACHE_HOME");
        } else {
            setenv("XDG_CACHE_HOME", old_.c_str(), 1);
        }
    }
    CacheDirectory(const CacheDirectory&) = delete;
    CacheDirectory& operator=(const CacheDirectory&) = delete;

private:
    std::string old_;
};

std::string encoderFor(VideoSettings settings, EncodingPurpose purpose) {
    const TemporaryDirectory directory;
    settings.purpose = purpose;
    AssetWriter writer(directory.file("a.mov"), FileType::quickTimeMovie, {});
    writer.addVideoInput(settings);
    return writer.videoEncoderName();
}

TEST(EncoderProbe, TellsWorkingEncodersFromOthers) {
    EXPECT_TRUE(encoderWorks("libx265"));
    EXPECT_TRUE(encoderWorks("libx264"));
    EXPECT_FALSE(encoderWorks("no_such_encoder"));
}

TEST(EncoderChoice, LiveCaptureFallsBackWhereTheTrialSaysSoAndExportsNever) {
    const TemporaryDirectory directory;
    const CacheDirectory cache(directory.url());
    VideoSettings settings = test::smallVideo(320, 180);
    settings.expectedSourceFrameRate = 10;
    const URL file = directory.file("varnelle/encoders.json");
    const auto remembered = [&] { return nlohmann::json::parse(readFile(file)); };
    const auto remember = [&](const std::string& name, const nlohmann::json& value) {
        nlohmann::json all = remembered();
        (*all.begin())[name] = value;
        writeFileAtomically(file, all.dump());
    };
    std::vector<std::string> lines;
    const LogObserver observer(LogCategory::capture,
                               [&lines](const std::string& line) { lines.push_back(line); });
    const std::string first = encoderFor(settings, EncodingPurpose::liveCapture);
    ASSERT_EQ(remembered().size(), 1U);
    EXPECT_THAT(remembered().begin().key(), testing::HasSubstr("320x180, 10"));
    const nlohmann::json trial = *remembered().begin();
    EXPECT_EQ(first, trial["framesPerSecond"] >= 12.5 ? "libx265" : "libx264");

    // The remembered figure decides, without another trial.
    remember("framesPerSecond", 12.5);
    EXPECT_EQ(encoderFor(settings, EncodingPurpose::liveCapture), "libx265");
    lines.clear();
    remember("framesPerSecond", 0.1);
    EXPECT_EQ(encoderFor(settings, EncodingPurpose::liveCapture), "libx264");
    EXPECT_EQ(encoderFor(settings, EncodingPurpose::liveCapture), "libx264");
    EXPECT_THAT(lines, testing::ElementsAre(testing::HasSubstr("libx265 reaches 0")));
    EXPECT_EQ(encoderFor(settings, EncodingPurpose::export_), "libx265");

    // A day later the machine may be less busy; where it was fast enough, it is.
    const auto yesterday = trial["day"].get<int>() - 1;
    remember("day", yesterday);
    encoderFor(settings, EncodingPurpose::liveCapture);
    EXPECT_NE((*remembered().begin())["framesPerSecond"], 0.1);
    remember("framesPerSecond", 1000);
    remember("day", yesterday);
    EXPECT_EQ(encoderFor(settings, EncodingPurpose::liveCapture), "libx265");
    EXPECT_EQ((*remembered().begin())["framesPerSecond"], 1000);

    const std::string key = remembered().begin().key();
    for (const nlohmann::json& strange :
         {nlohmann::json(7), nlohmann::json("fast"), nlohmann::json::array({1, 2}),
          nlohmann::json{{"framesPerSecond", "many"}},
          nlohmann::json{{"framesPerSecond", 1}, {"day", "one"}}}) {
        writeFileAtomically(file, nlohmann::json{{key, strange}}.dump());
        encoderFor(settings, EncodingPurpose::liveCapture);
        EXPECT_EQ(remembered()[key]["day"], trial["day"]) << strange;
    }
    for (const std::string damaged : {"{ damaged", "[]", ""}) {
        writeFileAtomically(file, damaged);
        encoderFor(settings, EncodingPurpose::liveCapture);
        EXPECT_EQ(remembered().size(), 1U) << damaged;
    }
}

}  // namespace
}  // namespace varnelle
