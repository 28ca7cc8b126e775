// RGB <-> YUV conversion of 8-bit pixels in 16.16 fixed point.
//
// The scalar code is the definition; the SSSE3 path recomputes the same
// integers in 16-bit lanes, using identities that hold exactly:
//   (x * (65536 + k)) >> 16 == x + mulhi(x, k)   for the coefficients above 1.0,
//   dR == R - ((S >> 15) + 1) >> 1              (the 32767 rounding of R - Y),
// and lets pack saturation play the part of the clamp tables.
#include <cstdint>

#include "frame/set.h"

#if defined(__SSSE3__)
#include <tmmintrin.h>
#endif

namespace qm::QM_SET {
namespace {

// Range clamp over -512 .. 767 and chroma clamp over -256 .. 255, centred.
struct ClampTables {
    Ipp8u range[1280];
    Ipp8u chroma[512];
};
constexpr ClampTables make_tables() {
    ClampTables t{};
    for (int i = 0; i < 1280; ++i) {
        const int v = i - 512;
        t.range[i] = static_cast<Ipp8u>(v < 0 ? 0 : v > 255 ? 255 : v);
    }
    for (int i = 0; i < 512; ++i) {
        const int v = i - 256;
        t.chroma[i] = static_cast<Ipp8u>(v < -128 ? 0 : v > 127 ? 255 : v + 128);
    }
    return t;
}
constexpr ClampTables kTables = make_tables();
inline Ipp8u range_clamp(int v) { return kTables.range[v + 512]; }
inline Ipp8u chroma_clamp(int v) { return kTables.chroma[v + 256]; }

// The interleaved YUV-to-RGB weights and the planar ones, one unit lower.
struct ToRgb {
    int vr, ug, vg, ub;
};
constexpr ToRgb kInterleaved{74711, 25821, 38076, 133169};
constexpr ToRgb kPlanar{74710, 25820, 38075, 133168};

inline void rgb_to_yuv_px(int r, int g, int b, Ipp8u& y, Ipp8u& u, Ipp8u& v) {
    const int s = 19595 * r + 38470 * g + 7471 * b;
    const int dr = (r * 65536 - s + 32767) >> 16;
    const int db = (b * 65536 - s + 32767) >> 16;
    y = static_cast<Ipp8u>(s >> 16);
    u = static_cast<Ipp8u>(((db * 32244) >> 16) + 128);
    v = chroma_clamp((dr * 57475) >> 16);
}

inline void yuv_to_rgb_px(const ToRgb& k, int y, int u, int v, Ipp8u* out) {
    u -= 128;
    v -= 128;
    out[0] = range_clamp((y * 65536 + k.vr * v) >> 16);
    out[1] = range_clamp((y * 65536 - k.ug * u - k.vg * v) >> 16);
    out[2] = range_clamp((y * 65536 + k.ub * u) >> 16);
}

#if defined(__SSSE3__)
// Split 16 interleaved pixels (48 bytes) into channel c: byte j of block b.
constexpr signed char mask_split(int c, int block, int j) {
    const int src = 3 * j + c - 16 * block;
    return (src >= 0 && src < 16) ? static_cast<signed char>(src) : -1;
}
constexpr signed char mask_join(int c, int block, int j) {
    const int pos = 16 * block + j;
    return (pos % 3 == c) ? static_cast<signed char>(pos / 3) : -1;
}
struct ShuffleMasks {
    alignas(16) signed char split[3][3][16];  // [channel][block]
    alignas(16) signed char join[3][3][16];   // [block][channel]
};
constexpr ShuffleMasks make_masks() {
    ShuffleMasks m{};
    for (int c = 0; c < 3; ++c)
        for (int b = 0; b < 3; ++b)
            for (int j = 0; j < 16; ++j) {
                m.split[c][b][j] = mask_split(c, b, j);
                m.join[b][c][j] = mask_join(c, b, j);
            }
    return m;
}
alignas(16) constexpr ShuffleMasks kMasks = make_masks();

inline __m128i mask(const signed char* m) { return _mm_load_si128(reinterpret_cast<const __m128i*>(m)); }
inline __m128i load(const Ipp8u* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }
inline void store(Ipp8u* p, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); }

inline void split48(const Ipp8u* s, __m128i& c0, __m128i& c1, __m128i& c2) {
    const __m128i a = load(s), b = load(s + 16), c = load(s + 32);
    __m128i* outs[3] = {&c0, &c1, &c2};
    for (int ch = 0; ch < 3; ++ch)
        *outs[ch] = _mm_or_si128(_mm_or_si128(_mm_shuffle_epi8(a, mask(kMasks.split[ch][0])),
                                              _mm_shuffle_epi8(b, mask(kMasks.split[ch][1]))),
                                 _mm_shuffle_epi8(c, mask(kMasks.split[ch][2])));
}
inline void join48(Ipp8u* d, __m128i c0, __m128i c1, __m128i c2) {
    for (int b = 0; b < 3; ++b)
        store(d + 16 * b, _mm_or_si128(_mm_or_si128(_mm_shuffle_epi8(c0, mask(kMasks.join[b][0])),
                                                    _mm_shuffle_epi8(c1, mask(kMasks.join[b][1]))),
                                       _mm_shuffle_epi8(c2, mask(kMasks.join[b][2]))));
}

// Eight pixels in 16-bit lanes; results still in 16 bits.
inline void rgb_to_yuv8(__m128i r, __m128i g, __m128i b, __m128i& y, __m128i& u, __m128i& v) {
    // S = 19595 R + (32767 + 5703) G + 7471 B, exact in 32 bits.
    const __m128i wRG = _mm_set1_epi32((32767 << 16) | 19595);
    const __m128i wBG = _mm_set1_epi32((5703 << 16) | 7471);
    const __m128i sLo = _mm_add_epi32(_mm_madd_epi16(_mm_unpacklo_epi16(r, g), wRG),
                                      _mm_madd_epi16(_mm_unpacklo_epi16(b, g), wBG));
    const __m128i sHi = _mm_add_epi32(_mm_madd_epi16(_mm_unpackhi_epi16(r, g), wRG),
                                      _mm_madd_epi16(_mm_unpackhi_epi16(b, g), wBG));
    const __m128i t = _mm_packs_epi32(_mm_srai_epi32(sLo, 15), _mm_srai_epi32(sHi, 15));  // 0 .. 510
    const __m128i h = _mm_srli_epi16(_mm_add_epi16(t, _mm_set1_epi16(1)), 1);
    const __m128i dr = _mm_sub_epi16(r, h);
    const __m128i db = _mm_sub_epi16(b, h);
    y = _mm_srli_epi16(t, 1);
    u = _mm_add_epi16(_mm_mulhi_epi16(db, _mm_set1_epi16(32244)), _mm_set1_epi16(128));
    v = _mm_add_epi16(_mm_mulhi_epi16(dr, _mm_set1_epi16(57475 - 65536)), dr);  // raw, unclamped
}

// Sixteen pixels from byte channels to byte channels.
inline void rgb_to_yuv16(__m128i r, __m128i g, __m128i b, __m128i& y, __m128i& u, __m128i& v) {
    const __m128i z = _mm_setzero_si128();
    __m128i y0, u0, v0, y1, u1, v1;
    rgb_to_yuv8(_mm_unpacklo_epi8(r, z), _mm_unpacklo_epi8(g, z), _mm_unpacklo_epi8(b, z), y0, u0, v0);
    rgb_to_yuv8(_mm_unpackhi_epi8(r, z), _mm_unpackhi_epi8(g, z), _mm_unpackhi_epi8(b, z), y1, u1, v1);
    y = _mm_packus_epi16(y0, y1);
    u = _mm_packus_epi16(u0, u1);
    // Signed saturation to -128 .. 127, then the +128 offset: the chroma clamp.
    v = _mm_xor_si128(_mm_packs_epi16(v0, v1), _mm_set1_epi8(static_cast<char>(0x80)));
}

template <const ToRgb& K>
inline void yuv_to_rgb8(__m128i y, __m128i u, __m128i v, __m128i& r, __m128i& g, __m128i& b) {
    u = _mm_sub_epi16(u, _mm_set1_epi16(128));
    v = _mm_sub_epi16(v, _mm_set1_epi16(128));
    r = _mm_add_epi16(_mm_add_epi16(y, v), _mm_mulhi_epi16(v, _mm_set1_epi16(static_cast<short>(K.vr - 65536))));
    b = _mm_add_epi16(_mm_add_epi16(y, _mm_add_epi16(u, u)),
                      _mm_mulhi_epi16(u, _mm_set1_epi16(static_cast<short>(K.ub - 131072))));
    // -ug u - vg v == -ug u + (65536 - vg) v - 65536 v, the first two exact in 32 bits.
    const __m128i w = _mm_set1_epi32(static_cast<int>((static_cast<uint32_t>(65536 - K.vg) << 16) |
                                                      static_cast<uint16_t>(-K.ug)));
    const __m128i lo = _mm_srai_epi32(_mm_madd_epi16(_mm_unpacklo_epi16(u, v), w), 16);
    const __m128i hi = _mm_srai_epi32(_mm_madd_epi16(_mm_unpackhi_epi16(u, v), w), 16);
    g = _mm_add_epi16(_mm_sub_epi16(y, v), _mm_packs_epi32(lo, hi));
}

template <const ToRgb& K>
inline void yuv_to_rgb16(__m128i y, __m128i u, __m128i v, __m128i& r, __m128i& g, __m128i& b) {
    const __m128i z = _mm_setzero_si128();
    __m128i r0, g0, b0, r1, g1, b1;
    yuv_to_rgb8<K>(_mm_unpacklo_epi8(y, z), _mm_unpacklo_epi8(u, z), _mm_unpacklo_epi8(v, z), r0, g0, b0);
    yuv_to_rgb8<K>(_mm_unpackhi_epi8(y, z), _mm_unpackhi_epi8(u, z), _mm_unpackhi_epi8(v, z), r1, g1, b1);
    r = _mm_packus_epi16(r0, r1);  // unsigned saturation is the range clamp
    g = _mm_packus_epi16(g0, g1);
    b = _mm_packus_epi16(b0, b1);
}
#endif

// One row each; the vector part handles 16 pixels at a time, the rest is scalar.
void rgb_to_yuv_row(const Ipp8u* s, Ipp8u* d, int n) {
    int i = 0;
#if defined(__SSSE3__)
    for (; i + 16 <= n; i += 16) {
        __m128i r, g, b, y, u, v;
        split48(s + 3 * i, r, g, b);
        rgb_to_yuv16(r, g, b, y, u, v);
        join48(d + 3 * i, y, u, v);
    }
#endif
    for (; i < n; ++i) rgb_to_yuv_px(s[3 * i], s[3 * i + 1], s[3 * i + 2], d[3 * i], d[3 * i + 1], d[3 * i + 2]);
}

void rgb_to_yuv_row_planar(const Ipp8u* s, Ipp8u* d0, Ipp8u* d1, Ipp8u* d2, int n) {
    int i = 0;
#if defined(__SSSE3__)
    for (; i + 16 <= n; i += 16) {
        __m128i r, g, b, y, u, v;
        split48(s + 3 * i, r, g, b);
        rgb_to_yuv16(r, g, b, y, u, v);
        store(d0 + i, y);
        store(d1 + i, u);
        store(d2 + i, v);
    }
#endif
    for (; i < n; ++i) rgb_to_yuv_px(s[3 * i], s[3 * i + 1], s[3 * i + 2], d0[i], d1[i], d2[i]);
}

void yuv_to_rgb_row(const Ipp8u* s, Ipp8u* d, int n) {
    int i = 0;
#if defined(__SSSE3__)
    for (; i + 16 <= n; i += 16) {
        __m128i y, u, v, r, g, b;
        split48(s + 3 * i, y, u, v);
        yuv_to_rgb16<kInterleaved>(y, u, v, r, g, b);
        join48(d + 3 * i, r, g, b);
    }
#endif
    for (; i < n; ++i) yuv_to_rgb_px(kInterleaved, s[3 * i], s[3 * i + 1], s[3 * i + 2], d + 3 * i);
}

void yuv_to_rgb_row_planar(const Ipp8u* s0, const Ipp8u* s1, const Ipp8u* s2, Ipp8u* d, int n) {
    int i = 0;
#if defined(__SSSE3__)
    for (; i + 16 <= n; i += 16) {
        __m128i r, g, b;
        yuv_to_rgb16<kPlanar>(load(s0 + i), load(s1 + i), load(s2 + i), r, g, b);
        join48(d + 3 * i, r, g, b);
    }
#endif
    for (; i < n; ++i) yuv_to_rgb_px(kPlanar, s0[i], s1[i], s2[i], d + 3 * i);
}

}  // namespace

IppStatus ippiRGBToYUV_8u_C3R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize roiSize) {
    if (pSrc == nullptr || pDst == nullptr) return ippStsNullPtrErr;
    if (roiSize.width < 1 || roiSize.height < 1) return ippStsSizeErr;
    for (int y = 0; y < roiSize.height; ++y, pSrc += srcStep, pDst += dstStep)
        rgb_to_yuv_row(pSrc, pDst, roiSize.width);
    return ippStsNoErr;
}

IppStatus ippiYUVToRGB_8u_C3R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize roiSize) {
    if (pSrc == nullptr || pDst == nullptr) return ippStsNullPtrErr;
    if (roiSize.width < 1 || roiSize.height < 1) return ippStsSizeErr;
    for (int y = 0; y < roiSize.height; ++y, pSrc += srcStep, pDst += dstStep)
        yuv_to_rgb_row(pSrc, pDst, roiSize.width);
    return ippStsNoErr;
}

// The planar forms test the plane pointers only after the size.
IppStatus ippiRGBToYUV_8u_C3P3R(const Ipp8u* pSrc, int srcStep, Ipp8u* const pDst[3], int dstStep,
                                IppiSize roiSize) {
    if (pSrc == nullptr || pDst == nullptr) return ippStsNullPtrErr;
    if (roiSize.width < 1 || roiSize.height < 1) return ippStsSizeErr;
    if (pDst[0] == nullptr || pDst[1] == nullptr || pDst[2] == nullptr) return ippStsNullPtrErr;
    Ipp8u* d0 = pDst[0];
    Ipp8u* d1 = pDst[1];
    Ipp8u* d2 = pDst[2];
    for (int y = 0; y < roiSize.height; ++y, pSrc += srcStep, d0 += dstStep, d1 += dstStep, d2 += dstStep)
        rgb_to_yuv_row_planar(pSrc, d0, d1, d2, roiSize.width);
    return ippStsNoErr;
}

IppStatus ippiYUVToRGB_8u_P3C3R(const Ipp8u* const pSrc[3], int srcStep, Ipp8u* pDst, int dstStep,
                                IppiSize roiSize) {
    if (pSrc == nullptr || pDst == nullptr) return ippStsNullPtrErr;
    if (roiSize.width < 1 || roiSize.height < 1) return ippStsSizeErr;
    if (pSrc[0] == nullptr || pSrc[1] == nullptr || pSrc[2] == nullptr) return ippStsNullPtrErr;
    const Ipp8u* s0 = pSrc[0];
    const Ipp8u* s1 = pSrc[1];
    const Ipp8u* s2 = pSrc[2];
    for (int y = 0; y < roiSize.height; ++y, s0 += srcStep, s1 += srcStep, s2 += srcStep, pDst += dstStep)
        yuv_to_rgb_row_planar(s0, s1, s2, pDst, roiSize.width);
    return ippStsNoErr;
}

}  // namespace qm::QM_SET
