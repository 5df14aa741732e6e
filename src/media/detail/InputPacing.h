#pragma once

#include <cstddef>
#include <functional>
#include <mutex>
#include <vector>

#include "foundation/CMTime.h"

namespace varnelle::detail {

/// Keeps the tracks of a movie together while they are pulled from their sources: none is asked for more than
/// a second beyond the slowest. The container orders packets by time; a track that ran ahead would pile up in
/// memory there, or lie in the file far from what is played with it. Safe to share between threads.
class InputPacing {
public:
    /// A new track, which stands at zero. `wake` is called, on any thread, when it may go on after having
    /// been too far ahead. Returns the track's number.
    std::size_t join(std::function<void()> wake);
    /// Whether more may be asked of the track. The slowest always may.
    [[nodiscard]] bool mayGoOn(std::size_t track) const;
    /// The track has got as far as this.
    void advance(std::size_t track, const CMTime& time);
    /// Nobody waits for the track any more.
    void leave(std::size_t track);

private:
    struct Track {
        std::function<void()> wake;  ///< empty once it has left
        CMTime time = kCMTimeZero;
    };

    [[nodiscard]] bool isFree(std::size_t track) const;
    template <typename Change>
    void changeAndWake(Change change);

    mutable std::mutex mutex_;
    std::vector<Track> tracks_;  // guarded by mutex_
};

}  // namespace varnelle::detail
