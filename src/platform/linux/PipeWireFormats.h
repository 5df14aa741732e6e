#pragma once

#include <spa/pod/builder.h>
#include <spa/pod/pod.h>

#include <vector>

#include "platform/CameraFormat.h"

namespace varnelle {

/// Adds what a camera's "EnumFormat" parameter offers, one entry for each layout and size with the best rate.
/// What can't be read is left out. A size that may be chosen freely is taken nearest to 1920 by 1080.
void appendCameraFormats(const spa_pod& parameter, std::vector<CameraFormat>& formats);

/// What a stream accepts: exactly one format, or any layout that can be read at any size and rate. The result
/// lies in the builder's memory.
const spa_pod* cameraFormatParameter(spa_pod_builder& builder, const CameraFormat& format);
const spa_pod* anyRawFormatParameter(spa_pod_builder& builder);
const spa_pod* anyCompressedFormatParameter(spa_pod_builder& builder);

/// The format that was agreed on, and how its colours are meant; false for one that can't be read.
bool readNegotiatedFormat(const spa_pod& parameter, CameraFormat& format, ColorDescription& color);

/// Interleaved 32-bit float sound at 48,000 Hz with one or two channels.
const spa_pod* soundFormatParameter(spa_pod_builder& builder, int channelCount);

}  // namespace varnelle
