#include "render/OrientedFrame.h"

#include <cmath>
#include <cstring>

namespace varnelle {
namespace {

/// A linear map whose entries are -1, 0 or 1, one of them in each row and column.
struct Turn {
    int a, b, c, d;
    [[nodiscard]] bool isIdentity() const { return a == 1 && b == 0 && c == 0 && d == 1; }
    [[nodiscard]] bool isValid() const {
        return std::abs(a) + std::abs(b) == 1 && std::abs(c) + std::abs(d) == 1 && std::abs(a) == std::abs(d);
    }
};

Turn turnOf(const CGAffineTransform& transform) {
    const auto nearest = [](double x) { return std::abs(x) < 2 ? static_cast<int>(std::lround(x)) : 2; };
    return {nearest(transform.a), nearest(transform.b), nearest(transform.c), nearest(transform.d)};
}

/// Turns one plane of `width` x `height` samples of `bytes` each. Rows are stored downwards, the map is meant
/// upwards.
void turnPlane(const Plane& from, int width, int height, std::size_t bytes, const Turn& turn,
               const Plane& to) {
    const int outputWidth = turn.a != 0 ? width : height;
    const int outputHeight = turn.a != 0 ? height : width;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const int up = height - 1 - y;
            const int turnedX = turn.a * x + turn.c * up;
            const int turnedUp = turn.b * x + turn.d * up;
            const int outputX = turnedX + (turn.a + turn.c < 0 ? outputWidth - 1 : 0);
            const int outputUp = turnedUp + (turn.b + turn.d < 0 ? outputHeight - 1 : 0);
            std::memcpy(to.data + (outputHeight - 1 - outputUp) * to.bytesPerRow +
                            outputX * static_cast<std::ptrdiff_t>(bytes),
                        from.data + y * from.bytesPerRow + x * static_cast<std::ptrdiff_t>(bytes), bytes);
        }
    }
}

}  // namespace

VideoFrame orientedFrame(const VideoFrame& frame, const CGAffineTransform& preferredTransform) {
    const Turn turn = turnOf(preferredTransform);
    if (turn.isIdentity() || !turn.isValid()) return frame;
    const bool isUpright = turn.a != 0;
    VideoFrame result = VideoFrame::allocate(frame.format(), isUpright ? frame.width() : frame.height(),
                                             isUpright ? frame.height() : frame.width(), frame.color());
    const int halfWidth = (frame.width() + 1) / 2;
    const int halfHeight = (frame.height() + 1) / 2;
    const bool isPacked = frame.format() == PixelFormat::bgra;
    turnPlane(frame.plane(0), frame.width(), frame.height(), isPacked ? 4 : 1, turn, result.plane(0));
    if (frame.format() == PixelFormat::nv12)
        turnPlane(frame.plane(1), halfWidth, halfHeight, 2, turn, result.plane(1));
    if (frame.format() == PixelFormat::i420) {
        turnPlane(frame.plane(1), halfWidth, halfHeight, 1, turn, result.plane(1));
        turnPlane(frame.plane(2), halfWidth, halfHeight, 1, turn, result.plane(2));
    }
    return result;
}

CGSize orientedSize(const VideoFrame& frame, const CGAffineTransform& preferredTransform) {
    const Turn turn = turnOf(preferredTransform);
    const CGSize size{static_cast<double>(frame.width()), static_cast<double>(frame.height())};
    return turn.isValid() && turn.a == 0 ? CGSize{size.height, size.width} : size;
}

}  // namespace varnelle
