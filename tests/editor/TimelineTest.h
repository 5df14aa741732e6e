#pragma once

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <string>
#include <vector>

#include "editor/TimelineModel.h"
#include "support/SampleProject.h"

namespace varnelle::test {

/// A timeline of 50 s at 20 points a second in a view of 1048 points: clips A (0 to 20 s, source from 5 s)
/// and B (20 to 50 s, source from 30 s) of a source of 70 s, and zooms at 5 to 10 s and at 30 to 34 s.
class TimelineTest : public testing::Test {
protected:
    TimelineTest() {
        project = projectIn(URL("/var/tmp/recording"), 50);
        const URL source = project.recordingSession.screenRecordingURL;
        setClips({{clipA, source, rangeOfSeconds(5, 20), timeFromSeconds(0)},
                  {clipB, source, rangeOfSeconds(30, 30), timeFromSeconds(20)}});
        timeline.setAssetDurations({{source, timeFromSeconds(70)}});
        timeline.setDuration(timeFromSeconds(50));
        timeline.setZoomPanClips({{zoomA, rangeOfSeconds(5, 5)}, {zoomB, rangeOfSeconds(30, 4)}});
        timeline.setCanDeleteClip(true);
        timeline.setCanDeleteZoomPanClip(true);
        timeline.setViewWidth(1048);
        writeDown();
    }
    void setClips(std::vector<TimelineClip> clips) {
        project.timeline.tracks.mutableElements()[0].clips = std::move(clips);
        timeline.setProject(project);
    }
    static double x(double seconds) { return 24 + 20 * seconds; }
    /// What was asked for since the last call, one line each.
    std::vector<std::string> asked() { return std::exchange(asked_, {}); }

    const UUID clipA = UUID::random();
    const UUID clipB = UUID::random();
    const UUID zoomA = UUID::random();
    const UUID zoomB = UUID::random();
    Project project;
    TimelineModel timeline;

private:
    [[nodiscard]] std::string name(const UUID& id) const {
        return id == clipA ? "A" : id == clipB ? "B" : id == zoomA ? "zoom A" : id == zoomB ? "zoom B" : "?";
    }
    static std::string text(const CMTime& time) {
        if (!time.isNumeric()) return "-";
        EXPECT_TRUE(time.timescale == 600 || time == kCMTimeZero);
        return std::to_string(time.converted(600).value);
    }
    void writeDown() {
        const auto add = [this](const std::string& line) { asked_.push_back(line); };
        using Model = TimelineModel;
        QObject::connect(&timeline, &Model::togglePlayback, [=] { add("toggle"); });
        QObject::connect(&timeline, &Model::seek, [=](const CMTime& time) { add("seek " + text(time)); });
        QObject::connect(&timeline, &Model::playbackRateChange,
                         [=](float rate) { add("rate " + std::to_string(static_cast<int>(rate * 10))); });
        QObject::connect(&timeline, &Model::splitClip, [=, this](const UUID& id, const CMTime& offset) {
            add("split " + name(id) + " " + text(offset));
        });
        QObject::connect(&timeline, &Model::addZoomPanClip,
                         [=](const CMTime& time) { add("add " + text(time)); });
        QObject::connect(&timeline, &Model::deleteClip, [=] { add("delete clip"); });
        QObject::connect(&timeline, &Model::deleteZoomPanClip, [=] { add("delete zoom"); });
        QObject::connect(
            &timeline, &Model::trim,
            [=, this](const UUID& id, const CMTime& start, const CMTime& duration, const CMTime& asset) {
                add("trim " + name(id) + " " + text(start) + " " + text(duration) + " " + text(asset));
            });
        QObject::connect(
            &timeline, &Model::trimZoomPanClip,
            [=, this](const UUID& id, const CMTime& start, const CMTime& duration, const CMTime& whole) {
                add("trim " + name(id) + " " + text(start) + " " + text(duration) + " " + text(whole));
            });
        QObject::connect(&timeline, &Model::moveZoomPanClip,
                         [=, this](const UUID& id, double start, const CMTime& whole) {
                             add("move " + name(id) + " " + text(timeFromSeconds(start)) + " " + text(whole));
                         });
        QObject::connect(&timeline, &Model::scrub, [=](const std::optional<CMTime>& time) {
            add("scrub " + (time ? text(*time) : std::string("end")));
        });
    }

    std::vector<std::string> asked_;
};

}  // namespace varnelle::test
