#pragma once

#include <string>

#include "app/LaunchedAppTest.h"

namespace varnelle::test {

inline ShareableDisplay displayOf(std::uint32_t id, const std::string& name, const CGRect& frame,
                                  double scale = 1) {
    return {id,    frame, static_cast<int>(frame.width() * scale), static_cast<int>(frame.height() * scale),
            scale, name};
}

inline ShareableWindow windowOf(std::uint32_t id, const std::string& program, const std::string& title,
                                const CGRect& frame = {{0, 0}, {100, 100}}) {
    ShareableWindow result;
    result.windowID = id;
    result.title = title;
    result.frame = frame;
    result.owningApplication = ShareableApplication{1000 + static_cast<std::int64_t>(id), program, program};
    return result;
}

/// The program at its dock bar, on a desktop with two displays: the primary one with 1000 x 800 points, and
/// one to the right of it, lower by 100.
class CaptureUiTest : public LaunchedAppTest {
protected:
    CaptureUiTest() {
        desktop.displays = {displayOf(1, "left", {{0, 0}, {1000, 800}}),
                            displayOf(2, "right", {{1000, 100}, {600, 500}}, 2)};
    }
};

}  // namespace varnelle::test
