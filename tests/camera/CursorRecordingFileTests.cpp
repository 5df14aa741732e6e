#include "camera/CursorRecordingFile.h"

#include <gtest/gtest.h>

#include "foundation/AtomicFile.h"
#include "support/Telemetry.h"
#include "support/TemporaryDirectory.h"

namespace varnelle {
namespace {

class CursorRecordingFile : public testing::Test {
protected:
    CursorRecording read(const std::string& text) {
        writeFileAtomically(url_, text);
        return readCursorRecording(url_);
    }

    test::TemporaryDirectory directory_;
    URL url_ = directory_.file("cursor.json");
};

const std::string kRegion = R"("captureRegion":{"originX":0,"originY":0,"width":100,"height":50})";

TEST_F(CursorRecordingFile, RoundTripsEveryValueExactly) {
    CursorRecording recording;
    recording.captureRegion = {-1920, 0, 1920, 1080.5};
    recording.movementSamples = {{0, 1.0 / 3, 0.1, true}, {1e-7, -0.25, 1.75, false}};
    recording.activitySamples = {{0.5, CursorActivityKind::rightMouseUp, 0.1, 0.2, true}};
    recording.scrollSamples = {{0.6, 0.01, -0.02, true, false}};
    recording.keyboardSamples = {{0.7, CursorKeyboardActivityKind::shortcut, true}};
    recording.windowContextSamples = {{0.1, CGRect{{0.1, 0.2}, {0.3, 0.4}}, std::nullopt,
                                       "a \"quoted\" \\ role\n", std::nullopt, "AXLink"}};
    writeCursorRecording(recording, url_);
    EXPECT_EQ(readCursorRecording(url_), recording);
    EXPECT_NE(readFile(url_).find("\"activeWindowFrame\":[[0.1,0.2],[0.3,0.4]]"), std::string::npos);
}

TEST_F(CursorRecordingFile, EmptyOptionalListsAreLeftOut) {
    writeCursorRecording(test::restingPointer(0, {0.5, 0.5}), url_);
    const std::string text = readFile(url_);
    EXPECT_TRUE(text.starts_with(R"({"activitySamples":[],"captureRegion":{"height":1080,)")) << text;
    for (const char* key : {"scrollSamples", "keyboardSamples", "windowContextSamples"}) {
        EXPECT_EQ(text.find(key), std::string::npos) << key;
    }
}

TEST_F(CursorRecordingFile, AcceptsOldFilesAnyKeyOrderAndUnsortedSamples) {
    const CursorRecording recording = read(R"({ "movementSamples": [
        {"timeSeconds": 2, "normalizedY": 0.5, "normalizedX": 0.25, "isVisible": true},
        {"timeSeconds": 1, "normalizedY": 0.5, "normalizedX": 1e0, "isVisible": false}],
        "scrollSamples": [{"timeSeconds":1,"normalizedDeltaX":0,"normalizedDeltaY":1,"isMomentum":false}],
        "later": {"unknown": [1, 2]},
        "activitySamples": [], )" + kRegion +
                                           "}");
    EXPECT_EQ(recording.movementSamples[0].timeSeconds, 1);
    EXPECT_EQ(recording.movementSamples[1].normalizedX, 0.25);
    EXPECT_TRUE(recording.scrollSamples[0].isVisible);
    EXPECT_TRUE(recording.keyboardSamples.empty());
}

TEST_F(CursorRecordingFile, WhatIsNoTelemetryIsAnErrorThatNamesTheFile) {
    const std::string lists = R"(,"movementSamples":[],"activitySamples":[])";
    const auto movement = [&](const std::string& sample) {
        return "{" + kRegion + R"(,"activitySamples":[],"movementSamples":[)" + sample + "]}";
    };
    ASSERT_NO_THROW(read("{" + kRegion + lists + "}"));
    for (const std::string& text :
         {std::string(), std::string("[]"), std::string("{}"), "{" + kRegion + lists,
          "{" + kRegion + lists + "} x", "{" + kRegion + R"(,"movementSamples":[]})",
          "{" + lists.substr(1) + "}", movement(R"({"timeSeconds":1,"normalizedX":0,"normalizedY":0})"),
          movement(R"({"timeSeconds":"1","normalizedX":0,"normalizedY":0,"isVisible":true})"),
          movement(R"({"timeSeconds":1,"normalizedX":0,"normalizedY":1e999,"isVisible":true})"),
          movement(R"({"timeSeconds":1,"normalizedX":0,"normalizedY":1e300,"isVisible":true})"),
          movement(R"({"timeSeconds":1,"normalizedX":0,"normali)"),
          "{" + kRegion + lists + ",\"later\":" + std::string(1'000'000, '['),
          "{" + kRegion +
              R"(,"movementSamples":[],"activitySamples":[{"timeSeconds":1,"kind":"middleMouseDown",)" +
              R"("normalizedX":0,"normalizedY":0,"isVisible":true}]})",
          "{" + kRegion + lists + R"(,"keyboardSamples":[{"timeSeconds":1,"kind":"magic"}]})",
          "{" + kRegion + lists +
              R"(,"windowContextSamples":[{"timeSeconds":1,"activeWindowFrame":[[0,0],[1]]}]})",
          "{" + kRegion + lists + R"(,"windowContextSamples":[{"focusedElementRole":"AXLink"}]})"}) {
        try {
            read(text);
            ADD_FAILURE() << "accepted " << text;
        } catch (const CursorRecordingError& error) {
            EXPECT_NE(std::string(error.what()).find("cursor.json"), std::string::npos);
        }
    }
    EXPECT_THROW(readCursorRecording(directory_.file("none.json")), FileError);
}

}  // namespace
}  // namespace varnelle
