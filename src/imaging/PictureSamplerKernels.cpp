#include "imaging/PictureSampler.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "imaging/PictureSamplerKernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace varnelle::detail {
namespace HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR

void ResampleColumns(const std::uint8_t* row, const ColumnGroups& groups, std::int16_t* output) {
    resampleColumnsScalar(row, groups, output);
}
void MergeYCbCr(const RowTriple& y, const RowTriple& u, const RowTriple& v, const ColorMatrix& matrix,
                int count, std::uint8_t* bgra) {
    mergeYCbCrScalar(y, u, v, matrix, count, bgra);
}
void MergeBGR(const RowTriple& b, const RowTriple& g, const RowTriple& r, int count, std::uint8_t* bgra) {
    mergeBGRScalar(b, g, r, count, bgra);
}

void AddWeighted(const std::uint8_t* row, float weight, int count, float* sums) {
    addWeightedScalar(row, weight, count, sums);
}

#else

namespace hn = hwy::HWY_NAMESPACE;

// Samples are carried with six fractional bits in 16-bit lanes; vectors are at most 256 bits wide, because a
// byte shuffle reaches 16 bytes and two independent ones are as many as loads can keep up with.
using Lanes = hn::CappedTag<std::int16_t, 16>;
using V = hn::Vec<Lanes>;

hn::Vec<hn::Full128<std::uint8_t> > window(const std::uint8_t* from) {
    return hn::LoadU(hn::Full128<std::uint8_t>(), from);
}

/// What a neighbour with a weight adds to the first sample's 64-fold.
template <typename Samples>
Samples share(Samples first, Samples neighbour, Samples weight) {
    return hn::MulFixedPoint15(hn::ShiftLeft<6>(hn::Sub(neighbour, first)), weight);
}

/// The neighbours of a sample are found by the same shuffle of a window that begins one or two bytes later.
template <bool hasThird>
void ResampleColumnsOf(const std::uint8_t* HWY_RESTRICT row, const ColumnGroups& groups,
                       std::int16_t* HWY_RESTRICT output) {
    const std::size_t count = groups.bases.size();
    const std::int32_t* HWY_RESTRICT bases = groups.bases.data();
    std::size_t g = 0;
#if HWY_TARGET <= HWY_AVX2 && HWY_TARGET >= HWY_AVX3_DL
    const hn::FixedTag<std::uint8_t, 32> bytes;
    const hn::FixedTag<std::int16_t, 16> lanes;
    for (; g + 2 <= count; g += 2) {
        const std::uint8_t* low = row + bases[g];
        const std::uint8_t* high = row + bases[g + 1];
        const auto first = hn::LoadU(bytes, groups.first.data() + 16 * g);
        const auto sample = [&](std::size_t offset) {
            const auto source = hn::Combine(bytes, window(high + offset), window(low + offset));
            return hn::BitCast(lanes, hn::TableLookupBytesOr0(source, first));
        };
        const auto a = sample(0);
        auto sum = hn::Add(hn::ShiftLeft<6>(a),
                           share(a, sample(1), hn::LoadU(lanes, groups.secondWeights.data() + 8 * g)));
        if constexpr (hasThird)
            sum = hn::Add(sum, share(a, sample(2), hn::LoadU(lanes, groups.thirdWeights.data() + 8 * g)));
        hn::StoreU(sum, lanes, output + 8 * g);
    }
#endif
    const hn::Full128<std::uint8_t> bytes128;
    const hn::Full128<std::int16_t> lanes128;
    for (; g < count; ++g) {
        const auto first = hn::LoadU(bytes128, groups.first.data() + 16 * g);
        const auto sample = [&](std::size_t offset) {
            return hn::BitCast(lanes128, hn::TableLookupBytesOr0(window(row + bases[g] + offset), first));
        };
        const auto a = sample(0);
        auto sum = hn::Add(hn::ShiftLeft<6>(a),
                           share(a, sample(1), hn::LoadU(lanes128, groups.secondWeights.data() + 8 * g)));
        if constexpr (hasThird)
            sum = hn::Add(sum, share(a, sample(2), hn::LoadU(lanes128, groups.thirdWeights.data() + 8 * g)));
        hn::StoreU(sum, lanes128, output + 8 * g);
    }
}

void ResampleColumns(const std::uint8_t* row, const ColumnGroups& groups, std::int16_t* output) {
    if (groups.thirdWeights.empty()) {
        ResampleColumnsOf<false>(row, groups, output);
    } else {
        ResampleColumnsOf<true>(row, groups, output);
    }
}

V mean(Lanes d, const RowTriple& rows, std::size_t i) {
    const V first = hn::LoadU(d, rows.first + i);
    V sum = first;
    if (rows.secondWeight != 0) {
        const V difference = hn::Sub(hn::LoadU(d, rows.second + i), first);
        sum = hn::Add(sum, hn::MulFixedPoint15(difference, hn::Set(d, rows.secondWeight)));
    }
    if (rows.thirdWeight != 0) {
        const V difference = hn::Sub(hn::LoadU(d, rows.third + i), first);
        sum = hn::Add(sum, hn::MulFixedPoint15(difference, hn::Set(d, rows.thirdWeight)));
    }
    return sum;
}

hn::Vec<hn::Rebind<std::uint8_t, Lanes> > rounded(Lanes d, V value) {
    const hn::Rebind<std::uint8_t, Lanes> bytes;
    return hn::DemoteTo(bytes, hn::ShiftRight<6>(hn::SaturatedAdd(value, hn::Set(d, 32))));
}

/// Runs `block(i, destination)` for each vector of pixels; the last one is written through a buffer.
template <typename Block>
void forEachBlock(int count, std::uint8_t* bgra, const Block& block) {
    constexpr std::size_t step = hn::MaxLanes(Lanes());
    const auto total = static_cast<std::size_t>(count);
    std::size_t i = 0;
    for (; i + step <= total; i += step) block(i, bgra + 4 * i);
    if (i == total) return;
    HWY_ALIGN std::uint8_t rest[4 * step];
    block(i, rest);
    for (std::size_t k = 0; k < 4 * (total - i); ++k) bgra[4 * i + k] = rest[k];
}

void MergeYCbCr(const RowTriple& y, const RowTriple& u, const RowTriple& v, const ColorMatrix& matrix,
                int count, std::uint8_t* HWY_RESTRICT bgra) {
    const Lanes d;
    const hn::Rebind<std::uint8_t, Lanes> bytes;
    const V chromaZero = hn::Set(d, 128 * 64);
    const V lumaOffset = hn::Set(d, matrix.lumaOffset);
    const V lumaGain = hn::Set(d, matrix.lumaGain);
    const V redFromV = hn::Set(d, matrix.redFromV);
    const V greenFromU = hn::Set(d, matrix.greenFromU);
    const V greenFromV = hn::Set(d, matrix.greenFromV);
    const V blueFromU = hn::Set(d, matrix.blueFromU);
    const auto opaque = hn::Set(bytes, 255);
    forEachBlock(count, bgra, [&](std::size_t i, std::uint8_t* destination) {
        V luma = hn::Sub(mean(d, y, i), lumaOffset);
        luma = hn::Add(luma, hn::MulFixedPoint15(luma, lumaGain));
        const V cb = hn::Sub(mean(d, u, i), chromaZero);
        const V cr = hn::Sub(mean(d, v, i), chromaZero);
        const V red = hn::Add(hn::Add(cr, cr), hn::MulFixedPoint15(cr, redFromV));
        const V green = hn::Add(hn::MulFixedPoint15(cb, greenFromU), hn::MulFixedPoint15(cr, greenFromV));
        const V blue = hn::Add(hn::Add(cb, cb), hn::MulFixedPoint15(cb, blueFromU));
        hn::StoreInterleaved4(rounded(d, hn::SaturatedAdd(luma, blue)),
                              rounded(d, hn::SaturatedAdd(luma, green)),
                              rounded(d, hn::SaturatedAdd(luma, red)), opaque, bytes, destination);
    });
}

void MergeBGR(const RowTriple& b, const RowTriple& g, const RowTriple& r, int count,
              std::uint8_t* HWY_RESTRICT bgra) {
    const Lanes d;
    const hn::Rebind<std::uint8_t, Lanes> bytes;
    const auto opaque = hn::Set(bytes, 255);
    forEachBlock(count, bgra, [&](std::size_t i, std::uint8_t* destination) {
        hn::StoreInterleaved4(rounded(d, mean(d, b, i)), rounded(d, mean(d, g, i)), rounded(d, mean(d, r, i)),
                              opaque, bytes, destination);
    });
}

void AddWeighted(const std::uint8_t* HWY_RESTRICT row, float weight, int count, float* HWY_RESTRICT sums) {
    const hn::ScalableTag<float> d;
    const hn::Rebind<std::int32_t, decltype(d)> integers;
    const hn::Rebind<std::uint8_t, decltype(d)> bytes;
    const auto weights = hn::Set(d, weight);
    const std::size_t step = hn::Lanes(d);
    const auto total = static_cast<std::size_t>(count);
    std::size_t i = 0;
    for (; i + step <= total; i += step) {
        const auto samples = hn::ConvertTo(d, hn::PromoteTo(integers, hn::LoadU(bytes, row + i)));
        hn::StoreU(hn::MulAdd(samples, weights, hn::LoadU(d, sums + i)), d, sums + i);
    }
    for (; i < total; ++i) sums[i] += weight * static_cast<float>(row[i]);
}

#endif

}  // namespace HWY_NAMESPACE
}  // namespace varnelle::detail
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace varnelle::detail {

HWY_EXPORT(ResampleColumns);
HWY_EXPORT(MergeYCbCr);
HWY_EXPORT(MergeBGR);
HWY_EXPORT(AddWeighted);

void resampleColumns(const std::uint8_t* row, const ColumnGroups& groups, std::int16_t* output) {
    HWY_DYNAMIC_DISPATCH(ResampleColumns)(row, groups, output);
}

void mergeYCbCr(const RowTriple& y, const RowTriple& u, const RowTriple& v, const ColorMatrix& matrix,
                int count, std::uint8_t* bgra) {
    HWY_DYNAMIC_DISPATCH(MergeYCbCr)(y, u, v, matrix, count, bgra);
}

void mergeBGR(const RowTriple& b, const RowTriple& g, const RowTriple& r, int count, std::uint8_t* bgra) {
    HWY_DYNAMIC_DISPATCH(MergeBGR)(b, g, r, count, bgra);
}

void addWeighted(const std::uint8_t* row, float weight, int count, float* sums) {
    HWY_DYNAMIC_DISPATCH(AddWeighted)(row, weight, count, sums);
}

namespace {

/// a * b in 1/32768, rounded.
std::int16_t multiplied(int a, int b) {
    return static_cast<std::int16_t>((a * b + (1 << 14)) >> 15);
}

std::int16_t saturated(int x) {
    return static_cast<std::int16_t>(x < -32768 ? -32768 : (x > 32767 ? 32767 : x));
}

std::int16_t mean(const RowTriple& rows, int i) {
    return static_cast<std::int16_t>(rows.first[i] +
                                     multiplied(rows.second[i] - rows.first[i], rows.secondWeight) +
                                     multiplied(rows.third[i] - rows.first[i], rows.thirdWeight));
}

std::uint8_t rounded(int value) {
    const int byte = saturated(value + 32) >> 6;
    return static_cast<std::uint8_t>(byte < 0 ? 0 : (byte > 255 ? 255 : byte));
}

}  // namespace

void resampleColumnsScalar(const std::uint8_t* row, const ColumnGroups& groups, std::int16_t* output) {
    for (std::size_t i = 0; i < groups.secondWeights.size(); ++i) {
        const std::uint8_t* source = row + groups.bases[i / 8] + groups.first[2 * i];
        int sum = source[0] * 64 + multiplied((source[1] - source[0]) * 64, groups.secondWeights[i]);
        if (!groups.thirdWeights.empty())
            sum += multiplied((source[2] - source[0]) * 64, groups.thirdWeights[i]);
        output[i] = static_cast<std::int16_t>(sum);
    }
}

void mergeYCbCrScalar(const RowTriple& y, const RowTriple& u, const RowTriple& v, const ColorMatrix& matrix,
                      int count, std::uint8_t* bgra) {
    for (int i = 0; i < count; ++i) {
        const int offsetLuma = mean(y, i) - matrix.lumaOffset;
        const int luma = offsetLuma + multiplied(offsetLuma, matrix.lumaGain);
        const int cb = mean(u, i) - 128 * 64;
        const int cr = mean(v, i) - 128 * 64;
        bgra[4 * i] = rounded(saturated(luma + 2 * cb + multiplied(cb, matrix.blueFromU)));
        bgra[4 * i + 1] =
            rounded(saturated(luma + multiplied(cb, matrix.greenFromU) + multiplied(cr, matrix.greenFromV)));
        bgra[4 * i + 2] = rounded(saturated(luma + 2 * cr + multiplied(cr, matrix.redFromV)));
        bgra[4 * i + 3] = 255;
    }
}

void mergeBGRScalar(const RowTriple& b, const RowTriple& g, const RowTriple& r, int count,
                    std::uint8_t* bgra) {
    for (int i = 0; i < count; ++i) {
        bgra[4 * i] = rounded(mean(b, i));
        bgra[4 * i + 1] = rounded(mean(g, i));
        bgra[4 * i + 2] = rounded(mean(r, i));
        bgra[4 * i + 3] = 255;
    }
}

void addWeightedScalar(const std::uint8_t* row, float weight, int count, float* sums) {
    for (int i = 0; i < count; ++i) sums[i] += weight * static_cast<float>(row[i]);
}

}  // namespace varnelle::detail
#endif
