// RGB <-> YUV conversion of 8-bit pixels in 16.16 fixed point.
//
// The scalar code is the definition; the byte-shuffle path recomputes the same
// integers in 16-bit lanes, using identities that hold exactly:
//   (x * (65536 + k)) >> 16 == x + mulhi(x, k)   for the coefficients above 1.0,
//   dR == R - ((S >> 15) + 1) >> 1              (the 32767 rounding of R - Y),
// and lets pack saturation play the part of the clamp tables.
#include <cstdint>

#include "frame/set.h"
#include "primitives/color/color_front.h"
#include "primitives/simd/lanes.h"

namespace qm::QM_SET {
namespace {

using namespace lanes;

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

// Eight pixels in 16-bit lanes; results still in 16 bits.
QM_LANES_INLINE void rgb_to_yuv8(I16x8 r, I16x8 g, I16x8 b, I16x8& y, I16x8& u, I16x8& v) {
    // S = 19595 R + (32767 + 5703) G + 7471 B, exact in 32 bits.
    const I16x8 wRG = as<I16x8>(all<I32x4>((32767 << 16) | 19595));
    const I16x8 wBG = as<I16x8>(all<I32x4>((5703 << 16) | 7471));
    const I32x4 sLo = add(madd(interleave_lo(r, g), wRG), madd(interleave_lo(b, g), wBG));
    const I32x4 sHi = add(madd(interleave_hi(r, g), wRG), madd(interleave_hi(b, g), wBG));
    const I16x8 t = pack_i16(sar<15>(sLo), sar<15>(sHi));  // 0 .. 510
    const I16x8 h = shr<1>(add(t, all<I16x8>(1)));
    const I16x8 dr = sub(r, h);
    const I16x8 db = sub(b, h);
    y = shr<1>(t);
    u = add(mulhi(db, all<I16x8>(32244)), all<I16x8>(128));
    v = add(mulhi(dr, all<I16x8>(57475 - 65536)), dr);  // raw, unclamped
}

// Sixteen pixels from byte channels to byte channels.
QM_LANES_INLINE void rgb_to_yuv16(U8x16 r, U8x16 g, U8x16 b, U8x16& y, U8x16& u, U8x16& v) {
    I16x8 y0, u0, v0, y1, u1, v1;
    rgb_to_yuv8(as<I16x8>(widen_lo(r)), as<I16x8>(widen_lo(g)), as<I16x8>(widen_lo(b)), y0, u0, v0);
    rgb_to_yuv8(as<I16x8>(widen_hi(r)), as<I16x8>(widen_hi(g)), as<I16x8>(widen_hi(b)), y1, u1, v1);
    y = pack_u8(y0, y1);
    u = pack_u8(u0, u1);
    // Signed saturation to -128 .. 127, then the +128 offset: the chroma clamp.
    v = bit_xor(as<U8x16>(pack_i8(v0, v1)), all<U8x16>(0x80));
}

template <const ToRgb& K>
QM_LANES_INLINE void yuv_to_rgb8(I16x8 y, I16x8 u, I16x8 v, I16x8& r, I16x8& g, I16x8& b) {
    u = sub(u, all<I16x8>(128));
    v = sub(v, all<I16x8>(128));
    r = add(add(y, v), mulhi(v, all<I16x8>(K.vr - 65536)));
    b = add(add(y, add(u, u)), mulhi(u, all<I16x8>(K.ub - 131072)));
    // -ug u - vg v == -ug u + (65536 - vg) v - 65536 v, the first two exact in 32 bits.
    const I16x8 w = as<I16x8>(all<I32x4>(
        static_cast<int>((static_cast<uint32_t>(65536 - K.vg) << 16) | static_cast<uint16_t>(-K.ug))));
    const I32x4 lo = sar<16>(madd(interleave_lo(u, v), w));
    const I32x4 hi = sar<16>(madd(interleave_hi(u, v), w));
    g = add(sub(y, v), pack_i16(lo, hi));
}

template <const ToRgb& K>
QM_LANES_INLINE void yuv_to_rgb16(U8x16 y, U8x16 u, U8x16 v, U8x16& r, U8x16& g, U8x16& b) {
    I16x8 r0, g0, b0, r1, g1, b1;
    yuv_to_rgb8<K>(as<I16x8>(widen_lo(y)), as<I16x8>(widen_lo(u)), as<I16x8>(widen_lo(v)), r0, g0, b0);
    yuv_to_rgb8<K>(as<I16x8>(widen_hi(y)), as<I16x8>(widen_hi(u)), as<I16x8>(widen_hi(v)), r1, g1, b1);
    r = pack_u8(r0, r1);  // unsigned saturation is the range clamp
    g = pack_u8(g0, g1);
    b = pack_u8(b0, b1);
}

// One row each; sets with byte shuffles take 16 pixels at a time, the rest
// (and the row's tail) is scalar.
void rgb_to_yuv_row(const Ipp8u* s, Ipp8u* d, int n) {
    int i = 0;
    if constexpr (kByteShuffle)
        for (; i + 16 <= n; i += 16) {
            U8x16 r, g, b, y, u, v;
            load_interleaved3(s + 3 * i, r, g, b);
            rgb_to_yuv16(r, g, b, y, u, v);
            store_interleaved3(d + 3 * i, y, u, v);
        }
    for (; i < n; ++i) rgb_to_yuv_px(s[3 * i], s[3 * i + 1], s[3 * i + 2], d[3 * i], d[3 * i + 1], d[3 * i + 2]);
}

void rgb_to_yuv_row_planar(const Ipp8u* s, Ipp8u* d0, Ipp8u* d1, Ipp8u* d2, int n) {
    int i = 0;
    if constexpr (kByteShuffle)
        for (; i + 16 <= n; i += 16) {
            U8x16 r, g, b, y, u, v;
            load_interleaved3(s + 3 * i, r, g, b);
            rgb_to_yuv16(r, g, b, y, u, v);
            store(d0 + i, y);
            store(d1 + i, u);
            store(d2 + i, v);
        }
    for (; i < n; ++i) rgb_to_yuv_px(s[3 * i], s[3 * i + 1], s[3 * i + 2], d0[i], d1[i], d2[i]);
}

void yuv_to_rgb_row(const Ipp8u* s, Ipp8u* d, int n) {
    int i = 0;
    if constexpr (kByteShuffle)
        for (; i + 16 <= n; i += 16) {
            U8x16 y, u, v, r, g, b;
            load_interleaved3(s + 3 * i, y, u, v);
            yuv_to_rgb16<kInterleaved>(y, u, v, r, g, b);
            store_interleaved3(d + 3 * i, r, g, b);
        }
    for (; i < n; ++i) yuv_to_rgb_px(kInterleaved, s[3 * i], s[3 * i + 1], s[3 * i + 2], d + 3 * i);
}

void yuv_to_rgb_row_planar(const Ipp8u* s0, const Ipp8u* s1, const Ipp8u* s2, Ipp8u* d, int n) {
    int i = 0;
    if constexpr (kByteShuffle)
        for (; i + 16 <= n; i += 16) {
            U8x16 r, g, b;
            yuv_to_rgb16<kPlanar>(load<U8x16>(s0 + i), load<U8x16>(s1 + i), load<U8x16>(s2 + i), r, g, b);
            store_interleaved3(d + 3 * i, r, g, b);
        }
    for (; i < n; ++i) yuv_to_rgb_px(kPlanar, s0[i], s1[i], s2[i], d + 3 * i);
}

}  // namespace

IppStatus ippiRGBToYUV_8u_C3R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize roiSize) {
    if (const IppStatus st = color::check_interleaved(pSrc, pDst, roiSize); st != ippStsNoErr) return st;
    for (int y = 0; y < roiSize.height; ++y, pSrc += srcStep, pDst += dstStep)
        rgb_to_yuv_row(pSrc, pDst, roiSize.width);
    return ippStsNoErr;
}

IppStatus ippiYUVToRGB_8u_C3R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize roiSize) {
    if (const IppStatus st = color::check_interleaved(pSrc, pDst, roiSize); st != ippStsNoErr) return st;
    for (int y = 0; y < roiSize.height; ++y, pSrc += srcStep, pDst += dstStep)
        yuv_to_rgb_row(pSrc, pDst, roiSize.width);
    return ippStsNoErr;
}

IppStatus ippiRGBToYUV_8u_C3P3R(const Ipp8u* pSrc, int srcStep, Ipp8u* const pDst[3], int dstStep,
                                IppiSize roiSize) {
    if (const IppStatus st = color::check_planar_yuv(pSrc, pDst, roiSize); st != ippStsNoErr) return st;
    Ipp8u* d0 = pDst[0];
    Ipp8u* d1 = pDst[1];
    Ipp8u* d2 = pDst[2];
    for (int y = 0; y < roiSize.height; ++y, pSrc += srcStep, d0 += dstStep, d1 += dstStep, d2 += dstStep)
        rgb_to_yuv_row_planar(pSrc, d0, d1, d2, roiSize.width);
    return ippStsNoErr;
}

IppStatus ippiYUVToRGB_8u_P3C3R(const Ipp8u* const pSrc[3], int srcStep, Ipp8u* pDst, int dstStep,
                                IppiSize roiSize) {
    if (const IppStatus st = color::check_planar_yuv(pDst, pSrc, roiSize); st != ippStsNoErr) return st;
    const Ipp8u* s0 = pSrc[0];
    const Ipp8u* s1 = pSrc[1];
    const Ipp8u* s2 = pSrc[2];
    for (int y = 0; y < roiSize.height; ++y, s0 += srcStep, s1 += srcStep, s2 += srcStep, pDst += dstStep)
        yuv_to_rgb_row_planar(s0, s1, s2, pDst, roiSize.width);
    return ippStsNoErr;
}

}  // namespace qm::QM_SET
