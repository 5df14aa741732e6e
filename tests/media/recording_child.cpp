// Records in a process of its own, so that a test can kill it or put limits on it.
//
//   recording_child still|lively FILE      in real time until it is killed; prints the time of each appended
//   frame recording_child limited|limited-surviving FILE BYTES
//                                          until a file size limit is hit; prints the writer's error
//   recording_child small-disk DIRECTORY   on a file system with room for one copy only; prints the outcome
#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <random>
#include <string>
#include <thread>

#include "media/AssetWriter.h"
#include "media/MediaAsset.h"
#include "support/MediaFixtures.h"

namespace varnelle {
namespace {

constexpr int kWidth = 320;
constexpr int kHeight = 180;
constexpr int kFramesPerSecond = 30;
constexpr int kExitUnsupported = 77;

VideoSettings liveSettings() {
    VideoSettings settings = test::smallVideo(kWidth, kHeight);
    settings.purpose = EncodingPurpose::liveCapture;
    return settings;
}

VideoFrame noise(unsigned seed) {
    std::mt19937 random(seed);
    VideoFrame frame = test::plainPicture(kWidth, kHeight, 0, 0, 0);
    for (int i = 0; i < kWidth * kHeight * 4; ++i)
        frame.plane(0).data[i] = static_cast<std::uint8_t>(random());
    return frame;
}

int recordUntilKilled(const URL& file, bool isLively) {
    AssetWriter writer(file, FileType::quickTimeMovie,
                       {.survivesTermination = true, .expectsMediaDataInRealTime = true});
    AssetWriterInput* video = writer.addVideoInput(liveSettings());
    AssetWriterInput* sound = writer.addAudioInput({});
    if (!writer.startWriting()) return 1;
    writer.startSession(kCMTimeZero);
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0;; ++i) {
        std::this_thread::sleep_until(start + std::chrono::microseconds(1'000'000LL * i / kFramesPerSecond));
        const CMTime time = CMTime::make(i, kFramesPerSecond);
        // A still screen changes for the last time after 20 frames.
        const bool isNew = isLively || i < 20;
        // On a busy machine the encoder may lag for a moment, which is not what is tested.
        const auto picture = test::videoSample(test::numberedPicture(kWidth, kHeight, i), time);
        if (isNew && !test::appendWaiting(*video, picture)) return 2;
        const auto tone = test::audioSample(48000, 2, std::vector<float>(3200, 0.1F), time);
        if (isLively && !test::appendWaiting(*sound, tone)) return 3;
        std::printf("%d\n", i);
        std::fflush(stdout);
    }
}

/// Appends noise until the writer fails or `isEnough`.
template <typename Predicate>
void appendNoise(AssetWriter& writer, AssetWriterInput& video, Predicate isEnough) {
    for (int i = 0; writer.status() == TransferStatus::reading && !isEnough(); ++i) {
        if (!test::appendWaiting(video,
                                 test::videoSample(noise(static_cast<unsigned>(i)), CMTime::make(i, 30))))
            return;
    }
}

int recordWithLimit(const URL& file, bool survives, rlim_t bytes) {
    signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{bytes, bytes};
    if (setrlimit(RLIMIT_FSIZE, &limit) != 0) return kExitUnsupported;
    AssetWriter writer(file, FileType::quickTimeMovie, {.survivesTermination = survives});
    AssetWriterInput* video = writer.addVideoInput(liveSettings());
    if (!writer.startWriting()) return 1;
    writer.startSession(kCMTimeZero);
    appendNoise(writer, *video, [] { return false; });
    if (video->append(test::videoSample(noise(0), CMTime::make(1000, 1)))) return 2;
    if (test::finishAndWait(writer) != TransferStatus::failed) return 3;
    std::printf("%s\n", test::errorText(writer.error()).c_str());
    return 0;
}

int recordOnSmallDisk(const URL& directory) {
    // A mount of this process alone, which goes with it.
    const bool isMounted = unshare(CLONE_NEWNS) == 0 &&
                           mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                           mount("tmpfs", directory.string().c_str(), "tmpfs", 0, "size=3m") == 0;
    if (!isMounted) return kExitUnsupported;
    const URL file = directory.appending("movie.mov");
    AssetWriter writer(file, FileType::quickTimeMovie, {.survivesTermination = true});
    AssetWriterInput* video = writer.addVideoInput(liveSettings());
    if (!writer.startWriting()) return 1;
    writer.startSession(kCMTimeZero);
    appendNoise(writer, *video, [&file] { return std::filesystem::file_size(file.path()) > 1'800'000; });
    if (test::finishAndWait(writer) != TransferStatus::completed) {
        std::printf("%s\n", test::errorText(writer.error()).c_str());
        return 2;
    }
    const auto entries = std::distance(std::filesystem::directory_iterator(directory.path()), {});
    if (entries != 1 || std::filesystem::file_size(file.path()) < 1'800'000) return 3;
    const MediaAsset asset(file);
    std::printf("%zu frames\n", asset.tracks().front().sampleIndex->size());
    return asset.tracks().front().sampleIndex->size() > 10 ? 0 : 4;
}

}  // namespace
}  // namespace varnelle

int main(int count, char** arguments) {
    using namespace varnelle;
    const std::string mode = count > 2 ? arguments[1] : "";
    const URL url(count > 2 ? arguments[2] : "");
    if (mode == "still" || mode == "lively") return recordUntilKilled(url, mode == "lively");
    if (mode == "small-disk") return recordOnSmallDisk(url);
    if (mode.starts_with("limited") && count > 3) {
        return recordWithLimit(url, mode == "limited-surviving", std::stoul(arguments[3]));
    }
    return 64;
}
