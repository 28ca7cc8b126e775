// Colour conversions and channel copies, interleaved and planar, under
// hostile sizes, steps and null pointers (fuzz_call: exact blocks, refusals
// write nothing, successes write only their destination rows). Statuses,
// their order and the values are the unit tests' business.
#include "fuzz_common.h"

namespace {

using namespace qmfuzz;

template <class T>
using C3Fn = IppStatus (*)(const T*, int, T*, int, IppiSize);
using SplitFn = IppStatus (*)(const Ipp8u*, int, Ipp8u* const[3], int, IppiSize);
using JoinFn = IppStatus (*)(const Ipp8u* const[3], int, Ipp8u*, int, IppiSize);
using PlanarFn = IppStatus (*)(const Ipp8u* const[3], int, Ipp8u* const[3], int, IppiSize);

template <class T>
void interleaved(Draw& d, C3Fn<T> fn) {
    const int w = wide_size(d, kMaxSide, 300), h = d.size(kMaxSide);
    const int64_t rb = 3 * int64_t{w} * int64_t(sizeof(T));
    const int s0 = draw_step(d, rb, h, sizeof(T)), s1 = draw_step(d, rb, h, sizeof(T));
    fuzz_call(d, w, h, {{rb, s0, false}, {rb, s1, true}}, false, [&](Ipp8u* const* p, bool) {
        return fn(reinterpret_cast<const T*>(p[0]), s0, reinterpret_cast<T*>(p[1]), s1, {w, h});
    });
}

// Planar forms: `in` and `out` say which side is three planes (one step each side).
void planar(Draw& d, bool planesIn, bool planesOut, SplitFn split, JoinFn join, PlanarFn both) {
    const int w = wide_size(d, kMaxSide, 300), h = d.size(kMaxSide);
    const int64_t inBytes = planesIn ? w : 3 * int64_t{w}, outBytes = planesOut ? w : 3 * int64_t{w};
    const int si = draw_step(d, inBytes, h), so = draw_step(d, outBytes, h);
    std::vector<Img> imgs;
    for (int k = 0; k < (planesIn ? 3 : 1); ++k) imgs.push_back({inBytes, si, false});
    for (int k = 0; k < (planesOut ? 3 : 1); ++k) imgs.push_back({outBytes, so, true});
    fuzz_call(d, w, h, imgs, true, [&](Ipp8u* const* p, bool arrayNull) {
        const Ipp8u* const in3[3] = {p[0], p[1], p[2]};
        if (!planesIn) return split(p[0], si, arrayNull ? nullptr : p + 1, so, {w, h});
        if (!planesOut) return join(arrayNull ? nullptr : in3, si, p[3], so, {w, h});
        return both(arrayNull ? nullptr : in3, si, p + 3, so, {w, h});
    });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Draw d(data, size);
    switch (d.range(0, 15)) {
        case 0: interleaved<Ipp8u>(d, ippiRGBToHLS_8u_C3R); break;
        case 1: interleaved<Ipp8u>(d, ippiHLSToRGB_8u_C3R); break;
        case 2: interleaved<Ipp16u>(d, ippiRGBToHLS_16u_C3R); break;
        case 3: interleaved<Ipp16u>(d, ippiHLSToRGB_16u_C3R); break;
        case 4: interleaved<Ipp16s>(d, ippiRGBToHLS_16s_C3R); break;
        case 5: interleaved<Ipp16s>(d, ippiHLSToRGB_16s_C3R); break;
        case 6: interleaved<Ipp32f>(d, ippiRGBToHLS_32f_C3R); break;
        case 7: interleaved<Ipp32f>(d, ippiHLSToRGB_32f_C3R); break;
        case 8: interleaved<Ipp8u>(d, ippiRGBToYUV_8u_C3R); break;
        case 9: interleaved<Ipp8u>(d, ippiYUVToRGB_8u_C3R); break;
        case 10: planar(d, false, true, ippiRGBToYUV_8u_C3P3R, nullptr, nullptr); break;
        case 11: planar(d, false, true, ippiCopy_8u_C3P3R, nullptr, nullptr); break;
        case 12: planar(d, true, false, nullptr, ippiYUVToRGB_8u_P3C3R, nullptr); break;
        case 13: planar(d, true, false, nullptr, ippiCopy_8u_P3C3R, nullptr); break;
        case 14: planar(d, true, true, nullptr, nullptr, ippiBGRToHLS_8u_P3R); break;
        default: planar(d, true, true, nullptr, nullptr, ippiHLSToBGR_8u_P3R); break;
    }
    return 0;
}
