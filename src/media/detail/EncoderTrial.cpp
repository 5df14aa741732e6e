#include "media/detail/EncoderTrial.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "foundation/AtomicFile.h"
#include "foundation/Log.h"
#include "media/detail/FrameConverter.h"
#include "media/detail/VideoEncoder.h"

namespace varnelle::detail {
namespace {

constexpr int kTrialFrames = 24;
/// What takes longer is too slow for smooth recordings, and somebody waits for one to start.
constexpr std::chrono::seconds kLongestTrial{1};
constexpr int kDistinctPictures = 6;

URL cacheFile() {
    const char* cache = std::getenv("XDG_CACHE_HOME");
    const bool isUsable = cache != nullptr && cache[0] == '/';
    const URL directory = isUsable ? URL(std::filesystem::path(cache)) : homeDirectory().appending(".cache");
    return directory.appending("varnelle").appending("encoders.json");
}

std::string processorModel() {
    std::ifstream file("/proc/cpuinfo");
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with("model name")) return line.substr(std::min(line.size(), line.find(':') + 2));
    }
    return "unknown";
}

/// Counts up whenever capture is encoded otherwise.
constexpr int kTrialVersion = 3;
constexpr char kRateKey[] = "framesPerSecond";
constexpr char kDayKey[] = "day";  // since 1970

std::string trialKey(const VideoSettings& settings) {
    return fmt::format("{} x{}, {}x{}, {}, {}", processorModel(), std::thread::hardware_concurrency(),
                       settings.width, settings.height, settings.expectedSourceFrameRate, kTrialVersion);
}

nlohmann::json readCache() {
    try {
        nlohmann::json cache = nlohmann::json::parse(readFile(cacheFile()));
        if (cache.is_object()) return cache;
    } catch (const std::exception&) {
        // No cache yet, or one that was damaged: the trial is cheap.
    }
    return nlohmann::json::object();
}

void writeCache(const nlohmann::json& cache) {
    try {
        const URL file = cacheFile();
        std::filesystem::create_directories(file.parent().path());
        writeFileAtomically(file, cache.dump(2) + "\n");
    } catch (const std::exception& error) {
        logger(LogCategory::capture).warn("The encoder's trial is not remembered. {}", error.what());
    }
}

/// Something like a busy screen: bars of text-like detail that scroll at different speeds over a gradient.
VideoFrame livelyPicture(const VideoSettings& settings, int number) {
    VideoFrame frame =
        VideoFrame::allocate(PixelFormat::i420, settings.width, settings.height, settings.color);
    for (int y = 0; y < settings.height; ++y) {
        std::uint8_t* row = frame.plane(0).data + y * frame.plane(0).bytesPerRow;
        const int band = y / 48;
        const int shift = number * (band % 4) * 5;
        for (int x = 0; x < settings.width; ++x) {
            const auto cell = static_cast<std::uint32_t>((x + shift) / 3 * 31 + y / 4 * 57 + band * 101);
            const bool isInk = band % 3 != 0 && (cell * 2'654'435'761U >> 29) == 0;
            row[x] = static_cast<std::uint8_t>(isInk ? 40 : 120 + (x + y + 3 * number) * 80 / 4096 % 100);
        }
    }
    for (std::size_t plane = 1; plane < 3; ++plane) {
        for (int y = 0; y < (settings.height + 1) / 2; ++y) {
            std::uint8_t* row = frame.plane(plane).data + y * frame.plane(plane).bytesPerRow;
            for (int x = 0; x < (settings.width + 1) / 2; ++x) {
                row[x] = static_cast<std::uint8_t>(112 + (x / 32 + y / 24 + number) % 32);
            }
        }
    }
    return frame;
}

double measure(const VideoSettings& settings) {
    std::vector<VideoFrame> pictures;
    pictures.reserve(kDistinctPictures);
    for (int i = 0; i < kDistinctPictures; ++i) pictures.push_back(livelyPicture(settings, i));
    VideoEncoder encoder("libx265", settings);
    const PacketHandler ignore = [](AVPacket&) {};
    const auto encode = [&](int number) {
        const FramePtr frame = wrap(pictures[static_cast<std::size_t>(number) % pictures.size()]);
        encoder.encode(*frame, std::int64_t{number} * kVideoTimeBase.den / settings.expectedSourceFrameRate,
                       ignore);
    };
    // The first frame pays for starting the threads.
    encode(0);
    const auto start = std::chrono::steady_clock::now();
    std::chrono::duration<double> elapsed{};
    int count = 0;
    while (count < kTrialFrames && elapsed < kLongestTrial) {
        encode(++count);
        elapsed = std::chrono::steady_clock::now() - start;
    }
    return count / std::max(elapsed.count(), 1e-6);
}

std::int64_t today() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::floor<std::chrono::days>(now).count();
}

/// What an earlier trial measured, if that holds still.
std::optional<double> remembered(const nlohmann::json& cache, const std::string& key, double sufficient) {
    const nlohmann::json trial = cache.value(key, nlohmann::json::object());
    const auto rate = trial.find(kRateKey);
    const auto day = trial.find(kDayKey);
    if (rate == trial.end() || !rate->is_number()) return std::nullopt;
    const bool isOfToday = day != trial.end() && *day == today();
    if (*rate < sufficient && !isOfToday) return std::nullopt;
    return rate->get<double>();
}

}  // namespace

double framesPerSecondOfLiveHEVC(const VideoSettings& settings, double sufficient) {
    static std::mutex mutex;
    const std::lock_guard lock(mutex);
    const std::string key = trialKey(settings);
    nlohmann::json cache = readCache();
    if (const auto known = remembered(cache, key, sufficient)) return *known;
    const double rate = measure(settings);
    cache[key] = {{kRateKey, rate}, {kDayKey, today()}};
    writeCache(cache);
    return rate;
}

}  // namespace varnelle::detail
