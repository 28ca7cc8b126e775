// Scanner convolution filters, their kernel accessors and the one-call noise
// reductions. Images are tightly packed (width x height x channels bytes, in
// exactly sized blocks). Each call's result follows from its arguments (the
// first failing check decides); a refused call writes nothing; a call that
// filters writes the interior as a direct computation says and leaves the
// frame as it was (where the frame is defined), and never writes its source.
#include <cmath>
#include <cstring>
#include <vector>

#include "filter_ref.h"
#include "fuzz_common.h"

namespace {
using namespace qmfuzz;

enum Op {
    kConvRGB, kConvRGB2, kConvRGB3, kConvRGB4, kRgbCoef, kMonoCoef, kGetKernel, kSetKernel, kSetUser,
    kGaussNr, kMedianNr, kMedianColorNr, kOps
};

int draw_scan_width(Draw& d) {
    switch (d.range(0, 9)) {
        case 0: return d.pick({0, -4, -8, -48, INT32_MIN, INT32_MAX - 3, 1 << 30, 1 << 28, 1431655768});
        case 1: return d.range(1, kMaxSide);  // not always a multiple of 4
        case 2: return d.size(kMaxSide);
        default: return 4 * d.range(1, kMaxSide / 4);
    }
}

int draw_scan_height(Draw& d) {
    if (d.range(0, 9) == 0) return d.pick({0, -1, -4, INT32_MIN, INT32_MAX, 16, 1 << 20});
    return d.size(kMaxSide);
}

Ipp32u draw_radius(Draw& d) {
    switch (d.range(0, 9)) {
        case 0: return d.pick({5u, 6u, 8u, 9u, 15u, 24u});
        case 1: return d.pick({1u << 30, 1u << 31, 0xFFFFFFFFu, 0x7FFFFFFFu, 0x40000001u, d.bits(32)});
        default: return d.pick({0u, 1u, 2u, 3u, 4u, 7u});
    }
}

Ipp32u draw_mode(Draw& d) { return d.range(0, 7) == 0 ? d.pick({2u, 3u, 0x80000000u, 0xFFFFFFFFu}) : d.range(0, 1); }

// Levels are never negative (callers must not pass them).
int draw_level(Draw& d) { return d.range(0, 7) == 0 ? d.pick({INT32_MAX, 1000000, 46, 45, 44}) : d.range(0, 60); }

// The kernel level a level value selects.
int kernel_level(int v) {
    if (v >= 15) v = (v - 15) / 5;
    return v < 7 ? v : 6;
}

// Radius of the built-in table a radius selects.
int table_radius(Ipp32u r) { return (r == 3 || r == 4 || r == 7) ? int(r) : 2; }

// A packed image of `bytes` bytes, or a tiny block when nothing of it may be read.
Area image(int64_t bytes, uint32_t seed) { return bytes > 0 && bytes <= kMaxAreaBytes ? Area({0, bytes - 1}, seed) : Area::tiny(seed); }

// Bytes of a packed image; anything beyond kMaxAreaBytes reads as kMaxAreaBytes + 1.
int64_t packed_bytes(int w, int h, int bpp) {
    if (w <= 0 || h <= 0) return 0;
    const int64_t b = int64_t{w} * h;  // below 2^62
    return b > kMaxAreaBytes ? kMaxAreaBytes + 1 : b * bpp;
}

// Scratch images of the planar worker: ippiMalloc_8u_C3(width, height) succeeds
// for positive sizes whose 32-bit step x height stays positive.
bool worker_scratch(int w, int h) {
    if (w <= 0 || h <= 0) return false;
    const int step = wrap32((3 * int64_t{w} + 31) & ~int64_t{31});
    return int32_t(uint32_t(step) * uint32_t(h)) > 0;
}

// Weights whose products and sums are exact in single precision.
float exact_weight(Draw& d) { return float(d.range(-64, 64)) / 16.0f; }

// Interior pixels (X, Y) of a w x h image with a frame of r.
bool in_interior(int64_t X, int64_t Y, int w, int h, int64_t r) { return X >= r && X < w - r && Y >= r && Y < h - r; }

// Every byte outside the interior of a packed image still as `before` had it.
void expect_frame_kept(Area& a, const std::vector<uint8_t>& before, int w, int h, int64_t r, int bpp) {
    for (int64_t Y = 0; Y < h; ++Y)
        for (int64_t X = 0; X < w; ++X)
            if (!in_interior(X, Y, w, h, r))
                for (int c = 0; c < bpp; ++c) {
                    const int64_t off = (Y * w + X) * bpp + c;
                    expect(a.at(off) == before[size_t(off)], "frame written");
                }
}

// The flipped convolution of the fixed-kernel primitives at interior pixel (X, Y),
// channel c, of a packed image: weight k(i, j) meets pixel (X + r - j, Y + r - i).
template <class K>
double convolve(Area& src, int w, int bpp, int64_t X, int64_t Y, int c, int r, K k) {
    const int n = 2 * r + 1;
    double s = 0.0;
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) s += k(i * n + j) * double(src.at(((Y + r - i) * w + (X + r - j)) * bpp + c));
    return s;
}

// ---- DeosConvRGB and DeosConvRGB2 without a kernel -------------------------

template <class Call>
void conv_rgb(Draw& d, Call call) {
    const int w = draw_scan_width(d), h = draw_scan_height(d);
    const Ipp32u mode = draw_mode(d), r = draw_radius(d);
    const int level = draw_level(d);
    const int nullAt = d.range(0, 15);
    const bool same = d.range(0, 11) == 0;
    const uint32_t seed = d.bits(32);

    Ipp32u want = 0;
    if (w % 4 != 0)
        want = 3;
    else if (mode > 1)
        want = 4;
    else if (same)
        want = 5;
    else if (!(r <= 4 || r == 7))
        want = 1;
    const bool copy = r <= 1, worker = r >= 2 && want == 0 && worker_scratch(w, h);
    // Plain copy of w x h x 3 bytes (also when both sides are negative).
    const int64_t pixels = int64_t{w} * h;  // below 2^62 in magnitude
    const int64_t copyBytes = pixels > kMaxAreaBytes ? kMaxAreaBytes + 1 : pixels < 0 ? -1 : pixels * 3;
    int64_t bytes = 0;
    if (want == 0 && copy) {
        if (copyBytes < 0 || (copyBytes > 0 && (nullAt <= 1 || copyBytes > kMaxAreaBytes))) return;  // caller error or too big
        bytes = copyBytes;
    } else if (worker) {
        bytes = packed_bytes(w, h, 3);
        if (bytes > kMaxAreaBytes || int64_t{w} * h * (2 * int64_t{r} + 1) * (2 * int64_t{r} + 1) > kMaxWork) return;
    }
    Area src = image(bytes, seed), dst = image(bytes, ~seed);
    const auto srcBefore = src.snapshot(), dstBefore = dst.snapshot();
    Ipp8u* pDst = nullAt == 1 ? nullptr : dst.ptr();
    const Ipp8u* pSrc = same ? pDst : nullAt == 0 ? nullptr : src.ptr();
    const Ipp32u got = call(pSrc, pDst, w, h, mode, r, level);
    expect(got == want, "unexpected result", int(got));
    expect(src.same(srcBefore), "source written", int(got));
    const bool writes = want == 0 && ((copy && bytes > 0) || (worker && pDst != nullptr));
    if (!writes) {
        expect(dst.same(dstBefore), "destination written", int(got));
        return;
    }
    if (copy) {
        for (int64_t i = 0; i < bytes; ++i) expect(dst.at(i) == src.at(i), "copy");
        return;
    }
    if (pSrc == nullptr) return;  // the destination holds scratch
    // Interior within one of a double-precision convolution (float sums);
    // the frame holds scratch.
    // The kernel of the level the value maps to, looked up by that level.
    float k[225];
    expect(GetDeosConvKernelValue(0, r, kernel_level(level), k) == 0, "kernel lookup");
    for (int64_t Y = r; Y < h - int64_t{r}; ++Y)
        for (int64_t X = r; X < w - int64_t{r}; ++X)
            for (int c = 0; c < 3; ++c) {
                const double s = convolve(src, w, 3, X, Y, c, int(r), [&](int t) { return double(k[t]); });
                const double e = s <= 0.0 ? 0.0 : s >= 255.0 ? 255.0 : std::nearbyint(s);
                expect(std::fabs(dst.at((Y * w + X) * 3 + c) - e) <= 1.0, "built-in kernel result");
            }
}

// ---- DeosConvRGB2 / DeosConvRGB3 with a kernel -----------------------------

void conv_rgb_kernel(Draw& d, bool fixedPoint) {
    const int w = draw_scan_width(d), h = draw_scan_height(d);
    const Ipp32u mode = draw_mode(d), r = draw_radius(d);
    const int level = draw_level(d);
    const int nullAt = d.range(0, 15);
    const bool same = d.range(0, 11) == 0;
    const bool hostileWeights = d.range(0, 3) == 0;
    const uint32_t seed = d.bits(32);

    const int64_t n = 2 * int64_t{r} + 1, roiW = w - 2 * int64_t{r}, roiH = h - 2 * int64_t{r};
    const bool empty = roiW < 1 || roiH < 1;
    // Null images are passed only where the advance to pixel (r, r) cannot matter.
    if ((nullAt == 0 || nullAt == 1) && r != 0 && !empty) return;
    const bool huge = n > INT32_MAX;  // kernel side beyond 32 bits: must be refused
    int64_t bytes = packed_bytes(w, h, 3);
    const bool runs = !empty && !huge;
    if (runs && (bytes > kMaxAreaBytes || roiW * roiH * n * n * 3 > kMaxWork)) return;
    if (!runs) bytes = 0;

    Area src = image(bytes, seed), dst = image(bytes, ~seed);
    Area ker = runs ? Area({0, n * n * 4 - 1}, seed + 3) : Area::tiny(seed + 3, 4);
    if (runs)
        for (int64_t t = 0; t < n * n; ++t) {
            if (fixedPoint) {
                const Ipp32s v = hostileWeights ? Ipp32s(d.bits(32)) : d.range(-70000, 70000);
                std::memcpy(&ker.at(t * 4), &v, 4);
            } else {
                const float v = hostileWeights ? d.real(-3.0f, 3.0f) : exact_weight(d);
                std::memcpy(&ker.at(t * 4), &v, 4);
            }
        }
    const auto srcBefore = src.snapshot(), dstBefore = dst.snapshot(), kerBefore = ker.snapshot();
    Ipp8u* pDst = nullAt == 1 ? nullptr : dst.ptr();
    const Ipp8u* pSrc = same ? pDst : nullAt == 0 ? nullptr : src.ptr();
    const bool nullKernel = fixedPoint && nullAt == 2;

    // Checks of the filter, then of the primitive it calls.
    int64_t want = 0;
    bool oneOf = false;  // -8 or -6: a null image with an empty interior
    if (nullKernel)
        want = 1;
    else if (w % 4 != 0)
        want = 3;
    else if (mode > 1)
        want = 4;
    else if (pSrc == pDst)
        want = 5;
    else if (pSrc == nullptr || pDst == nullptr)
        want = ippStsNullPtrErr, oneOf = r != 0;
    else if (empty || huge)
        want = ippStsSizeErr;
    else if (wrap32(3 * int64_t{w}) < 3 * (roiW + n - 1))
        want = ippStsStepErr;
    Ipp32u got;
    if (fixedPoint)
        got = DeosConvRGB3(pSrc, pDst, w, h, mode, r, level,
                           nullKernel ? nullptr : reinterpret_cast<const Ipp32s*>(ker.ptr()));
    else
        got = DeosConvRGB2(pSrc, pDst, w, h, mode, r, level, reinterpret_cast<const Ipp32f*>(ker.ptr()));
    const bool filterCode = want == 1 || want == 3 || want == 4 || want == 5;
    if (huge && !filterCode)
        expect(int32_t(got) < 0, "a kernel side beyond 32 bits accepted", int(got));
    else if (oneOf)
        expect(got == Ipp32u(ippStsNullPtrErr) || got == Ipp32u(ippStsSizeErr), "unexpected result", int(got));
    else
        expect(got == Ipp32u(want), "unexpected result", int(got));
    expect(src.same(srcBefore) && ker.same(kerBefore), "source or kernel written", int(got));
    if (got != 0) {
        expect(dst.same(dstBefore), "destination written", int(got));
        return;
    }
    expect_frame_kept(dst, dstBefore, w, h, r, 3);
    if (!fixedPoint && hostileWeights) return;  // float sums of inexact weights: order is free
    std::vector<Ipp32s> ki(static_cast<size_t>(n * n));
    std::vector<float> kf(static_cast<size_t>(n * n));
    if (fixedPoint)
        std::memcpy(ki.data(), &ker.at(0), size_t(n * n) * 4);
    else
        std::memcpy(kf.data(), &ker.at(0), size_t(n * n) * 4);
    for (int64_t Y = r; Y < h - int64_t{r}; ++Y)
        for (int64_t X = r; X < w - int64_t{r}; ++X)
            for (int c = 0; c < 3; ++c) {
                Ipp8u e;
                if (fixedPoint) {
                    uint32_t s = 0;
                    for (int i = 0; i < n; ++i)
                        for (int j = 0; j < n; ++j)
                            s += uint32_t(ki[size_t(i * n + j)]) * src.at(((Y + r - i) * w + (X + r - j)) * 3 + c);
                    e = ref::divide(int32_t(s), 65536);
                } else {
                    e = ref::to_u8(float(convolve(src, w, 3, X, Y, c, int(r), [&](int t) { return double(kf[size_t(t)]); })));
                }
                expect(dst.at((Y * w + X) * 3 + c) == e, "filtered value");
            }
}

// ---- DeosConvRGB4 --------------------------------------------------------------

void conv_rgb4(Draw& d) {
    const int w = draw_scan_width(d), h = draw_scan_height(d);
    const Ipp32u mode = d.bits(32), r = draw_radius(d);
    const int level = int(d.bits(32));
    const int nullAt = d.range(0, 15);
    const bool same = d.range(0, 11) == 0;
    const bool hostileWeights = d.flip();
    const uint32_t seed = d.bits(32);

    const int64_t n = 2 * int64_t{r} + 1, roiW = w - 2 * int64_t{r}, roiH = h - 2 * int64_t{r};
    const bool empty = roiW < 1 || roiH < 1;
    // Nothing is tested for null: null pointers only where nothing is read.
    if (nullAt <= 3 && !empty) return;
    int64_t bytes = empty ? 0 : packed_bytes(w, h, 3);
    if (!empty && (bytes > kMaxAreaBytes || roiW * roiH * n * n * 3 > kMaxWork)) return;

    Area src = image(bytes, seed), dst = image(bytes, ~seed);
    Area ker = empty ? Area::tiny(seed + 3, 4) : Area({0, n * n * 4 - 1}, seed + 3);
    if (!empty)
        for (int64_t t = 0; t < n * n; ++t) {
            const Ipp32s v = hostileWeights ? Ipp32s(d.bits(32)) : d.range(-70000, 70000);
            std::memcpy(&ker.at(t * 4), &v, 4);
        }
    // Correlation (unflipped) in wrapping 32-bit sums; the table is read at
    // the sum shifted right by 16, and holds exactly the indices reached.
    std::vector<int32_t> index;
    int32_t lo = INT32_MAX, hi = INT32_MIN;
    if (!empty) {
        std::vector<Ipp32s> k(static_cast<size_t>(n * n));
        std::memcpy(k.data(), &ker.at(0), size_t(n * n) * 4);
        for (int64_t Y = r; Y < h - int64_t{r}; ++Y)
            for (int64_t X = r; X < w - int64_t{r}; ++X)
                for (int c = 0; c < 3; ++c) {
                    uint32_t s = 0;
                    for (int ky = 0; ky < n; ++ky)
                        for (int kx = 0; kx < n; ++kx)
                            s += uint32_t(k[size_t(ky * n + kx)]) * src.at(((Y - r + ky) * w + (X - r + kx)) * 3 + c);
                    const int32_t i = int32_t(s) >> 16;
                    index.push_back(i);
                    lo = i < lo ? i : lo;
                    hi = i > hi ? i : hi;
                }
    }
    Area lut = empty ? Area::tiny(seed + 5) : Area({lo, hi}, seed + 5);
    const auto srcBefore = src.snapshot(), dstBefore = dst.snapshot();
    Ipp8u* pDst = nullAt == 1 ? nullptr : dst.ptr();
    const Ipp8u* pSrc = same ? pDst : nullAt == 0 ? nullptr : src.ptr();
    const Ipp32s* pKer = nullAt == 2 ? nullptr : reinterpret_cast<const Ipp32s*>(ker.ptr());
    const Ipp8u* pLut = nullAt == 3 ? nullptr : lut.ptr();
    const Ipp32u want = w % 4 != 0 ? 3 : pSrc == pDst ? 5 : 0;
    const Ipp32u got = DeosConvRGB4(pSrc, pDst, w, h, mode, r, level, pKer, pLut);
    expect(got == want, "unexpected result", int(got));
    expect(src.same(srcBefore), "source written", int(got));
    if (got != 0 || empty) {
        expect(dst.same(dstBefore), "destination written", int(got));
        return;
    }
    expect_frame_kept(dst, dstBefore, w, h, r, 3);
    size_t t = 0;
    for (int64_t Y = r; Y < h - int64_t{r}; ++Y)
        for (int64_t X = r; X < w - int64_t{r}; ++X)
            for (int c = 0; c < 3; ++c) expect(dst.at((Y * w + X) * 3 + c) == lut.at(index[t++]), "table value");
}

// ---- DeosConvRgbInFilterCoef -------------------------------------------------

void rgb_coef(Draw& d) {
    const int w = draw_scan_width(d), h = draw_scan_height(d);
    const Ipp32u r = draw_radius(d);
    const int nullAt = d.range(0, 15);
    const bool same = d.range(0, 11) == 0;
    const uint32_t seed = d.bits(32);

    const int64_t n = 2 * int64_t{r} + 1, roiW = w - 2 * int64_t{r}, roiH = h - 2 * int64_t{r};
    const bool empty = roiW < 1 || roiH < 1;
    const bool worker = !same && w % 4 == 0 && worker_scratch(w, h);
    int64_t bytes = 0;
    if (worker) {
        bytes = packed_bytes(w, h, 3);
        if (bytes > kMaxAreaBytes || (!empty && roiW * roiH * n * n * 3 > kMaxWork)) return;
    }
    Area src = image(bytes, seed), dst = image(bytes, ~seed);
    // Three kernels; never read when the interior is empty.
    Area ker = worker && !empty ? Area({0, 3 * n * n * 4 - 1}, seed + 3) : Area::tiny(seed + 3, 4);
    if (worker && !empty)
        for (int64_t t = 0; t < 3 * n * n; ++t) {
            const float v = exact_weight(d);
            std::memcpy(&ker.at(t * 4), &v, 4);
        }
    const auto srcBefore = src.snapshot(), dstBefore = dst.snapshot(), kerBefore = ker.snapshot();
    Ipp8u* pDst = nullAt == 1 ? nullptr : dst.ptr();
    const Ipp8u* pSrc = same ? pDst : nullAt == 0 ? nullptr : src.ptr();
    const Ipp32f* pKer = nullAt == 2 ? nullptr : reinterpret_cast<const Ipp32f*>(ker.ptr());
    const Ipp32u want = w % 4 != 0 ? 3 : pSrc == pDst ? 1 : 0;
    const Ipp32u got = DeosConvRgbInFilterCoef(pSrc, pDst, w, h, r, pKer);
    expect(got == want, "unexpected result", int(got));
    expect(src.same(srcBefore) && ker.same(kerBefore), "source or kernels written", int(got));
    if (got != 0 || !worker || pDst == nullptr) {
        expect(dst.same(dstBefore), "destination written", int(got));
        return;
    }
    if (empty || pSrc == nullptr || pKer == nullptr) return;  // the destination holds scratch
    std::vector<float> k(static_cast<size_t>(3 * n * n));
    std::memcpy(k.data(), &ker.at(0), k.size() * 4);
    // The first byte of a pixel takes the third kernel, the third byte the first.
    for (int64_t Y = r; Y < h - int64_t{r}; ++Y)
        for (int64_t X = r; X < w - int64_t{r}; ++X)
            for (int c = 0; c < 3; ++c) {
                const float* kc = k.data() + (2 - c) * n * n;
                const double s = convolve(src, w, 3, X, Y, c, int(r), [&](int t) { return double(kc[t]); });
                expect(dst.at((Y * w + X) * 3 + c) == ref::to_u8(float(s)), "filtered value");
            }
}

// ---- DeosConvMonoInFilterCoef ------------------------------------------------

void mono_coef(Draw& d) {
    const int w = d.range(0, 3) == 0 ? draw_scan_width(d) : d.size(kMaxSide);  // any width
    const int h = draw_scan_height(d);
    const Ipp32u r = draw_radius(d);
    const int nullAt = d.range(0, 15);
    const bool same = d.range(0, 11) == 0;
    const bool hostileWeights = d.range(0, 3) == 0;
    const uint32_t seed = d.bits(32);

    const int64_t n = 2 * int64_t{r} + 1, roiW = w - 2 * int64_t{r}, roiH = h - 2 * int64_t{r};
    const bool empty = roiW < 1 || roiH < 1;
    if ((nullAt == 0 || nullAt == 1) && r != 0 && !empty) return;  // the advance of a null image
    int64_t bytes = 0;
    if (!empty) {
        bytes = packed_bytes(w, h, 1);
        if (bytes > kMaxAreaBytes || roiW * roiH * n * n > kMaxWork) return;
    }
    Area src = image(bytes, seed), dst = image(bytes, ~seed);
    Area ker = empty ? Area::tiny(seed + 3, 4) : Area({0, n * n * 4 - 1}, seed + 3);
    if (!empty)
        for (int64_t t = 0; t < n * n; ++t) {
            const float v = hostileWeights ? d.real(-3.0f, 3.0f) : exact_weight(d);
            std::memcpy(&ker.at(t * 4), &v, 4);
        }
    const auto srcBefore = src.snapshot(), dstBefore = dst.snapshot(), kerBefore = ker.snapshot();
    Ipp8u* pDst = nullAt == 1 ? nullptr : dst.ptr();
    const Ipp8u* pSrc = same ? pDst : nullAt == 0 ? nullptr : src.ptr();
    const Ipp32f* pKer = nullAt == 2 ? nullptr : reinterpret_cast<const Ipp32f*>(ker.ptr());
    const Ipp32u want = pSrc == pDst ? 1 : 0;
    const Ipp32u got = DeosConvMonoInFilterCoef(pSrc, pDst, w, h, r, pKer);
    expect(got == want, "unexpected result", int(got));
    expect(src.same(srcBefore) && ker.same(kerBefore), "source or kernel written", int(got));
    // The primitive's status is dropped: it filters only with every pointer
    // present and a non-empty interior.
    if (got != 0 || empty || pSrc == nullptr || pDst == nullptr || pKer == nullptr) {
        expect(dst.same(dstBefore), "destination written", int(got));
        return;
    }
    expect_frame_kept(dst, dstBefore, w, h, r, 1);
    if (hostileWeights) return;
    std::vector<float> k(static_cast<size_t>(n * n));
    std::memcpy(k.data(), &ker.at(0), k.size() * 4);
    for (int64_t Y = r; Y < h - int64_t{r}; ++Y)
        for (int64_t X = r; X < w - int64_t{r}; ++X) {
            const double s = convolve(src, w, 1, X, Y, 0, int(r), [&](int t) { return double(k[size_t(t)]); });
            expect(dst.at(Y * w + X) == ref::to_u8(float(s)), "filtered value");
        }
}

// ---- Kernel accessors ------------------------------------------------------------

// The radius-2 table: w(0,0), w(0,1), w(0,2), w(1,1), w(1,2), w(2,2) per level.
constexpr float kRadius2[7][6] = {
    {0.704784f, 0.248006f, -0.072754f, 0.044403f, -0.054734f, -0.036382f},
    {0.893822f, 0.305395f, -0.10413f, 0.043928f, -0.080707f, -0.057234f},
    {1.085237f, 0.363502f, -0.1359f, 0.043446f, -0.107004f, -0.078349f},
    {1.277735f, 0.421936f, -0.16785f, 0.04296f, -0.133448f, -0.099585f},
    {1.470817f, 0.480547f, -0.199896f, 0.042473f, -0.159971f, -0.120886f},
    {1.66425f, 0.539263f, -0.231999f, 0.041985f, -0.186542f, -0.142226f},
    {1.85791f, 0.598047f, -0.264141f, 0.041496f, -0.213144f, -0.163592f},
};

// Centre weights of levels 0 and 6 of the radius 3, 4 and 7 tables.
bool near(float a, double b) { return std::fabs(double(a) - b) < 6e-6; }

void check_table_kernel(const float* k, int tr, int lvl) {
    const int n = 2 * tr + 1;
    double sum = 0.0;
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) {
            const float v = k[i * n + j];
            sum += v;
            expect(v == k[j * n + i] && v == k[(n - 1 - i) * n + j] && v == k[i * n + (n - 1 - j)],
                   "kernel not symmetric");
            if (tr == 2) {
                int a = std::abs(i - 2), b = std::abs(j - 2);
                if (a > b) std::swap(a, b);
                const int slot = a == 0 ? b : a == 1 ? 2 + b : 5;
                expect(v == kRadius2[lvl][slot], "radius-2 weight");
            }
        }
    expect(std::fabs(sum - 1.0) < 2e-5, "kernel does not sum to 1");
    const float centre = k[tr * n + tr];
    if (tr == 3 && lvl == 0) expect(near(centre, 0.68027), "radius-3 centre");
    if (tr == 3 && lvl == 6) expect(near(centre, 1.89976), "radius-3 centre");
    if (tr == 4 && lvl == 0) expect(near(centre, 0.63731), "radius-4 centre");
    if (tr == 4 && lvl == 6) expect(near(centre, 1.72975), "radius-4 centre");
    if (tr == 7 && lvl == 0) expect(near(centre, 0.64626), "radius-7 centre");
    if (tr == 7 && lvl == 6) expect(near(centre, 1.76294), "radius-7 centre");
    if (tr == 4 && lvl == 0) {
        const double row[9] = {0.00255, -0.00409, -0.07693, 0.25126, 0.63731, 0.25126, -0.07693, -0.00409, 0.00255};
        for (int j = 0; j < 9; ++j) expect(near(k[4 * 9 + j], row[j]), "radius-4 centre row");
    }
}

void kernel_accessor(Draw& d, int op) {
    const Ipp32u mode = draw_mode(d);
    const int level = draw_level(d);
    const uint32_t seed = d.bits(32);
    if (op == kSetUser) {
        const Ipp32u r = Ipp32u(d.range(0, 12));
        const int64_t count = (2 * int64_t{r} + 1) * (2 * int64_t{r} + 1);
        std::vector<float> in(static_cast<size_t>(count));
        for (auto& v : in)
            v = d.range(0, 7) == 0 ? d.pick({INFINITY, -INFINITY, NAN, 1e30f, 32768.0f, -32768.0f, 32767.99f})
                                   : d.real(-40000.0f, 40000.0f) / float(d.range(1, 40000));
        Area out({0, count * 4 - 1}, seed);
        expect(SetDeosConvKernelUserValue(in.data(), r, reinterpret_cast<Ipp32s*>(out.ptr())) == 0, "result");
        for (int64_t i = 0; i < count; ++i) {
            Ipp32s v;
            std::memcpy(&v, &out.at(i * 4), 4);
            if (ref::fixed_in_range(in[size_t(i)])) expect(v == ref::fixed(in[size_t(i)]), "16.16 conversion");
        }
        return;
    }
    // Any radius for the float copy; the fixed-point copy takes only the radii
    // callers use (0, 1, 2, 3, 4, 7), unless the mode refuses first.
    Ipp32u r = draw_radius(d);
    if (op == kSetKernel && mode <= 1 && !(r <= 4 || r == 7)) r = d.pick({0u, 1u, 2u, 3u, 4u, 7u});
    const int tr = table_radius(r);
    const int floats = (2 * tr + 1) * (2 * tr + 1);
    const bool refused = mode > 1;
    // Refused calls may carry any radius; the others have at most 15 x 15.
    const int64_t count = op == kGetKernel || refused ? floats : (2 * int64_t{r} + 1) * (2 * int64_t{r} + 1);
    const bool nullOut = refused && d.flip();
    Area out = refused ? Area::tiny(seed, 4) : Area({0, count * 4 - 1}, seed);
    const auto before = out.snapshot();
    Ipp32u got;
    if (op == kGetKernel)
        got = GetDeosConvKernelValue(mode, r, level, nullOut ? nullptr : reinterpret_cast<Ipp32f*>(out.ptr()));
    else
        got = SetDeosConvKernelValue(mode, r, level, nullOut ? nullptr : reinterpret_cast<Ipp32s*>(out.ptr()));
    expect(got == (refused ? 4u : 0u), "unexpected result", int(got));
    if (refused) {
        expect(out.same(before), "written when refused", int(got));
        return;
    }
    // The kernel of the mapped level, checked against the table's known
    // values and properties; every level value mapping there gives it.
    std::vector<float> k(static_cast<size_t>(floats));
    const int lvl = kernel_level(level);
    expect(GetDeosConvKernelValue(0, Ipp32u(tr), lvl, k.data()) == 0, "kernel lookup");
    check_table_kernel(k.data(), tr, lvl);
    for (int64_t i = 0; i < count; ++i) {
        if (op == kGetKernel) {
            float v;
            std::memcpy(&v, &out.at(i * 4), 4);
            expect(v == k[size_t(i)], "kernel copy");
        } else {
            Ipp32s v;
            std::memcpy(&v, &out.at(i * 4), 4);
            expect(v == ref::fixed(k[size_t(i)]), "fixed-point kernel");
        }
    }
}

// ---- GaussNrRGB, MedianNrRGB, MedianColorNrRGB -----------------------------------

int draw_nr_radius(Draw& d) {
    switch (d.range(0, 9)) {
        case 0: return d.pick({0, 3, 4, 5});
        case 1: return d.pick({-1, -2, INT32_MIN, INT32_MAX, 1 << 30, (1 << 30) + 1, int(d.bits(32))});
        default: return d.range(1, 2);
    }
}

void noise_wrapper(Draw& d, int op) {
    const int w = d.range(0, 5) == 0 ? draw_scan_width(d) : d.size(kMaxSide);
    const int h = draw_scan_height(d);
    const int r = draw_nr_radius(d);
    const int nullAt = d.range(0, 15);
    const uint32_t seed = d.bits(32);

    // 32-bit record arithmetic: offset 3wr + 3r, step 3w, region (w - 2r, h - 2r).
    const int64_t off = int64_t{wrap32(int64_t{wrap32(3 * int64_t{w})} * r)} + int64_t{wrap32(3 * int64_t{r})};
    const int step = wrap32(3 * int64_t{w});
    const int roiW = wrap32(int64_t{w} - 2 * int64_t{r}), roiH = wrap32(int64_t{h} - 2 * int64_t{r});
    // A null record image is passed only where it stays null after the offset.
    if (nullAt <= 1 && off != 0) return;
    const int side = wrap32(2 * int64_t{r} + 1);

    int want = 0;
    if (nullAt <= 1)
        want = ippStsNullPtrErr;
    else if (roiW < 1 || roiH < 1)
        want = ippStsSizeErr;
    else if (step < 1)
        want = ippStsStepErr;
    else if (op == kMedianNr && side < 1)
        want = ippStsMaskSizeErr;
    else if (op == kMedianNr && (r < 0 || r >= side))
        want = ippStsAnchorErr;
    // A filtering call must stay inside the image: the Gauss and vector median
    // masks reach 1 (r = 1) or 2 pixels, the median mask r pixels.
    // Also the record arithmetic must not have wrapped.
    const int reach = op == kMedianNr ? r : (r == 1 ? 1 : 2);
    const int64_t bytes = packed_bytes(w, h, 3);
    const int64_t m = 2 * int64_t{reach} + 1;
    const bool wrapped = roiW != int64_t{w} - 2 * int64_t{r} || roiH != int64_t{h} - 2 * int64_t{r} ||
                         off != 3 * int64_t{w} * r + 3 * int64_t{r};
    if (want == 0 && (wrapped || r < 0 || reach > r || bytes > kMaxAreaBytes ||
                      int64_t{roiW} * roiH * m * m * (op == kMedianColorNr ? m * m : 3) > kMaxWork))
        return;

    Area src = image(want == 0 ? bytes : 0, seed), dst = image(want == 0 ? bytes : 0, ~seed);
    const auto srcBefore = src.snapshot(), dstBefore = dst.snapshot();
    // The second field and the destination's sizes are not read.
    const NrImageRecord s{nullAt == 0 ? nullptr : src.ptr(), reinterpret_cast<void*>(uintptr_t(seed)), w, h};
    const NrImageRecord t{nullAt == 1 ? nullptr : dst.ptr(), nullptr, int(seed), -int(seed >> 1)};
    IppStatus got = 0;
    switch (op) {
        case kGaussNr: got = GaussNrRGB(&s, &t, r); break;
        case kMedianNr: got = MedianNrRGB(&s, &t, r); break;
        case kMedianColorNr: got = MedianColorNrRGB(&s, &t, r); break;
    }
    expect(got == want, "unexpected status", got);
    expect(src.same(srcBefore), "source written", got);
    if (got != 0) {
        expect(dst.same(dstBefore), "destination written on error", got);
        return;
    }
    expect_frame_kept(dst, dstBefore, w, h, r, 3);
    std::vector<int> vals;
    std::vector<const Ipp8u*> px;
    const auto at = [&](int64_t X, int64_t Y, int c) -> const Ipp8u& { return src.at((Y * w + X) * 3 + c); };
    for (int64_t Y = r; Y < h - int64_t{r}; ++Y)
        for (int64_t X = r; X < w - int64_t{r}; ++X) {
            const Ipp8u* out = &dst.at((Y * w + X) * 3);
            if (op == kMedianColorNr) {
                px.clear();
                for (int i = -reach; i <= reach; ++i)
                    for (int j = -reach; j <= reach; ++j) px.push_back(&at(X + j, Y + i, 0));
                const Ipp8u* best = px[size_t(ref::vector_median(px))];
                expect(out[0] == best[0] && out[1] == best[1] && out[2] == best[2], "vector median");
                continue;
            }
            for (int c = 0; c < 3; ++c) {
                if (op == kGaussNr) {
                    uint32_t sum = 0;
                    for (int i = -reach; i <= reach; ++i)
                        for (int j = -reach; j <= reach; ++j)
                            sum += uint32_t(reach == 1 ? ref::kGauss3[(i + 1) * 3 + j + 1]
                                                       : ref::kGauss5[(i + 2) * 5 + j + 2]) *
                                   at(X + j, Y + i, c);
                    expect(out[c] == (reach == 1 ? ref::gauss3_round(sum) : ref::gauss5_round(sum)), "gauss value");
                } else {
                    vals.clear();
                    for (int i = -reach; i <= reach; ++i)
                        for (int j = -reach; j <= reach; ++j) vals.push_back(at(X + j, Y + i, c));
                    expect(out[c] == ref::median(vals), "median value");
                }
            }
        }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Draw d(data, size);
    const int op = d.range(0, kOps - 1);
    switch (op) {
        case kConvRGB: conv_rgb(d, DeosConvRGB); break;
        case kConvRGB2:
            if (d.range(0, 3) == 0)
                conv_rgb(d, [](const Ipp8u* s, Ipp8u* t, int w, int h, Ipp32u m, Ipp32u r, int l) {
                    return DeosConvRGB2(s, t, w, h, m, r, l, nullptr);
                });
            else
                conv_rgb_kernel(d, false);
            break;
        case kConvRGB3: conv_rgb_kernel(d, true); break;
        case kConvRGB4: conv_rgb4(d); break;
        case kRgbCoef: rgb_coef(d); break;
        case kMonoCoef: mono_coef(d); break;
        case kGetKernel:
        case kSetKernel:
        case kSetUser: kernel_accessor(d, op); break;
        default: noise_wrapper(d, op); break;
    }
    return 0;
}
