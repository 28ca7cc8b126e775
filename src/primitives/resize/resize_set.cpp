// Resize of 8-bit one- and three-channel images: the entry points and the
// general engine (nearest neighbour, linear, cubic, Lanczos).
//
// Every per-pixel coordinate is computed once per call into column and row
// tables; the row loops only gather and weigh. Separable modes interpolate
// source rows horizontally into row buffers that are reused while the
// destination walks down the source.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "frame/set.h"
#include "primitives/geometry/axis.h"
#include "primitives/geometry/weights.h"
#include "primitives/resize/resize_front.h"
#include "primitives/resize/supersample.h"
#include "primitives/simd/pixels.h"
#include "primitives/simd/work.h"

namespace qm::QM_SET {
namespace {

using namespace lanes;
using resize::Job;

const Ipp8u* src_row(const Job& g, int row) { return g.src + static_cast<ptrdiff_t>(row) * g.srcStep; }
Ipp8u* dst_row(const Job& g, int row) { return g.dst + static_cast<ptrdiff_t>(row) * g.dstStep; }

// Buffers of horizontally interpolated source rows, tagged by source row.
// A destination row asks for NT rows (repeats allowed at the image edges);
// rows already present are reused, the others are interpolated into buffers
// that the current row does not need.
template <class B, int NT>
class RowCache {
public:
    RowCache(B* const* buffers) {
        for (int k = 0; k < NT; ++k) {
            buf_[k] = buffers[k];
            tag_[k] = -1;
        }
    }
    template <class Make>
    void fetch(const int* need, const B** out, Make&& make) {
        bool used[NT] = {};
        int slot[NT];
        for (int k = 0; k < NT; ++k) {
            slot[k] = -1;
            for (int b = 0; b < NT; ++b)
                if (tag_[b] == need[k]) {
                    slot[k] = b;
                    used[b] = true;
                    break;
                }
        }
        for (int k = 0; k < NT; ++k) {
            if (slot[k] >= 0) continue;
            for (int k2 = 0; k2 < k; ++k2)
                if (need[k2] == need[k]) slot[k] = slot[k2];
            if (slot[k] >= 0) continue;
            int b = 0;
            while (used[b]) ++b;
            make(need[k], buf_[b]);
            tag_[b] = need[k];
            used[b] = true;
            slot[k] = b;
        }
        for (int k = 0; k < NT; ++k) out[k] = buf_[slot[k]];
    }

private:
    B* buf_[NT];
    int tag_[NT];
};

// ---- nearest neighbour ------------------------------------------------------

template <int CH>
IppStatus run_nearest(const Job& g) {
    WorkBuffers wb;
    int* cols = wb.get<int>(g.W);
    ptrdiff_t* rows = wb.get<ptrdiff_t>(g.H);
    if (cols == nullptr || rows == nullptr) return ippStsMemAllocErr;
    // Pixel centres. The clamp only matters for a one-pixel result forced
    // from a scaled size just above half a pixel, whose centre may fall past
    // the region.
    const double sx = 1.0 / g.xf, sy = 1.0 / g.yf;
    for (int i = 0; i < g.W; ++i) {
        const int c = static_cast<int>(0.5 * sx + i * sx + 1e-7);
        cols[i] = (g.roiX + (c < g.roiW ? c : g.roiW - 1)) * CH;
    }
    for (int j = 0; j < g.H; ++j) {
        const int r = static_cast<int>(0.5 * sy + j * sy + 1e-7);
        rows[j] = static_cast<ptrdiff_t>(g.roiY + (r < g.roiH ? r : g.roiH - 1)) * g.srcStep;
    }
    for (int j = 0; j < g.H; ++j) {
        const Ipp8u* s = g.src + rows[j];
        Ipp8u* d = dst_row(g, j);
        // The next destination row's source row, fetched while this one is copied.
        const ptrdiff_t ahead = j + 1 < g.H ? rows[j + 1] - rows[j] : 0;
        int i = 0;
        for (; i + 16 <= g.W; i += 16) {
            prefetch(s + cols[i], ahead);
            for (int k = i; k < i + 16; ++k) {
                const Ipp8u* p = s + cols[k];
                for (int c = 0; c < CH; ++c) d[k * CH + c] = p[c];
            }
        }
        for (; i < g.W; ++i) {
            const Ipp8u* p = s + cols[i];
            for (int c = 0; c < CH; ++c) d[i * CH + c] = p[c];
        }
    }
    return ippStsNoErr;
}

// ---- separable modes ----------------------------------------------------------

// Generic driver: per destination row fetch the NT horizontally interpolated
// source rows, then combine them vertically.
template <class B, int NT, class Horizontal, class Vertical>
IppStatus run_separable(const Job& g, WorkBuffers& wb, const int* rowTaps, int64_t len, Horizontal&& horizontal,
                        Vertical&& vertical) {
    B* buffers[NT];
    for (int k = 0; k < NT; ++k) {
        buffers[k] = wb.get<B>(len);
        if (buffers[k] == nullptr) return ippStsMemAllocErr;
    }
    RowCache<B, NT> cache(buffers);
    const B* rows[NT];
    // A source row is interpolated once; the one the next destination row
    // will want at the same tap lies about 1 / factor rows further.
    const double perRow = 1.0 / g.yf;
    const ptrdiff_t ahead = (perRow < 1.5 ? 1 : static_cast<ptrdiff_t>(perRow + 0.5)) * g.srcStep;
    for (int j = 0; j < g.H; ++j) {
        cache.fetch(rowTaps + j * NT, rows,
                    [&](int srcRow, B* out) { horizontal(src_row(g, srcRow), out, ahead); });
        vertical(j, rows, dst_row(g, j));
    }
    return ippStsNoErr;
}

// Horizontal linear pass over the first `count` columns, exact integer
// arithmetic as in the scalar loop (pmaddwd forms w0 a + w1 b exactly).
// Returns the number of columns done.
template <int CH>
int linear_row_fast(const Ipp8u* p, const int* taps, const Ipp16s* wx, int count, Ipp16u* out, ptrdiff_t ahead) {
    const I32x4 round = all<I32x4>(128);
    if constexpr (CH == 3) {
        int i = 0;
        if constexpr (kByteShuffle) {
            // Four pixels per step: the 8-byte loads at each pixel's first tap
            // hold a0 a1 a2 b0 b1 b2; two pixels share a register and shuffles
            // form the pairs (a_c, b_c) of 12 values, four per register.
            const U8x16 s0 = lanes_of<U8x16>(0, -1, 3, -1, 1, -1, 4, -1, 2, -1, 5, -1, 8, -1, 11, -1);
            const U8x16 s1a = lanes_of<U8x16>(9, -1, 12, -1, 10, -1, 13, -1, -1, -1, -1, -1, -1, -1, -1, -1);
            const U8x16 s1b = lanes_of<U8x16>(-1, -1, -1, -1, -1, -1, -1, -1, 0, -1, 3, -1, 1, -1, 4, -1);
            const U8x16 s2 = lanes_of<U8x16>(2, -1, 5, -1, 8, -1, 11, -1, 9, -1, 12, -1, 10, -1, 13, -1);
            auto load8 = [&](int k) { return load_low8<I32x4>(p + taps[2 * k]); };
            for (; i + 4 <= count; i += 4) {
                prefetch(p + taps[2 * i], ahead);
                const U8x16 ab01 = as<U8x16>(interleave_lo64(load8(i), load8(i + 1)));
                const U8x16 ab23 = as<U8x16>(interleave_lo64(load8(i + 2), load8(i + 3)));
                const I32x4 w = load<I32x4>(wx + 2 * i);
                I32x4 r0 = madd(as<I16x8>(shuffle_bytes(ab01, s0)), as<I16x8>(pick<0, 0, 0, 1>(w)));
                I32x4 r1 = madd(as<I16x8>(bit_or(shuffle_bytes(ab01, s1a), shuffle_bytes(ab23, s1b))),
                                as<I16x8>(pick<1, 1, 2, 2>(w)));
                I32x4 r2 = madd(as<I16x8>(shuffle_bytes(ab23, s2)), as<I16x8>(pick<2, 3, 3, 3>(w)));
                r0 = sar<8>(add(r0, round));
                r1 = sar<8>(add(r1, round));
                r2 = sar<8>(add(r2, round));
                store(out + 3 * i, pack_i16(r0, r1));
                store_low8(out + 3 * i + 8, pack_i16(r2, r2));
            }
        }
        // One pixel per step: bytes a0 a1 a2 b0 b1 b2 become pairs (a_c, b_c).
        // The fourth lane is junk and lands where the next pixel (or the row
        // buffer's slack) is written.
        for (; i < count; ++i) {
            if ((i & 3) == 0) prefetch(p + taps[2 * i], ahead);
            const U16x8 v = widen_lo(load_low8<U8x16>(p + taps[2 * i]));
            const U16x8 ab = interleave_lo(v, bytes_down<6>(v));
            int w;
            std::memcpy(&w, wx + 2 * i, 4);
            I32x4 r = madd(as<I16x8>(ab), as<I16x8>(all<I32x4>(w)));
            r = sar<8>(add(r, round));
            store_low8(out + 3 * i, pack_i16(r, r));
        }
        return count;
    } else {
        // Eight pixels per step, each pixel's two taps read as one 16-bit word.
        int i = 0;
        auto word = [&](int k) {
            uint16_t w;
            std::memcpy(&w, p + taps[2 * (i + k)], 2);
            return w;
        };
        for (; i + 8 <= count; i += 8) {
            prefetch(p + taps[2 * i], ahead);
            U16x8 v = zero<U16x8>();
            unroll<8>([&](auto k) QM_LANES_INLINE_LAMBDA { v = insert<k>(v, word(k)); });
            I32x4 lo = madd(as<I16x8>(widen_lo(as<U8x16>(v))), load<I16x8>(wx + 2 * i));
            I32x4 hi = madd(as<I16x8>(widen_hi(as<U8x16>(v))), load<I16x8>(wx + 2 * i + 8));
            lo = sar<8>(add(lo, round));
            hi = sar<8>(add(hi, round));
            store(out + i, pack_i16(lo, hi));
        }
        return i;
    }
}

template <int CH>
IppStatus run_linear(const Job& g) {
    WorkBuffers wb;
    int* colTaps = wb.get<int>(int64_t{g.W} * 2);
    Ipp16s* wx = wb.get<Ipp16s>(int64_t{g.W} * 2);
    int* rowTaps = wb.get<int>(int64_t{g.H} * 2);
    Ipp16u* wy = wb.get<Ipp16u>(g.H);
    if (!colTaps || !wx || !rowTaps || !wy) return ippStsMemAllocErr;

    // Q14 weights. At the last pixel of the region the second tap is kept in
    // the image; its weight is zero there.
    const AxisMap mx(g.roiW, g.xf), my(g.roiH, g.yf);
    for (int i = 0; i < g.W; ++i) {
        int index;
        double fr;
        mx.at(i, index, fr);
        const int f = static_cast<int>(fr * 16384 + 1e-7);
        wx[2 * i] = static_cast<Ipp16s>(16384 - f);
        wx[2 * i + 1] = static_cast<Ipp16s>(f);
        colTaps[2 * i] = clamp_index(g.roiX + index, 0, g.srcW - 1) * CH;
        colTaps[2 * i + 1] = clamp_index(g.roiX + index + 1, 0, g.srcW - 1) * CH;
    }
    for (int j = 0; j < g.H; ++j) {
        int index;
        double fr;
        my.at(j, index, fr);
        wy[j] = static_cast<Ipp16u>(static_cast<int>(fr * 16384 + 1e-7));
        rowTaps[2 * j] = clamp_index(g.roiY + index, 0, g.srcH - 1);
        rowTaps[2 * j + 1] = clamp_index(g.roiY + index + 1, 0, g.srcH - 1);
    }
    const int W = g.W, n = g.W * CH;
    // Columns whose two taps are neighbours and whose 8-byte load stays in the
    // row take the vector path; taps only get clamped at the right end.
    int fast = 0;
    while (fast < W && colTaps[2 * fast + 1] == colTaps[2 * fast] + CH &&
           colTaps[2 * fast] + 8 <= g.srcW * CH)
        ++fast;
    // 6 fractional bits survive the horizontal pass: 16384 * 255 >> 8 fits 16 bits.
    auto horizontal = [&](const Ipp8u* p, Ipp16u* out, ptrdiff_t ahead) {
        const int start = linear_row_fast<CH>(p, colTaps, wx, fast, out, ahead);
        for (int i = start; i < W; ++i) {
            const Ipp8u* a = p + colTaps[2 * i];
            const Ipp8u* b = p + colTaps[2 * i + 1];
            const int w0 = wx[2 * i], w1 = wx[2 * i + 1];
            for (int c = 0; c < CH; ++c)
                out[i * CH + c] = static_cast<Ipp16u>((w0 * a[c] + w1 * b[c] + 128) >> 8);
        }
    };
    auto vertical = [&](int j, const Ipp16u* const* r, Ipp8u* d) {
        const int f1 = wy[j], f0 = 16384 - f1;
        const Ipp16u* t0 = r[0];
        const Ipp16u* t1 = r[1];
        const I16x8 w = as<I16x8>(all<I32x4>((f1 << 16) | f0));
        const I32x4 bias = all<I32x4>(524288);
        int e = 0;
        for (; e + 8 <= n; e += 8) {
            const U16x8 a = load<U16x8>(t0 + e), b = load<U16x8>(t1 + e);
            const I32x4 lo = sar<20>(add(madd(as<I16x8>(interleave_lo(a, b)), w), bias));
            const I32x4 hi = sar<20>(add(madd(as<I16x8>(interleave_hi(a, b)), w), bias));
            const I16x8 v = pack_i16(lo, hi);
            store_low8(d + e, pack_u8(v, v));
        }
        for (; e < n; ++e) d[e] = static_cast<Ipp8u>((t1[e] * f1 + t0[e] * f0 + 524288) >> 20);
    };
    // Room for C3 (3 W + 12) and C1 (W + 4).
    return run_separable<Ipp16u, 2>(g, wb, rowTaps, int64_t{g.W} * 4 + 4, horizontal, vertical);
}

// Cubic through four samples, in the forward-difference form. The three
// coefficients depend only on the fraction and are kept per column/row.
struct CubicCoef {
    float t1, k, k3;  // t + 1, t (t + 1) / 2, k (t - 1) / 3
};
inline CubicCoef cubic_coef(float t) {
    const float k = t * 0.5f * (t + 1.0f);
    return {t + 1.0f, k, k * (t - 1.0f) / 3.0f};
}
inline float cubic_eval(const CubicCoef& q, float pm, float p0, float p1, float p2) {
    const float d1 = p0 - pm;
    const float e = p1 - p0;
    const float d2 = e - d1;
    const float d3 = ((p2 - 3.0f * p1) + 3.0f * p0) - pm;
    return ((pm + q.t1 * d1) + q.k * d2) + q.k3 * d3;
}

QM_LANES_INLINE VF cubic_eval(VF t1, VF k, VF k3, VF pm, VF p0, VF p1, VF p2) {
    const VF d1 = sub(p0, pm);
    const VF e = sub(p1, p0);
    const VF d2 = sub(e, d1);
    const VF three = all<VF>(3.0f);
    const VF d3 = sub(add(sub(p2, mul(three, p1)), mul(three, p0)), pm);
    return add(add(add(pm, mul(t1, d1)), mul(k, d2)), mul(k3, d3));
}

// Columns lo .. hi - 1 have NT neighbouring taps whose wide lane loads stay
// inside the source row; the vector passes take them, the scalar code the
// clamped columns at the edges.
template <int CH, int NT>
void lane_columns(const Job& g, const int* colTaps, int& lo, int& hi) {
    auto direct = [&](int i) {
        const int* t = colTaps + NT * i;
        for (int k = 1; k < NT; ++k)
            if (t[k] != t[0] + k * CH) return false;
        return int64_t{t[0]} + kTapReach<CH, NT> <= int64_t{g.srcW} * CH;
    };
    lo = 0;
    while (lo < g.W && !direct(lo)) ++lo;
    hi = lo;
    while (hi < g.W && direct(hi)) ++hi;
}

// One horizontal pass over a source row p: the columns outside lo .. hi - 1
// go to one(i), the lanes in between to block(i, t) with the TapRow of their
// NT taps.
template <int CH, int NT, class One, class Block>
QM_LANES_INLINE void horizontal_pass(const Ipp8u* p, const int* colTaps, int lo, int hi, int W, ptrdiff_t ahead,
                                     One&& one, Block&& block) {
    int i = 0;
    for (; i < lo; ++i) one(i);
    for (; i + kLanes <= hi; i += kLanes) {
        prefetch(p + colTaps[NT * i], ahead);
        const Ipp8u* q[kLanes];
        for (int k = 0; k < kLanes; ++k) q[k] = p + colTaps[NT * (i + k)];
        TapRow<CH, NT> t;
        t.template load<true>(q, 0);
        block(i, t);
    }
    for (; i < W; ++i) one(i);
}

// The separable float modes keep their row buffers planar (one plane of W
// values per channel, `plane` apart), so that the vector passes run across
// pixels; the vertical pass interleaves the channels again as it writes.
inline int plane_stride(int W) { return (W + kLanes - 1) / kLanes * kLanes; }

template <int CH>
IppStatus run_cubic(const Job& g) {
    WorkBuffers wb;
    int* colTaps = wb.get<int>(int64_t{g.W} * 4);
    float* cx = wb.get<float>(int64_t{g.W} * 3);  // planes of t + 1, k, k3
    int* rowTaps = wb.get<int>(int64_t{g.H} * 4);
    CubicCoef* cy = wb.get<CubicCoef>(g.H);
    float* frac = wb.get<float>(g.W > g.H ? g.W : g.H);
    if (!colTaps || !cx || !rowTaps || !cy || !frac) return ippStsMemAllocErr;

    const int W = g.W, plane = plane_stride(W);
    fill_taps<4>(colTaps, W, AxisMap(g.roiW, g.xf), g.roiX, -1, g.srcW - 1, CH, frac);
    float* const cxT1 = cx;
    float* const cxK = cx + W;
    float* const cxK3 = cx + 2 * W;
    for (int i = 0; i < W; ++i) {
        const CubicCoef q = cubic_coef(frac[i]);
        cxT1[i] = q.t1;
        cxK[i] = q.k;
        cxK3[i] = q.k3;
    }
    fill_taps<4>(rowTaps, g.H, AxisMap(g.roiH, g.yf), g.roiY, -1, g.srcH - 1, 1, frac);
    for (int j = 0; j < g.H; ++j) cy[j] = cubic_coef(frac[j]);
    int lo, hi;
    lane_columns<CH, 4>(g, colTaps, lo, hi);

    auto horizontal = [&](const Ipp8u* p, float* out, ptrdiff_t ahead) {
        auto one = [&](int i) {
            const int* o = colTaps + 4 * i;
            const CubicCoef q{cxT1[i], cxK[i], cxK3[i]};
            for (int c = 0; c < CH; ++c)
                out[c * plane + i] = cubic_eval(q, p[o[0] + c], p[o[1] + c], p[o[2] + c], p[o[3] + c]);
        };
        auto block = [&](int i, const TapRow<CH, 4>& t) QM_LANES_INLINE_LAMBDA {
            const VF t1 = load<VF>(cxT1 + i), k = load<VF>(cxK + i), k3 = load<VF>(cxK3 + i);
            unroll<CH>([&](auto c) QM_LANES_INLINE_LAMBDA {
                store(out + c * plane + i, cubic_eval(t1, k, k3, t.template tap<c>(), t.template tap<CH + c>(),
                                                      t.template tap<2 * CH + c>(), t.template tap<3 * CH + c>()));
            });
        };
        horizontal_pass<CH, 4>(p, colTaps, lo, hi, W, ahead, one, block);
    };
    auto vertical = [&](int j, const float* const* r, Ipp8u* d) {
        const CubicCoef q = cy[j];
        const VF t1 = all<VF>(q.t1), k = all<VF>(q.k), k3 = all<VF>(q.k3);
        int i = 0;
        for (; i + kLanes <= W; i += kLanes) {
            VI v[CH];
            for (int c = 0; c < CH; ++c) {
                const int e = c * plane + i;
                v[c] = round_sat(cubic_eval(t1, k, k3, load<VF>(r[0] + e), load<VF>(r[1] + e),
                                                   load<VF>(r[2] + e), load<VF>(r[3] + e)));
            }
            put_pixels<CH>(v, d + i * CH, kAllLanes);
        }
        for (; i < W; ++i)
            for (int c = 0; c < CH; ++c) {
                const int e = c * plane + i;
                d[i * CH + c] = round_sat(cubic_eval(q, r[0][e], r[1][e], r[2][e], r[3][e]));
            }
    };
    return run_separable<float, 4>(g, wb, rowTaps, int64_t{plane} * CH, horizontal, vertical);
}

template <int CH>
IppStatus run_lanczos(const Job& g) {
    WorkBuffers wb;
    int* colTaps = wb.get<int>(int64_t{g.W} * 6);
    float* wx = wb.get<float>(int64_t{g.W} * 6);  // six planes: weight k of every column
    int* rowTaps = wb.get<int>(int64_t{g.H} * 6);
    float* wy = wb.get<float>(int64_t{g.H} * 6);
    float* frac = wb.get<float>(g.W > g.H ? g.W : g.H);
    if (!colTaps || !wx || !rowTaps || !wy || !frac) return ippStsMemAllocErr;

    const int W = g.W, plane = plane_stride(W);
    fill_taps<6>(colTaps, W, AxisMap(g.roiW, g.xf), g.roiX, -2, g.srcW - 1, CH, frac);
    for (int i = 0; i < W; ++i) {
        float w[6];
        lanczos6_weights(frac[i], w);
        for (int k = 0; k < 6; ++k) wx[k * W + i] = w[k];
    }
    fill_taps<6>(rowTaps, g.H, AxisMap(g.roiH, g.yf), g.roiY, -2, g.srcH - 1, 1, frac);
    for (int j = 0; j < g.H; ++j) lanczos6_weights(frac[j], wy + 6 * j);
    int lo, hi;
    lane_columns<CH, 6>(g, colTaps, lo, hi);

    auto horizontal = [&](const Ipp8u* p, float* out, ptrdiff_t ahead) {
        auto one = [&](int i) {
            const int* o = colTaps + 6 * i;
            for (int c = 0; c < CH; ++c) {
                float v = wx[i] * p[o[0] + c];
                for (int k = 1; k < 6; ++k) v = v + wx[k * W + i] * p[o[k] + c];
                out[c * plane + i] = v;
            }
        };
        auto block = [&](int i, const TapRow<CH, 6>& t) QM_LANES_INLINE_LAMBDA {
            VF w[6];
            for (int k = 0; k < 6; ++k) w[k] = load<VF>(wx + k * W + i);
            VF v[CH];
            // Taps in byte order; each channel's sum still runs left to right.
            unroll<6 * CH>([&](auto b) QM_LANES_INLINE_LAMBDA {
                constexpr int k = b / CH, c = b % CH;
                const VF term = mul(w[k], t.template tap<b>());
                v[c] = k == 0 ? term : add(v[c], term);
            });
            for (int c = 0; c < CH; ++c) store(out + c * plane + i, v[c]);
        };
        horizontal_pass<CH, 6>(p, colTaps, lo, hi, W, ahead, one, block);
    };
    auto vertical = [&](int j, const float* const* r, Ipp8u* d) {
        const float* w = wy + 6 * j;
        VF wv[6];
        for (int k = 0; k < 6; ++k) wv[k] = all<VF>(w[k]);
        int i = 0;
        for (; i + kLanes <= W; i += kLanes) {
            VI v[CH];
            for (int c = 0; c < CH; ++c) {
                const int e = c * plane + i;
                VF s = mul(wv[0], load<VF>(r[0] + e));
                for (int k = 1; k < 6; ++k) s = add(s, mul(wv[k], load<VF>(r[k] + e)));
                v[c] = round_sat(s);
            }
            put_pixels<CH>(v, d + i * CH, kAllLanes);
        }
        for (; i < W; ++i)
            for (int c = 0; c < CH; ++c) {
                const int e = c * plane + i;
                d[i * CH + c] = round_sat(
                    ((((w[0] * r[0][e] + w[1] * r[1][e]) + w[2] * r[2][e]) + w[3] * r[3][e]) + w[4] * r[4][e]) +
                    w[5] * r[5][e]);
            }
    };
    return run_separable<float, 6>(g, wb, rowTaps, int64_t{plane} * CH, horizontal, vertical);
}

template <int CH>
IppStatus run(const Job& g) {
    switch (g.engine) {
        case resize::Engine::Nearest: return run_nearest<CH>(g);
        case resize::Engine::Linear: return run_linear<CH>(g);
        case resize::Engine::Cubic: return run_cubic<CH>(g);
        case resize::Engine::Lanczos: return run_lanczos<CH>(g);
        default: return resize_supersample<CH>(g);
    }
}

template <int CH>
IppStatus resize(const Ipp8u* pSrc, IppiSize srcSize, int srcStep, IppiRect srcRoi, Ipp8u* pDst, int dstStep,
                 IppiSize dstRoiSize, double xFactor, double yFactor, int interpolation) {
    Job g;
    if (const IppStatus st = resize::plan(pSrc, srcSize, srcStep, srcRoi, pDst, dstStep, dstRoiSize, xFactor,
                                          yFactor, interpolation, g);
        st != ippStsNoErr)
        return st;
    return run<CH>(g);
}

}  // namespace

IppStatus ippiResize_8u_C1R(const Ipp8u* pSrc, IppiSize srcSize, int srcStep, IppiRect srcRoi, Ipp8u* pDst,
                            int dstStep, IppiSize dstRoiSize, double xFactor, double yFactor,
                            int interpolation) {
    return resize<1>(pSrc, srcSize, srcStep, srcRoi, pDst, dstStep, dstRoiSize, xFactor, yFactor,
                           interpolation);
}

IppStatus ippiResize_8u_C3R(const Ipp8u* pSrc, IppiSize srcSize, int srcStep, IppiRect srcRoi, Ipp8u* pDst,
                            int dstStep, IppiSize dstRoiSize, double xFactor, double yFactor,
                            int interpolation) {
    return resize<3>(pSrc, srcSize, srcStep, srcRoi, pDst, dstStep, dstRoiSize, xFactor, yFactor,
                           interpolation);
}

}  // namespace qm::QM_SET
