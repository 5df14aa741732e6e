#include "render/CursorArt.h"

#include <array>
#include <string>

#include "foundation/Error.h"
#include "foundation/Log.h"
#include "foundation/Resources.h"
#include "imaging/PNG.h"

namespace varnelle {
namespace {

constexpr double kMasterScale = 8;

/// File name without extension, and the hot spot in points from the top left, as drawn in resources/cursors.
struct Artwork {
    const char* name;
    CGPoint hotSpot;
};

Artwork artwork(CursorShape shape) {
    switch (shape) {
        case CursorShape::arrow:
            return {"arrow", {3, 2.5}};
        case CursorShape::iBeam:
            return {"iBeam", {7, 12.5}};
        case CursorShape::pointingHand:
            return {"pointingHand", {9.2, 2.6}};
    }
    return {"arrow", {3, 2.5}};
}

}  // namespace

std::shared_ptr<const CursorImageRecipe> makeCursorRecipe(CursorShape shape) {
    const Artwork art = artwork(shape);
    try {
        const Bitmap image = readPNG(resourceURL(std::string("cursors/") + art.name + ".png"));
        return std::make_shared<CursorImageRecipe>(CursorImageRecipe{
            image, {art.hotSpot.x * kMasterScale, art.hotSpot.y * kMasterScale}, kMasterScale});
    } catch (const Error& error) {
        logger(LogCategory::app).error("No cursor is drawn: {}", error.what());
    }
    Bitmap clear(1, 1);
    fill(clear.view(), {0, 0, 0, 0});
    return std::make_shared<CursorImageRecipe>(CursorImageRecipe{clear, {0, 0}, 1});
}

}  // namespace varnelle
