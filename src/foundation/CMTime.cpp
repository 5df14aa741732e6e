#include "foundation/CMTime.h"

#include <cmath>
#include <limits>
#include <numeric>

namespace varnelle {
namespace {

__extension__ using Int128 = __int128;

constexpr Int128 kMaxTimescale = std::numeric_limits<std::int32_t>::max();
constexpr Int128 kMaxValue = std::numeric_limits<std::int64_t>::max();

Int128 magnitude(Int128 x) {
    return x < 0 ? -x : x;
}

Int128 greatestCommonDivisor(Int128 a, Int128 b) {
    while (b != 0) {
        const Int128 rest = a % b;
        a = b;
        b = rest;
    }
    return a;
}

/// Nearest integer to numerator / denominator (denominator positive), halves away from zero.
Int128 divideRounded(Int128 numerator, Int128 denominator) {
    const Int128 half = denominator / 2;
    return numerator < 0 ? -((-numerator + half) / denominator) : (numerator + half) / denominator;
}

/// The time numerator / denominator in `preferredTimescale` if that is exact, else in the reduced timescale
/// if it fits, else rounded to the finest timescale that holds it.
CMTime fromFraction(Int128 numerator, Int128 denominator, Int128 preferredTimescale) {
    if ((numerator * preferredTimescale) % denominator == 0) {
        const Int128 value = numerator * preferredTimescale / denominator;
        if (magnitude(value) <= kMaxValue) {
            return {static_cast<std::int64_t>(value), static_cast<std::int32_t>(preferredTimescale),
                    CMTime::valid, 0};
        }
    }
    const Int128 divisor = greatestCommonDivisor(magnitude(numerator), denominator);
    numerator /= divisor;
    denominator /= divisor;
    std::uint32_t flags = CMTime::valid;
    if (denominator > kMaxTimescale) {
        numerator = divideRounded(numerator * kMaxTimescale, denominator);
        denominator = kMaxTimescale;
        flags |= CMTime::hasBeenRounded;
    }
    while (magnitude(numerator) > kMaxValue && denominator > 1) {
        numerator = divideRounded(numerator, 2);
        denominator = denominator / 2;
        flags |= CMTime::hasBeenRounded;
    }
    if (magnitude(numerator) > kMaxValue) {
        if (numerator > 0) return kCMTimePositiveInfinity;
        numerator = -kMaxValue;
    }
    return {static_cast<std::int64_t>(numerator), static_cast<std::int32_t>(denominator), flags, 0};
}

/// Place of a state in the order of times.
int rank(const CMTime& time) {
    if (!time.isValid()) return 0;
    if (time.isPositiveInfinity()) return 3;
    return time.isIndefinite() ? 2 : 1;
}

CMTime combine(const CMTime& a, const CMTime& b, int sign) {
    if (!a.isValid() || !b.isValid()) return kCMTimeInvalid;
    if (a.isIndefinite() || b.isIndefinite()) return kCMTimeIndefinite;
    if (b.isPositiveInfinity() && sign < 0) return kCMTimeInvalid;
    if (a.isPositiveInfinity() || b.isPositiveInfinity()) return kCMTimePositiveInfinity;
    CMTime result;
    if (a.timescale == b.timescale) {
        result = fromFraction(Int128{a.value} + sign * Int128{b.value}, a.timescale, a.timescale);
    } else {
        const Int128 common = std::lcm(std::int64_t{a.timescale}, std::int64_t{b.timescale});
        const Int128 sum = a.value * (common / a.timescale) + sign * (b.value * (common / b.timescale));
        result = fromFraction(sum, common, common <= kMaxTimescale ? common : Int128{a.timescale});
    }
    if (result.isNumeric()) result.flags |= (a.flags | b.flags) & CMTime::hasBeenRounded;
    result.epoch = a.epoch;
    return result;
}

}  // namespace

CMTime CMTime::make(std::int64_t value, std::int32_t timescale) {
    if (timescale <= 0) return kCMTimeInvalid;
    return {value, timescale, valid, 0};
}

CMTime CMTime::fromSeconds(double seconds, std::int32_t preferredTimescale) {
    if (std::isnan(seconds) || preferredTimescale <= 0) return kCMTimeInvalid;
    const double scaled = std::round(seconds * preferredTimescale);
    constexpr double limit = 9.2e18;
    if (scaled >= limit) return kCMTimePositiveInfinity;
    const double floored = std::max(scaled, -limit);
    CMTime time = make(static_cast<std::int64_t>(floored), preferredTimescale);
    if (floored / preferredTimescale != seconds) time.flags |= hasBeenRounded;
    return time;
}

double CMTime::seconds() const {
    if (!isValid() || isIndefinite()) return std::numeric_limits<double>::quiet_NaN();
    if (isPositiveInfinity()) return std::numeric_limits<double>::infinity();
    return static_cast<double>(value) / timescale;
}

CMTime CMTime::converted(std::int32_t newTimescale) const {
    if (!isNumeric() || newTimescale <= 0) return *this;
    const Int128 scaled = Int128{value} * newTimescale;
    const Int128 rounded = divideRounded(scaled, timescale);
    if (magnitude(rounded) > kMaxValue) return *this;
    CMTime result = make(static_cast<std::int64_t>(rounded), newTimescale);
    result.flags |= flags & hasBeenRounded;
    if (rounded * timescale != scaled) result.flags |= hasBeenRounded;
    result.epoch = epoch;
    return result;
}

CMTime operator+(const CMTime& a, const CMTime& b) {
    return combine(a, b, 1);
}

CMTime operator-(const CMTime& a, const CMTime& b) {
    return combine(a, b, -1);
}

bool operator==(const CMTime& a, const CMTime& b) {
    return (a <=> b) == std::strong_ordering::equal;
}

std::strong_ordering operator<=>(const CMTime& a, const CMTime& b) {
    if (rank(a) != rank(b)) return rank(a) <=> rank(b);
    if (!a.isNumeric()) return std::strong_ordering::equal;
    if (a.epoch != b.epoch) return a.epoch <=> b.epoch;
    const Int128 left = Int128{a.value} * b.timescale;
    const Int128 right = Int128{b.value} * a.timescale;
    if (left == right) return std::strong_ordering::equal;
    return left < right ? std::strong_ordering::less : std::strong_ordering::greater;
}

double clampedSeconds(const CMTime& time) {
    if (!time.isNumeric()) return 0;
    const double seconds = time.seconds();
    return seconds > 0 ? seconds : 0;
}

CMTime timeFromSeconds(double seconds) {
    const double usable = std::isfinite(seconds) && seconds > 0 ? seconds : 0;
    return CMTime::fromSeconds(usable, kTimelineTimescale);
}

}  // namespace varnelle
