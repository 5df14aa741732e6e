#pragma once

namespace varnelle::test {

/// What the program with the accessible window shows: places in its window, in pixels.
struct ContentRect {
    int x, y, width, height;
};

inline constexpr ContentRect kWindowContent{150, 90, 420, 300};
inline constexpr ContentRect kLineEditContent{20, 20, 200, 30};
inline constexpr ContentRect kButtonContent{20, 80, 120, 40};
inline constexpr ContentRect kTextEditContent{20, 150, 300, 120};
/// The line edit's text, of which the first word is selected. The line edit has the focus.
inline constexpr const char* kLineEditText = "selected and not";
inline constexpr int kSelectedCharacters = 8;

}  // namespace varnelle::test
