#include "capture_ui/StopShortcut.h"

#include "tasks/Completion.h"

namespace varnelle {
namespace {

constexpr KeyChord kChord{.key = U'r', .hasControl = true, .hasAlternate = true};

}  // namespace

StopShortcut::StopShortcut(DesktopPlatform& platform) : platform_(platform) {
    connect(&asking_, &QFutureWatcherBase::finished, this, [this] {
        if (isActive_) shortcut_ = asking_.result();
    });
}

StopShortcut::~StopShortcut() = default;

void StopShortcut::setActive(bool isActive) {
    if (isActive_ == isActive) return;
    isActive_ = isActive;
    shortcut_.reset();
    if (!isActive) {
        asking_.setFuture({});
        return;
    }
    // The press comes on a thread of the desktop's.
    const auto report = [this] { QMetaObject::invokeMethod(this, &StopShortcut::pressed); };
    asking_.setFuture(resultOn(queue_, [&platform = platform_, report] {
        return std::shared_ptr<GlobalShortcut>(platform.makeGlobalShortcut(kChord, report));
    }));
}

}  // namespace varnelle
