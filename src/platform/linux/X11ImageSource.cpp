#include "platform/linux/X11ImageSource.h"

#include <sys/socket.h>
#include <xcb/shm.h>

#include <fmt/format.h>

#include <cstring>

namespace varnelle {
namespace {

/// Rows of pixels in memory, `bytesPerRow` apart.
struct Rows {
    const std::uint8_t* first;
    std::size_t bytesPerRow;
};

std::size_t byteOffset(const PixelRect& rect, std::size_t bytesPerRow) {
    return static_cast<std::size_t>(rect.top) * bytesPerRow + static_cast<std::size_t>(rect.left) * 4;
}

/// Whether `rect` of the previous picture holds anything else than `rows`. Stops at the first difference, so
/// it costs next to nothing when the picture did change.
bool differs(const VideoFrame& previous, const PixelRect& rect, Rows rows) {
    if (previous.isEmpty()) return true;
    const auto previousBytesPerRow = static_cast<std::size_t>(previous.plane(0).bytesPerRow);
    const std::uint8_t* old = previous.plane(0).data + byteOffset(rect, previousBytesPerRow);
    const auto byteCount = static_cast<std::size_t>(rect.width()) * 4;
    for (int y = 0; y < rect.height(); ++y) {
        const auto row = static_cast<std::size_t>(y);
        if (std::memcmp(old + row * previousBytesPerRow, rows.first + row * rows.bytesPerRow, byteCount) !=
            0) {
            return true;
        }
    }
    return false;
}

void copyRows(std::uint8_t* picture, std::size_t bytesPerRow, const PixelRect& rect, Rows rows) {
    std::uint8_t* target = picture + byteOffset(rect, bytesPerRow);
    for (int y = 0; y < rect.height(); ++y) {
        const auto row = static_cast<std::size_t>(y);
        std::memcpy(target + row * bytesPerRow, rows.first + row * rows.bytesPerRow,
                    static_cast<std::size_t>(rect.width()) * 4);
    }
}

/// Memory can only be shared with a server on this machine, reached through a local socket.
bool isLocal(int fileDescriptor) {
    sockaddr_storage address{};
    socklen_t length = sizeof address;
    return getsockname(fileDescriptor, reinterpret_cast<sockaddr*>(&address), &length) == 0 &&
           address.ss_family == AF_UNIX;
}

bool canShareMemory(X11Connection& connection) {
    if (!isLocal(connection.fileDescriptor()) || !connection.hasExtension(xcb_shm_id)) return false;
    const auto version = connection.reply<xcb_shm_query_version_reply_t>(
        xcb_shm_query_version(connection.get()), "ShmQueryVersion");
    return version->major_version > 1 || (version->major_version == 1 && version->minor_version >= 2);
}

int bitsPerPixel(const X11Connection& connection, std::uint8_t depth) {
    for (auto it = xcb_setup_pixmap_formats_iterator(xcb_get_setup(connection.get())); it.rem > 0;
         xcb_format_next(&it)) {
        if (it.data->depth == depth) return it.data->bits_per_pixel;
    }
    return 0;
}

bool hasBlueFirst(const X11Connection& connection) {
    const xcb_screen_t& screen = connection.screen();
    if (xcb_get_setup(connection.get())->image_byte_order != XCB_IMAGE_ORDER_LSB_FIRST) return false;
    for (auto depth = xcb_screen_allowed_depths_iterator(&screen); depth.rem > 0; xcb_depth_next(&depth)) {
        for (auto visual = xcb_depth_visuals_iterator(depth.data); visual.rem > 0;
             xcb_visualtype_next(&visual)) {
            if (visual.data->visual_id == screen.root_visual) return visual.data->red_mask == 0xff0000;
        }
    }
    return false;
}

}  // namespace

X11ImageSource::X11ImageSource(X11Connection& connection, xcb_drawable_t drawable, const PixelRect& area,
                               const PixelRect& bounds)
    : connection_(connection), drawable_(drawable), area_(area), bounds_(bounds) {
    const std::uint8_t depth = connection.screen().root_depth;
    if (bitsPerPixel(connection, depth) != 32 || !hasBlueFirst(connection)) {
        throw PlatformError(
            PlatformError::Code::unsupported,
            fmt::format("The X display “{}” shows colours in a form that can't be recorded (depth "
                        "{}). It has to use 24-bit colour.",
                        connection.displayName(), depth));
    }
    usesSharedMemory_ = canShareMemory(connection);
}

X11ImageSource::~X11ImageSource() {
    if (scratch_ && scratch_->segment != 0) xcb_shm_detach(connection_.get(), scratch_->segment);
}

bool X11ImageSource::fetch(CaptureBuffer& buffer, const std::vector<PixelRect>& rects,
                           const VideoFrame& previous, Bands bands) {
    const PixelRect readable = bounds_.movedBy(-area_.left, -area_.top);
    std::vector<PixelRect> inside;
    bool isDifferent = false;
    for (const PixelRect& rect : rects) {
        const PixelRect part = rect.intersection(readable);
        if (!part.isEmpty()) inside.push_back(part);
        if (part == rect) continue;
        for (const PixelRect& outside : difference(rect, part)) {
            isDifferent = blacken(buffer, outside, previous) || isDifferent;
        }
    }
    const bool hasWholeRows = readable.left <= 0 && readable.right >= area_.width();
    std::vector<Fetch> fetches = plan(inside, hasWholeRows ? bands : Bands::none);
    if (usesSharedMemory_) attach(buffer);
    const bool isDifferentInside = usesSharedMemory_ ? fetchShared(buffer, fetches, previous)
                                                     : fetchThroughConnection(buffer, fetches, previous);
    return isDifferent || isDifferentInside;
}

std::vector<X11ImageSource::Fetch> X11ImageSource::plan(const std::vector<PixelRect>& rects,
                                                        Bands bands) const {
    std::vector<Fetch> wide;
    std::vector<Fetch> narrow;
    std::size_t scratchOffset = 0;
    for (const PixelRect& rect : rects) {
        const std::size_t byteCount = static_cast<std::size_t>(rect.area()) * 4;
        // Whole rows need no copy: the server packs rows, so a band of full width lands where it belongs.
        // Disjoint rectangles that aren't widened fit into the scratch memory together, as it is as large as
        // the picture.
        const bool fillsRows = rect.width() == area_.width();
        const bool isWide =
            fillsRows ||
            (bands == Bands::allowed &&
             (rect.width() * 2 > area_.width() ||
              scratchOffset + byteCount > bytesPerRow() * static_cast<std::size_t>(area_.height())));
        if (isWide) {
            wide.push_back({{0, rect.top, area_.width(), rect.bottom}, true, 0, 0});
        } else {
            narrow.push_back({rect, false, scratchOffset, 0});
            scratchOffset += byteCount;
        }
    }
    // A narrow rectangle beside a wide one was read later, so it is copied after the band has arrived.
    wide.insert(wide.end(), narrow.begin(), narrow.end());
    return wide;
}

bool X11ImageSource::blacken(CaptureBuffer& buffer, const PixelRect& rect, const VideoFrame& previous) const {
    const std::vector<std::uint8_t> black(static_cast<std::size_t>(rect.width()) * 4);
    bool isDifferent = false;
    for (int y = rect.top; y < rect.bottom; ++y) {
        const PixelRect row{rect.left, y, rect.right, y + 1};
        isDifferent = isDifferent || differs(previous, row, {black.data(), black.size()});
        copyRows(buffer.memory.bytes(), bytesPerRow(), row, {black.data(), black.size()});
    }
    return isDifferent;
}

void X11ImageSource::attach(CaptureBuffer& buffer) {
    const auto share = [this](CaptureBuffer& memory) {
        if (memory.segment != 0) return;
        const xcb_shm_seg_t segment = xcb_generate_id(connection_.get());
        connection_.check(
            xcb_shm_attach_fd_checked(connection_.get(), segment, memory.memory.duplicateDescriptor(), 0),
            "ShmAttachFd");
        memory.segment = segment;
    };
    try {
        if (scratch_ == nullptr) scratch_ = std::make_unique<CaptureBuffer>(buffer.memory.byteCount());
        share(*scratch_);
        share(buffer);
    } catch (const PlatformError& error) {
        if (error.code() != PlatformError::Code::requestFailed) throw;
        usesSharedMemory_ = false;
    }
}

bool X11ImageSource::fetchShared(CaptureBuffer& buffer, std::vector<Fetch>& fetches,
                                 const VideoFrame& previous) {
    for (Fetch& fetch : fetches) {
        const PixelRect& rect = fetch.rect;
        const CaptureBuffer& target = fetch.isInPlace ? buffer : *scratch_;
        const std::size_t offset = fetch.isInPlace ? byteOffset(rect, bytesPerRow()) : fetch.scratchOffset;
        fetch.sequence =
            xcb_shm_get_image(connection_.get(), drawable_, static_cast<std::int16_t>(area_.left + rect.left),
                              static_cast<std::int16_t>(area_.top + rect.top),
                              static_cast<std::uint16_t>(rect.width()),
                              static_cast<std::uint16_t>(rect.height()), ~0U, XCB_IMAGE_FORMAT_Z_PIXMAP,
                              target.segment, static_cast<std::uint32_t>(offset))
                .sequence;
    }
    bool isDifferent = false;
    for (const Fetch& fetch : fetches) {
        connection_.reply<xcb_shm_get_image_reply_t>(xcb_shm_get_image_cookie_t{fetch.sequence},
                                                     "ShmGetImage");
        const Rows rows =
            fetch.isInPlace
                ? Rows{buffer.memory.bytes() + byteOffset(fetch.rect, bytesPerRow()), bytesPerRow()}
                : Rows{scratch_->memory.bytes() + fetch.scratchOffset,
                       static_cast<std::size_t>(fetch.rect.width()) * 4};
        isDifferent = isDifferent || differs(previous, fetch.rect, rows);
        if (!fetch.isInPlace) copyRows(buffer.memory.bytes(), bytesPerRow(), fetch.rect, rows);
    }
    return isDifferent;
}

bool X11ImageSource::fetchThroughConnection(CaptureBuffer& buffer, std::vector<Fetch>& fetches,
                                            const VideoFrame& previous) {
    for (Fetch& fetch : fetches) {
        const PixelRect& rect = fetch.rect;
        fetch.sequence = xcb_get_image(connection_.get(), XCB_IMAGE_FORMAT_Z_PIXMAP, drawable_,
                                       static_cast<std::int16_t>(area_.left + rect.left),
                                       static_cast<std::int16_t>(area_.top + rect.top),
                                       static_cast<std::uint16_t>(rect.width()),
                                       static_cast<std::uint16_t>(rect.height()), ~0U)
                             .sequence;
    }
    bool isDifferent = false;
    for (const Fetch& fetch : fetches) {
        const auto reply =
            connection_.reply<xcb_get_image_reply_t>(xcb_get_image_cookie_t{fetch.sequence}, "GetImage");
        const Rows rows{xcb_get_image_data(reply.get()), static_cast<std::size_t>(fetch.rect.width()) * 4};
        isDifferent = isDifferent || differs(previous, fetch.rect, rows);
        copyRows(buffer.memory.bytes(), bytesPerRow(), fetch.rect, rows);
    }
    return isDifferent;
}

}  // namespace varnelle
