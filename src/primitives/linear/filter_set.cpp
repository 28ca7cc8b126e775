// Fixed-kernel linear filters on 8-bit images: integer kernels with a divisor,
// float kernels. The kernel is applied flipped (true convolution).
//
// Every output value sums its taps in one order: window rows top to bottom,
// columns left to right. The vector loops run across output values with that
// same order, so every set gives the bytes of the scalar code.
#include <cmath>
#include <cstdint>
#include <cstring>

#include "frame/set.h"
#include "primitives/linear/filter_job.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif
#if defined(__SSSE3__)
#include <tmmintrin.h>
#endif
#if defined(__AVX__)
#include <immintrin.h>
#endif

namespace qm::QM_SET {
namespace {

using linear::Geometry;

// Float to 8 bits: saturate, then round half to even (NaN gives 0).
inline Ipp8u to_u8(float t) {
    if (t >= 255.0f) return 255;
    if (!(t > 0.5f)) return 0;
    double v = std::trunc(static_cast<double>(t) + 0.5);
    if (v - static_cast<double>(t) == 0.5 && (static_cast<int>(v) & 1)) v -= 1.0;
    return static_cast<Ipp8u>(v);
}

// Rows are converted once into a ring of float rows kept on the stack; wide
// images go in vertical strips so the ring fits.
constexpr int kRingFloats = 16384;
constexpr int kMinStrip = 16;  // pixels; below that the ring is not worth it

// ---- float kernels ---------------------------------------------------------

// kr is the kernel reversed, so that kr[r * kw + c] weights window (r, c).
void float_plain(const Geometry& g, const float* kr) {
    const int n = g.width * g.ch;
    for (int y = 0; y < g.height; ++y) {
        Ipp8u* d = g.dst + y * g.dstStep;
        for (int e = 0; e < n; ++e) {
            float s = 0.0f;
            for (int r = 0; r < g.kh; ++r) {
                const Ipp8u* row = g.src + (y + r) * g.srcStep + e;
                const float* k = kr + r * g.kw;
                for (int c = 0; c < g.kw; ++c) s = s + k[c] * static_cast<float>(row[c * g.ch]);
            }
            d[e] = to_u8(s);
        }
    }
}

inline void widen_row(const Ipp8u* s, float* d, int n) {
    int i = 0;
#if defined(__SSE2__)
    const __m128i z = _mm_setzero_si128();
    for (; i + 16 <= n; i += 16) {
        const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + i));
        const __m128i lo = _mm_unpacklo_epi8(b, z), hi = _mm_unpackhi_epi8(b, z);
        _mm_storeu_ps(d + i, _mm_cvtepi32_ps(_mm_unpacklo_epi16(lo, z)));
        _mm_storeu_ps(d + i + 4, _mm_cvtepi32_ps(_mm_unpackhi_epi16(lo, z)));
        _mm_storeu_ps(d + i + 8, _mm_cvtepi32_ps(_mm_unpacklo_epi16(hi, z)));
        _mm_storeu_ps(d + i + 12, _mm_cvtepi32_ps(_mm_unpackhi_epi16(hi, z)));
    }
#endif
    for (; i < n; ++i) d[i] = static_cast<float>(s[i]);
}

// One output row of a strip: `rows[r]` are the window's float rows, n values.
// Blocks of 4 vectors keep four independent sums in flight per tap.
void float_row(const float* const* rows, const float* kr, int kw, int kh, int ch, Ipp8u* d, int n) {
    int e = 0;
#if defined(__AVX__)
    const __m256 zero8 = _mm256_setzero_ps(), top8 = _mm256_set1_ps(255.0f);
    auto pack8 = [&](__m256 v) {
        // max(v, 0) turns NaN into 0; the conversion rounds half to even.
        const __m256i i = _mm256_cvtps_epi32(_mm256_min_ps(_mm256_max_ps(v, zero8), top8));
        return _mm_packs_epi32(_mm256_castsi256_si128(i), _mm256_extractf128_si256(i, 1));
    };
    for (; e + 32 <= n; e += 32) {
        __m256 a0 = zero8, a1 = zero8, a2 = zero8, a3 = zero8;
        for (int r = 0; r < kh; ++r) {
            const float* row = rows[r] + e;
            const float* k = kr + r * kw;
            for (int c = 0; c < kw; ++c, row += ch) {
                const __m256 w = _mm256_broadcast_ss(k + c);
                a0 = _mm256_add_ps(a0, _mm256_mul_ps(w, _mm256_loadu_ps(row)));
                a1 = _mm256_add_ps(a1, _mm256_mul_ps(w, _mm256_loadu_ps(row + 8)));
                a2 = _mm256_add_ps(a2, _mm256_mul_ps(w, _mm256_loadu_ps(row + 16)));
                a3 = _mm256_add_ps(a3, _mm256_mul_ps(w, _mm256_loadu_ps(row + 24)));
            }
        }
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d + e), _mm_packus_epi16(pack8(a0), pack8(a1)));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d + e + 16), _mm_packus_epi16(pack8(a2), pack8(a3)));
    }
#endif
#if defined(__SSE2__)
    const __m128 zero = _mm_setzero_ps(), top = _mm_set1_ps(255.0f);
    auto cvt = [&](__m128 v) { return _mm_cvtps_epi32(_mm_min_ps(_mm_max_ps(v, zero), top)); };
    for (; e + 16 <= n; e += 16) {
        __m128 a0 = zero, a1 = zero, a2 = zero, a3 = zero;
        for (int r = 0; r < kh; ++r) {
            const float* row = rows[r] + e;
            const float* k = kr + r * kw;
            for (int c = 0; c < kw; ++c, row += ch) {
                const __m128 w = _mm_set1_ps(k[c]);
                a0 = _mm_add_ps(a0, _mm_mul_ps(w, _mm_loadu_ps(row)));
                a1 = _mm_add_ps(a1, _mm_mul_ps(w, _mm_loadu_ps(row + 4)));
                a2 = _mm_add_ps(a2, _mm_mul_ps(w, _mm_loadu_ps(row + 8)));
                a3 = _mm_add_ps(a3, _mm_mul_ps(w, _mm_loadu_ps(row + 12)));
            }
        }
        const __m128i lo = _mm_packs_epi32(cvt(a0), cvt(a1)), hi = _mm_packs_epi32(cvt(a2), cvt(a3));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d + e), _mm_packus_epi16(lo, hi));
    }
    for (; e + 4 <= n; e += 4) {
        __m128 a = zero;
        for (int r = 0; r < kh; ++r) {
            const float* row = rows[r] + e;
            const float* k = kr + r * kw;
            for (int c = 0; c < kw; ++c, row += ch) a = _mm_add_ps(a, _mm_mul_ps(_mm_set1_ps(k[c]), _mm_loadu_ps(row)));
        }
        const __m128i b = _mm_packs_epi32(cvt(a), cvt(a));
        const int four = _mm_cvtsi128_si32(_mm_packus_epi16(b, b));
        std::memcpy(d + e, &four, 4);
    }
#endif
    for (; e < n; ++e) {
        float s = 0.0f;
        for (int r = 0; r < kh; ++r) {
            const float* row = rows[r] + e;
            const float* k = kr + r * kw;
            for (int c = 0; c < kw; ++c) s = s + k[c] * row[c * ch];
        }
        d[e] = to_u8(s);
    }
}

void float_ring(const Geometry& g, const float* kr, int stripPixels) {
    alignas(32) float ring[kRingFloats];
    const float* rows[kRingFloats / kMinStrip];
    for (int x0 = 0; x0 < g.width; x0 += stripPixels) {
        const int sw = g.width - x0 < stripPixels ? g.width - x0 : stripPixels;
        const int rowLen = g.ch * (sw + g.kw - 1);
        const Ipp8u* s = g.src + ptrdiff_t{x0} * g.ch;
        for (int r = 0; r < g.kh - 1; ++r) widen_row(s + r * g.srcStep, ring + r * rowLen, rowLen);
        for (int y = 0; y < g.height; ++y) {
            // Window row r of output row y is source row y + r, in slot (y + r) % kh.
            const int newest = y + g.kh - 1;
            widen_row(s + ptrdiff_t{newest} * g.srcStep, ring + (newest % g.kh) * rowLen, rowLen);
            for (int r = 0; r < g.kh; ++r) rows[r] = ring + ((y + r) % g.kh) * rowLen;
            float_row(rows, kr, g.kw, g.kh, g.ch, g.dst + y * g.dstStep + ptrdiff_t{x0} * g.ch, g.ch * sw);
        }
    }
}

void float_filter(const Geometry& g, const float* kernel) {
    const int64_t taps = int64_t{g.kw} * g.kh;
    // The reversed kernel; large kernels read the caller's array backwards instead.
    alignas(32) float local[1024];
    const float* kr = nullptr;
    if (taps <= 1024) {
        for (int64_t t = 0; t < taps; ++t) local[t] = kernel[taps - 1 - t];
        kr = local;
    }
    // Widest strip whose kh float rows fit the ring.
    const int64_t perRow = kRingFloats / g.kh;
    const int64_t strip = perRow / g.ch - (g.kw - 1);
    if (kr != nullptr && strip >= kMinStrip) {
        float_ring(g, kr, static_cast<int>(strip < g.width ? strip : g.width));
        return;
    }
    if (kr == nullptr) {
        // Huge kernels: plain loop on the reversed view, same order of sums.
        const int n = g.width * g.ch;
        for (int y = 0; y < g.height; ++y)
            for (int e = 0; e < n; ++e) {
                float s = 0.0f;
                const float* k = kernel + taps - 1;
                for (int r = 0; r < g.kh; ++r) {
                    const Ipp8u* row = g.src + (y + r) * g.srcStep + e;
                    for (int c = 0; c < g.kw; ++c, --k) s = s + *k * static_cast<float>(row[c * g.ch]);
                }
                g.dst[y * g.dstStep + e] = to_u8(s);
            }
        return;
    }
    float_plain(g, kr);
}

// ---- integer kernels -------------------------------------------------------

inline Ipp8u clamp_u8(int32_t v) { return static_cast<Ipp8u>(v < 0 ? 0 : v > 255 ? 255 : v); }

// The divisor rule the front chose, applied.
struct Divide : linear::DivideRule {
    Ipp8u operator()(int32_t s) const {
        if (rule == One) return clamp_u8(s);
        if (rule == Reciprocal) return to_u8(static_cast<float>(s) * recip);
        if (s <= 0) return 0;
        // Half to even, in integers.
        const int32_t half = int32_t{1} << (k - 1), q = s >> k, rem = s & ((int32_t{1} << k) - 1);
        return clamp_u8(q + ((rem > half || (rem == half && (q & 1))) ? 1 : 0));
    }
#if defined(__SSE2__)
    // Four sums to four values in 0..255, in 32-bit lanes.
    __m128i operator()(__m128i s) const {
        if (rule == One) return s;  // the final packs saturate
        if (rule == Reciprocal) {
            const __m128 t = _mm_mul_ps(_mm_cvtepi32_ps(s), _mm_set1_ps(recip));
            return _mm_cvtps_epi32(_mm_min_ps(_mm_max_ps(t, _mm_setzero_ps()), _mm_set1_ps(255.0f)));
        }
        // (s + half - 1 + (q & 1)) >> k rounds half to even for s > 0; the sum
        // stays below 2^32, so a logical shift is exact.
        const __m128i cnt = _mm_cvtsi32_si128(k);
        const __m128i odd = _mm_and_si128(_mm_srl_epi32(s, cnt), _mm_set1_epi32(1));
        const __m128i bias = _mm_add_epi32(_mm_set1_epi32((int32_t{1} << (k - 1)) - 1), odd);
        const __m128i q = _mm_srl_epi32(_mm_add_epi32(s, bias), cnt);
        return _mm_and_si128(q, _mm_cmpgt_epi32(s, _mm_setzero_si128()));
    }
#endif
};

// Sums wrap in 32 bits; unsigned arithmetic keeps that defined. The order of
// integer additions does not matter, so taps go outer here.
void int_plain(const Geometry& g, const Ipp32s* kernel, const Divide& finish, int x0, int y0) {
    const int n = g.width * g.ch;
    const int64_t taps = int64_t{g.kw} * g.kh;
    constexpr int kChunk = 1024;
    uint32_t acc[kChunk];
    for (int y = y0; y < g.height; ++y) {
        Ipp8u* d = g.dst + y * g.dstStep;
        for (int e0 = y == y0 ? x0 : 0; e0 < n; e0 += kChunk) {
            const int m = n - e0 < kChunk ? n - e0 : kChunk;
            std::memset(acc, 0, sizeof(uint32_t) * m);
            const Ipp32s* k = kernel + taps - 1;
            for (int r = 0; r < g.kh; ++r) {
                const Ipp8u* row = g.src + (y + r) * g.srcStep + e0;
                for (int c = 0; c < g.kw; ++c, --k) {
                    const uint32_t w = static_cast<uint32_t>(*k);
                    const Ipp8u* s = row + c * g.ch;
                    for (int i = 0; i < m; ++i) acc[i] += w * s[i];
                }
            }
            for (int i = 0; i < m; ++i) d[e0 + i] = finish(static_cast<int32_t>(acc[i]));
        }
    }
}

#if defined(__SSE2__)
// w * p mod 2^32 = lo16(w) * p + (hi16(w) * p mod 2^16) << 16 for bytes p:
// the first part is exact in 16x16->32 multiplies, the second only needs
// 16-bit lanes. 16 values per step.
void int_vector(const Geometry& g, const Ipp32s* kernel, const Divide& finish) {
    const int n = g.width * g.ch;
    const int taps = g.kw * g.kh;
    alignas(16) int16_t wl[1024], wh[1024];
    for (int t = 0; t < taps; ++t) {  // reversed: window order
        const uint32_t w = static_cast<uint32_t>(kernel[taps - 1 - t]);
        wl[t] = static_cast<int16_t>(w & 0xFFFF);
        wh[t] = static_cast<int16_t>(w >> 16);
    }
    const __m128i z = _mm_setzero_si128();
    const int last = n - 16;
    for (int y = 0; y < g.height; ++y) {
        Ipp8u* d = g.dst + y * g.dstStep;
        const Ipp8u* top = g.src + y * g.srcStep;
        for (int e = 0; e <= last; e += 16) {
            __m128i l0 = z, l1 = z, l2 = z, l3 = z, h0 = z, h1 = z;
            int t = 0;
            for (int r = 0; r < g.kh; ++r) {
                const Ipp8u* row = top + r * g.srcStep + e;
                for (int c = 0; c < g.kw; ++c, ++t, row += g.ch) {
                    const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(row));
                    const __m128i p0 = _mm_unpacklo_epi8(b, z), p1 = _mm_unpackhi_epi8(b, z);
                    const __m128i lo = _mm_set1_epi16(wl[t]), hi = _mm_set1_epi16(wh[t]);
                    const __m128i m0l = _mm_mullo_epi16(p0, lo), m0h = _mm_mulhi_epu16(p0, lo);
                    const __m128i m1l = _mm_mullo_epi16(p1, lo), m1h = _mm_mulhi_epu16(p1, lo);
                    l0 = _mm_add_epi32(l0, _mm_unpacklo_epi16(m0l, m0h));
                    l1 = _mm_add_epi32(l1, _mm_unpackhi_epi16(m0l, m0h));
                    l2 = _mm_add_epi32(l2, _mm_unpacklo_epi16(m1l, m1h));
                    l3 = _mm_add_epi32(l3, _mm_unpackhi_epi16(m1l, m1h));
                    h0 = _mm_add_epi16(h0, _mm_mullo_epi16(p0, hi));
                    h1 = _mm_add_epi16(h1, _mm_mullo_epi16(p1, hi));
                }
            }
            const __m128i s0 = finish(_mm_add_epi32(l0, _mm_unpacklo_epi16(z, h0)));
            const __m128i s1 = finish(_mm_add_epi32(l1, _mm_unpackhi_epi16(z, h0)));
            const __m128i s2 = finish(_mm_add_epi32(l2, _mm_unpacklo_epi16(z, h1)));
            const __m128i s3 = finish(_mm_add_epi32(l3, _mm_unpackhi_epi16(z, h1)));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(d + e),
                             _mm_packus_epi16(_mm_packs_epi32(s0, s1), _mm_packs_epi32(s2, s3)));
        }
        // The row's last values: the scalar loop, one row at a time.
        const int done = n >= 16 ? (n / 16) * 16 : 0;
        if (done < n) {
            Geometry one = g;
            one.height = y + 1;
            int_plain(one, kernel, finish, done, y);
        }
    }
}

// Kernels whose weights all fit 16 bits take pairs of taps through one
// 16x16->32 multiply-add: a pair of byte products cannot leave 32 bits, and
// the 32-bit sums wrap exactly as the scalar ones do.
//
// Kernels that are smaller still, where every weight fits a signed byte and
// the largest and smallest possible sums (all pixels 255 under the positive,
// resp. the negative weights) stay within 16 bits, sum in 16-bit lanes: the
// byte x byte pair products cannot saturate and no partial sum can wrap
// differently from the final one.
struct TapPairs {
    static constexpr int kMax = 512;  // pairs: kernels up to 1024 taps
    int count = 0;
    ptrdiff_t off[kMax][2];     // byte offsets from the window's top-left
    alignas(16) __m128i w[kMax];  // the pair's weights, broadcast

    // Taps in window order, two at a time; an odd last tap pairs with itself
    // under a zero weight.
    template <typename Pack>
    void window_order(const Geometry& g, const Ipp32s* kernel, Pack pack) {
        const int taps = g.kw * g.kh;
        auto at = [&](int t) { return ptrdiff_t{t / g.kw} * g.srcStep + ptrdiff_t{t % g.kw} * g.ch; };
        for (int t = 0; t < taps; t += 2) {
            const bool single = t + 1 == taps;
            off[count][0] = at(t);
            off[count][1] = single ? at(t) : at(t + 1);
            w[count++] = pack(kernel[taps - 1 - t], single ? 0 : kernel[taps - 2 - t]);
        }
    }
};

enum class Range { Narrow, Short, Wide };

Range weight_range(const Ipp32s* kernel, int64_t taps) {
    int64_t pos = 0, neg = 0;
    bool byte = true, half = true;
    for (int64_t t = 0; t < taps; ++t) {
        const int64_t w = kernel[t];
        (w > 0 ? pos : neg) += w > 0 ? w : -w;
        byte = byte && w >= -128 && w <= 127;
        half = half && w >= -32768 && w <= 32767;
    }
    if (byte && 255 * pos <= 32767 && 255 * neg <= 32768) return Range::Narrow;
    return half ? Range::Short : Range::Wide;
}

// Sixteen values from two vectors of eight signed 16-bit sums (the narrow
// range: -32768..32767).
struct Finish16 {
    const Divide& div;
    __m128i bias, one, cnt;
    __m128 scaled;
    explicit Finish16(const Divide& d)
        : div(d),
          bias(_mm_set1_epi16(static_cast<int16_t>(d.rule == Divide::Shift && d.k <= 15 ? (1 << (d.k - 1)) - 1 : 0))),
          one(_mm_set1_epi16(1)),
          cnt(_mm_cvtsi32_si128(d.k)),
          // S * 2^16 * (r * 2^-16) rounds like S * r: powers of two scale exactly.
          scaled(_mm_set1_ps(d.recip * (1.0f / 65536.0f))) {}

    __m128i half(__m128i s) const {  // eight values in 16-bit lanes
        if (div.rule == Divide::Shift) {
            // As the 32-bit rule; S + bias stays below 2^16 for k <= 15.
            const __m128i b = _mm_add_epi16(bias, _mm_and_si128(_mm_srl_epi16(s, cnt), one));
            const __m128i q = _mm_srl_epi16(_mm_add_epi16(s, b), cnt);
            return _mm_and_si128(q, _mm_cmpgt_epi16(s, _mm_setzero_si128()));
        }
        // |t| <= 32768: the conversions cannot overflow and the packs clamp
        // to 0..255 as the saturating rule does.
        const __m128i z = _mm_setzero_si128();
        const __m128i a = _mm_cvtps_epi32(_mm_mul_ps(_mm_cvtepi32_ps(_mm_unpacklo_epi16(z, s)), scaled));
        const __m128i b = _mm_cvtps_epi32(_mm_mul_ps(_mm_cvtepi32_ps(_mm_unpackhi_epi16(z, s)), scaled));
        return _mm_packs_epi32(a, b);
    }

    __m128i operator()(__m128i lo, __m128i hi) const {
        if (div.rule == Divide::One) return _mm_packus_epi16(lo, hi);  // clamps exactly
        if (div.rule == Divide::Shift && div.k > 15) {
            const __m128i s0 = div(_mm_srai_epi32(_mm_unpacklo_epi16(lo, lo), 16));
            const __m128i s1 = div(_mm_srai_epi32(_mm_unpackhi_epi16(lo, lo), 16));
            const __m128i s2 = div(_mm_srai_epi32(_mm_unpacklo_epi16(hi, hi), 16));
            const __m128i s3 = div(_mm_srai_epi32(_mm_unpackhi_epi16(hi, hi), 16));
            return _mm_packus_epi16(_mm_packs_epi32(s0, s1), _mm_packs_epi32(s2, s3));
        }
        return _mm_packus_epi16(half(lo), half(hi));
    }
};

// Runs block(e) over 16-value blocks of a row of n >= 16 values; the last one
// is shifted back to end at n (a few values are computed twice).
template <typename Block>
inline void each_block(int n, Block&& block) {
    int e = 0;
    for (; e + 16 <= n; e += 16) block(e);
    if (e < n) block(n - 16);
}

void short_pairs(const Geometry& g, const Ipp32s* kernel, const Divide& finish) {
    TapPairs pairs;
    pairs.window_order(g, kernel, [](int32_t a, int32_t b) {
        return _mm_set1_epi32(static_cast<int32_t>((static_cast<uint32_t>(b) << 16) | (static_cast<uint32_t>(a) & 0xFFFF)));
    });
    const int n = g.width * g.ch;
    const __m128i z = _mm_setzero_si128();
    for (int y = 0; y < g.height; ++y) {
        const Ipp8u* top = g.src + y * g.srcStep;
        Ipp8u* d = g.dst + y * g.dstStep;
        each_block(n, [&](int e) {
            __m128i a0 = z, a1 = z, a2 = z, a3 = z;
            for (int p = 0; p < pairs.count; ++p) {
                const __m128i b0 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(top + pairs.off[p][0] + e));
                const __m128i b1 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(top + pairs.off[p][1] + e));
                // Interleaved bytes widen to (first, second) 16-bit pairs.
                const __m128i il = _mm_unpacklo_epi8(b0, b1), ih = _mm_unpackhi_epi8(b0, b1);
                const __m128i w = pairs.w[p];
                a0 = _mm_add_epi32(a0, _mm_madd_epi16(_mm_unpacklo_epi8(il, z), w));
                a1 = _mm_add_epi32(a1, _mm_madd_epi16(_mm_unpackhi_epi8(il, z), w));
                a2 = _mm_add_epi32(a2, _mm_madd_epi16(_mm_unpacklo_epi8(ih, z), w));
                a3 = _mm_add_epi32(a3, _mm_madd_epi16(_mm_unpackhi_epi8(ih, z), w));
            }
            _mm_storeu_si128(reinterpret_cast<__m128i*>(d + e),
                             _mm_packus_epi16(_mm_packs_epi32(finish(a0), finish(a1)),
                                              _mm_packs_epi32(finish(a2), finish(a3))));
        });
    }
}

#if defined(__SSSE3__)
inline __m128i byte_pair(int32_t a, int32_t b) {
    return _mm_set1_epi16(static_cast<int16_t>(((b & 0xFF) << 8) | (a & 0xFF)));
}

// Any layout: the two taps' bytes are interleaved, then multiplied and added
// in one step.
void narrow_pairs(const Geometry& g, const TapPairs& pairs, const Finish16& finish) {
    const int n = g.width * g.ch;
    for (int y = 0; y < g.height; ++y) {
        const Ipp8u* top = g.src + y * g.srcStep;
        Ipp8u* d = g.dst + y * g.dstStep;
        each_block(n, [&](int e) {
            __m128i lo = _mm_setzero_si128(), hi = lo;
            for (int p = 0; p < pairs.count; ++p) {
                const __m128i b0 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(top + pairs.off[p][0] + e));
                const __m128i b1 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(top + pairs.off[p][1] + e));
                lo = _mm_add_epi16(lo, _mm_maddubs_epi16(_mm_unpacklo_epi8(b0, b1), pairs.w[p]));
                hi = _mm_add_epi16(hi, _mm_maddubs_epi16(_mm_unpackhi_epi8(b0, b1), pairs.w[p]));
            }
            _mm_storeu_si128(reinterpret_cast<__m128i*>(d + e), finish(lo, hi));
        });
    }
}

// One channel, kernel at least two wide: neighbouring columns are already
// adjacent bytes. A load at column c feeds the even outputs with the pair
// (c, c + 1), the load one byte on the odd ones; an odd last column pairs
// with its left neighbour under a zero weight. No load leaves the windows.
//
// Two output rows share their common source rows' loads. KW is the kernel
// width when fixed at compile time (0: read from g).
template <int KW>
struct GreyRows {
    int kw, pairsPerRow;
    const __m128i* w;  // pairsPerRow per window row

    // Adds window row r (weights) over the source row at p.
    inline void add(const Ipp8u* p, int r, __m128i& even, __m128i& odd) const {
        const int n = KW ? KW : kw;
        const __m128i* wr = w + r * (KW ? (KW + 1) / 2 : pairsPerRow);
        for (int c = 0, j = 0; c < n; c += 2, ++j) {
            const int c0 = c + 1 == n ? c - 1 : c;
            const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + c0));
            const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + c0 + 1));
            even = _mm_add_epi16(even, _mm_maddubs_epi16(a, wr[j]));
            odd = _mm_add_epi16(odd, _mm_maddubs_epi16(b, wr[j]));
        }
    }
};

template <int KW>
void narrow_grey_rows(const Geometry& g, const GreyRows<KW>& rows, const Finish16& finish) {
    const int n = g.width;
    const ptrdiff_t step = g.srcStep;
    auto out = [&](Ipp8u* d, __m128i even, __m128i odd) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d),
                         finish(_mm_unpacklo_epi16(even, odd), _mm_unpackhi_epi16(even, odd)));
    };
    int y = 0;
    for (; y + 2 <= g.height; y += 2) {
        const Ipp8u* top = g.src + y * step;
        Ipp8u* d0 = g.dst + y * g.dstStep;
        Ipp8u* d1 = d0 + g.dstStep;
        each_block(n, [&](int e) {
            __m128i e0 = _mm_setzero_si128(), o0 = e0, e1 = e0, o1 = e0;
            const Ipp8u* p = top + e;
            rows.add(p, 0, e0, o0);
            for (int r = 1; r < g.kh; ++r) {
                p += step;
                rows.add(p, r, e0, o0);
                rows.add(p, r - 1, e1, o1);
            }
            rows.add(p + step, g.kh - 1, e1, o1);
            out(d0 + e, e0, o0);
            out(d1 + e, e1, o1);
        });
    }
    if (y < g.height) {
        const Ipp8u* top = g.src + y * step;
        Ipp8u* d = g.dst + y * g.dstStep;
        each_block(n, [&](int e) {
            __m128i even = _mm_setzero_si128(), odd = even;
            for (int r = 0; r < g.kh; ++r) rows.add(top + r * step + e, r, even, odd);
            out(d + e, even, odd);
        });
    }
}

void narrow_grey(const Geometry& g, const Ipp32s* kernel, const Finish16& finish, TapPairs& pairs) {
    const int taps = g.kw * g.kh;
    const int per = (g.kw + 1) / 2;
    for (int r = 0; r < g.kh; ++r)
        for (int c = 0, j = 0; c < g.kw; c += 2, ++j) {
            const int t = taps - 1 - (r * g.kw + c);  // kernel index of window (r, c)
            pairs.w[r * per + j] = c + 1 == g.kw ? byte_pair(0, kernel[t]) : byte_pair(kernel[t], kernel[t - 1]);
        }
    switch (g.kw) {
        case 3: narrow_grey_rows(g, GreyRows<3>{3, per, pairs.w}, finish); break;
        case 5: narrow_grey_rows(g, GreyRows<5>{5, per, pairs.w}, finish); break;
        case 7: narrow_grey_rows(g, GreyRows<7>{7, per, pairs.w}, finish); break;
        default: narrow_grey_rows(g, GreyRows<0>{g.kw, per, pairs.w}, finish); break;
    }
}

void narrow(const Geometry& g, const Ipp32s* kernel, const Divide& divide) {
    TapPairs pairs;
    const Finish16 finish(divide);
    if (g.ch == 1 && g.kw >= 2 && int64_t{g.kh} * ((g.kw + 1) / 2) <= TapPairs::kMax) {
        narrow_grey(g, kernel, finish, pairs);
    } else {
        pairs.window_order(g, kernel, byte_pair);
        narrow_pairs(g, pairs, finish);
    }
}
#endif
#endif

void int_filter(const linear::IntJob& job) {
    const Geometry& g = job.g;
    const Ipp32s* kernel = job.kernel;
    const Divide finish{job.divide};
#if defined(__SSE2__)
    const int64_t taps = int64_t{g.kw} * g.kh;
    if (int64_t{g.width} * g.ch >= 16 && taps <= 2 * TapPairs::kMax) {
        const Range range = weight_range(kernel, taps);
#if defined(__SSSE3__)
        if (range == Range::Narrow) {
            narrow(g, kernel, finish);
            return;
        }
#endif
        if (range != Range::Wide) {
            short_pairs(g, kernel, finish);
            return;
        }
    }
    if (taps <= 1024) {
        int_vector(g, kernel, finish);
        return;
    }
#endif
    int_plain(g, kernel, finish, 0, 0);
}

}  // namespace

IppStatus ippiFilter_8u_C1R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize dstRoiSize,
                            const Ipp32s* pKernel, IppiSize kernelSize, IppiPoint anchor, int divisor) {
    linear::IntJob job;
    const IppStatus st =
        linear::prepare(pSrc, srcStep, pDst, dstStep, dstRoiSize, pKernel, kernelSize, anchor, divisor, 1, job);
    if (st == ippStsNoErr) int_filter(job);
    return st;
}

IppStatus ippiFilter_8u_C3R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize dstRoiSize,
                            const Ipp32s* pKernel, IppiSize kernelSize, IppiPoint anchor, int divisor) {
    linear::IntJob job;
    const IppStatus st =
        linear::prepare(pSrc, srcStep, pDst, dstStep, dstRoiSize, pKernel, kernelSize, anchor, divisor, 3, job);
    if (st == ippStsNoErr) int_filter(job);
    return st;
}

IppStatus ippiFilter32f_8u_C1R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize dstRoiSize,
                               const Ipp32f* pKernel, IppiSize kernelSize, IppiPoint anchor) {
    linear::FloatJob job;
    const IppStatus st = linear::prepare(pSrc, srcStep, pDst, dstStep, dstRoiSize, pKernel, kernelSize, anchor, 1, job);
    if (st == ippStsNoErr) float_filter(job.g, job.kernel);
    return st;
}

IppStatus ippiFilter32f_8u_C3R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize dstRoiSize,
                               const Ipp32f* pKernel, IppiSize kernelSize, IppiPoint anchor) {
    linear::FloatJob job;
    const IppStatus st = linear::prepare(pSrc, srcStep, pDst, dstStep, dstRoiSize, pKernel, kernelSize, anchor, 3, job);
    if (st == ippStsNoErr) float_filter(job.g, job.kernel);
    return st;
}

}  // namespace qm::QM_SET
