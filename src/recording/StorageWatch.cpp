#include "recording/StorageWatch.h"

#include <filesystem>
#include <system_error>
#include <utility>

namespace varnelle {
namespace {

using Seconds = std::chrono::duration<double>;

constexpr Seconds kRateWindow{10};
constexpr Seconds kShortestSpan{2};
/// The index of a long movie and the telemetry are written when the recording ends.
constexpr std::uint64_t kRoomForCompletion = 64ULL << 20;
constexpr std::chrono::seconds kInterval{1};

}  // namespace

std::optional<Seconds> StorageForecast::secondsLeft(Seconds time, const StorageReading& reading) {
    if (reading.freeBytes <= kRoomForCompletion) return Seconds{0};
    entries_.push_back({time, reading.writtenBytes});
    while (entries_.size() > 2 && time - entries_[1].time >= kRateWindow) entries_.pop_front();
    const Seconds span = time - entries_.front().time;
    if (span < kShortestSpan || reading.writtenBytes <= entries_.front().writtenBytes) return std::nullopt;
    const double rate =
        static_cast<double>(reading.writtenBytes - entries_.front().writtenBytes) / span.count();
    return Seconds{static_cast<double>(reading.freeBytes - kRoomForCompletion) / rate};
}

std::optional<StorageReading> StorageWatch::readStorage(const URL& sessionDirectory) {
    std::error_code error;
    const auto space = std::filesystem::space(sessionDirectory.path(), error);
    if (error) return std::nullopt;
    StorageReading reading{space.available, 0};
    for (std::filesystem::directory_iterator entry(sessionDirectory.path(), error), end;
         !error && entry != end; entry.increment(error)) {
        std::error_code ignored;
        const std::uintmax_t size = entry->file_size(ignored);
        if (!ignored) reading.writtenBytes += size;
    }
    if (error) return std::nullopt;
    return reading;
}

StorageWatch::StorageWatch(URL sessionDirectory, Reader reader, std::function<bool()> hasFailed,
                           std::function<void()> onNeedsStop)
    : directory_(std::move(sessionDirectory)),
      reader_(std::move(reader)),
      hasFailed_(std::move(hasFailed)),
      onNeedsStop_(std::move(onNeedsStop)) {
    timer_ = std::make_unique<RepeatingTimer>(queue_, kInterval, kInterval, [this] { look(); });
}

void StorageWatch::look() {
    if (hasTold_ || !(hasFailed_() || isNearlyFull())) return;
    hasTold_ = true;
    onNeedsStop_();
}

bool StorageWatch::isNearlyFull() {
    const std::optional<StorageReading> reading = reader_(directory_);
    if (!reading) return false;
    const Seconds now = std::chrono::steady_clock::now().time_since_epoch();
    const auto left = forecast_.secondsLeft(now, *reading);
    return left && *left < kLeastTimeLeft;
}

}  // namespace varnelle
