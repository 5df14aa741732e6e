#include "wallpaper_painter/Picture.h"

#include <array>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <vector>

#include <jpeglib.h>

#include "wallpaper_painter/Noise.h"

namespace varnelle::painter {
namespace {

constexpr int kQuality = 93;
/// From here on, brightness bends towards white instead of being cut off.
constexpr float kShoulder = 0.72F;

float rolledOff(float value) {
    if (value <= kShoulder) return std::max(value, 0.0F);
    constexpr float kRoom = 1 - kShoulder;
    return kShoulder + kRoom * (1 - exponential((kShoulder - value) / kRoom));
}

/// sRGB encoding by table; the square root makes its steps even enough.
class Encoder {
public:
    Encoder() {
        for (std::size_t i = 0; i < table_.size(); ++i) {
            table_[i] = 255 * sRGBFromLinear(square(static_cast<float>(i) / (kEntries - 1)));
        }
    }
    float operator()(float linear) const {
        const float position = std::sqrt(linear) * (kEntries - 1);
        const auto index = std::min(static_cast<std::size_t>(position), kEntries - 2);
        return mix(table_[index], table_[index + 1], position - static_cast<float>(index));
    }

private:
    static constexpr std::size_t kEntries = 2048;
    std::array<float, kEntries> table_;
};

std::vector<std::uint8_t> encoded(const Canvas& canvas) {
    const Encoder encoder;
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(canvas.width()) *
                                    static_cast<std::size_t>(canvas.height()) * 3);
    parallelRows(canvas.height(), [&](int y) {
        const Rgb* pixels = canvas.row(y);
        std::uint8_t* output =
            bytes.data() + static_cast<std::size_t>(y) * static_cast<std::size_t>(canvas.width()) * 3;
        for (int x = 0; x < canvas.width(); ++x) {
            // Two dice make triangular noise of one step each way; the same for all components, as film grain
            // is.
            const float grain = random(x, y, 11) + random(x, y, 12) - 1;
            const auto byte = [&](float value) {
                const float level = encoder(rolledOff(value)) + grain * 1.1F + 0.5F;
                return static_cast<std::uint8_t>(std::min(std::max(level, 0.0F), 255.0F));
            };
            *output++ = byte(pixels[x].r);
            *output++ = byte(pixels[x].g);
            *output++ = byte(pixels[x].b);
        }
    });
    return bytes;
}

}  // namespace

void writePicture(const Canvas& canvas, const std::string& path) {
    std::vector<std::uint8_t> bytes = encoded(canvas);
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "wb"), std::fclose);
    if (!file) throw std::runtime_error("Can't write " + path + ".");
    jpeg_compress_struct compressor{};
    jpeg_error_mgr errors{};
    // Its way of failing is to end the program with a message, which is right for a build tool.
    compressor.err = jpeg_std_error(&errors);
    jpeg_create_compress(&compressor);
    jpeg_stdio_dest(&compressor, file.get());
    compressor.image_width = static_cast<JDIMENSION>(canvas.width());
    compressor.image_height = static_cast<JDIMENSION>(canvas.height());
    compressor.input_components = 3;
    compressor.in_color_space = JCS_RGB;
    jpeg_set_defaults(&compressor);
    jpeg_set_quality(&compressor, kQuality, TRUE);
    // Colour at full resolution: fine saturated lines stay clean.
    compressor.comp_info[0].h_samp_factor = 1;
    compressor.comp_info[0].v_samp_factor = 1;
    jpeg_start_compress(&compressor, TRUE);
    const std::size_t stride = static_cast<std::size_t>(canvas.width()) * 3;
    while (compressor.next_scanline < compressor.image_height) {
        JSAMPROW row = bytes.data() + compressor.next_scanline * stride;
        jpeg_write_scanlines(&compressor, &row, 1);
    }
    jpeg_finish_compress(&compressor);
    jpeg_destroy_compress(&compressor);
    if (std::fflush(file.get()) != 0) throw std::runtime_error("Can't write " + path + ".");
}

}  // namespace varnelle::painter
