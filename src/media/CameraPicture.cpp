#include "media/CameraPicture.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "media/detail/FFmpegPtr.h"

namespace varnelle {
namespace {

/// Half of a size, rounded up, as chroma planes have it.
std::size_t half(std::size_t value) {
    return (value + 1) / 2;
}

/// Where a plane of a picture begins, and its extent.
struct PlaneShape {
    std::size_t offset = 0;
    std::size_t bytesPerRow = 0;
    std::size_t widthBytes = 0;
    std::size_t rows = 0;

    /// Behind the last byte that is read; the last row's padding may be missing.
    [[nodiscard]] std::size_t end() const {
        return rows == 0 ? 0 : offset + (rows - 1) * bytesPerRow + widthBytes;
    }
};

std::size_t widthBytes(CameraPictureFormat format, std::size_t width) {
    switch (format) {
        case CameraPictureFormat::bgrx:
        case CameraPictureFormat::rgbx:
            return width * 4;
        case CameraPictureFormat::bgr:
        case CameraPictureFormat::rgb:
            return width * 3;
        case CameraPictureFormat::yuy2:
        case CameraPictureFormat::uyvy:
            return half(width) * 4;
        case CameraPictureFormat::nv12:
        case CameraPictureFormat::i420:
        case CameraPictureFormat::gray:
            return width;
        case CameraPictureFormat::mjpeg:
            break;
    }
    return 0;
}

std::array<PlaneShape, 3> planeShapes(CameraPictureFormat format, int widthPixels, int heightPixels,
                                      std::ptrdiff_t bytesPerRow) {
    const auto width = static_cast<std::size_t>(widthPixels);
    const auto height = static_cast<std::size_t>(heightPixels);
    std::array<PlaneShape, 3> planes{};
    PlaneShape& first = planes[0];
    first.widthBytes = widthBytes(format, width);
    first.bytesPerRow =
        bytesPerRow > 0 ? static_cast<std::size_t>(bytesPerRow) : (first.widthBytes + 3) / 4 * 4;
    first.rows = height;
    const std::size_t firstEnd = first.bytesPerRow * height;
    if (format == CameraPictureFormat::nv12) {
        planes[1] = {firstEnd, first.bytesPerRow, half(width) * 2, half(height)};
    } else if (format == CameraPictureFormat::i420) {
        const std::size_t stride = half(first.bytesPerRow);
        planes[1] = {firstEnd, stride, half(width), half(height)};
        planes[2] = {firstEnd + stride * half(height), stride, half(width), half(height)};
    }
    return planes;
}

AVPixelFormat packedFormat(CameraPictureFormat format) {
    switch (format) {
        case CameraPictureFormat::rgbx:
            return AV_PIX_FMT_RGB0;
        case CameraPictureFormat::bgr:
            return AV_PIX_FMT_BGR24;
        case CameraPictureFormat::rgb:
            return AV_PIX_FMT_RGB24;
        case CameraPictureFormat::yuy2:
            return AV_PIX_FMT_YUYV422;
        case CameraPictureFormat::uyvy:
            return AV_PIX_FMT_UYVY422;
        default:
            return AV_PIX_FMT_NONE;
    }
}

bool isColors(CameraPictureFormat format) {
    switch (format) {
        case CameraPictureFormat::bgrx:
        case CameraPictureFormat::rgbx:
        case CameraPictureFormat::bgr:
        case CameraPictureFormat::rgb:
            return true;
        default:
            return false;
    }
}

/// Cameras that don't say so mean the colours of the web, and the sums of standard definition at any size.
ColorDescription completed(ColorDescription color) {
    if (color.primaries == ColorDescription::Primaries::unspecified) {
        color.primaries = ColorDescription::Primaries::bt709;
    }
    if (color.transfer == ColorDescription::Transfer::unspecified) {
        color.transfer = ColorDescription::Transfer::bt709;
    }
    if (color.matrix == ColorDescription::Matrix::unspecified) {
        color.matrix = ColorDescription::Matrix::bt601;
    }
    return color;
}

void copyPlane(const CameraPicture& picture, const PlaneShape& shape, const Plane& target) {
    for (std::size_t row = 0; row < shape.rows; ++row) {
        std::memcpy(target.data + static_cast<std::ptrdiff_t>(row) * target.bytesPerRow,
                    picture.bytes.data() + shape.offset + row * shape.bytesPerRow, shape.widthBytes);
    }
}

}  // namespace

std::size_t cameraPictureByteCount(CameraPictureFormat format, int widthPixels, int heightPixels,
                                   std::ptrdiff_t bytesPerRow) {
    if (format == CameraPictureFormat::mjpeg) return 0;
    std::size_t count = 0;
    for (const PlaneShape& plane : planeShapes(format, widthPixels, heightPixels, bytesPerRow)) {
        count = std::max(count, plane.end());
    }
    return count;
}

/// The library's decoder and its converters, each made when it is needed first.
class CameraPictureReader::Decoder {
public:
    /// Decodes a JPEG picture; null if it is damaged.
    const AVFrame* decode(std::span<const std::uint8_t> bytes) {
        if (bytes.empty()) return nullptr;
        if (!decoder_) openDecoder();
        if (!decoder_ || av_new_packet(packet_.get(), static_cast<int>(bytes.size())) < 0) return nullptr;
        std::memcpy(packet_->data, bytes.data(), bytes.size());
        const int sent = avcodec_send_packet(decoder_.get(), packet_.get());
        av_packet_unref(packet_.get());
        if (sent < 0 || avcodec_receive_frame(decoder_.get(), frame_.get()) < 0) return nullptr;
        const bool isDamaged =
            (frame_->flags & AV_FRAME_FLAG_CORRUPT) != 0 || frame_->decode_error_flags != 0;
        return isDamaged ? nullptr : frame_.get();
    }

    /// Converts between layouts of the same size without a change of the numbers' range.
    bool convert(const std::array<const std::uint8_t*, 4>& planes, const std::array<int, 4>& bytesPerRow,
                 AVPixelFormat from, const VideoFrame& to) {
        const AVPixelFormat target = to.format() == PixelFormat::bgra ? AV_PIX_FMT_BGRA : AV_PIX_FMT_YUV420P;
        // Without interpolation: no size changes, and the picture stays as sharp as it came.
        scaler_.reset(sws_getCachedContext(scaler_.release(), to.width(), to.height(), from, to.width(),
                                           to.height(), target, SWS_AREA | SWS_ACCURATE_RND, nullptr, nullptr,
                                           nullptr));
        if (!scaler_) return false;
        std::array<std::uint8_t*, 4> outputs{};
        std::array<int, 4> outputBytesPerRow{};
        for (std::size_t i = 0; i < 3; ++i) {
            outputs[i] = to.plane(i).data;
            outputBytesPerRow[i] = static_cast<int>(to.plane(i).bytesPerRow);
        }
        return sws_scale(scaler_.get(), planes.data(), bytesPerRow.data(), 0, to.height(), outputs.data(),
                         outputBytesPerRow.data()) == to.height();
    }

private:
    void openDecoder() {
        detail::silenceLibraries();
        const AVCodec* const codec = avcodec_find_decoder(AV_CODEC_ID_MJPEG);
        if (codec == nullptr) return;
        detail::CodecContextPtr context(avcodec_alloc_context3(codec));
        if (!context) return;
        // A picture is decoded while the next one is on its way; more threads would hold pictures back.
        context->thread_count = 1;
        context->err_recognition = AV_EF_EXPLODE;
        if (avcodec_open2(context.get(), codec, nullptr) >= 0) decoder_ = std::move(context);
    }

    detail::CodecContextPtr decoder_;
    detail::PacketPtr packet_ = detail::newPacket();
    detail::FramePtr frame_ = detail::newFrame();
    detail::SwsContextPtr scaler_;
};

CameraPictureReader::CameraPictureReader() : decoder_(std::make_unique<Decoder>()) {}

CameraPictureReader::~CameraPictureReader() = default;

VideoFrame CameraPictureReader::read(const CameraPicture& picture) {
    if (picture.format == CameraPictureFormat::mjpeg) return readCompressed(picture);
    if (picture.widthPixels < 1 || picture.heightPixels < 1) return {};
    const std::size_t rowBytes = widthBytes(picture.format, static_cast<std::size_t>(picture.widthPixels));
    const bool isRowTooShort =
        picture.bytesPerRow != 0 &&
        (picture.bytesPerRow < 0 || static_cast<std::size_t>(picture.bytesPerRow) < rowBytes);
    const std::size_t needed = cameraPictureByteCount(picture.format, picture.widthPixels,
                                                      picture.heightPixels, picture.bytesPerRow);
    if (isRowTooShort || picture.bytes.size() < needed) return {};
    switch (picture.format) {
        case CameraPictureFormat::bgrx:
        case CameraPictureFormat::nv12:
        case CameraPictureFormat::i420:
        case CameraPictureFormat::gray:
            return readPlanes(picture);
        default:
            return readPacked(picture);
    }
}

VideoFrame CameraPictureReader::readPlanes(const CameraPicture& picture) {
    const bool isBGRA = picture.format == CameraPictureFormat::bgrx;
    const PixelFormat format = isBGRA                                        ? PixelFormat::bgra
                               : picture.format == CameraPictureFormat::nv12 ? PixelFormat::nv12
                                                                             : PixelFormat::i420;
    VideoFrame frame = newFrame(format, picture.widthPixels, picture.heightPixels,
                                isBGRA ? ColorDescription::sRGB() : completed(picture.color));
    const auto shapes =
        planeShapes(picture.format, picture.widthPixels, picture.heightPixels, picture.bytesPerRow);
    for (std::size_t i = 0; i < shapes.size(); ++i) {
        if (shapes[i].rows > 0) copyPlane(picture, shapes[i], frame.plane(i));
    }
    if (picture.format == CameraPictureFormat::gray) {
        const std::size_t rows = half(static_cast<std::size_t>(picture.heightPixels));
        for (std::size_t i = 1; i < 3; ++i) {
            std::memset(frame.plane(i).data, 128,
                        rows * static_cast<std::size_t>(frame.plane(i).bytesPerRow));
        }
    }
    return frame;
}

VideoFrame CameraPictureReader::readPacked(const CameraPicture& picture) {
    const bool becomesBGRA = isColors(picture.format);
    VideoFrame frame =
        newFrame(becomesBGRA ? PixelFormat::bgra : PixelFormat::i420, picture.widthPixels,
                 picture.heightPixels, becomesBGRA ? ColorDescription::sRGB() : completed(picture.color));
    const PlaneShape shape =
        planeShapes(picture.format, picture.widthPixels, picture.heightPixels, picture.bytesPerRow)[0];
    const bool isConverted = decoder_->convert({picture.bytes.data()}, {static_cast<int>(shape.bytesPerRow)},
                                               packedFormat(picture.format), frame);
    return isConverted ? frame : VideoFrame();
}

VideoFrame CameraPictureReader::readCompressed(const CameraPicture& picture) {
    const AVFrame* const decoded = decoder_->decode(picture.bytes);
    if (decoded == nullptr) return {};
    ColorDescription color = completed(picture.color);
    color.range = decoded->color_range == AVCOL_RANGE_MPEG ? ColorDescription::Range::limited
                                                           : ColorDescription::Range::full;
    AVPixelFormat format = AV_PIX_FMT_NONE;
    switch (decoded->format) {
        case AV_PIX_FMT_YUVJ420P:
        case AV_PIX_FMT_YUV420P:
            format = AV_PIX_FMT_YUV420P;
            break;
        case AV_PIX_FMT_YUVJ422P:
        case AV_PIX_FMT_YUV422P:
            format = AV_PIX_FMT_YUV422P;
            break;
        case AV_PIX_FMT_YUVJ444P:
        case AV_PIX_FMT_YUV444P:
            format = AV_PIX_FMT_YUV444P;
            break;
        case AV_PIX_FMT_YUVJ440P:
        case AV_PIX_FMT_YUV440P:
            format = AV_PIX_FMT_YUV440P;
            break;
        case AV_PIX_FMT_GRAY8:
            format = AV_PIX_FMT_GRAY8;
            break;
        default:
            return {};
    }
    VideoFrame frame = newFrame(PixelFormat::i420, decoded->width, decoded->height, color);
    const bool isConverted =
        decoder_->convert({decoded->data[0], decoded->data[1], decoded->data[2]},
                          {decoded->linesize[0], decoded->linesize[1], decoded->linesize[2]}, format, frame);
    return isConverted ? frame : VideoFrame();
}

VideoFrame CameraPictureReader::newFrame(PixelFormat format, int widthPixels, int heightPixels,
                                         ColorDescription color) {
    const PoolShape shape{format, widthPixels, heightPixels, color};
    if (pool_ == nullptr || shape != poolShape_) {
        pool_ = std::make_unique<VideoFramePool>(format, widthPixels, heightPixels, color);
        poolShape_ = shape;
    }
    return pool_->newFrame();
}

}  // namespace varnelle
