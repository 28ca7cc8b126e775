// Three-channel pixels in float lanes: 3 x N interleaved floats (N pixels)
// as three channel registers, and back. Pure lane moves, so any width gives
// the same values. Kept apart from lanes.h so that the integer widths there
// can change without touching these.
#pragma once
#include "primitives/simd/lanes.h"

namespace qm::QM_SET::lanes {

namespace detail {
// Per 128-bit block: lanes I0, I1 of a, then I2, I3 of b.
template <int I0, int I1, int I2, int I3>
QM_LANES_INLINE F32x4 pick2(F32x4 a, F32x4 b) {
    return {_mm_shuffle_ps(a.v, b.v, _MM_SHUFFLE(I3, I2, I1, I0))};
}
QM_LANES_INLINE F32x4 pairs_lo(F32x4 a, F32x4 b) { return {_mm_unpacklo_ps(a.v, b.v)}; }
QM_LANES_INLINE F32x4 pairs_hi(F32x4 a, F32x4 b) { return {_mm_unpackhi_ps(a.v, b.v)}; }
#if defined(__AVX__)
template <int I0, int I1, int I2, int I3>
QM_LANES_INLINE F32x8 pick2(F32x8 a, F32x8 b) {
    return {_mm256_shuffle_ps(a.v, b.v, _MM_SHUFFLE(I3, I2, I1, I0))};
}
QM_LANES_INLINE F32x8 pairs_lo(F32x8 a, F32x8 b) { return {_mm256_unpacklo_ps(a.v, b.v)}; }
QM_LANES_INLINE F32x8 pairs_hi(F32x8 a, F32x8 b) { return {_mm256_unpackhi_ps(a.v, b.v)}; }
// 128-bit block K of a (0, 1) or of b (2, 3) as each half of the result.
template <int Lo, int Hi>
QM_LANES_INLINE F32x8 blocks(F32x8 a, F32x8 b) {
    return {_mm256_permute2f128_ps(a.v, b.v, Lo | (Hi << 4))};
}
#endif

// Four pixels per 128-bit block: x = r0 g0 b0 r1, y = g1 b1 r2 g2, z = b2 r3 g3 b3.
template <class V>
QM_LANES_INLINE void split3(V x, V y, V z, V& c0, V& c1, V& c2) {
    c0 = pick2<0, 3, 0, 2>(x, pick2<2, 2, 1, 1>(y, z));
    c1 = pick2<0, 2, 0, 2>(pick2<1, 1, 0, 0>(x, y), pick2<3, 3, 2, 2>(y, z));
    c2 = pick2<0, 2, 0, 3>(pick2<2, 2, 1, 1>(x, y), z);
}
template <class V>
QM_LANES_INLINE void join3(V c0, V c1, V c2, V& x, V& y, V& z) {
    x = pick2<0, 1, 0, 2>(pairs_lo(c0, c1), pick2<0, 0, 1, 1>(c2, c0));
    y = pick2<0, 2, 0, 1>(pick2<1, 1, 1, 1>(c1, c2), pairs_hi(c0, c1));
    z = pick2<0, 2, 0, 2>(pick2<2, 2, 3, 3>(c2, c0), pick2<3, 3, 3, 3>(c1, c2));
}
}  // namespace detail

QM_LANES_INLINE void load_interleaved3(const float* p, F32x4& c0, F32x4& c1, F32x4& c2) {
    detail::split3(load<F32x4>(p), load<F32x4>(p + 4), load<F32x4>(p + 8), c0, c1, c2);
}
QM_LANES_INLINE void store_interleaved3(float* p, F32x4 c0, F32x4 c1, F32x4 c2) {
    F32x4 x, y, z;
    detail::join3(c0, c1, c2, x, y, z);
    store(p, x);
    store(p + 4, y);
    store(p + 8, z);
}

#if defined(__AVX__)
// Pixels 0..3 in the low blocks, 4..7 in the high ones.
QM_LANES_INLINE void load_interleaved3(const float* p, F32x8& c0, F32x8& c1, F32x8& c2) {
    const F32x8 a = load<F32x8>(p), b = load<F32x8>(p + 8), c = load<F32x8>(p + 16);
    detail::split3(detail::blocks<0, 3>(a, b), detail::blocks<1, 2>(a, c), detail::blocks<0, 3>(b, c), c0, c1, c2);
}
QM_LANES_INLINE void store_interleaved3(float* p, F32x8 c0, F32x8 c1, F32x8 c2) {
    F32x8 x, y, z;  // x: floats 0..3 and 12..15, y: 4..7 and 16..19, z: 8..11 and 20..23
    detail::join3(c0, c1, c2, x, y, z);
    store(p, detail::blocks<0, 2>(x, y));
    store(p + 8, detail::blocks<0, 3>(z, x));
    store(p + 16, detail::blocks<1, 3>(y, z));
}
#endif

}  // namespace qm::QM_SET::lanes

// Three-channel bytes: kPixels3 interleaved pixels split into three planes,
// or joined from them, per call. With AVX2 the 16-pixel shuffles of
// load/store_interleaved3 run on both 128-bit halves at once, one half per
// 16 pixels.
namespace qm::QM_SET::lanes {

#if defined(__AVX2__)
inline constexpr int kPixels3 = 32;
namespace detail {
QM_LANES_INLINE __m256i both_halves(const signed char* m) {
    return _mm256_broadcastsi128_si256(_mm_load_si128(reinterpret_cast<const __m128i*>(m)));
}
// 16 bytes at p in the low half, at p + 48 in the high half.
QM_LANES_INLINE __m256i pair48(const Ipp8u* p) {
    return _mm256_inserti128_si256(_mm256_castsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))),
                                   _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 48)), 1);
}
}  // namespace detail

QM_LANES_INLINE void split3(const Ipp8u* s, Ipp8u* d0, Ipp8u* d1, Ipp8u* d2) {
    const __m256i in[3] = {detail::pair48(s), detail::pair48(s + 16), detail::pair48(s + 32)};
    Ipp8u* out[3] = {d0, d1, d2};
    for (int c = 0; c < 3; ++c) {
        const auto& m = detail::kInterleave3.split[c];
        __m256i r = _mm256_shuffle_epi8(in[0], detail::both_halves(m[0]));
        r = _mm256_or_si256(r, _mm256_shuffle_epi8(in[1], detail::both_halves(m[1])));
        r = _mm256_or_si256(r, _mm256_shuffle_epi8(in[2], detail::both_halves(m[2])));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out[c]), r);
    }
}
QM_LANES_INLINE void join3(const Ipp8u* s0, const Ipp8u* s1, const Ipp8u* s2, Ipp8u* d) {
    const __m256i in[3] = {_mm256_loadu_si256(reinterpret_cast<const __m256i*>(s0)),
                           _mm256_loadu_si256(reinterpret_cast<const __m256i*>(s1)),
                           _mm256_loadu_si256(reinterpret_cast<const __m256i*>(s2))};
    __m256i out[3];  // block b of pixels 0..15 low, of pixels 16..31 high
    for (int b = 0; b < 3; ++b) {
        const auto& m = detail::kInterleave3.join[b];
        __m256i r = _mm256_shuffle_epi8(in[0], detail::both_halves(m[0]));
        r = _mm256_or_si256(r, _mm256_shuffle_epi8(in[1], detail::both_halves(m[1])));
        out[b] = _mm256_or_si256(r, _mm256_shuffle_epi8(in[2], detail::both_halves(m[2])));
    }
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(d), _mm256_permute2x128_si256(out[0], out[1], 0x20));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + 32), _mm256_permute2x128_si256(out[2], out[0], 0x30));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + 64), _mm256_permute2x128_si256(out[1], out[2], 0x31));
}
#else
inline constexpr int kPixels3 = 16;
QM_LANES_INLINE void split3(const Ipp8u* s, Ipp8u* d0, Ipp8u* d1, Ipp8u* d2) {
    U8x16 c0, c1, c2;
    load_interleaved3(s, c0, c1, c2);
    store(d0, c0);
    store(d1, c1);
    store(d2, c2);
}
QM_LANES_INLINE void join3(const Ipp8u* s0, const Ipp8u* s1, const Ipp8u* s2, Ipp8u* d) {
    store_interleaved3(d, load<U8x16>(s0), load<U8x16>(s1), load<U8x16>(s2));
}
#endif

}  // namespace qm::QM_SET::lanes
