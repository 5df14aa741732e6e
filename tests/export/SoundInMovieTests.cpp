#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <QTimer>

#include <cmath>
#include <numbers>

#include "export/ExportEngine.h"
#include "foundation/AtomicFile.h"
#include "media/FrameSource.h"
#include "support/SampleProject.h"
#include "support/SoundFixtures.h"
#include "support/SoundProbe.h"
#include "support/TemporaryDirectory.h"
#include "tasks/Await.h"

namespace varnelle {
namespace {

using testing::HasSubstr;

constexpr int kRate = 48'000;
constexpr int kWidth = 320;
constexpr int kHeight = 180;
constexpr int kFrameRate = 30;
constexpr double kBeepSeconds = 0.05;
constexpr double kHumAmplitude = 0.2;

/// Frames at which the picture flashes and both sources beep.
constexpr std::array kFlashes{20, 65, 111, 150, 200, 232, 270};
constexpr int kRecordedFrames = 300;

/// A sweep over the length of a beep: found to the sample, and unlike the other source's.
double sweep(double seconds, double fromHertz, double toHertz) {
    if (seconds < 0 || seconds >= kBeepSeconds) return 0;
    const double turns = fromHertz * seconds + (toHertz - fromHertz) * seconds * seconds / (2 * kBeepSeconds);
    return std::sin(2 * std::numbers::pi * turns);
}
double systemBeep(double seconds) {
    return sweep(seconds, 800, 4'800);
}
double microphoneBeep(double seconds) {
    return sweep(seconds, 9'000, 5'500);
}

test::Waveform beeping(double (*beep)(double), double amplitude, double humAmplitude) {
    return [=](double seconds, int) {
        double value = humAmplitude * std::sin(2 * std::numbers::pi * 221.7 * seconds);
        for (const int flash : kFlashes) value += amplitude * beep(seconds - double(flash) / kFrameRate);
        return value;
    };
}

std::vector<float> sampled(double (*beep)(double)) {
    std::vector<float> samples;
    for (int i = 0; i < kBeepSeconds * kRate; ++i)
        samples.push_back(static_cast<float>(beep(double(i) / kRate)));
    return samples;
}

/// How much of a beep is in a sound at a place.
double amountOf(const std::vector<float>& beep, const std::vector<float>& sound, std::size_t begin) {
    double shared = 0, own = 0;
    for (std::size_t i = 0; i < beep.size(); ++i) {
        shared += static_cast<double>(beep[i]) * sound.at(begin + i);
        own += static_cast<double>(beep[i]) * beep[i];
    }
    return shared / own;
}

class SoundInMovie : public testing::Test {
protected:
    /// Flashes and beeps as the recorder would write them: system sound in stereo, a microphone of another
    /// rate in mono.
    Project record() {
        RecordingSession session = test::sessionIn(directory_.url());
        session.frameRate = kFrameRate;
        session.renderSize = {kWidth, kHeight};
        session.availableAudioSources = {RecordedAudioSource::system, RecordedAudioSource::microphone};
        AssetWriter writer(session.screenRecordingURL, FileType::quickTimeMovie,
                           {.survivesTermination = true});
        AssetWriterInput* video = writer.addVideoInput(test::smallVideo(kWidth, kHeight));
        AssetWriterInput* system = writer.addAudioInput({48'000, 2, 192'000});
        AssetWriterInput* microphone = writer.addAudioInput({44'100, 1, 96'000});
        EXPECT_TRUE(writer.startWriting());
        writer.startSession(kCMTimeZero);
        const VideoFrame dark = test::plainPicture(kWidth, kHeight, 40, 40, 40);
        const VideoFrame bright = test::plainPicture(kWidth, kHeight, 250, 250, 250);
        const auto systemSound = beeping(systemBeep, 0.4, kHumAmplitude);
        const auto microphoneSound = beeping(microphoneBeep, 0.3, 0);
        for (int i = 0; i < kRecordedFrames; ++i) {
            const bool isBright = std::any_of(kFlashes.begin(), kFlashes.end(),
                                              [i](int flash) { return i >= flash && i < flash + 3; });
            EXPECT_TRUE(test::appendWaiting(
                *video, test::videoSample(isBright ? bright : dark, CMTime::make(i, kFrameRate))));
            const double from = double(i) / kFrameRate;
            const double to = double(i + 1) / kFrameRate;
            test::appendSound(*system, 48'000, 2, from, to, systemSound);
            test::appendSound(*microphone, 44'100, 1, from, to, microphoneSound);
        }
        writer.endSession(CMTime::make(kRecordedFrames, kFrameRate));
        EXPECT_EQ(test::finishAndWait(writer), TransferStatus::completed);
        return Project::make(session, CMTime::make(kRecordedFrames, kFrameRate), OverlayConfiguration{});
    }

    /// Three cuts: the last part comes first, and three stretches are left out.
    static Project cut(Project project) {
        const std::vector<std::pair<double, double>> parts{{5.5, 8.5}, {0.2, 1.9}, {2.9, 4.3}, {8.6, 9.8}};
        auto& clips = project.timeline.tracks.mutableElements()[0].clips.mutableElements();
        clips.clear();
        double offset = 0;
        for (const auto& [from, to] : parts) {
            clips.push_back({UUID::random(), project.recordingSession.screenRecordingURL,
                             test::rangeOfSeconds(from, to - from), timeFromSeconds(offset)});
            offset += to - from;
        }
        return project;
    }

    ExportEngine::Result exported(const Project& project, bool includesAudio = true,
                                  bool cancelsAtOnce = false) {
        ExportSettings settings;
        settings.outputDirectory = directory_.url();
        settings.customFilename = "movie";
        settings.includeAudio = includesAudio;
        ExportEngine engine;
        ExportEngine::Result result;
        int calls = 0;
        await(engine.exportProject(
            project, settings,
            [&](double) {
                if (cancelsAtOnce) engine.cancel();
            },
            [&](ExportEngine::Result r) {
                result = std::move(r);
                ++calls;
            }));
        EXPECT_EQ(calls, 1);
        return result;
    }

    /// Cancels as soon as there is a movie, while the export still finishes.
    ExportEngine::Result exportedAndCancelledTooLate(const Project& project) {
        ExportSettings settings;
        settings.outputDirectory = directory_.url();
        settings.customFilename = "late";
        ExportEngine engine;
        QTimer watch;
        QObject::connect(&watch, &QTimer::timeout, [&] {
            if (settings.outputURL().exists()) engine.cancel();
        });
        watch.start(0);
        ExportEngine::Result result;
        await(engine.exportProject(project, settings, nullptr,
                                   [&](ExportEngine::Result r) { result = std::move(r); }));
        return result;
    }

    URL movieOf(const ExportEngine::Result& result) {
        if (const auto* error = std::get_if<std::exception_ptr>(&result)) std::rethrow_exception(*error);
        return std::get<URL>(result);
    }

    static std::string errorOf(const ExportEngine::Result& result) {
        const auto* error = std::get_if<std::exception_ptr>(&result);
        return error != nullptr ? test::errorText(*error) : "";
    }

    /// Times of the first bright frame of each flash.
    static std::vector<double> flashesIn(const URL& movie) {
        const auto asset = std::make_shared<const MediaAsset>(movie);
        FrameSource source(asset, asset->tracks(MediaType::video).front());
        std::vector<double> flashes;
        bool wasBright = false;
        for (const SampleIndexEntry& entry : *source.track().sampleIndex) {
            const auto frame = source.frame(entry.presentationTime);
            const Plane& luma = frame->plane(0);
            const bool isBright = luma.data[kHeight / 2 * luma.bytesPerRow + kWidth / 2] > 128;
            if (isBright && !wasBright) flashes.push_back(entry.presentationTime.seconds());
            wasBright = isBright;
        }
        return flashes;
    }

    test::TemporaryDirectory directory_;
};

TEST_F(SoundInMovie, StaysWithThePictureThroughCuts) {
    const Project project = cut(record());
    const URL movie = movieOf(exported(project));
    const MediaAsset asset(movie);
    ASSERT_EQ(asset.tracks(MediaType::audio).size(), 1U);
    const MediaTrack track = asset.tracks(MediaType::audio).front();
    EXPECT_EQ(track.sampleRate, kRate);
    EXPECT_EQ(track.channelCount, 2);
    EXPECT_NEAR(track.duration.seconds(), 7.3, 0.5 / kRate);

    const std::vector<float> sound = test::decodeSound(movie, 0);
    // The last packet is decoded whole; its length says where the sound ends.
    EXPECT_NEAR(static_cast<double>(sound.size()), 7.3 * kRate + 512, 512);
    const std::vector<double> flashes = flashesIn(movie);
    ASSERT_EQ(flashes.size(), 5U);
    for (const double flash : flashes) {
        const auto place = static_cast<std::size_t>(std::llround(flash * kRate));
        SCOPED_TRACE(testing::Message() << "flash at " << flash << " s");
        const int systemLag = test::lagOf(sound, place, sampled(systemBeep), kRate / 100);
        const int microphoneLag = test::lagOf(sound, place, sampled(microphoneBeep), kRate / 100);
        EXPECT_NEAR(systemLag, 0, 2);
        EXPECT_NEAR(microphoneLag, 0, 2);
        EXPECT_NEAR(amountOf(sampled(systemBeep), sound, place), 0.4, 0.03);
        EXPECT_NEAR(amountOf(sampled(microphoneBeep), sound, place), 0.3, 0.03);
    }
    // No click at a cut: the hum rises by 0.006 from sample to sample, cut hard it would jump by up to 0.3.
    for (const double cutSeconds : {3.0, 4.7, 6.1}) {
        float jump = 0;
        for (auto i = static_cast<std::size_t>((cutSeconds - 0.01) * kRate); i < (cutSeconds + 0.01) * kRate;
             ++i)
            jump = std::max(jump, std::abs(sound.at(i) - sound.at(i - 1)));
        EXPECT_LT(jump, 0.02) << "at the cut at " << cutSeconds << " s";
    }
    // No gap: the hum is everywhere.
    for (std::size_t i = 960; i + 1'920 < sound.size(); i += 480) {
        double energy = 0;
        for (std::size_t k = i; k < i + 960; ++k) energy += double(sound[k]) * sound[k];
        ASSERT_GT(std::sqrt(energy / 960), 0.6 * kHumAmplitude / std::numbers::sqrt2) << "at sample " << i;
    }
}

TEST_F(SoundInMovie, HoldsWhatTheProjectIncludes) {
    Project project = cut(record());
    project.timeline.audioConfiguration.includesMicrophone = false;
    const auto place = static_cast<std::size_t>(std::llround((200.0 / kFrameRate - 5.5) * kRate));
    std::vector<float> sound = test::decodeSound(movieOf(exported(project)), 0);
    EXPECT_NEAR(amountOf(sampled(microphoneBeep), sound, place), 0, 0.003);
    EXPECT_NEAR(amountOf(sampled(systemBeep), sound, place), 0.4, 0.03);
    project.timeline.audioConfiguration = {};
    sound = test::decodeSound(movieOf(exported(project)), 0);
    EXPECT_LT(*std::max_element(sound.begin(), sound.end()), 0.0001F);
    EXPECT_TRUE(MediaAsset(movieOf(exported(project, false))).tracks(MediaType::audio).empty());
    // Tracks of sources that the session doesn't know are heard.
    project.recordingSession.availableAudioSources = {};
    sound = test::decodeSound(movieOf(exported(project)), 0);
    EXPECT_NEAR(amountOf(sampled(microphoneBeep), sound, place), 0.3, 0.03);
}

TEST_F(SoundInMovie, EndsAnExportThatFailsOrIsCancelled) {
    const Project project = record();
    const auto entries = directory_.entryCount();
    EXPECT_EQ(errorOf(exported(project, true, true)), "The export was cancelled.");
    EXPECT_EQ(directory_.entryCount(), entries);
    const URL late = movieOf(exportedAndCancelledTooLate(project));
    EXPECT_NEAR(MediaAsset(late).duration().seconds(), double(kRecordedFrames) / kFrameRate, 0.03);
    std::filesystem::remove(late.path());
    // A codec that nobody knows.
    const URL recording = project.recordingSession.screenRecordingURL;
    std::string bytes = readFile(recording);
    for (const std::string known : {"mp4a", "esds"}) {
        for (auto at = bytes.find(known); at != std::string::npos; at = bytes.find(known, at))
            bytes.replace(at, 4, "xxxx");
    }
    writeFileAtomically(recording, bytes);
    EXPECT_THAT(errorOf(exported(project)), HasSubstr("The sound of"));
    EXPECT_EQ(directory_.entryCount(), entries);
    EXPECT_EQ(errorOf(exported(project, false)), "");
}

}  // namespace
}  // namespace varnelle
