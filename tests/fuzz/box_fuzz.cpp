// Box (out of place and in place), minimum and maximum filters. The status
// follows from the arguments alone (the first failing check decides; the box
// checks steps before sizes, the others after); an error writes nothing; a
// success leaves the source alone, writes only the ROI, and writes there the
// byte that the path's rounding gives for the neighbourhood sum (box) or the
// neighbourhood's extreme (min, max). The source block holds exactly the
// neighbourhoods.
#include <algorithm>
#include <vector>

#include "filter_ref.h"
#include "fuzz_common.h"

namespace {
using namespace qmfuzz;

enum Op { kBoxC1, kBoxC3, kBoxC1I, kBoxC3I, kMin, kMax, kOps };

// Mask sides: mostly small (even too), sometimes large enough together for
// the float path (area above 8100), sometimes not positive or hostile.
IppiSize draw_mask(Draw& d) {
    switch (d.range(0, 9)) {
        case 0: return {d.range(60, 130), d.range(60, 130)};
        case 1: return {d.size(5), d.size(5)};
        case 2: return {d.range(1, 20), d.range(1, 20)};
        default: return {d.range(1, 9), d.range(1, 9)};
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Draw d(data, size);
    const int op = d.range(0, kOps - 1);
    const bool box = op <= kBoxC3I, inPlace = op == kBoxC1I || op == kBoxC3I;
    const int ch = (op == kBoxC3 || op == kBoxC3I) ? 3 : 1;
    // Tall images too: in place, masks shorter than the ROI take the row-delaying path.
    const int w = draw_width(d, kMaxSide), h = draw_width(d, kMaxSide);
    const IppiSize mask = draw_mask(d);
    const IppiPoint anchor{draw_anchor(d, mask.width), draw_anchor(d, mask.height)};
    const int srcStep = draw_filter_step(d, ch * (int64_t{w} + mask.width - 1));
    const int dstStep = inPlace ? srcStep : draw_filter_step(d, int64_t{ch} * w);
    const int nullAt = d.range(0, 15);  // 0, 1: one pointer null (in place: the image)
    const bool flat = d.range(0, 7) == 0;
    const uint32_t seed = d.bits(32);

    const bool nullPtr = nullAt <= 1;
    const bool badStep = srcStep < 1 || dstStep < 1, badSize = w < 1 || h < 1;
    int want = ippStsNoErr;
    if (nullPtr)
        want = ippStsNullPtrErr;
    else if (box && badStep)
        want = ippStsStepErr;
    else if (badSize)
        want = ippStsSizeErr;
    else if (badStep)
        want = ippStsStepErr;
    else if (mask.width < 1 || mask.height < 1)
        want = ippStsMaskSizeErr;
    else if (anchor.x < 0 || anchor.x >= mask.width || anchor.y < 0 || anchor.y >= mask.height)
        want = ippStsAnchorErr;

    // Neighbourhood of destination (x, y): columns x - ax .. x - ax + mw - 1,
    // rows likewise. In place it contains the ROI.
    const int mw = mask.width, mh = mask.height;
    bool full = !badSize && !badStep && mw >= 1 && mh >= 1 && anchor.x >= 0 && anchor.x < mw && anchor.y >= 0 &&
                anchor.y < mh;
    Window srcE{}, dstE{};
    if (full) {
        srcE = rows_extent(-int64_t{anchor.y}, int64_t{h} - 1 - anchor.y + mh - 1, -int64_t{anchor.x} * ch,
                           (int64_t{w} - 1 - anchor.x + mw - 1) * ch + ch - 1, srcStep);
        dstE = rows_extent(0, h - 1, 0, int64_t{ch} * w - 1, dstStep);
        full = affordable(srcE) && affordable(dstE);
    }
    // Box sums come from a summed-area table, so only the extremes cost per tap.
    const int64_t work = full ? int64_t{w} * h * (box ? 1 : int64_t{mw} * mh) : 0;
    if (want == ippStsNoErr && (!full || work > kMaxWork)) return 0;  // would need real memory or time

    Area src = full ? Area(srcE, seed) : Area::tiny(seed);
    Area dst = full && !inPlace ? Area(dstE, ~seed) : Area::tiny(~seed);
    if (flat) src.fill(Ipp8u(seed >> 8));

    // Expected ROI bytes, from the source as it is before the call. In place,
    // neighbourhood rows must not share bytes for the result to be defined.
    const bool defined = want == ippStsNoErr && (inPlace ? srcStep >= (int64_t{w} + mw - 1) * ch
                                                         : (dstStep >= int64_t{ch} * w || h == 1));
    const auto pixel = [&](int64_t row, int64_t col, int c) {  // neighbourhood-area coordinates
        return src.at((row - anchor.y) * srcStep + (col - anchor.x) * ch + c);
    };
    std::vector<Ipp8u> expected;
    if (defined && box) {
        const ref::BoxRule rule = ref::box_rule(ch, mw, mh, inPlace);
        const int64_t rows = int64_t{h} + mh - 1, cols = int64_t{w} + mw - 1;
        std::vector<uint64_t> sat(size_t((rows + 1) * (cols + 1) * ch), 0);
        const auto at = [&](int64_t r, int64_t q, int c) -> uint64_t& { return sat[size_t((r * (cols + 1) + q) * ch + c)]; };
        for (int64_t r = 0; r < rows; ++r)
            for (int64_t q = 0; q < cols; ++q)
                for (int c = 0; c < ch; ++c)
                    at(r + 1, q + 1, c) = pixel(r, q, c) + at(r, q + 1, c) + at(r + 1, q, c) - at(r, q, c);
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x)
                for (int c = 0; c < ch; ++c) {
                    const uint64_t sum = at(y + mh, x + mw, c) - at(y, x + mw, c) - at(y + mh, x, c) + at(y, x, c);
                    expected.push_back(ref::box_value(rule, uint32_t(sum), mw, mh));
                }
    } else if (defined) {
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
                Ipp8u lo = 255, hi = 0;
                for (int i = 0; i < mh; ++i)
                    for (int j = 0; j < mw; ++j) {
                        lo = std::min(lo, pixel(y + i, x + j, 0));
                        hi = std::max(hi, pixel(y + i, x + j, 0));
                    }
                expected.push_back(op == kMin ? lo : hi);
            }
    }

    const auto srcBefore = src.snapshot(), dstBefore = dst.snapshot();
    const Ipp8u* pSrc = nullAt == 0 ? nullptr : src.ptr();
    Ipp8u* pDst = nullAt == 1 ? nullptr : dst.ptr();
    Ipp8u* pImg = nullAt <= 1 ? nullptr : src.ptr();
    const IppiSize roi{w, h};
    IppStatus st = 0;
    switch (op) {
        case kBoxC1: st = ippiFilterBox_8u_C1R(pSrc, srcStep, pDst, dstStep, roi, mask, anchor); break;
        case kBoxC3: st = ippiFilterBox_8u_C3R(pSrc, srcStep, pDst, dstStep, roi, mask, anchor); break;
        case kBoxC1I: st = ippiFilterBox_8u_C1IR(pImg, srcStep, roi, mask, anchor); break;
        case kBoxC3I: st = ippiFilterBox_8u_C3IR(pImg, srcStep, roi, mask, anchor); break;
        case kMin: st = ippiFilterMin_8u_C1R(pSrc, srcStep, pDst, dstStep, roi, mask, anchor); break;
        case kMax: st = ippiFilterMax_8u_C1R(pSrc, srcStep, pDst, dstStep, roi, mask, anchor); break;
    }
    expect(st == want, "unexpected status", st);
    if (st != ippStsNoErr) {
        expect(src.same(srcBefore) && dst.same(dstBefore), "written on error", st);
        return 0;
    }
    Area& out = inPlace ? src : dst;
    if (inPlace)
        expect(only_roi_written(src, srcBefore, h, int64_t{ch} * w, srcStep), "written outside the ROI");
    else
        expect(src.same(srcBefore) && only_roi_written(dst, dstBefore, h, int64_t{ch} * w, dstStep),
               "source or destination outside the ROI written");
    if (!defined) return 0;
    size_t k = 0;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w * ch; ++x)
            expect(out.at(int64_t{y} * dstStep + x) == expected[k++], box ? "box value" : "extreme value");
    return 0;
}
