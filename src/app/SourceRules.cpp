#include "app/SourceRules.h"

#include <QString>
#include <algorithm>
#include <array>
#include <cmath>
#include <string_view>
#include <tuple>

namespace varnelle {
namespace {

constexpr std::array<std::string_view, 11> kExcludedOwnerNames{
    "Backstop", "Underbelly",    "Control Center", "Notification Center", "Spotlight", "Wallpaper",
    "Dock",     "Window Server", "Launchpad",      "Universal Control",   "Siri"};
constexpr std::array kExcludedExactTitles{"Window", "Preview", "Thumbnail", "Launchpad", "Item-0"};
constexpr std::array kExcludedTitleFragments{"App Shortcuts Preview", "Touch Bar", "Focus Proxy",
                                             "Color Picker"};

constexpr double kSmallestAreaPoints = 20;
constexpr double kSmallestAreaPixels = 2;
constexpr double kScaleOfUnknownDisplay = 2;

bool isOffered(const ShareableWindow& window, std::int64_t ownProcessID) {
    if (!window.owningApplication || window.owningApplication->processID == ownProcessID) return false;
    if (window.windowLayer != 0 || window.title.empty()) return false;
    const std::string& owner = window.owningApplication->name;
    if (std::find(kExcludedOwnerNames.begin(), kExcludedOwnerNames.end(), owner) !=
        kExcludedOwnerNames.end()) {
        return false;
    }
    const QString title = QString::fromStdString(window.title);
    const bool isExcludedTitle =
        std::any_of(kExcludedExactTitles.begin(), kExcludedExactTitles.end(), [&title](const char* excluded) {
            return title.compare(QLatin1String(excluded), Qt::CaseInsensitive) == 0;
        });
    const bool holdsExcludedFragment = std::any_of(
        kExcludedTitleFragments.begin(), kExcludedTitleFragments.end(), [&title](const char* fragment) {
            return title.contains(QLatin1String(fragment), Qt::CaseInsensitive);
        });
    return !isExcludedTitle && !holdsExcludedFragment;
}

double overlap(const CGRect& a, const CGRect& b) {
    const CGRect common = a.intersection(b);
    return std::max(common.width(), 0.0) * std::max(common.height(), 0.0);
}

/// Whether the window overlaps most with the primary screen, which is the first.
bool liesOnPrimary(const ShareableWindow& window, const std::vector<ShareableDisplay>& displays) {
    if (displays.empty()) return false;
    const double onPrimary = overlap(window.frame, displays.front().frame);
    return onPrimary > 0 &&
           std::all_of(displays.begin() + 1, displays.end(), [&](const ShareableDisplay& other) {
               return overlap(window.frame, other.frame) <= onPrimary;
           });
}

double evenPixels(double points, double scale) {
    const double pixels = std::round(points * scale);
    return std::fmod(pixels, 2) == 0 ? pixels : pixels - 1;
}

}  // namespace

std::vector<ShareableWindow> offeredWindows(std::vector<ShareableWindow> windows, std::int64_t ownProcessID) {
    windows.erase(
        std::remove_if(windows.begin(), windows.end(),
                       [=](const ShareableWindow& window) { return !isOffered(window, ownProcessID); }),
        windows.end());
    std::sort(windows.begin(), windows.end(), [](const ShareableWindow& a, const ShareableWindow& b) {
        return std::tie(a.owningApplication->name, a.title, a.windowID) <
               std::tie(b.owningApplication->name, b.title, b.windowID);
    });
    return windows;
}

std::optional<ShareableDisplay> defaultDisplay(const std::vector<ShareableDisplay>& displays,
                                               const std::optional<std::string>& preferredName) {
    const auto preferred = std::find_if(
        displays.begin(), displays.end(),
        [&](const ShareableDisplay& display) { return preferredName && display.name == *preferredName; });
    if (preferred != displays.end()) return *preferred;
    return displays.empty() ? std::nullopt : std::optional(displays.front());
}

std::optional<ShareableWindow> defaultWindow(const std::vector<ShareableWindow>& windows,
                                             const std::vector<ShareableDisplay>& displays,
                                             const std::optional<ShareableWindow>& selected) {
    const auto same = std::find_if(windows.begin(), windows.end(), [&](const ShareableWindow& window) {
        return selected && window.windowID == selected->windowID;
    });
    if (same != windows.end()) return *same;
    const auto onPrimary = std::find_if(windows.begin(), windows.end(), [&](const ShareableWindow& window) {
        return liesOnPrimary(window, displays);
    });
    if (onPrimary != windows.end()) return *onPrimary;
    return windows.empty() ? std::nullopt : std::optional(windows.front());
}

std::optional<std::string> defaultDevice(const std::vector<CaptureDevice>& devices,
                                         const std::optional<std::string>& selectedID) {
    const bool isThere = std::any_of(devices.begin(), devices.end(), [&](const CaptureDevice& device) {
        return selectedID && device.uniqueID == *selectedID;
    });
    if (isThere) return selectedID;
    return devices.empty() ? std::nullopt : std::optional(devices.front().uniqueID);
}

std::optional<ShareableDisplay> displayHolding(const std::vector<ShareableDisplay>& displays, CGPoint place) {
    const auto found =
        std::find_if(displays.begin(), displays.end(),
                     [place](const ShareableDisplay& display) { return display.frame.contains(place); });
    return found == displays.end() ? std::nullopt : std::optional(*found);
}

double displayScale(const std::vector<ShareableDisplay>& displays, std::uint32_t displayID) {
    const auto found =
        std::find_if(displays.begin(), displays.end(),
                     [displayID](const ShareableDisplay& display) { return display.displayID == displayID; });
    return found == displays.end() ? kScaleOfUnknownDisplay : std::max(found->scale, 1.0);
}

CGRect flippedGlobalRect(const CGRect& rect, double primaryScreenHeight) {
    return {{rect.minX(), primaryScreenHeight - rect.maxY()}, rect.size};
}

std::optional<CGRect> areaSelectionForCapture(const std::optional<CGRect>& selectedAreaRect,
                                              const ShareableDisplay& display, double primaryScreenHeight,
                                              double scale) {
    if (!selectedAreaRect) return std::nullopt;
    const CGRect onDisplay = flippedGlobalRect(*selectedAreaRect, primaryScreenHeight)
                                 .offsetBy(-display.frame.minX(), -display.frame.minY());
    const CGRect part = onDisplay.intersection({{0, 0}, display.frame.size});
    if (part.width() < kSmallestAreaPoints || part.height() < kSmallestAreaPoints) return std::nullopt;
    const double width = evenPixels(part.width(), scale);
    const double height = evenPixels(part.height(), scale);
    if (width < kSmallestAreaPixels || height < kSmallestAreaPixels) return std::nullopt;
    return CGRect{{std::round(part.minX() * scale) / scale, std::round(part.minY() * scale) / scale},
                  {width / scale, height / scale}};
}

}  // namespace varnelle
