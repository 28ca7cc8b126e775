// Scanner convolution filters, their kernel accessors and the one-call noise
// reductions. Images are tightly packed (width x height x channels bytes, in
// exactly sized blocks). Each call's result follows from its arguments (the
// first failing check decides); a refused call writes nothing; a call that
// filters leaves the frame as it was (where the frame is defined) and never
// writes its source. Values are the unit tests' business.
#include <cmath>
#include <cstring>
#include <vector>

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

// After a filtering call on a packed image: the frame of r as `before` had it.
void expect_frame(Area& dst, const std::vector<uint8_t>& before, int w, int h, int64_t r, int bpp) {
    for (int64_t Y = 0; Y < h; ++Y)
        for (int64_t X = 0; X < w; ++X)
            for (int c = 0; c < bpp; ++c) {
                const int64_t off = (Y * w + X) * bpp + c;
                if (!in_interior(X, Y, w, h, r)) expect(dst.at(off) == before[size_t(off)], "frame written");
            }
}

// A kernel of n x n weights (`count` kernels back to back): a centre-only
// unit kernel (`unit`, one in 16.16 when `fixedPoint`), small exact values,
// or anything.
void fill_kernel(Draw& d, Area& ker, int64_t n, int count, bool fixedPoint, bool unit, bool hostile) {
    for (int64_t t = 0; t < count * n * n; ++t) {
        const bool centre = t % (n * n) == (n * n) / 2;
        if (fixedPoint) {
            const Ipp32s v = unit ? (centre ? 65536 : 0) : hostile ? Ipp32s(d.bits(32)) : d.range(-70000, 70000);
            std::memcpy(&ker.at(t * 4), &v, 4);
        } else {
            const float v = unit ? (centre ? 1.0f : 0.0f) : hostile ? d.real(-3.0f, 3.0f) : exact_weight(d);
            std::memcpy(&ker.at(t * 4), &v, 4);
        }
    }
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
}

// ---- DeosConvRGB2 / DeosConvRGB3 with a kernel -----------------------------

void conv_rgb_kernel(Draw& d, bool fixedPoint) {
    const int w = draw_scan_width(d), h = draw_scan_height(d);
    const Ipp32u mode = draw_mode(d), r = draw_radius(d);
    const int level = draw_level(d);
    const int nullAt = d.range(0, 15);
    const bool same = d.range(0, 11) == 0;
    const int weights = d.range(0, 3);  // 0: anything, 1: centre-only unit, else small exact
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
    if (runs) fill_kernel(d, ker, n, 1, fixedPoint, weights == 1, weights == 0);
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
    expect_frame(dst, dstBefore, w, h, r, 3);
}

// ---- DeosConvRGB4 --------------------------------------------------------------

void conv_rgb4(Draw& d) {
    const int w = draw_scan_width(d), h = draw_scan_height(d);
    const Ipp32u mode = d.bits(32), r = draw_radius(d);
    const int level = int(d.bits(32));
    const int nullAt = d.range(0, 15);
    const bool same = d.range(0, 11) == 0;
    const int weights = d.range(0, 2);  // 0: anything, 1: centre-only unit, 2: 16.16-sized
    const uint32_t seed = d.bits(32);

    const int64_t n = 2 * int64_t{r} + 1, roiW = w - 2 * int64_t{r}, roiH = h - 2 * int64_t{r};
    const bool empty = roiW < 1 || roiH < 1;
    // Nothing is tested for null: null pointers only where nothing is read.
    if (nullAt <= 3 && !empty) return;
    int64_t bytes = empty ? 0 : packed_bytes(w, h, 3);
    if (!empty && (bytes > kMaxAreaBytes || roiW * roiH * n * n * 3 > kMaxWork)) return;

    Area src = image(bytes, seed), dst = image(bytes, ~seed);
    Area ker = empty ? Area::tiny(seed + 3, 4) : Area({0, n * n * 4 - 1}, seed + 3);
    if (!empty) fill_kernel(d, ker, n, 1, true, weights == 1, weights == 0);
    // The table is read at a wrapping 32-bit sum shifted right by 16: it
    // holds every index that can give, and nothing more.
    Area lut = empty ? Area::tiny(seed + 5) : Area({-32768, 32767}, seed + 5);
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
    expect_frame(dst, dstBefore, w, h, r, 3);
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
    const bool unit = d.flip();
    if (worker && !empty) fill_kernel(d, ker, n, 3, false, unit, false);
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
}

// ---- DeosConvMonoInFilterCoef ------------------------------------------------

void mono_coef(Draw& d) {
    const int w = d.range(0, 3) == 0 ? draw_scan_width(d) : d.size(kMaxSide);  // any width
    const int h = draw_scan_height(d);
    const Ipp32u r = draw_radius(d);
    const int nullAt = d.range(0, 15);
    const bool same = d.range(0, 11) == 0;
    const int weights = d.range(0, 3);  // 0: anything, 1: centre-only unit, else small exact
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
    if (!empty) fill_kernel(d, ker, n, 1, false, weights == 1, weights == 0);
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
    expect_frame(dst, dstBefore, w, h, r, 1);
}

// ---- Kernel accessors ------------------------------------------------------------
// Their values are the unit tests' business: here hostile modes, radii and
// levels, weights that no conversion may take undefined, and an output
// buffer of exactly the kernel's size.

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
        return;
    }
    // The float copy takes any radius (it falls back to the 5 x 5 table); the
    // fixed-point copy only the radii callers use, unless the mode refuses first.
    Ipp32u r = draw_radius(d);
    if (op == kSetKernel && mode <= 1 && !(r <= 4 || r == 7)) r = d.pick({0u, 1u, 2u, 3u, 4u, 7u});
    const int tr = (r == 3 || r == 4 || r == 7) ? int(r) : 2;
    const bool refused = mode > 1;
    const int64_t count = op == kGetKernel || refused ? (2 * tr + 1) * (2 * tr + 1) : (2 * int64_t{r} + 1) * (2 * int64_t{r} + 1);
    const bool nullOut = refused && d.flip();
    Area out = refused ? Area::tiny(seed, 4) : Area({0, count * 4 - 1}, seed);
    const auto before = out.snapshot();
    const Ipp32u got = op == kGetKernel
                           ? GetDeosConvKernelValue(mode, r, level, nullOut ? nullptr : reinterpret_cast<Ipp32f*>(out.ptr()))
                           : SetDeosConvKernelValue(mode, r, level, nullOut ? nullptr : reinterpret_cast<Ipp32s*>(out.ptr()));
    expect(got == (refused ? 4u : 0u), "unexpected result", int(got));
    if (refused) expect(out.same(before), "written when refused", int(got));
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
                         off != 3 * static_cast<__int128>(w) * r + 3 * int64_t{r};  // no wrap of its own
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
    expect_frame(dst, dstBefore, w, h, r, 3);
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
