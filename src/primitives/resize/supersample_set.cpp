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

#include "frame/set.h"
#include "primitives/geometry/axis.h"
#include "primitives/resize/supersample.h"
#include "primitives/simd/lanes.h"
#include "primitives/simd/work.h"

namespace qm::QM_SET {
namespace {

using namespace lanes;
using resize::Job;

// Footprints of the destination pixels along one axis.
struct Axis {
    bool whole = true;
    int* first = nullptr;    // first source index covered
    int* count = nullptr;    // number of source indices covered
    int taps = 0;            // stride of `weight` per destination index
    float* weight = nullptr; // covered fraction per source index (fractional only)
    float* scale = nullptr;  // what the sum is multiplied by

    bool build(WorkBuffers& wb, int roiLen, int out, double factor) {
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

// 16 outputs of a one-channel row pair from 32 bytes of each row.
QM_LANES_INLINE void halve16_c1(const Ipp8u* a, const Ipp8u* b, Ipp8u* d) {
    const U16x8 two = all<U16x8>(2);
    const U16x8 s0 = add(add_pairs(load<U8x16>(a)), add_pairs(load<U8x16>(b)));
    const U16x8 s1 = add(add_pairs(load<U8x16>(a + 16)), add_pairs(load<U8x16>(b + 16)));
    store(d, pack_u8(shr<2>(add(s0, two)), shr<2>(add(s1, two))));
}

// 8 outputs (24 values) of a three-channel row pair from 48 bytes of each
// row, read as four 16-byte loads 12 bytes apart. Each load's two output
// pixels are shuffled into byte pairs (a_c, b_c) whose sums land in lanes
// placed so that three blends give the 24 values in order. Lanes holding -1
// indices come out zero.
[[maybe_unused]] QM_LANES_INLINE void halve8_c3(const Ipp8u* r0, const Ipp8u* r1, Ipp8u* d) {
    const U16x8 two = all<U16x8>(2);
    const U8x16 m0 = lanes_of<U8x16>(0, 3, 1, 4, 2, 5, 6, 9, 7, 10, 8, 11, -1, -1, -1, -1);
    const U8x16 m1 = lanes_of<U8x16>(2, 5, 6, 9, 7, 10, 8, 11, -1, -1, -1, -1, 0, 3, 1, 4);
    const U8x16 m2 = lanes_of<U8x16>(7, 10, 8, 11, -1, -1, -1, -1, 0, 3, 1, 4, 2, 5, 6, 9);
    const U8x16 m3 = lanes_of<U8x16>(-1, -1, -1, -1, 0, 3, 1, 4, 2, 5, 6, 9, 7, 10, 8, 11);
    auto sums = [&](int off, U8x16 m) QM_LANES_INLINE_LAMBDA {
        return add(add_pairs(shuffle_bytes(load<U8x16>(r0 + off), m)),
                   add_pairs(shuffle_bytes(load<U8x16>(r1 + off), m)));
    };
    const U16x8 s0 = sums(0, m0), s1 = sums(12, m1), s2 = sums(24, m2), s3 = sums(36, m3);
    const U16x8 v0 = shr<2>(add(blend<0xC0>(s0, s1), two));
    const U16x8 v1 = shr<2>(add(blend<0xF0>(s1, s2), two));
    const U16x8 v2 = shr<2>(add(blend<0xFC>(s2, s3), two));
    store(d, pack_u8(v0, v1));
    store_low8(d + 16, pack_u8(v2, v2));
}

// One output pixel of a row pair: the rounded mean of its 2 x 2 block.
template <int CH>
QM_LANES_INLINE void halve1(const Ipp8u* r0, const Ipp8u* r1, int i, Ipp8u* d) {
    for (int c = 0; c < CH; ++c) {
        const int k = 2 * i * CH + c;
        d[i * CH + c] = static_cast<Ipp8u>((r0[k] + r0[k + CH] + r1[k] + r1[k + CH] + 2) >> 2);
    }
}

// One destination row of W pixels from source rows r0 and r1; `avail` bytes
// are readable from the start of each, `ahead` leads to the next row pair.
template <int CH>
void halve_row(const Ipp8u* r0, const Ipp8u* r1, int W, int64_t avail, ptrdiff_t ahead, Ipp8u* d) {
    int i = 0;
    if constexpr (CH == 1) {
        for (; i + 16 <= W && int64_t{2} * i + 32 <= avail; i += 16) {
            prefetch(r0 + 2 * i, ahead);
            prefetch(r1 + 2 * i, ahead);
            halve16_c1(r0 + 2 * i, r1 + 2 * i, d + i);
        }
    } else if constexpr (kByteShuffle) {
        for (; i + 8 <= W && int64_t{6} * i + 52 <= avail; i += 8) {
            prefetch(r0 + 6 * i, ahead);
            prefetch(r1 + 6 * i, ahead);
            halve8_c3(r0 + 6 * i, r1 + 6 * i, d + 3 * i);
        }
    } else {
        // Without byte shuffles: plain sums, a prefetch every 8 outputs.
        for (; i + 8 <= W; i += 8) {
            prefetch(r0 + 6 * i, ahead);
            prefetch(r1 + 6 * i, ahead);
            for (int k = i; k < i + 8; ++k) halve1<CH>(r0, r1, k, d);
        }
    }
    for (; i < W; ++i) halve1<CH>(r0, r1, i, d);
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

const Ipp8u* region_row(const Job& g, int CH, int row) {
    return g.src + static_cast<ptrdiff_t>(g.roiY + row) * g.srcStep + static_cast<ptrdiff_t>(g.roiX) * CH;
}
Ipp8u* dst_row(const Job& g, int row) { return g.dst + static_cast<ptrdiff_t>(row) * g.dstStep; }

// Halving, every footprint whole and uncut.
template <int CH>
void halve_all(const Job& g) {
    // Bytes readable from the region's left edge: the rest of the image row.
    const int64_t avail = (int64_t{g.srcW} - g.roiX) * CH;
    for (int j = 0; j < g.H; ++j) {
        const Ipp8u* r0 = region_row(g, CH, 2 * j);
        halve_row<CH>(r0, r0 + g.srcStep, g.W, avail, 2 * g.srcStep, dst_row(g, j));
    }
}

// Case 0 with sums that float holds exactly: adding the rows first and the
// columns second gives the same integers, and the row additions run over
// contiguous bytes.
template <int CH>
IppStatus column_sums(const Job& g, WorkBuffers& wb, const Axis& ax, const Axis& ay, float* row, const float* sx) {
    const int W = g.W, n = W * CH;
    const int span = (ax.first[W - 1] + ax.count[W - 1]) * CH;
    int32_t* col = wb.get<int32_t>(span);
    if (!col) return ippStsMemAllocErr;
    for (int j = 0; j < g.H; ++j) {
        for (int k = 0; k < span; ++k) col[k] = 0;
        // The next destination row's rows lie count rows further.
        const ptrdiff_t ahead = static_cast<ptrdiff_t>(ay.count[j]) * g.srcStep;
        for (int r = 0; r < ay.count[j]; ++r) {
            const Ipp8u* p = region_row(g, CH, ay.first[j] + r);
            for (int k0 = 0; k0 < span; k0 += 64) {
                prefetch(p + k0, ahead);
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
        round_sat_row(row, sx, ay.scale[j], dst_row(g, j), n);
    }
    return ippStsNoErr;
}

// Every case: rows reduced horizontally, accumulated vertically.
template <int CH>
void row_sums(const Job& g, const Axis& ax, const Axis& ay, float* row, float* acc, const float* sx) {
    const int W = g.W, n = W * CH;
    for (int j = 0; j < g.H; ++j) {
        for (int e = 0; e < n; ++e) acc[e] = 0.0f;
        const int r0 = ay.first[j], rn = ay.count[j];
        for (int r = 0; r < rn; ++r) {
            const Ipp8u* p = region_row(g, CH, r0 + r);
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
        round_sat_row(acc, sx, ay.scale[j], dst_row(g, j), n);
    }
}

}  // namespace

template <int CH>
IppStatus resize_supersample(const Job& g) {
    WorkBuffers wb;
    Axis ax, ay;
    if (!ax.build(wb, g.roiW, g.W, g.xf) || !ay.build(wb, g.roiH, g.H, g.yf)) return ippStsMemAllocErr;
    const int n = g.W * CH;
    float* row = wb.get<float>(n);
    float* acc = wb.get<float>(n);
    float* sx = wb.get<float>(n);
    if (!row || !acc || !sx) return ippStsMemAllocErr;
    for (int i = 0; i < g.W; ++i)
        for (int c = 0; c < CH; ++c) sx[i * CH + c] = ax.scale[i];

    if (ax.whole && ay.whole && halves(ax, g.W) && halves(ay, g.H)) {
        halve_all<CH>(g);
        return ippStsNoErr;
    }
    const double nx = 1.0 / g.xf + 1.0, ny = 1.0 / g.yf + 1.0;
    if (ax.whole && ay.whole && 255.0 * nx * ny < 16777216.0) return column_sums<CH>(g, wb, ax, ay, row, sx);
    row_sums<CH>(g, ax, ay, row, acc, sx);
    return ippStsNoErr;
}

template IppStatus resize_supersample<1>(const Job&);
template IppStatus resize_supersample<3>(const Job&);

}  // namespace qm::QM_SET
