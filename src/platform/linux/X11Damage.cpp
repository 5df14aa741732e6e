#include "platform/linux/X11Damage.h"

namespace varnelle {

bool X11Damage::isSupported(X11Connection& connection) {
    if (!connection.hasExtension(xcb_damage_id) || !connection.hasExtension(xcb_xfixes_id)) return false;
    // Both extensions answer nothing else before the versions have been agreed on.
    const auto damage = xcb_damage_query_version(connection.get(), 1, 1);
    const auto fixes = xcb_xfixes_query_version(connection.get(), 2, 0);
    connection.reply<xcb_damage_query_version_reply_t>(damage, "DamageQueryVersion");
    connection.reply<xcb_xfixes_query_version_reply_t>(fixes, "XFixesQueryVersion");
    return true;
}

X11Damage::X11Damage(X11Connection& connection, xcb_window_t window)
    : connection_(connection),
      damage_(xcb_generate_id(connection.get())),
      region_(xcb_generate_id(connection.get())) {
    // One report per look, however much is drawn in between.
    connection_.check(
        xcb_damage_create_checked(connection.get(), damage_, window, XCB_DAMAGE_REPORT_LEVEL_NON_EMPTY),
        "DamageCreate");
    xcb_xfixes_create_region(connection.get(), region_, 0, nullptr);
}

X11Damage::~X11Damage() {
    // A window that went has taken its damage object along; the server's complaint about that is no news.
    xcb_discard_reply(connection_.get(), xcb_damage_destroy_checked(connection_.get(), damage_).sequence);
    xcb_discard_reply(connection_.get(),
                      xcb_xfixes_destroy_region_checked(connection_.get(), region_).sequence);
}

bool X11Damage::isReportedBy(const xcb_generic_event_t& event) const {
    const auto damageEvent = xcb_get_extension_data(connection_.get(), &xcb_damage_id)->first_event;
    if ((event.response_type & 0x7f) != damageEvent + XCB_DAMAGE_NOTIFY) return false;
    return reinterpret_cast<const xcb_damage_notify_event_t&>(event).damage == damage_;
}

PixelRegion X11Damage::take() {
    xcb_damage_subtract(connection_.get(), damage_, XCB_NONE, region_);
    const auto reply = connection_.reply<xcb_xfixes_fetch_region_reply_t>(
        xcb_xfixes_fetch_region(connection_.get(), region_), "XFixesFetchRegion");
    const xcb_rectangle_t* rects = xcb_xfixes_fetch_region_rectangles(reply.get());
    PixelRegion drawn;
    for (int i = 0; i < xcb_xfixes_fetch_region_rectangles_length(reply.get()); ++i) {
        drawn.add({rects[i].x, rects[i].y, rects[i].x + rects[i].width, rects[i].y + rects[i].height});
    }
    return drawn;
}

void X11Damage::discard() {
    xcb_damage_subtract(connection_.get(), damage_, XCB_NONE, XCB_NONE);
}

}  // namespace varnelle
