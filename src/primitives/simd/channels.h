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
