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
#include "primitives/linear/filter_front.h"
#include "primitives/simd/lanes.h"

namespace qm::QM_SET {
namespace {

using namespace lanes;
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
    for (; i + 16 <= n; i += 16) {
        const U8x16 b = load<U8x16>(s + i);
        const U16x8 lo = widen_lo(b), hi = widen_hi(b);
        store(d + i, to_float(widen_lo(lo)));
        store(d + i + 4, to_float(widen_hi(lo)));
        store(d + i + 8, to_float(widen_lo(hi)));
        store(d + i + 12, to_float(widen_hi(hi)));
    }
    for (; i < n; ++i) d[i] = static_cast<float>(s[i]);
}

// U vectors of V output values from e on: the taps in window order, U
// independent sums in flight per tap, then saturated and rounded half to even
// (max with 0 first turns NaN into 0).
template <class V, int U>
QM_LANES_INLINE void float_block(const float* const* rows, const float* kr, int kw, int kh, int ch, Ipp8u* d, int e) {
    V a[U];
    for (int q = 0; q < U; ++q) a[q] = zero<V>();
    for (int r = 0; r < kh; ++r) {
        const float* row = rows[r] + e;
        const float* k = kr + r * kw;
        for (int c = 0; c < kw; ++c, row += ch) {
            const V w = all<V>(k[c]);
            for (int q = 0; q < U; ++q) a[q] = add(a[q], mul(w, load<V>(row + q * V::N)));
        }
    }
    constexpr int kQuarters = U * V::N / 4;
    I32x4 v[kQuarters];
    for (int q = 0; q < U; ++q) {
        const auto rounded = round_even(min(max(a[q], zero<V>()), all<V>(255.0f)));
        for (int h = 0; h < V::N / 4; ++h) v[q * (V::N / 4) + h] = half(rounded, h);
    }
    if constexpr (kQuarters == 1) {
        const I16x8 b = pack_i16(v[0], v[0]);
        store_low4(d + e, pack_u8(b, b));
    } else {
        for (int q = 0; q < kQuarters; q += 4)
            store(d + e + 4 * q, pack_u8(pack_i16(v[q], v[q + 1]), pack_i16(v[q + 2], v[q + 3])));
    }
}

// One output row of a strip: `rows[r]` are the window's float rows, n values.
// Blocks of four vectors keep four independent sums in flight per tap; the
// row's end takes blocks of 16 and 4 values, then single values.
void float_row(const float* const* rows, const float* kr, int kw, int kh, int ch, Ipp8u* d, int n) {
    int e = 0;
    for (; e + 4 * kLanes <= n; e += 4 * kLanes) float_block<VF, 4>(rows, kr, kw, kh, ch, d, e);
    if constexpr (kWideFloat)
        for (; e + 16 <= n; e += 16) float_block<F32x4, 4>(rows, kr, kw, kh, ch, d, e);
    for (; e + 4 <= n; e += 4) float_block<F32x4, 1>(rows, kr, kw, kh, ch, d, e);
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
    // Four sums to four values in 0..255, in 32-bit lanes.
    I32x4 operator()(I32x4 s) const {
        if (rule == One) return s;  // the final packs saturate
        if (rule == Reciprocal) {
            const F32x4 t = mul(to_float(s), all<F32x4>(recip));
            return round_even(min(max(t, zero<F32x4>()), all<F32x4>(255.0f)));
        }
        // (s + half - 1 + (q & 1)) >> k rounds half to even for s > 0; the sum
        // stays below 2^32, so a logical shift is exact.
        const I32x4 cnt = int_in_lane0<I32x4>(k);
        const I32x4 odd = bit_and(shr(s, cnt), all<I32x4>(1));
        const I32x4 bias = add(all<I32x4>((int32_t{1} << (k - 1)) - 1), odd);
        const I32x4 q = shr(add(s, bias), cnt);
        return bit_and(q, gt(s, zero<I32x4>()));
    }
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
    const I32x4 z = zero<I32x4>();
    const U16x8 z16 = zero<U16x8>();
    const int last = n - 16;
    for (int y = 0; y < g.height; ++y) {
        Ipp8u* d = g.dst + y * g.dstStep;
        const Ipp8u* top = g.src + y * g.srcStep;
        for (int e = 0; e <= last; e += 16) {
            I32x4 l0 = z, l1 = z, l2 = z, l3 = z;
            U16x8 h0 = z16, h1 = z16;
            int t = 0;
            for (int r = 0; r < g.kh; ++r) {
                const Ipp8u* row = top + r * g.srcStep + e;
                for (int c = 0; c < g.kw; ++c, ++t, row += g.ch) {
                    const U8x16 b = load<U8x16>(row);
                    const U16x8 p0 = widen_lo(b), p1 = widen_hi(b);
                    const U16x8 lo = all<U16x8>(wl[t]), hi = all<U16x8>(wh[t]);
                    const U16x8 m0l = mullo(p0, lo), m0h = mulhi(p0, lo);
                    const U16x8 m1l = mullo(p1, lo), m1h = mulhi(p1, lo);
                    l0 = add(l0, as<I32x4>(interleave_lo(m0l, m0h)));
                    l1 = add(l1, as<I32x4>(interleave_hi(m0l, m0h)));
                    l2 = add(l2, as<I32x4>(interleave_lo(m1l, m1h)));
                    l3 = add(l3, as<I32x4>(interleave_hi(m1l, m1h)));
                    h0 = add(h0, mullo(p0, hi));
                    h1 = add(h1, mullo(p1, hi));
                }
            }
            const I32x4 s0 = finish(add(l0, as<I32x4>(interleave_lo(z16, h0))));
            const I32x4 s1 = finish(add(l1, as<I32x4>(interleave_hi(z16, h0))));
            const I32x4 s2 = finish(add(l2, as<I32x4>(interleave_lo(z16, h1))));
            const I32x4 s3 = finish(add(l3, as<I32x4>(interleave_hi(z16, h1))));
            store(d + e, pack_u8(pack_i16(s0, s1), pack_i16(s2, s3)));
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
    I16x8 w[kMax];                // the pair's weights, broadcast

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
    I16x8 bias, one;
    I32x4 cnt;
    F32x4 scaled;
    explicit Finish16(const Divide& d)
        : div(d),
          bias(all<I16x8>(d.rule == Divide::Shift && d.k <= 15 ? (1 << (d.k - 1)) - 1 : 0)),
          one(all<I16x8>(1)),
          cnt(int_in_lane0<I32x4>(d.k)),
          // S * 2^16 * (r * 2^-16) rounds like S * r: powers of two scale exactly.
          scaled(all<F32x4>(d.recip * (1.0f / 65536.0f))) {}

    I16x8 half(I16x8 s) const {  // eight values in 16-bit lanes
        if (div.rule == Divide::Shift) {
            // As the 32-bit rule; S + bias stays below 2^16 for k <= 15.
            const I16x8 b = add(bias, bit_and(shr(s, cnt), one));
            const I16x8 q = shr(add(s, b), cnt);
            return bit_and(q, gt(s, zero<I16x8>()));
        }
        // |t| <= 32768: the conversions cannot overflow and the packs clamp
        // to 0..255 as the saturating rule does.
        const I16x8 z = zero<I16x8>();
        const I32x4 a = round_even(mul(to_float(as<I32x4>(interleave_lo(z, s))), scaled));
        const I32x4 b = round_even(mul(to_float(as<I32x4>(interleave_hi(z, s))), scaled));
        return pack_i16(a, b);
    }

    U8x16 operator()(I16x8 lo, I16x8 hi) const {
        if (div.rule == Divide::One) return pack_u8(lo, hi);  // clamps exactly
        if (div.rule == Divide::Shift && div.k > 15) {
            const I32x4 s0 = div(widen_lo(lo)), s1 = div(widen_hi(lo));
            const I32x4 s2 = div(widen_lo(hi)), s3 = div(widen_hi(hi));
            return pack_u8(pack_i16(s0, s1), pack_i16(s2, s3));
        }
        return pack_u8(half(lo), half(hi));
    }
};

void short_pairs(const Geometry& g, const Ipp32s* kernel, const Divide& finish) {
    TapPairs pairs;
    pairs.window_order(g, kernel, [](int32_t a, int32_t b) {
        return as<I16x8>(
            all<I32x4>(static_cast<int32_t>((static_cast<uint32_t>(b) << 16) | (static_cast<uint32_t>(a) & 0xFFFF))));
    });
    const int n = g.width * g.ch;
    const I32x4 z = zero<I32x4>();
    for (int y = 0; y < g.height; ++y) {
        const Ipp8u* top = g.src + y * g.srcStep;
        Ipp8u* d = g.dst + y * g.dstStep;
        walk_blocks<16>(n, [&](int e) {
            I32x4 a0 = z, a1 = z, a2 = z, a3 = z;
            for (int p = 0; p < pairs.count; ++p) {
                const U8x16 b0 = load<U8x16>(top + pairs.off[p][0] + e);
                const U8x16 b1 = load<U8x16>(top + pairs.off[p][1] + e);
                // Interleaved bytes widen to (first, second) 16-bit pairs.
                const U8x16 il = interleave_lo(b0, b1), ih = interleave_hi(b0, b1);
                const I16x8 w = pairs.w[p];
                a0 = add(a0, madd(as<I16x8>(widen_lo(il)), w));
                a1 = add(a1, madd(as<I16x8>(widen_hi(il)), w));
                a2 = add(a2, madd(as<I16x8>(widen_lo(ih)), w));
                a3 = add(a3, madd(as<I16x8>(widen_hi(ih)), w));
            }
            store(d + e, pack_u8(pack_i16(finish(a0), finish(a1)), pack_i16(finish(a2), finish(a3))));
        });
    }
}

inline I16x8 byte_pair(int32_t a, int32_t b) { return all<I16x8>(((b & 0xFF) << 8) | (a & 0xFF)); }

// Any layout: the two taps' bytes are interleaved, then multiplied and added
// in one step.
void narrow_pairs(const Geometry& g, const TapPairs& pairs, const Finish16& finish) {
    const int n = g.width * g.ch;
    for (int y = 0; y < g.height; ++y) {
        const Ipp8u* top = g.src + y * g.srcStep;
        Ipp8u* d = g.dst + y * g.dstStep;
        walk_blocks<16>(n, [&](int e) {
            I16x8 lo = zero<I16x8>(), hi = lo;
            for (int p = 0; p < pairs.count; ++p) {
                const U8x16 b0 = load<U8x16>(top + pairs.off[p][0] + e);
                const U8x16 b1 = load<U8x16>(top + pairs.off[p][1] + e);
                const I8x16 w = as<I8x16>(pairs.w[p]);
                lo = add(lo, maddubs(interleave_lo(b0, b1), w));
                hi = add(hi, maddubs(interleave_hi(b0, b1), w));
            }
            store(d + e, finish(lo, hi));
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
    const I16x8* w;  // pairsPerRow per window row

    // Adds window row r (weights) over the source row at p.
    inline void add_row(const Ipp8u* p, int r, I16x8& even, I16x8& odd) const {
        const int n = KW ? KW : kw;
        const I16x8* wr = w + r * (KW ? (KW + 1) / 2 : pairsPerRow);
        for (int c = 0, j = 0; c < n; c += 2, ++j) {
            const int c0 = c + 1 == n ? c - 1 : c;
            const I8x16 wj = as<I8x16>(wr[j]);
            even = add(even, maddubs(load<U8x16>(p + c0), wj));
            odd = add(odd, maddubs(load<U8x16>(p + c0 + 1), wj));
        }
    }
};

template <int KW>
void narrow_grey_rows(const Geometry& g, const GreyRows<KW>& rows, const Finish16& finish) {
    const int n = g.width;
    const ptrdiff_t step = g.srcStep;
    auto out = [&](Ipp8u* d, I16x8 even, I16x8 odd) {
        store(d, finish(interleave_lo(even, odd), interleave_hi(even, odd)));
    };
    int y = 0;
    for (; y + 2 <= g.height; y += 2) {
        const Ipp8u* top = g.src + y * step;
        Ipp8u* d0 = g.dst + y * g.dstStep;
        Ipp8u* d1 = d0 + g.dstStep;
        walk_blocks<16>(n, [&](int e) {
            I16x8 e0 = zero<I16x8>(), o0 = e0, e1 = e0, o1 = e0;
            const Ipp8u* p = top + e;
            rows.add_row(p, 0, e0, o0);
            for (int r = 1; r < g.kh; ++r) {
                p += step;
                rows.add_row(p, r, e0, o0);
                rows.add_row(p, r - 1, e1, o1);
            }
            rows.add_row(p + step, g.kh - 1, e1, o1);
            out(d0 + e, e0, o0);
            out(d1 + e, e1, o1);
        });
    }
    if (y < g.height) {
        const Ipp8u* top = g.src + y * step;
        Ipp8u* d = g.dst + y * g.dstStep;
        walk_blocks<16>(n, [&](int e) {
            I16x8 even = zero<I16x8>(), odd = even;
            for (int r = 0; r < g.kh; ++r) rows.add_row(top + r * step + e, r, even, odd);
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

void int_filter(const linear::IntJob& job) {
    const Geometry& g = job.g;
    const Ipp32s* kernel = job.kernel;
    const Divide finish{job.divide};
    const int64_t taps = int64_t{g.kw} * g.kh;
    if (int64_t{g.width} * g.ch >= 16 && taps <= 2 * TapPairs::kMax) {
        const Range range = weight_range(kernel, taps);
        // Byte pairs need a one-step byte multiply-add to pay off.
        if (kByteShuffle && range == Range::Narrow) {
            narrow(g, kernel, finish);
            return;
        }
        if (range != Range::Wide) {
            short_pairs(g, kernel, finish);
            return;
        }
    }
    if (taps <= 1024) {
        int_vector(g, kernel, finish);
        return;
    }
    int_plain(g, kernel, finish, 0, 0);
}

IppStatus run(const linear::IntJob& job) {
    int_filter(job);
    return ippStsNoErr;
}

IppStatus run(const linear::FloatJob& job) {
    float_filter(job.g, job.kernel);
    return ippStsNoErr;
}

// A slot function's body: the front's checks and plan, then the kernels.
template <class Job, class... Args>
IppStatus planned(Args... args) {
    Job job;
    const IppStatus st = linear::plan(args..., job);
    return st != ippStsNoErr ? st : run(job);
}

}  // namespace

IppStatus ippiFilter_8u_C1R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize dstRoiSize,
                            const Ipp32s* pKernel, IppiSize kernelSize, IppiPoint anchor, int divisor) {
    return planned<linear::IntJob>(pSrc, srcStep, pDst, dstStep, dstRoiSize, pKernel, kernelSize, anchor, divisor, 1);
}

IppStatus ippiFilter_8u_C3R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize dstRoiSize,
                            const Ipp32s* pKernel, IppiSize kernelSize, IppiPoint anchor, int divisor) {
    return planned<linear::IntJob>(pSrc, srcStep, pDst, dstStep, dstRoiSize, pKernel, kernelSize, anchor, divisor, 3);
}

IppStatus ippiFilter32f_8u_C1R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize dstRoiSize,
                               const Ipp32f* pKernel, IppiSize kernelSize, IppiPoint anchor) {
    return planned<linear::FloatJob>(pSrc, srcStep, pDst, dstStep, dstRoiSize, pKernel, kernelSize, anchor, 1);
}

IppStatus ippiFilter32f_8u_C3R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize dstRoiSize,
                               const Ipp32f* pKernel, IppiSize kernelSize, IppiPoint anchor) {
    return planned<linear::FloatJob>(pSrc, srcStep, pDst, dstStep, dstRoiSize, pKernel, kernelSize, anchor, 3);
}

}  // namespace qm::QM_SET
