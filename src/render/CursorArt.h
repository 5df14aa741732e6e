#pragma once

#include <memory>

#include "camera/CursorRecording.h"
#include "foundation/Geometry.h"
#include "imaging/Bitmap.h"

namespace varnelle {

/// A cursor's picture, large enough to stay sharp when it is enlarged. Immutable.
struct CursorImageRecipe {
    Bitmap image;            ///< the master
    CGPoint hotSpot;         ///< in master pixels, y from the top
    double masterScale = 1;  ///< master pixels per point of the nominal cursor
};

/// Loads a cursor's recipe from the program's resources. If that fails, a clear recipe of one pixel, with the
/// reason logged. Any thread.
std::shared_ptr<const CursorImageRecipe> makeCursorRecipe(CursorShape shape);

}  // namespace varnelle
