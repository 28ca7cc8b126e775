// Float lanes across destination pixels for the geometry kernels of one
// implementation set: 8 lanes with AVX, 4 otherwise. Each lane does exactly
// the float operations of the scalar code for its pixel, so every set keeps
// the same bytes. Integer lane work stays in 128-bit halves (no 256-bit
// integer instructions below AVX2).
//
// Selects are and/andnot/or: with AVX but no AVX2 the compiler may turn
// blends of compare results into per-lane branches.
#pragma once
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>

#include <emmintrin.h>
#if defined(__SSSE3__)
#include <tmmintrin.h>
#endif
#if defined(__SSE4_1__)
#include <smmintrin.h>
#endif
#if defined(__AVX__)
#include <immintrin.h>
#endif

#include "frame/set.h"

// The lane helpers are small pieces of one loop body; inlining them keeps the
// lanes in registers.
#define QM_LANES_INLINE inline __attribute__((always_inline))
#define QM_LANES_INLINE_LAMBDA __attribute__((always_inline))  // after a lambda's parameters

namespace qm::QM_SET::lanes {

#if defined(__AVX__)
inline constexpr int kLanes = 8;
using VF = __m256;
QM_LANES_INLINE VF fset(float a) { return _mm256_set1_ps(a); }
QM_LANES_INLINE VF fload(const float* p) { return _mm256_loadu_ps(p); }
QM_LANES_INLINE void fstore(float* p, VF a) { _mm256_storeu_ps(p, a); }
QM_LANES_INLINE VF fadd(VF a, VF b) { return _mm256_add_ps(a, b); }
QM_LANES_INLINE VF fsub(VF a, VF b) { return _mm256_sub_ps(a, b); }
QM_LANES_INLINE VF fmul(VF a, VF b) { return _mm256_mul_ps(a, b); }
QM_LANES_INLINE VF fdiv(VF a, VF b) { return _mm256_div_ps(a, b); }
QM_LANES_INLINE VF fmax(VF a, VF b) { return _mm256_max_ps(a, b); }
QM_LANES_INLINE VF fmin(VF a, VF b) { return _mm256_min_ps(a, b); }
QM_LANES_INLINE VF fand(VF a, VF b) { return _mm256_and_ps(a, b); }
QM_LANES_INLINE VF fandnot(VF m, VF b) { return _mm256_andnot_ps(m, b); }
QM_LANES_INLINE VF f_or(VF a, VF b) { return _mm256_or_ps(a, b); }
QM_LANES_INLINE VF fge(VF a, VF b) { return _mm256_cmp_ps(a, b, _CMP_GE_OQ); }
QM_LANES_INLINE VF fle(VF a, VF b) { return _mm256_cmp_ps(a, b, _CMP_LE_OQ); }
QM_LANES_INLINE VF flt(VF a, VF b) { return _mm256_cmp_ps(a, b, _CMP_LT_OQ); }
QM_LANES_INLINE int fmask(VF m) { return _mm256_movemask_ps(m); }
#else
inline constexpr int kLanes = 4;
using VF = __m128;
QM_LANES_INLINE VF fset(float a) { return _mm_set1_ps(a); }
QM_LANES_INLINE VF fload(const float* p) { return _mm_loadu_ps(p); }
QM_LANES_INLINE void fstore(float* p, VF a) { _mm_storeu_ps(p, a); }
QM_LANES_INLINE VF fadd(VF a, VF b) { return _mm_add_ps(a, b); }
QM_LANES_INLINE VF fsub(VF a, VF b) { return _mm_sub_ps(a, b); }
QM_LANES_INLINE VF fmul(VF a, VF b) { return _mm_mul_ps(a, b); }
QM_LANES_INLINE VF fdiv(VF a, VF b) { return _mm_div_ps(a, b); }
QM_LANES_INLINE VF fmax(VF a, VF b) { return _mm_max_ps(a, b); }
QM_LANES_INLINE VF fmin(VF a, VF b) { return _mm_min_ps(a, b); }
QM_LANES_INLINE VF fand(VF a, VF b) { return _mm_and_ps(a, b); }
QM_LANES_INLINE VF fandnot(VF m, VF b) { return _mm_andnot_ps(m, b); }
QM_LANES_INLINE VF f_or(VF a, VF b) { return _mm_or_ps(a, b); }
QM_LANES_INLINE VF fge(VF a, VF b) { return _mm_cmpge_ps(a, b); }
QM_LANES_INLINE VF fle(VF a, VF b) { return _mm_cmple_ps(a, b); }
QM_LANES_INLINE VF flt(VF a, VF b) { return _mm_cmplt_ps(a, b); }
QM_LANES_INLINE int fmask(VF m) { return _mm_movemask_ps(m); }
#endif

inline constexpr int kHalves = kLanes / 4;
inline constexpr int kAllLanes = (1 << kLanes) - 1;

QM_LANES_INLINE VF fselect(VF m, VF a, VF b) { return f_or(fand(m, a), fandnot(m, b)); }

// Integer lanes, as 128-bit halves of four.
struct VI {
    __m128i h[kHalves];
};
QM_LANES_INLINE VI iset(int a) {
    VI r;
    for (int k = 0; k < kHalves; ++k) r.h[k] = _mm_set1_epi32(a);
    return r;
}
QM_LANES_INLINE VI iadd(const VI& a, const VI& b) {
    VI r;
    for (int k = 0; k < kHalves; ++k) r.h[k] = _mm_add_epi32(a.h[k], b.h[k]);
    return r;
}
QM_LANES_INLINE VI ilt(const VI& a, const VI& b) {
    VI r;
    for (int k = 0; k < kHalves; ++k) r.h[k] = _mm_cmplt_epi32(a.h[k], b.h[k]);
    return r;
}
QM_LANES_INLINE VI igt(const VI& a, const VI& b) {
    VI r;
    for (int k = 0; k < kHalves; ++k) r.h[k] = _mm_cmpgt_epi32(a.h[k], b.h[k]);
    return r;
}
QM_LANES_INLINE VI iand(const VI& a, const VI& b) {
    VI r;
    for (int k = 0; k < kHalves; ++k) r.h[k] = _mm_and_si128(a.h[k], b.h[k]);
    return r;
}
QM_LANES_INLINE VI i_or(const VI& a, const VI& b) {
    VI r;
    for (int k = 0; k < kHalves; ++k) r.h[k] = _mm_or_si128(a.h[k], b.h[k]);
    return r;
}
QM_LANES_INLINE VI iselect(const VI& m, const VI& a, const VI& b) {
    VI r;
    for (int k = 0; k < kHalves; ++k)
        r.h[k] = _mm_or_si128(_mm_and_si128(m.h[k], a.h[k]), _mm_andnot_si128(m.h[k], b.h[k]));
    return r;
}
// a * b per lane, low 32 bits.
QM_LANES_INLINE VI imul(const VI& a, int b) {
    VI r;
    const __m128i vb = _mm_set1_epi32(b);
    for (int k = 0; k < kHalves; ++k) {
#if defined(__SSE4_1__)
        r.h[k] = _mm_mullo_epi32(a.h[k], vb);
#else
        const __m128i even = _mm_mul_epu32(a.h[k], vb), odd = _mm_mul_epu32(_mm_srli_epi64(a.h[k], 32), vb);
        r.h[k] = _mm_unpacklo_epi32(_mm_shuffle_epi32(even, _MM_SHUFFLE(0, 0, 2, 0)),
                                    _mm_shuffle_epi32(odd, _MM_SHUFFLE(0, 0, 2, 0)));
#endif
    }
    return r;
}
QM_LANES_INLINE bool iany(const VI& m) {
    __m128i a = m.h[0];
    for (int k = 1; k < kHalves; ++k) a = _mm_or_si128(a, m.h[k]);
    return _mm_movemask_epi8(a) != 0;
}
QM_LANES_INLINE void istore(int* p, const VI& a) {
    for (int k = 0; k < kHalves; ++k) _mm_storeu_si128(reinterpret_cast<__m128i*>(p + 4 * k), a.h[k]);
}

// table[idx[k]] per lane.
QM_LANES_INLINE VF fgather(const float* table, const int* idx) {
#if defined(__AVX__)
    return _mm256_setr_ps(table[idx[0]], table[idx[1]], table[idx[2]], table[idx[3]], table[idx[4]], table[idx[5]],
                          table[idx[6]], table[idx[7]]);
#else
    return _mm_setr_ps(table[idx[0]], table[idx[1]], table[idx[2]], table[idx[3]]);
#endif
}

// Integer lane masks (all ones or zero) as float masks.
QM_LANES_INLINE VF fmask_of(const VI& m) {
#if defined(__AVX__)
    return _mm256_insertf128_ps(_mm256_castps128_ps256(_mm_castsi128_ps(m.h[0])), _mm_castsi128_ps(m.h[1]), 1);
#else
    return _mm_castsi128_ps(m.h[0]);
#endif
}

// static_cast<float>(int) per lane.
QM_LANES_INLINE VF to_float(const VI& a) {
#if defined(__AVX__)
    return _mm256_cvtepi32_ps(_mm256_insertf128_si256(_mm256_castsi128_si256(a.h[0]), a.h[1], 1));
#else
    return _mm_cvtepi32_ps(a.h[0]);
#endif
}

// static_cast<int>(v) per lane (truncation).
QM_LANES_INLINE VI truncate(VF v) {
    VI r;
#if defined(__AVX__)
    const __m256i t = _mm256_cvttps_epi32(v);
    r.h[0] = _mm256_castsi256_si128(t);
    r.h[1] = _mm256_extractf128_si256(t, 1);
#else
    r.h[0] = _mm_cvttps_epi32(v);
#endif
    return r;
}

// static_cast<int>(static_cast<double>(v) + 1e-7) per lane, in double as the
// scalar code does it.
QM_LANES_INLINE VI truncate_eps(VF v) {
    VI r;
#if defined(__AVX__)
    const __m256d eps = _mm256_set1_pd(1e-7);
    r.h[0] = _mm256_cvttpd_epi32(_mm256_add_pd(_mm256_cvtps_pd(_mm256_castps256_ps128(v)), eps));
    r.h[1] = _mm256_cvttpd_epi32(_mm256_add_pd(_mm256_cvtps_pd(_mm256_extractf128_ps(v, 1)), eps));
#else
    const __m128d eps = _mm_set1_pd(1e-7);
    const __m128i lo = _mm_cvttpd_epi32(_mm_add_pd(_mm_cvtps_pd(v), eps));
    const __m128i hi = _mm_cvttpd_epi32(_mm_add_pd(_mm_cvtps_pd(_mm_movehl_ps(v, v)), eps));
    r.h[0] = _mm_unpacklo_epi64(lo, hi);
#endif
    return r;
}

// round_sat per lane: max keeps 0 for NaN as the scalar select does.
QM_LANES_INLINE VI round_sat(VF v) {
    const VF c = fmin(fmax(v, fset(0.0f)), fset(255.0f));
    return truncate(fadd(c, fset(0.5f)));
}

// ---- source bytes -------------------------------------------------------------

// NB bytes from p into the low bytes of a register. WIDE loads may read past
// the NB bytes up to 8 (NB <= 8) or 16 bytes; callers allow it only where
// that stays inside the source row.
template <int NB, bool WIDE>
QM_LANES_INLINE __m128i load_bytes(const Ipp8u* p) {
    static_assert(NB == 2 || NB == 4 || NB == 6 || NB == 12, "unsupported byte count");
    if constexpr (NB == 2) {
        uint16_t v;
        std::memcpy(&v, p, 2);
        return _mm_cvtsi32_si128(v);
    } else if constexpr (NB == 4) {
        int v;
        std::memcpy(&v, p, 4);
        return _mm_cvtsi32_si128(v);
    } else if constexpr (NB == 6) {
        if constexpr (WIDE) return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p));
        int a;
        uint16_t b;
        std::memcpy(&a, p, 4);
        std::memcpy(&b, p + 4, 2);
        return _mm_or_si128(_mm_cvtsi32_si128(a), _mm_slli_si128(_mm_cvtsi32_si128(b), 4));
    } else {
        if constexpr (WIDE) return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        int b;
        std::memcpy(&b, p + 8, 4);
        return _mm_or_si128(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)),
                            _mm_slli_si128(_mm_cvtsi32_si128(b), 8));
    }
}

// Bytes read from the start of an NB-byte run by load_bytes<NB, true>.
template <int NB>
inline constexpr int kWideReach = NB <= 4 ? NB : NB <= 8 ? 8 : 16;

// Bytes 0..NB-1 at p[k] + off for the lanes k: tap(b) lane k is p[k][off + b],
// as a float. The bytes are transposed once per four pixels (groups of four
// bytes, each holding one byte of the four pixels) and widened when asked for,
// so that few registers stay live.
template <int NB>
struct LaneBytes {
    static constexpr int kGroups = (NB + 3) / 4;
    __m128i grp[kHalves][kGroups];

    template <bool WIDE>
    QM_LANES_INLINE void load(const Ipp8u* const* p, ptrdiff_t off) {
        for (int h = 0; h < kHalves; ++h) {
            __m128i r[4];
            for (int k = 0; k < 4; ++k) r[k] = load_bytes<NB, WIDE>(p[4 * h + k] + off);
            const __m128i lo01 = _mm_unpacklo_epi8(r[0], r[1]), lo23 = _mm_unpacklo_epi8(r[2], r[3]);
            grp[h][0] = _mm_unpacklo_epi16(lo01, lo23);
            if constexpr (kGroups > 1) grp[h][1] = _mm_unpackhi_epi16(lo01, lo23);
            if constexpr (kGroups > 2) {
                const __m128i hi01 = _mm_unpackhi_epi8(r[0], r[1]), hi23 = _mm_unpackhi_epi8(r[2], r[3]);
                grp[h][2] = _mm_unpacklo_epi16(hi01, hi23);
                if constexpr (kGroups > 3) grp[h][3] = _mm_unpackhi_epi16(hi01, hi23);
            }
        }
    }

    template <int B>
    QM_LANES_INLINE VF tap() const {
        static_assert(B >= 0 && B < NB, "byte outside the run");
        constexpr int s = 4 * (B % 4);
        VI v;
        for (int h = 0; h < kHalves; ++h) {
            const __m128i g = grp[h][B / 4];
#if defined(__SSSE3__)
            v.h[h] = _mm_shuffle_epi8(g, _mm_setr_epi8(s, -1, -1, -1, s + 1, -1, -1, -1, s + 2, -1, -1, -1, s + 3, -1, -1, -1));
#else
            const __m128i z = _mm_setzero_si128();
            const __m128i w = s < 8 ? _mm_unpacklo_epi8(g, z) : _mm_unpackhi_epi8(g, z);
            v.h[h] = s % 8 == 0 ? _mm_unpacklo_epi16(w, z) : _mm_unpackhi_epi16(w, z);
#endif
        }
        return to_float(v);
    }
};

// One neighbourhood row (NT taps of CH channels) of the lanes, from their
// first taps p[k] + off; C3 Lanczos rows (18 bytes) come in two pieces.
template <int CH, int NT>
struct TapRow {
    static constexpr int NB = NT * CH;
    static constexpr int NA = NB <= 12 ? NB : 12;
    LaneBytes<NA> a;
    LaneBytes<NB - NA == 0 ? 2 : NB - NA> b;  // unused when NB <= 12

    template <bool WIDE>
    QM_LANES_INLINE void load(const Ipp8u* const* p, ptrdiff_t off) {
        a.template load<WIDE>(p, off);
        if constexpr (NB > NA) b.template load<WIDE>(p, off + NA);
    }
    template <int I>
    QM_LANES_INLINE VF tap() const {
        if constexpr (I < NA)
            return a.template tap<I>();
        else
            return b.template tap<I - NA>();
    }
};
// Bytes read from the first tap by TapRow<CH, NT>::load<true>.
template <int CH, int NT>
inline constexpr int kTapReach = NT * CH <= 12 ? kWideReach<NT * CH> : 12 + kWideReach<NT * CH - 12>;

// f(std::integral_constant<int, 0>) .. f(<N - 1>), in order: indices the
// register shuffles need as constants.
template <int N, class F>
QM_LANES_INLINE void unroll(F&& f) {
    [&]<int... I>(std::integer_sequence<int, I...>) QM_LANES_INLINE_LAMBDA {
        (f(std::integral_constant<int, I>{}), ...);
    }(std::make_integer_sequence<int, N>{});
}

// ---- destination bytes ----------------------------------------------------------

// Four pixels of CH channels (v[c]: int32 lanes, saturated to 0..255 here) as
// interleaved bytes in the low 4 * CH bytes.
template <int CH>
QM_LANES_INLINE __m128i pixels4(const __m128i* v) {
    if constexpr (CH == 1) {
        const __m128i w = _mm_packs_epi32(v[0], v[0]);
        return _mm_packus_epi16(w, w);
    } else {
        // c0 of the four pixels, then c1, then c2.
        const __m128i planes = _mm_packus_epi16(_mm_packs_epi32(v[0], v[1]), _mm_packs_epi32(v[2], v[2]));
#if defined(__SSSE3__)
        return _mm_shuffle_epi8(planes, _mm_setr_epi8(0, 4, 8, 1, 5, 9, 2, 6, 10, 3, 7, 11, -1, -1, -1, -1));
#else
        const __m128i z = _mm_setzero_si128();
        // Pixels as 32-bit lanes c0 c1 c2 0, then the zero bytes squeezed out.
        const __m128i c01 = _mm_unpacklo_epi8(planes, _mm_srli_si128(planes, 4));
        const __m128i u = _mm_unpacklo_epi16(c01, _mm_unpacklo_epi8(_mm_srli_si128(planes, 8), z));
        const __m128i even = _mm_and_si128(u, _mm_set_epi32(0, -1, 0, -1));
        const __m128i odd = _mm_srli_si128(_mm_andnot_si128(_mm_set_epi32(0, -1, 0, -1), u), 1);
        const __m128i six = _mm_or_si128(even, odd);  // 6 bytes in each 64-bit half
        return _mm_or_si128(_mm_and_si128(six, _mm_set_epi32(0, 0, 0x0000FFFF, -1)),
                            _mm_and_si128(_mm_srli_si128(six, 2), _mm_set_epi32(0, -1, static_cast<int>(0xFFFF0000u), 0)));
#endif
    }
}

// Writes the pixels of the lanes set in `mask`; the others keep their bytes.
template <int CH>
QM_LANES_INLINE void put_pixels(const VI* v, Ipp8u* d, int mask) {
    __m128i bytes[kHalves];
    for (int h = 0; h < kHalves; ++h) {
        __m128i c[CH];
        for (int k = 0; k < CH; ++k) c[k] = v[k].h[h];
        bytes[h] = pixels4<CH>(c);
    }
    if (mask == kAllLanes) {
        if constexpr (CH == 1) {
#if defined(__AVX__)
            _mm_storel_epi64(reinterpret_cast<__m128i*>(d), _mm_unpacklo_epi32(bytes[0], bytes[1]));
#else
            const int w = _mm_cvtsi128_si32(bytes[0]);
            std::memcpy(d, &w, 4);
#endif
        } else {
#if defined(__AVX__)
            _mm_storeu_si128(reinterpret_cast<__m128i*>(d), _mm_or_si128(bytes[0], _mm_slli_si128(bytes[1], 12)));
            _mm_storel_epi64(reinterpret_cast<__m128i*>(d + 16), _mm_srli_si128(bytes[1], 4));
#else
            _mm_storel_epi64(reinterpret_cast<__m128i*>(d), bytes[0]);
            const int w = _mm_cvtsi128_si32(_mm_srli_si128(bytes[0], 8));
            std::memcpy(d + 8, &w, 4);
#endif
        }
        return;
    }
    alignas(16) Ipp8u tmp[16 * kHalves];
    for (int h = 0; h < kHalves; ++h) _mm_store_si128(reinterpret_cast<__m128i*>(tmp + 16 * h), bytes[h]);
    for (int k = 0; k < kLanes; ++k)
        if (mask & (1 << k))
            for (int c = 0; c < CH; ++c) d[k * CH + c] = tmp[16 * (k / 4) + (k % 4) * CH + c];
}

}  // namespace qm::QM_SET::lanes
