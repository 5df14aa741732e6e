#pragma once

#include <compare>
#include <cstdint>

namespace varnelle {

/// Rational time: `value / timescale` seconds, or one of the states invalid, indefinite, positive infinity.
///
/// Sums and comparisons are exact: intermediates have 128 bits, and a sum is rounded only where no 32-bit
/// timescale can hold it (it then carries the flag `hasBeenRounded`). Comparison is numeric, so 1/2 equals
/// 300/600. Across states the order is: invalid, numbers, indefinite, positive infinity.
struct CMTime {
    enum Flags : std::uint32_t {
        valid = 1U << 0,
        hasBeenRounded = 1U << 1,
        positiveInfinity = 1U << 2,
        indefinite = 1U << 3,
    };

    std::int64_t value = 0;
    std::int32_t timescale = 0;
    std::uint32_t flags = 0;
    std::int64_t epoch = 0;

    /// A time of `value / timescale` seconds; invalid if the timescale isn't positive.
    static CMTime make(std::int64_t value, std::int32_t timescale);
    /// The nearest multiple of `1 / preferredTimescale`. Not-a-number gives an invalid time; what doesn't fit
    /// becomes positive infinity (or, below the smallest value, the smallest value).
    static CMTime fromSeconds(double seconds, std::int32_t preferredTimescale);

    [[nodiscard]] bool isValid() const { return (flags & valid) != 0; }
    [[nodiscard]] bool isIndefinite() const { return isValid() && (flags & indefinite) != 0; }
    [[nodiscard]] bool isPositiveInfinity() const { return isValid() && (flags & positiveInfinity) != 0; }
    /// A finite number.
    [[nodiscard]] bool isNumeric() const {
        return isValid() && (flags & (positiveInfinity | indefinite)) == 0;
    }

    /// Seconds as the nearest double; not-a-number for invalid and indefinite times, infinity for infinity.
    [[nodiscard]] double seconds() const;
    /// The nearest time of another timescale.
    [[nodiscard]] CMTime converted(std::int32_t newTimescale) const;

    friend CMTime operator+(const CMTime& a, const CMTime& b);
    friend CMTime operator-(const CMTime& a, const CMTime& b);
    friend bool operator==(const CMTime& a, const CMTime& b);
    friend std::strong_ordering operator<=>(const CMTime& a, const CMTime& b);
};

inline constexpr CMTime kCMTimeInvalid{};
inline constexpr CMTime kCMTimeZero{0, 1, CMTime::valid, 0};
inline constexpr CMTime kCMTimeIndefinite{0, 0, CMTime::valid | CMTime::indefinite, 0};
inline constexpr CMTime kCMTimePositiveInfinity{0, 0, CMTime::valid | CMTime::positiveInfinity, 0};

/// A stretch of time. The end is exclusive.
struct CMTimeRange {
    CMTime start;
    CMTime duration;

    [[nodiscard]] CMTime end() const { return start + duration; }
    bool operator==(const CMTimeRange&) const = default;
};

/// The timescale of every time that the program makes up from seconds.
inline constexpr std::int32_t kTimelineTimescale = 600;

/// Seconds of a time for display, storage and arithmetic: 0 unless it is a finite number, and never negative.
double clampedSeconds(const CMTime& time);
/// The inverse: timescale 600, with a non-finite or negative number taken as 0.
CMTime timeFromSeconds(double seconds);

}  // namespace varnelle
