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

Ipp8u filter1(const Ipp8u* s, const Taps& t) {
    const int c = *s;
    float W = 0.0f, V = 0.0f;
    const float* pw = t.weight;
    for (int dy = -t.ry; dy <= t.ry; dy += t.step) {
        const Ipp8u* row = s + dy * t.srcStep;
        for (int dx = -t.rx; dx <= t.rx; dx += t.step) {
            const int v = row[dx];
            const float w = *pw++ * t.value[v - c];
            W += w;
            V += static_cast<float>(v) * w;
        }
    }
    return static_cast<Ipp8u>(static_cast<int>(V / W + 0.5f));
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
    const int c0 = s[0], c1 = s[1], c2 = s[2], c3 = s[3];
    __m128 W = _mm_setzero_ps(), V = _mm_setzero_ps();
    const float* pw = t.weight;
    for (int dy = -t.ry; dy <= t.ry; dy += t.step) {
        const Ipp8u* row = s + dy * t.srcStep;
        for (int dx = -t.rx; dx <= t.rx; dx += t.step) {
            const Ipp8u* p = row + dx;
            const __m128 val = _mm_setr_ps(t.value[p[0] - c0], t.value[p[1] - c1], t.value[p[2] - c2],
                                           t.value[p[3] - c3]);
            const __m128 w = _mm_mul_ps(_mm_set1_ps(*pw++), val);
            W = _mm_add_ps(W, w);
            V = _mm_add_ps(V, _mm_mul_ps(_mm_cvtepi32_ps(bytes4(p)), w));
        }
    }
    store4(d, _mm_cvttps_epi32(_mm_add_ps(_mm_div_ps(V, W), _mm_set1_ps(0.5f))));
}

#if defined(__AVX__)
void filter8(const Ipp8u* s, const Taps& t, Ipp8u* d) {
    const int c0 = s[0], c1 = s[1], c2 = s[2], c3 = s[3], c4 = s[4], c5 = s[5], c6 = s[6], c7 = s[7];
    __m256 W = _mm256_setzero_ps(), V = _mm256_setzero_ps();
    const float* pw = t.weight;
    for (int dy = -t.ry; dy <= t.ry; dy += t.step) {
        const Ipp8u* row = s + dy * t.srcStep;
        for (int dx = -t.rx; dx <= t.rx; dx += t.step) {
            const Ipp8u* p = row + dx;
            const __m256 val = _mm256_setr_ps(t.value[p[0] - c0], t.value[p[1] - c1], t.value[p[2] - c2],
                                              t.value[p[3] - c3], t.value[p[4] - c4], t.value[p[5] - c5],
                                              t.value[p[6] - c6], t.value[p[7] - c7]);
            const __m256 w = _mm256_mul_ps(_mm256_set1_ps(*pw++), val);
            const __m256 v = _mm256_cvtepi32_ps(_mm256_insertf128_si256(_mm256_castsi128_si256(bytes4(p)),
                                                                        bytes4(p + 4), 1));
            W = _mm256_add_ps(W, w);
            V = _mm256_add_ps(V, _mm256_mul_ps(v, w));
        }
    }
    const __m256i r = _mm256_cvttps_epi32(_mm256_add_ps(_mm256_div_ps(V, W), _mm256_set1_ps(0.5f)));
    store4(d, _mm256_castsi256_si128(r));
    store4(d + 4, _mm256_extractf128_si256(r, 1));
}
#endif

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
    const int width = dstRoiSize.width;
    for (int y = 0; y < dstRoiSize.height; ++y) {
        const Ipp8u* s = pSrc + static_cast<ptrdiff_t>(y) * srcStep;
        Ipp8u* d = pDst + static_cast<ptrdiff_t>(y) * dstStep;
        int x = 0;
#if defined(__AVX__)
        for (; x + 8 <= width; x += 8) filter8(s + x, taps, d + x);
#endif
        for (; x + 4 <= width; x += 4) filter4(s + x, taps, d + x);
        for (; x < width; ++x) d[x] = filter1(s + x, taps);
    }
    return ippStsNoErr;
}

}  // namespace qm::QM_SET
