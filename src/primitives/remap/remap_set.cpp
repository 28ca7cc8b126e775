// Remap of 8-bit one- and three-channel images through float coordinate maps.
//
// One pass over the destination, no work buffers. A destination pixel is
// produced only when its map position lies inside the source region
// (inclusive); otherwise it keeps whatever the caller put there.
//
// Neighbourhoods are kept inside the whole image, not the region: the region
// only decides which positions are sampled, and the pixels around it are
// real image content.
#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "frame/set.h"
#include "primitives/geometry/axis.h"
#include "primitives/geometry/weights.h"
#include "primitives/remap/remap_front.h"
#include "primitives/simd/pixels.h"

namespace qm::QM_SET {
namespace {

using namespace lanes;
using remap::Job;

// Runs of kLanes destination pixels go to `block` with the lanes inside the
// region in `mask` (lanes outside carry the region's corner so that every
// lane addresses real pixels; their results are dropped). Pixels left at the
// row's end go to `sample` one at a time.
template <class Sample, class Block>
void walk(const Job& g, Sample&& sample, Block&& block) {
    const VF xMin = all<VF>(g.xMin), yMin = all<VF>(g.yMin), xMax = all<VF>(g.xMax),
             yMax = all<VF>(g.yMax);
    const auto* mxRow = reinterpret_cast<const Ipp8u*>(g.xMap);
    const auto* myRow = reinterpret_cast<const Ipp8u*>(g.yMap);
    Ipp8u* d = g.dst;
    for (int j = 0; j < g.H; ++j) {
        const auto* mx = reinterpret_cast<const Ipp32f*>(mxRow);
        const auto* my = reinterpret_cast<const Ipp32f*>(myRow);
        int i = 0;
        for (; i + kLanes <= g.W; i += kLanes) {
            VF x = load<VF>(mx + i), y = load<VF>(my + i);
            // Ordered compares: NaN positions fail the test too.
            const VF in = bit_and(bit_and(ge(x, xMin), le(x, xMax)),
                                      bit_and(ge(y, yMin), le(y, yMax)));
            const int mask = lane_mask(in);
            if (mask == 0) continue;
            if (mask != kAllLanes) {
                x = select(in, x, xMin);
                y = select(in, y, yMin);
            }
            block(x, y, mask, d, i);
        }
        for (; i < g.W; ++i) {
            const float x = mx[i], y = my[i];
            // Written so that NaN positions fail the test too.
            if (!(x >= g.xMin && x <= g.xMax && y >= g.yMin && y <= g.yMax)) continue;
            sample(x, y, d, i);
        }
        mxRow += g.xMapStep;
        myRow += g.yMapStep;
        d += g.dstStep;
    }
}

// The lanes of `mask` one at a time, for blocks the vector code leaves alone.
template <class Sample>
void each_lane(VF x, VF y, int mask, Ipp8u* d, int i, Sample& sample) {
    float xs[kLanes], ys[kLanes];
    store(xs, x);
    store(ys, y);
    for (int k = 0; k < kLanes; ++k)
        if (mask & (1 << k)) sample(xs[k], ys[k], d, i + k);
}

// Largest first column from which `reach` bytes stay inside a source row of
// the image (-1 when none does); wide loads are used only up to it.
int wide_limit(const Job& g, int ch, int reach) {
    const int64_t rowBytes = (int64_t{g.lastX} + 1) * ch;
    return rowBytes >= reach ? static_cast<int>((rowBytes - reach) / ch) : -1;
}

const Ipp8u* src_row(const Job& g, int row) { return g.src + static_cast<ptrdiff_t>(row) * g.srcStep; }

template <int CH>
void remap_nearest(const Job& g) {
    auto sample = [&](float x, float y, Ipp8u* d, int i) {
        // Past 2^24 the region's far edge as a float may round up beyond the
        // image; the nearest pixel to such a position is the last one.
        const int col = static_cast<int>(std::min(static_cast<double>(x) + 0.5, static_cast<double>(g.lastX)));
        const int row = static_cast<int>(std::min(static_cast<double>(y) + 0.5, static_cast<double>(g.lastY)));
        const Ipp8u* p = src_row(g, row) + static_cast<ptrdiff_t>(col) * CH;
        for (int c = 0; c < CH; ++c) d[i * CH + c] = p[c];
    };
    // A copy per pixel: nothing to gain from lanes.
    walk(g, sample, [&](VF x, VF y, int mask, Ipp8u* d, int i) { each_lane(x, y, mask, d, i, sample); });
}

// Row pointers of the lanes: row ry[k], column cx[k].
template <int CH>
QM_LANES_INLINE void lane_pointers(const Job& g, const VI& cx, const VI& ry, const Ipp8u** p) {
    alignas(16) int c[kLanes], r[kLanes];
    if (g.offsets32) {
        VI col = cx;
        for (int k = 1; k < CH; ++k) col = add(col, cx);
        store(c, add(mullo(ry, static_cast<int>(g.srcStep)), col));
        for (int k = 0; k < kLanes; ++k) p[k] = g.src + c[k];
        return;
    }
    store(c, cx);
    store(r, ry);
    for (int k = 0; k < kLanes; ++k) p[k] = src_row(g, r[k]) + static_cast<ptrdiff_t>(c[k]) * CH;
}

template <int CH>
void remap_linear(const Job& g) {
    auto sample = [&](float x, float y, Ipp8u* d, int i) {
        int ix = static_cast<int>(static_cast<double>(x) + 1e-7);
        int iy = static_cast<int>(static_cast<double>(y) + 1e-7);
        float fx, fy;
        // On the last column or row the pair that ends there serves.
        if (ix < g.lastX) {
            fx = x - static_cast<float>(ix);
        } else {
            fx = 1.0f;
            ix = g.lastX - 1;
        }
        if (iy < g.lastY) {
            fy = y - static_cast<float>(iy);
        } else {
            fy = 1.0f;
            iy = g.lastY - 1;
        }
        const Ipp8u* a = src_row(g, iy) + static_cast<ptrdiff_t>(ix) * CH;
        const Ipp8u* b = a + g.srcStep;
        for (int c = 0; c < CH; ++c) {
            const float p00 = a[c], p10 = a[c + CH], p01 = b[c], p11 = b[c + CH];
            const float top = p00 + (p10 - p00) * fx;
            const float bottom = p01 + fx * (p11 - p01);
            int v = static_cast<int>(fy * (bottom - top) + 0.5f + top);
            d[i * CH + c] = static_cast<Ipp8u>(v < 0 ? 0 : v > 255 ? 255 : v);
        }
    };
    constexpr int NB = 2 * CH;
    const VI pairX = all<VI>(g.lastX - 1), pairY = all<VI>(g.lastY - 1);
    const VI wideX = all<VI>(wide_limit(g, CH, kWideReach<NB>));
    const VF one = all<VF>(1.0f), half = all<VF>(0.5f);
    auto block = [&](VF x, VF y, int mask, Ipp8u* d, int i) QM_LANES_INLINE_LAMBDA {
        VI ix = truncate_eps(x), iy = truncate_eps(y);
        VF fx = sub(x, to_float(ix)), fy = sub(y, to_float(iy));
        const VI endx = gt(ix, pairX), endy = gt(iy, pairY);
        if (any(bit_or(endx, endy))) {
            fx = select(as_float(endx), one, fx);
            fy = select(as_float(endy), one, fy);
            ix = select(endx, pairX, ix);
            iy = select(endy, pairY, iy);
        }
        const Ipp8u* p[kLanes];
        lane_pointers<CH>(g, ix, iy, p);
        LaneBytes<NB> a, b;
        if (!any(gt(ix, wideX))) {
            a.template load<true>(p, 0);
            b.template load<true>(p, g.srcStep);
        } else {
            a.template load<false>(p, 0);
            b.template load<false>(p, g.srcStep);
        }
        VI out[CH];
        unroll<CH>([&](auto c) QM_LANES_INLINE_LAMBDA {
            const VF p00 = a.template tap<c>(), p10 = a.template tap<c + CH>();
            const VF p01 = b.template tap<c>(), p11 = b.template tap<c + CH>();
            const VF top = add(p00, mul(sub(p10, p00), fx));
            const VF bottom = add(p01, mul(fx, sub(p11, p01)));
            out[c] = truncate(add(add(mul(fy, sub(bottom, top)), half), top));
        });
        put_pixels<CH>(out, d + i * CH, mask);
    };
    walk(g, sample, block);
}

// Four-point Lagrange weights.
inline void lagrange4(float t, float w[4]) {
    const float sixth = 0.16666667f, third = 0.33333334f;
    const float t2 = t * t, t3 = t2 * t;
    w[0] = ((-t * sixth + 0.5f) * t - third) * t;
    w[1] = ((t3 - t) * 0.5f + 1.0f) - t2;
    w[2] = (-t * 0.5f + 0.5f) * t2 + t;
    w[3] = (t3 - t) * sixth;
}
QM_LANES_INLINE void lagrange4(VF t, VF w[4]) {
    const VF sixth = all<VF>(0.16666667f), third = all<VF>(0.33333334f), half = all<VF>(0.5f);
    const VF t2 = mul(t, t), t3 = mul(t2, t);
    const VF neg = sub(all<VF>(-0.0f), t);  // exactly the scalar negation, zeros included
    w[0] = mul(sub(mul(add(mul(neg, sixth), half), t), third), t);
    w[1] = sub(add(mul(sub(t3, t), half), all<VF>(1.0f)), t2);
    w[2] = add(mul(add(mul(neg, half), half), t2), t);
    w[3] = mul(sub(t3, t), sixth);
}

// Catmull-Rom weights (the cubic convolution with a = -1/2): interpolating,
// first-derivative continuous, the usual sharp-but-tame choice for scans.
inline void catmull_rom4(float t, float w[4]) {
    const float t2 = t * t;
    w[0] = ((-0.5f * t + 1.0f) * t - 0.5f) * t;
    w[1] = (1.5f * t - 2.5f) * t2 + 1.0f;
    w[2] = ((-1.5f * t + 2.0f) * t + 0.5f) * t;
    w[3] = (0.5f * t - 0.5f) * t2;
}
QM_LANES_INLINE void catmull_rom4(VF t, VF w[4]) {
    const VF t2 = mul(t, t), half = all<VF>(0.5f);
    w[0] = mul(sub(mul(add(mul(all<VF>(-0.5f), t), all<VF>(1.0f)), t), half), t);
    w[1] = add(mul(sub(mul(all<VF>(1.5f), t), all<VF>(2.5f)), t2), all<VF>(1.0f));
    w[2] = mul(add(mul(add(mul(all<VF>(-1.5f), t), all<VF>(2.0f)), t), half), t);
    w[3] = mul(sub(mul(half, t), half), t2);
}

// The weights of the windowed kernels: Catmull-Rom (4 taps) or Lanczos (6),
// for a float or for lanes.
template <int NT, class T>
QM_LANES_INLINE void window_weights(T t, T* w) {
    if constexpr (NT == 4)
        catmull_rom4(t, w);
    else
        lanczos6_weights(t, w);
}

// Sum over an NT x NT neighbourhood: row by row, each row summed left to
// right, then the rows weighed top to bottom.
template <int CH, int NT>
void weigh(const Ipp8u* const* rows, const int* cols, const float* wx, const float* wy, Ipp8u* out) {
    for (int c = 0; c < CH; ++c) {
        float v = 0.0f;
        for (int r = 0; r < NT; ++r) {
            const Ipp8u* p = rows[r] + c;
            float h = wx[0] * p[cols[0]];
            for (int k = 1; k < NT; ++k) h = h + wx[k] * p[cols[k]];
            v = r == 0 ? wy[0] * h : v + wy[r] * h;
        }
        out[c] = round_sat(v);
    }
}

// The lanes' sums as weigh() forms them, from first taps p[k] whose wide
// loads stay in the rows when `wide`.
template <int CH, int NT>
QM_LANES_INLINE void weigh(const Ipp8u* const* p, ptrdiff_t step, bool wide, const VF* wx, const VF* wy, VI* out) {
    VF v[CH];
    for (int r = 0; r < NT; ++r) {
        TapRow<CH, NT> t;
        if (wide)
            t.template load<true>(p, r * step);
        else
            t.template load<false>(p, r * step);
        // Taps in byte order; each channel's sum still runs left to right.
        VF h[CH];
        unroll<NT * CH>([&](auto i) QM_LANES_INLINE_LAMBDA {
            constexpr int k = i / CH, c = i % CH;
            const VF term = mul(wx[k], t.template tap<i>());
            h[c] = k == 0 ? term : add(h[c], term);
        });
        for (int c = 0; c < CH; ++c) v[c] = r == 0 ? mul(wy[0], h[c]) : add(v[c], mul(wy[r], h[c]));
    }
    for (int c = 0; c < CH; ++c) out[c] = round_sat(v[c]);
}

template <int CH>
void remap_lagrange(const Job& g) {
    auto sample = [&](float x, float y, Ipp8u* d, int i) {
        // The neighbourhood slides to stay inside the image; the polynomial
        // is then evaluated outside 0..1.
        const int ix = static_cast<int>(static_cast<double>(x) + 1e-7);
        const int iy = static_cast<int>(static_cast<double>(y) + 1e-7);
        const int x0 = ix < 1 ? 0 : ix >= g.lastX - 1 ? g.lastX - 3 : ix - 1;
        const int y0 = iy < 1 ? 0 : iy >= g.lastY - 1 ? g.lastY - 3 : iy - 1;
        float wx[4], wy[4];
        lagrange4(x - static_cast<float>(x0 + 1), wx);
        lagrange4(y - static_cast<float>(y0 + 1), wy);
        const int cols[4] = {x0 * CH, (x0 + 1) * CH, (x0 + 2) * CH, (x0 + 3) * CH};
        const Ipp8u* rows[4] = {src_row(g, y0), src_row(g, y0 + 1), src_row(g, y0 + 2), src_row(g, y0 + 3)};
        weigh<CH, 4>(rows, cols, wx, wy, d + i * CH);
    };
    const VI zero = all<VI>(0), one = all<VI>(1), minus = all<VI>(-1);
    const VI endX = all<VI>(g.lastX - 2), lastX0 = all<VI>(g.lastX - 3);
    const VI endY = all<VI>(g.lastY - 2), lastY0 = all<VI>(g.lastY - 3);
    const VI wideX = all<VI>(wide_limit(g, CH, kTapReach<CH, 4>));
    auto block = [&](VF x, VF y, int mask, Ipp8u* d, int i) QM_LANES_INLINE_LAMBDA {
        const VI ix = truncate_eps(x), iy = truncate_eps(y);
        const VI x0 = select(lt(ix, one), zero,
                                     select(gt(ix, endX), lastX0, add(ix, minus)));
        const VI y0 = select(lt(iy, one), zero,
                                     select(gt(iy, endY), lastY0, add(iy, minus)));
        VF wx[4], wy[4];
        lagrange4(sub(x, to_float(add(x0, one))), wx);
        lagrange4(sub(y, to_float(add(y0, one))), wy);
        const Ipp8u* p[kLanes];
        lane_pointers<CH>(g, x0, y0, p);
        VI out[CH];
        weigh<CH, 4>(p, g.srcStep, !any(gt(x0, wideX)), wx, wy, out);
        put_pixels<CH>(out, d + i * CH, mask);
    };
    walk(g, sample, block);
}

template <int CH, int NT>
void remap_windowed(const Job& g) {
    auto sample = [&](float x, float y, Ipp8u* d, int i) {
        const int ix = static_cast<int>(static_cast<double>(x) + 1e-7);
        const int iy = static_cast<int>(static_cast<double>(y) + 1e-7);
        const float tx = x - static_cast<float>(ix), ty = y - static_cast<float>(iy);
        float wx[6], wy[6];
        window_weights<NT>(tx, wx);
        window_weights<NT>(ty, wy);
        constexpr int back = NT / 2 - 1;
        int cx[NT], ry[NT];
        clamped_taps<NT>(ix - back, g.lastX, cx);
        clamped_taps<NT>(iy - back, g.lastY, ry);
        int cols[NT];
        const Ipp8u* rows[NT];
        for (int k = 0; k < NT; ++k) {
            cols[k] = cx[k] * CH;
            rows[k] = src_row(g, ry[k]);
        }
        weigh<CH, NT>(rows, cols, wx, wy, d + i * CH);
    };
    constexpr int back = NT / 2 - 1;
    // Lanes whose neighbourhood lies inside the image: first tap within
    // 0 .. last - NT + 1.
    const VI lowX = all<VI>(back), highX = all<VI>(g.lastX - NT + 1 + back);
    const VI lowY = all<VI>(back), highY = all<VI>(g.lastY - NT + 1 + back);
    const VI shift = all<VI>(-back);
    const VI wideX = all<VI>(wide_limit(g, CH, kTapReach<CH, NT>));
    auto block = [&](VF x, VF y, int mask, Ipp8u* d, int i) QM_LANES_INLINE_LAMBDA {
        const VI ix = truncate_eps(x), iy = truncate_eps(y);
        const VI outside = bit_or(bit_or(gt(ix, highX), lt(ix, lowX)),
                                       bit_or(gt(iy, highY), lt(iy, lowY)));
        const int bad = lane_mask(as_float(outside));
        if (bad & mask) {
            // Clamped taps near the image edge: per pixel.
            each_lane(x, y, mask, d, i, sample);
            return;
        }
        VI x0 = add(ix, shift), y0 = add(iy, shift);
        if (bad != 0) {
            // Dropped lanes near the edge read the image's top-left corner instead.
            x0 = select(outside, all<VI>(0), x0);
            y0 = select(outside, all<VI>(0), y0);
        }
        const VF tx = sub(x, to_float(ix)), ty = sub(y, to_float(iy));
        VF wx[NT], wy[NT];
        window_weights<NT>(tx, wx);
        window_weights<NT>(ty, wy);
        const Ipp8u* p[kLanes];
        lane_pointers<CH>(g, x0, y0, p);
        VI out[CH];
        weigh<CH, NT>(p, g.srcStep, !any(gt(x0, wideX)), wx, wy, out);
        put_pixels<CH>(out, d + i * CH, mask);
    };
    walk(g, sample, block);
}

template <int CH>
IppStatus remap(const Ipp8u* pSrc, IppiSize srcSize, int srcStep, IppiRect roi, const Ipp32f* pxMap,
                int xMapStep, const Ipp32f* pyMap, int yMapStep, Ipp8u* pDst, int dstStep,
                IppiSize dstRoiSize, int interpolation) {
    Job g;
    if (const IppStatus st = remap::plan(pSrc, srcSize, srcStep, roi, pxMap, xMapStep, pyMap, yMapStep, pDst,
                                         dstStep, dstRoiSize, interpolation, CH, g);
        st != ippStsNoErr)
        return st;
    switch (g.kernel) {
        case remap::Kernel::Nearest: remap_nearest<CH>(g); break;
        case remap::Kernel::Linear: remap_linear<CH>(g); break;
        case remap::Kernel::Lagrange: remap_lagrange<CH>(g); break;
        case remap::Kernel::CatmullRom: remap_windowed<CH, 4>(g); break;
        case remap::Kernel::Lanczos: remap_windowed<CH, 6>(g); break;
    }
    return ippStsNoErr;
}

}  // namespace

IppStatus ippiRemap_8u_C1R(const Ipp8u* pSrc, IppiSize srcSize, int srcStep, IppiRect srcRoi,
                           const Ipp32f* pxMap, int xMapStep, const Ipp32f* pyMap, int yMapStep, Ipp8u* pDst,
                           int dstStep, IppiSize dstRoiSize, int interpolation) {
    return remap<1>(pSrc, srcSize, srcStep, srcRoi, pxMap, xMapStep, pyMap, yMapStep, pDst, dstStep,
                    dstRoiSize, interpolation);
}

IppStatus ippiRemap_8u_C3R(const Ipp8u* pSrc, IppiSize srcSize, int srcStep, IppiRect srcRoi,
                           const Ipp32f* pxMap, int xMapStep, const Ipp32f* pyMap, int yMapStep, Ipp8u* pDst,
                           int dstStep, IppiSize dstRoiSize, int interpolation) {
    return remap<3>(pSrc, srcSize, srcStep, srcRoi, pxMap, xMapStep, pyMap, yMapStep, pDst, dstStep,
                    dstRoiSize, interpolation);
}

}  // namespace qm::QM_SET
