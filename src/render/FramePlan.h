#pragma once

#include <optional>
#include <string>

#include "camera/CursorRecording.h"
#include "camera/SmoothingCamera.h"
#include "camera/ZoomPanClipsController.h"
#include "foundation/Geometry.h"
#include "model/OverlayModels.h"

namespace varnelle {

/// How long the camera takes to move in at the start of a zoom-pan range, and out at its end.
inline constexpr double kZoomTransitionSeconds = 0.85;

/// Where everything of one frame goes: rectangles and numbers, no pixels. Canvas coordinates are output
/// pixels with the origin at the bottom left, y upwards. Equal plans with equal source frames make equal
/// pictures.
struct FramePlan {
    struct Shadow {
        double opacity = 0;
        double radius =
            0;             ///< pixels of a canvas that isn't scaled; the layers' least sizes are in them, too
        double scale = 1;  ///< of the canvas
        bool operator==(const Shadow&) const = default;
    };
    struct Cursor {
        CursorShape shape = CursorShape::arrow;
        CGPoint hotSpot;            ///< where the hot spot lands on the canvas
        double pixelsPerPoint = 0;  ///< canvas pixels for a point of the nominal cursor
        bool operator==(const Cursor&) const = default;
    };
    /// The camera's picture, floating over everything.
    struct Bubble {
        CGRect rect;              ///< cuts the picture, which fills it; may hang over the canvas's edge
        double cornerRadius = 0;  ///< canvas pixels
        bool isMirrored = false;
        std::optional<Shadow> shadow;
        bool isShadowStill = false;
        bool operator==(const Bubble&) const = default;
    };

    CGSize canvas;
    CanvasBackgroundStyle backgroundStyle = CanvasBackgroundStyle::none;
    std::string wallpaperPath;
    CGRect screenRect;        ///< where the whole screen picture lands; may reach beyond the canvas
    bool hasMask = false;     ///< the screen is cut to a rounded rectangle
    double cornerRadius = 0;  ///< canvas pixels
    std::optional<Shadow> shadow;
    std::optional<Cursor> cursor;
    std::optional<Bubble> bubble;
    /// The shadow stays the same for a while, so it is worth keeping.
    bool isShadowStill = false;

    bool operator==(const FramePlan&) const = default;
};

/// What one frame is planned from.
struct FramePlanInput {
    CGSize canvas;      ///< pixels
    CGSize sourceSize;  ///< pixels of the oriented screen picture
    const OverlayConfiguration* configuration = nullptr;
    ZoomPanState zoomPanState;
    /// The camera to follow: the present one, or, while a range is left, that of the moment the leaving
    /// began.
    std::optional<SmoothingCameraSnapshot> snapshot;
    CursorFrameState cursorState;
    CursorCaptureRegion captureRegion;
    bool hasCameraFrame = false;
};

FramePlan makeFramePlan(const FramePlanInput& input);

/// The same picture on a canvas `factor` times as large, to draw no more pixels than are shown.
FramePlan scaled(const FramePlan& plan, double factor);

/// A canvas rectangle with y downwards, as pictures in memory have it.
CGRect flipped(const CGRect& rect, double canvasHeight);

/// Where the camera bubble lies: a square sized by the canvas's width, put by its dragged centre, else into
/// the anchor's corner.
CGRect cameraRect(CGSize canvas, const OverlayConfiguration& configuration);

/// The radius of the bubble's corners, by its mask; half its side for a circle.
double bubbleCornerRadius(const CGRect& rect, const OverlayConfiguration& configuration);

/// Where the screen lands while nothing is zoomed: fitted into the canvas, inset by the padding unless the
/// background is `none`.
CGRect fittedScreenRect(CGSize canvas, CGSize sourceSize, const OverlayConfiguration& configuration);

/// The part of the canvas that the camera shows at full progress.
CGRect cameraViewRect(const SmoothingCameraSnapshot& snapshot, const CGRect& screenRect, CGSize canvas);

}  // namespace varnelle
