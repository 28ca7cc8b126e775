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

#include <emmintrin.h>
#if defined(__SSSE3__)
#include <tmmintrin.h>
#endif

#include "frame/set.h"
#include "primitives/resize/geometry_kernels.h"
#include "primitives/resize/pixel_lanes.h"
#include "primitives/resize/resize_engine.h"

namespace qm::QM_SET {
namespace {

struct Job {
    const Ipp8u* src;  // first byte of the whole source image
    ptrdiff_t srcStep;
    int srcW, srcH;
    int roiX, roiY, roiW, roiH;  // already clipped to the image
    Ipp8u* dst;
    ptrdiff_t dstStep;
    int W, H;  // pixels actually written
    double xf, yf;
};

const Ipp8u* src_row(const Job& g, int row) { return g.src + static_cast<ptrdiff_t>(row) * g.srcStep; }
Ipp8u* dst_row(const Job& g, int row) { return g.dst + static_cast<ptrdiff_t>(row) * g.dstStep; }

// Corner-aligned mapping: the first and last destination pixels fall on the
// first and last source pixels of the region.
struct AxisMap {
    double step;
    AxisMap(int roiLen, double factor) {
        const double s = roiLen * factor;
        step = s > 1.0 ? (roiLen - 1) / (s - 1.0) : 0.0;
    }
    void at(int i, int& index, double& frac) const {
        const double c = static_cast<double>(i) * step;
        index = static_cast<int>(c + 1e-7);
        frac = c - index;
    }
};

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
    WorkBlocks wb;
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
            prefetch_ahead(s + cols[i], ahead);
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

// Tap positions of one axis: NT source indices per destination index starting
// at index + first, kept inside the image (not just the region: the pixels
// around the region are real image content and are what the edge taps
// should see).
template <int NT>
void fill_taps(int* taps, int n, const AxisMap& map, int origin, int first, int last, int scale,
               float* fracs) {
    for (int i = 0; i < n; ++i) {
        int index;
        double frac;
        map.at(i, index, frac);
        for (int k = 0; k < NT; ++k)
            taps[i * NT + k] = clamp_index(origin + index + first + k, 0, last) * scale;
        fracs[i] = static_cast<float>(frac);
    }
}

// Generic driver: per destination row fetch the NT horizontally interpolated
// source rows, then combine them vertically.
template <class B, int NT, class Horizontal, class Vertical>
IppStatus run_separable(const Job& g, WorkBlocks& wb, const int* rowTaps, int64_t len, Horizontal&& horizontal,
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
    const __m128i zero = _mm_setzero_si128(), round = _mm_set1_epi32(128);
    if constexpr (CH == 3) {
        int i = 0;
#if defined(__SSSE3__)
        // Four pixels per step: the 8-byte loads at each pixel's first tap
        // hold a0 a1 a2 b0 b1 b2; two pixels share a register and shuffles
        // form the pairs (a_c, b_c) of 12 values, four per register.
        const __m128i s0 = _mm_setr_epi8(0, -1, 3, -1, 1, -1, 4, -1, 2, -1, 5, -1, 8, -1, 11, -1);
        const __m128i s1a = _mm_setr_epi8(9, -1, 12, -1, 10, -1, 13, -1, -1, -1, -1, -1, -1, -1, -1, -1);
        const __m128i s1b = _mm_setr_epi8(-1, -1, -1, -1, -1, -1, -1, -1, 0, -1, 3, -1, 1, -1, 4, -1);
        const __m128i s2 = _mm_setr_epi8(2, -1, 5, -1, 8, -1, 11, -1, 9, -1, 12, -1, 10, -1, 13, -1);
        auto load8 = [&](int k) { return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p + taps[2 * k])); };
        for (; i + 4 <= count; i += 4) {
            prefetch_ahead(p + taps[2 * i], ahead);
            const __m128i ab01 = _mm_unpacklo_epi64(load8(i), load8(i + 1));
            const __m128i ab23 = _mm_unpacklo_epi64(load8(i + 2), load8(i + 3));
            const __m128i w = _mm_loadu_si128(reinterpret_cast<const __m128i*>(wx + 2 * i));
            __m128i r0 = _mm_madd_epi16(_mm_shuffle_epi8(ab01, s0), _mm_shuffle_epi32(w, _MM_SHUFFLE(1, 0, 0, 0)));
            __m128i r1 = _mm_madd_epi16(_mm_or_si128(_mm_shuffle_epi8(ab01, s1a), _mm_shuffle_epi8(ab23, s1b)),
                                        _mm_shuffle_epi32(w, _MM_SHUFFLE(2, 2, 1, 1)));
            __m128i r2 = _mm_madd_epi16(_mm_shuffle_epi8(ab23, s2), _mm_shuffle_epi32(w, _MM_SHUFFLE(3, 3, 3, 2)));
            r0 = _mm_srai_epi32(_mm_add_epi32(r0, round), 8);
            r1 = _mm_srai_epi32(_mm_add_epi32(r1, round), 8);
            r2 = _mm_srai_epi32(_mm_add_epi32(r2, round), 8);
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 3 * i), _mm_packs_epi32(r0, r1));
            _mm_storel_epi64(reinterpret_cast<__m128i*>(out + 3 * i + 8), _mm_packs_epi32(r2, r2));
        }
#endif
        // One pixel per step: bytes a0 a1 a2 b0 b1 b2 become pairs (a_c, b_c).
        // The fourth lane is junk and lands where the next pixel (or the row
        // buffer's slack) is written.
        for (; i < count; ++i) {
            if ((i & 3) == 0) prefetch_ahead(p + taps[2 * i], ahead);
            const __m128i v = _mm_unpacklo_epi8(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p + taps[2 * i])), zero);
            const __m128i ab = _mm_unpacklo_epi16(v, _mm_srli_si128(v, 6));
            int w;
            __builtin_memcpy(&w, wx + 2 * i, 4);
            __m128i r = _mm_madd_epi16(ab, _mm_set1_epi32(w));
            r = _mm_srai_epi32(_mm_add_epi32(r, round), 8);
            _mm_storel_epi64(reinterpret_cast<__m128i*>(out + 3 * i), _mm_packs_epi32(r, r));
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
            prefetch_ahead(p + taps[2 * i], ahead);
            __m128i v = zero;
            v = _mm_insert_epi16(v, word(0), 0);
            v = _mm_insert_epi16(v, word(1), 1);
            v = _mm_insert_epi16(v, word(2), 2);
            v = _mm_insert_epi16(v, word(3), 3);
            v = _mm_insert_epi16(v, word(4), 4);
            v = _mm_insert_epi16(v, word(5), 5);
            v = _mm_insert_epi16(v, word(6), 6);
            v = _mm_insert_epi16(v, word(7), 7);
            __m128i lo = _mm_madd_epi16(_mm_unpacklo_epi8(v, zero), _mm_loadu_si128(reinterpret_cast<const __m128i*>(wx + 2 * i)));
            __m128i hi = _mm_madd_epi16(_mm_unpackhi_epi8(v, zero), _mm_loadu_si128(reinterpret_cast<const __m128i*>(wx + 2 * i + 8)));
            lo = _mm_srai_epi32(_mm_add_epi32(lo, round), 8);
            hi = _mm_srai_epi32(_mm_add_epi32(hi, round), 8);
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), _mm_packs_epi32(lo, hi));
        }
        return i;
    }
}

template <int CH>
IppStatus run_linear(const Job& g) {
    WorkBlocks wb;
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
        const __m128i w = _mm_set1_epi32((f1 << 16) | f0), bias = _mm_set1_epi32(524288);
        int e = 0;
        for (; e + 8 <= n; e += 8) {
            const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(t0 + e));
            const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(t1 + e));
            const __m128i lo = _mm_srai_epi32(_mm_add_epi32(_mm_madd_epi16(_mm_unpacklo_epi16(a, b), w), bias), 20);
            const __m128i hi = _mm_srai_epi32(_mm_add_epi32(_mm_madd_epi16(_mm_unpackhi_epi16(a, b), w), bias), 20);
            const __m128i v = _mm_packs_epi32(lo, hi);
            _mm_storel_epi64(reinterpret_cast<__m128i*>(d + e), _mm_packus_epi16(v, v));
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

using lanes::kLanes;
using lanes::VF;
using lanes::VI;

QM_LANES_INLINE VF cubic_eval(VF t1, VF k, VF k3, VF pm, VF p0, VF p1, VF p2) {
    using namespace lanes;
    const VF d1 = fsub(p0, pm);
    const VF e = fsub(p1, p0);
    const VF d2 = fsub(e, d1);
    const VF three = fset(3.0f);
    const VF d3 = fsub(fadd(fsub(p2, fmul(three, p1)), fmul(three, p0)), pm);
    return fadd(fadd(fadd(pm, fmul(t1, d1)), fmul(k, d2)), fmul(k3, d3));
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
        return int64_t{t[0]} + lanes::kTapReach<CH, NT> <= int64_t{g.srcW} * CH;
    };
    lo = 0;
    while (lo < g.W && !direct(lo)) ++lo;
    hi = lo;
    while (hi < g.W && direct(hi)) ++hi;
}

// The separable float modes keep their row buffers planar (one plane of W
// values per channel, `plane` apart), so that the vector passes run across
// pixels; the vertical pass interleaves the channels again as it writes.
inline int plane_stride(int W) { return (W + kLanes - 1) / kLanes * kLanes; }

template <int CH>
IppStatus run_cubic(const Job& g) {
    WorkBlocks wb;
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
        int i = 0;
        for (; i < lo; ++i) one(i);
        for (; i + kLanes <= hi; i += kLanes) {
            prefetch_ahead(p + colTaps[4 * i], ahead);
            const Ipp8u* q[kLanes];
            for (int k = 0; k < kLanes; ++k) q[k] = p + colTaps[4 * (i + k)];
            lanes::TapRow<CH, 4> t;
            t.template load<true>(q, 0);
            const VF t1 = lanes::fload(cxT1 + i), k = lanes::fload(cxK + i), k3 = lanes::fload(cxK3 + i);
            lanes::unroll<CH>([&](auto c) QM_LANES_INLINE_LAMBDA {
                lanes::fstore(out + c * plane + i,
                              cubic_eval(t1, k, k3, t.template tap<c>(), t.template tap<CH + c>(),
                                         t.template tap<2 * CH + c>(), t.template tap<3 * CH + c>()));
            });
        }
        for (; i < W; ++i) one(i);
    };
    auto vertical = [&](int j, const float* const* r, Ipp8u* d) {
        const CubicCoef q = cy[j];
        const VF t1 = lanes::fset(q.t1), k = lanes::fset(q.k), k3 = lanes::fset(q.k3);
        int i = 0;
        for (; i + kLanes <= W; i += kLanes) {
            VI v[CH];
            for (int c = 0; c < CH; ++c) {
                const int e = c * plane + i;
                v[c] = lanes::round_sat(cubic_eval(t1, k, k3, lanes::fload(r[0] + e), lanes::fload(r[1] + e),
                                                   lanes::fload(r[2] + e), lanes::fload(r[3] + e)));
            }
            lanes::put_pixels<CH>(v, d + i * CH, lanes::kAllLanes);
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
    WorkBlocks wb;
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
        int i = 0;
        for (; i < lo; ++i) one(i);
        for (; i + kLanes <= hi; i += kLanes) {
            prefetch_ahead(p + colTaps[6 * i], ahead);
            const Ipp8u* q[kLanes];
            for (int k = 0; k < kLanes; ++k) q[k] = p + colTaps[6 * (i + k)];
            lanes::TapRow<CH, 6> t;
            t.template load<true>(q, 0);
            VF w[6];
            for (int k = 0; k < 6; ++k) w[k] = lanes::fload(wx + k * W + i);
            VF v[CH];
            // Taps in byte order; each channel's sum still runs left to right.
            lanes::unroll<6 * CH>([&](auto b) QM_LANES_INLINE_LAMBDA {
                constexpr int k = b / CH, c = b % CH;
                const VF term = lanes::fmul(w[k], t.template tap<b>());
                v[c] = k == 0 ? term : lanes::fadd(v[c], term);
            });
            for (int c = 0; c < CH; ++c) lanes::fstore(out + c * plane + i, v[c]);
        }
        for (; i < W; ++i) one(i);
    };
    auto vertical = [&](int j, const float* const* r, Ipp8u* d) {
        const float* w = wy + 6 * j;
        VF wv[6];
        for (int k = 0; k < 6; ++k) wv[k] = lanes::fset(w[k]);
        int i = 0;
        for (; i + kLanes <= W; i += kLanes) {
            VI v[CH];
            for (int c = 0; c < CH; ++c) {
                const int e = c * plane + i;
                VF s = lanes::fmul(wv[0], lanes::fload(r[0] + e));
                for (int k = 1; k < 6; ++k) s = lanes::fadd(s, lanes::fmul(wv[k], lanes::fload(r[k] + e)));
                v[c] = lanes::round_sat(s);
            }
            lanes::put_pixels<CH>(v, d + i * CH, lanes::kAllLanes);
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
IppStatus resize_general(const Ipp8u* pSrc, IppiSize srcSize, int srcStep, IppiRect roi, Ipp8u* pDst,
                         int dstStep, IppiSize dstRoiSize, double xFactor, double yFactor,
                         int interpolation) {
    if (const IppStatus st = check_engine_args(pSrc, srcSize, roi, pDst, dstRoiSize, xFactor, yFactor); st != 0)
        return st;
    if (interpolation != 1 && interpolation != 2 && interpolation != 4 && interpolation != 16)
        return ippStsInterpolationErr;

    // Small images cannot feed the wide kernels: lower by the whole image.
    int mode = interpolation;
    const int small = srcSize.width < srcSize.height ? srcSize.width : srcSize.height;
    if (small < 8 && mode == 16) mode = 4;
    if (small < 4 && mode == 4) mode = 2;
    if (small < 2) mode = 1;

    if (roi.width > srcSize.width - roi.x) roi.width = srcSize.width - roi.x;
    if (roi.height > srcSize.height - roi.y) roi.height = srcSize.height - roi.y;

    Job g{pSrc, srcStep, srcSize.width, srcSize.height, roi.x, roi.y, roi.width, roi.height,
          pDst, dstStep, 0, 0, xFactor, yFactor};
    if (!resize_extent(roi.width, xFactor, dstRoiSize.width, g.W) ||
        !resize_extent(roi.height, yFactor, dstRoiSize.height, g.H))
        return ippStsResizeNoOperationErr;

    switch (mode) {
        case 1: return run_nearest<CH>(g);
        case 2: return run_linear<CH>(g);
        case 4: return run_cubic<CH>(g);
        default: return run_lanczos<CH>(g);
    }
}

template <int CH>
IppStatus resize_front(const Ipp8u* pSrc, IppiSize srcSize, int srcStep, IppiRect srcRoi, Ipp8u* pDst,
                       int dstStep, IppiSize dstRoiSize, double xFactor, double yFactor,
                       int interpolation) {
    // Supersampling only reduces; asked to enlarge it falls to the general
    // engine, which refuses the code.
    if (interpolation == 8 && xFactor <= 1.0 && yFactor <= 1.0)
        return resize_supersample<CH>(pSrc, srcSize, srcStep, srcRoi, pDst, dstStep, dstRoiSize, xFactor,
                                      yFactor);
    return resize_general<CH>(pSrc, srcSize, srcStep, srcRoi, pDst, dstStep, dstRoiSize, xFactor, yFactor,
                              interpolation);
}

}  // namespace

IppStatus ippiResize_8u_C1R(const Ipp8u* pSrc, IppiSize srcSize, int srcStep, IppiRect srcRoi, Ipp8u* pDst,
                            int dstStep, IppiSize dstRoiSize, double xFactor, double yFactor,
                            int interpolation) {
    return resize_front<1>(pSrc, srcSize, srcStep, srcRoi, pDst, dstStep, dstRoiSize, xFactor, yFactor,
                           interpolation);
}

IppStatus ippiResize_8u_C3R(const Ipp8u* pSrc, IppiSize srcSize, int srcStep, IppiRect srcRoi, Ipp8u* pDst,
                            int dstStep, IppiSize dstRoiSize, double xFactor, double yFactor,
                            int interpolation) {
    return resize_front<3>(pSrc, srcSize, srcStep, srcRoi, pDst, dstStep, dstRoiSize, xFactor, yFactor,
                           interpolation);
}

}  // namespace qm::QM_SET
