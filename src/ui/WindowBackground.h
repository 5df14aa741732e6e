#pragma once

#include <QColor>

namespace varnelle {

/// What a window shows before its content is drawn; the theme's `window` colour.
inline constexpr QColor kWindowBackground{0x16, 0x17, 0x1b};

}  // namespace varnelle
