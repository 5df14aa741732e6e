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
void MergeYCbCr(const RowPair& y, const RowPair& u, const RowPair& v, const ColorMatrix& matrix, int count,
                std::uint8_t* bgra) {
    mergeYCbCrScalar(y, u, v, matrix, count, bgra);
}
void MergeBGR(const RowPair& b, const RowPair& g, const RowPair& r, int count, std::uint8_t* bgra) {
    mergeBGRScalar(b, g, r, count, bgra);
}

#else

namespace hn = hwy::HWY_NAMESPACE;

// Samples are carried with six fractional bits in 16-bit lanes; vectors are at most 256 bits wide, because a
// byte shuffle reaches 16 bytes and two independent ones are as many as loads can keep up with.
using Lanes = hn::CappedTag<std::int16_t, 16>;
using V = hn::Vec<Lanes>;

V lerp(V a, V b, V weight) {
    return hn::Add(a, hn::MulFixedPoint15(hn::Sub(b, a), weight));
}

hn::Vec<hn::Full128<std::uint8_t> > window(const std::uint8_t* from) {
    return hn::LoadU(hn::Full128<std::uint8_t>(), from);
}

void ResampleColumns(const std::uint8_t* HWY_RESTRICT row, const ColumnGroups& groups,
                     std::int16_t* HWY_RESTRICT output) {
    const std::size_t count = groups.bases.size();
    const std::int32_t* HWY_RESTRICT bases = groups.bases.data();
    std::size_t g = 0;
#if HWY_TARGET <= HWY_AVX2 && HWY_TARGET >= HWY_AVX3_DL
    const hn::FixedTag<std::uint8_t, 32> bytes;
    const hn::FixedTag<std::int16_t, 16> lanes;
    for (; g + 2 <= count; g += 2) {
        const auto source = hn::Combine(bytes, window(row + bases[g + 1]), window(row + bases[g]));
        const auto a = hn::BitCast(
            lanes, hn::TableLookupBytesOr0(source, hn::LoadU(bytes, groups.first.data() + 16 * g)));
        const auto b = hn::BitCast(
            lanes, hn::TableLookupBytesOr0(source, hn::LoadU(bytes, groups.second.data() + 16 * g)));
        const auto weight = hn::LoadU(lanes, groups.weights.data() + 8 * g);
        const auto a64 = hn::ShiftLeft<6>(a);
        const auto difference = hn::ShiftLeft<6>(hn::Sub(b, a));
        hn::StoreU(hn::Add(a64, hn::MulFixedPoint15(difference, weight)), lanes, output + 8 * g);
    }
#endif
    const hn::Full128<std::uint8_t> bytes128;
    const hn::Full128<std::int16_t> lanes128;
    for (; g < count; ++g) {
        const auto source = window(row + bases[g]);
        const auto a = hn::BitCast(
            lanes128, hn::TableLookupBytesOr0(source, hn::LoadU(bytes128, groups.first.data() + 16 * g)));
        const auto b = hn::BitCast(
            lanes128, hn::TableLookupBytesOr0(source, hn::LoadU(bytes128, groups.second.data() + 16 * g)));
        const auto weight = hn::LoadU(lanes128, groups.weights.data() + 8 * g);
        const auto difference = hn::ShiftLeft<6>(hn::Sub(b, a));
        hn::StoreU(hn::Add(hn::ShiftLeft<6>(a), hn::MulFixedPoint15(difference, weight)), lanes128,
                   output + 8 * g);
    }
}

V between(Lanes d, const RowPair& rows, std::size_t i) {
    return lerp(hn::LoadU(d, rows.upper + i), hn::LoadU(d, rows.lower + i), hn::Set(d, rows.weight));
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

void MergeYCbCr(const RowPair& y, const RowPair& u, const RowPair& v, const ColorMatrix& matrix, int count,
                std::uint8_t* HWY_RESTRICT bgra) {
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
        V luma = hn::Sub(between(d, y, i), lumaOffset);
        luma = hn::Add(luma, hn::MulFixedPoint15(luma, lumaGain));
        const V cb = hn::Sub(between(d, u, i), chromaZero);
        const V cr = hn::Sub(between(d, v, i), chromaZero);
        const V red = hn::Add(hn::Add(cr, cr), hn::MulFixedPoint15(cr, redFromV));
        const V green = hn::Add(hn::MulFixedPoint15(cb, greenFromU), hn::MulFixedPoint15(cr, greenFromV));
        const V blue = hn::Add(hn::Add(cb, cb), hn::MulFixedPoint15(cb, blueFromU));
        hn::StoreInterleaved4(rounded(d, hn::SaturatedAdd(luma, blue)),
                              rounded(d, hn::SaturatedAdd(luma, green)),
                              rounded(d, hn::SaturatedAdd(luma, red)), opaque, bytes, destination);
    });
}

void MergeBGR(const RowPair& b, const RowPair& g, const RowPair& r, int count,
              std::uint8_t* HWY_RESTRICT bgra) {
    const Lanes d;
    const hn::Rebind<std::uint8_t, Lanes> bytes;
    const auto opaque = hn::Set(bytes, 255);
    forEachBlock(count, bgra, [&](std::size_t i, std::uint8_t* destination) {
        hn::StoreInterleaved4(rounded(d, between(d, b, i)), rounded(d, between(d, g, i)),
                              rounded(d, between(d, r, i)), opaque, bytes, destination);
    });
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

void resampleColumns(const std::uint8_t* row, const ColumnGroups& groups, std::int16_t* output) {
    HWY_DYNAMIC_DISPATCH(ResampleColumns)(row, groups, output);
}

void mergeYCbCr(const RowPair& y, const RowPair& u, const RowPair& v, const ColorMatrix& matrix, int count,
                std::uint8_t* bgra) {
    HWY_DYNAMIC_DISPATCH(MergeYCbCr)(y, u, v, matrix, count, bgra);
}

void mergeBGR(const RowPair& b, const RowPair& g, const RowPair& r, int count, std::uint8_t* bgra) {
    HWY_DYNAMIC_DISPATCH(MergeBGR)(b, g, r, count, bgra);
}

namespace {

/// a * b in 1/32768, rounded.
std::int16_t multiplied(int a, int b) {
    return static_cast<std::int16_t>((a * b + (1 << 14)) >> 15);
}

std::int16_t saturated(int x) {
    return static_cast<std::int16_t>(x < -32768 ? -32768 : (x > 32767 ? 32767 : x));
}

std::int16_t between(const RowPair& rows, int i) {
    return static_cast<std::int16_t>(rows.upper[i] + multiplied(rows.lower[i] - rows.upper[i], rows.weight));
}

std::uint8_t rounded(int value) {
    const int byte = saturated(value + 32) >> 6;
    return static_cast<std::uint8_t>(byte < 0 ? 0 : (byte > 255 ? 255 : byte));
}

}  // namespace

void resampleColumnsScalar(const std::uint8_t* row, const ColumnGroups& groups, std::int16_t* output) {
    for (std::size_t i = 0; i < groups.weights.size(); ++i) {
        const std::uint8_t* source = row + groups.bases[i / 8];
        const int a = source[groups.first[2 * i]];
        const int b = source[groups.second[2 * i]];
        output[i] = static_cast<std::int16_t>(a * 64 + multiplied((b - a) * 64, groups.weights[i]));
    }
}

void mergeYCbCrScalar(const RowPair& y, const RowPair& u, const RowPair& v, const ColorMatrix& matrix,
                      int count, std::uint8_t* bgra) {
    for (int i = 0; i < count; ++i) {
        const int offsetLuma = between(y, i) - matrix.lumaOffset;
        const int luma = offsetLuma + multiplied(offsetLuma, matrix.lumaGain);
        const int cb = between(u, i) - 128 * 64;
        const int cr = between(v, i) - 128 * 64;
        bgra[4 * i] = rounded(saturated(luma + 2 * cb + multiplied(cb, matrix.blueFromU)));
        bgra[4 * i + 1] =
            rounded(saturated(luma + multiplied(cb, matrix.greenFromU) + multiplied(cr, matrix.greenFromV)));
        bgra[4 * i + 2] = rounded(saturated(luma + 2 * cr + multiplied(cr, matrix.redFromV)));
        bgra[4 * i + 3] = 255;
    }
}

void mergeBGRScalar(const RowPair& b, const RowPair& g, const RowPair& r, int count, std::uint8_t* bgra) {
    for (int i = 0; i < count; ++i) {
        bgra[4 * i] = rounded(between(b, i));
        bgra[4 * i + 1] = rounded(between(g, i));
        bgra[4 * i + 2] = rounded(between(r, i));
        bgra[4 * i + 3] = 255;
    }
}

}  // namespace varnelle::detail
#endif
