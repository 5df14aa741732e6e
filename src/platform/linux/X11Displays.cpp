#include "platform/linux/X11Displays.h"

#include <xcb/randr.h>

#include <algorithm>
#include <charconv>
#include <string_view>

#include "platform/linux/X11Properties.h"

namespace varnelle {
namespace {

constexpr double kDotsPerInchAtScaleOne = 96;
constexpr double kLargestScale = 8;

ShareableDisplay makeDisplay(double scale, std::uint32_t id, std::string name, int x, int y, int width,
                             int height) {
    return {
        id, {{x / scale, y / scale}, {width / scale, height / scale}}, width, height, scale, std::move(name)};
}

bool hasMonitors(X11Connection& connection) {
    if (!connection.hasExtension(xcb_randr_id)) return false;
    const auto version = connection.reply<xcb_randr_query_version_reply_t>(
        xcb_randr_query_version(connection.get(), 1, 5), "RRQueryVersion");
    return version->major_version > 1 || (version->major_version == 1 && version->minor_version >= 5);
}

std::string atomName(X11Connection& connection, xcb_atom_t atom) {
    const auto reply =
        connection.reply<xcb_get_atom_name_reply_t>(xcb_get_atom_name(connection.get(), atom), "GetAtomName");
    return {xcb_get_atom_name_name(reply.get()),
            static_cast<std::size_t>(xcb_get_atom_name_name_length(reply.get()))};
}

ShareableDisplay wholeRoot(const X11Connection& connection, double scale) {
    const xcb_screen_t& screen = connection.screen();
    return makeDisplay(scale, screen.root, connection.displayName(), 0, 0, screen.width_in_pixels,
                       screen.height_in_pixels);
}

}  // namespace

double pointPixelScale(X11Connection& connection) {
    const std::string resources =
        X11Property(connection, connection.screen().root, "RESOURCE_MANAGER").text();
    constexpr std::string_view name = "Xft.dpi:";
    std::size_t line = 0;
    while (line < resources.size() && resources.compare(line, name.size(), name) != 0) {
        const std::size_t end = resources.find('\n', line);
        line = end == std::string::npos ? resources.size() : end + 1;
    }
    if (line >= resources.size()) return 1;
    std::size_t number = line + name.size();
    while (number < resources.size() && (resources[number] == ' ' || resources[number] == '\t')) ++number;
    double dotsPerInch = 0;
    std::from_chars(resources.data() + number, resources.data() + resources.size(), dotsPerInch);
    const double scale = dotsPerInch / kDotsPerInchAtScaleOne;
    return scale >= 1 && scale <= kLargestScale ? scale : 1;
}

std::vector<ShareableDisplay> listDisplays(X11Connection& connection) {
    const double scale = pointPixelScale(connection);
    std::vector<ShareableDisplay> displays;
    if (hasMonitors(connection)) {
        const auto reply = connection.reply<xcb_randr_get_monitors_reply_t>(
            xcb_randr_get_monitors(connection.get(), connection.screen().root, 1), "RRGetMonitors");
        for (auto it = xcb_randr_get_monitors_monitors_iterator(reply.get()); it.rem > 0;
             xcb_randr_monitor_info_next(&it)) {
            const xcb_randr_monitor_info_t& monitor = *it.data;
            if (monitor.width == 0 || monitor.height == 0) continue;
            const auto position = monitor.primary != 0 ? displays.begin() : displays.end();
            displays.insert(position, makeDisplay(scale, monitor.name, atomName(connection, monitor.name),
                                                  monitor.x, monitor.y, monitor.width, monitor.height));
        }
    }
    if (displays.empty()) displays.push_back(wholeRoot(connection, scale));
    return displays;
}

}  // namespace varnelle
