#include "media/detail/ColorConversion.h"

#include <cassert>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "media/detail/ColorConversion.cpp"
#include <hwy/foreach_target.h>
// The line above has to come before the next one.
#include <hwy/highway.h>

#include "media/detail/ColorConversionScalar.h"

HWY_BEFORE_NAMESPACE();
namespace varnelle::detail::HWY_NAMESPACE {
namespace {

#if HWY_TARGET == HWY_SCALAR

void convertRowPair(const std::uint8_t* top, const std::uint8_t* bottom, std::uint8_t* lumaTop,
                    std::uint8_t* lumaBottom, std::uint8_t* blue, std::uint8_t* red, std::size_t width) {
    convertRowPairScalar(top, bottom, lumaTop, lumaBottom, blue, red, 0, width);
}

#else

namespace hn = hwy::HWY_NAMESPACE;

using Bytes = hn::ScalableTag<std::uint8_t>;
using Halves = hn::Repartition<std::int16_t, Bytes>;
using Words = hn::Repartition<std::int32_t, Bytes>;
using Pixels = hn::Rebind<std::uint8_t, Words>;

/// Weights laid out like the two halves of a pixel: blue and red, then green and (unused) alpha.
struct Weights {
    hn::Vec<Halves> blueRed;
    hn::Vec<Halves> green;
};

HWY_INLINE Weights weights(int blue, int green, int red) {
    const Words words;
    const auto pair = [&](int low, int high) {
        const auto bits = static_cast<std::uint32_t>(static_cast<std::uint16_t>(low)) |
                          (static_cast<std::uint32_t>(static_cast<std::uint16_t>(high)) << 16);
        return hn::BitCast(Halves(), hn::Set(words, static_cast<std::int32_t>(bits)));
    };
    return {pair(blue, red), pair(green, 0)};
}

template <int kShift>
HWY_INLINE hn::Vec<Words> weigh(hn::Vec<Halves> blueRed, hn::Vec<Halves> green, const Weights& by,
                                int offset) {
    const Words words;
    // Neighbouring products are summed: blue and red of one pixel come together in its 32-bit lane.
    auto odd = hn::Zero(words);
    auto even = hn::ReorderWidenMulAccumulate(words, blueRed, by.blueRed, hn::Zero(words), odd);
    even = hn::ReorderWidenMulAccumulate(words, green, by.green, even, odd);
    const auto total = hn::RearrangeToOddPlusEven(even, odd);
    return hn::ShiftRight<kShift>(hn::Add(total, hn::Set(words, offset)));
}

struct SplitPixels {
    hn::Vec<Halves> blueRed;
    hn::Vec<Halves> greenAlpha;
};

HWY_INLINE SplitPixels load(const std::uint8_t* pixels) {
    const Halves halves;
    const hn::Repartition<std::uint16_t, Bytes> unsignedHalves;
    const auto raw = hn::BitCast(unsignedHalves, hn::LoadU(Bytes(), pixels));
    return {hn::BitCast(halves, hn::And(raw, hn::Set(unsignedHalves, 0x00FF))),
            hn::BitCast(halves, hn::ShiftRight<8>(raw))};
}

HWY_INLINE hn::Vec<Halves> addPixelPairs(hn::Vec<Halves> first, hn::Vec<Halves> second) {
    const Words words;
    const auto low = hn::BitCast(words, first);
    const auto high = hn::BitCast(words, second);
    return hn::Add(hn::BitCast(Halves(), hn::ConcatEven(words, high, low)),
                   hn::BitCast(Halves(), hn::ConcatOdd(words, high, low)));
}

HWY_ATTR void convertRowPair(const std::uint8_t* top, const std::uint8_t* bottom, std::uint8_t* lumaTop,
                             std::uint8_t* lumaBottom, std::uint8_t* blue, std::uint8_t* red,
                             std::size_t width) {
    const Pixels narrow;
    const std::size_t lanes = hn::Lanes(Words());
    const Weights luma = weights(Bt709::kLumaB, Bt709::kLumaG, Bt709::kLumaR);
    const Weights blueDifference = weights(Bt709::kBlueB, Bt709::kBlueG, Bt709::kBlueR);
    const Weights redDifference = weights(Bt709::kRedB, Bt709::kRedG, Bt709::kRedR);

    std::size_t x = 0;
    // Two vectors of pixels give one vector of chroma.
    for (; x + 2 * lanes <= width; x += 2 * lanes) {
        const SplitPixels top0 = load(top + x * 4);
        const SplitPixels top1 = load(top + (x + lanes) * 4);
        const SplitPixels bottom0 = load(bottom + x * 4);
        const SplitPixels bottom1 = load(bottom + (x + lanes) * 4);

        const auto storeLuma = [&](const SplitPixels& pixels, std::uint8_t* to) HWY_ATTR {
            const auto value =
                weigh<Bt709::kShift>(pixels.blueRed, pixels.greenAlpha, luma, Bt709::kLumaOffset);
            hn::StoreU(hn::DemoteTo(narrow, value), narrow, to);
        };
        storeLuma(top0, lumaTop + x);
        storeLuma(top1, lumaTop + x + lanes);
        storeLuma(bottom0, lumaBottom + x);
        storeLuma(bottom1, lumaBottom + x + lanes);

        const auto blueRed =
            addPixelPairs(hn::Add(top0.blueRed, bottom0.blueRed), hn::Add(top1.blueRed, bottom1.blueRed));
        const auto green = addPixelPairs(hn::Add(top0.greenAlpha, bottom0.greenAlpha),
                                         hn::Add(top1.greenAlpha, bottom1.greenAlpha));
        const auto storeChroma = [&](const Weights& by, std::uint8_t* to) HWY_ATTR {
            const auto value = weigh<Bt709::kChromaShift>(blueRed, green, by, Bt709::kChromaOffset);
            hn::StoreU(hn::DemoteTo(narrow, value), narrow, to);
        };
        storeChroma(blueDifference, blue + x / 2);
        storeChroma(redDifference, red + x / 2);
    }
    convertRowPairScalar(top, bottom, lumaTop, lumaBottom, blue, red, x, width);
}

#endif

}  // namespace

// NOLINTNEXTLINE(misc-use-internal-linkage): found by its name in each target's namespace.
void convertRowPairEntry(const std::uint8_t* top, const std::uint8_t* bottom, std::uint8_t* lumaTop,
                         std::uint8_t* lumaBottom, std::uint8_t* blue, std::uint8_t* red, std::size_t width) {
    convertRowPair(top, bottom, lumaTop, lumaBottom, blue, red, width);
}

}  // namespace varnelle::detail::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace varnelle::detail {
namespace {

HWY_EXPORT(convertRowPairEntry);

template <typename ConvertRows>
void convertRows(const VideoFrame& source, const VideoFrame& target, const ConvertRows& convert) {
    assert(source.format() == PixelFormat::bgra && target.format() == PixelFormat::i420);
    assert(source.width() == target.width() && source.height() == target.height());
    const Plane& pixels = source.plane(0);
    const Plane& luma = target.plane(0);
    const auto width = static_cast<std::size_t>(source.width());
    for (int y = 0; y < source.height(); y += 2) {
        const int next = y + 1 < source.height() ? y + 1 : y;
        convert(pixels.data + y * pixels.bytesPerRow, pixels.data + next * pixels.bytesPerRow,
                luma.data + y * luma.bytesPerRow, luma.data + next * luma.bytesPerRow,
                target.plane(1).data + y / 2 * target.plane(1).bytesPerRow,
                target.plane(2).data + y / 2 * target.plane(2).bytesPerRow, width);
    }
}

}  // namespace

void convertBGRAToI420(const VideoFrame& source, const VideoFrame& target) {
    convertRows(source, target, HWY_DYNAMIC_DISPATCH(convertRowPairEntry));
}

void convertBGRAToI420Scalar(const VideoFrame& source, const VideoFrame& target) {
    convertRows(source, target,
                [](const std::uint8_t* top, const std::uint8_t* bottom, std::uint8_t* lumaTop,
                   std::uint8_t* lumaBottom, std::uint8_t* blue, std::uint8_t* red, std::size_t width) {
                    convertRowPairScalar(top, bottom, lumaTop, lumaBottom, blue, red, 0, width);
                });
}

}  // namespace varnelle::detail
#endif
