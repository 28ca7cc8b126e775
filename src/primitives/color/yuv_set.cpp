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

inline void yuv_to_rgb_px(const ToRgb& k, int y, int u, int v, Ipp8u& r, Ipp8u& g, Ipp8u& b) {
    u -= 128;
    v -= 128;
    r = range_clamp((y * 65536 + k.vr * v) >> 16);
    g = range_clamp((y * 65536 - k.ug * u - k.vg * v) >> 16);
    b = range_clamp((y * 65536 + k.ub * u) >> 16);
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
[[maybe_unused]] QM_LANES_INLINE void rgb_to_yuv16(U8x16 r, U8x16 g, U8x16 b, U8x16& y, U8x16& u, U8x16& v) {
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

// Three-channel rows, interleaved or planar: get reads pixels, put writes
// them, 16 at a time or one.
struct Interleaved {
    Ipp8u* d;
    const Ipp8u* s;
    QM_LANES_INLINE void get16(int i, U8x16& a, U8x16& b, U8x16& c) const { load_interleaved3(s + 3 * i, a, b, c); }
    QM_LANES_INLINE void get(int i, int& a, int& b, int& c) const {
        a = s[3 * i];
        b = s[3 * i + 1];
        c = s[3 * i + 2];
    }
    QM_LANES_INLINE void put16(int i, U8x16 a, U8x16 b, U8x16 c) const { store_interleaved3(d + 3 * i, a, b, c); }
    QM_LANES_INLINE void put(int i, Ipp8u a, Ipp8u b, Ipp8u c) const {
        d[3 * i] = a;
        d[3 * i + 1] = b;
        d[3 * i + 2] = c;
    }
};
struct Planar {
    Ipp8u* d[3];
    const Ipp8u* s[3];
    QM_LANES_INLINE void get16(int i, U8x16& a, U8x16& b, U8x16& c) const {
        a = load<U8x16>(s[0] + i);
        b = load<U8x16>(s[1] + i);
        c = load<U8x16>(s[2] + i);
    }
    QM_LANES_INLINE void get(int i, int& a, int& b, int& c) const {
        a = s[0][i];
        b = s[1][i];
        c = s[2][i];
    }
    QM_LANES_INLINE void put16(int i, U8x16 a, U8x16 b, U8x16 c) const {
        store(d[0] + i, a);
        store(d[1] + i, b);
        store(d[2] + i, c);
    }
    QM_LANES_INLINE void put(int i, Ipp8u a, Ipp8u b, Ipp8u c) const {
        d[0][i] = a;
        d[1][i] = b;
        d[2][i] = c;
    }
};

// One row: sets with byte shuffles take 16 pixels at a time through vec, the
// rest (and the row's tail) go one by one through one.
template <class In, class Out, class Vec, class One>
QM_LANES_INLINE void convert_row(const In& in, const Out& out, int n, Vec&& vec, One&& one) {
    int i = 0;
    if constexpr (kByteShuffle)
        for (; i + 16 <= n; i += 16) {
            U8x16 a, b, c, x, y, z;
            in.get16(i, a, b, c);
            vec(a, b, c, x, y, z);
            out.put16(i, x, y, z);
        }
    for (; i < n; ++i) {
        int a, b, c;
        Ipp8u x, y, z;
        in.get(i, a, b, c);
        one(a, b, c, x, y, z);
        out.put(i, x, y, z);
    }
}

template <class In, class Out>
void rgb_to_yuv_row(const In& in, const Out& out, int n) {
    convert_row(
        in, out, n, [](auto&&... a) QM_LANES_INLINE_LAMBDA { rgb_to_yuv16(a...); },
        [](auto&&... a) QM_LANES_INLINE_LAMBDA { rgb_to_yuv_px(a...); });
}

template <const ToRgb& K, class In, class Out>
void yuv_to_rgb_row(const In& in, const Out& out, int n) {
    convert_row(
        in, out, n, [](auto&&... a) QM_LANES_INLINE_LAMBDA { yuv_to_rgb16<K>(a...); },
        [](auto&&... a) QM_LANES_INLINE_LAMBDA { yuv_to_rgb_px(K, a...); });
}

}  // namespace

IppStatus ippiRGBToYUV_8u_C3R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize roiSize) {
    if (const IppStatus st = color::check_interleaved(pSrc, pDst, roiSize); st != ippStsNoErr) return st;
    for (int y = 0; y < roiSize.height; ++y, pSrc += srcStep, pDst += dstStep)
        rgb_to_yuv_row(Interleaved{nullptr, pSrc}, Interleaved{pDst, nullptr}, roiSize.width);
    return ippStsNoErr;
}

IppStatus ippiYUVToRGB_8u_C3R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize roiSize) {
    if (const IppStatus st = color::check_interleaved(pSrc, pDst, roiSize); st != ippStsNoErr) return st;
    for (int y = 0; y < roiSize.height; ++y, pSrc += srcStep, pDst += dstStep)
        yuv_to_rgb_row<kInterleaved>(Interleaved{nullptr, pSrc}, Interleaved{pDst, nullptr}, roiSize.width);
    return ippStsNoErr;
}

IppStatus ippiRGBToYUV_8u_C3P3R(const Ipp8u* pSrc, int srcStep, Ipp8u* const pDst[3], int dstStep,
                                IppiSize roiSize) {
    if (const IppStatus st = color::check_planar_yuv(pSrc, pDst, roiSize); st != ippStsNoErr) return st;
    Ipp8u* d0 = pDst[0];
    Ipp8u* d1 = pDst[1];
    Ipp8u* d2 = pDst[2];
    for (int y = 0; y < roiSize.height; ++y, pSrc += srcStep, d0 += dstStep, d1 += dstStep, d2 += dstStep)
        rgb_to_yuv_row(Interleaved{nullptr, pSrc}, Planar{{d0, d1, d2}, {}}, roiSize.width);
    return ippStsNoErr;
}

IppStatus ippiYUVToRGB_8u_P3C3R(const Ipp8u* const pSrc[3], int srcStep, Ipp8u* pDst, int dstStep,
                                IppiSize roiSize) {
    if (const IppStatus st = color::check_planar_yuv(pDst, pSrc, roiSize); st != ippStsNoErr) return st;
    const Ipp8u* s0 = pSrc[0];
    const Ipp8u* s1 = pSrc[1];
    const Ipp8u* s2 = pSrc[2];
    for (int y = 0; y < roiSize.height; ++y, s0 += srcStep, s1 += srcStep, s2 += srcStep, pDst += dstStep)
        yuv_to_rgb_row<kPlanar>(Planar{{}, {s0, s1, s2}}, Interleaved{pDst, nullptr}, roiSize.width);
    return ippStsNoErr;
}

}  // namespace qm::QM_SET
