#include "recording/RecordingGeometry.h"

#include <gtest/gtest.h>

#include "recording/CaptureEngine.h"

namespace varnelle {
namespace {

TEST(RecordingGeometry, PixelSizesAreEvenAndAtLeastTwo) {
    struct Case {
        CGSize points;
        double scale;
        PixelSize expected;
    };
    for (const Case& c :
         {Case{{1920, 1080}, 1, {1920, 1080}}, Case{{1001, 601}, 1, {1000, 600}},
          Case{{1440, 900}, 2, {2880, 1800}}, Case{{683.5, 384.25}, 2, {1366, 768}},
          Case{{1367, 769}, 1.25, {1708, 960}}, Case{{1, 0}, 1, {2, 2}}, Case{{3, 2.9}, 1, {2, 2}}}) {
        EXPECT_EQ(evenPixelSize(c.points, c.scale), c.expected) << c.points.width << " x " << c.points.height;
    }
}

TEST(RecordingGeometry, DisplayGivesItsFrameAsRegionAndItsPixelsAsSize) {
    const RecordingConfiguration::Source source =
        RecordingConfiguration::DisplaySource{{7, {{1920, -200}, {1367, 769}}, 1367, 769, 1.0, "HDMI-1"}};
    EXPECT_EQ(capturePixelSize(source), (PixelSize{1366, 768}));
    EXPECT_EQ(renderSize(source, {}), (CGSize{1367, 769})) << "not rounded";
    EXPECT_EQ(captureRegion(source), (CGRect{{1920, -200}, {1367, 769}}));
}

TEST(RecordingGeometry, NoPixelIsLostAtOddScales) {
    for (const double scale : {1.0, 1.25, 1.375, 1.625, 1.6979166, 2.0}) {
        for (const auto& [width, height] : {std::pair{1920, 1080}, {3840, 2160}, {1366, 768}, {2560, 1440}}) {
            const ShareableDisplay display{1, {{0, 0}, {width / scale, height / scale}}, width, height, scale,
                                           ""};
            EXPECT_EQ(capturePixelSize(RecordingConfiguration::DisplaySource{display}),
                      (PixelSize{width, height}));
            RecordingConfiguration::WindowSource window;
            window.window.frame = display.frame;
            window.window.scale = scale;
            EXPECT_EQ(capturePixelSize(window), (PixelSize{width, height})) << scale;
        }
    }
}

TEST(RecordingGeometry, AreaIsPlacedByItsDisplayAndFittedToWholeEvenPixels) {
    const ShareableDisplay display{7, {{1920, -200}, {1280, 800}}, 2560, 1600, 2.0, "HDMI-1"};
    const auto area = [&display](const CGRect& rect, double scale) {
        return RecordingConfiguration::Source{RecordingConfiguration::AreaSource{display, rect, scale}};
    };
    const auto odd = area({{10, 20}, {500.5, 300.5}}, 2);
    EXPECT_EQ(capturePixelSize(odd), (PixelSize{1000, 600}));
    EXPECT_EQ(sourceRect(odd), (CGRect{{10, 20}, {500, 300}}));
    EXPECT_EQ(captureRegion(odd), (CGRect{{1930, -180}, {500.5, 300.5}}));
    EXPECT_EQ(renderSize(odd, {}), (CGSize{2560, 1600})) << "of the whole display";
    const auto coarse = area({{10, 20}, {500, 300}}, 0.5);
    EXPECT_EQ(capturePixelSize(coarse), (PixelSize{250, 150}));
    EXPECT_EQ(sourceRect(coarse), (CGRect{{10, 20}, {500, 300}}))
        << "too far from the movie's size to be fitted";
}

TEST(RecordingGeometry, WindowGivesItsFrameAndTheSizeOfItsScreen) {
    const ShareableDisplay left{1, {{0, 0}, {800, 600}}, 800, 600, 1.0, "left"};
    const ShareableDisplay right{2, {{800, 0}, {1024, 768}}, 1024, 768, 1.0, "right"};
    RecordingConfiguration::WindowSource window;
    window.window.frame = {{750, 100}, {401, 301}};
    EXPECT_EQ(capturePixelSize(window), (PixelSize{400, 300}));
    EXPECT_EQ(captureRegion(window), (CGRect{{750, 100}, {401, 301}}));
    EXPECT_EQ(renderSize(window, {left, right}), (CGSize{1024, 768})) << "its middle is on the right";
    EXPECT_EQ(renderSize(window, {left}), (CGSize{400, 300})) << "its middle is on none";
    EXPECT_EQ(sourceRect(window), std::nullopt) << "by itself it isn't a part of anything";
    window.display = right;
    EXPECT_EQ(renderSize(window, {left}), (CGSize{1024, 768}));
    EXPECT_EQ(sourceRect(window), (CGRect{{-50, 100}, {400, 300}}));
}

TEST(RecordingGeometry, BitRates) {
    EXPECT_EQ(screenBitRate({1920, 1080}), 16'588'800);
    EXPECT_EQ(screenBitRate({15360, 8640}), 1'061'683'200);
    EXPECT_EQ(cameraBitRate({1280, 720}), 6'000'000) << "the floor";
    EXPECT_EQ(cameraBitRate({1920, 1080}), 12'441'600);
}

TEST(RecordingGeometry, SessionDirectoryNameHasNoColons) {
    EXPECT_EQ(sessionDirectoryName(*Date::parseISO8601("2026-11-15T22:01:11Z")),
              "recording_2026-11-15T22-01-11Z");
}

TEST(StreamConfiguration, FollowsTheOptions) {
    CaptureStreamOptions options;
    options.pixelSize = {1366, 768};
    for (const auto& [wanted, given] : {std::pair{2, 4}, {4, 4}, {6, 6}, {12, 12}, {20, 12}}) {
        options.queueDepth = wanted;
        EXPECT_EQ(streamConfiguration(options).queueDepth, given);
    }
    options.frameRate = 30;
    options.preferredMicrophoneID = "desk";
    ScreenStreamConfiguration configuration = streamConfiguration(options);
    EXPECT_EQ(configuration.minimumFrameInterval, CMTime::make(1, 30));
    EXPECT_EQ(configuration.widthPixels, 1366);
    EXPECT_EQ(configuration.heightPixels, 768);
    EXPECT_FALSE(configuration.showsCursor);
    EXPECT_TRUE(configuration.excludesCurrentProcessAudio);
    EXPECT_FALSE(configuration.capturesAudio);
    EXPECT_EQ(configuration.microphoneCaptureDeviceID, std::nullopt) << "the microphone is off";
    options.capturesMicrophone = true;
    options.capturesSystemAudio = true;
    configuration = streamConfiguration(options);
    EXPECT_TRUE(configuration.captureMicrophone);
    EXPECT_TRUE(configuration.capturesAudio);
    EXPECT_EQ(configuration.microphoneCaptureDeviceID, "desk");
    options.preferredMicrophoneID = "";
    EXPECT_EQ(streamConfiguration(options).microphoneCaptureDeviceID, std::nullopt);
}

}  // namespace
}  // namespace varnelle
