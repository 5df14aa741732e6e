#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <limits>
#include <vector>

#include "CommandLine.h"
#include "camera/CursorRecordingFile.h"
#include "media/AudioMixReader.h"
#include "media/Composition.h"
#include "media/MediaAsset.h"

namespace {

using namespace varnelle;

constexpr const char* kHelp = R"(sync_report SESSION

Measures how the tracks of a recording's directory (screen.mov, camera.mov, cursor.json) lie beside one
another, and prints a line for each:
  - pictures: when the first one is shown, when the track ends, how many there are, the usual distance between
    two, and the longest; for the camera also how many were lost, going by the usual distance;
  - sound: when the first sample is that isn't silent, when the track ends, how long the silences of 20 ms and
    more between sounds are together (devices that were away leave such), and by how much the sound is longer
    than the pictures, in milliseconds and in millionths;
  - pointer: the first and the last sample, how many there are, and the longest distance.
Times are seconds of the recording.
)";

struct Distances {
    double usual = 0;
    double longest = 0;
};

Distances distancesOf(const std::vector<double>& times) {
    std::vector<double> distances;
    for (std::size_t i = 1; i < times.size(); ++i) distances.push_back(times[i] - times[i - 1]);
    if (distances.empty()) return {};
    const auto middle = distances.begin() + static_cast<std::ptrdiff_t>(distances.size() / 2);
    std::nth_element(distances.begin(), middle, distances.end());
    return {*middle, *std::max_element(distances.begin(), distances.end())};
}

enum class Regularity { whenChanged, steady };

/// Returns when the pictures end.
double reportPictures(const char* name, const MediaTrack& track, Regularity regularity) {
    std::vector<double> times;
    for (const SampleIndexEntry& entry : *track.sampleIndex)
        times.push_back(entry.presentationTime.seconds());
    const Distances distances = distancesOf(times);
    fmt::print("{}: from {:.4f} to {:.4f}, {} pictures, usually {:.1f} ms apart, at most {:.1f} ms", name,
               times.empty() ? 0 : times.front(), track.duration.seconds(), times.size(),
               distances.usual * 1e3, distances.longest * 1e3);
    if (regularity == Regularity::steady && distances.usual > 0) {
        // The first picture is kept back for the start, so its distance means nothing.
        double lost = 0;
        for (std::size_t i = 2; i < times.size(); ++i) {
            lost += std::max(0.0, std::round((times[i] - times[i - 1]) / distances.usual) - 1);
        }
        fmt::print(", {} lost", lost);
    }
    fmt::print("\n");
    return track.duration.seconds();
}

struct SoundExtent {
    double firstSound = -1;  ///< seconds; negative for a silent track
    double silence = 0;      ///< seconds of silences between sounds
};

SoundExtent measureSound(const std::shared_ptr<const MediaAsset>& asset, const MediaTrack& track) {
    constexpr double kRate = 48'000;
    constexpr double kShortestSilence = 0.02;
    constexpr float kSilent = 1e-3F;  // encoders put faint traces in front of sounds
    auto composition = std::make_shared<Composition>();
    CompositionTrack& target = composition->addTrack(MediaType::audio);
    target.insertTimeRange({kCMTimeZero, track.duration}, asset, track, kCMTimeZero);
    AudioMixReader reader(composition, {});
    SoundExtent extent;
    if (!reader.startReading()) return extent;
    double position = 0;
    double lastSound = -1;
    while (const auto block = reader.copyNextSampleBuffer()) {
        const PCMBlock& pcm = *block->pcm();
        for (std::size_t frame = 0; frame < pcm.frameCount(); ++frame, ++position) {
            if (std::abs((*pcm.samples)[2 * frame]) < kSilent &&
                std::abs((*pcm.samples)[2 * frame + 1]) < kSilent)
                continue;
            const double now = position / kRate;
            if (extent.firstSound < 0) extent.firstSound = now;
            if (lastSound >= 0 && now - lastSound >= kShortestSilence) extent.silence += now - lastSound;
            lastSound = now;
        }
    }
    if (reader.error()) std::rethrow_exception(reader.error());
    return extent;
}

void reportSound(const char* name, const std::shared_ptr<const MediaAsset>& asset, const MediaTrack& track,
                 double pictureEnd) {
    const SoundExtent extent = measureSound(asset, track);
    const double length = track.duration.seconds();
    const std::string start =
        extent.firstSound < 0 ? "silent" : fmt::format("first sound at {:.4f}", extent.firstSound);
    fmt::print("{}: {}, to {:.4f}, {:.3f} s of silences, {:+.1f} ms ({:+.0f} ppm) against the pictures\n",
               name, start, length, extent.silence, (length - pictureEnd) * 1e3,
               (length / pictureEnd - 1) * 1e6);
}

void reportPointer(const URL& url) {
    const CursorRecording recording = readCursorRecording(url);
    std::vector<double> times;
    for (const CursorMovementSample& sample : recording.movementSamples) times.push_back(sample.timeSeconds);
    const Distances distances = distancesOf(times);
    fmt::print("pointer: from {:.4f} to {:.4f}, {} samples, usually {:.1f} ms apart, at most {:.1f} ms\n",
               times.empty() ? 0 : times.front(), recording.lastEventTime(), times.size(),
               distances.usual * 1e3, distances.longest * 1e3);
}

int report(const CommandLine& arguments) {
    const URL session(std::filesystem::absolute(arguments.positional().at(0)));
    const auto screen = std::make_shared<const MediaAsset>(session.appending("screen.mov"));
    double pictureEnd = 0;
    for (const MediaTrack& track : screen->tracks(MediaType::video)) {
        pictureEnd = reportPictures("screen", track, Regularity::whenChanged);
    }
    for (const MediaTrack& track : screen->tracks(MediaType::audio)) {
        reportSound(track.channelCount == 1 ? "microphone" : "system sound", screen, track, pictureEnd);
    }
    if (std::filesystem::exists(session.appending("camera.mov").path())) {
        const MediaAsset camera(session.appending("camera.mov"));
        for (const MediaTrack& track : camera.tracks(MediaType::video)) {
            reportPictures("camera", track, Regularity::steady);
        }
    }
    if (std::filesystem::exists(session.appending("cursor.json").path())) {
        reportPointer(session.appending("cursor.json"));
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    return runTool(argc, argv, kHelp, 1, report);
}
