#include "platform/CameraFormat.h"

#include <gtest/gtest.h>

namespace varnelle {
namespace {

TEST(CameraFormat, TheBestIsFluentThenLargeThenFastThenPlain) {
    using Format = CameraPictureFormat;
    const CameraFormat small60{Format::yuy2, 640, 480, 60, 1};
    const CameraFormat hd10{Format::yuy2, 1280, 720, 10, 1};
    const CameraFormat hd30{Format::mjpeg, 1280, 720, 30, 1};
    const CameraFormat fullHD5{Format::yuy2, 1920, 1080, 5, 1};
    const CameraFormat fullHD30{Format::mjpeg, 1920, 1080, 30, 1};
    const CameraFormat fullHD60{Format::mjpeg, 1920, 1080, 60, 1};
    const CameraFormat fullHD120{Format::mjpeg, 1920, 1080, 120, 1};
    const CameraFormat plainFullHD30{Format::nv12, 1920, 1080, 30'000, 1001};
    const CameraFormat upright{Format::nv12, 1080, 1920, 30, 1};
    const CameraFormat fourK{Format::mjpeg, 3840, 2160, 30, 1};
    const CameraFormat sixK{Format::mjpeg, 6144, 3160, 30, 1};
    EXPECT_EQ(bestCameraFormat({}), std::nullopt);
    EXPECT_EQ(bestCameraFormat({hd10, fullHD5}), fullHD5) << "none is fluent";
    EXPECT_EQ(bestCameraFormat({fullHD5, small60, hd10}), small60);
    EXPECT_EQ(bestCameraFormat({small60, hd30, hd10, fourK}), hd30);
    EXPECT_EQ(bestCameraFormat({fullHD30, fullHD60, fullHD120}), fullHD60);
    EXPECT_EQ(bestCameraFormat({fullHD30, {Format::yuy2, 1920, 1080, 30, 1}}).value().pictureFormat,
              Format::yuy2);
    EXPECT_EQ(bestCameraFormat({fourK, upright, plainFullHD30}).value().heightPixels, 1920)
        << "upright pictures count as large as lying ones";
    EXPECT_EQ(bestCameraFormat({sixK, fourK}), fourK);
}

}  // namespace
}  // namespace varnelle
