#include <algorithm>
#include <string>

#include "CommandLine.h"
#include "foundation/Error.h"
#include "imaging/Bitmap.h"
#include "imaging/PNG.h"
#include "render/CanvasBackground.h"
#include "render/WallpaperOptions.h"

namespace varnelle {
namespace {

constexpr const char* kHelp = R"(contact_sheet OUT.png

Shows all wallpaper pictures side by side.
)";

constexpr int kColumns = 5;
constexpr int kWidth = 216;
constexpr int kHeight = 122;
constexpr int kGutter = 8;

/// All wallpaper pictures side by side on a dark ground, in the order in which they are offered.
Bitmap contactSheet() {
    const int rows = (static_cast<int>(wallpaperImages().size()) + kColumns - 1) / kColumns;
    Bitmap sheet(kColumns * (kWidth + kGutter) + kGutter, rows * (kHeight + kGutter) + kGutter);
    fill(sheet.view(), kFallbackBackgroundColor);
    int index = 0;
    for (const MacOSWallpaperOption& option : wallpaperImages()) {
        const auto picture = wallpaperPreview(std::string(option.path), kWidth, kHeight, 1);
        if (!picture) throw Error("The wallpaper " + std::string(option.name) + " is missing.");
        const int left = kGutter + index % kColumns * (kWidth + kGutter);
        const int top = kGutter + index / kColumns * (kHeight + kGutter);
        for (int y = 0; y < kHeight; ++y) {
            std::copy_n(picture->view().row(y), kWidth * 4, sheet.view().pixel(left, top + y));
        }
        ++index;
    }
    return sheet;
}

int makeSheet(const CommandLine& arguments) {
    writePNG(contactSheet().view(), URL(arguments.positional()[0]));
    return 0;
}

}  // namespace
}  // namespace varnelle

int main(int argc, char** argv) {
    return varnelle::runTool(argc, argv, varnelle::kHelp, 1, varnelle::makeSheet);
}
