// Bilateral filter of 8-bit grey images with the weight tables of its record.
//
// Each output pixel sums its taps in one fixed order (rows of the kernel top
// to bottom, each left to right) in 32-bit floats; the vector paths work on
// the set's float lanes of neighbouring output pixels at once with that same
// order per pixel,
// so every set gives the same bytes.
#include <algorithm>
#include <cstring>
#include <utility>

#include "frame/set.h"
#include "primitives/bilateral/bilateral_front.h"
#include "primitives/bilateral/bilateral_record.h"
#include "primitives/simd/lanes.h"

namespace qm::QM_SET {
namespace {

using namespace lanes;
using Taps = bilateral::Job;

// The output byte of a weighted mean plus one half. The mean is NaN only
// when a sigma so small that -0.5 / sigma overflows made the weights NaN;
// that gives 0, which is also what the vector conversions below produce.
inline Ipp8u mean_byte(float v) { return static_cast<Ipp8u>(v == v ? static_cast<int>(v) : 0); }

Ipp8u filter1(const Ipp8u* s, const Taps& t) {
    const Taps& k = t;
    const float* base = t.value - *s;  // base[v] is the weight of v - centre
    float W = 0.0f, V = 0.0f;
    const float* pw = t.weight;
    for (int dy = -k.ry; dy <= k.ry; dy += k.step) {
        const Ipp8u* row = s + dy * t.srcStep;
        for (int dx = -k.rx; dx <= k.rx; dx += k.step) {
            const int v = row[dx];
            const float w = *pw++ * base[v];
            W += w;
            V += static_cast<float>(v) * w;
        }
    }
    return mean_byte(V / W + 0.5f);
}

// Four results (0 .. 255 already) as bytes.
QM_LANES_INLINE void store4(Ipp8u* d, I32x4 r) {
    const I16x8 w = pack_i16(r, r);
    store_low4(d, pack_u8(w, w));
}

// V::N neighbouring pixels.
template <class V>
void filter_lanes(const Ipp8u* s, const Taps& t, Ipp8u* d) {
    const Taps& k = t;
    const float* b[V::N];
    for (int i = 0; i < V::N; ++i) b[i] = t.value - s[i];
    V W = zero<V>(), Vs = zero<V>();
    const float* pw = t.weight;
    for (int dy = -k.ry; dy <= k.ry; dy += k.step) {
        const Ipp8u* row = s + dy * t.srcStep;
        for (int dx = -k.rx; dx <= k.rx; dx += k.step) {
            const Ipp8u* p = row + dx;
            const V val = [&]<int... I>(std::integer_sequence<int, I...>) QM_LANES_INLINE_LAMBDA {
                return lanes_of<V>(b[I][p[I]]...);
            }(std::make_integer_sequence<int, V::N>{});
            const V w = mul(all<V>(*pw++), val);
            W = add(W, w);
            Vs = add(Vs, mul(bytes_to_float<V>(p), w));
        }
    }
    const auto r = truncate(add(div(Vs, W), all<V>(0.5f)));
    for (int h = 0; h < V::N / 4; ++h) store4(d + 4 * h, half(r, h));
}

// Square step-1 kernels of radius R, in strips of kStrip columns. The value
// weight of a pixel pair is the same seen from either pixel (the table is
// mirrored), so it is looked up once per pair: E holds, for each "forward"
// tap (below, or right on the same row), the weights of the last R + 1 rows,
// and a "backward" tap reads the weight its partner pixel stored. F holds
// the source as floats. The sums then run tap by tap over the strip, which
// keeps each pixel's tap order and vectorises across pixels.
constexpr int kStrip = 256;

// Plain vector types: every set lowers them to its own registers, element by element.
typedef float F8 __attribute__((vector_size(32)));
typedef int32_t I8 __attribute__((vector_size(32)));
#define QM_LOAD8(v, p) \
    F8 v;              \
    std::memcpy(&v, (p), sizeof v)

template <int R>
class PairStrips {
public:
    PairStrips(const Ipp8u* src, ptrdiff_t srcStep, const Taps& t) : src_(src), step_(srcStep), t_(t) {
        std::fill(centre_, centre_ + kStrip, t.value[0]);
    }

    void run(Ipp8u* dst, ptrdiff_t dstStep, IppiSize roi) {
        for (int x0 = 0; x0 < roi.width; x0 += kStrip) {
            n_ = std::min(kStrip, roi.width - x0);
            x0_ = x0;
            for (int f = 0; f < kForward; ++f)
                for (int r = -fdy(f); r < 0; ++r) pair_row(f, r);
            for (int r = -R; r < R; ++r) float_row(r);
            for (int y = 0; y < roi.height; ++y) {
                float_row(y + R);
                pair_rows(y);
                sum_row(y, dst + y * dstStep + x0);
            }
        }
    }

private:
    static constexpr int kForward = 2 * R * (R + 1);
    static constexpr int kCols = kStrip + 2 * R;
    // Forward taps: (0, 1 .. R), then rows 1 .. R with dx -R .. R.
    static constexpr int fdy(int f) { return f < R ? 0 : 1 + (f - R) / (2 * R + 1); }
    static constexpr int fdx(int f) { return f < R ? f + 1 : (f - R) % (2 * R + 1) - R; }
    static constexpr int forward_index(int dy, int dx) { return dy == 0 ? dx - 1 : R + (dy - 1) * (2 * R + 1) + dx + R; }
    static int ring(int row, int n) { return ((row % n) + n) % n; }
    float* pairs(int f, int row) { return E_[f][ring(row, R + 1)] + R; }
    float* floats(int row) { return F_[ring(row, 2 * R + 1)] + R; }

    // Weights of tap f at source row `row`, only over the columns some pixel reads.
    void pair_row(int f, int row) {
        const int dy = fdy(f), dx = fdx(f);
        const Ipp8u* a = src_ + row * step_ + x0_;
        const Ipp8u* b = a + dy * step_ + dx;
        float* e = pairs(f, row);
        const float* value = t_.value;
        for (int x = std::min(0, -dx); x < n_ + std::max(0, -dx); ++x) e[x] = value[b[x] - a[x]];
    }
    // All forward taps of one row: the columns every tap needs in one pass
    // sharing the centre value, then each tap's extra columns on its own.
    void pair_rows(int row) {
        const Ipp8u* a = src_ + row * step_ + x0_;
        ptrdiff_t off[kForward];
        float* e[kForward];
        for (int f = 0; f < kForward; ++f) {
            off[f] = fdy(f) * step_ + fdx(f);
            e[f] = pairs(f, row);
        }
        for (int x = 0; x < n_; ++x) {
            const float* base = t_.value - a[x];
#pragma GCC unroll 12
            for (int f = 0; f < kForward; ++f) e[f][x] = base[a[x + off[f]]];
        }
        for (int f = 0; f < kForward; ++f) {
            const int dx = fdx(f);
            for (int x = std::min(0, -dx); x < 0; ++x) e[f][x] = t_.value[a[x + off[f]] - a[x]];
            for (int x = n_; x < n_ - std::min(0, dx); ++x) e[f][x] = t_.value[a[x + off[f]] - a[x]];
        }
    }
    void float_row(int row) {
        const Ipp8u* a = src_ + row * step_ + x0_;
        float* out = floats(row);
        for (int x = -R; x < n_ + R; ++x) out[x] = static_cast<float>(a[x]);
    }
    // Eight pixels at a time with the sums in registers, taps in order.
    void sum_row(int y, Ipp8u* d) {
        constexpr int kTaps = (2 * R + 1) * (2 * R + 1);
        const float* es[kTaps];
        const float* vs[kTaps];
        float ps[kTaps];
        int t = 0;
        for (int dy = -R; dy <= R; ++dy)
            for (int dx = -R; dx <= R; ++dx, ++t) {
                ps[t] = t_.weight[t];
                vs[t] = floats(y + dy) + dx;
                const bool forward = dy > 0 || (dy == 0 && dx > 0);
                es[t] = (dy == 0 && dx == 0) ? centre_
                        : forward            ? pairs(forward_index(dy, dx), y)
                                             : pairs(forward_index(-dy, -dx), y + dy) + dx;
            }
        int x = 0;
        for (; x + 8 <= n_; x += 8) {
            F8 W = {}, V = {};
#pragma GCC unroll 25
            for (int k = 0; k < kTaps; ++k) {
                QM_LOAD8(e, es[k] + x);
                QM_LOAD8(v, vs[k] + x);
                const F8 w = ps[k] * e;
                W += w;
                V += v * w;
            }
            const F8 q = V / W + 0.5f;
            // NaN lanes become 0 before the conversion, as in mean_byte.
            const I8 r = __builtin_convertvector((F8)((I8)q & (q == q)), I8);
            for (int i = 0; i < 8; ++i) d[x + i] = static_cast<Ipp8u>(r[i]);
        }
        for (; x < n_; ++x) {
            float W = 0.0f, V = 0.0f;
            for (int k = 0; k < kTaps; ++k) {
                const float w = ps[k] * es[k][x];
                W += w;
                V += vs[k][x] * w;
            }
            d[x] = mean_byte(V / W + 0.5f);
        }
    }

    const Ipp8u* src_;
    ptrdiff_t step_;
    const Taps& t_;
    int x0_ = 0, n_ = 0;
    alignas(32) float E_[kForward][R + 1][kCols];
    alignas(32) float F_[2 * R + 1][kCols];
    alignas(32) float centre_[kStrip];  // the value weight of a zero difference
};

void filter_rows(const Ipp8u* pSrc, ptrdiff_t srcStep, Ipp8u* pDst, ptrdiff_t dstStep, IppiSize roi, const Taps& taps) {
    for (int y = 0; y < roi.height; ++y) {
        const Ipp8u* s = pSrc + static_cast<ptrdiff_t>(y) * srcStep;
        Ipp8u* d = pDst + static_cast<ptrdiff_t>(y) * dstStep;
        int x = 0;
        // With eight float lanes, the last four-pixel block goes alone.
        for (; x + kLanes <= roi.width; x += kLanes) filter_lanes<VF>(s + x, taps, d + x);
        for (; x + 4 <= roi.width; x += 4) filter_lanes<F32x4>(s + x, taps, d + x);
        for (; x < roi.width; ++x) d[x] = filter1(s + x, taps);
    }
}

}  // namespace

IppStatus ippiFilterBilateralGetBufSize_8u_C1R(int filterType, IppiSize maxDstRoiSize, IppiSize maxKernelSize,
                                               int* pBufferSize) {
    return bilateral_buf_size(filterType, maxDstRoiSize, maxKernelSize, pBufferSize);
}

IppStatus ippiFilterBilateralInit_8u_C1R(int filterType, IppiSize maxKernelSize, Ipp32f valSquareSigma,
                                         Ipp32f posSquareSigma, int stepInKernel, Ipp8u* pBuffer) {
    return bilateral_init(filterType, maxKernelSize, valSquareSigma, posSquareSigma, stepInKernel, pBuffer);
}

IppStatus ippiFilterBilateral_8u_C1R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep,
                                     IppiSize dstRoiSize, IppiSize kernelSize, Ipp8u* pBuffer) {
    bilateral::Job job;
    if (const IppStatus st = bilateral::plan(pSrc, srcStep, pDst, dstStep, dstRoiSize, kernelSize, pBuffer, job);
        st != ippStsNoErr)
        return st;
    // The scanner's 3 x 3 and 5 x 5 kernels share the value lookups between pixel pairs.
    if (job.step == 1 && job.rx == 1 && job.ry == 1)
        PairStrips<1>(job.src, job.srcStep, job).run(job.dst, job.dstStep, job.roi);
    else if (job.step == 1 && job.rx == 2 && job.ry == 2)
        PairStrips<2>(job.src, job.srcStep, job).run(job.dst, job.dstStep, job.roi);
    else
        filter_rows(job.src, job.srcStep, job.dst, job.dstStep, job.roi, job);
    return ippStsNoErr;
}

}  // namespace qm::QM_SET
