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
#include "primitives/resize/geometry_kernels.h"
#include "primitives/resize/pixel_lanes.h"

namespace qm::QM_SET {
namespace {

struct Job {
    const Ipp8u* src;
    ptrdiff_t srcStep;
    const Ipp32f* xMap;
    ptrdiff_t xMapStep;
    const Ipp32f* yMap;
    ptrdiff_t yMapStep;
    Ipp8u* dst;
    ptrdiff_t dstStep;
    int W, H;
    float xMin, yMin, xMax, yMax;
    int lastX, lastY;  // last column and row of the image
    bool offsets32;    // every pixel offset from src fits an int
};

using lanes::kLanes;
using lanes::VF;
using lanes::VI;

// Runs of kLanes destination pixels go to `block` with the lanes inside the
// region in `mask` (lanes outside carry the region's corner so that every
// lane addresses real pixels; their results are dropped). Pixels left at the
// row's end go to `sample` one at a time.
template <class Sample, class Block>
void walk(const Job& g, Sample&& sample, Block&& block) {
    const VF xMin = lanes::fset(g.xMin), yMin = lanes::fset(g.yMin), xMax = lanes::fset(g.xMax),
             yMax = lanes::fset(g.yMax);
    const auto* mxRow = reinterpret_cast<const Ipp8u*>(g.xMap);
    const auto* myRow = reinterpret_cast<const Ipp8u*>(g.yMap);
    Ipp8u* d = g.dst;
    for (int j = 0; j < g.H; ++j) {
        const auto* mx = reinterpret_cast<const Ipp32f*>(mxRow);
        const auto* my = reinterpret_cast<const Ipp32f*>(myRow);
        int i = 0;
        for (; i + kLanes <= g.W; i += kLanes) {
            VF x = lanes::fload(mx + i), y = lanes::fload(my + i);
            // Ordered compares: NaN positions fail the test too.
            const VF in = lanes::fand(lanes::fand(lanes::fge(x, xMin), lanes::fle(x, xMax)),
                                      lanes::fand(lanes::fge(y, yMin), lanes::fle(y, yMax)));
            const int mask = lanes::fmask(in);
            if (mask == 0) continue;
            if (mask != lanes::kAllLanes) {
                x = lanes::fselect(in, x, xMin);
                y = lanes::fselect(in, y, yMin);
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
    lanes::fstore(xs, x);
    lanes::fstore(ys, y);
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
        for (int k = 1; k < CH; ++k) col = lanes::iadd(col, cx);
        lanes::istore(c, lanes::iadd(lanes::imul(ry, static_cast<int>(g.srcStep)), col));
        for (int k = 0; k < kLanes; ++k) p[k] = g.src + c[k];
        return;
    }
    lanes::istore(c, cx);
    lanes::istore(r, ry);
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
    const VI pairX = lanes::iset(g.lastX - 1), pairY = lanes::iset(g.lastY - 1);
    const VI wideX = lanes::iset(wide_limit(g, CH, lanes::kWideReach<NB>));
    const VF one = lanes::fset(1.0f), half = lanes::fset(0.5f);
    auto block = [&](VF x, VF y, int mask, Ipp8u* d, int i) QM_LANES_INLINE_LAMBDA {
        VI ix = lanes::truncate_eps(x), iy = lanes::truncate_eps(y);
        VF fx = lanes::fsub(x, lanes::to_float(ix)), fy = lanes::fsub(y, lanes::to_float(iy));
        const VI endx = lanes::igt(ix, pairX), endy = lanes::igt(iy, pairY);
        if (lanes::iany(lanes::i_or(endx, endy))) {
            fx = lanes::fselect(lanes::fmask_of(endx), one, fx);
            fy = lanes::fselect(lanes::fmask_of(endy), one, fy);
            ix = lanes::iselect(endx, pairX, ix);
            iy = lanes::iselect(endy, pairY, iy);
        }
        const Ipp8u* p[kLanes];
        lane_pointers<CH>(g, ix, iy, p);
        lanes::LaneBytes<NB> a, b;
        if (!lanes::iany(lanes::igt(ix, wideX))) {
            a.template load<true>(p, 0);
            b.template load<true>(p, g.srcStep);
        } else {
            a.template load<false>(p, 0);
            b.template load<false>(p, g.srcStep);
        }
        VI out[CH];
        lanes::unroll<CH>([&](auto c) QM_LANES_INLINE_LAMBDA {
            const VF p00 = a.template tap<c>(), p10 = a.template tap<c + CH>();
            const VF p01 = b.template tap<c>(), p11 = b.template tap<c + CH>();
            const VF top = lanes::fadd(p00, lanes::fmul(lanes::fsub(p10, p00), fx));
            const VF bottom = lanes::fadd(p01, lanes::fmul(fx, lanes::fsub(p11, p01)));
            out[c] = lanes::truncate(lanes::fadd(lanes::fadd(lanes::fmul(fy, lanes::fsub(bottom, top)), half), top));
        });
        lanes::put_pixels<CH>(out, d + i * CH, mask);
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
    using namespace lanes;
    const VF sixth = fset(0.16666667f), third = fset(0.33333334f), half = fset(0.5f);
    const VF t2 = fmul(t, t), t3 = fmul(t2, t);
    const VF neg = fsub(fset(-0.0f), t);  // exactly the scalar negation, zeros included
    w[0] = fmul(fsub(fmul(fadd(fmul(neg, sixth), half), t), third), t);
    w[1] = fsub(fadd(fmul(fsub(t3, t), half), fset(1.0f)), t2);
    w[2] = fadd(fmul(fadd(fmul(neg, half), half), t2), t);
    w[3] = fmul(fsub(t3, t), sixth);
}

// lanczos6_weights() per lane: the same operations, table reads per lane.
QM_LANES_INLINE void lanczos6_lanes(VF t, VF w[6]) {
    using namespace lanes;
    const float* table = lanczos3_table();
    const VI last = iset(kLanczosSamples - 1);
    VF sum = fset(0.0f);
    for (int k = 0; k < 6; ++k) {
        const VF d = fsub(fset(static_cast<float>(k - 2)), t);
        const VF a = fselect(flt(d, fset(0.0f)), fsub(fset(-0.0f), d), d);
        const VF x = fmul(a, fset(100.0f));
        // Lanes at 3 or beyond weigh 0; their index is only kept in the table.
        VI i = truncate(x);
        i = iselect(igt(i, last), last, i);
        i = iselect(ilt(i, iset(0)), iset(0), i);
        alignas(32) int idx[kLanes], next[kLanes];
        istore(idx, i);
        istore(next, iadd(i, iset(1)));
        const VF t0 = fgather(table, idx), t1 = fgather(table, next);
        w[k] = fand(flt(a, fset(3.0f)), fadd(t0, fmul(fsub(t1, t0), fsub(x, to_float(i)))));
        sum = fadd(sum, w[k]);
    }
    for (int k = 0; k < 6; ++k) w[k] = fdiv(w[k], sum);
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
    using namespace lanes;
    const VF t2 = fmul(t, t), half = fset(0.5f);
    w[0] = fmul(fsub(fmul(fadd(fmul(fset(-0.5f), t), fset(1.0f)), t), half), t);
    w[1] = fadd(fmul(fsub(fmul(fset(1.5f), t), fset(2.5f)), t2), fset(1.0f));
    w[2] = fmul(fadd(fmul(fadd(fmul(fset(-1.5f), t), fset(2.0f)), t), half), t);
    w[3] = fmul(fsub(fmul(half, t), half), t2);
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
        lanes::TapRow<CH, NT> t;
        if (wide)
            t.template load<true>(p, r * step);
        else
            t.template load<false>(p, r * step);
        // Taps in byte order; each channel's sum still runs left to right.
        VF h[CH];
        lanes::unroll<NT * CH>([&](auto i) QM_LANES_INLINE_LAMBDA {
            constexpr int k = i / CH, c = i % CH;
            const VF term = lanes::fmul(wx[k], t.template tap<i>());
            h[c] = k == 0 ? term : lanes::fadd(h[c], term);
        });
        for (int c = 0; c < CH; ++c) v[c] = r == 0 ? lanes::fmul(wy[0], h[c]) : lanes::fadd(v[c], lanes::fmul(wy[r], h[c]));
    }
    for (int c = 0; c < CH; ++c) out[c] = lanes::round_sat(v[c]);
}

// Neighbourhood of NT taps from `first`: direct inside the image, clamped to
// it per tap otherwise (the edge pixel repeats).
template <int NT>
bool taps(int first, int last, int* out) {
    if (first >= 0 && first + NT - 1 <= last) {
        for (int k = 0; k < NT; ++k) out[k] = first + k;
        return true;
    }
    for (int k = 0; k < NT; ++k) out[k] = clamp_index(first + k, 0, last);
    return false;
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
    const VI zero = lanes::iset(0), one = lanes::iset(1), minus = lanes::iset(-1);
    const VI endX = lanes::iset(g.lastX - 2), lastX0 = lanes::iset(g.lastX - 3);
    const VI endY = lanes::iset(g.lastY - 2), lastY0 = lanes::iset(g.lastY - 3);
    const VI wideX = lanes::iset(wide_limit(g, CH, lanes::kTapReach<CH, 4>));
    auto block = [&](VF x, VF y, int mask, Ipp8u* d, int i) QM_LANES_INLINE_LAMBDA {
        const VI ix = lanes::truncate_eps(x), iy = lanes::truncate_eps(y);
        const VI x0 = lanes::iselect(lanes::ilt(ix, one), zero,
                                     lanes::iselect(lanes::igt(ix, endX), lastX0, lanes::iadd(ix, minus)));
        const VI y0 = lanes::iselect(lanes::ilt(iy, one), zero,
                                     lanes::iselect(lanes::igt(iy, endY), lastY0, lanes::iadd(iy, minus)));
        VF wx[4], wy[4];
        lagrange4(lanes::fsub(x, lanes::to_float(lanes::iadd(x0, one))), wx);
        lagrange4(lanes::fsub(y, lanes::to_float(lanes::iadd(y0, one))), wy);
        const Ipp8u* p[kLanes];
        lane_pointers<CH>(g, x0, y0, p);
        VI out[CH];
        weigh<CH, 4>(p, g.srcStep, !lanes::iany(lanes::igt(x0, wideX)), wx, wy, out);
        lanes::put_pixels<CH>(out, d + i * CH, mask);
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
        if constexpr (NT == 4) {
            catmull_rom4(tx, wx);
            catmull_rom4(ty, wy);
        } else {
            lanczos6_weights(tx, wx);
            lanczos6_weights(ty, wy);
        }
        constexpr int back = NT / 2 - 1;
        int cx[NT], ry[NT];
        taps<NT>(ix - back, g.lastX, cx);
        taps<NT>(iy - back, g.lastY, ry);
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
    const VI lowX = lanes::iset(back), highX = lanes::iset(g.lastX - NT + 1 + back);
    const VI lowY = lanes::iset(back), highY = lanes::iset(g.lastY - NT + 1 + back);
    const VI shift = lanes::iset(-back);
    const VI wideX = lanes::iset(wide_limit(g, CH, lanes::kTapReach<CH, NT>));
    auto block = [&](VF x, VF y, int mask, Ipp8u* d, int i) QM_LANES_INLINE_LAMBDA {
        const VI ix = lanes::truncate_eps(x), iy = lanes::truncate_eps(y);
        const VI outside = lanes::i_or(lanes::i_or(lanes::igt(ix, highX), lanes::ilt(ix, lowX)),
                                       lanes::i_or(lanes::igt(iy, highY), lanes::ilt(iy, lowY)));
        const int bad = lanes::fmask(lanes::fmask_of(outside));
        if (bad & mask) {
            // Clamped taps near the image edge: per pixel.
            each_lane(x, y, mask, d, i, sample);
            return;
        }
        VI x0 = lanes::iadd(ix, shift), y0 = lanes::iadd(iy, shift);
        if (bad != 0) {
            // Dropped lanes near the edge read the image's top-left corner instead.
            x0 = lanes::iselect(outside, lanes::iset(0), x0);
            y0 = lanes::iselect(outside, lanes::iset(0), y0);
        }
        const VF tx = lanes::fsub(x, lanes::to_float(ix)), ty = lanes::fsub(y, lanes::to_float(iy));
        VF wx[NT], wy[NT];
        if constexpr (NT == 4) {
            catmull_rom4(tx, wx);
            catmull_rom4(ty, wy);
        } else {
            lanczos6_lanes(tx, wx);
            lanczos6_lanes(ty, wy);
        }
        const Ipp8u* p[kLanes];
        lane_pointers<CH>(g, x0, y0, p);
        VI out[CH];
        weigh<CH, NT>(p, g.srcStep, !lanes::iany(lanes::igt(x0, wideX)), wx, wy, out);
        lanes::put_pixels<CH>(out, d + i * CH, mask);
    };
    walk(g, sample, block);
}

template <int CH>
IppStatus remap(const Ipp8u* pSrc, IppiSize srcSize, int srcStep, IppiRect roi, const Ipp32f* pxMap,
                int xMapStep, const Ipp32f* pyMap, int yMapStep, Ipp8u* pDst, int dstStep,
                IppiSize dstRoiSize, int interpolation) {
    if (pSrc == nullptr || pDst == nullptr || pxMap == nullptr || pyMap == nullptr) return ippStsNullPtrErr;
    if (srcSize.width < 1 || srcSize.height < 1 || roi.x < 0 || roi.y < 0 || roi.width < 1 ||
        roi.height < 1 || dstRoiSize.width < 1 || dstRoiSize.height < 1)
        return ippStsSizeErr;
    int code = static_cast<int>(static_cast<unsigned>(interpolation) & 0x7FFFFFFFu);
    if (code != 1 && code != 2 && code != 4 && code != 6 && code != 16) return ippStsInterpolationErr;
    if (srcStep <= 0 || dstStep <= 0 || xMapStep <= 0 || yMapStep <= 0) return ippStsStepErr;
    if (roi.x >= srcSize.width || roi.y >= srcSize.height) return ippStsNoRoiOverlap;

    if (roi.width > srcSize.width - roi.x) roi.width = srcSize.width - roi.x;
    if (roi.height > srcSize.height - roi.y) roi.height = srcSize.height - roi.y;

    const int small = srcSize.width < srcSize.height ? srcSize.width : srcSize.height;
    if (small < 6 && code == 16) code = 4;
    if (small < 4) {
        if (code == 4 || code == 6) code = 2;
        if (small == 1) code = 1;
    }

    const Job g{pSrc,
                srcStep,
                pxMap,
                xMapStep,
                pyMap,
                yMapStep,
                pDst,
                dstStep,
                dstRoiSize.width,
                dstRoiSize.height,
                static_cast<float>(roi.x),
                static_cast<float>(roi.y),
                static_cast<float>(roi.x + roi.width - 1),
                static_cast<float>(roi.y + roi.height - 1),
                srcSize.width - 1,
                srcSize.height - 1,
                (int64_t{srcSize.height} - 1) * srcStep + int64_t{srcSize.width} * CH <= INT32_MAX};
    // The smooth-edge flag (top bit) selects the same kernels: positions
    // outside the region are skipped either way, and inside it the plain
    // kernels already keep every neighbourhood within the image, so there is
    // no edge artefact left for a second kernel set to soften.
    switch (code) {
        case 1: remap_nearest<CH>(g); break;
        case 2: remap_linear<CH>(g); break;
        case 4: remap_lagrange<CH>(g); break;
        case 6: remap_windowed<CH, 4>(g); break;
        default: remap_windowed<CH, 6>(g); break;
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
