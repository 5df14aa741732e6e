#include "imaging/PNG.h"

#include <cairo.h>

#include <cstring>
#include <memory>

#include "foundation/AtomicFile.h"
#include "foundation/Error.h"

namespace varnelle {
namespace {

using Surface = std::unique_ptr<cairo_surface_t, decltype(&cairo_surface_destroy)>;

[[noreturn]] void fail(const char* what, const URL& url, cairo_status_t status) {
    throw Error(std::string(what) + " the picture “" + url.string() +
                "” failed: " + cairo_status_to_string(status) + ".");
}

cairo_status_t appendBytes(void* bytes, const unsigned char* data, unsigned int length) {
    static_cast<std::string*>(bytes)->append(reinterpret_cast<const char*>(data), length);
    return CAIRO_STATUS_SUCCESS;
}

}  // namespace

// Cairo's 32-bit formats hold native-endian pixels, which on every machine the program runs on is BGRA in
// memory.

Bitmap readPNG(const URL& url) {
    const Surface file(cairo_image_surface_create_from_png(url.string().c_str()), cairo_surface_destroy);
    if (cairo_surface_status(file.get()) != CAIRO_STATUS_SUCCESS) {
        fail("Reading", url, cairo_surface_status(file.get()));
    }
    const int width = cairo_image_surface_get_width(file.get());
    const int height = cairo_image_surface_get_height(file.get());
    const bool hasAlpha = cairo_image_surface_get_format(file.get()) == CAIRO_FORMAT_ARGB32;
    Bitmap bitmap(width, height);
    cairo_surface_flush(file.get());
    for (int y = 0; y < height; ++y) {
        const unsigned char* row = cairo_image_surface_get_data(file.get()) +
                                   std::ptrdiff_t{y} * cairo_image_surface_get_stride(file.get());
        std::memcpy(bitmap.view().row(y), row, static_cast<std::size_t>(width) * 4);
        for (int x = 0; x < width && !hasAlpha; ++x) bitmap.view().pixel(x, y)[3] = 255;
    }
    return bitmap;
}

void writePNG(const BitmapView& bitmap, const URL& url) {
    const Surface surface(
        cairo_image_surface_create_for_data(bitmap.data, CAIRO_FORMAT_ARGB32, bitmap.width, bitmap.height,
                                            static_cast<int>(bitmap.bytesPerRow)),
        cairo_surface_destroy);
    std::string bytes;
    const cairo_status_t status = cairo_surface_write_to_png_stream(surface.get(), appendBytes, &bytes);
    if (status != CAIRO_STATUS_SUCCESS) fail("Writing", url, status);
    writeFileAtomically(url, bytes);
}

}  // namespace varnelle
