#include "media/detail/FrameConverter.h"

#include "media/MediaError.h"
#include "media/detail/ColorConversion.h"

namespace varnelle::detail {
namespace {

AVPixelFormat pixelFormat(PixelFormat format) {
    switch (format) {
        case PixelFormat::bgra:
            return AV_PIX_FMT_BGRA;
        case PixelFormat::i420:
            return AV_PIX_FMT_YUV420P;
        case PixelFormat::nv12:
            return AV_PIX_FMT_NV12;
    }
    return AV_PIX_FMT_NONE;
}

int scalerMatrix(const ColorDescription& color, int heightPixels) {
    switch (color.matrix) {
        case ColorDescription::Matrix::bt709:
            return SWS_CS_ITU709;
        case ColorDescription::Matrix::bt601:
            return SWS_CS_ITU601;
        default:
            return heightPixels >= 720 ? SWS_CS_ITU709 : SWS_CS_ITU601;
    }
}

bool hasSameNumbers(const ColorDescription& a, const ColorDescription& b) {
    return a.range == b.range && (a.matrix == b.matrix || a.matrix == ColorDescription::Matrix::unspecified ||
                                  b.matrix == ColorDescription::Matrix::unspecified);
}

bool hasSameShape(const VideoFrame& a, const VideoFrame& b) {
    return !a.isEmpty() && a.format() == b.format() && a.width() == b.width() && a.height() == b.height() &&
           a.color() == b.color();
}

}  // namespace

AVColorPrimaries colorPrimaries(const ColorDescription& color) {
    switch (color.primaries) {
        case ColorDescription::Primaries::bt709:
            return AVCOL_PRI_BT709;
        case ColorDescription::Primaries::bt601:
            return AVCOL_PRI_SMPTE170M;
        case ColorDescription::Primaries::unspecified:
            break;
    }
    return AVCOL_PRI_UNSPECIFIED;
}

AVColorTransferCharacteristic colorTransfer(const ColorDescription& color) {
    switch (color.transfer) {
        case ColorDescription::Transfer::bt709:
            return AVCOL_TRC_BT709;
        case ColorDescription::Transfer::sRGB:
            return AVCOL_TRC_IEC61966_2_1;
        case ColorDescription::Transfer::unspecified:
            break;
    }
    return AVCOL_TRC_UNSPECIFIED;
}

AVColorSpace colorMatrix(const ColorDescription& color) {
    switch (color.matrix) {
        case ColorDescription::Matrix::bt709:
            return AVCOL_SPC_BT709;
        case ColorDescription::Matrix::bt601:
            return AVCOL_SPC_SMPTE170M;
        case ColorDescription::Matrix::rgb:
            return AVCOL_SPC_RGB;
        case ColorDescription::Matrix::unspecified:
            break;
    }
    return AVCOL_SPC_UNSPECIFIED;
}

AVColorRange colorRange(const ColorDescription& color) {
    return color.range == ColorDescription::Range::full ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
}

ColorDescription colorDescription(const AVFrame& frame) {
    using C = ColorDescription;
    // Old and small material says nothing about itself; its makers meant the standard of its size.
    const bool isHighDefinition = frame.height >= 720;
    C color;
    switch (frame.colorspace) {
        case AVCOL_SPC_BT709:
            color.matrix = C::Matrix::bt709;
            break;
        case AVCOL_SPC_SMPTE170M:
        case AVCOL_SPC_BT470BG:
            color.matrix = C::Matrix::bt601;
            break;
        default:
            color.matrix = isHighDefinition ? C::Matrix::bt709 : C::Matrix::bt601;
    }
    switch (frame.color_primaries) {
        case AVCOL_PRI_BT709:
            color.primaries = C::Primaries::bt709;
            break;
        case AVCOL_PRI_SMPTE170M:
        case AVCOL_PRI_BT470BG:
            color.primaries = C::Primaries::bt601;
            break;
        default:
            color.primaries = isHighDefinition ? C::Primaries::bt709 : C::Primaries::bt601;
    }
    color.transfer = frame.color_trc == AVCOL_TRC_IEC61966_2_1 ? C::Transfer::sRGB : C::Transfer::bt709;
    const bool isFull = frame.color_range == AVCOL_RANGE_JPEG || frame.format == AV_PIX_FMT_YUVJ420P;
    color.range = isFull ? C::Range::full : C::Range::limited;
    return color;
}

FramePtr wrap(const VideoFrame& frame) {
    FramePtr wrapped = newFrame();
    wrapped->format = pixelFormat(frame.format());
    wrapped->width = frame.width();
    wrapped->height = frame.height();
    wrapped->color_primaries = colorPrimaries(frame.color());
    wrapped->color_trc = colorTransfer(frame.color());
    wrapped->colorspace = colorMatrix(frame.color());
    wrapped->color_range = colorRange(frame.color());
    for (std::size_t i = 0; i < 3; ++i) {
        wrapped->data[i] = frame.plane(i).data;
        wrapped->linesize[i] = static_cast<int>(frame.plane(i).bytesPerRow);
    }
    auto* owner = new std::shared_ptr<void>(frame.storage());
    // The size is only used to check plane pointers, which may lie anywhere behind the first.
    wrapped->buf[0] = av_buffer_create(
        frame.plane(0).data, static_cast<std::size_t>(frame.plane(0).bytesPerRow) * frame.height(),
        [](void* opaque, std::uint8_t*) { delete static_cast<std::shared_ptr<void>*>(opaque); }, owner,
        AV_BUFFER_FLAG_READONLY);
    if (wrapped->buf[0] == nullptr) {
        delete owner;
        throw std::bad_alloc();
    }
    return wrapped;
}

FrameConverter::FrameConverter(int widthPixels, int heightPixels, ColorDescription color)
    : width_(widthPixels),
      height_(heightPixels),
      color_(color),
      pool_(PixelFormat::i420, widthPixels, heightPixels, color) {}

FramePtr FrameConverter::convert(const VideoFrame& frame) {
    // The address of freed storage can come back with other pixels in it, so the last source is kept alive.
    if (lastSource_.isEmpty() || !lastSource_.sharesStorage(frame) || !hasSameShape(lastSource_, frame)) {
        lastResult_ = converted(frame);
        lastSource_ = frame;
    }
    return wrap(lastResult_);
}

VideoFrame FrameConverter::converted(const VideoFrame& frame) {
    const bool fits = frame.width() == width_ && frame.height() == height_;
    if (fits && frame.format() == PixelFormat::i420 && hasSameNumbers(frame.color(), color_)) {
        return frame.tagged(color_);
    }
    const bool isPlainBT709 =
        color_.matrix == ColorDescription::Matrix::bt709 && color_.range == ColorDescription::Range::limited;
    if (fits && frame.format() == PixelFormat::bgra && isPlainBT709) {
        VideoFrame result = pool_.newFrame();
        convertBGRAToI420(frame, result);
        return result;
    }
    return scaled(frame);
}

VideoFrame FrameConverter::scaled(const VideoFrame& frame) {
    if (!scaler_ || !hasSameShape(scalerShape_, frame)) {
        scaler_.reset(sws_getContext(frame.width(), frame.height(), pixelFormat(frame.format()), width_,
                                     height_, AV_PIX_FMT_YUV420P, SWS_BICUBIC | SWS_ACCURATE_RND, nullptr,
                                     nullptr, nullptr));
        if (!scaler_) {
            throw MediaError(MediaError::Code::cannotEncode, "A picture of this size can't be scaled.");
        }
        const bool isRGB = frame.format() == PixelFormat::bgra;
        const bool isFull = isRGB || frame.color().range == ColorDescription::Range::full;
        const int* from = sws_getCoefficients(scalerMatrix(frame.color(), frame.height()));
        const int* to = sws_getCoefficients(scalerMatrix(color_, height_));
        sws_setColorspaceDetails(scaler_.get(), from, isFull ? 1 : 0, to,
                                 color_.range == ColorDescription::Range::full ? 1 : 0, 0, 1 << 16, 1 << 16);
        scalerShape_ = frame;
    }
    VideoFrame result = pool_.newFrame();
    const FramePtr source = wrap(frame);
    const FramePtr target = wrap(result);
    if (sws_scale(scaler_.get(), source->data, source->linesize, 0, frame.height(), target->data,
                  target->linesize) <= 0) {
        throw MediaError(MediaError::Code::cannotEncode, "A picture couldn't be scaled.");
    }
    return result;
}

}  // namespace varnelle::detail
