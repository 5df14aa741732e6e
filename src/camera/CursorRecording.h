#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/CMTime.h"
#include "foundation/Geometry.h"

namespace varnelle {

// All times are seconds of source time, counted from the recording's origin. All positions are normalised to
// the capture region: 0 to 1 across it, origin at the bottom left, y upwards.

/// The recorded area in global screen points, origin at the top left.
struct CursorCaptureRegion {
    double originX = 0;
    double originY = 0;
    double width = 0;
    double height = 0;
    bool operator==(const CursorCaptureRegion&) const = default;
};

struct CursorMovementSample {
    double timeSeconds = 0;
    double normalizedX = 0;
    double normalizedY = 0;
    bool isVisible = false;  ///< the pointer lay inside the capture region
    bool operator==(const CursorMovementSample&) const = default;
};

enum class CursorActivityKind { leftMouseDown, leftMouseUp, rightMouseDown, rightMouseUp };

constexpr bool isPress(CursorActivityKind kind) {
    return kind == CursorActivityKind::leftMouseDown || kind == CursorActivityKind::rightMouseDown;
}

/// A mouse button going down or up.
struct CursorActivitySample {
    double timeSeconds = 0;
    CursorActivityKind kind = CursorActivityKind::leftMouseDown;
    double normalizedX = 0;
    double normalizedY = 0;
    bool isVisible = false;
    bool operator==(const CursorActivitySample&) const = default;
};

struct CursorScrollSample {
    double timeSeconds = 0;
    double normalizedDeltaX = 0;
    double normalizedDeltaY = 0;
    bool isMomentum = false;
    bool isVisible = true;
    bool operator==(const CursorScrollSample&) const = default;
};

enum class CursorKeyboardActivityKind { typing, navigation, shortcut };

/// That a key of some class was pressed; never which one.
struct CursorKeyboardActivitySample {
    double timeSeconds = 0;
    CursorKeyboardActivityKind kind = CursorKeyboardActivityKind::typing;
    bool isVisible = true;
    bool operator==(const CursorKeyboardActivitySample&) const = default;
};

/// What the accessibility interface told about the focus. A frame's origin is its lower left corner.
struct CursorWindowContextSample {
    double timeSeconds = 0;
    std::optional<CGRect> activeWindowFrame;
    std::optional<CGRect> focusedElementFrame;
    std::optional<std::string> focusedElementRole;
    std::optional<CGRect> keyboardFocusedElementFrame;
    std::optional<std::string> keyboardFocusedElementRole;
    bool operator==(const CursorWindowContextSample&) const = default;
};

enum class CursorShape { arrow, iBeam, pointingHand };

enum class CursorVisibility { hidden = 0, visible = 1, noData = 2 };

/// What the cursor is doing at one moment.
struct CursorFrameState {
    CGPoint position;  ///< clamped to 0 to 1
    CGPoint velocity;  ///< normalised units per second
    CursorVisibility visibility = CursorVisibility::hidden;
    double activity = 0;    ///< decaying energy of recent button transitions, 0 to 1
    double clickScale = 0;  ///< scale of the cursor's image during a press, 0.7 to 1; 0 without data
    CursorShape shape = CursorShape::arrow;
    bool operator==(const CursorFrameState&) const = default;
};

/// The interpolated pointer alone, which is all that the camera asks for.
struct CursorPointerState {
    CGPoint position;  ///< clamped to 0 to 1
    CursorVisibility visibility = CursorVisibility::noData;
};

/// Everything learned about pointer, buttons, wheel, keyboard and focus during one recording. Each list is
/// sorted by time; samples of equal times keep their order of arrival. Lookups are a binary search and
/// constant work, allocate nothing, and may run on several threads at once.
struct CursorRecording {
    CursorCaptureRegion captureRegion;
    std::vector<CursorMovementSample> movementSamples;
    std::vector<CursorActivitySample> activitySamples;
    std::vector<CursorWindowContextSample> windowContextSamples;
    std::vector<CursorScrollSample> scrollSamples;
    std::vector<CursorKeyboardActivitySample> keyboardSamples;

    /// Restores the order by time after samples were added.
    void sortSamples();

    /// State at a moment of source time. Without movement samples `noData` and zeros.
    [[nodiscard]] CursorFrameState cursorState(const CMTime& sourceTime) const;
    /// The position and visibility of `cursorState`.
    [[nodiscard]] CursorPointerState pointerState(const CMTime& sourceTime) const;
    [[nodiscard]] double activity(double timeSeconds) const;
    [[nodiscard]] double clickScale(double timeSeconds) const;
    [[nodiscard]] CursorShape shape(double timeSeconds) const;
    /// The last time in any list, at least 0.
    [[nodiscard]] double lastEventTime() const;

    bool operator==(const CursorRecording&) const = default;
};

std::string_view rawString(CursorActivityKind kind);
std::string_view rawString(CursorKeyboardActivityKind kind);

}  // namespace varnelle
