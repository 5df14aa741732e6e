#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "foundation/Geometry.h"

namespace varnelle {

/// A screen that can be recorded.
struct ShareableDisplay {
    std::uint32_t displayID = 0;  ///< the desktop's own number, stable while the screen stays connected
    CGRect frame;                 ///< global points, origin top left
    int widthPixels = 0;
    int heightPixels = 0;
    double scale = 1.0;  ///< pixels per point
    std::string name;

    bool operator==(const ShareableDisplay&) const = default;
};

/// A running program that has windows.
struct ShareableApplication {
    std::int64_t processID = 0;    ///< 0 if the program doesn't tell
    std::string bundleIdentifier;  ///< what the desktop knows the program by: its window class
    std::string name;              ///< as users know it

    bool operator==(const ShareableApplication&) const = default;
};

/// A window of a program.
struct ShareableWindow {
    std::uint32_t windowID = 0;  ///< the desktop's own number, as long as the window lives
    CGRect frame;                ///< global points, origin top left; with its decoration, without its shadow
    double scale = 1.0;          ///< pixels per point
    std::string title;
    std::optional<ShareableApplication> owningApplication;
    int windowLayer = 0;  ///< 0 for windows to work in; panels, the desktop's own pictures and such differ
    bool isOnScreen = false;  ///< shown, though perhaps under others

    bool operator==(const ShareableWindow&) const = default;
};

/// What the desktop has to offer for recording at one moment.
struct ShareableContent {
    std::vector<ShareableDisplay> displays;          ///< the primary one first
    std::vector<ShareableApplication> applications;  ///< those of `windows`, each once
    std::vector<ShareableWindow> windows;            ///< from the topmost to the lowest
};

/// Which windows `shareableContent` lists. Displays are always listed.
struct ShareableContentOptions {
    bool excludingDesktopWindows = false;  ///< the desktop's own: its background, its icons
    bool onScreenWindowsOnly = false;

    bool operator==(const ShareableContentOptions&) const = default;
};

}  // namespace varnelle
