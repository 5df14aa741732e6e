#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>

#include "foundation/Queue.h"
#include "foundation/RepeatingTimer.h"
#include "foundation/URL.h"

namespace varnelle {

/// Room on a disk and what a recording has taken of it, in bytes.
struct StorageReading {
    std::uint64_t freeBytes = 0;
    std::uint64_t writtenBytes = 0;
};

/// Tells from readings over time how long the room on a disk will last.
class StorageForecast {
public:
    /// How long recording may go on, at the rate of the last ten seconds; what completing the files needs is
    /// set aside, and with less than that it is nothing. Absent until there are two seconds of readings, and
    /// while nothing is written. `time` counts from anywhere and grows.
    std::optional<std::chrono::duration<double>> secondsLeft(std::chrono::duration<double> time,
                                                             const StorageReading& reading);

private:
    struct Entry {
        std::chrono::duration<double> time;
        std::uint64_t writtenBytes;
    };
    std::deque<Entry> entries_;
};

/// Looks once a second at the disk that a recording is written to.
class StorageWatch {
public:
    /// How a session directory's disk is read; absent if it can't be.
    using Reader = std::function<std::optional<StorageReading>(const URL& sessionDirectory)>;
    static std::optional<StorageReading> readStorage(const URL& sessionDirectory);

    /// A recording is ended while there is still room for so much more of it.
    static constexpr std::chrono::minutes kLeastTimeLeft{2};

    /// Calls `onNeedsStop` once, on the watch's queue, when less than `kLeastTimeLeft` is left or writing has
    /// failed.
    StorageWatch(URL sessionDirectory, Reader reader, std::function<bool()> hasFailed,
                 std::function<void()> onNeedsStop);

private:
    void look();
    [[nodiscard]] bool isNearlyFull();

    const URL directory_;
    const Reader reader_;
    const std::function<bool()> hasFailed_;
    const std::function<void()> onNeedsStop_;
    StorageForecast forecast_;
    bool hasTold_ = false;
    SerialQueue queue_{"com.varnelle.recording.storage"};
    std::unique_ptr<RepeatingTimer> timer_;
};

}  // namespace varnelle
