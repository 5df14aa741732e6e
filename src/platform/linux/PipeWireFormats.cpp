#include "platform/linux/PipeWireFormats.h"

#include <spa/param/audio/format-utils.h>
#include <spa/param/format.h>
#include <spa/param/param.h>
#include <spa/param/video/format-utils.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <optional>

#include "media/DriftCorrector.h"

namespace varnelle {
namespace {

struct Layout {
    std::uint32_t spaFormat;
    CameraPictureFormat format;
};

constexpr std::array kLayouts = {
    Layout{SPA_VIDEO_FORMAT_YUY2, CameraPictureFormat::yuy2},
    Layout{SPA_VIDEO_FORMAT_UYVY, CameraPictureFormat::uyvy},
    Layout{SPA_VIDEO_FORMAT_NV12, CameraPictureFormat::nv12},
    Layout{SPA_VIDEO_FORMAT_I420, CameraPictureFormat::i420},
    Layout{SPA_VIDEO_FORMAT_BGRx, CameraPictureFormat::bgrx},
    Layout{SPA_VIDEO_FORMAT_BGRA, CameraPictureFormat::bgrx},
    Layout{SPA_VIDEO_FORMAT_RGBx, CameraPictureFormat::rgbx},
    Layout{SPA_VIDEO_FORMAT_RGBA, CameraPictureFormat::rgbx},
    Layout{SPA_VIDEO_FORMAT_BGR, CameraPictureFormat::bgr},
    Layout{SPA_VIDEO_FORMAT_RGB, CameraPictureFormat::rgb},
    Layout{SPA_VIDEO_FORMAT_GRAY8, CameraPictureFormat::gray},
};

constexpr spa_rectangle kPreferredSize{1920, 1080};
/// More than any camera has; keeps the memory of a picture within 32 bits.
constexpr std::uint32_t kMaximumSide = 16'384;
constexpr std::uint32_t kMaximumRate = 60;

std::optional<CameraPictureFormat> pictureFormat(std::uint32_t spaFormat) {
    const auto found = std::find_if(kLayouts.begin(), kLayouts.end(),
                                    [&](const Layout& layout) { return layout.spaFormat == spaFormat; });
    if (found == kLayouts.end()) return std::nullopt;
    return found->format;
}

/// All values that a property may take: of a list each, of a range its default and its two ends.
template <typename Value>
struct Choices {
    bool isRange = false;
    std::vector<Value> values;
};

template <typename Value>
Choices<Value> choicesOf(const spa_pod& object, std::uint32_t key, std::uint32_t type) {
    Choices<Value> choices;
    const spa_pod_prop* const property = spa_pod_find_prop(&object, nullptr, key);
    if (property == nullptr) return choices;
    std::uint32_t count = 0;
    std::uint32_t choice = SPA_CHOICE_None;
    const spa_pod* const values = spa_pod_get_values(&property->value, &count, &choice);
    if (values->type != type || values->size < sizeof(Value)) return choices;
    const auto* const first = static_cast<const Value*>(SPA_POD_BODY_CONST(values));
    choices.isRange = (choice == SPA_CHOICE_Range || choice == SPA_CHOICE_Step) && count >= 3;
    // The first entry of a list repeats the one that is recommended.
    const std::uint32_t skipped = choice == SPA_CHOICE_Enum && count > 1 ? 1 : 0;
    choices.values.assign(first + skipped, first + count);
    return choices;
}

std::vector<spa_rectangle> sizesOf(const spa_pod& object) {
    Choices<spa_rectangle> choices =
        choicesOf<spa_rectangle>(object, SPA_FORMAT_VIDEO_size, SPA_TYPE_Rectangle);
    if (choices.isRange) {
        const spa_rectangle& least = choices.values[1];
        const spa_rectangle& most = choices.values[2];
        if (least.width > most.width || least.height > most.height) return {};
        return {{std::clamp(kPreferredSize.width, least.width, most.width),
                 std::clamp(kPreferredSize.height, least.height, most.height)}};
    }
    std::erase_if(choices.values, [](const spa_rectangle& size) {
        return size.width < 1 || size.height < 1 || size.width > kMaximumSide || size.height > kMaximumSide;
    });
    return choices.values;
}

bool isFaster(const spa_fraction& a, const spa_fraction& b) {
    return std::uint64_t{a.num} * b.denom > std::uint64_t{b.num} * a.denom;
}

/// The highest rate up to 60, the lowest one if all are higher; 0 over 1 if nothing is said.
spa_fraction bestRate(const spa_pod& object) {
    const spa_fraction limit{kMaximumRate, 1};
    const Choices<spa_fraction> choices =
        choicesOf<spa_fraction>(object, SPA_FORMAT_VIDEO_framerate, SPA_TYPE_Fraction);
    if (choices.isRange) return isFaster(choices.values[2], limit) ? limit : choices.values[2];
    spa_fraction best{0, 1};
    for (const spa_fraction& rate : choices.values) {
        if (rate.denom == 0 || rate.num == 0 || rate.num > std::numeric_limits<int>::max() ||
            rate.denom > std::numeric_limits<int>::max()) {
            continue;
        }
        const bool isWithinLimit = !isFaster(rate, limit);
        const bool isBestWithinLimit = !isFaster(best, limit);
        const bool isBetter = best.num == 0 || (isWithinLimit && !isBestWithinLimit) ||
                              (isWithinLimit == isBestWithinLimit && isFaster(rate, best) == isWithinLimit);
        if (isBetter) best = rate;
    }
    return best;
}

std::vector<CameraPictureFormat> layoutsOf(const spa_pod& object) {
    std::uint32_t type = 0;
    std::uint32_t subtype = 0;
    if (spa_format_parse(&object, &type, &subtype) < 0 || type != SPA_MEDIA_TYPE_video) return {};
    if (subtype == SPA_MEDIA_SUBTYPE_mjpg) return {CameraPictureFormat::mjpeg};
    if (subtype != SPA_MEDIA_SUBTYPE_raw) return {};
    std::vector<CameraPictureFormat> formats;
    for (const auto id : choicesOf<std::uint32_t>(object, SPA_FORMAT_VIDEO_format, SPA_TYPE_Id).values) {
        const auto format = pictureFormat(id);
        if (format && std::find(formats.begin(), formats.end(), *format) == formats.end()) {
            formats.push_back(*format);
        }
    }
    return formats;
}

ColorDescription colorOf(const spa_video_info_raw& info) {
    ColorDescription color;
    using Matrix = ColorDescription::Matrix;
    if (info.color_matrix == SPA_VIDEO_COLOR_MATRIX_BT709) color.matrix = Matrix::bt709;
    if (info.color_matrix == SPA_VIDEO_COLOR_MATRIX_BT601) color.matrix = Matrix::bt601;
    if (info.color_range == SPA_VIDEO_COLOR_RANGE_0_255) color.range = ColorDescription::Range::full;
    return color;
}

/// Opens a format object and states what kind of video it is; the caller adds the rest.
void beginFormat(spa_pod_builder& builder, spa_pod_frame& frame, std::uint32_t subtype) {
    spa_pod_builder_push_object(&builder, &frame, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat);
    spa_pod_builder_add(&builder, SPA_FORMAT_mediaType, SPA_POD_Id(SPA_MEDIA_TYPE_video),
                        SPA_FORMAT_mediaSubtype, SPA_POD_Id(subtype), 0);
}

void addAnySizeAndRate(spa_pod_builder& builder) {
    const spa_rectangle least{1, 1};
    const spa_rectangle most{kMaximumSide, kMaximumSide};
    const spa_fraction usual{30, 1};
    const spa_fraction slowest{0, 1};
    const spa_fraction fastest{1000, 1};
    spa_pod_builder_add(
        &builder, SPA_FORMAT_VIDEO_size, SPA_POD_CHOICE_RANGE_Rectangle(&kPreferredSize, &least, &most),
        SPA_FORMAT_VIDEO_framerate, SPA_POD_CHOICE_RANGE_Fraction(&usual, &slowest, &fastest), 0);
}

std::uint32_t subtypeOf(CameraPictureFormat format) {
    return format == CameraPictureFormat::mjpeg ? SPA_MEDIA_SUBTYPE_mjpg : SPA_MEDIA_SUBTYPE_raw;
}

const spa_pod* endFormat(spa_pod_builder& builder, spa_pod_frame& frame) {
    return static_cast<const spa_pod*>(spa_pod_builder_pop(&builder, &frame));
}

/// All of our layouts, or those that stand for one of ours.
void addLayouts(spa_pod_builder& builder, std::optional<CameraPictureFormat> only) {
    spa_pod_builder_prop(&builder, SPA_FORMAT_VIDEO_format, 0);
    spa_pod_frame choice;
    spa_pod_builder_push_choice(&builder, &choice, SPA_CHOICE_Enum, 0);
    bool isFirst = true;
    for (const Layout& layout : kLayouts) {
        if (only && layout.format != *only) continue;
        spa_pod_builder_id(&builder, layout.spaFormat);
        if (isFirst) spa_pod_builder_id(&builder, layout.spaFormat);
        isFirst = false;
    }
    spa_pod_builder_pop(&builder, &choice);
}

}  // namespace

void appendCameraFormats(const spa_pod& parameter, std::vector<CameraFormat>& formats) {
    if (!spa_pod_is_object(&parameter)) return;
    const spa_fraction rate = bestRate(parameter);
    for (const CameraPictureFormat layout : layoutsOf(parameter)) {
        for (const spa_rectangle& size : sizesOf(parameter)) {
            formats.push_back({layout, static_cast<int>(size.width), static_cast<int>(size.height),
                               static_cast<int>(rate.num), static_cast<int>(rate.denom)});
        }
    }
}

const spa_pod* cameraFormatParameter(spa_pod_builder& builder, const CameraFormat& format) {
    spa_pod_frame frame;
    beginFormat(builder, frame, subtypeOf(format.pictureFormat));
    if (format.pictureFormat != CameraPictureFormat::mjpeg) addLayouts(builder, format.pictureFormat);
    const spa_rectangle size{static_cast<std::uint32_t>(format.widthPixels),
                             static_cast<std::uint32_t>(format.heightPixels)};
    spa_pod_builder_add(&builder, SPA_FORMAT_VIDEO_size, SPA_POD_Rectangle(&size), 0);
    if (format.framesNumerator > 0) {
        const spa_fraction rate{static_cast<std::uint32_t>(format.framesNumerator),
                                static_cast<std::uint32_t>(format.framesDenominator)};
        spa_pod_builder_add(&builder, SPA_FORMAT_VIDEO_framerate, SPA_POD_Fraction(&rate), 0);
    }
    return endFormat(builder, frame);
}

const spa_pod* anyRawFormatParameter(spa_pod_builder& builder) {
    spa_pod_frame frame;
    beginFormat(builder, frame, SPA_MEDIA_SUBTYPE_raw);
    addLayouts(builder, std::nullopt);
    addAnySizeAndRate(builder);
    return endFormat(builder, frame);
}

const spa_pod* anyCompressedFormatParameter(spa_pod_builder& builder) {
    spa_pod_frame frame;
    beginFormat(builder, frame, SPA_MEDIA_SUBTYPE_mjpg);
    addAnySizeAndRate(builder);
    return endFormat(builder, frame);
}

bool readNegotiatedFormat(const spa_pod& parameter, CameraFormat& format, ColorDescription& color) {
    spa_video_info info{};
    if (spa_format_video_parse(&parameter, &info) < 0) return false;
    spa_rectangle size{};
    spa_fraction rate{};
    if (info.media_subtype == SPA_MEDIA_SUBTYPE_mjpg) {
        format.pictureFormat = CameraPictureFormat::mjpeg;
        size = info.info.mjpg.size;
        rate = info.info.mjpg.framerate;
        color = {};
    } else if (info.media_subtype == SPA_MEDIA_SUBTYPE_raw) {
        const auto layout = pictureFormat(info.info.raw.format);
        if (!layout) return false;
        format.pictureFormat = *layout;
        size = info.info.raw.size;
        rate = info.info.raw.framerate;
        color = colorOf(info.info.raw);
    } else {
        return false;
    }
    if (size.width < 1 || size.height < 1 || size.width > kMaximumSide || size.height > kMaximumSide) {
        return false;
    }
    format.widthPixels = static_cast<int>(size.width);
    format.heightPixels = static_cast<int>(size.height);
    format.framesNumerator = static_cast<int>(rate.num);
    format.framesDenominator = rate.denom > 0 ? static_cast<int>(rate.denom) : 1;
    return true;
}

const spa_pod* soundFormatParameter(spa_pod_builder& builder, int channelCount) {
    spa_audio_info_raw info{};
    info.format = SPA_AUDIO_FORMAT_F32;
    info.rate = DriftCorrector::kRate;
    info.channels = static_cast<std::uint32_t>(channelCount);
    info.position[0] = channelCount == 1 ? SPA_AUDIO_CHANNEL_MONO : SPA_AUDIO_CHANNEL_FL;
    if (channelCount > 1) info.position[1] = SPA_AUDIO_CHANNEL_FR;
    return spa_format_audio_raw_build(&builder, SPA_PARAM_EnumFormat, &info);
}

}  // namespace varnelle
