// Colour conversions RGB <-> YUV and RGB <-> HLS, interleaved and planar:
// status from the arguments alone (each form has its own check order),
// nothing written on error, nothing written outside the region on success,
// HLS on its grey invariants (values are the unit tests' business).
#include <cmath>
#include <type_traits>

#include "fuzz_common.h"

namespace {

using namespace qmfuzz;

// ---- Source content ---------------------------------------------------------

// Element k of pixel (x, y) of an interleaved image.
template <class T>
T* px(Ipp8u* origin, int step, int x, int y) {
    return reinterpret_cast<T*>(origin + int64_t{y} * step) + 3 * int64_t{x};
}

// Overwrites the seeded content of a source image: kept (random bits), all
// grey (every channel equal, or channel 2 zero when `zeroChannel2`: S = 0
// on the HLS side), some grey pixels, or (float) unit-range values.
template <class T>
void paint(Draw& d, Ipp8u* origin, int step, int w, int h, bool zeroChannel2) {
    const int style = d.range(0, 3);
    uint32_t seed = d.bits(32);
    for (int y = 0; style != 0 && y < h; ++y)
        for (int x = 0; x < w; ++x) {
            T* p = px<T>(origin, step, x, y);
            seed = seed * 1664525u + 1013904223u;
            if (style == 3) {
                if constexpr (std::is_same_v<T, Ipp32f>)
                    for (int k = 0; k < 3; ++k) p[k] = float((seed >> (8 * k)) & 255) / 255.0f;
            } else if (style == 1 || (seed >> 28) < 8) {
                if (zeroChannel2)
                    std::memset(&p[2], 0, sizeof(T));
                else
                    p[1] = p[2] = p[0];
            }
        }
}

// The nullable pointer argument `k` of a call (null when nullAt == k).
template <class P>
P maybe(P p, int nullAt, int k) {
    return nullAt == k ? nullptr : p;
}

// ---- Interleaved forms ------------------------------------------------------

enum class Kind { RgbToYuv, YuvToRgb, ToHls, FromHls };

template <class T>
using C3Fn = IppStatus (*)(const T*, int, T*, int, IppiSize);

template <class T>
void interleaved(Draw& d, C3Fn<T> fn, Kind kind) {
    const int w = wide_size(d, kMaxSide, 300), h = d.size(kMaxSide);
    const int nullAt = d.range(0, 11);  // 0: source, 1: destination
    const int64_t rowBytes = 3 * int64_t{w} * int64_t(sizeof(T));
    const int srcStep = draw_step(d, rowBytes, h, sizeof(T));
    const int dstStep = draw_step(d, rowBytes, h, sizeof(T));
    const int want = nullAt <= 1 ? ippStsNullPtrErr : (w < 1 || h < 1) ? ippStsSizeErr : 0;
    const uint32_t seed = d.bits(32);

    const bool sized = want == 0;
    Extent es{1, 0}, ed{1, 0};
    if (sized) {
        es = extent(rowBytes, h, srcStep);
        ed = extent(rowBytes, h, dstStep);
        if (es.bytes > kMaxBytes || ed.bytes > kMaxBytes || too_big(w, h)) return;
    }
    Block src = make_block(es, seed), dst = make_block(ed, ~seed);
    if (sized) paint<T>(d, src.origin(), srcStep, w, h, kind == Kind::FromHls);
    const auto srcWas = src.snapshot(), dstWas = dst.snapshot();

    const IppStatus st = fn(maybe(reinterpret_cast<const T*>(src.origin()), nullAt, 0), srcStep,
                            maybe(reinterpret_cast<T*>(dst.origin()), nullAt, 1), dstStep, {w, h});
    expect(st == want, "interleaved colour status", st);
    expect(src.same(srcWas), "source written", st);
    if (st != 0) {
        expect(dst.same(dstWas), "destination written on error", st);
        return;
    }
    std::vector<uint8_t> mask(dstWas.size());
    mark_rows(mask, ed.before, dstStep, rowBytes, h);
    expect(changes_within(dstWas, dst.snapshot(), mask), "written outside the region", st);
    // Overlapping destination rows are legal but their content is whatever came last.
    if (std::abs(int64_t{dstStep}) < rowBytes && h > 1) return;

    if (kind == Kind::RgbToYuv || kind == Kind::YuvToRgb) return;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const T* s = px<T>(src.origin(), srcStep, x, y);
            const T* o = px<T>(dst.origin(), dstStep, x, y);
            // HLS, on what holds exactly: grey in gives H = S = 0 and L the
            // grey level; S = 0 in gives R = G = B = L.
            constexpr T kZero = std::is_same_v<T, Ipp16s> ? T(-32768) : T(0);
            if (kind == Kind::ToHls) {
                bool grey = s[0] == s[1] && s[1] == s[2];
                if constexpr (std::is_same_v<T, Ipp32f>) grey = grey && std::fabs(s[0]) < 1e30f;
                if (grey) expect(o[0] == kZero && o[2] == kZero && o[1] == s[0], "grey gives H = S = 0, L = level");
            } else {
                if (std::memcmp(&s[2], &kZero, sizeof(T)) == 0)
                    for (int k = 0; k < 3; ++k)
                        expect(std::memcmp(&o[k], &s[1], sizeof(T)) == 0, "saturation 0 gives grey");
            }
        }
}

// ---- Planar forms -----------------------------------------------------------

// Three planes of w x h bytes with one step, each its own block.
struct Planes {
    Extent e{1, 0};
    std::vector<Block> b;
    std::vector<std::vector<uint8_t>> was;
    Planes(bool sized, int w, int h, int step, uint32_t seed) {
        if (sized) e = extent(w, h, step);
        for (int k = 0; k < 3; ++k) b.push_back(make_block(e, seed + 77 * k));
    }
    void settle() {
        was.clear();
        for (auto& p : b) was.push_back(p.snapshot());
    }
    bool untouched() const {
        for (int k = 0; k < 3; ++k)
            if (!b[k].same(was[k])) return false;
        return true;
    }
    bool within(int64_t step, int64_t rowBytes, int64_t rows) const {
        for (int k = 0; k < 3; ++k) {
            std::vector<uint8_t> mask(was[k].size());
            mark_rows(mask, e.before, step, rowBytes, rows);
            if (!changes_within(was[k], b[k].snapshot(), mask)) return false;
        }
        return true;
    }
    Ipp8u* at(int k, int step, int x, int y) { return b[k].origin() + int64_t{y} * step + x; }
};

// ippiRGBToYUV_8u_C3P3R and ippiYUVToRGB_8u_P3C3R: the array and the
// interleaved image are tested first, the planes only after the size.
void planar_yuv(Draw& d, bool toYuv) {
    const int w = wide_size(d, kMaxSide, 300), h = d.size(kMaxSide);
    const int nullAt = d.range(0, 14);  // 0: interleaved, 1: array, 2..4: a plane
    const int interStep = draw_step(d, 3 * int64_t{w}, h);
    const int planeStep = draw_step(d, w, h);
    const int want = nullAt <= 1 ? ippStsNullPtrErr
                     : (w < 1 || h < 1) ? ippStsSizeErr
                     : nullAt <= 4    ? ippStsNullPtrErr
                                      : 0;
    const uint32_t seed = d.bits(32);
    const bool sized = want == 0;
    Extent ei{1, 0};
    if (sized) {
        ei = extent(3 * int64_t{w}, h, interStep);
        if (ei.bytes > kMaxBytes || extent(w, h, planeStep).bytes > kMaxBytes || too_big(w, h)) return;
    }
    Block inter = make_block(ei, seed);
    Planes planes(sized, w, h, planeStep, seed * 3);
    Ipp8u* ptr[3];
    for (int k = 0; k < 3; ++k) ptr[k] = maybe(planes.b[k].origin(), nullAt, 2 + k);
    const auto interWas = inter.snapshot();
    planes.settle();

    IppStatus st;
    if (toYuv) {
        st = ippiRGBToYUV_8u_C3P3R(maybe<const Ipp8u*>(inter.origin(), nullAt, 0), interStep,
                                   nullAt == 1 ? nullptr : ptr, planeStep, {w, h});
    } else {
        const Ipp8u* const cp[3] = {ptr[0], ptr[1], ptr[2]};
        st = ippiYUVToRGB_8u_P3C3R(nullAt == 1 ? nullptr : cp, planeStep, maybe(inter.origin(), nullAt, 0),
                                   interStep, {w, h});
    }
    expect(st == want, "planar YUV status", st);
    if (st != 0) {
        expect(inter.same(interWas) && planes.untouched(), "written on error", st);
        return;
    }
    if (toYuv) {
        expect(inter.same(interWas), "source written", st);
        expect(planes.within(planeStep, w, h), "plane written outside the region", st);
    } else {
        expect(planes.untouched(), "source plane written", st);
        std::vector<uint8_t> mask(interWas.size());
        mark_rows(mask, ei.before, interStep, 3 * int64_t{w}, h);
        expect(changes_within(interWas, inter.snapshot(), mask), "written outside the region", st);
    }
}

// ippiBGRToHLS_8u_P3R and ippiHLSToBGR_8u_P3R: all six planes null-checked
// first, then the steps, then the size.
void planar_hls(Draw& d, bool toHls) {
    const int w = wide_size(d, kMaxSide, 300), h = d.size(kMaxSide);
    const int nullAt = d.range(0, 16);  // 0: source array, 1: destination array, 2..7: a plane
    const int srcStep = draw_step(d, w, h), dstStep = draw_step(d, w, h);
    const int want = nullAt <= 7                   ? ippStsNullPtrErr
                     : (srcStep < 1 || dstStep < 1) ? ippStsStepErr
                     : (w < 1 || h < 1)             ? ippStsSizeErr
                                                    : 0;
    const uint32_t seed = d.bits(32);
    const bool sized = want == 0;
    if (sized && (extent(w, h, srcStep).bytes > kMaxBytes || extent(w, h, dstStep).bytes > kMaxBytes ||
                  too_big(w, h)))
        return;
    Planes src(sized, w, h, srcStep, seed), dst(sized, w, h, dstStep, ~seed);
    if (sized && d.flip())  // grey pixels (B = G = R) or S = 0
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
                if (toHls)
                    *src.at(1, srcStep, x, y) = *src.at(2, srcStep, x, y) = *src.at(0, srcStep, x, y);
                else
                    *src.at(2, srcStep, x, y) = 0;
            }
    const Ipp8u* sp[3];
    Ipp8u* dp[3];
    for (int k = 0; k < 3; ++k) {
        sp[k] = maybe<const Ipp8u*>(src.b[k].origin(), nullAt, 2 + k);
        dp[k] = maybe(dst.b[k].origin(), nullAt, 5 + k);
    }
    src.settle();
    dst.settle();
    const auto fn = toHls ? ippiBGRToHLS_8u_P3R : ippiHLSToBGR_8u_P3R;
    const IppStatus st = fn(nullAt == 0 ? nullptr : sp, srcStep, nullAt == 1 ? nullptr : dp, dstStep, {w, h});
    expect(st == want, "planar HLS status", st);
    expect(src.untouched(), "source plane written", st);
    if (st != 0) {
        expect(dst.untouched(), "written on error", st);
        return;
    }
    expect(dst.within(dstStep, w, h), "plane written outside the region", st);
    if (dstStep < w && h > 1) return;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const Ipp8u s0 = *src.at(0, srcStep, x, y), s1 = *src.at(1, srcStep, x, y),
                        s2 = *src.at(2, srcStep, x, y);
            const Ipp8u o0 = *dst.at(0, dstStep, x, y), o1 = *dst.at(1, dstStep, x, y),
                        o2 = *dst.at(2, dstStep, x, y);
            if (toHls && s0 == s1 && s1 == s2) expect(o0 == 0 && o2 == 0, "grey gives hue and saturation 0");
            if (!toHls && s2 == 0) expect(o0 == s1 && o1 == s1 && o2 == s1, "saturation 0 gives grey");
        }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Draw d(data, size);
    switch (d.range(0, 13)) {
        case 0: interleaved<Ipp8u>(d, ippiRGBToYUV_8u_C3R, Kind::RgbToYuv); break;
        case 1: interleaved<Ipp8u>(d, ippiYUVToRGB_8u_C3R, Kind::YuvToRgb); break;
        case 2: planar_yuv(d, true); break;
        case 3: planar_yuv(d, false); break;
        case 4: interleaved<Ipp8u>(d, ippiRGBToHLS_8u_C3R, Kind::ToHls); break;
        case 5: interleaved<Ipp16u>(d, ippiRGBToHLS_16u_C3R, Kind::ToHls); break;
        case 6: interleaved<Ipp16s>(d, ippiRGBToHLS_16s_C3R, Kind::ToHls); break;
        case 7: interleaved<Ipp32f>(d, ippiRGBToHLS_32f_C3R, Kind::ToHls); break;
        case 8: interleaved<Ipp8u>(d, ippiHLSToRGB_8u_C3R, Kind::FromHls); break;
        case 9: interleaved<Ipp16u>(d, ippiHLSToRGB_16u_C3R, Kind::FromHls); break;
        case 10: interleaved<Ipp16s>(d, ippiHLSToRGB_16s_C3R, Kind::FromHls); break;
        case 11: interleaved<Ipp32f>(d, ippiHLSToRGB_32f_C3R, Kind::FromHls); break;
        case 12: planar_hls(d, true); break;
        default: planar_hls(d, false); break;
    }
    return 0;
}
