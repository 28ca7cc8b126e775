// Gaussian smoothing with the fixed 3x3 and 5x5 integer masks.
//
// Each source row is filtered horizontally once into row buffers; the
// vertical pass combines a ring of those rows. Sums are exact integers, so
// the vector and scalar paths agree trivially. With 256-bit float vectors the
// 5x5 mask runs vertical-first in single precision instead, where the sums are
// still exact integers and the one rounding provably matches (see there).
#include <algorithm>
#include <climits>
#include <cstring>

#include "frame/set.h"
#include "primitives/neighbourhood/gauss_job.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif
#if defined(__SSSE3__)
#include <tmmintrin.h>
#endif
#if defined(__SSE4_1__)
#include <smmintrin.h>
#endif
#if defined(__AVX__)
#include <immintrin.h>
#endif

namespace qm::QM_SET {
namespace {

// Runs vec(i) over 16-sample blocks (the last one shifted back to end at n)
// when the row holds at least one block, one(i) per sample otherwise.
template <typename Vec, typename One>
inline void each_sample(int n, Vec&& vec, One&& one) {
#if defined(__SSE2__)
    if (n >= 16) {
        int i = 0;
        for (; i + 16 <= n; i += 16) vec(i);
        if (i < n) vec(n - 16);
        return;
    }
#else
    (void)vec;
#endif
    for (int i = 0; i < n; ++i) one(i);
}

#if defined(__SSE2__)
inline __m128i loadu(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }
inline void storeu(void* p, __m128i v) { _mm_storeu_si128(static_cast<__m128i*>(p), v); }

// 16 bytes -> two vectors of eight 16-bit lanes.
inline void widen8(__m128i v, __m128i& lo, __m128i& hi) {
    const __m128i z = _mm_setzero_si128();
    lo = _mm_unpacklo_epi8(v, z);
    hi = _mm_unpackhi_epi8(v, z);
}
#endif

// ---- 3x3 -----------------------------------------------------------------------

// Row sums peak at 4 x 255 and the full sum at 16 x 255: 16-bit lanes hold
// both, so the rows are kept as 16-bit values in the buffer.
void hsum3(const Ipp8u* s, int k, Ipp16u* out, int n) {
    each_sample(
        n,
        [&](int i) {
#if defined(__SSE2__)
            __m128i l0, l1, c0, c1, r0, r1;
            widen8(loadu(s + i - k), l0, l1);
            widen8(loadu(s + i), c0, c1);
            widen8(loadu(s + i + k), r0, r1);
            storeu(out + i, _mm_add_epi16(_mm_add_epi16(l0, r0), _mm_slli_epi16(c0, 1)));
            storeu(out + i + 8, _mm_add_epi16(_mm_add_epi16(l1, r1), _mm_slli_epi16(c1, 1)));
#else
            (void)i;
#endif
        },
        [&](int i) { out[i] = static_cast<Ipp16u>(s[i - k] + 2 * s[i] + s[i + k]); });
}

// Division by 16, to nearest, ties to even.
inline Ipp8u round16(int s) { return static_cast<Ipp8u>((s + 7 + ((s >> 4) & 1)) >> 4); }

void vsum3(const Ipp16u* a, const Ipp16u* b, const Ipp16u* c, Ipp8u* d, int n) {
    each_sample(
        n,
        [&](int i) {
#if defined(__SSE2__)
            __m128i r[2];
            const __m128i seven = _mm_set1_epi16(7), one = _mm_set1_epi16(1);
            for (int q = 0; q < 2; ++q) {
                const int j = i + 8 * q;
                const __m128i s = _mm_add_epi16(_mm_add_epi16(loadu(a + j), loadu(c + j)),
                                                _mm_slli_epi16(loadu(b + j), 1));
                const __m128i odd = _mm_and_si128(_mm_srli_epi16(s, 4), one);
                r[q] = _mm_srli_epi16(_mm_add_epi16(_mm_add_epi16(s, seven), odd), 4);
            }
            storeu(d + i, _mm_packus_epi16(r[0], r[1]));
#else
            (void)i;
#endif
        },
        [&](int i) { d[i] = round16(a[i] + 2 * b[i] + c[i]); });
}

void gauss3(const Ipp8u* src, int srcStep, Ipp8u* dst, int dstStep, IppiSize roi, int k, void* buf) {
    const int n = roi.width * k;
    Ipp16u* base = static_cast<Ipp16u*>(buf);
    Ipp16u* h[3] = {base, base + n, base + 2 * n};
    hsum3(src - srcStep, k, h[0], n);
    hsum3(src, k, h[1], n);
    for (int y = 0; y < roi.height; ++y) {
        hsum3(src + static_cast<ptrdiff_t>(y + 1) * srcStep, k, h[2], n);
        vsum3(h[0], h[1], h[2], dst + static_cast<ptrdiff_t>(y) * dstStep, n);
        std::rotate(h, h + 1, h + 3);
    }
}

// ---- 5x5 -----------------------------------------------------------------------

// The three distinct horizontal kernels, each symmetric:
// A = [2 7 12 7 2], B = [7 31 52 31 7], C = [12 52 127 52 12].
// Their sums peak at 7650, 32640 and 65025: each fits an unsigned 16-bit
// value, so the ring keeps 16-bit rows and only the vertical sum widens.
struct Abc { int a, b, c; };
inline Abc hsum5(const Ipp8u* s, int k) {
    const int p2 = s[-2 * k] + s[2 * k], p1 = s[-k] + s[k], p0 = s[0];
    return {2 * p2 + 7 * p1 + 12 * p0, 7 * p2 + 31 * p1 + 52 * p0, 12 * p2 + 52 * p1 + 127 * p0};
}

// Division by 571 to nearest: the offset and the reciprocal 29382 / 2^24.
inline Ipp8u div571(int s) {
    return static_cast<Ipp8u>(((static_cast<Ipp32u>(s) + 286u) * 29382u) >> 24);
}

#if defined(__SSSE3__)
// A, B and C of 16 samples, eight 16-bit lanes per half, read as unsigned.
// Byte pairs (s[-2k], s[-k]), (s[k], s[2k]) and (s[0], s[0]) go through
// byte x byte multiply-adds; no pair can reach the 16-bit saturation (the
// largest, 255 x (64 + 63), is 32385), and C wraps as an unsigned lane.
inline void hsum5x16(const Ipp8u* s, int k, __m128i (&out)[3][2]) {
    const __m128i m2 = loadu(s - 2 * k), m1 = loadu(s - k), c0 = loadu(s), p1 = loadu(s + k), p2 = loadu(s + 2 * k);
    const __m128i left[2] = {_mm_unpacklo_epi8(m2, m1), _mm_unpackhi_epi8(m2, m1)};
    const __m128i right[2] = {_mm_unpacklo_epi8(p1, p2), _mm_unpackhi_epi8(p1, p2)};
    const __m128i centre[2] = {_mm_unpacklo_epi8(c0, c0), _mm_unpackhi_epi8(c0, c0)};
    auto w = [](int a, int b) { return _mm_set1_epi16(static_cast<short>((b << 8) | a)); };
    for (int h = 0; h < 2; ++h) {
        auto taps = [&](int w2, int w1, int c1, int c2) {
            return _mm_add_epi16(_mm_add_epi16(_mm_maddubs_epi16(left[h], w(w2, w1)),
                                               _mm_maddubs_epi16(right[h], w(w1, w2))),
                                 _mm_maddubs_epi16(centre[h], w(c1, c2)));
        };
        out[0][h] = taps(2, 7, 6, 6);
        out[1][h] = taps(7, 31, 26, 26);
        out[2][h] = taps(12, 52, 64, 63);
    }
}
#elif defined(__SSE2__)
// A, B and C of 16 samples, eight 16-bit lanes per half, read as unsigned.
inline void hsum5x16(const Ipp8u* s, int k, __m128i (&out)[3][2]) {
    __m128i m2[2], m1[2], c0[2], p1[2], p2[2];
    widen8(loadu(s - 2 * k), m2[0], m2[1]);
    widen8(loadu(s - k), m1[0], m1[1]);
    widen8(loadu(s), c0[0], c0[1]);
    widen8(loadu(s + k), p1[0], p1[1]);
    widen8(loadu(s + 2 * k), p2[0], p2[1]);
    for (int h = 0; h < 2; ++h) {
        const __m128i o2 = _mm_add_epi16(m2[h], p2[h]), o1 = _mm_add_epi16(m1[h], p1[h]), o0 = c0[h];
        auto taps = [&](short w2, short w1, short w0) {
            return _mm_add_epi16(_mm_add_epi16(_mm_mullo_epi16(o2, _mm_set1_epi16(w2)),
                                               _mm_mullo_epi16(o1, _mm_set1_epi16(w1))),
                                 _mm_mullo_epi16(o0, _mm_set1_epi16(w0)));
        };
        out[0][h] = taps(2, 7, 12);
        out[1][h] = taps(7, 31, 52);
        out[2][h] = taps(12, 52, 127);
    }
}
#endif

#if defined(__SSE2__)
// Eight results of ((S + 286) x 29382) >> 24 for S = aa + b1 + b3 + c, in
// 16-bit lanes. The product is summed from signed 16x16 multiply-adds:
// aa <= 15300 and b1, b3 <= 32640 fit a signed lane, c (up to 65025) enters
// as c - 32768 and the 32768 x 29382 joins the constant. Each multiply-add
// stays within 31 bits; their sum, the whole product, stays below 2^32 and
// wraps nowhere before the logical shift.
inline __m128i div571x8(__m128i aa, __m128i b1, __m128i b3, __m128i c) {
    const __m128i k = _mm_set1_epi16(29382);
    const __m128i bias = _mm_set1_epi32((286 + 32768) * 29382);
    const __m128i cs = _mm_xor_si128(c, _mm_set1_epi16(static_cast<short>(0x8000)));
    const __m128i lo = _mm_add_epi32(_mm_add_epi32(_mm_madd_epi16(_mm_unpacklo_epi16(aa, b1), k),
                                                   _mm_madd_epi16(_mm_unpacklo_epi16(b3, cs), k)), bias);
    const __m128i hi = _mm_add_epi32(_mm_add_epi32(_mm_madd_epi16(_mm_unpackhi_epi16(aa, b1), k),
                                                   _mm_madd_epi16(_mm_unpackhi_epi16(b3, cs), k)), bias);
    return _mm_packs_epi32(_mm_srli_epi32(lo, 24), _mm_srli_epi32(hi, 24));
}
#endif

// Slot (row mod 4) of the ring holds the A, B and C sums of one source row.
struct Ring {
    Ipp16u* base;
    int n;
    Ipp16u* a(int row) const { return base + static_cast<ptrdiff_t>(row & 3) * 3 * n; }
    Ipp16u* b(int row) const { return a(row) + n; }
    Ipp16u* c(int row) const { return a(row) + 2 * n; }
};

void prime5(const Ipp8u* s, int k, const Ring& ring, int row) {
    Ipp16u* A = ring.a(row);
    Ipp16u* B = ring.b(row);
    Ipp16u* C = ring.c(row);
    each_sample(
        ring.n,
        [&](int i) {
#if defined(__SSE2__)
            __m128i v[3][2];
            hsum5x16(s + i, k, v);
            storeu(A + i, v[0][0]);
            storeu(A + i + 8, v[0][1]);
            storeu(B + i, v[1][0]);
            storeu(B + i + 8, v[1][1]);
            storeu(C + i, v[2][0]);
            storeu(C + i + 8, v[2][1]);
#else
            (void)i;
#endif
        },
        [&](int i) {
            const Abc v = hsum5(s + i, k);
            A[i] = static_cast<Ipp16u>(v.a);
            B[i] = static_cast<Ipp16u>(v.b);
            C[i] = static_cast<Ipp16u>(v.c);
        });
}

void gauss5(const Ipp8u* src, int srcStep, Ipp8u* dst, int dstStep, IppiSize roi, int k, void* buf) {
    const int n = roi.width * k;
    const Ring ring{static_cast<Ipp16u*>(buf), n};
    for (int r = -2; r <= 1; ++r) prime5(src + static_cast<ptrdiff_t>(r) * srcStep, k, ring, r);
    for (int y = 0; y < roi.height; ++y) {
        // Row y + 2 takes the slot of row y - 2 sample by sample, after its A
        // has been read, so this pass never revisits a sample.
        const Ipp8u* s = src + static_cast<ptrdiff_t>(y + 2) * srcStep;
        Ipp8u* d = dst + static_cast<ptrdiff_t>(y) * dstStep;
        Ipp16u* A0 = ring.a(y - 2);
        Ipp16u* B0 = ring.b(y - 2);
        Ipp16u* C0 = ring.c(y - 2);
        const Ipp16u* B1 = ring.b(y - 1);
        const Ipp16u* C2 = ring.c(y);
        const Ipp16u* B3 = ring.b(y + 1);
        int i = 0;
#if defined(__SSE2__)
        for (; i + 16 <= n; i += 16) {
            __m128i v[3][2];
            hsum5x16(s + i, k, v);
            __m128i r[2];
            for (int h = 0; h < 2; ++h) {
                const int j = i + 8 * h;
                // A + A' <= 15300 fits 16 bits.
                const __m128i aa = _mm_add_epi16(loadu(A0 + j), v[0][h]);
                r[h] = div571x8(aa, loadu(B1 + j), loadu(B3 + j), loadu(C2 + j));
            }
            storeu(d + i, _mm_packus_epi16(r[0], r[1]));
            storeu(A0 + i, v[0][0]);
            storeu(A0 + i + 8, v[0][1]);
            storeu(B0 + i, v[1][0]);
            storeu(B0 + i + 8, v[1][1]);
            storeu(C0 + i, v[2][0]);
            storeu(C0 + i + 8, v[2][1]);
        }
#endif
        for (; i < n; ++i) {
            const Abc v = hsum5(s + i, k);
            d[i] = div571(A0[i] + B1[i] + C2[i] + B3[i] + v.a);
            A0[i] = static_cast<Ipp16u>(v.a);
            B0[i] = static_cast<Ipp16u>(v.b);
            C0[i] = static_cast<Ipp16u>(v.c);
        }
    }
}

#if defined(__AVX__)
// 5x5 in single precision, eight samples per step. Every sum is an integer
// below 2^24, so it is exact; only the division rounds, and it rounds right:
// S x fl(1/571) + 0.5 is within 5e-5 of S / 571 + 0.5 (three roundings of
// at most one unit in 2^24 of values below 256, in any rounding mode), while
// S / 571, 571 being odd, is never nearer than 0.5 / 571 to a half.
// Truncating it is S / 571 rounded to nearest, as the integer rule gives.
//
// The mask is symmetric, so its columns are A, B, C too: each output row
// first sums its five source rows vertically with the weights of A, B and C,
// then adds
//   vA(x - 2k) + vB(x - k) + vC(x) + vB(x + k) + vA(x + 2k).
// The image goes in vertical strips whose five float source rows (each
// converted once, reaching 2k samples beyond the strip on both sides) stay
// in the first-level cache.
constexpr int kStrip = 768;  // samples
constexpr int kAhead = 6;    // rows

inline __m256 bytes8(const Ipp8u* s) {
    const __m128i b = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(s));
    const __m128i lo = _mm_cvtepu8_epi32(b), hi = _mm_cvtepu8_epi32(_mm_srli_si128(b, 4));
    return _mm256_cvtepi32_ps(_mm256_insertf128_si256(_mm256_castsi128_si256(lo), hi, 1));
}

// Runs vec(i) over 8-sample blocks of [0, n), n >= 8, the last one shifted
// back to end at n.
template <typename Vec>
inline void each_eight(int n, Vec&& vec) {
    int i = 0;
    for (; i + 8 <= n; i += 8) vec(i);
    if (i < n) vec(n - 8);
}

// Samples s0 .. s0 + m - 1 of every row, 16 <= m <= kStrip; `ring` holds five
// rows of m + 4k floats.
void gauss5_strip(const Ipp8u* src, int srcStep, Ipp8u* dst, int dstStep, int height, int k, int s0, int m,
                  float* ring) {
    const int h = 2 * k;
    const int len = m + 2 * h;
    // r[i] holds source row y - 2 + i.
    float* r[5];
    for (int i = 0; i < 5; ++i) r[i] = ring + static_cast<ptrdiff_t>(i) * len;
    auto convert = [&](int row, float* d) {
        const Ipp8u* s = src + static_cast<ptrdiff_t>(row) * srcStep + s0 - h;
        each_eight(len, [&](int i) { _mm256_storeu_ps(d + i, bytes8(s + i)); });
    };
    alignas(32) float vA[kStrip + 12], vB[kStrip + 12], vC[kStrip + 12];
    const __m256 w2 = _mm256_set1_ps(2), w7 = _mm256_set1_ps(7), w12 = _mm256_set1_ps(12), w31 = _mm256_set1_ps(31),
                 w52 = _mm256_set1_ps(52), w127 = _mm256_set1_ps(127);
    const __m256 recip = _mm256_set1_ps(1.0f / 571.0f), half = _mm256_set1_ps(0.5f);
    for (int i = 0; i < 4; ++i) convert(i - 2, r[i]);
    for (int y = 0; y < height; ++y) {
        // The strip is a short piece of each long row: fetch a few rows ahead.
        if (y + kAhead < height) {
            const Ipp8u* in = src + static_cast<ptrdiff_t>(y + 2 + kAhead) * srcStep + s0 - h;
            Ipp8u* out = dst + static_cast<ptrdiff_t>(y + kAhead) * dstStep + s0;
            for (int b = 0; b < len; b += 64) _mm_prefetch(reinterpret_cast<const char*>(in + b), _MM_HINT_T0);
            _mm_prefetch(reinterpret_cast<const char*>(in + len - 1), _MM_HINT_T0);
            for (int b = 0; b < m; b += 64) _mm_prefetch(reinterpret_cast<const char*>(out + b), _MM_HINT_T0);
            _mm_prefetch(reinterpret_cast<const char*>(out + m - 1), _MM_HINT_T0);
        }
        const float *r0 = r[0], *r1 = r[1], *r2 = r[2], *r3 = r[3];
        float* r4 = r[4];
        const Ipp8u* newest = src + static_cast<ptrdiff_t>(y + 2) * srcStep + s0 - h;
        // Column sums; index j is sample s0 - 2k + j. The newest row is
        // converted on the way.
        each_eight(len, [&](int j) {
            const __m256 n = bytes8(newest + j);
            _mm256_storeu_ps(r4 + j, n);
            const __m256 f2 = _mm256_add_ps(_mm256_loadu_ps(r0 + j), n);
            const __m256 f1 = _mm256_add_ps(_mm256_loadu_ps(r1 + j), _mm256_loadu_ps(r3 + j));
            const __m256 f0 = _mm256_loadu_ps(r2 + j);
            auto taps = [&](__m256 a, __m256 b, __m256 c) {
                return _mm256_add_ps(_mm256_add_ps(_mm256_mul_ps(f2, a), _mm256_mul_ps(f1, b)), _mm256_mul_ps(f0, c));
            };
            _mm256_storeu_ps(vA + j, taps(w2, w7, w12));
            _mm256_storeu_ps(vB + j, taps(w7, w31, w52));
            _mm256_storeu_ps(vC + j, taps(w12, w52, w127));
        });
        auto eight = [&](int t) {
            const __m256 sum = _mm256_add_ps(
                _mm256_add_ps(_mm256_add_ps(_mm256_loadu_ps(vA + t), _mm256_loadu_ps(vA + t + 2 * h)),
                              _mm256_add_ps(_mm256_loadu_ps(vB + t + k), _mm256_loadu_ps(vB + t + 3 * k))),
                _mm256_loadu_ps(vC + t + h));
            const __m256i q = _mm256_cvttps_epi32(_mm256_add_ps(_mm256_mul_ps(sum, recip), half));
            return _mm_packs_epi32(_mm256_castsi256_si128(q), _mm256_extractf128_si256(q, 1));
        };
        Ipp8u* d = dst + static_cast<ptrdiff_t>(y) * dstStep + s0;
        auto sixteen = [&](int t) {
            _mm_storeu_si128(reinterpret_cast<__m128i*>(d + t), _mm_packus_epi16(eight(t), eight(t + 8)));
        };
        int t = 0;
        for (; t + 16 <= m; t += 16) sixteen(t);
        if (t < m) sixteen(m - 16);
        std::rotate(r, r + 1, r + 5);
    }
}

// Rows of at least 16 samples.
void gauss5_float(const Ipp8u* src, int srcStep, Ipp8u* dst, int dstStep, IppiSize roi, int k, float* ring) {
    const int n = roi.width * k;
    for (int s0 = 0; s0 < n; s0 += kStrip) {
        int m = std::min(kStrip, n - s0);
        int start = s0;
        if (m < 16) start = n - 16, m = 16;  // a short last strip overlaps the one before
        gauss5_strip(src, srcStep, dst, dstStep, roi.height, k, start, m, ring);
    }
}
#endif

IppStatus run(const gauss::Job& job) {
    const Ipp8u* src = job.src;
    Ipp8u* dst = job.dst;
    const int srcStep = static_cast<int>(job.srcStep), dstStep = static_cast<int>(job.dstStep);
    // Sized for 32-bit row values; the rows use 16-bit lanes of it (the
    // float 5x5 keeps the five source rows of a strip there).
    void* buf = ::ippMalloc(job.bufferBytes);
    if (buf == nullptr) return ippStsMemAllocErr;
    if (job.side == 3)
        gauss3(src, srcStep, dst, dstStep, job.roi, job.ch, buf);
#if defined(__AVX__)
    else if (job.roi.width * job.ch >= 16)  // five float rows of a strip fit the buffer
        gauss5_float(src, srcStep, dst, dstStep, job.roi, job.ch, static_cast<float*>(buf));
#endif
    else
        gauss5(src, srcStep, dst, dstStep, job.roi, job.ch, buf);
    ::ippFree(buf);
    return ippStsNoErr;
}

}  // namespace

IppStatus ippiFilterGauss_8u_C1R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize dstRoiSize,
                                 int maskCode) {
    gauss::Job job;
    const IppStatus st = gauss::prepare(pSrc, srcStep, pDst, dstStep, dstRoiSize, maskCode, 1, job);
    return st != ippStsNoErr ? st : run(job);
}

IppStatus ippiFilterGauss_8u_C3R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize dstRoiSize,
                                 int maskCode) {
    gauss::Job job;
    const IppStatus st = gauss::prepare(pSrc, srcStep, pDst, dstStep, dstRoiSize, maskCode, 3, job);
    return st != ippStsNoErr ? st : run(job);
}

}  // namespace qm::QM_SET
