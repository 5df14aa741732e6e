#pragma once

#include <optional>
#include <vector>

#include "media/CameraPicture.h"

namespace varnelle {

/// One way in which a camera can deliver its pictures.
struct CameraFormat {
    CameraPictureFormat pictureFormat = CameraPictureFormat::yuy2;
    int widthPixels = 0;
    int heightPixels = 0;
    int framesNumerator = 0;  ///< frames per second as a fraction; 0 where the camera doesn't say
    int framesDenominator = 1;

    [[nodiscard]] double framesPerSecond() const;
    bool operator==(const CameraFormat&) const = default;
};

/// The format for a picture of high quality: fluent (24 frames a second or more, as far as any is) comes
/// before large (up to 1920 by 1080 pixels), large before more frames (up to 60), and a format that needs no
/// decompression before one that does. Formats beyond that size are taken only if there is no other, the
/// smallest of them. Absent without formats.
std::optional<CameraFormat> bestCameraFormat(const std::vector<CameraFormat>& formats);

}  // namespace varnelle
