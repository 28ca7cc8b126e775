// Fixed-kernel linear filters, integer and float kernels, one and three
// channels. The status follows from the arguments alone (the first failing
// check decides); an error writes nothing; a success writes exactly the ROI
// with the bytes of a direct convolution (every integer kernel, and float
// kernels whose sums are exact in single precision) and leaves source and
// kernel alone. Anchors are not validated and only move the window, so the
// source block is sized from the window actually read.
#include <cstring>

#include "filter_ref.h"
#include "fuzz_common.h"

namespace {
using namespace qmfuzz;

int draw_kernel_side(Draw& d) {
    switch (d.range(0, 9)) {
        case 0: return d.range(8, 40);    // with the other side: past the vector paths' tap limit
        case 1: return d.range(100, 700); // too tall for the float row ring
        case 2: return d.size(3);         // sometimes not positive or hostile
        default: return d.range(1, 7);
    }
}

int draw_divisor(Draw& d) {
    if (d.range(0, 3) == 0) return int(d.bits(32));
    return d.pick({1, 2, 4, 8, 256, 65536, 1 << 30, 3, 5, 9, 49, 65535, -1, -2, -4, -65536, 0, INT32_MIN,
                   INT32_MAX});
}

// Kernel modes: 0 small weights (float: multiples of 1/16, so every sum is
// exact), 1 16.16-sized weights (float: any value in -2..2), 2 anything
// (float: with infinities, NaN and huge values).
Ipp32s int_weight(Draw& d, int mode) {
    if (mode == 0) return d.range(-4, 4);
    if (mode == 1) return d.range(-70000, 70000);
    return Ipp32s(d.bits(32));
}

float float_weight(Draw& d, int mode) {
    if (mode == 0) return float(d.range(-64, 64)) / 16.0f;
    if (mode == 1) return d.real(-2.0f, 2.0f);
    return d.pick({INFINITY, -INFINITY, NAN, 1e30f, -1e30f, 0.0f, 1.0f, -0.5f, 255.5f});
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Draw d(data, size);
    const int variant = d.range(0, 3);
    const bool isInt = variant < 2;
    const int ch = (variant & 1) ? 3 : 1;
    const int w = draw_width(d, kMaxSide), h = d.size(kMaxSide);
    const int kw = draw_kernel_side(d), kh = draw_kernel_side(d);
    const IppiPoint anchor{draw_anchor(d, kw), draw_anchor(d, kh)};
    const int divisor = draw_divisor(d);
    const int srcStep = draw_filter_step(d, ch * (int64_t{w} + kw - 1));
    const int dstStep = draw_filter_step(d, int64_t{ch} * w);
    const int nullAt = d.range(0, 15);  // 0..2: one pointer null
    const int kmode = d.range(0, 2);
    const uint32_t seed = d.bits(32);

    int want = ippStsNoErr;
    if (nullAt <= 2)
        want = ippStsNullPtrErr;
    else if (w < 1 || h < 1 || kw < 1 || kh < 1)
        want = ippStsSizeErr;
    else if (isInt && divisor == 0)
        want = ippStsDivisorErr;
    else if (srcStep < ch * (int64_t{w} + kw - 1) || dstStep < int64_t{ch} * w)
        want = ippStsStepErr;

    // The window of output (0, 0) starts anchor - (kernel - 1) away from pSrc.
    bool full = w >= 1 && h >= 1 && kw >= 1 && kh >= 1 && srcStep >= 1 && dstStep >= 1;
    Window srcE{}, dstE{};
    const int64_t taps = full ? int64_t{kw} * kh : 1;
    if (full) {
        const int64_t dx = int64_t{anchor.x} - (kw - 1), dy = int64_t{anchor.y} - (kh - 1);
        srcE = rows_extent(dy, dy + h + kh - 2, dx * ch, (dx + w + kw - 1) * ch - 1, srcStep);
        dstE = rows_extent(0, h - 1, 0, int64_t{ch} * w - 1, dstStep);
        full = affordable(srcE) && affordable(dstE) && taps * 4 <= kMaxAreaBytes;
    }
    const int64_t work = full ? taps * w * h * ch : 0;
    if (want == ippStsNoErr && (!full || work > kMaxWork)) return 0;  // would need real memory or time

    Area src = full ? Area(srcE, seed) : Area::tiny(seed);
    Area dst = full ? Area(dstE, seed ^ 0x5a5a5a5au) : Area::tiny(seed ^ 0x5a5a5a5au);
    Area ker = full ? Area({0, taps * 4 - 1}, seed + 7) : Area::tiny(seed + 7, 4);
    if (full) {
        for (int64_t t = 0; t < taps; ++t) {
            if (isInt) {
                const Ipp32s v = int_weight(d, kmode);
                std::memcpy(&ker.at(t * 4), &v, 4);
            } else {
                const float v = float_weight(d, kmode);
                std::memcpy(&ker.at(t * 4), &v, 4);
            }
        }
    }
    const auto srcBefore = src.snapshot(), dstBefore = dst.snapshot(), kerBefore = ker.snapshot();

    const Ipp8u* pSrc = nullAt == 0 ? nullptr : src.ptr();
    Ipp8u* pDst = nullAt == 1 ? nullptr : dst.ptr();
    const void* pKer = nullAt == 2 ? nullptr : ker.ptr();
    const IppiSize roi{w, h}, ks{kw, kh};
    IppStatus st;
    if (isInt) {
        const auto* k = static_cast<const Ipp32s*>(pKer);
        st = ch == 1 ? ippiFilter_8u_C1R(pSrc, srcStep, pDst, dstStep, roi, k, ks, anchor, divisor)
                     : ippiFilter_8u_C3R(pSrc, srcStep, pDst, dstStep, roi, k, ks, anchor, divisor);
    } else {
        const auto* k = static_cast<const Ipp32f*>(pKer);
        st = ch == 1 ? ippiFilter32f_8u_C1R(pSrc, srcStep, pDst, dstStep, roi, k, ks, anchor)
                     : ippiFilter32f_8u_C3R(pSrc, srcStep, pDst, dstStep, roi, k, ks, anchor);
    }
    expect(st == want, "unexpected status", st);
    expect(src.same(srcBefore) && ker.same(kerBefore), "source or kernel written", st);
    if (st != ippStsNoErr) {
        expect(dst.same(dstBefore), "destination written on error", st);
        return 0;
    }
    expect(only_roi_written(dst, dstBefore, h, int64_t{ch} * w, dstStep), "written outside the ROI");

    // Float sums are only pinned down when exact (free order of additions).
    const bool exact = isInt || (kmode == 0 && taps <= 1000);
    if (!exact) return 0;
    std::vector<Ipp32s> ki(static_cast<size_t>(taps));
    std::vector<float> kf(static_cast<size_t>(taps));
    std::memcpy(isInt ? static_cast<void*>(ki.data()) : static_cast<void*>(kf.data()), &ker.at(0),
                size_t(taps) * 4);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            for (int c = 0; c < ch; ++c) {
                uint32_t si = 0;
                double sf = 0.0;
                for (int i = 0; i < kh; ++i)
                    for (int j = 0; j < kw; ++j) {
                        const int64_t col = int64_t{x} + anchor.x - j, row = int64_t{y} + anchor.y - i;
                        const Ipp8u p = src.at(row * srcStep + col * ch + c);
                        if (isInt)
                            si += uint32_t(ki[size_t(i * kw + j)]) * p;
                        else
                            sf += double(kf[size_t(i * kw + j)]) * p;
                    }
                const Ipp8u want8 = isInt ? ref::divide(int32_t(si), divisor) : ref::to_u8(float(sf));
                expect(dst.at(int64_t{y} * dstStep + int64_t{x} * ch + c) == want8, "filtered value");
            }
    return 0;
}
