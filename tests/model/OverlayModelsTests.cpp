#include "model/OverlayModels.h"

#include <gtest/gtest.h>

#include "support/MemoryDefaults.h"

namespace varnelle {
namespace {

TEST(CameraBubbleLayout, AnchorAndMirroringComeFromTheDefaults) {
    test::MemoryDefaults defaults;
    EXPECT_EQ(defaultCameraBubbleLayout(defaults).anchor, OverlayAnchor::bottomLeft);
    for (const auto anchor : {OverlayAnchor::bottomRight, OverlayAnchor::bottomLeft, OverlayAnchor::topRight,
                              OverlayAnchor::topLeft}) {
        defaults.set("overlayPosition", name(anchor));
        EXPECT_EQ(defaultCameraBubbleLayout(defaults).anchor, anchor);
    }
    defaults.set("overlayPosition", std::string_view("center"));
    defaults.set("overlayIsMirrored", true);
    EXPECT_EQ(defaultCameraBubbleLayout(defaults).anchor, OverlayAnchor::bottomLeft);
    EXPECT_TRUE(defaultOverlayConfiguration(defaultCameraBubbleLayout(defaults)).isMirrored);

    const CameraBubbleLayout layout{0.2, 30, 0.1, OverlayAnchor::topRight, OverlayMaskType::circle, true};
    EXPECT_EQ(cameraBubbleLayout(defaultOverlayConfiguration(layout)), layout);
}

}  // namespace
}  // namespace varnelle
