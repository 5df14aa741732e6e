#include "platform/linux/X11PointerInput.h"

#include "platform/linux/X11Displays.h"

namespace varnelle {
namespace {

constexpr std::chrono::milliseconds kPointerTimeout{250};

}  // namespace

X11PointerInput::X11PointerInput(const std::string& displayName)
    : connection_(displayName), scale_(pointPixelScale(connection_)) {}

std::optional<PointerState> X11PointerInput::currentState() {
    if (connection_.isLost()) return std::nullopt;
    try {
        const auto reply = connection_.reply<xcb_query_pointer_reply_t>(
            xcb_query_pointer(connection_.get(), connection_.screen().root), "QueryPointer", kPointerTimeout);
        return PointerState{{reply->root_x / scale_, reply->root_y / scale_},
                            (reply->mask & XCB_BUTTON_MASK_1) != 0,
                            (reply->mask & XCB_BUTTON_MASK_3) != 0};
    } catch (const PlatformError&) {
        return std::nullopt;
    }
}

}  // namespace varnelle
