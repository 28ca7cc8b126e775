// Pixel lanes for the geometry kernels: float lanes across destination
// pixels, the source bytes each lane reads (gathered and transposed), and
// stores that write only the pixels of chosen lanes. Each lane repeats the
// scalar code's float operations for its pixel, so every set keeps the same
// bytes.
#pragma once
#include "primitives/simd/lanes.h"

namespace qm::QM_SET::lanes {

// table[idx[k]] per lane.
QM_LANES_INLINE VF gather(const float* table, const int* idx) {
#if defined(__AVX__)
    return {_mm256_setr_ps(table[idx[0]], table[idx[1]], table[idx[2]], table[idx[3]], table[idx[4]], table[idx[5]],
                           table[idx[6]], table[idx[7]])};
#else
    return {_mm_setr_ps(table[idx[0]], table[idx[1]], table[idx[2]], table[idx[3]])};
#endif
}

// static_cast<int>(static_cast<double>(v) + 1e-7) per lane, in double as the
// scalar code does it.
QM_LANES_INLINE VI truncate_eps(VF v) {
#if defined(__AVX__)
    const __m256d eps = _mm256_set1_pd(1e-7);
    return {{{_mm256_cvttpd_epi32(_mm256_add_pd(_mm256_cvtps_pd(_mm256_castps256_ps128(v.v)), eps))},
             {_mm256_cvttpd_epi32(_mm256_add_pd(_mm256_cvtps_pd(_mm256_extractf128_ps(v.v, 1)), eps))}}};
#else
    const __m128d eps = _mm_set1_pd(1e-7);
    const __m128i lo = _mm_cvttpd_epi32(_mm_add_pd(_mm_cvtps_pd(v.v), eps));
    const __m128i hi = _mm_cvttpd_epi32(_mm_add_pd(_mm_cvtps_pd(_mm_movehl_ps(v.v, v.v)), eps));
    return {_mm_unpacklo_epi64(lo, hi)};
#endif
}

// The scalar round_sat per lane (clamp to 0..255, + 0.5, truncate): max
// keeps 0 for NaN as the scalar select does.
QM_LANES_INLINE VI round_sat(VF v) {
    const VF c = min(max(v, all<VF>(0.0f)), all<VF>(255.0f));
    return truncate(add(c, all<VF>(0.5f)));
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
            __m128i w;
#if defined(__SSSE3__)
            w = _mm_shuffle_epi8(g, _mm_setr_epi8(s, -1, -1, -1, s + 1, -1, -1, -1, s + 2, -1, -1, -1, s + 3, -1, -1, -1));
#else
            const __m128i z = _mm_setzero_si128();
            const __m128i x = s < 8 ? _mm_unpacklo_epi8(g, z) : _mm_unpackhi_epi8(g, z);
            w = s % 8 == 0 ? _mm_unpacklo_epi16(x, z) : _mm_unpackhi_epi16(x, z);
#endif
            set_half(v, h, I32x4{w});
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

// Writes the pixels (CH channels, v[c] per channel) of the lanes set in
// `mask`; the others keep their bytes.
template <int CH>
QM_LANES_INLINE void put_pixels(const VI* v, Ipp8u* d, int mask) {
    __m128i bytes[kHalves];
    for (int h = 0; h < kHalves; ++h) {
        __m128i c[CH];
        for (int k = 0; k < CH; ++k) c[k] = half(v[k], h).v;
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
