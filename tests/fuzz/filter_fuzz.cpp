// Neighbourhood filters: linear (integer and float kernels), box (out of
// place and in place), minimum, maximum, median, vector median and Gauss.
// Each call's status follows from its arguments alone (the first failing
// check decides, in each function's own order); an error writes nothing; a
// success leaves source and kernel alone and writes only the ROI. Source
// blocks hold exactly the neighbourhoods read. Values are the unit tests'
// business.
#include <cmath>
#include <cstring>

#include "fuzz_common.h"

namespace {
using namespace qmfuzz;

enum Op {
    kLinC1, kLinC3, kLin32fC1, kLin32fC3, kBoxC1, kBoxC3, kBoxC1I, kBoxC3I, kMin, kMax,
    kMedianC1, kMedianC3, kMedianColor, kGaussC1, kGaussC3, kOps
};

int draw_side(Draw& d) {
    switch (d.range(0, 11)) {
        case 0: return d.range(8, 40);          // past the vector paths' tap limit
        case 1: return d.range(60, 700);        // float box path; too tall for the float row ring
        case 2: return d.size(5);               // not positive, hostile
        case 3: return 2 * d.range(5, 12) + 1;  // large odd
        case 4: case 5: return d.pick({1, 3, 5, 7, 9});
        default: return d.range(1, 9);          // even sides too
    }
}

int draw_divisor(Draw& d) {
    if (d.range(0, 3) == 0) return int(d.bits(32));
    return d.pick({1, 2, 4, 8, 256, 65536, 1 << 30, 3, 5, 9, 49, 65535, -1, -2, -4, -65536, 0, INT32_MIN,
                   INT32_MAX});
}

int draw_code(Draw& d) {
    if (d.range(0, 3) != 0) return d.pick({33, 55});
    if (d.flip()) return int(d.bits(32));
    return d.pick({35, 53, 13, 31, 15, 51, 11, 0, -33, 77, 3333});
}

// Kernel modes: 0 small, 1 16.16-sized, 2 anything (float: infinities, NaN,
// huge), 3 a single unit tap.
void fill_kernel(Draw& d, Area& ker, int64_t taps, bool isInt, int mode, int64_t unitTap) {
    for (int64_t t = 0; t < taps; ++t) {
        Ipp32s vi = 0;
        float vf = 0.0f;
        if (mode == 3) {
            vi = t == unitTap, vf = float(vi);
        } else if (isInt) {
            vi = mode == 0 ? d.range(-4, 4) : mode == 1 ? d.range(-70000, 70000) : Ipp32s(d.bits(32));
        } else {
            vf = mode == 0 ? float(d.range(-64, 64)) / 16.0f
                 : mode == 1 ? d.real(-2.0f, 2.0f)
                             : d.pick({INFINITY, -INFINITY, NAN, 1e30f, -1e30f, 0.0f, 1.0f, -0.5f, 255.5f});
        }
        if (isInt)
            std::memcpy(&ker.at(t * 4), &vi, 4);
        else
            std::memcpy(&ker.at(t * 4), &vf, 4);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Draw d(data, size);
    const int op = d.range(0, kOps - 1);
    const bool linear = op <= kLin32fC3, isInt = op <= kLinC3, box = op >= kBoxC1 && op <= kBoxC3I;
    const bool inPlace = op == kBoxC1I || op == kBoxC3I;
    const bool coded = op >= kMedianColor, median = op == kMedianC1 || op == kMedianC3;
    const int ch = (op == kLinC3 || op == kLin32fC3 || op == kBoxC3 || op == kBoxC3I || op == kMedianC3 ||
                    op == kMedianColor || op == kGaussC3)
                       ? 3
                       : 1;
    const int w = draw_width(d, kMaxSide), h = draw_width(d, kMaxSide);
    int mw = draw_side(d), mh = draw_side(d), code = 0;
    IppiPoint anchor{draw_anchor(d, mw), draw_anchor(d, mh)};
    if (coded) {
        code = draw_code(d);
        const int m = code == 33 ? 1 : 2;
        mw = mh = 2 * m + 1;
        anchor = {m, m};
    } else if (!linear && d.flip()) {
        anchor = {mw / 2, mh / 2};
    }
    const int kmode = d.range(0, 3);
    const int divisor = kmode == 3 ? 1 : draw_divisor(d);
    const int64_t srcLeast = ch * (int64_t{w} + mw - 1);
    const int srcStep = draw_filter_step(d, srcLeast);
    const int dstStep = inPlace ? srcStep : draw_filter_step(d, int64_t{ch} * w);
    const int nullAt = d.range(0, 15);  // 0: source (in place: the image), 1: destination, 2: kernel
    const uint32_t seed = d.bits(32);

    const bool badSize = w < 1 || h < 1, badStep = srcStep < 1 || dstStep < 1;
    const bool badMask = coded ? code != 33 && code != 55 : mw < 1 || mh < 1 || (median && !(mw & mh & 1));
    const bool badAnchor = anchor.x < 0 || anchor.x >= mw || anchor.y < 0 || anchor.y >= mh;
    int want = ippStsNoErr;
    if (nullAt <= (linear ? 2 : 1))
        want = ippStsNullPtrErr;
    else if (linear)
        want = (badSize || mw < 1 || mh < 1)                                 ? ippStsSizeErr
               : isInt && divisor == 0                                       ? ippStsDivisorErr
               : srcStep < srcLeast || dstStep < int64_t{ch} * w             ? ippStsStepErr
                                                                             : ippStsNoErr;
    else
        want = box && badStep ? ippStsStepErr
               : badSize      ? ippStsSizeErr
               : badStep      ? ippStsStepErr
               : badMask      ? ippStsMaskSizeErr
               : badAnchor    ? ippStsAnchorErr
                              : ippStsNoErr;

    // Output (0, 0) reads from (dx, dy) on: linear kernels are flipped and
    // their anchors only move the window.
    const int64_t dx = linear ? int64_t{anchor.x} - mw + 1 : -int64_t{anchor.x};
    const int64_t dy = linear ? int64_t{anchor.y} - mh + 1 : -int64_t{anchor.y};
    bool full = !badSize && !badStep && mw >= 1 && mh >= 1 && (linear || !badAnchor);
    Window srcE{}, dstE{};
    const int64_t taps = full ? int64_t{mw} * mh : 1;
    if (full) {
        srcE = rows_extent(dy, dy + h + mh - 2, dx * ch, (dx + w + mw - 1) * ch - 1, srcStep);
        dstE = rows_extent(0, h - 1, 0, int64_t{ch} * w - 1, dstStep);
        full = affordable(srcE) && affordable(dstE) && taps * 4 <= kMaxAreaBytes;
    }
    const int64_t work = full ? int64_t{w} * h * ch * (box ? 1 : op == kMedianColor ? taps * taps / 3 : taps) : 0;
    if (want == ippStsNoErr && (!full || work > kMaxWork)) return 0;  // would need real memory or time

    Area src = full ? Area(srcE, seed) : Area::tiny(seed);
    Area dst = full && !inPlace ? Area(dstE, ~seed) : Area::tiny(~seed);
    const bool useKer = linear && full;
    Area ker = useKer ? Area({0, taps * 4 - 1}, seed + 7) : Area::tiny(seed + 7, 4);
    const int64_t unitTap = useKer ? d.range(0, int(taps - 1)) : 0;
    if (useKer) fill_kernel(d, ker, taps, isInt, kmode, unitTap);
    const auto srcBefore = src.snapshot(), dstBefore = dst.snapshot(), kerBefore = ker.snapshot();

    const Ipp8u* pSrc = nullAt == 0 ? nullptr : src.ptr();
    Ipp8u* pImg = nullAt == 0 ? nullptr : src.ptr();
    Ipp8u* pDst = nullAt == 1 ? nullptr : dst.ptr();
    const auto* ki = nullAt == 2 ? nullptr : reinterpret_cast<const Ipp32s*>(ker.ptr());
    const auto* kf = nullAt == 2 ? nullptr : reinterpret_cast<const Ipp32f*>(ker.ptr());
    const IppiSize roi{w, h}, ks{mw, mh};
    IppStatus st = 0;
    switch (op) {
        case kLinC1: st = ippiFilter_8u_C1R(pSrc, srcStep, pDst, dstStep, roi, ki, ks, anchor, divisor); break;
        case kLinC3: st = ippiFilter_8u_C3R(pSrc, srcStep, pDst, dstStep, roi, ki, ks, anchor, divisor); break;
        case kLin32fC1: st = ippiFilter32f_8u_C1R(pSrc, srcStep, pDst, dstStep, roi, kf, ks, anchor); break;
        case kLin32fC3: st = ippiFilter32f_8u_C3R(pSrc, srcStep, pDst, dstStep, roi, kf, ks, anchor); break;
        case kBoxC1: st = ippiFilterBox_8u_C1R(pSrc, srcStep, pDst, dstStep, roi, ks, anchor); break;
        case kBoxC3: st = ippiFilterBox_8u_C3R(pSrc, srcStep, pDst, dstStep, roi, ks, anchor); break;
        case kBoxC1I: st = ippiFilterBox_8u_C1IR(nullAt == 1 ? nullptr : pImg, srcStep, roi, ks, anchor); break;
        case kBoxC3I: st = ippiFilterBox_8u_C3IR(nullAt == 1 ? nullptr : pImg, srcStep, roi, ks, anchor); break;
        case kMin: st = ippiFilterMin_8u_C1R(pSrc, srcStep, pDst, dstStep, roi, ks, anchor); break;
        case kMax: st = ippiFilterMax_8u_C1R(pSrc, srcStep, pDst, dstStep, roi, ks, anchor); break;
        case kMedianC1: st = ippiFilterMedian_8u_C1R(pSrc, srcStep, pDst, dstStep, roi, ks, anchor); break;
        case kMedianC3: st = ippiFilterMedian_8u_C3R(pSrc, srcStep, pDst, dstStep, roi, ks, anchor); break;
        case kMedianColor: st = ippiFilterMedianColor_8u_C3R(pSrc, srcStep, pDst, dstStep, roi, code); break;
        case kGaussC1: st = ippiFilterGauss_8u_C1R(pSrc, srcStep, pDst, dstStep, roi, code); break;
        case kGaussC3: st = ippiFilterGauss_8u_C3R(pSrc, srcStep, pDst, dstStep, roi, code); break;
    }
    expect(st == want, "unexpected status", st);
    expect(ker.same(kerBefore), "kernel written", st);
    if (st != ippStsNoErr) {
        expect(src.same(srcBefore) && dst.same(dstBefore), "written on error", st);
        return 0;
    }
    Area& out = inPlace ? src : dst;
    expect((inPlace || src.same(srcBefore)) && only_roi_written(out, inPlace ? srcBefore : dstBefore, h,
                                                                  int64_t{ch} * w, dstStep),
           "source or bytes outside the ROI written");
    return 0;
}
