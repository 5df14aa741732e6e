#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace varnelle {

/// A moment in UTC, in whole seconds, which is what files keep.
struct Date {
    std::int64_t secondsSinceEpoch = 0;

    static Date now();
    /// From the ISO 8601 form "2026-11-15T22:01:11Z"; absent if `text` isn't one or names no real day.
    static std::optional<Date> parseISO8601(std::string_view text);
    [[nodiscard]] std::string iso8601() const;

    auto operator<=>(const Date&) const = default;
};

}  // namespace varnelle
