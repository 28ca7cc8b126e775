// Median (one and three channels), vector median and Gauss filters. The
// status follows from the arguments alone (the first failing check decides);
// an error writes nothing; a success leaves the source alone, writes only the
// ROI, and writes there the exact median, vector median or rounded Gauss sum
// of each neighbourhood. The source block holds exactly the neighbourhoods.
#include <vector>

#include "filter_ref.h"
#include "fuzz_common.h"

namespace {
using namespace qmfuzz;

enum Op { kMedianC1, kMedianC3, kMedianColor, kGaussC1, kGaussC3, kOps };

int draw_mask_side(Draw& d) {
    switch (d.range(0, 9)) {
        case 0: return d.range(1, 12);           // even sides too
        case 1: return 2 * d.range(5, 12) + 1;   // large odd
        case 2: return d.size(3);                // not positive, hostile
        default: return d.pick({1, 3, 5, 7, 9});
    }
}

int draw_code(Draw& d) {
    if (d.range(0, 3) != 0) return d.pick({33, 55});
    if (d.flip()) return int(d.bits(32));
    return d.pick({35, 53, 13, 31, 15, 51, 11, 0, -33, 77, 3333});
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Draw d(data, size);
    const int op = d.range(0, kOps - 1);
    const int ch = (op == kMedianC1 || op == kGaussC1) ? 1 : 3;
    const bool coded = op == kMedianColor || op == kGaussC1 || op == kGaussC3;
    const int w = draw_width(d, kMaxSide), h = d.size(kMaxSide);
    int mw = 0, mh = 0, code = 0;
    IppiPoint anchor{0, 0};
    if (coded) {
        code = draw_code(d);
    } else {
        mw = draw_mask_side(d);
        mh = draw_mask_side(d);
        if (d.flip())
            anchor = {mw / 2, mh / 2};
        else
            anchor = {draw_anchor(d, mw), draw_anchor(d, mh)};
    }
    const int srcStep = draw_filter_step(d, ch * (int64_t{w} + (coded ? 4 : int64_t{mw} - 1)));
    const int dstStep = draw_filter_step(d, int64_t{ch} * w);
    const int nullAt = d.range(0, 15);  // 0, 1: one pointer null
    const bool flat = d.range(0, 7) == 0;
    const uint32_t seed = d.bits(32);

    int want = ippStsNoErr;
    if (nullAt <= 1)
        want = ippStsNullPtrErr;
    else if (w < 1 || h < 1)
        want = ippStsSizeErr;
    else if (srcStep < 1 || dstStep < 1)
        want = ippStsStepErr;
    else if (coded ? (code != 33 && code != 55) : (mw < 1 || mh < 1 || !(mw & mh & 1)))
        want = ippStsMaskSizeErr;
    else if (!coded && (anchor.x < 0 || anchor.x >= mw || anchor.y < 0 || anchor.y >= mh))
        want = ippStsAnchorErr;

    // Neighbourhood of destination (x, y): columns x - ax .. x - ax + mw - 1,
    // rows likewise; the coded masks are centred.
    if (coded) {
        const int m = code == 33 ? 1 : 2;
        mw = mh = 2 * m + 1;
        anchor = {m, m};
    }
    bool full = w >= 1 && h >= 1 && srcStep >= 1 && dstStep >= 1 && mw >= 1 && mh >= 1 && anchor.x >= 0 &&
                anchor.x < mw && anchor.y >= 0 && anchor.y < mh;
    Window srcE{}, dstE{};
    if (full) {
        srcE = rows_extent(-int64_t{anchor.y}, int64_t{h} - 1 - anchor.y + mh - 1, -int64_t{anchor.x} * ch,
                           (int64_t{w} - 1 - anchor.x + mw - 1) * ch + ch - 1, srcStep);
        dstE = rows_extent(0, h - 1, 0, int64_t{ch} * w - 1, dstStep);
        full = affordable(srcE) && affordable(dstE);
    }
    const int64_t area = full ? int64_t{mw} * mh : 0;
    const int64_t work = full ? int64_t{w} * h * ch * (op == kMedianColor ? area * area / 3 : area) : 0;
    if (want == ippStsNoErr && (!full || work > kMaxWork)) return 0;  // would need real memory or time

    Area src = full ? Area(srcE, seed) : Area::tiny(seed);
    Area dst = full ? Area(dstE, ~seed) : Area::tiny(~seed);
    if (flat) src.fill(Ipp8u(seed >> 8));
    const auto srcBefore = src.snapshot(), dstBefore = dst.snapshot();
    const Ipp8u* pSrc = nullAt == 0 ? nullptr : src.ptr();
    Ipp8u* pDst = nullAt == 1 ? nullptr : dst.ptr();
    const IppiSize roi{w, h};
    IppStatus st = 0;
    switch (op) {
        case kMedianC1: st = ippiFilterMedian_8u_C1R(pSrc, srcStep, pDst, dstStep, roi, {mw, mh}, anchor); break;
        case kMedianC3: st = ippiFilterMedian_8u_C3R(pSrc, srcStep, pDst, dstStep, roi, {mw, mh}, anchor); break;
        case kMedianColor: st = ippiFilterMedianColor_8u_C3R(pSrc, srcStep, pDst, dstStep, roi, code); break;
        case kGaussC1: st = ippiFilterGauss_8u_C1R(pSrc, srcStep, pDst, dstStep, roi, code); break;
        case kGaussC3: st = ippiFilterGauss_8u_C3R(pSrc, srcStep, pDst, dstStep, roi, code); break;
    }
    expect(st == want, "unexpected status", st);
    expect(src.same(srcBefore), "source written", st);
    if (st != ippStsNoErr) {
        expect(dst.same(dstBefore), "destination written on error", st);
        return 0;
    }
    expect(only_roi_written(dst, dstBefore, h, int64_t{ch} * w, dstStep), "written outside the ROI");
    if (dstStep < int64_t{ch} * w && h > 1) return 0;  // rows overlap: the last writer wins

    const auto at = [&](int64_t col, int64_t row, int c) -> const Ipp8u& {
        return src.at(row * srcStep + col * ch + c);
    };
    std::vector<int> vals;
    std::vector<const Ipp8u*> px;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            Ipp8u* out = &dst.at(int64_t{y} * dstStep + int64_t{x} * ch);
            const int64_t left = int64_t{x} - anchor.x, top = int64_t{y} - anchor.y;
            if (op == kMedianColor) {
                px.clear();
                for (int i = 0; i < mh; ++i)
                    for (int j = 0; j < mw; ++j) px.push_back(&at(left + j, top + i, 0));
                const Ipp8u* best = px[size_t(ref::vector_median(px))];
                expect(out[0] == best[0] && out[1] == best[1] && out[2] == best[2], "vector median");
                continue;
            }
            for (int c = 0; c < ch; ++c) {
                if (op == kGaussC1 || op == kGaussC3) {
                    uint32_t s = 0;
                    for (int i = 0; i < mh; ++i)
                        for (int j = 0; j < mw; ++j)
                            s += uint32_t(mw == 3 ? ref::kGauss3[i * 3 + j] : ref::kGauss5[i * 5 + j]) *
                                 at(left + j, top + i, c);
                    const Ipp8u g = mw == 3 ? ref::gauss3_round(s) : ref::gauss5_round(s);
                    expect(out[c] == g, "gauss value");
                    if (flat) expect(out[c] == at(left, top, c), "flat image not kept");
                } else {
                    vals.clear();
                    for (int i = 0; i < mh; ++i)
                        for (int j = 0; j < mw; ++j) vals.push_back(at(left + j, top + i, c));
                    expect(out[c] == ref::median(vals), "median value");
                }
            }
        }
    return 0;
}
