#include "model/OverlayModels.h"

#include <gtest/gtest.h>

#include <map>

namespace varnelle {
namespace {

class MemoryDefaults final : public UserDefaults {
public:
    [[nodiscard]] std::optional<std::string> string(std::string_view key) const override {
        const auto found = strings.find(key);
        return found == strings.end() ? std::nullopt : std::optional(found->second);
    }
    [[nodiscard]] bool boolean(std::string_view key) const override { return string(key) == "true"; }
    void set(std::string_view key, std::string_view value) override { strings[std::string(key)] = value; }
    void set(std::string_view key, bool value) override {
        set(key, std::string_view(value ? "true" : "false"));
    }

    std::map<std::string, std::string, std::less<>> strings;
};

TEST(CameraBubbleLayout, AnchorAndMirroringComeFromTheDefaults) {
    MemoryDefaults defaults;
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
}

}  // namespace
}  // namespace varnelle
