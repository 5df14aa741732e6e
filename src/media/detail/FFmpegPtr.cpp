#include "media/detail/FFmpegPtr.h"

#include <array>
#include <limits>
#include <mutex>
#include <new>

namespace varnelle::detail {

FramePtr newFrame() {
    FramePtr frame(av_frame_alloc());
    if (!frame) throw std::bad_alloc();
    return frame;
}

PacketPtr newPacket() {
    PacketPtr packet(av_packet_alloc());
    if (!packet) throw std::bad_alloc();
    return packet;
}

std::string errorText(int code) {
    std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
    av_strerror(code, text.data(), text.size());
    return text.data();
}

void silenceLibraries() {
    static std::once_flag once;
    std::call_once(once, [] { av_log_set_level(AV_LOG_QUIET); });
}

CMTime timeFromTicks(std::int64_t ticks, AVRational base) {
    if (ticks == AV_NOPTS_VALUE) return kCMTimeInvalid;
    if (base.num == 1) return CMTime::make(ticks, base.den);
    constexpr std::int64_t limit = std::numeric_limits<std::int64_t>::max() / 2;
    if (base.num > 0 && ticks < limit / base.num && ticks > -limit / base.num) {
        return CMTime::make(ticks * base.num, base.den);
    }
    return kCMTimeInvalid;
}

std::int64_t ticksFromTime(const CMTime& time, AVRational base) {
    return av_rescale_q_rnd(time.value, AVRational{1, time.timescale}, base, AV_ROUND_NEAR_INF);
}

}  // namespace varnelle::detail
