// Bilateral filter of 8-bit grey images with the weight tables of its record.
//
// Each output pixel sums its taps in one fixed order (rows of the kernel top
// to bottom, each left to right) in 32-bit floats; the vector paths work on
// 4 or 8 neighbouring output pixels at once with that same order per pixel,
// so every set gives the same bytes.
#include <algorithm>
#include <cstring>

#include "frame/set.h"
#include "primitives/bilateral/bilateral_record.h"

#include <emmintrin.h>
#if defined(__AVX__)
#include <immintrin.h>
#endif

namespace qm::QM_SET {
namespace {

struct Taps {
    const float* weight;  // position weights in tap order
    const float* value;   // value table centre
    ptrdiff_t srcStep;
    int rx, ry, step;
};

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

inline __m128i bytes4(const Ipp8u* p) {
    int32_t x;
    std::memcpy(&x, p, 4);
    const __m128i z = _mm_setzero_si128();
    return _mm_unpacklo_epi16(_mm_unpacklo_epi8(_mm_cvtsi32_si128(x), z), z);
}

inline void store4(Ipp8u* d, __m128i r) {
    r = _mm_packs_epi32(r, r);
    const int32_t out = _mm_cvtsi128_si32(_mm_packus_epi16(r, r));
    std::memcpy(d, &out, 4);
}

void filter4(const Ipp8u* s, const Taps& t, Ipp8u* d) {
    const Taps& k = t;
    const float *b0 = t.value - s[0], *b1 = t.value - s[1], *b2 = t.value - s[2], *b3 = t.value - s[3];
    __m128 W = _mm_setzero_ps(), V = _mm_setzero_ps();
    const float* pw = t.weight;
    for (int dy = -k.ry; dy <= k.ry; dy += k.step) {
        const Ipp8u* row = s + dy * t.srcStep;
        for (int dx = -k.rx; dx <= k.rx; dx += k.step) {
            const Ipp8u* p = row + dx;
            const __m128 val = _mm_setr_ps(b0[p[0]], b1[p[1]], b2[p[2]], b3[p[3]]);
            const __m128 w = _mm_mul_ps(_mm_set1_ps(*pw++), val);
            W = _mm_add_ps(W, w);
            V = _mm_add_ps(V, _mm_mul_ps(_mm_cvtepi32_ps(bytes4(p)), w));
        }
    }
    store4(d, _mm_cvttps_epi32(_mm_add_ps(_mm_div_ps(V, W), _mm_set1_ps(0.5f))));
}

#if defined(__AVX__)
void filter8(const Ipp8u* s, const Taps& t, Ipp8u* d) {
    const Taps& k = t;
    const float* v = t.value;
    const float *b0 = v - s[0], *b1 = v - s[1], *b2 = v - s[2], *b3 = v - s[3], *b4 = v - s[4],
                *b5 = v - s[5], *b6 = v - s[6], *b7 = v - s[7];
    __m256 W = _mm256_setzero_ps(), V = _mm256_setzero_ps();
    const float* pw = t.weight;
    for (int dy = -k.ry; dy <= k.ry; dy += k.step) {
        const Ipp8u* row = s + dy * t.srcStep;
        for (int dx = -k.rx; dx <= k.rx; dx += k.step) {
            const Ipp8u* p = row + dx;
            const __m256 val = _mm256_setr_ps(b0[p[0]], b1[p[1]], b2[p[2]], b3[p[3]], b4[p[4]], b5[p[5]],
                                              b6[p[6]], b7[p[7]]);
            const __m256 w = _mm256_mul_ps(_mm256_set1_ps(*pw++), val);
            const __m256 x = _mm256_cvtepi32_ps(_mm256_insertf128_si256(_mm256_castsi128_si256(bytes4(p)),
                                                                        bytes4(p + 4), 1));
            W = _mm256_add_ps(W, w);
            V = _mm256_add_ps(V, _mm256_mul_ps(x, w));
        }
    }
    const __m256i r = _mm256_cvttps_epi32(_mm256_add_ps(_mm256_div_ps(V, W), _mm256_set1_ps(0.5f)));
    store4(d, _mm256_castsi256_si128(r));
    store4(d + 4, _mm256_extractf128_si256(r, 1));
}
#endif

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

void filter_rows(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize roi, const Taps& taps) {
    for (int y = 0; y < roi.height; ++y) {
        const Ipp8u* s = pSrc + static_cast<ptrdiff_t>(y) * srcStep;
        Ipp8u* d = pDst + static_cast<ptrdiff_t>(y) * dstStep;
        int x = 0;
#if defined(__AVX__)
        for (; x + 8 <= roi.width; x += 8) filter8(s + x, taps, d + x);
#endif
        for (; x + 4 <= roi.width; x += 4) filter4(s + x, taps, d + x);
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
    if (pSrc == nullptr || pDst == nullptr || pBuffer == nullptr) return ippStsNullPtrErr;
    if (dstRoiSize.width < 1 || dstRoiSize.height < 1) return ippStsSizeErr;
    if (srcStep < 1 || dstStep < 1) return ippStsStepErr;
    if (kernelSize.width < 1 || kernelSize.height < 1) return ippStsMaskSizeErr;
    const BilateralRecord* rec = bilateral_record(pBuffer);
    if (rec == nullptr) return ippStsContextMatchErr;
    // width >> 1 here against (width - 1) >> 1 in the set-up: an even kernel
    // given to both is refused, as it always has been.
    const int step = rec->step;
    const int rx = (kernelSize.width >> 1) / step * step;
    const int ry = (kernelSize.height >> 1) / step * step;
    if (rx > rec->radiusX || ry > rec->radiusY) return ippStsMaskSizeErr;

    float* work = rec->work;
    int n = 0;
    for (int dy = -ry; dy <= ry; dy += step)
        for (int dx = -rx; dx <= rx; dx += step) {
            const int r = std::max(dx < 0 ? -dx : dx, dy < 0 ? -dy : dy);
            work[n++] = rec->position[r];
        }

    const Taps taps{work, rec->value, srcStep, rx, ry, step};
    // The scanner's 3 x 3 and 5 x 5 kernels share the value lookups between pixel pairs.
    if (step == 1 && rx == 1 && ry == 1) {
        PairStrips<1>(pSrc, srcStep, taps).run(pDst, dstStep, dstRoiSize);
    } else if (step == 1 && rx == 2 && ry == 2) {
        PairStrips<2>(pSrc, srcStep, taps).run(pDst, dstStep, dstRoiSize);
    } else
        filter_rows(pSrc, srcStep, pDst, dstStep, dstRoiSize, taps);
    return ippStsNoErr;
}

}  // namespace qm::QM_SET
