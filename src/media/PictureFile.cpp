#include "media/PictureFile.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <fstream>
#include <string_view>

#include "media/MediaError.h"
#include "media/detail/FFmpegPtr.h"

namespace varnelle {
namespace {

constexpr std::uintmax_t kMaximumFileBytes = 512U << 20U;
/// As many bytes tell what kind of picture it is.
constexpr std::size_t kHeadBytes = 12;

/// A file's contents with the padding that decoders ask for.
struct PictureData {
    AVCodecID codec = AV_CODEC_ID_NONE;
    detail::PacketPtr packet;
};

[[noreturn]] void fail(MediaError::Code code, const URL& url, const std::string& reason) {
    throw MediaError(code, "The picture “" + url.string() + "” can't be read: " + reason + ".");
}

AVCodecID codecOf(std::string_view bytes) {
    using std::string_view_literals::operator""sv;
    if (bytes.starts_with("\xFF\xD8\xFF"sv)) return AV_CODEC_ID_MJPEG;
    if (bytes.starts_with("\x89PNG\r\n\x1A\n"sv)) return AV_CODEC_ID_PNG;
    if (bytes.starts_with("RIFF"sv) && bytes.substr(0, 12).ends_with("WEBP"sv)) return AV_CODEC_ID_WEBP;
    if (bytes.starts_with("BM"sv)) return AV_CODEC_ID_BMP;
    if (bytes.starts_with("II*\0"sv) || bytes.starts_with("MM\0*"sv)) return AV_CODEC_ID_TIFF;
    return AV_CODEC_ID_NONE;
}

/// Reads a file to its end only if it begins like a picture.
PictureData readPictureFile(const URL& url) {
    std::error_code error;
    // Anything else could block for ever, or be endless.
    if (!std::filesystem::is_regular_file(url.path(), error)) {
        fail(MediaError::Code::cannotOpen, url, "it is not a file");
    }
    const std::uintmax_t size = std::filesystem::file_size(url.path(), error);
    if (error) fail(MediaError::Code::cannotOpen, url, error.message());
    if (size > kMaximumFileBytes) fail(MediaError::Code::unsupportedSize, url, "it is too large");
    std::ifstream file(url.path(), std::ios::binary);
    std::array<char, kHeadBytes> head{};
    const std::size_t headSize = std::min<std::uintmax_t>(size, kHeadBytes);
    file.read(head.data(), static_cast<std::streamsize>(headSize));
    const char* unread = "it can't be opened, or was cut off meanwhile";
    if (!file) fail(MediaError::Code::cannotOpen, url, unread);
    PictureData data{codecOf({head.data(), headSize}), detail::newPacket()};
    if (data.codec == AV_CODEC_ID_NONE)
        fail(MediaError::Code::cannotDecode, url, "it is not a picture of a known kind");
    if (av_new_packet(data.packet.get(), static_cast<int>(size)) < 0) throw std::bad_alloc();
    std::copy_n(head.data(), headSize, data.packet->data);
    file.read(reinterpret_cast<char*>(data.packet->data) + headSize,
              static_cast<std::streamsize>(size - headSize));
    if (!file) fail(MediaError::Code::cannotOpen, url, unread);
    return data;
}

detail::FramePtr decode(const PictureData& data, const URL& url) {
    const AVCodec* codec = avcodec_find_decoder(data.codec);
    if (!codec) fail(MediaError::Code::cannotDecode, url, "it is not a picture of a known kind");
    const detail::CodecContextPtr context(avcodec_alloc_context3(codec));
    if (!context) throw std::bad_alloc();
    // Refused before memory is taken for its pixels.
    context->max_pixels = kMaximumPicturePixels;
    // Half a picture is none.
    context->err_recognition = AV_EF_EXPLODE;
    context->thread_count = 1;
    int result = avcodec_open2(context.get(), codec, nullptr);
    if (result >= 0) result = avcodec_send_packet(context.get(), data.packet.get());
    if (result >= 0) result = avcodec_send_packet(context.get(), nullptr);
    detail::FramePtr frame = detail::newFrame();
    if (result >= 0) result = avcodec_receive_frame(context.get(), frame.get());
    const bool isTooLarge = std::max(context->width, context->height) > kMaximumPictureSide ||
                            std::int64_t{context->width} * context->height > kMaximumPicturePixels;
    if (isTooLarge) fail(MediaError::Code::unsupportedSize, url, "it has too many pixels");
    if (result < 0) fail(MediaError::Code::cannotDecode, url, detail::errorText(result));
    return frame;
}

void premultiply(const VideoFrame& picture) {
    for (int y = 0; y < picture.height(); ++y) {
        std::uint8_t* pixel = picture.plane(0).data + y * picture.plane(0).bytesPerRow;
        for (int x = 0; x < picture.width(); ++x, pixel += 4) {
            const unsigned alpha = pixel[3];
            for (int k = 0; k < 3; ++k) pixel[k] = static_cast<std::uint8_t>((pixel[k] * alpha + 127) / 255);
        }
    }
}

VideoFrame bgra(const AVFrame& source, const URL& url) {
    const auto format = static_cast<AVPixelFormat>(source.format);
    const detail::SwsContextPtr scaler(
        sws_getContext(source.width, source.height, format, source.width, source.height, AV_PIX_FMT_BGRA,
                       SWS_BILINEAR | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INP | SWS_FULL_CHR_H_INT, nullptr,
                       nullptr, nullptr));
    if (!scaler) fail(MediaError::Code::cannotDecode, url, "its pixels are of an unknown kind");
    VideoFrame picture =
        VideoFrame::allocate(PixelFormat::bgra, source.width, source.height, ColorDescription::sRGB());
    std::uint8_t* const planes[] = {picture.plane(0).data};
    const int strides[] = {static_cast<int>(picture.plane(0).bytesPerRow)};
    if (sws_scale(scaler.get(), source.data, source.linesize, 0, source.height, planes, strides) < 0) {
        fail(MediaError::Code::cannotDecode, url, "its pixels can't be converted");
    }
    const AVPixFmtDescriptor* descriptor = av_pix_fmt_desc_get(format);
    const bool hasAlpha = (descriptor->flags & AV_PIX_FMT_FLAG_ALPHA) != 0 || format == AV_PIX_FMT_PAL8;
    if (hasAlpha) premultiply(picture);
    return picture;
}

}  // namespace

VideoFrame loadPicture(const URL& url) {
    detail::silenceLibraries();
    return bgra(*decode(readPictureFile(url), url), url);
}

}  // namespace varnelle
