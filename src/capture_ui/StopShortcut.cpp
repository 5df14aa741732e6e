#include "capture_ui/StopShortcut.h"

#include "tasks/Completion.h"

namespace varnelle {
namespace {

constexpr KeyChord kChord{.key = U'r', .hasControl = true, .hasAlternate = true};

}  // namespace

StopShortcut::StopShortcut(DesktopPlatform& platform) : platform_(platform) {}

StopShortcut::~StopShortcut() = default;

void StopShortcut::setActive(bool isActive) {
    if (isActive_ == isActive) return;
    isActive_ = isActive;
    shortcut_ = {};
    if (!isActive) return;
    // The press comes on a thread of the desktop's.
    const auto report = [this] { QMetaObject::invokeMethod(this, &StopShortcut::pressed); };
    const auto make = [&platform = platform_, report] { return platform.makeGlobalShortcut(kChord, report); };
    shortcut_ = resultOn(queue_, make).future();
}

}  // namespace varnelle
