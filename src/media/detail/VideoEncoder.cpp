#include "media/detail/VideoEncoder.h"

extern "C" {
#include <libavutil/hwcontext.h>
}

#include <fmt/format.h>

#include <algorithm>

#include "media/MediaError.h"
#include "media/detail/FrameConverter.h"

namespace varnelle::detail {
namespace {

/// Sides in pixels that both software encoders take on every level they support.
constexpr int kSmallestSide = 32;
constexpr int kLargestEncodedSide = 8192;

/// Constant quality where no bit rate is asked for: text stays clean, and a still costs nearly nothing.
constexpr double kExportQuality = 20;
constexpr double kCaptureQuality = 20;

[[noreturn]] void throwCannotEncode(const std::string& name, const std::string& why) {
    throw MediaError(MediaError::Code::cannotEncode,
                     fmt::format("The video encoder {} failed: {}.", name, why));
}

/// Live capture: quality is constant and the bit rate is a ceiling over one second, so that a still screen
/// costs nothing and a lively one can't run away. A plain average would save up bits on a still screen and
/// spend them on making it larger, not better.
void limitRate(AVCodecContext& context, std::int64_t bitRate) {
    context.rc_max_rate = bitRate;
    context.rc_buffer_size = static_cast<int>(std::min<std::int64_t>(bitRate, 1'000'000'000));
}

void configureX265(AVCodecContext& context, const VideoSettings& settings) {
    const bool isLive = settings.purpose == EncodingPurpose::liveCapture;
    // One frame thread gives out each frame's packet at once; the rows of the frame still run in parallel.
    std::string parameters = fmt::format("log-level=none:open-gop=0:info=0:hrd=0:fps={}/1",
                                         std::max(1, settings.expectedSourceFrameRate));
    if (isLive) {
        parameters += ":frame-threads=1:wpp=1:rc-lookahead=0:bframes=0:scenecut=0";
        av_opt_set(context.priv_data, "preset", "ultrafast", 0);
        av_opt_set(context.priv_data, "tune", "zerolatency", 0);
        av_opt_set_double(context.priv_data, "crf", kCaptureQuality, 0);
        if (settings.averageBitRate) {
            parameters += fmt::format(":vbv-maxrate={0}:vbv-bufsize={0}", *settings.averageBitRate / 1000);
        }
    } else {
        av_opt_set(context.priv_data, "preset", "superfast", 0);
        if (!settings.allowsFrameReordering) parameters += ":bframes=0";
        if (settings.averageBitRate) {
            context.bit_rate = *settings.averageBitRate;
        } else {
            av_opt_set_double(context.priv_data, "crf", kExportQuality, 0);
        }
    }
    av_opt_set(context.priv_data, "forced-idr", "1", 0);
    av_opt_set(context.priv_data, "x265-params", parameters.c_str(), 0);
}

void configureX264(AVCodecContext& context, const VideoSettings& settings) {
    const bool isLive = settings.purpose == EncodingPurpose::liveCapture;
    av_opt_set(context.priv_data, "preset", isLive ? "ultrafast" : "veryfast", 0);
    if (isLive) av_opt_set(context.priv_data, "tune", "zerolatency", 0);
    av_opt_set(context.priv_data, "forced-idr", "1", 0);
    context.max_b_frames = !isLive && settings.allowsFrameReordering ? 3 : 0;
    if (settings.averageBitRate && !isLive) {
        context.bit_rate = *settings.averageBitRate;
    } else {
        av_opt_set_double(context.priv_data, "crf", isLive ? kCaptureQuality : kExportQuality, 0);
        if (settings.averageBitRate) limitRate(context, *settings.averageBitRate);
    }
}

void configureHardware(AVCodecContext& context, const VideoSettings& settings) {
    context.max_b_frames = 0;
    av_opt_set(context.priv_data, "forced_idr", "1", 0);
    av_opt_set(context.priv_data, "forced-idr", "1", 0);
    if (settings.averageBitRate) {
        context.bit_rate = *settings.averageBitRate;
        limitRate(context, *settings.averageBitRate * 2);
    } else {
        context.global_quality = static_cast<int>(kExportQuality);
    }
}

}  // namespace

VideoEncoder::VideoEncoder(const std::string& encoderName, const VideoSettings& settings)
    : name_(encoderName), packet_(newPacket()) {
    silenceLibraries();
    const AVCodec* codec = avcodec_find_encoder_by_name(encoderName.c_str());
    if (codec == nullptr) throwCannotEncode(name_, "it isn't part of the installed libraries");
    context_.reset(avcodec_alloc_context3(codec));
    if (!context_) throw std::bad_alloc();
    const int rate = std::max(1, settings.expectedSourceFrameRate);
    frameTicks_ = kVideoTimeBase.den / rate;
    // A recording is scrubbed, and a scrub decodes from the key frame on. Its file is the larger for it.
    const int keyFrameRate = settings.purpose == EncodingPurpose::liveCapture ? 4 : 2;
    keyFrameIntervalTicks_ = kVideoTimeBase.den / keyFrameRate;
    AVCodecContext& context = *context_;
    context.width = settings.width;
    context.height = settings.height;
    context.pix_fmt = AV_PIX_FMT_YUV420P;
    context.time_base = kVideoTimeBase;
    context.framerate = {rate, 1};
    context.sample_aspect_ratio = {1, 1};
    context.gop_size = std::max(1, rate / keyFrameRate);
    context.color_primaries = colorPrimaries(settings.color);
    context.color_trc = colorTransfer(settings.color);
    context.colorspace = colorMatrix(settings.color);
    context.color_range = colorRange(settings.color);
    context.chroma_sample_location = AVCHROMA_LOC_CENTER;
    // An export may work on as many frames at once as the encoder finds right for the machine; live capture
    // stays with one, which comes out at once.
    if (settings.purpose == EncodingPurpose::export_) context.thread_count = 0;
    context.flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    if (settings.codec == VideoCodec::hevc) context.codec_tag = MKTAG('h', 'v', 'c', '1');
    if (name_ == "libx265") {
        configureX265(context, settings);
    } else if (name_ == "libx264") {
        configureX264(context, settings);
        context.codec_tag = 0;
    } else {
        configureHardware(context, settings);
        prepareHardwareFrames(settings);
    }
    if (const int result = avcodec_open2(&context, codec, nullptr); result < 0) {
        throwCannotEncode(name_, errorText(result));
    }
}

void VideoEncoder::prepareHardwareFrames(const VideoSettings& settings) {
    if (name_ == "hevc_nvenc") return;  // takes pictures from ordinary memory
    const AVHWDeviceType type = name_ == "hevc_qsv" ? AV_HWDEVICE_TYPE_QSV : AV_HWDEVICE_TYPE_VAAPI;
    AVBufferRef* device = nullptr;
    if (const int result = av_hwdevice_ctx_create(&device, type, nullptr, nullptr, 0); result < 0) {
        throwCannotEncode(name_, errorText(result));
    }
    device_.reset(device);
    BufferPtr frames(av_hwframe_ctx_alloc(device));
    if (!frames) throw std::bad_alloc();
    auto* description = reinterpret_cast<AVHWFramesContext*>(frames->data);
    description->format = type == AV_HWDEVICE_TYPE_QSV ? AV_PIX_FMT_QSV : AV_PIX_FMT_VAAPI;
    description->sw_format = AV_PIX_FMT_NV12;
    description->width = settings.width;
    description->height = settings.height;
    description->initial_pool_size = 16;
    if (const int result = av_hwframe_ctx_init(frames.get()); result < 0) {
        throwCannotEncode(name_, errorText(result));
    }
    context_->pix_fmt = description->format;
    context_->hw_frames_ctx = frames.release();
}

void VideoEncoder::encode(AVFrame& frame, std::int64_t presentationTicks, const PacketHandler& onPacket) {
    frame.pts = presentationTicks;
    ++frameCount_;
    // The next frame may come one frame time later: the key frame must not wait for it.
    const bool isKeyFrame = lastKeyFrame_ == AV_NOPTS_VALUE ||
                            presentationTicks + frameTicks_ - lastKeyFrame_ > keyFrameIntervalTicks_;
    frame.pict_type = isKeyFrame ? AV_PICTURE_TYPE_I : AV_PICTURE_TYPE_NONE;
    if (isKeyFrame) lastKeyFrame_ = presentationTicks;
    if (context_->hw_frames_ctx != nullptr) {
        send(uploaded(frame).get(), onPacket);
    } else {
        send(&frame, onPacket);
    }
}

FramePtr VideoEncoder::uploaded(const AVFrame& frame) {
    // Transfers can't change the layout of the chroma planes.
    FramePtr staging = newFrame();
    staging->format = AV_PIX_FMT_NV12;
    staging->width = frame.width;
    staging->height = frame.height;
    FramePtr surface = newFrame();
    int result = av_frame_get_buffer(staging.get(), 0);
    if (result >= 0) result = av_hwframe_get_buffer(context_->hw_frames_ctx, surface.get(), 0);
    if (result >= 0) {
        for (int y = 0; y < frame.height; ++y) {
            std::copy_n(frame.data[0] + y * frame.linesize[0], frame.width,
                        staging->data[0] + y * staging->linesize[0]);
        }
        for (int y = 0; y < frame.height / 2; ++y) {
            std::uint8_t* to = staging->data[1] + y * staging->linesize[1];
            for (int x = 0; x < frame.width / 2; ++x) {
                to[2 * x] = frame.data[1][y * frame.linesize[1] + x];
                to[2 * x + 1] = frame.data[2][y * frame.linesize[2] + x];
            }
        }
        result = av_hwframe_transfer_data(surface.get(), staging.get(), 0);
    }
    if (result < 0) throwCannotEncode(name_, errorText(result));
    av_frame_copy_props(surface.get(), &frame);
    return surface;
}

void VideoEncoder::finish(const PacketHandler& onPacket) {
    isFinishing_ = true;
    send(nullptr, onPacket);
}

void VideoEncoder::send(const AVFrame* frame, const PacketHandler& onPacket) {
    int result = avcodec_send_frame(context_.get(), frame);
    if (result < 0) throwCannotEncode(name_, errorText(result));
    while (true) {
        result = avcodec_receive_packet(context_.get(), packet_.get());
        if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) return;
        if (result < 0) throwCannotEncode(name_, errorText(result));
        packet_->duration = frameTicks_;
        // x265 learns by how much it reorders from the third frame on; before that it makes decoding times of
        // memory that it has never written. So few pictures can't be reordered.
        if (isFinishing_ && frameCount_ <= 2) packet_->dts = packet_->pts;
        onPacket(*packet_);
        av_packet_unref(packet_.get());
    }
}

void requireSupportedSize(const VideoSettings& settings) {
    const auto isSupported = [](int side) {
        return side >= kSmallestSide && side <= kLargestEncodedSide && side % 2 == 0;
    };
    if (isSupported(settings.width) && isSupported(settings.height)) return;
    throw MediaError(
        MediaError::Code::unsupportedSize,
        fmt::format("A movie of {} by {} pixels can't be encoded: both sides have to be even and "
                    "between {} and {} pixels.",
                    settings.width, settings.height, kSmallestSide, kLargestEncodedSide));
}

}  // namespace varnelle::detail
