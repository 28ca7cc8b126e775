// Interleaved <-> planar copies of three-channel 8-bit images.
#include <array>
#include <cstring>

#include "frame/set.h"

#if defined(__SSSE3__)
#include <tmmintrin.h>
#endif

namespace qm::QM_SET {
namespace {

#if defined(__SSSE3__)
// Byte-shuffle masks derived from the pixel layout: 16 pixels occupy three
// 16-byte blocks of interleaved data.
using Mask = std::array<signed char, 16>;

// Split: which byte of interleaved block `block` lands at position j of plane `c`.
constexpr Mask split_mask(int c, int block) {
    Mask m{};
    for (int j = 0; j < 16; ++j) {
        const int src = 3 * j + c - 16 * block;
        m[j] = (src >= 0 && src < 16) ? static_cast<signed char>(src) : -1;
    }
    return m;
}
// Join: which byte of plane `c` lands at position j of interleaved block `block`.
constexpr Mask join_mask(int c, int block) {
    Mask m{};
    for (int j = 0; j < 16; ++j) {
        const int pos = 16 * block + j;
        m[j] = (pos % 3 == c) ? static_cast<signed char>(pos / 3) : -1;
    }
    return m;
}

template <Mask M>
inline __m128i shuffle(__m128i v) {
    return _mm_shuffle_epi8(v, _mm_loadu_si128(reinterpret_cast<const __m128i*>(M.data())));
}

inline int split16(const Ipp8u* s, Ipp8u* d0, Ipp8u* d1, Ipp8u* d2, int n) {
    int i = 0;
    for (; i + 16 <= n; i += 16, s += 48) {
        const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s));
        const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + 16));
        const __m128i c = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + 32));
        const __m128i p0 = _mm_or_si128(_mm_or_si128(shuffle<split_mask(0, 0)>(a), shuffle<split_mask(0, 1)>(b)),
                                        shuffle<split_mask(0, 2)>(c));
        const __m128i p1 = _mm_or_si128(_mm_or_si128(shuffle<split_mask(1, 0)>(a), shuffle<split_mask(1, 1)>(b)),
                                        shuffle<split_mask(1, 2)>(c));
        const __m128i p2 = _mm_or_si128(_mm_or_si128(shuffle<split_mask(2, 0)>(a), shuffle<split_mask(2, 1)>(b)),
                                        shuffle<split_mask(2, 2)>(c));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d0 + i), p0);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d1 + i), p1);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d2 + i), p2);
    }
    return i;
}

inline int join16(const Ipp8u* s0, const Ipp8u* s1, const Ipp8u* s2, Ipp8u* d, int n) {
    int i = 0;
    for (; i + 16 <= n; i += 16, d += 48) {
        const __m128i r = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s0 + i));
        const __m128i g = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s1 + i));
        const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s2 + i));
        const __m128i o0 = _mm_or_si128(_mm_or_si128(shuffle<join_mask(0, 0)>(r), shuffle<join_mask(1, 0)>(g)),
                                        shuffle<join_mask(2, 0)>(b));
        const __m128i o1 = _mm_or_si128(_mm_or_si128(shuffle<join_mask(0, 1)>(r), shuffle<join_mask(1, 1)>(g)),
                                        shuffle<join_mask(2, 1)>(b));
        const __m128i o2 = _mm_or_si128(_mm_or_si128(shuffle<join_mask(0, 2)>(r), shuffle<join_mask(1, 2)>(g)),
                                        shuffle<join_mask(2, 2)>(b));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d), o0);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d + 16), o1);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d + 32), o2);
    }
    return i;
}
#else
inline int split16(const Ipp8u*, Ipp8u*, Ipp8u*, Ipp8u*, int) { return 0; }
inline int join16(const Ipp8u*, const Ipp8u*, const Ipp8u*, Ipp8u*, int) { return 0; }
#endif

// Row lengths are counted in 64 bits: a merged run can exceed 2^31 pixels.
void split_row(const Ipp8u* s, Ipp8u* d0, Ipp8u* d1, Ipp8u* d2, int64_t n) {
    while (n > 0) {
        const int chunk = n > (1 << 30) ? (1 << 30) : static_cast<int>(n);
        const int done = split16(s, d0, d1, d2, chunk);
        for (int i = done; i < chunk; ++i) {
            d0[i] = s[3 * i];
            d1[i] = s[3 * i + 1];
            d2[i] = s[3 * i + 2];
        }
        s += 3 * int64_t{chunk};
        d0 += chunk;
        d1 += chunk;
        d2 += chunk;
        n -= chunk;
    }
}

void join_row(const Ipp8u* s0, const Ipp8u* s1, const Ipp8u* s2, Ipp8u* d, int64_t n) {
    while (n > 0) {
        const int chunk = n > (1 << 30) ? (1 << 30) : static_cast<int>(n);
        const int done = join16(s0, s1, s2, d, chunk);
        for (int i = done; i < chunk; ++i) {
            d[3 * i] = s0[i];
            d[3 * i + 1] = s1[i];
            d[3 * i + 2] = s2[i];
        }
        s0 += chunk;
        s1 += chunk;
        s2 += chunk;
        d += 3 * int64_t{chunk};
        n -= chunk;
    }
}

}  // namespace

IppStatus ippiCopy_8u_C3P3R(const Ipp8u* pSrc, int srcStep, Ipp8u* const pDst[3], int dstStep,
                            IppiSize roiSize) {
    if (pSrc == nullptr || pDst == nullptr || pDst[0] == nullptr || pDst[1] == nullptr ||
        pDst[2] == nullptr)
        return ippStsNullPtrErr;
    if (roiSize.width < 1 || roiSize.height < 1) return ippStsSizeErr;
    // The contiguity test takes the 32-bit product as the copy always has.
    const int span = static_cast<int>(static_cast<uint32_t>(roiSize.height) * static_cast<uint32_t>(srcStep));
    if (int64_t{srcStep} == 3 * int64_t{dstStep} && dstStep == roiSize.width && span < 160000) {
        split_row(pSrc, pDst[0], pDst[1], pDst[2], int64_t{roiSize.width} * roiSize.height);
        return ippStsNoErr;
    }
    Ipp8u* d0 = pDst[0];
    Ipp8u* d1 = pDst[1];
    Ipp8u* d2 = pDst[2];
    for (int y = 0; y < roiSize.height; ++y) {
        split_row(pSrc, d0, d1, d2, roiSize.width);
        pSrc += srcStep;
        d0 += dstStep;
        d1 += dstStep;
        d2 += dstStep;
    }
    return ippStsNoErr;
}

IppStatus ippiCopy_8u_P3C3R(const Ipp8u* const pSrc[3], int srcStep, Ipp8u* pDst, int dstStep,
                            IppiSize roiSize) {
    if (pSrc == nullptr || pDst == nullptr || pSrc[0] == nullptr || pSrc[1] == nullptr ||
        pSrc[2] == nullptr)
        return ippStsNullPtrErr;
    if (roiSize.width < 1 || roiSize.height < 1) return ippStsSizeErr;
    // Unlike the split, the join merges contiguous rows at any size.
    if (int64_t{dstStep} == 3 * int64_t{srcStep} && srcStep == roiSize.width) {
        join_row(pSrc[0], pSrc[1], pSrc[2], pDst, int64_t{roiSize.width} * roiSize.height);
        return ippStsNoErr;
    }
    const Ipp8u* s0 = pSrc[0];
    const Ipp8u* s1 = pSrc[1];
    const Ipp8u* s2 = pSrc[2];
    for (int y = 0; y < roiSize.height; ++y) {
        join_row(s0, s1, s2, pDst, roiSize.width);
        s0 += srcStep;
        s1 += srcStep;
        s2 += srcStep;
        pDst += dstStep;
    }
    return ippStsNoErr;
}

}  // namespace qm::QM_SET
