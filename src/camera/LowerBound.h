#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

namespace varnelle {

/// Index of the first sample at or after a time; the count if there is none.
template <typename Sample>
std::size_t lowerBound(const std::vector<Sample>& samples, double timeSeconds) {
    const auto found =
        std::lower_bound(samples.begin(), samples.end(), timeSeconds,
                         [](const Sample& sample, double time) { return sample.timeSeconds < time; });
    return static_cast<std::size_t>(found - samples.begin());
}

/// The two samples that a moment is interpolated between, and its place between them. Before the first sample
/// and after the last one, and between samples of the same time, `fraction` is 0 and `previous` stands alone.
template <typename Sample>
struct Bracket {
    const Sample& previous;
    const Sample& next;
    double fraction;
};

/// `samples` must not be empty; `index` is the moment's lower bound.
template <typename Sample>
Bracket<Sample> bracketAt(const std::vector<Sample>& samples, std::size_t index, double timeSeconds) {
    const Sample& previous = samples[std::max<std::size_t>(index, 1) - 1];
    const Sample& next = samples[std::min(samples.size() - 1, index)];
    double fraction = 0;
    if (index < samples.size() && previous.timeSeconds < next.timeSeconds) {
        fraction = (timeSeconds - previous.timeSeconds) / (next.timeSeconds - previous.timeSeconds);
    }
    return {previous, next, fraction};
}

}  // namespace varnelle
