#include "wallpaper_painter/Color.h"

namespace varnelle::painter {
namespace {

Vec3 oklab(Rgb c) {
    const float l = power(0.4122214708F * c.r + 0.5363325363F * c.g + 0.0514459929F * c.b, 1 / 3.0F);
    const float m = power(0.2119034982F * c.r + 0.6806995451F * c.g + 0.1073969566F * c.b, 1 / 3.0F);
    const float s = power(0.0883024619F * c.r + 0.2817188376F * c.g + 0.6299787005F * c.b, 1 / 3.0F);
    return {0.2104542553F * l + 0.7936177850F * m - 0.0040720468F * s,
            1.9779984951F * l - 2.4285922050F * m + 0.4505937099F * s,
            0.0259040371F * l + 0.7827717662F * m - 0.8086757660F * s};
}

Rgb fromOklab(Vec3 lab) {
    const float l = lab.x + 0.3963377774F * lab.y + 0.2158037573F * lab.z;
    const float m = lab.x - 0.1055613458F * lab.y - 0.0638541728F * lab.z;
    const float s = lab.x - 0.0894841775F * lab.y - 1.2914855480F * lab.z;
    const float l3 = l * l * l;
    const float m3 = m * m * m;
    const float s3 = s * s * s;
    const auto positive = [](float x) { return std::max(x, 0.0F); };
    return {positive(4.0767416621F * l3 - 3.3077115913F * m3 + 0.2309699292F * s3),
            positive(-1.2684380046F * l3 + 2.6097574011F * m3 - 0.3413193965F * s3),
            positive(-0.0041960863F * l3 - 0.7034186147F * m3 + 1.7076147010F * s3)};
}

}  // namespace

float sRGBFromLinear(float value) {
    return value <= 0.0031308F ? 12.92F * value : 1.055F * power(value, 1 / 2.4F) - 0.055F;
}

Ramp::Ramp(std::initializer_list<Stop> stops) : low_(stops.begin()->at), high_((stops.end() - 1)->at) {
    const Stop* left = stops.begin();
    for (std::size_t i = 0; i < kEntries; ++i) {
        const float at = mix(low_, high_, static_cast<float>(i) / (kEntries - 1));
        while (left + 2 < stops.end() && (left + 1)->at < at) ++left;
        const Stop* right = left + 1;
        const Vec3 a = oklab(colorFromCode(left->code));
        const Vec3 b = oklab(colorFromCode(right->code));
        entries_[i] = fromOklab(a + (b - a) * linearStep(left->at, right->at, at));
    }
}

}  // namespace varnelle::painter
