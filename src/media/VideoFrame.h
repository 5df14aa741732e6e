#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

namespace varnelle {

enum class PixelFormat {
    bgra,  ///< one plane, 4 bytes a pixel: blue, green, red, alpha (premultiplied)
    i420,  ///< three planes: luma, then blue and red difference at half width and half height (rounded up)
    nv12,  ///< two planes: luma, then blue and red difference interleaved at half width and half height
           ///< (rounded up)
};

/// How the numbers of a frame are to be read (ITU-T H.273 names).
struct ColorDescription {
    enum class Primaries { unspecified, bt709, bt601 };
    enum class Transfer { unspecified, bt709, sRGB };
    enum class Matrix { unspecified, bt709, bt601, rgb };
    enum class Range { limited, full };

    Primaries primaries = Primaries::unspecified;
    Transfer transfer = Transfer::unspecified;
    Matrix matrix = Matrix::unspecified;
    Range range = Range::limited;

    static constexpr ColorDescription bt709Limited() {
        return {Primaries::bt709, Transfer::bt709, Matrix::bt709, Range::limited};
    }
    static constexpr ColorDescription sRGB() {
        return {Primaries::bt709, Transfer::sRGB, Matrix::rgb, Range::full};
    }
    bool operator==(const ColorDescription&) const = default;
};

struct Plane {
    std::uint8_t* data = nullptr;
    std::ptrdiff_t bytesPerRow = 0;
};

/// A picture in memory: up to three planes whose storage is shared between copies. Row 0 is the top row.
/// Whoever made a frame may write to it until the first copy is handed on; after that it is read-only for
/// everyone.
class VideoFrame {
public:
    VideoFrame() = default;
    /// Planes that live as long as `storage`.
    VideoFrame(PixelFormat format, int widthPixels, int heightPixels, std::array<Plane, 3> planes,
               ColorDescription color, std::shared_ptr<void> storage);
    /// New storage of its own, rows aligned to 64 bytes, contents undefined. Sizes must be positive.
    static VideoFrame allocate(PixelFormat format, int widthPixels, int heightPixels, ColorDescription color);

    [[nodiscard]] bool isEmpty() const { return storage_ == nullptr; }
    [[nodiscard]] PixelFormat format() const { return format_; }
    [[nodiscard]] int width() const { return width_; }
    [[nodiscard]] int height() const { return height_; }
    [[nodiscard]] const Plane& plane(std::size_t index) const { return planes_.at(index); }
    [[nodiscard]] const ColorDescription& color() const { return color_; }
    [[nodiscard]] bool sharesStorage(const VideoFrame& other) const { return storage_ == other.storage_; }
    /// Something to compare or hold on to; equal for frames that share their pixels.
    [[nodiscard]] const std::shared_ptr<void>& storage() const { return storage_; }
    [[nodiscard]] VideoFrame tagged(ColorDescription color) const;

private:
    PixelFormat format_ = PixelFormat::bgra;
    int width_ = 0;
    int height_ = 0;
    std::array<Plane, 3> planes_{};
    ColorDescription color_;
    std::shared_ptr<void> storage_;
};

/// Hands out frames of one size and format and takes their memory back when the last copy goes. Safe to share
/// between threads; frames may outlive the pool.
class VideoFramePool {
public:
    VideoFramePool(PixelFormat format, int widthPixels, int heightPixels, ColorDescription color);

    [[nodiscard]] VideoFrame newFrame();

private:
    struct Shelf {
        std::mutex mutex;
        std::vector<VideoFrame> free;  // guarded by mutex
    };

    PixelFormat format_;
    int width_;
    int height_;
    ColorDescription color_;
    std::shared_ptr<Shelf> shelf_;
};

}  // namespace varnelle
