#include "foundation/HostClock.h"

#include <ctime>

namespace varnelle {

CMTime hostTimeNow() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return hostTimeFromNanoseconds(std::int64_t{now.tv_sec} * kHostTimescale + now.tv_nsec);
}

CMTime hostTimeFromNanoseconds(std::int64_t nanoseconds) {
    return CMTime::make(nanoseconds, kHostTimescale);
}

}  // namespace varnelle
