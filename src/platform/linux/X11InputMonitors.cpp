#include "platform/linux/X11InputMonitors.h"

#include <xcb/xinput.h>

#include <chrono>
#include <map>
#include <utility>
#include <vector>

#include "foundation/Log.h"
#include "platform/linux/ScrollDevice.h"
#include "platform/linux/X11Connection.h"
#include "platform/linux/X11EventThread.h"
#include "platform/linux/X11Keyboard.h"

namespace varnelle {
namespace {

/// Every motion of the pointer is a raw event too, up to a thousand times a second. They are read in bunches;
/// events tell their time.
constexpr std::chrono::milliseconds kBunchTime{40};
constexpr std::chrono::milliseconds kNoRest{0};
constexpr std::chrono::milliseconds kOldestEvent{1000};

constexpr double kFixedPointUnit = 4294967296.0;

double number(const xcb_input_fp3232_t& value) {
    return value.integral + value.frac / kFixedPointUnit;
}

/// Servers stamp events with the milliseconds of the monotonic clock, cut to 32 bits. A stamp of another
/// clock is taken for now.
double ageSeconds(xcb_timestamp_t time) {
    const auto now = std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::steady_clock::now().time_since_epoch());
    const std::uint32_t age = static_cast<std::uint32_t>(now.count()) - time;
    return age <= kOldestEvent.count() ? age / 1000.0 : 0;
}

/// A connection that knows the X Input Extension.
class InputConnection {
public:
    explicit InputConnection(const std::string& displayName) : connection_(displayName) {
        if (!connection_.hasExtension(xcb_input_id)) throw unsupported();
        const auto version = connection_.reply<xcb_input_xi_query_version_reply_t>(
            xcb_input_xi_query_version(connection_.get(), 2, 2), "XIQueryVersion");
        // From 2.1 on raw events tell their device and come while another program holds a grab.
        if (version->major_version < 2 || (version->major_version == 2 && version->minor_version < 1)) {
            throw unsupported();
        }
        opcode_ = xcb_get_extension_data(connection_.get(), &xcb_input_id)->major_opcode;
    }

    X11Connection& operator*() { return connection_; }
    X11Connection* operator->() { return &connection_; }

    void select(xcb_input_device_id_t device, std::uint32_t events) {
        struct {
            xcb_input_event_mask_t head;
            std::uint32_t mask;
        } selection{{device, 1}, events};
        connection_.check(xcb_input_xi_select_events_checked(connection_.get(), connection_.screen().root, 1,
                                                             &selection.head),
                          "XISelectEvents");
    }
    /// The kind of an event of the extension; 0 for others.
    [[nodiscard]] std::uint16_t kindOf(const xcb_generic_event_t& event) const {
        if ((event.response_type & 0x7F) != XCB_GE_GENERIC) return 0;
        const auto& generic = reinterpret_cast<const xcb_ge_generic_event_t&>(event);
        return generic.extension == opcode_ ? generic.event_type : std::uint16_t{0};
    }

private:
    [[nodiscard]] PlatformError unsupported() const {
        return {PlatformError::Code::unsupported,
                "The X display “" + connection_.displayName() + "” doesn't tell what its input devices do."};
    }

    X11Connection connection_;
    std::uint8_t opcode_ = 0;
};

std::vector<ScrollAxis> scrollAxes(const xcb_input_xi_device_info_t& device) {
    std::vector<ScrollAxis> axes;
    std::vector<std::uint16_t> absoluteValuators;
    for (auto it = xcb_input_xi_device_info_classes_iterator(&device); it.rem > 0;
         xcb_input_device_class_next(&it)) {
        if (it.data->type == XCB_INPUT_DEVICE_CLASS_TYPE_SCROLL) {
            const auto& scroll = reinterpret_cast<const xcb_input_scroll_class_t&>(*it.data);
            if (number(scroll.increment) == 0) continue;
            axes.push_back({scroll.number, scroll.scroll_type == XCB_INPUT_SCROLL_TYPE_HORIZONTAL,
                            number(scroll.increment), false});
        } else if (it.data->type == XCB_INPUT_DEVICE_CLASS_TYPE_VALUATOR) {
            const auto& valuator = reinterpret_cast<const xcb_input_valuator_class_t&>(*it.data);
            if (valuator.mode == XCB_INPUT_VALUATOR_MODE_ABSOLUTE)
                absoluteValuators.push_back(valuator.number);
        }
    }
    for (ScrollAxis& axis : axes) {
        for (const std::uint16_t valuator : absoluteValuators) axis.isAbsolute |= axis.valuator == valuator;
    }
    return axes;
}

class ScrollMonitor final : public InputMonitor {
public:
    ScrollMonitor(const std::string& displayName, std::function<void(const ScrollEvent&)> handler)
        : connection_(displayName), handler_(std::move(handler)) {
        connection_.select(XCB_INPUT_DEVICE_ALL,
                           XCB_INPUT_XI_EVENT_MASK_HIERARCHY | XCB_INPUT_XI_EVENT_MASK_DEVICE_CHANGED);
        learnDevices();
        thread_ = std::make_unique<X11EventThread>(
            *connection_, kBunchTime, [this](const xcb_generic_event_t& event) { handle(event); });
    }

private:
    void learnDevices() {
        const auto reply = connection_->reply<xcb_input_xi_query_device_reply_t>(
            xcb_input_xi_query_device(connection_->get(), XCB_INPUT_DEVICE_ALL), "XIQueryDevice");
        devices_.clear();
        bool hasAxes = false;
        for (auto it = xcb_input_xi_query_device_infos_iterator(reply.get()); it.rem > 0;
             xcb_input_xi_device_info_next(&it)) {
            const std::vector<ScrollAxis> axes = scrollAxes(*it.data);
            hasAxes = hasAxes || !axes.empty();
            devices_.emplace(it.data->deviceid, ScrollDevice(axes));
        }
        // Without a device that scrolls by its valuators there is no need to hear of every motion.
        std::uint32_t events = XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_PRESS;
        if (hasAxes) events |= XCB_INPUT_XI_EVENT_MASK_RAW_MOTION;
        connection_.select(XCB_INPUT_DEVICE_ALL_MASTER, events);
    }

    void handle(const xcb_generic_event_t& event) {
        switch (connection_.kindOf(event)) {
            case XCB_INPUT_RAW_MOTION:
                return handleMotion(reinterpret_cast<const xcb_input_raw_button_press_event_t&>(event));
            case XCB_INPUT_RAW_BUTTON_PRESS:
                return handleButton(reinterpret_cast<const xcb_input_raw_button_press_event_t&>(event));
            case XCB_INPUT_DEVICE_CHANGED: {
                // A master that takes over another device's abilities changes nothing here.
                const auto& change = reinterpret_cast<const xcb_input_device_changed_event_t&>(event);
                if (change.reason == XCB_INPUT_CHANGE_REASON_DEVICE_CHANGE) learnDevicesAgain();
                return;
            }
            case XCB_INPUT_HIERARCHY:
                return learnDevicesAgain();
            default:
                return;
        }
    }

    void learnDevicesAgain() {
        try {
            learnDevices();
        } catch (const PlatformError& error) {
            logger(LogCategory::recording).warn("Scrolling may be missed: {}", error.what());
        }
    }

    void handleMotion(const xcb_input_raw_button_press_event_t& event) {
        const auto device = devices_.find(event.sourceid);
        if (device == devices_.end()) return;
        const std::uint32_t* mask = xcb_input_raw_button_press_valuator_mask(&event);
        const xcb_input_fp3232_t* values = xcb_input_raw_button_press_axisvalues(&event);
        changes_.clear();
        for (std::uint32_t valuator = 0; valuator < event.valuators_len * 32U; ++valuator) {
            if ((mask[valuator / 32] & (1U << (valuator % 32))) == 0) continue;
            changes_.push_back({static_cast<std::uint16_t>(valuator), number(*values++)});
        }
        tell(device->second.motion(changes_), event);
    }

    void handleButton(const xcb_input_raw_button_press_event_t& event) {
        const auto device = devices_.find(event.sourceid);
        const bool isEmulated = (event.flags & XCB_INPUT_POINTER_EVENT_FLAGS_POINTER_EMULATED) != 0;
        const ScrollDevice& source = device != devices_.end() ? device->second : unknownDevice_;
        tell(source.buttonPress(event.detail, isEmulated), event);
    }

    void tell(std::optional<ScrollEvent> scroll, const xcb_input_raw_button_press_event_t& event) {
        if (!scroll) return;
        scroll->ageSeconds = ageSeconds(event.time);
        handler_(*scroll);
    }

    InputConnection connection_;
    const std::function<void(const ScrollEvent&)> handler_;
    std::map<xcb_input_device_id_t, ScrollDevice> devices_;
    const ScrollDevice unknownDevice_;
    std::vector<ValuatorChange> changes_;
    std::unique_ptr<X11EventThread> thread_;
};

class KeyMonitor final : public InputMonitor {
public:
    KeyMonitor(const std::string& displayName, std::function<void(const KeyDownEvent&)> handler)
        : connection_(displayName), keyboard_(*connection_), handler_(std::move(handler)) {
        connection_.select(XCB_INPUT_DEVICE_ALL_MASTER, XCB_INPUT_XI_EVENT_MASK_RAW_KEY_PRESS);
        thread_ = std::make_unique<X11EventThread>(
            *connection_, kNoRest, [this](const xcb_generic_event_t& event) { handle(event); });
    }

private:
    void handle(const xcb_generic_event_t& event) {
        if (keyboard_.follow(event) || connection_.kindOf(event) != XCB_INPUT_RAW_KEY_PRESS) return;
        const auto& press = reinterpret_cast<const xcb_input_raw_key_press_event_t&>(event);
        if (const auto key = keyboard_.keyDown(press.detail)) handler_(*key);
    }

    InputConnection connection_;
    X11Keyboard keyboard_;
    const std::function<void(const KeyDownEvent&)> handler_;
    std::unique_ptr<X11EventThread> thread_;
};

template <typename Monitor, typename Handler>
std::unique_ptr<InputMonitor> addMonitor(const std::string& displayName, Handler handler) {
    try {
        return std::make_unique<Monitor>(displayName, std::move(handler));
    } catch (const PlatformError& error) {
        logger(LogCategory::recording).warn("The recording goes on without a monitor: {}", error.what());
        return nullptr;
    }
}

}  // namespace

X11InputMonitors::X11InputMonitors(std::string displayName) : displayName_(std::move(displayName)) {}

std::unique_ptr<InputMonitor> X11InputMonitors::addScrollMonitor(
    std::function<void(const ScrollEvent&)> handler) {
    return addMonitor<ScrollMonitor>(displayName_, std::move(handler));
}

std::unique_ptr<InputMonitor> X11InputMonitors::addKeyMonitor(
    std::function<void(const KeyDownEvent&)> handler) {
    return addMonitor<KeyMonitor>(displayName_, std::move(handler));
}

}  // namespace varnelle
