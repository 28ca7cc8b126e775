// Supersampling resize: each destination pixel is the mean of the source area
// it covers. Used for reductions only.
//
// Arithmetic: separable. A source row is first reduced horizontally, then the
// rows of a destination row's footprint are accumulated vertically, all in
// float with one fixed order per output. Whole footprints (1 / factor an
// integer) add plain pixels; fractional ones weigh the partly covered edge
// pixels by the covered fraction. The four combinations are the kernel cases
// 0 (both whole), 1 (vertical fractional), 2 (horizontal fractional) and 3
// (both). Sums of whole footprints are integers below 2^24, so float holds
// them exactly. The sum is then scaled by the factors.
#include <cmath>
#include <cstddef>
#include <cstdint>

#include <emmintrin.h>
#if defined(__SSSE3__)
#include <tmmintrin.h>
#endif
#if defined(__SSE4_1__)
#include <smmintrin.h>
#endif

#include "frame/set.h"
#include "primitives/resize/geometry_kernels.h"
#include "primitives/resize/resize_engine.h"

namespace qm::QM_SET {
namespace {

// Footprints of the destination pixels along one axis.
struct Axis {
    bool whole = true;
    int* first = nullptr;    // first source index covered
    int* count = nullptr;    // number of source indices covered
    int taps = 0;            // stride of `weight` per destination index
    float* weight = nullptr; // covered fraction per source index (fractional only)
    float* scale = nullptr;  // what the sum is multiplied by

    bool build(WorkBlocks& wb, int roiLen, int out, double factor) {
        const double foot = 1.0 / factor;
        whole = foot - std::floor(foot) < 1e-7;
        first = wb.get<int>(out);
        count = wb.get<int>(out);
        scale = wb.get<float>(out);
        if (!first || !count || !scale) return false;
        if (whole) {
            const int n = static_cast<int>(foot);
            for (int i = 0; i < out; ++i) {
                int f = static_cast<int>(int64_t{i} * n < roiLen ? int64_t{i} * n : roiLen - 1);
                const int c = n < roiLen - f ? n : roiLen - f;
                first[i] = f;
                count[i] = c;
                // A footprint cut by the region's end (a one-pixel result
                // forced from just over half a pixel) is the mean of what
                // it covers rather than a darkened pixel.
                scale[i] = c == n ? static_cast<float>(factor) : 1.0f / static_cast<float>(c);
            }
            return true;
        }
        const double t = std::ceil(foot) + 1.0;
        taps = t < roiLen ? static_cast<int>(t) : roiLen;
        weight = wb.get<float>(int64_t{out} * taps);
        if (!weight) return false;
        for (int i = 0; i < out; ++i) {
            const double a = i * foot, b = (i + 1) * foot;
            const double end = b < roiLen ? b : roiLen;
            int k0 = static_cast<int>(a);
            if (k0 > roiLen - 1) k0 = roiLen - 1;
            int k1 = static_cast<int>(std::ceil(end));
            if (k1 - k0 > taps) k1 = k0 + taps;
            if (k1 <= k0) k1 = k0 + 1;
            first[i] = k0;
            count[i] = k1 - k0;
            for (int k = k0; k < k1; ++k) {
                const double lo = a > k ? a : k, hi = end < k + 1 ? end : k + 1;
                weight[int64_t{i} * taps + (k - k0)] = static_cast<float>(hi > lo ? hi - lo : 0.0);
            }
            const bool cut = b > roiLen + 1e-7;
            scale[i] = cut ? static_cast<float>(1.0 / (end - a)) : static_cast<float>(factor);
        }
        return true;
    }
};

template <int CH, bool WHOLE>
void reduce_row(const Ipp8u* p, const Axis& ax, int W, float* out) {
    for (int i = 0; i < W; ++i) {
        const Ipp8u* s = p + static_cast<ptrdiff_t>(ax.first[i]) * CH;
        const int n = ax.count[i];
        if constexpr (WHOLE) {
            int sum[CH] = {};
            for (int k = 0; k < n; ++k)
                for (int c = 0; c < CH; ++c) sum[c] += s[k * CH + c];
            for (int c = 0; c < CH; ++c) out[i * CH + c] = static_cast<float>(sum[c]);
        } else {
            const float* w = ax.weight + int64_t{i} * ax.taps;
            float sum[CH];
            for (int c = 0; c < CH; ++c) sum[c] = w[0] * s[c];
            for (int k = 1; k < n; ++k)
                for (int c = 0; c < CH; ++c) sum[c] = sum[c] + w[k] * s[k * CH + c];
            for (int c = 0; c < CH; ++c) out[i * CH + c] = sum[c];
        }
    }
}

// Halving with every footprint whole and uncut: each output is
// round_sat((sum * 0.5f) * 0.5f) of a 2 x 2 sum below 1021, and that float
// arithmetic is exact, so it equals (sum + 2) >> 2.
bool halves(const Axis& a, int n) {
    for (int i = 0; i < n; ++i)
        if (a.count[i] != 2 || a.first[i] != 2 * i || a.scale[i] != 0.5f) return false;
    return true;
}

// One destination row of W pixels from source rows r0 and r1; `avail` bytes
// are readable from the start of each, `ahead` leads to the next row pair.
template <int CH>
void halve_row(const Ipp8u* r0, const Ipp8u* r1, int W, int64_t avail, ptrdiff_t ahead, Ipp8u* d) {
    int i = 0;
    if constexpr (CH == 1) {
        // 16 outputs from 32 bytes of each row.
        const __m128i two = _mm_set1_epi16(2);
#if defined(__SSSE3__)
        const __m128i ones = _mm_set1_epi8(1);
        auto pairs = [&](const Ipp8u* p) {
            return _mm_maddubs_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)), ones);
        };
#else
        const __m128i low = _mm_set1_epi16(0x00FF);
        auto pairs = [&](const Ipp8u* p) {
            const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
            return _mm_add_epi16(_mm_and_si128(v, low), _mm_srli_epi16(v, 8));
        };
#endif
        for (; i + 16 <= W && int64_t{2} * i + 32 <= avail; i += 16) {
            const Ipp8u* a = r0 + 2 * i;
            const Ipp8u* b = r1 + 2 * i;
            prefetch_ahead(a, ahead);
            prefetch_ahead(b, ahead);
            const __m128i s0 = _mm_add_epi16(pairs(a), pairs(b)), s1 = _mm_add_epi16(pairs(a + 16), pairs(b + 16));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(d + i),
                             _mm_packus_epi16(_mm_srli_epi16(_mm_add_epi16(s0, two), 2),
                                              _mm_srli_epi16(_mm_add_epi16(s1, two), 2)));
        }
    } else {
#if defined(__SSSE3__)
        // 8 outputs (24 values) from 48 bytes of each row, read as four
        // 16-byte loads 12 bytes apart. Each load's two output pixels are
        // shuffled into byte pairs (a_c, b_c) that maddubs sums; the pair
        // lanes are placed so that three blends give the 24 values in order.
        // Lanes holding -1 indices come out zero.
        const __m128i two = _mm_set1_epi16(2), ones = _mm_set1_epi8(1);
        const __m128i m0 = _mm_setr_epi8(0, 3, 1, 4, 2, 5, 6, 9, 7, 10, 8, 11, -1, -1, -1, -1);
        const __m128i m1 = _mm_setr_epi8(2, 5, 6, 9, 7, 10, 8, 11, -1, -1, -1, -1, 0, 3, 1, 4);
        const __m128i m2 = _mm_setr_epi8(7, 10, 8, 11, -1, -1, -1, -1, 0, 3, 1, 4, 2, 5, 6, 9);
        const __m128i m3 = _mm_setr_epi8(-1, -1, -1, -1, 0, 3, 1, 4, 2, 5, 6, 9, 7, 10, 8, 11);
        auto sums = [&](int off, __m128i m) {
            const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(r0 + off));
            const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(r1 + off));
            return _mm_add_epi16(_mm_maddubs_epi16(_mm_shuffle_epi8(a, m), ones),
                                 _mm_maddubs_epi16(_mm_shuffle_epi8(b, m), ones));
        };
        for (; i + 8 <= W && int64_t{6} * i + 52 <= avail; i += 8) {
            const int o = 6 * i;
            prefetch_ahead(r0 + o, ahead);
            prefetch_ahead(r1 + o, ahead);
            const __m128i s0 = sums(o, m0), s1 = sums(o + 12, m1), s2 = sums(o + 24, m2), s3 = sums(o + 36, m3);
#if defined(__SSE4_1__)
            __m128i v0 = _mm_blend_epi16(s0, s1, 0xC0), v1 = _mm_blend_epi16(s1, s2, 0xF0),
                    v2 = _mm_blend_epi16(s2, s3, 0xFC);
#else
            const __m128i k67 = _mm_setr_epi16(0, 0, 0, 0, 0, 0, -1, -1),
                          k0123 = _mm_setr_epi16(-1, -1, -1, -1, 0, 0, 0, 0),
                          k01 = _mm_setr_epi16(-1, -1, 0, 0, 0, 0, 0, 0);
            __m128i v0 = _mm_or_si128(s0, _mm_and_si128(s1, k67));
            __m128i v1 = _mm_or_si128(_mm_and_si128(s1, k0123), _mm_andnot_si128(k0123, s2));
            __m128i v2 = _mm_or_si128(_mm_and_si128(s2, k01), s3);
#endif
            v0 = _mm_srli_epi16(_mm_add_epi16(v0, two), 2);
            v1 = _mm_srli_epi16(_mm_add_epi16(v1, two), 2);
            v2 = _mm_srli_epi16(_mm_add_epi16(v2, two), 2);
            _mm_storeu_si128(reinterpret_cast<__m128i*>(d + 3 * i), _mm_packus_epi16(v0, v1));
            _mm_storel_epi64(reinterpret_cast<__m128i*>(d + 3 * i + 16), _mm_packus_epi16(v2, v2));
        }
#else
        // Without byte shuffles: plain sums, a prefetch every 8 outputs.
        for (; i + 8 <= W; i += 8) {
            prefetch_ahead(r0 + 6 * i, ahead);
            prefetch_ahead(r1 + 6 * i, ahead);
            for (int k = i; k < i + 8; ++k) {
                const Ipp8u* a = r0 + 6 * k;
                const Ipp8u* b = r1 + 6 * k;
                Ipp8u* o = d + 3 * k;
                o[0] = static_cast<Ipp8u>((a[0] + a[3] + b[0] + b[3] + 2) >> 2);
                o[1] = static_cast<Ipp8u>((a[1] + a[4] + b[1] + b[4] + 2) >> 2);
                o[2] = static_cast<Ipp8u>((a[2] + a[5] + b[2] + b[5] + 2) >> 2);
            }
        }
#endif
    }
    for (; i < W; ++i)
        for (int c = 0; c < CH; ++c) {
            const int k = 2 * i * CH + c;
            d[i * CH + c] = static_cast<Ipp8u>((r0[k] + r0[k + CH] + r1[k] + r1[k + CH] + 2) >> 2);
        }
}

// Whole footprints of N columns from column sums: the leading destination
// pixels whose footprint has N columns (all but a cut last one). Returns how
// many were done.
template <int CH, int N>
int sum_columns(const int32_t* col, const Axis& ax, int W, float* row) {
    int i = 0;
    for (; i < W && ax.count[i] == N; ++i) {
        const int32_t* q = col + static_cast<ptrdiff_t>(ax.first[i]) * CH;
        for (int c = 0; c < CH; ++c) {
            int32_t sum = q[c];
            for (int k = 1; k < N; ++k) sum += q[k * CH + c];
            row[i * CH + c] = static_cast<float>(sum);
        }
    }
    return i;
}

}  // namespace

template <int CH>
IppStatus resize_supersample(const Ipp8u* pSrc, IppiSize srcSize, int srcStep, IppiRect roi, Ipp8u* pDst,
                             int dstStep, IppiSize dstRoiSize, double xFactor, double yFactor) {
    if (const IppStatus st = check_engine_args(pSrc, srcSize, roi, pDst, dstRoiSize, xFactor, yFactor); st != 0)
        return st;

    if (roi.width > srcSize.width - roi.x) roi.width = srcSize.width - roi.x;
    if (roi.height > srcSize.height - roi.y) roi.height = srcSize.height - roi.y;
    int W, H;
    if (!resize_extent(roi.width, xFactor, dstRoiSize.width, W) ||
        !resize_extent(roi.height, yFactor, dstRoiSize.height, H))
        return ippStsResizeNoOperationErr;

    WorkBlocks wb;
    Axis ax, ay;
    if (!ax.build(wb, roi.width, W, xFactor) || !ay.build(wb, roi.height, H, yFactor))
        return ippStsMemAllocErr;
    const int n = W * CH;
    float* row = wb.get<float>(n);
    float* acc = wb.get<float>(n);
    float* sx = wb.get<float>(n);
    if (!row || !acc || !sx) return ippStsMemAllocErr;
    for (int i = 0; i < W; ++i)
        for (int c = 0; c < CH; ++c) sx[i * CH + c] = ax.scale[i];

    const Ipp8u* origin = pSrc + static_cast<ptrdiff_t>(roi.y) * srcStep + static_cast<ptrdiff_t>(roi.x) * CH;

    if (ax.whole && ay.whole && halves(ax, W) && halves(ay, H)) {
        // Bytes readable from the region's left edge: the rest of the image row.
        const int64_t avail = (int64_t{srcSize.width} - roi.x) * CH;
        for (int j = 0; j < H; ++j) {
            const Ipp8u* r0 = origin + static_cast<ptrdiff_t>(2 * j) * srcStep;
            halve_row<CH>(r0, r0 + srcStep, W, avail, 2 * static_cast<ptrdiff_t>(srcStep),
                          pDst + static_cast<ptrdiff_t>(j) * dstStep);
        }
        return ippStsNoErr;
    }

    // Case 0 with sums that float holds exactly: adding the rows first and
    // the columns second gives the same integers, and the row additions run
    // over contiguous bytes.
    const double nx = 1.0 / xFactor + 1.0, ny = 1.0 / yFactor + 1.0;
    if (ax.whole && ay.whole && 255.0 * nx * ny < 16777216.0) {
        const int span = (ax.first[W - 1] + ax.count[W - 1]) * CH;
        int32_t* col = wb.get<int32_t>(span);
        if (!col) return ippStsMemAllocErr;
        for (int j = 0; j < H; ++j) {
            for (int k = 0; k < span; ++k) col[k] = 0;
            // The next destination row's rows lie count rows further.
            const ptrdiff_t ahead = static_cast<ptrdiff_t>(ay.count[j]) * srcStep;
            for (int r = 0; r < ay.count[j]; ++r) {
                const Ipp8u* p = origin + static_cast<ptrdiff_t>(ay.first[j] + r) * srcStep;
                for (int k0 = 0; k0 < span; k0 += 64) {
                    prefetch_ahead(p + k0, ahead);
                    const int k1 = k0 + 64 < span ? k0 + 64 : span;
                    for (int k = k0; k < k1; ++k) col[k] += p[k];
                }
            }
            int i = 0;
            switch (ax.count[0]) {  // the common footprints, unrolled
                case 2: i = sum_columns<CH, 2>(col, ax, W, row); break;
                case 3: i = sum_columns<CH, 3>(col, ax, W, row); break;
                case 4: i = sum_columns<CH, 4>(col, ax, W, row); break;
                default: break;
            }
            for (; i < W; ++i) {
                const int32_t* q = col + ax.first[i] * CH;
                for (int c = 0; c < CH; ++c) {
                    int32_t sum = 0;
                    for (int k = 0; k < ax.count[i]; ++k) sum += q[k * CH + c];
                    row[i * CH + c] = static_cast<float>(sum);
                }
            }
            round_sat_row(row, sx, ay.scale[j], pDst + static_cast<ptrdiff_t>(j) * dstStep, n);
        }
        return ippStsNoErr;
    }

    for (int j = 0; j < H; ++j) {
        for (int e = 0; e < n; ++e) acc[e] = 0.0f;
        const int r0 = ay.first[j], rn = ay.count[j];
        for (int r = 0; r < rn; ++r) {
            const Ipp8u* p = origin + static_cast<ptrdiff_t>(r0 + r) * srcStep;
            if (ax.whole)
                reduce_row<CH, true>(p, ax, W, row);
            else
                reduce_row<CH, false>(p, ax, W, row);
            if (ay.whole) {
                for (int e = 0; e < n; ++e) acc[e] = acc[e] + row[e];
            } else {
                const float w = ay.weight[int64_t{j} * ay.taps + r];
                for (int e = 0; e < n; ++e) acc[e] = acc[e] + w * row[e];
            }
        }
        round_sat_row(acc, sx, ay.scale[j], pDst + static_cast<ptrdiff_t>(j) * dstStep, n);
    }
    return ippStsNoErr;
}

template IppStatus resize_supersample<1>(const Ipp8u*, IppiSize, int, IppiRect, Ipp8u*, int, IppiSize, double,
                                         double);
template IppStatus resize_supersample<3>(const Ipp8u*, IppiSize, int, IppiRect, Ipp8u*, int, IppiSize, double,
                                         double);

}  // namespace qm::QM_SET
