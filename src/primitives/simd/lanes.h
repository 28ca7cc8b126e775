// The lane vocabulary of one implementation set. Every kernel under
// src/primitives/ speaks through it; it is the only place that names an
// intrinsic or asks which instruction set the file is compiled for.
//
// Types (each wraps one register; N is its lane count):
//   U8x16 I8x16 U16x8 I16x8 I32x4 F32x4  128-bit lanes, every set
//   VF    float lanes of the set: F32x8 with AVX, F32x4 otherwise
//   VI    32-bit integer lanes as many as VF: I32x8 with AVX (two halves
//         without AVX2)
//   U8x32 I8x32 U16x16 I16x16 I32x8   256-bit integer lanes, with AVX2
//   VU8 VI8 VU16 VI16 VI32   the set's widest integer lanes: the 256-bit
//                        ones with AVX2, the 128-bit ones otherwise
// Kernels written over V*::N do not change with the width: every operation
// keeps lane order across the whole register.
//
// Rules every operation keeps, so that all sets give the same bytes:
// - compares are ordered (NaN compares false), except not_gt (NaN: true);
// - select(m, a, b) is m ? a : b for masks of all ones or all zeros;
// - min(a, b) is a < b ? a : b and max(a, b) is a > b ? a : b (ties and NaN
//   take b), exactly as the float instructions do;
// - emulations on older sets give the instruction's exact result.
// Capability constants (kByteShuffle, kMul32, kBlend, kWideFloat) let a
// kernel pick a cheaper algorithm with `if constexpr`; every operation
// exists on every set, so both branches compile everywhere.
#pragma once
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>

#include <emmintrin.h>
#if defined(__SSE3__)
#include <pmmintrin.h>
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

#include "frame/set.h"

// The lane helpers are small pieces of one loop body; inlining them keeps the
// lanes in registers and the generated loops what they would be by hand.
#define QM_LANES_INLINE inline __attribute__((always_inline))
#define QM_LANES_INLINE_LAMBDA __attribute__((always_inline))  // after a lambda's parameters
// A row loop kept out of line, so that its registers are not shared with the
// loops around it.
#define QM_LANES_OUTLINE __attribute__((noinline))

namespace qm::QM_SET::lanes {

// ---- What the set offers ---------------------------------------------------------

#if defined(__SSSE3__)
inline constexpr bool kByteShuffle = true;  // shuffle_bytes, alignr, maddubs, abs: one instruction each
#else
inline constexpr bool kByteShuffle = false;
#endif
#if defined(__SSE4_1__)
inline constexpr bool kMul32 = true;  // mullo on 32-bit lanes, 16u min/max, 8u->32 widening
inline constexpr bool kBlend = true;  // select by blend
#else
inline constexpr bool kMul32 = false;
inline constexpr bool kBlend = false;
#endif
#if defined(__AVX__)
inline constexpr bool kWideFloat = true;  // VF has 8 lanes
#else
inline constexpr bool kWideFloat = false;
#endif

// ---- Types --------------------------------------------------------------------------

// One register of N lanes.
#define QM_LANES_TYPE(name, lanes, reg) \
    struct name {                       \
        static constexpr int N = lanes; \
        reg v;                          \
    };
QM_LANES_TYPE(U8x16, 16, __m128i)
QM_LANES_TYPE(I8x16, 16, __m128i)
QM_LANES_TYPE(U16x8, 8, __m128i)
QM_LANES_TYPE(I16x8, 8, __m128i)
QM_LANES_TYPE(I32x4, 4, __m128i)
QM_LANES_TYPE(F32x4, 4, __m128)

template <class V>
inline constexpr bool kInt128 = std::is_same_v<V, U8x16> || std::is_same_v<V, I8x16> ||
                                std::is_same_v<V, U16x8> || std::is_same_v<V, I16x8> ||
                                std::is_same_v<V, I32x4>;
template <class V>
concept Int128 = kInt128<V>;

// name(a, b) for the lane types of a concept, one instruction on both registers.
#define QM_LANES_BINARY(concept, name, intrinsic) \
    template <concept V>                          \
    QM_LANES_INLINE V name(V a, V b) {            \
        return V{intrinsic(a.v, b.v)};            \
    }

// ---- 128-bit integer lanes: memory and bits -------------------------------------------

template <Int128 V>
QM_LANES_INLINE V load(const void* p) {
    return V{_mm_loadu_si128(static_cast<const __m128i*>(p))};
}
template <Int128 V>
QM_LANES_INLINE V load_aligned(const void* p) {
    return V{_mm_load_si128(static_cast<const __m128i*>(p))};
}
// The low 8 or 4 bytes from p, the rest zero.
template <Int128 V>
QM_LANES_INLINE V load_low8(const void* p) {
    return V{_mm_loadl_epi64(static_cast<const __m128i*>(p))};
}
template <Int128 V>
QM_LANES_INLINE V load_low4(const void* p) {
    int w;
    std::memcpy(&w, p, 4);
    return V{_mm_cvtsi32_si128(w)};
}
template <Int128 V>
QM_LANES_INLINE V zero() {
    return V{_mm_setzero_si128()};
}
template <Int128 V>
QM_LANES_INLINE V all(int x) {
    if constexpr (V::N == 16) return V{_mm_set1_epi8(static_cast<char>(x))};
    else if constexpr (V::N == 8) return V{_mm_set1_epi16(static_cast<short>(x))};
    else return V{_mm_set1_epi32(x)};
}
// Lanes from constants, lane 0 first.
template <Int128 V, class... T>
QM_LANES_INLINE V lanes_of(T... x) {
    static_assert(sizeof...(T) == V::N, "one value per lane");
    if constexpr (V::N == 16) return V{_mm_setr_epi8(static_cast<char>(x)...)};
    else if constexpr (V::N == 8) return V{_mm_setr_epi16(static_cast<short>(x)...)};
    else return V{_mm_setr_epi32(static_cast<int>(x)...)};
}
// x in lane 0 (as 32 bits), the rest zero; also the count of the shifts by register.
template <Int128 V>
QM_LANES_INLINE V int_in_lane0(int x) {
    return V{_mm_cvtsi32_si128(x)};
}

template <Int128 V>
QM_LANES_INLINE void store(void* p, V a) {
    _mm_storeu_si128(static_cast<__m128i*>(p), a.v);
}
template <Int128 V>
QM_LANES_INLINE void store_aligned(void* p, V a) {
    _mm_store_si128(static_cast<__m128i*>(p), a.v);
}
template <Int128 V>
QM_LANES_INLINE void store_low8(void* p, V a) {
    _mm_storel_epi64(static_cast<__m128i*>(p), a.v);
}
template <Int128 V>
QM_LANES_INLINE void store_low4(void* p, V a) {
    const int w = _mm_cvtsi128_si32(a.v);
    std::memcpy(p, &w, 4);
}
// The low 32 bits of lane 0.
template <Int128 V>
QM_LANES_INLINE int lane0(V a) {
    return _mm_cvtsi128_si32(a.v);
}

// The same bits as another lane type.
template <Int128 To, Int128 From>
QM_LANES_INLINE To as(From a) {
    return To{a.v};
}

QM_LANES_BINARY(Int128, bit_and, _mm_and_si128)
QM_LANES_BINARY(Int128, bit_or, _mm_or_si128)
QM_LANES_BINARY(Int128, bit_xor, _mm_xor_si128)
// ~m & b
QM_LANES_BINARY(Int128, bit_andnot, _mm_andnot_si128)
// m ? a : b per lane (m from a compare).
template <Int128 V>
QM_LANES_INLINE V select(V m, V a, V b) {
#if defined(__SSE4_1__)
    return V{_mm_blendv_epi8(b.v, a.v, m.v)};
#else
    return V{_mm_or_si128(_mm_and_si128(m.v, a.v), _mm_andnot_si128(m.v, b.v))};
#endif
}
// Any bit set in any lane.
template <Int128 V>
QM_LANES_INLINE bool any(V m) {
    return _mm_movemask_epi8(m.v) != 0;
}
// Bit k: the top bit of byte k.
template <Int128 V>
QM_LANES_INLINE int byte_mask(V m) {
    return _mm_movemask_epi8(m.v);
}

// Whole register moved by B bytes towards higher lanes (zeros shifted in), or
// towards lower lanes.
template <int B, Int128 V>
QM_LANES_INLINE V bytes_up(V a) {
    return V{_mm_slli_si128(a.v, B)};
}
template <int B, Int128 V>
QM_LANES_INLINE V bytes_down(V a) {
    return V{_mm_srli_si128(a.v, B)};
}
// Bytes B .. B + 15 of the 32-byte value hi:lo.
template <int B, Int128 V>
QM_LANES_INLINE V alignr(V hi, V lo) {
    static_assert(B >= 0 && B <= 16, "byte offset inside the pair");
#if defined(__SSSE3__)
    return V{_mm_alignr_epi8(hi.v, lo.v, B)};
#else
    if constexpr (B == 0) return lo;
    else if constexpr (B == 16) return hi;
    else return V{_mm_or_si128(_mm_srli_si128(lo.v, B), _mm_slli_si128(hi.v, 16 - B))};
#endif
}

// ---- Bytes ------------------------------------------------------------------------------

QM_LANES_INLINE U8x16 add(U8x16 a, U8x16 b) { return {_mm_add_epi8(a.v, b.v)}; }
QM_LANES_INLINE U8x16 sub(U8x16 a, U8x16 b) { return {_mm_sub_epi8(a.v, b.v)}; }
QM_LANES_INLINE U8x16 adds(U8x16 a, U8x16 b) { return {_mm_adds_epu8(a.v, b.v)}; }
QM_LANES_INLINE U8x16 subs(U8x16 a, U8x16 b) { return {_mm_subs_epu8(a.v, b.v)}; }
QM_LANES_INLINE U8x16 min(U8x16 a, U8x16 b) { return {_mm_min_epu8(a.v, b.v)}; }
QM_LANES_INLINE U8x16 max(U8x16 a, U8x16 b) { return {_mm_max_epu8(a.v, b.v)}; }
QM_LANES_INLINE U8x16 eq(U8x16 a, U8x16 b) { return {_mm_cmpeq_epi8(a.v, b.v)}; }
QM_LANES_INLINE U8x16 absdiff(U8x16 a, U8x16 b) {
    return {_mm_or_si128(_mm_subs_epu8(a.v, b.v), _mm_subs_epu8(b.v, a.v))};
}
// Bytes of a and b alternating: a0 b0 a1 b1 .. from the low (lo) or high (hi) halves.
QM_LANES_INLINE U8x16 interleave_lo(U8x16 a, U8x16 b) { return {_mm_unpacklo_epi8(a.v, b.v)}; }
QM_LANES_INLINE U8x16 interleave_hi(U8x16 a, U8x16 b) { return {_mm_unpackhi_epi8(a.v, b.v)}; }
// Bytes 0..7 (lo) or 8..15 (hi) as 16-bit lanes.
QM_LANES_INLINE U16x8 widen_lo(U8x16 a) { return {_mm_unpacklo_epi8(a.v, _mm_setzero_si128())}; }
QM_LANES_INLINE U16x8 widen_hi(U8x16 a) { return {_mm_unpackhi_epi8(a.v, _mm_setzero_si128())}; }
// Bytes 0..3 as 32-bit lanes.
QM_LANES_INLINE I32x4 widen4(U8x16 a) {
#if defined(__SSE4_1__)
    return {_mm_cvtepu8_epi32(a.v)};
#else
    const __m128i z = _mm_setzero_si128();
    return {_mm_unpacklo_epi16(_mm_unpacklo_epi8(a.v, z), z)};
#endif
}

// Sums of adjacent byte pairs (a0 + a1, a2 + a3, ..) as 16-bit lanes.
QM_LANES_INLINE U16x8 add_pairs(U8x16 a) {
#if defined(__SSSE3__)
    return {_mm_maddubs_epi16(a.v, _mm_set1_epi8(1))};
#else
    return {_mm_add_epi16(_mm_and_si128(a.v, _mm_set1_epi16(0x00FF)), _mm_srli_epi16(a.v, 8))};
#endif
}

// r[j] = j-th byte of idx < 0 ? 0 : a[idx[j] & 15].
QM_LANES_INLINE U8x16 shuffle_bytes(U8x16 a, U8x16 idx) {
#if defined(__SSSE3__)
    return {_mm_shuffle_epi8(a.v, idx.v)};
#else
    alignas(16) uint8_t s[16], k[16], r[16];
    _mm_store_si128(reinterpret_cast<__m128i*>(s), a.v);
    _mm_store_si128(reinterpret_cast<__m128i*>(k), idx.v);
    for (int j = 0; j < 16; ++j) r[j] = (k[j] & 0x80) ? 0 : s[k[j] & 15];
    return {_mm_load_si128(reinterpret_cast<const __m128i*>(r))};
#endif
}
// The shuffle of a constant index table (16 signed bytes, -1 for zero).
template <auto M>
QM_LANES_INLINE U8x16 shuffle_bytes(U8x16 a) {
    return shuffle_bytes(a, load<U8x16>(M.data()));
}

// Three-channel pixels: 16 interleaved pixels (48 bytes) as three channel
// registers, and back.
namespace detail {
struct Interleave3Masks {
    alignas(16) signed char split[3][3][16];  // [channel][block]
    alignas(16) signed char join[3][3][16];   // [block][channel]
};
constexpr Interleave3Masks make_interleave3_masks() {
    Interleave3Masks m{};
    for (int c = 0; c < 3; ++c)
        for (int b = 0; b < 3; ++b)
            for (int j = 0; j < 16; ++j) {
                const int src = 3 * j + c - 16 * b;  // byte of block b landing at j of channel c
                m.split[c][b][j] = (src >= 0 && src < 16) ? static_cast<signed char>(src) : -1;
                const int pos = 16 * b + j;          // byte of channel c landing at j of block b
                m.join[b][c][j] = (pos % 3 == c) ? static_cast<signed char>(pos / 3) : -1;
            }
    return m;
}
alignas(16) inline constexpr Interleave3Masks kInterleave3 = make_interleave3_masks();
QM_LANES_INLINE U8x16 mask_at(const signed char* m) { return load_aligned<U8x16>(m); }
}  // namespace detail

QM_LANES_INLINE void load_interleaved3(const Ipp8u* p, U8x16& c0, U8x16& c1, U8x16& c2) {
    const U8x16 a = load<U8x16>(p), b = load<U8x16>(p + 16), c = load<U8x16>(p + 32);
    U8x16* outs[3] = {&c0, &c1, &c2};
    for (int ch = 0; ch < 3; ++ch) {
        const auto& m = detail::kInterleave3.split[ch];
        *outs[ch] = bit_or(bit_or(shuffle_bytes(a, detail::mask_at(m[0])), shuffle_bytes(b, detail::mask_at(m[1]))),
                           shuffle_bytes(c, detail::mask_at(m[2])));
    }
}
QM_LANES_INLINE void store_interleaved3(Ipp8u* p, U8x16 c0, U8x16 c1, U8x16 c2) {
    for (int b = 0; b < 3; ++b) {
        const auto& m = detail::kInterleave3.join[b];
        const U8x16 c01 = bit_or(shuffle_bytes(c0, detail::mask_at(m[0])), shuffle_bytes(c1, detail::mask_at(m[1])));
        store(p + 16 * b, bit_or(c01, shuffle_bytes(c2, detail::mask_at(m[2]))));
    }
}

// Pairs of unsigned bytes times pairs of signed bytes, summed with signed
// saturation into 16-bit lanes.
QM_LANES_INLINE I16x8 maddubs(U8x16 a, I8x16 b) {
#if defined(__SSSE3__)
    return {_mm_maddubs_epi16(a.v, b.v)};
#else
    const __m128i z = _mm_setzero_si128();
    const __m128i aEven = _mm_and_si128(a.v, _mm_set1_epi16(0xFF)), aOdd = _mm_srli_epi16(a.v, 8);
    const __m128i bEven = _mm_srai_epi16(_mm_slli_epi16(b.v, 8), 8), bOdd = _mm_srai_epi16(b.v, 8);
    // Each product fits 16 signed bits; the pair sum is formed in 32 bits and saturated.
    const __m128i pe = _mm_mullo_epi16(aEven, bEven), po = _mm_mullo_epi16(aOdd, bOdd);
    const __m128i peLo = _mm_srai_epi32(_mm_unpacklo_epi16(z, pe), 16);
    const __m128i peHi = _mm_srai_epi32(_mm_unpackhi_epi16(z, pe), 16);
    const __m128i poLo = _mm_srai_epi32(_mm_unpacklo_epi16(z, po), 16);
    const __m128i poHi = _mm_srai_epi32(_mm_unpackhi_epi16(z, po), 16);
    return {_mm_packs_epi32(_mm_add_epi32(peLo, poLo), _mm_add_epi32(peHi, poHi))};
#endif
}

// ---- 16-bit lanes ------------------------------------------------------------------------

template <class V>
concept Int16 = std::is_same_v<V, U16x8> || std::is_same_v<V, I16x8>;

#define QM_LANES_SHIFT(name, intrinsic) \
    template <int S, Int16 V>           \
    QM_LANES_INLINE V name(V a) {       \
        return V{intrinsic(a.v, S)};    \
    }

QM_LANES_BINARY(Int16, add, _mm_add_epi16)
QM_LANES_BINARY(Int16, sub, _mm_sub_epi16)
// Low 16 bits of the product.
QM_LANES_BINARY(Int16, mullo, _mm_mullo_epi16)
QM_LANES_SHIFT(shl, _mm_slli_epi16)
// Logical right shift (zeros in).
QM_LANES_SHIFT(shr, _mm_srli_epi16)
template <Int16 V>
QM_LANES_INLINE V shr(V a, I32x4 count) {
    return V{_mm_srl_epi16(a.v, count.v)};
}
QM_LANES_BINARY(Int16, interleave_lo, _mm_unpacklo_epi16)
QM_LANES_BINARY(Int16, interleave_hi, _mm_unpackhi_epi16)
QM_LANES_BINARY(Int16, eq, _mm_cmpeq_epi16)
// Lane 7 in every lane.
template <Int16 V>
QM_LANES_INLINE V broadcast_last(V a) {
    const __m128i h = _mm_shufflehi_epi16(a.v, _MM_SHUFFLE(3, 3, 3, 3));
    return V{_mm_unpackhi_epi64(h, h)};
}
// Bit k of M set: lane k from b, else from a.
template <int M, Int16 V>
QM_LANES_INLINE V blend(V a, V b) {
#if defined(__SSE4_1__)
    return V{_mm_blend_epi16(a.v, b.v, M)};
#else
    const __m128i m = _mm_setr_epi16(M & 1 ? -1 : 0, M & 2 ? -1 : 0, M & 4 ? -1 : 0, M & 8 ? -1 : 0,
                                     M & 16 ? -1 : 0, M & 32 ? -1 : 0, M & 64 ? -1 : 0, M & 128 ? -1 : 0);
    return V{_mm_or_si128(_mm_andnot_si128(m, a.v), _mm_and_si128(m, b.v))};
#endif
}
// a with lane K replaced by the low 16 bits of x.
template <int K, Int16 V>
QM_LANES_INLINE V insert(V a, int x) {
    return V{_mm_insert_epi16(a.v, x, K)};
}
template <Int16 V>
QM_LANES_INLINE int first(V a) {
    return _mm_extract_epi16(a.v, 0);
}

QM_LANES_INLINE I16x8 adds(I16x8 a, I16x8 b) { return {_mm_adds_epi16(a.v, b.v)}; }
QM_LANES_INLINE I16x8 subs(I16x8 a, I16x8 b) { return {_mm_subs_epi16(a.v, b.v)}; }
QM_LANES_INLINE U16x8 adds(U16x8 a, U16x8 b) { return {_mm_adds_epu16(a.v, b.v)}; }
QM_LANES_INLINE U16x8 subs(U16x8 a, U16x8 b) { return {_mm_subs_epu16(a.v, b.v)}; }
// High 16 bits of the product.
QM_LANES_INLINE I16x8 mulhi(I16x8 a, I16x8 b) { return {_mm_mulhi_epi16(a.v, b.v)}; }
QM_LANES_INLINE U16x8 mulhi(U16x8 a, U16x8 b) { return {_mm_mulhi_epu16(a.v, b.v)}; }
template <int S>
QM_LANES_INLINE I16x8 sar(I16x8 a) {
    return {_mm_srai_epi16(a.v, S)};
}
QM_LANES_INLINE I16x8 min(I16x8 a, I16x8 b) { return {_mm_min_epi16(a.v, b.v)}; }
QM_LANES_INLINE I16x8 max(I16x8 a, I16x8 b) { return {_mm_max_epi16(a.v, b.v)}; }
QM_LANES_INLINE I16x8 gt(I16x8 a, I16x8 b) { return {_mm_cmpgt_epi16(a.v, b.v)}; }
QM_LANES_INLINE I16x8 lt(I16x8 a, I16x8 b) { return {_mm_cmplt_epi16(a.v, b.v)}; }
QM_LANES_INLINE U16x8 min(U16x8 a, U16x8 b) {
#if defined(__SSE4_1__)
    return {_mm_min_epu16(a.v, b.v)};
#else
    return {_mm_sub_epi16(a.v, _mm_subs_epu16(a.v, b.v))};
#endif
}
QM_LANES_INLINE U16x8 max(U16x8 a, U16x8 b) {
#if defined(__SSE4_1__)
    return {_mm_max_epu16(a.v, b.v)};
#else
    return {_mm_add_epi16(b.v, _mm_subs_epu16(a.v, b.v))};
#endif
}
// |a - b| for lanes whose difference fits 15 bits (both ways agree there).
QM_LANES_INLINE U16x8 absdiff(U16x8 a, U16x8 b) {
#if defined(__SSSE3__)
    return {_mm_abs_epi16(_mm_sub_epi16(a.v, b.v))};
#else
    return {_mm_or_si128(_mm_subs_epu16(a.v, b.v), _mm_subs_epu16(b.v, a.v))};
#endif
}
// Adjacent pairs multiplied and summed into 32-bit lanes.
QM_LANES_INLINE I32x4 madd(I16x8 a, I16x8 b) { return {_mm_madd_epi16(a.v, b.v)}; }

// Narrowing with saturation: a's lanes first, then b's.
QM_LANES_INLINE U8x16 pack_u8(I16x8 a, I16x8 b) { return {_mm_packus_epi16(a.v, b.v)}; }
QM_LANES_INLINE U8x16 pack_u8(U16x8 a, U16x8 b) { return {_mm_packus_epi16(a.v, b.v)}; }
QM_LANES_INLINE I8x16 pack_i8(I16x8 a, I16x8 b) { return {_mm_packs_epi16(a.v, b.v)}; }

// Widening to 32 bits: lanes 0..3 (lo) or 4..7 (hi).
QM_LANES_INLINE I32x4 widen_lo(I16x8 a) { return {_mm_srai_epi32(_mm_unpacklo_epi16(a.v, a.v), 16)}; }
QM_LANES_INLINE I32x4 widen_hi(I16x8 a) { return {_mm_srai_epi32(_mm_unpackhi_epi16(a.v, a.v), 16)}; }
QM_LANES_INLINE I32x4 widen_lo(U16x8 a) { return {_mm_unpacklo_epi16(a.v, _mm_setzero_si128())}; }
QM_LANES_INLINE I32x4 widen_hi(U16x8 a) { return {_mm_unpackhi_epi16(a.v, _mm_setzero_si128())}; }

// ---- 32-bit lanes --------------------------------------------------------------------------

QM_LANES_INLINE I32x4 add(I32x4 a, I32x4 b) { return {_mm_add_epi32(a.v, b.v)}; }
QM_LANES_INLINE I32x4 sub(I32x4 a, I32x4 b) { return {_mm_sub_epi32(a.v, b.v)}; }
// Low 32 bits of the product.
QM_LANES_INLINE I32x4 mullo(I32x4 a, I32x4 b) {
#if defined(__SSE4_1__)
    return {_mm_mullo_epi32(a.v, b.v)};
#else
    const __m128i even = _mm_mul_epu32(a.v, b.v);
    const __m128i odd = _mm_mul_epu32(_mm_srli_epi64(a.v, 32), _mm_srli_epi64(b.v, 32));
    return {_mm_unpacklo_epi32(_mm_shuffle_epi32(even, _MM_SHUFFLE(0, 0, 2, 0)),
                               _mm_shuffle_epi32(odd, _MM_SHUFFLE(0, 0, 2, 0)))};
#endif
}
template <int S>
QM_LANES_INLINE I32x4 shl(I32x4 a) {
    return {_mm_slli_epi32(a.v, S)};
}
template <int S>
QM_LANES_INLINE I32x4 shr(I32x4 a) {
    return {_mm_srli_epi32(a.v, S)};
}
template <int S>
QM_LANES_INLINE I32x4 sar(I32x4 a) {
    return {_mm_srai_epi32(a.v, S)};
}
QM_LANES_INLINE I32x4 shr(I32x4 a, I32x4 count) { return {_mm_srl_epi32(a.v, count.v)}; }
QM_LANES_INLINE I32x4 gt(I32x4 a, I32x4 b) { return {_mm_cmpgt_epi32(a.v, b.v)}; }
QM_LANES_INLINE I32x4 lt(I32x4 a, I32x4 b) { return {_mm_cmplt_epi32(a.v, b.v)}; }
QM_LANES_INLINE I32x4 eq(I32x4 a, I32x4 b) { return {_mm_cmpeq_epi32(a.v, b.v)}; }
QM_LANES_INLINE I32x4 interleave_lo(I32x4 a, I32x4 b) { return {_mm_unpacklo_epi32(a.v, b.v)}; }
QM_LANES_INLINE I32x4 interleave_hi(I32x4 a, I32x4 b) { return {_mm_unpackhi_epi32(a.v, b.v)}; }
// Low (lo) or high (hi) 64-bit halves of a and b side by side.
QM_LANES_INLINE I32x4 interleave_lo64(I32x4 a, I32x4 b) { return {_mm_unpacklo_epi64(a.v, b.v)}; }
QM_LANES_INLINE I32x4 interleave_hi64(I32x4 a, I32x4 b) { return {_mm_unpackhi_epi64(a.v, b.v)}; }
// Lanes picked by constant indices, lane 0 first.
template <int A, int B, int C, int D>
QM_LANES_INLINE I32x4 pick(I32x4 a) {
    return {_mm_shuffle_epi32(a.v, _MM_SHUFFLE(D, C, B, A))};
}
QM_LANES_INLINE I32x4 broadcast_last(I32x4 a) { return pick<3, 3, 3, 3>(a); }
QM_LANES_INLINE I16x8 pack_i16(I32x4 a, I32x4 b) { return {_mm_packs_epi32(a.v, b.v)}; }
QM_LANES_INLINE U16x8 pack_u16(I32x4 a, I32x4 b) {
#if defined(__SSE4_1__)
    return {_mm_packus_epi32(a.v, b.v)};
#else
    // Clamp to 0..65535, then bias into the signed range for the signed pack.
    const __m128i z = _mm_setzero_si128(), top = _mm_set1_epi32(65535), bias = _mm_set1_epi32(32768);
    auto clamp = [&](__m128i x) {
        x = _mm_and_si128(x, _mm_cmpgt_epi32(x, z));
        const __m128i big = _mm_cmpgt_epi32(x, top);
        x = _mm_or_si128(_mm_and_si128(big, top), _mm_andnot_si128(big, x));
        return _mm_sub_epi32(x, bias);
    };
    return {_mm_xor_si128(_mm_packs_epi32(clamp(a.v), clamp(b.v)), _mm_set1_epi16(static_cast<short>(0x8000)))};
#endif
}

// ---- Float lanes, 128 bits ----------------------------------------------------------------

// The plain float operations of a float lane type T whose intrinsics start with P.
#define QM_LANES_FLOAT_OPS(T, P)                                                                            \
    template <class V>                                                                                      \
    QM_LANES_INLINE V load(const float* p) requires std::is_same_v<V, T> {                                  \
        return {P##_loadu_ps(p)};                                                                           \
    }                                                                                                       \
    template <class V>                                                                                      \
    QM_LANES_INLINE V load_aligned(const float* p) requires std::is_same_v<V, T> {                          \
        return {P##_load_ps(p)};                                                                            \
    }                                                                                                       \
    template <class V>                                                                                      \
    QM_LANES_INLINE V all(float x) requires std::is_same_v<V, T> {                                          \
        return {P##_set1_ps(x)};                                                                            \
    }                                                                                                       \
    template <class V>                                                                                      \
    QM_LANES_INLINE V zero() requires std::is_same_v<V, T> {                                                \
        return {P##_setzero_ps()};                                                                          \
    }                                                                                                       \
    QM_LANES_INLINE void store(float* p, T a) { P##_storeu_ps(p, a.v); }                                    \
    QM_LANES_INLINE void store_aligned(float* p, T a) { P##_store_ps(p, a.v); }                             \
    QM_LANES_INLINE T add(T a, T b) { return {P##_add_ps(a.v, b.v)}; }                                      \
    QM_LANES_INLINE T sub(T a, T b) { return {P##_sub_ps(a.v, b.v)}; }                                      \
    QM_LANES_INLINE T mul(T a, T b) { return {P##_mul_ps(a.v, b.v)}; }                                      \
    QM_LANES_INLINE T div(T a, T b) { return {P##_div_ps(a.v, b.v)}; }                                      \
    QM_LANES_INLINE T min(T a, T b) { return {P##_min_ps(a.v, b.v)}; }                                      \
    QM_LANES_INLINE T max(T a, T b) { return {P##_max_ps(a.v, b.v)}; }                                      \
    QM_LANES_INLINE T bit_and(T a, T b) { return {P##_and_ps(a.v, b.v)}; }                                  \
    QM_LANES_INLINE T bit_or(T a, T b) { return {P##_or_ps(a.v, b.v)}; }                                    \
    QM_LANES_INLINE T bit_andnot(T m, T b) { return {P##_andnot_ps(m.v, b.v)}; }                            \
    QM_LANES_INLINE int lane_mask(T m) { return P##_movemask_ps(m.v); }

QM_LANES_FLOAT_OPS(F32x4, _mm)
QM_LANES_INLINE F32x4 eq(F32x4 a, F32x4 b) { return {_mm_cmpeq_ps(a.v, b.v)}; }
QM_LANES_INLINE F32x4 lt(F32x4 a, F32x4 b) { return {_mm_cmplt_ps(a.v, b.v)}; }
QM_LANES_INLINE F32x4 le(F32x4 a, F32x4 b) { return {_mm_cmple_ps(a.v, b.v)}; }
QM_LANES_INLINE F32x4 gt(F32x4 a, F32x4 b) { return {_mm_cmpgt_ps(a.v, b.v)}; }
QM_LANES_INLINE F32x4 ge(F32x4 a, F32x4 b) { return {_mm_cmpge_ps(a.v, b.v)}; }
QM_LANES_INLINE F32x4 not_gt(F32x4 a, F32x4 b) { return {_mm_cmpngt_ps(a.v, b.v)}; }
QM_LANES_INLINE F32x4 select(F32x4 m, F32x4 a, F32x4 b) {
#if defined(__SSE4_1__)
    return {_mm_blendv_ps(b.v, a.v, m.v)};
#else
    return {_mm_or_ps(_mm_and_ps(m.v, a.v), _mm_andnot_ps(m.v, b.v))};
#endif
}
QM_LANES_INLINE F32x4 to_float(I32x4 a) { return {_mm_cvtepi32_ps(a.v)}; }
// static_cast<int> per lane (truncation).
QM_LANES_INLINE I32x4 truncate(F32x4 a) { return {_mm_cvttps_epi32(a.v)}; }
// Round to nearest, ties to even.
QM_LANES_INLINE I32x4 round_even(F32x4 a) { return {_mm_cvtps_epi32(a.v)}; }
// Truncated lanes stored as four int32 at a 16-byte aligned p.
QM_LANES_INLINE void store_truncated_aligned(int32_t* p, F32x4 a) { store_aligned(p, truncate(a)); }
// The integer lane masks (all ones or zero) as float masks, and back.
QM_LANES_INLINE F32x4 as_float(I32x4 m) { return {_mm_castsi128_ps(m.v)}; }
QM_LANES_INLINE I32x4 as_int(F32x4 m) { return {_mm_castps_si128(m.v)}; }

template <class V, class... T>
QM_LANES_INLINE V lanes_of(T... x) requires std::is_same_v<V, F32x4> {
    static_assert(sizeof...(T) == 4, "one value per lane");
    return {_mm_setr_ps(static_cast<float>(x)...)};
}

// ---- 256-bit integer lanes (AVX2) ------------------------------------------------------------
// Every operation keeps lane order across the whole register, as its 128-bit
// twin does: the instructions that work per 128-bit half (pack, unpack,
// byte shifts) are followed or preceded by the permute that restores it, so
// a kernel's meaning never depends on the width.

#if defined(__AVX2__)
QM_LANES_TYPE(U8x32, 32, __m256i)
QM_LANES_TYPE(I8x32, 32, __m256i)
QM_LANES_TYPE(U16x16, 16, __m256i)
QM_LANES_TYPE(I16x16, 16, __m256i)
// Also the float lanes' integer twin (VI); it still takes its two halves.
struct I32x8 {
    static constexpr int N = 8;
    __m256i v{};  // filled half by half by some kernels
    I32x8() = default;
    QM_LANES_INLINE I32x8(__m256i x) : v(x) {}
    QM_LANES_INLINE I32x8(const I32x4 (&h)[2]) : v(_mm256_set_m128i(h[1].v, h[0].v)) {}
};

template <class V>
concept Int256 = std::is_same_v<V, U8x32> || std::is_same_v<V, I8x32> || std::is_same_v<V, U16x16> ||
                 std::is_same_v<V, I16x16> || std::is_same_v<V, I32x8>;
template <class V>
concept Int16w = std::is_same_v<V, U16x16> || std::is_same_v<V, I16x16>;

namespace detail {
// 64-bit quarters in the order 0 2 1 3: turns the result of a per-half pack
// into lane order, or prepares the operands of a per-half unpack.
QM_LANES_INLINE __m256i q0213(__m256i a) { return _mm256_permute4x64_epi64(a, 0xD8); }
QM_LANES_INLINE __m128i low128(__m256i a) { return _mm256_castsi256_si128(a); }
QM_LANES_INLINE __m128i high128(__m256i a) { return _mm256_extracti128_si256(a, 1); }
}  // namespace detail

template <Int256 V>
QM_LANES_INLINE V load(const void* p) {
    return V{_mm256_loadu_si256(static_cast<const __m256i*>(p))};
}
template <Int256 V>
QM_LANES_INLINE V load_aligned(const void* p) {
    return V{_mm256_load_si256(static_cast<const __m256i*>(p))};
}
template <Int256 V>
QM_LANES_INLINE void store(void* p, V a) {
    _mm256_storeu_si256(static_cast<__m256i*>(p), a.v);
}
template <Int256 V>
QM_LANES_INLINE void store_aligned(void* p, V a) {
    _mm256_store_si256(static_cast<__m256i*>(p), a.v);
}
template <Int256 V>
QM_LANES_INLINE V zero() {
    return V{_mm256_setzero_si256()};
}
template <Int256 V>
QM_LANES_INLINE V all(int x) {
    if constexpr (V::N == 32) return V{_mm256_set1_epi8(static_cast<char>(x))};
    else if constexpr (V::N == 16) return V{_mm256_set1_epi16(static_cast<short>(x))};
    else return V{_mm256_set1_epi32(x)};
}
template <Int256 To, Int256 From>
QM_LANES_INLINE To as(From a) {
    return To{a.v};
}
template <Int256 V>
QM_LANES_INLINE int lane0(V a) {
    return _mm_cvtsi128_si32(detail::low128(a.v));
}

QM_LANES_BINARY(Int256, bit_and, _mm256_and_si256)
QM_LANES_BINARY(Int256, bit_or, _mm256_or_si256)
QM_LANES_BINARY(Int256, bit_xor, _mm256_xor_si256)
QM_LANES_BINARY(Int256, bit_andnot, _mm256_andnot_si256)
template <Int256 V>
QM_LANES_INLINE V select(V m, V a, V b) {
    return V{_mm256_blendv_epi8(b.v, a.v, m.v)};
}
template <Int256 V>
QM_LANES_INLINE bool any(V m) {
    return _mm256_movemask_epi8(m.v) != 0;
}
template <Int256 V>
QM_LANES_INLINE int byte_mask(V m) {
    return _mm256_movemask_epi8(m.v);
}
// Whole register moved by B bytes towards higher (up) or lower (down) lanes.
template <int B, Int256 V>
QM_LANES_INLINE V bytes_up(V a) {
    static_assert(B > 0 && B < 32, "byte offset inside the register");
    const __m256i lowUp = _mm256_permute2x128_si256(a.v, a.v, 0x08);  // zero : low half
    if constexpr (B < 16) return V{_mm256_alignr_epi8(a.v, lowUp, 16 - B)};
    else if constexpr (B == 16) return V{lowUp};
    else return V{_mm256_slli_si256(lowUp, B - 16)};
}
template <int B, Int256 V>
QM_LANES_INLINE V bytes_down(V a) {
    static_assert(B > 0 && B < 32, "byte offset inside the register");
    const __m256i highDown = _mm256_permute2x128_si256(a.v, a.v, 0x81);  // high half : zero
    if constexpr (B < 16) return V{_mm256_alignr_epi8(highDown, a.v, B)};
    else if constexpr (B == 16) return V{highDown};
    else return V{_mm256_srli_si256(highDown, B - 16)};
}

// Bytes.
QM_LANES_INLINE U8x32 add(U8x32 a, U8x32 b) { return {_mm256_add_epi8(a.v, b.v)}; }
QM_LANES_INLINE U8x32 sub(U8x32 a, U8x32 b) { return {_mm256_sub_epi8(a.v, b.v)}; }
QM_LANES_INLINE U8x32 adds(U8x32 a, U8x32 b) { return {_mm256_adds_epu8(a.v, b.v)}; }
QM_LANES_INLINE U8x32 subs(U8x32 a, U8x32 b) { return {_mm256_subs_epu8(a.v, b.v)}; }
QM_LANES_INLINE U8x32 min(U8x32 a, U8x32 b) { return {_mm256_min_epu8(a.v, b.v)}; }
QM_LANES_INLINE U8x32 max(U8x32 a, U8x32 b) { return {_mm256_max_epu8(a.v, b.v)}; }
QM_LANES_INLINE U8x32 eq(U8x32 a, U8x32 b) { return {_mm256_cmpeq_epi8(a.v, b.v)}; }
QM_LANES_INLINE U8x32 absdiff(U8x32 a, U8x32 b) {
    return {_mm256_or_si256(_mm256_subs_epu8(a.v, b.v), _mm256_subs_epu8(b.v, a.v))};
}
QM_LANES_INLINE U8x32 interleave_lo(U8x32 a, U8x32 b) {
    return {_mm256_unpacklo_epi8(detail::q0213(a.v), detail::q0213(b.v))};
}
QM_LANES_INLINE U8x32 interleave_hi(U8x32 a, U8x32 b) {
    return {_mm256_unpackhi_epi8(detail::q0213(a.v), detail::q0213(b.v))};
}
QM_LANES_INLINE U16x16 widen_lo(U8x32 a) { return {_mm256_cvtepu8_epi16(detail::low128(a.v))}; }
QM_LANES_INLINE U16x16 widen_hi(U8x32 a) { return {_mm256_cvtepu8_epi16(detail::high128(a.v))}; }
QM_LANES_INLINE I16x16 maddubs(U8x32 a, I8x32 b) { return {_mm256_maddubs_epi16(a.v, b.v)}; }

// 16-bit lanes.
#define QM_LANES_SHIFT256(name, intrinsic) \
    template <int S, Int16w V>             \
    QM_LANES_INLINE V name(V a) {          \
        return V{intrinsic(a.v, S)};       \
    }
QM_LANES_BINARY(Int16w, add, _mm256_add_epi16)
QM_LANES_BINARY(Int16w, sub, _mm256_sub_epi16)
QM_LANES_BINARY(Int16w, mullo, _mm256_mullo_epi16)
QM_LANES_BINARY(Int16w, eq, _mm256_cmpeq_epi16)
QM_LANES_SHIFT256(shl, _mm256_slli_epi16)
QM_LANES_SHIFT256(shr, _mm256_srli_epi16)
#undef QM_LANES_SHIFT256
template <Int16w V>
QM_LANES_INLINE V shr(V a, I32x4 count) {
    return V{_mm256_srl_epi16(a.v, count.v)};
}
template <Int16w V>
QM_LANES_INLINE V interleave_lo(V a, V b) {
    return V{_mm256_unpacklo_epi16(detail::q0213(a.v), detail::q0213(b.v))};
}
template <Int16w V>
QM_LANES_INLINE V interleave_hi(V a, V b) {
    return V{_mm256_unpackhi_epi16(detail::q0213(a.v), detail::q0213(b.v))};
}
template <Int16w V>
QM_LANES_INLINE V broadcast_last(V a) {
    return V{_mm256_permute4x64_epi64(_mm256_shufflehi_epi16(a.v, _MM_SHUFFLE(3, 3, 3, 3)), 0xFF)};
}
template <Int16w V>
QM_LANES_INLINE int first(V a) {
    return _mm_extract_epi16(detail::low128(a.v), 0);
}
QM_LANES_INLINE I16x16 adds(I16x16 a, I16x16 b) { return {_mm256_adds_epi16(a.v, b.v)}; }
QM_LANES_INLINE I16x16 subs(I16x16 a, I16x16 b) { return {_mm256_subs_epi16(a.v, b.v)}; }
QM_LANES_INLINE U16x16 adds(U16x16 a, U16x16 b) { return {_mm256_adds_epu16(a.v, b.v)}; }
QM_LANES_INLINE U16x16 subs(U16x16 a, U16x16 b) { return {_mm256_subs_epu16(a.v, b.v)}; }
QM_LANES_INLINE I16x16 mulhi(I16x16 a, I16x16 b) { return {_mm256_mulhi_epi16(a.v, b.v)}; }
QM_LANES_INLINE U16x16 mulhi(U16x16 a, U16x16 b) { return {_mm256_mulhi_epu16(a.v, b.v)}; }
template <int S>
QM_LANES_INLINE I16x16 sar(I16x16 a) {
    return {_mm256_srai_epi16(a.v, S)};
}
QM_LANES_INLINE I16x16 min(I16x16 a, I16x16 b) { return {_mm256_min_epi16(a.v, b.v)}; }
QM_LANES_INLINE I16x16 max(I16x16 a, I16x16 b) { return {_mm256_max_epi16(a.v, b.v)}; }
QM_LANES_INLINE I16x16 gt(I16x16 a, I16x16 b) { return {_mm256_cmpgt_epi16(a.v, b.v)}; }
QM_LANES_INLINE I16x16 lt(I16x16 a, I16x16 b) { return {_mm256_cmpgt_epi16(b.v, a.v)}; }
QM_LANES_INLINE U16x16 min(U16x16 a, U16x16 b) { return {_mm256_min_epu16(a.v, b.v)}; }
QM_LANES_INLINE U16x16 max(U16x16 a, U16x16 b) { return {_mm256_max_epu16(a.v, b.v)}; }
QM_LANES_INLINE U16x16 absdiff(U16x16 a, U16x16 b) { return {_mm256_abs_epi16(_mm256_sub_epi16(a.v, b.v))}; }
QM_LANES_INLINE I32x8 madd(I16x16 a, I16x16 b) { return {_mm256_madd_epi16(a.v, b.v)}; }
QM_LANES_INLINE U8x32 pack_u8(I16x16 a, I16x16 b) { return {detail::q0213(_mm256_packus_epi16(a.v, b.v))}; }
QM_LANES_INLINE U8x32 pack_u8(U16x16 a, U16x16 b) { return {detail::q0213(_mm256_packus_epi16(a.v, b.v))}; }
QM_LANES_INLINE I8x32 pack_i8(I16x16 a, I16x16 b) { return {detail::q0213(_mm256_packs_epi16(a.v, b.v))}; }
QM_LANES_INLINE I32x8 widen_lo(I16x16 a) { return {_mm256_cvtepi16_epi32(detail::low128(a.v))}; }
QM_LANES_INLINE I32x8 widen_hi(I16x16 a) { return {_mm256_cvtepi16_epi32(detail::high128(a.v))}; }
QM_LANES_INLINE I32x8 widen_lo(U16x16 a) { return {_mm256_cvtepu16_epi32(detail::low128(a.v))}; }
QM_LANES_INLINE I32x8 widen_hi(U16x16 a) { return {_mm256_cvtepu16_epi32(detail::high128(a.v))}; }

// 32-bit lanes.
QM_LANES_INLINE I32x8 add(I32x8 a, I32x8 b) { return {_mm256_add_epi32(a.v, b.v)}; }
QM_LANES_INLINE I32x8 sub(I32x8 a, I32x8 b) { return {_mm256_sub_epi32(a.v, b.v)}; }
QM_LANES_INLINE I32x8 mullo(I32x8 a, I32x8 b) { return {_mm256_mullo_epi32(a.v, b.v)}; }
template <int S>
QM_LANES_INLINE I32x8 shl(I32x8 a) {
    return {_mm256_slli_epi32(a.v, S)};
}
template <int S>
QM_LANES_INLINE I32x8 shr(I32x8 a) {
    return {_mm256_srli_epi32(a.v, S)};
}
template <int S>
QM_LANES_INLINE I32x8 sar(I32x8 a) {
    return {_mm256_srai_epi32(a.v, S)};
}
QM_LANES_INLINE I32x8 shr(I32x8 a, I32x4 count) { return {_mm256_srl_epi32(a.v, count.v)}; }
QM_LANES_INLINE I32x8 gt(I32x8 a, I32x8 b) { return {_mm256_cmpgt_epi32(a.v, b.v)}; }
QM_LANES_INLINE I32x8 lt(I32x8 a, I32x8 b) { return {_mm256_cmpgt_epi32(b.v, a.v)}; }
QM_LANES_INLINE I32x8 eq(I32x8 a, I32x8 b) { return {_mm256_cmpeq_epi32(a.v, b.v)}; }
QM_LANES_INLINE I32x8 interleave_lo(I32x8 a, I32x8 b) {
    return {_mm256_unpacklo_epi32(detail::q0213(a.v), detail::q0213(b.v))};
}
QM_LANES_INLINE I32x8 interleave_hi(I32x8 a, I32x8 b) {
    return {_mm256_unpackhi_epi32(detail::q0213(a.v), detail::q0213(b.v))};
}
QM_LANES_INLINE I32x8 broadcast_last(I32x8 a) { return {_mm256_permutevar8x32_epi32(a.v, _mm256_set1_epi32(7))}; }
QM_LANES_INLINE I16x16 pack_i16(I32x8 a, I32x8 b) { return {detail::q0213(_mm256_packs_epi32(a.v, b.v))}; }
QM_LANES_INLINE U16x16 pack_u16(I32x8 a, I32x8 b) { return {detail::q0213(_mm256_packus_epi32(a.v, b.v))}; }
// The four-lane halves, as the 128-bit-integer sets hand them over.
QM_LANES_INLINE I32x4 half(const I32x8& a, int k) {
    return {k == 0 ? detail::low128(a.v) : detail::high128(a.v)};
}
QM_LANES_INLINE void set_half(I32x8& a, int k, I32x4 x) {
    a.v = k == 0 ? _mm256_inserti128_si256(a.v, x.v, 0) : _mm256_inserti128_si256(a.v, x.v, 1);
}
QM_LANES_INLINE I16x8 pack_i16(const I32x8& a) { return pack_i16(half(a, 0), half(a, 1)); }
QM_LANES_INLINE void store(int32_t* p, const I32x8& a) { store(static_cast<void*>(p), a); }
#endif

// ---- The set's float lanes -------------------------------------------------------------------
// With AVX (but no 256-bit integer instructions) eight float lanes come with
// integer lanes kept as two 128-bit halves.

#if defined(__AVX__)
QM_LANES_TYPE(F32x8, 8, __m256)
#if !defined(__AVX2__)
struct I32x8 {
    static constexpr int N = 8;
    I32x4 h[2];
};
#endif
QM_LANES_FLOAT_OPS(F32x8, _mm256)
QM_LANES_INLINE F32x8 eq(F32x8 a, F32x8 b) { return {_mm256_cmp_ps(a.v, b.v, _CMP_EQ_OQ)}; }
QM_LANES_INLINE F32x8 lt(F32x8 a, F32x8 b) { return {_mm256_cmp_ps(a.v, b.v, _CMP_LT_OQ)}; }
QM_LANES_INLINE F32x8 le(F32x8 a, F32x8 b) { return {_mm256_cmp_ps(a.v, b.v, _CMP_LE_OQ)}; }
QM_LANES_INLINE F32x8 gt(F32x8 a, F32x8 b) { return {_mm256_cmp_ps(a.v, b.v, _CMP_GT_OQ)}; }
QM_LANES_INLINE F32x8 ge(F32x8 a, F32x8 b) { return {_mm256_cmp_ps(a.v, b.v, _CMP_GE_OQ)}; }
QM_LANES_INLINE F32x8 not_gt(F32x8 a, F32x8 b) { return {_mm256_cmp_ps(a.v, b.v, _CMP_NGT_UQ)}; }
// One blend. Without AVX2 the compiler rewrites the blend intrinsic into
// per-lane branches (it reads the mask as 32-bit integer lanes), so the
// instruction is named directly there.
QM_LANES_INLINE F32x8 select(F32x8 m, F32x8 a, F32x8 b) {
#if defined(__AVX2__)
    return {_mm256_blendv_ps(b.v, a.v, m.v)};
#else
    __m256 r;
    __asm__("vblendvps %3, %1, %2, %0" : "=x"(r) : "x"(a.v), "x"(b.v), "x"(m.v));
    return {r};
#endif
}

namespace detail {
#if defined(__AVX2__)
QM_LANES_INLINE __m256i join_halves(const I32x8& a) { return a.v; }
QM_LANES_INLINE I32x8 split_halves(__m256i a) { return {a}; }
#else
QM_LANES_INLINE __m256i join_halves(const I32x8& a) {
    return _mm256_insertf128_si256(_mm256_castsi128_si256(a.h[0].v), a.h[1].v, 1);
}
QM_LANES_INLINE I32x8 split_halves(__m256i a) {
    return {{{_mm256_castsi256_si128(a)}, {_mm256_extractf128_si256(a, 1)}}};
}
#endif
}  // namespace detail
QM_LANES_INLINE F32x8 to_float(const I32x8& a) { return {_mm256_cvtepi32_ps(detail::join_halves(a))}; }
QM_LANES_INLINE I32x8 truncate(F32x8 a) { return detail::split_halves(_mm256_cvttps_epi32(a.v)); }
QM_LANES_INLINE I32x8 round_even(F32x8 a) { return detail::split_halves(_mm256_cvtps_epi32(a.v)); }
QM_LANES_INLINE F32x8 as_float(const I32x8& m) { return {_mm256_castsi256_ps(detail::join_halves(m))}; }
// Truncated lanes stored as eight int32 at a 32-byte aligned p.
QM_LANES_INLINE void store_truncated_aligned(int32_t* p, F32x8 a) {
    _mm256_store_si256(reinterpret_cast<__m256i*>(p), _mm256_cvttps_epi32(a.v));
}

#if !defined(__AVX2__)
template <class V>
QM_LANES_INLINE V all(int x) requires std::is_same_v<V, I32x8> {
    const I32x4 h = all<I32x4>(x);
    return {{h, h}};
}
// Each operation applies to both halves.
#define QM_LANES_HALVES2(name)                                                          \
    QM_LANES_INLINE I32x8 name(const I32x8& a, const I32x8& b) {                        \
        return {{name(a.h[0], b.h[0]), name(a.h[1], b.h[1])}};                          \
    }
QM_LANES_HALVES2(add)
QM_LANES_HALVES2(sub)
QM_LANES_HALVES2(mullo)
QM_LANES_HALVES2(lt)
QM_LANES_HALVES2(gt)
QM_LANES_HALVES2(eq)
QM_LANES_HALVES2(bit_and)
QM_LANES_HALVES2(bit_or)
#undef QM_LANES_HALVES2
QM_LANES_INLINE I32x8 select(const I32x8& m, const I32x8& a, const I32x8& b) {
    return {{select(m.h[0], a.h[0], b.h[0]), select(m.h[1], a.h[1], b.h[1])}};
}
QM_LANES_INLINE bool any(const I32x8& m) { return _mm_movemask_epi8(_mm_or_si128(m.h[0].v, m.h[1].v)) != 0; }
QM_LANES_INLINE void store(int32_t* p, const I32x8& a) {
    store(p, a.h[0]);
    store(p + 4, a.h[1]);
}
QM_LANES_INLINE const I32x4& half(const I32x8& a, int k) { return a.h[k]; }
QM_LANES_INLINE void set_half(I32x8& a, int k, I32x4 x) { a.h[k] = x; }
QM_LANES_INLINE I16x8 pack_i16(const I32x8& a) { return pack_i16(a.h[0], a.h[1]); }
#endif

template <class V, class... T>
QM_LANES_INLINE V lanes_of(T... x) requires std::is_same_v<V, F32x8> {
    static_assert(sizeof...(T) == 8, "one value per lane");
    return {_mm256_setr_ps(static_cast<float>(x)...)};
}

using VF = F32x8;
using VI = I32x8;
#else
using VF = F32x4;
using VI = I32x4;
#endif
#undef QM_LANES_FLOAT_OPS
#undef QM_LANES_TYPE
#undef QM_LANES_BINARY
#undef QM_LANES_SHIFT

// The four-lane quarters of VI (VI is one quarter below AVX).
QM_LANES_INLINE const I32x4& half(const I32x4& a, int) { return a; }
QM_LANES_INLINE void set_half(I32x4& a, int, I32x4 x) { a = x; }

// The set's widest integer lanes: 256 bits with AVX2, 128 bits otherwise.
// Kernels over these take VU8::N samples per step.
#if defined(__AVX2__)
using VU8 = U8x32;
using VI8 = I8x32;
using VU16 = U16x16;
using VI16 = I16x16;
using VI32 = I32x8;
#else
using VU8 = U8x16;
using VI8 = I8x16;
using VU16 = U16x8;
using VI16 = I16x8;
using VI32 = I32x4;
#endif

// Inclusive running sum across the lanes of an integer register (lane i =
// a0 + .. + ai, wrapping as the lanes do).
template <int B, class V>
QM_LANES_INLINE V prefix_sum_from(V a) {
    if constexpr (B >= static_cast<int>(sizeof(V))) return a;
    else return prefix_sum_from<2 * B>(add(a, bytes_up<B>(a)));
}
template <class V>
QM_LANES_INLINE V prefix_sum(V a) {
    return prefix_sum_from<static_cast<int>(sizeof(V)) / V::N>(a);
}

// VI as VI32 registers: one, or two halves with AVX but not AVX2.
inline constexpr int kPieces = VI::N / VI32::N;
template <class T = VI>
QM_LANES_INLINE VI32 piece(const T& a, int k) {
    if constexpr (kPieces == 1) return a;
    else return half(a, k);
}

inline constexpr int kLanes = VF::N;                  // float (and VI) lanes
inline constexpr int kHalves = kLanes / 4;            // four-lane quarters of VF / VI
inline constexpr int kAllLanes = (1 << kLanes) - 1;  // lane_mask of all lanes

// a * b per lane, low 32 bits, with b the same in every lane.
QM_LANES_INLINE VI mullo(const VI& a, int b) { return mullo(a, all<VI>(b)); }

// V::N bytes from p (and no more) as float lanes.
template <class V>
QM_LANES_INLINE V bytes_to_float(const Ipp8u* p) {
    if constexpr (V::N == 4) {
        return to_float(widen4(load_low4<U8x16>(p)));
    } else {
        using Ints = decltype(truncate(std::declval<V>()));  // VI, named through V
        const U8x16 b = load_low8<U8x16>(p);
#if defined(__AVX2__)
        return to_float(Ints{_mm256_cvtepu8_epi32(b.v)});
#else
        return to_float(Ints{{widen4(b), widen4(bytes_down<4>(b))}});
#endif
    }
}

// ---- Rows -----------------------------------------------------------------------------------

// The one tail policy: vec(i) over blocks of N samples of [0, n), the last
// block shifted back to end at n (it recomputes a few samples, which is
// harmless because each output depends only on inputs), or one(i) per sample
// when the row is shorter than a block. Vector accesses then stay inside the
// range the scalar code would touch.
template <int N, class Vec, class One>
QM_LANES_INLINE void walk_row(int n, Vec&& vec, One&& one) {
    if (n >= N) {
        int i = 0;
        for (; i + N <= n; i += N) vec(i);
        if (i < n) vec(n - N);
        return;
    }
    for (int i = 0; i < n; ++i) one(i);
}
// The same for rows known to hold at least one block.
template <int N, class Vec>
QM_LANES_INLINE void walk_blocks(int n, Vec&& vec) {
    int i = 0;
    for (; i + N <= n; i += N) vec(i);
    if (i < n) vec(n - N);
}

// f(std::integral_constant<int, 0>) .. f(<N - 1>), in order: indices the
// register shuffles need as constants.
template <int N, class F>
QM_LANES_INLINE void unroll(F&& f) {
    [&]<int... I>(std::integer_sequence<int, I...>) QM_LANES_INLINE_LAMBDA {
        (f(std::integral_constant<int, I>{}), ...);
    }(std::make_integer_sequence<int, N>{});
}

// Asks for the cache line at p + ahead. Prefetches do not fault, so the
// address may run past the image; it is formed as an integer for that reason.
QM_LANES_INLINE void prefetch(const void* p, ptrdiff_t ahead = 0) {
    _mm_prefetch(reinterpret_cast<const char*>(reinterpret_cast<uintptr_t>(p) + ahead), _MM_HINT_T0);
}

}  // namespace qm::QM_SET::lanes
