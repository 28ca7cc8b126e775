// Median filters: per-channel rank median (C1, C3) and the vector median of
// colour pixels.
//
// The fixed shapes (3x3, 5x5, 3x1, 5x1, 1x3, 1x5) run compare-exchange
// networks on 16 samples at once; every other odd mask goes to the sliding
// histogram (or, one column wide, to a small sort per pixel). All paths give
// the exact median, so they agree byte for byte.
#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "frame/set.h"
#include "primitives/neighbourhood/median_network.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace qm::QM_SET {
namespace {

// ---- One body for 16 samples at a time and for single samples ---------------

struct One {};   // a single byte
#if defined(__SSE2__)
struct Sixteen {};
inline __m128i load(Sixteen, const Ipp8u* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }
inline void store(Sixteen, Ipp8u* p, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); }
inline __m128i lo(__m128i a, __m128i b) { return _mm_min_epu8(a, b); }
inline __m128i hi(__m128i a, __m128i b) { return _mm_max_epu8(a, b); }
#endif
inline Ipp8u load(One, const Ipp8u* p) { return *p; }
inline void store(One, Ipp8u* p, Ipp8u v) { *p = v; }
inline Ipp8u lo(Ipp8u a, Ipp8u b) { return a < b ? a : b; }
inline Ipp8u hi(Ipp8u a, Ipp8u b) { return a < b ? b : a; }

// Calls body(i, tag) for samples 0..n-1: whole vectors where the row is long
// enough (the last one shifted back to end at n, recomputing a few samples),
// single samples otherwise. Vector accesses then stay inside the range the
// scalar code would touch.
template <typename Body>
inline void for_samples(int n, Body&& body) {
#if defined(__SSE2__)
    if (n >= 16) {
        int i = 0;
        for (; i + 16 <= n; i += 16) body(i, Sixteen{});
        if (i < n) body(n - 16, Sixteen{});
        return;
    }
#endif
    for (int i = 0; i < n; ++i) body(i, One{});
}

template <const median_net::Network& Net, typename T, size_t... I>
inline void run_network(T* v, std::index_sequence<I...>) {
    (
        [&] {
            constexpr median_net::Cmp c = Net.c[I];
            const T a = v[c.lo], b = v[c.hi];
            if constexpr (c.keepLo) v[c.lo] = lo(a, b);
            if constexpr (c.keepHi) v[c.hi] = hi(a, b);
        }(),
        ...);
}
template <const median_net::Network& Net, typename T>
inline void run_network(T* v) {
    run_network<Net>(v, std::make_index_sequence<Net.count>{});
}

constexpr median_net::Network kSort3 = median_net::sorting_network(3);
constexpr median_net::Network kSort5 = median_net::sorting_network(5);
constexpr median_net::Network kMedian3 = median_net::median_network(3);
constexpr median_net::Network kMedian5 = median_net::median_network(5);
// 5x5 with each column of five already sorted (column-major wires).
constexpr median_net::Network kMedian25 = median_net::median_network(25, 5);

template <int M>
constexpr const median_net::Network& sort_net() {
    if constexpr (M == 3) return kSort3; else return kSort5;
}
template <int M>
constexpr const median_net::Network& median_net_of() {
    if constexpr (M == 3) return kMedian3; else return kMedian5;
}

// ---- Row (Mx1) and column (1xM) kernels ---------------------------------------

// Horizontal neighbours are k bytes apart (k = channels), vertical ones a step.
template <int M>
void line_median(const Ipp8u* src, int srcStep, Ipp8u* dst, int dstStep, IppiSize roi, int k,
                 bool horizontal) {
    const ptrdiff_t tap = horizontal ? k : srcStep;
    const int n = roi.width * k;
    for (int y = 0; y < roi.height; ++y) {
        const Ipp8u* s = src + static_cast<ptrdiff_t>(y) * srcStep - (M / 2) * tap;
        Ipp8u* d = dst + static_cast<ptrdiff_t>(y) * dstStep;
        for_samples(n, [&](int i, auto tag) {
            decltype(load(tag, s)) v[M];
            for (int j = 0; j < M; ++j) v[j] = load(tag, s + i + j * tap);
            run_network<median_net_of<M>()>(v);
            store(tag, d + i, v[M / 2]);
        });
    }
}

// ---- Square kernels (3x3, 5x5) --------------------------------------------------

// Median of nine from three sorted columns: the largest minimum, the middle
// of the middles and the smallest maximum bracket it.
template <typename T>
inline T median_of_sorted_3x3(const T* v) {  // column-major, each column ascending
    const T a = hi(hi(v[0], v[3]), v[6]);
    const T c = lo(lo(v[2], v[5]), v[8]);
    const T b = hi(lo(v[1], v[4]), lo(hi(v[1], v[4]), v[7]));
    return hi(lo(a, b), lo(hi(a, b), c));
}

// Each column of M samples is sorted once, into strip buffers, and then used
// by the M outputs that share it. Strips keep the buffers on the stack.
template <int M>
void square_median(const Ipp8u* src, int srcStep, Ipp8u* dst, int dstStep, IppiSize roi, int k) {
    constexpr int kStrip = 512;
    constexpr int kMaxHalo = (M / 2) * 3;
    alignas(16) Ipp8u col[M][kStrip + 2 * kMaxHalo + 16];
    std::memset(col, 0, sizeof col);  // tails of short strips are read, never used
    const int halo = (M / 2) * k;
    const int n = roi.width * k;
    for (int y = 0; y < roi.height; ++y) {
        const Ipp8u* rows = src + static_cast<ptrdiff_t>(y - M / 2) * srcStep;
        Ipp8u* d = dst + static_cast<ptrdiff_t>(y) * dstStep;
        for (int s0 = 0; s0 < n; s0 += kStrip) {
            const int len = std::min(kStrip, n - s0);
            const Ipp8u* base = rows + s0 - halo;
            for_samples(len + 2 * halo, [&](int i, auto tag) {
                decltype(load(tag, base)) v[M];
                for (int r = 0; r < M; ++r) v[r] = load(tag, base + static_cast<ptrdiff_t>(r) * srcStep + i);
                run_network<sort_net<M>()>(v);
                for (int r = 0; r < M; ++r) store(tag, &col[r][i], v[r]);
            });
            auto out = [&](int i, auto tag, Ipp8u* to) {
                decltype(load(tag, base)) v[M * M];
                for (int j = 0; j < M; ++j)
                    for (int r = 0; r < M; ++r) v[j * M + r] = load(tag, &col[r][i + j * k]);
                if constexpr (M == 3) {
                    store(tag, to, median_of_sorted_3x3(v));
                } else {
                    run_network<kMedian25>(v);
                    store(tag, to, v[kMedian25.out]);
                }
            };
#if defined(__SSE2__)
            if (len < 16) {
                // Whole vector over the zeroed buffer tail; keep only len bytes.
                alignas(16) Ipp8u tmp[16];
                out(0, Sixteen{}, tmp);
                std::memcpy(d + s0, tmp, static_cast<size_t>(len));
                continue;
            }
#endif
            for_samples(len, [&](int i, auto tag) { out(i, tag, d + s0 + i); });
        }
    }
}

// ---- General kernel ---------------------------------------------------------------

// Sliding 256-bin histogram with a running count of the values <= m.
void histogram_median(const Ipp8u* src, int srcStep, Ipp8u* dst, int dstStep, int width, int height,
                      int mw, int mh, int k) {
    Ipp32u hist[256] = {};
    const int64_t t = ((int64_t{mw} * mh) >> 1) + 1;
    for (int ch = 0; ch < k; ++ch) {
        for (int y = 0; y < height; ++y) {
            const Ipp8u* top = src + static_cast<ptrdiff_t>(y) * srcStep + ch;
            Ipp8u* d = dst + static_cast<ptrdiff_t>(y) * dstStep + ch;
            for (int r = 0; r < mh; ++r) {
                const Ipp8u* s = top + static_cast<ptrdiff_t>(r) * srcStep;
                for (int c = 0; c < mw; ++c) ++hist[s[static_cast<ptrdiff_t>(c) * k]];
            }
            int m = 0;
            int64_t cnt = hist[0];
            while (cnt < t) cnt += hist[++m];
            for (int x = 0; x + 1 < width; ++x) {
                d[static_cast<ptrdiff_t>(x) * k] = static_cast<Ipp8u>(m);
                const Ipp8u* s = top + static_cast<ptrdiff_t>(x) * k;
                const ptrdiff_t enter = static_cast<ptrdiff_t>(mw) * k;
                for (int r = 0; r < mh; ++r, s += srcStep) {
                    const int out = s[0], in = s[enter];
                    --hist[out];
                    ++hist[in];
                    cnt += (in <= m) - (out <= m);
                }
                if (cnt < t) {
                    while (cnt < t) cnt += hist[++m];
                } else {
                    while (cnt - hist[m] >= t) cnt -= hist[m--];
                }
            }
            d[static_cast<ptrdiff_t>(width - 1) * k] = static_cast<Ipp8u>(m);
            // Clear only the bins the last neighbourhood touched.
            const Ipp8u* s = top + static_cast<ptrdiff_t>(width - 1) * k;
            for (int r = 0; r < mh; ++r, s += srcStep)
                for (int c = 0; c < mw; ++c) hist[s[static_cast<ptrdiff_t>(c) * k]] = 0;
        }
    }
}

// One column wide: the column is copied into slots from the module heap and
// half bubble-sorted until its middle position is final.
IppStatus column_median(const Ipp8u* src, int srcStep, Ipp8u* dst, int dstStep, int width, int height,
                        int mh, int k) {
    // A request the allocator's 32-bit length cannot express fails like any
    // other allocation.
    if (int64_t{mh} * 4 > INT_MAX) return ippStsMemAllocErr;
    auto* slots = static_cast<Ipp32s*>(::ippMalloc(mh * 4));
    if (slots == nullptr) return ippStsMemAllocErr;
    const int n = width * k;
    for (int y = 0; y < height; ++y) {
        const Ipp8u* s = src + static_cast<ptrdiff_t>(y) * srcStep;
        Ipp8u* d = dst + static_cast<ptrdiff_t>(y) * dstStep;
        for (int i = 0; i < n; ++i) {
            for (int r = 0; r < mh; ++r) slots[r] = s[static_cast<ptrdiff_t>(r) * srcStep + i];
            for (int last = mh - 1; last >= mh >> 1; --last)
                for (int p = 0; p < last; ++p)
                    if (slots[p + 1] < slots[p]) std::swap(slots[p], slots[p + 1]);
            d[i] = static_cast<Ipp8u>(slots[mh >> 1]);
        }
    }
    ::ippFree(slots);
    return ippStsNoErr;
}

IppStatus general_median(const Ipp8u* topLeft, int srcStep, Ipp8u* dst, int dstStep, IppiSize roi,
                         IppiSize mask, int k) {
    if (mask.width == 1)
        return column_median(topLeft, srcStep, dst, dstStep, roi.width, roi.height, mask.height, k);
    histogram_median(topLeft, srcStep, dst, dstStep, roi.width, roi.height, mask.width, mask.height, k);
    return ippStsNoErr;
}

IppStatus median_entry(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize roi,
                       IppiSize mask, IppiPoint anchor, int k) {
    if (pSrc == nullptr || pDst == nullptr) return ippStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return ippStsSizeErr;
    if (srcStep < 1 || dstStep < 1) return ippStsStepErr;
    if (mask.width < 1 || mask.height < 1 || ((mask.width & mask.height & 1) == 0)) return ippStsMaskSizeErr;
    if (anchor.x < 0 || anchor.x >= mask.width || anchor.y < 0 || anchor.y >= mask.height)
        return ippStsAnchorErr;

    const Ipp8u* centre = pSrc + static_cast<ptrdiff_t>((mask.width >> 1) - anchor.x) * k +
                          static_cast<ptrdiff_t>((mask.height >> 1) - anchor.y) * srcStep;
    if (mask.width < 10 && mask.height < 10) {
        switch (mask.width * 10 + mask.height) {
            case 33: square_median<3>(centre, srcStep, pDst, dstStep, roi, k); return ippStsNoErr;
            case 55: square_median<5>(centre, srcStep, pDst, dstStep, roi, k); return ippStsNoErr;
            case 31: line_median<3>(centre, srcStep, pDst, dstStep, roi, k, true); return ippStsNoErr;
            case 51: line_median<5>(centre, srcStep, pDst, dstStep, roi, k, true); return ippStsNoErr;
            case 13: line_median<3>(centre, srcStep, pDst, dstStep, roi, k, false); return ippStsNoErr;
            case 15: line_median<5>(centre, srcStep, pDst, dstStep, roi, k, false); return ippStsNoErr;
            case 11:
                for (int y = 0; y < roi.height; ++y)
                    std::memcpy(pDst + static_cast<ptrdiff_t>(y) * dstStep,
                                centre + static_cast<ptrdiff_t>(y) * srcStep,
                                static_cast<size_t>(roi.width) * k);
                return ippStsNoErr;
            default: break;
        }
    }
    const Ipp8u* topLeft = centre - static_cast<ptrdiff_t>(mask.width >> 1) * k -
                           static_cast<ptrdiff_t>(mask.height >> 1) * srcStep;
    return general_median(topLeft, srcStep, pDst, dstStep, roi, mask, k);
}

// ---- Vector median ------------------------------------------------------------------

inline int l1(const Ipp8u* a, const Ipp8u* b) {
    return std::abs(a[0] - b[0]) + std::abs(a[1] - b[1]) + std::abs(a[2] - b[2]);
}

// Candidate t (row-major from the neighbourhood's top-left) of output pixel x.
inline const Ipp8u* candidate(const Ipp8u* topLeft, int srcStep, int m, int x, int t) {
    return topLeft + static_cast<ptrdiff_t>(t / m) * srcStep + 3 * static_cast<ptrdiff_t>(x + t % m);
}

// The pixel with the smallest sum of L1 distances to its neighbourhood; a
// tie goes to the earliest candidate.
void vector_median_pixel(const Ipp8u* topLeft, int srcStep, Ipp8u* d, int m, int x) {
    const int n = m * m;
    int total[25] = {};
    for (int a = 0; a < n; ++a)
        for (int b = a + 1; b < n; ++b) {
            const int dist = l1(candidate(topLeft, srcStep, m, x, a), candidate(topLeft, srcStep, m, x, b));
            total[a] += dist;
            total[b] += dist;
        }
    int best = 0;
    for (int t = 1; t < n; ++t)
        if (total[t] < total[best]) best = t;
    std::memcpy(d + 3 * static_cast<ptrdiff_t>(x), candidate(topLeft, srcStep, m, x, best), 3);
}

#if defined(__SSE2__)
// Sixteen outputs at once. The band's pixels are split into channel planes;
// the pairwise distances are summed in 16-bit lanes (at most 24 x 765).
template <int M>
void vector_median_rows(const Ipp8u* topLeft, int srcStep, Ipp8u* dst, int dstStep, IppiSize roi) {
    constexpr int N = M * M;
    constexpr int kStrip = 256;
    alignas(16) Ipp8u plane[3][M][kStrip + M];
    const __m128i zero = _mm_setzero_si128();
    for (int y = 0; y < roi.height; ++y) {
        const Ipp8u* band = topLeft + static_cast<ptrdiff_t>(y) * srcStep;
        Ipp8u* d = dst + static_cast<ptrdiff_t>(y) * dstStep;
        for (int x0 = 0; x0 < roi.width; x0 += kStrip) {
            const int len = std::min(kStrip, roi.width - x0);
            if (len < 16) {
                for (int x = x0; x < x0 + len; ++x) vector_median_pixel(band, srcStep, d, M, x);
                continue;
            }
            for (int r = 0; r < M; ++r) {
                const Ipp8u* s = band + static_cast<ptrdiff_t>(r) * srcStep + 3 * static_cast<ptrdiff_t>(x0);
                for (int i = 0; i < len + M - 1; ++i) {
                    plane[0][r][i] = s[3 * i];
                    plane[1][r][i] = s[3 * i + 1];
                    plane[2][r][i] = s[3 * i + 2];
                }
            }
            auto block = [&](int i) {
                __m128i px[3][N];
                for (int t = 0; t < N; ++t)
                    for (int c = 0; c < 3; ++c)
                        px[c][t] = _mm_loadu_si128(reinterpret_cast<const __m128i*>(&plane[c][t / M][i + t % M]));
                __m128i sumLo[N], sumHi[N];
                for (int t = 0; t < N; ++t) sumLo[t] = sumHi[t] = zero;
                for (int a = 0; a < N; ++a)
                    for (int b = a + 1; b < N; ++b) {
                        __m128i lo16 = zero, hi16 = zero;
                        for (int c = 0; c < 3; ++c) {
                            const __m128i ad = _mm_or_si128(_mm_subs_epu8(px[c][a], px[c][b]),
                                                            _mm_subs_epu8(px[c][b], px[c][a]));
                            lo16 = _mm_add_epi16(lo16, _mm_unpacklo_epi8(ad, zero));
                            hi16 = _mm_add_epi16(hi16, _mm_unpackhi_epi8(ad, zero));
                        }
                        sumLo[a] = _mm_add_epi16(sumLo[a], lo16);
                        sumLo[b] = _mm_add_epi16(sumLo[b], lo16);
                        sumHi[a] = _mm_add_epi16(sumHi[a], hi16);
                        sumHi[b] = _mm_add_epi16(sumHi[b], hi16);
                    }
                __m128i bestLo = sumLo[0], bestHi = sumHi[0], idxLo = zero, idxHi = zero;
                for (int t = 1; t < N; ++t) {
                    const __m128i tv = _mm_set1_epi16(static_cast<short>(t));
                    const __m128i ltLo = _mm_cmplt_epi16(sumLo[t], bestLo);
                    const __m128i ltHi = _mm_cmplt_epi16(sumHi[t], bestHi);
                    bestLo = _mm_min_epi16(bestLo, sumLo[t]);
                    bestHi = _mm_min_epi16(bestHi, sumHi[t]);
                    idxLo = _mm_or_si128(_mm_andnot_si128(ltLo, idxLo), _mm_and_si128(ltLo, tv));
                    idxHi = _mm_or_si128(_mm_andnot_si128(ltHi, idxHi), _mm_and_si128(ltHi, tv));
                }
                alignas(16) Ipp16s idx[16];
                _mm_store_si128(reinterpret_cast<__m128i*>(idx), idxLo);
                _mm_store_si128(reinterpret_cast<__m128i*>(idx + 8), idxHi);
                for (int j = 0; j < 16; ++j) {
                    const int x = x0 + i + j;
                    std::memcpy(d + 3 * static_cast<ptrdiff_t>(x), candidate(band, srcStep, M, x, idx[j]), 3);
                }
            };
            int i = 0;
            for (; i + 16 <= len; i += 16) block(i);
            if (i < len) block(len - 16);
        }
    }
}
#endif

template <int M>
void vector_median(const Ipp8u* topLeft, int srcStep, Ipp8u* dst, int dstStep, IppiSize roi) {
#if defined(__SSE2__)
    vector_median_rows<M>(topLeft, srcStep, dst, dstStep, roi);
#else
    for (int y = 0; y < roi.height; ++y)
        for (int x = 0; x < roi.width; ++x)
            vector_median_pixel(topLeft + static_cast<ptrdiff_t>(y) * srcStep, srcStep,
                                dst + static_cast<ptrdiff_t>(y) * dstStep, M, x);
#endif
}

}  // namespace

IppStatus ippiFilterMedian_8u_C1R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep,
                                  IppiSize dstRoiSize, IppiSize maskSize, IppiPoint anchor) {
    return median_entry(pSrc, srcStep, pDst, dstStep, dstRoiSize, maskSize, anchor, 1);
}

IppStatus ippiFilterMedian_8u_C3R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep,
                                  IppiSize dstRoiSize, IppiSize maskSize, IppiPoint anchor) {
    return median_entry(pSrc, srcStep, pDst, dstStep, dstRoiSize, maskSize, anchor, 3);
}

IppStatus ippiFilterMedianColor_8u_C3R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep,
                                       IppiSize dstRoiSize, int maskCode) {
    if (pSrc == nullptr || pDst == nullptr) return ippStsNullPtrErr;
    if (dstRoiSize.width < 1 || dstRoiSize.height < 1) return ippStsSizeErr;
    if (srcStep < 1 || dstStep < 1) return ippStsStepErr;
    if (maskCode == 33) {
        vector_median<3>(pSrc - srcStep - 3, srcStep, pDst, dstStep, dstRoiSize);
    } else if (maskCode == 55) {
        vector_median<5>(pSrc - 2 * static_cast<ptrdiff_t>(srcStep) - 6, srcStep, pDst, dstStep, dstRoiSize);
    } else {
        return ippStsMaskSizeErr;
    }
    return ippStsNoErr;
}

}  // namespace qm::QM_SET
