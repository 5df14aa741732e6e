#include "media/detail/InputPacing.h"

#include <algorithm>
#include <utility>

namespace varnelle::detail {
namespace {

constexpr CMTime kLongestLead{1, 1, CMTime::valid, 0};

}  // namespace

std::size_t InputPacing::join(std::function<void()> wake) {
    const std::lock_guard lock(mutex_);
    tracks_.push_back({std::move(wake), kCMTimeZero});
    return tracks_.size() - 1;
}

bool InputPacing::mayGoOn(std::size_t track) const {
    const std::lock_guard lock(mutex_);
    return isFree(track);
}

bool InputPacing::isFree(std::size_t track) const {
    const CMTime limit = tracks_[track].time - kLongestLead;
    return std::all_of(tracks_.begin(), tracks_.end(),
                       [&](const Track& other) { return !other.wake || other.time >= limit; });
}

void InputPacing::advance(std::size_t track, const CMTime& time) {
    changeAndWake([&] { tracks_[track].time = time; });
}

void InputPacing::leave(std::size_t track) {
    changeAndWake([&] { tracks_[track].wake = nullptr; });
}

/// Calls back without the lock, because whoever is woken asks at once whether it may go on.
template <typename Change>
void InputPacing::changeAndWake(Change change) {
    std::vector<std::function<void()>> woken;
    {
        const std::lock_guard lock(mutex_);
        std::vector<std::size_t> waiting;
        for (std::size_t i = 0; i < tracks_.size(); ++i) {
            if (!isFree(i)) waiting.push_back(i);
        }
        change();
        for (const std::size_t i : waiting) {
            if (tracks_[i].wake && isFree(i)) woken.push_back(tracks_[i].wake);
        }
    }
    for (const auto& wake : woken) wake();
}

}  // namespace varnelle::detail
