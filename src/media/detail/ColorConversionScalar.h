#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace varnelle::detail {

/// BT.709 for limited range in 15-bit fixed point: luma weights times 219/255, chroma weights times 224/255.
/// The luma weights sum up to the scale of white and the chroma weights to zero, so that greys come out
/// without a tint.
struct Bt709 {
    static constexpr int kShift = 15;
    static constexpr int kLumaR = 5983;
    static constexpr int kLumaG = 20127;
    static constexpr int kLumaB = 2032;
    static constexpr int kBlueR = -3298;
    static constexpr int kBlueG = -11094;
    static constexpr int kBlueB = 14392;
    static constexpr int kRedR = 14392;
    static constexpr int kRedG = -13072;
    static constexpr int kRedB = -1320;
    static constexpr int kLumaOffset = (16 << kShift) + (1 << (kShift - 1));
    /// Chroma works on the sum of four pixels.
    static constexpr int kChromaShift = kShift + 2;
    static constexpr int kChromaOffset = (128 << kChromaShift) + (1 << (kChromaShift - 1));
};

inline std::uint8_t lumaOf(const std::uint8_t* pixel) {
    return static_cast<std::uint8_t>((Bt709::kLumaB * pixel[0] + Bt709::kLumaG * pixel[1] +
                                      Bt709::kLumaR * pixel[2] + Bt709::kLumaOffset) >>
                                     Bt709::kShift);
}

/// Converts pixels `begin` (even) to `width` of two rows; for a single last row pass the same row and the
/// same luma row twice.
inline void convertRowPairScalar(const std::uint8_t* top, const std::uint8_t* bottom, std::uint8_t* lumaTop,
                                 std::uint8_t* lumaBottom, std::uint8_t* blue, std::uint8_t* red,
                                 std::size_t begin, std::size_t width) {
    for (std::size_t x = begin; x < width; x += 2) {
        const std::size_t next = std::min(x + 1, width - 1);
        int sum[3];
        for (std::size_t c = 0; c < 3; ++c) {
            sum[c] = top[x * 4 + c] + top[next * 4 + c] + bottom[x * 4 + c] + bottom[next * 4 + c];
        }
        blue[x / 2] = static_cast<std::uint8_t>((Bt709::kBlueB * sum[0] + Bt709::kBlueG * sum[1] +
                                                 Bt709::kBlueR * sum[2] + Bt709::kChromaOffset) >>
                                                Bt709::kChromaShift);
        red[x / 2] = static_cast<std::uint8_t>(
            (Bt709::kRedB * sum[0] + Bt709::kRedG * sum[1] + Bt709::kRedR * sum[2] + Bt709::kChromaOffset) >>
            Bt709::kChromaShift);
        for (const std::size_t at : {x, next}) {
            lumaTop[at] = lumaOf(top + at * 4);
            lumaBottom[at] = lumaOf(bottom + at * 4);
        }
    }
}

}  // namespace varnelle::detail
