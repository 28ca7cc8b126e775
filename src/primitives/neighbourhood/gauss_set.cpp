// Gaussian smoothing with the fixed 3x3 and 5x5 integer masks.
//
// Each source row is filtered horizontally once into row buffers; the
// vertical pass combines a ring of those rows. Sums are exact integers, so
// the vector and scalar paths agree trivially. Where float vectors are wider
// than the byte ones (AVX without AVX2) the 5x5 mask runs vertical-first in
// single precision instead, where the sums are still exact integers and the
// one rounding provably matches (see there).
#include <algorithm>
#include <cstring>

#include "frame/set.h"
#include "primitives/neighbourhood/gauss_front.h"
#include "primitives/simd/lanes.h"

namespace qm::QM_SET {
namespace {

using namespace lanes;

// Samples per block: one byte register, two of 16-bit lanes.
constexpr int kBlock = VU8::N;
constexpr int kHalf = VU16::N;

// ---- 3x3 -----------------------------------------------------------------------

// Row sums peak at 4 x 255 and the full sum at 16 x 255: 16-bit lanes hold
// both, so the rows are kept as 16-bit values in the buffer.
void hsum3(const Ipp8u* s, int k, Ipp16u* out, int n) {
    walk_row<kBlock>(
        n,
        [&](int i) {
            const VU8 l = load<VU8>(s + i - k), c = load<VU8>(s + i), r = load<VU8>(s + i + k);
            store(out + i, add(add(widen_lo(l), widen_lo(r)), shl<1>(widen_lo(c))));
            store(out + i + kHalf, add(add(widen_hi(l), widen_hi(r)), shl<1>(widen_hi(c))));
        },
        [&](int i) { out[i] = static_cast<Ipp16u>(s[i - k] + 2 * s[i] + s[i + k]); });
}

// Division by 16, to nearest, ties to even.
inline Ipp8u round16(int s) { return static_cast<Ipp8u>((s + 7 + ((s >> 4) & 1)) >> 4); }

void vsum3(const Ipp16u* a, const Ipp16u* b, const Ipp16u* c, Ipp8u* d, int n) {
    walk_row<kBlock>(
        n,
        [&](int i) {
            VU16 r[2];
            const VU16 seven = all<VU16>(7), one = all<VU16>(1);
            for (int q = 0; q < 2; ++q) {
                const int j = i + kHalf * q;
                const VU16 s = add(add(load<VU16>(a + j), load<VU16>(c + j)), shl<1>(load<VU16>(b + j)));
                const VU16 odd = bit_and(shr<4>(s), one);
                r[q] = shr<4>(add(add(s, seven), odd));
            }
            store(d + i, pack_u8(r[0], r[1]));
        },
        [&](int i) { d[i] = round16(a[i] + 2 * b[i] + c[i]); });
}

void gauss3(const Ipp8u* src, int srcStep, Ipp8u* dst, int dstStep, IppiSize roi, int k, void* buf) {
    const int n = roi.width * k;
    Ipp16u* base = static_cast<Ipp16u*>(buf);
    Ipp16u* h[3] = {base, base + n, base + 2 * n};
    hsum3(src - srcStep, k, h[0], n);
    hsum3(src, k, h[1], n);
    for (int y = 0; y < roi.height; ++y) {
        hsum3(src + static_cast<ptrdiff_t>(y + 1) * srcStep, k, h[2], n);
        vsum3(h[0], h[1], h[2], dst + static_cast<ptrdiff_t>(y) * dstStep, n);
        std::rotate(h, h + 1, h + 3);
    }
}

// ---- 5x5 -----------------------------------------------------------------------

// The three distinct horizontal kernels, each symmetric:
// A = [2 7 12 7 2], B = [7 31 52 31 7], C = [12 52 127 52 12].
// Their sums peak at 7650, 32640 and 65025: each fits an unsigned 16-bit
// value, so the ring keeps 16-bit rows and only the vertical sum widens.
struct Abc { int a, b, c; };
inline Abc hsum5(const Ipp8u* s, int k) {
    const int p2 = s[-2 * k] + s[2 * k], p1 = s[-k] + s[k], p0 = s[0];
    return {2 * p2 + 7 * p1 + 12 * p0, 7 * p2 + 31 * p1 + 52 * p0, 12 * p2 + 52 * p1 + 127 * p0};
}

// Division by 571 to nearest: the offset and the reciprocal 29382 / 2^24.
inline Ipp8u div571(int s) {
    return static_cast<Ipp8u>(((static_cast<Ipp32u>(s) + 286u) * 29382u) >> 24);
}

// A, B and C of a block of samples, in two halves of 16-bit lanes, read as
// unsigned.
// With byte multiply-adds, the byte pairs (s[-2k], s[-k]), (s[k], s[2k]) and
// (s[0], s[0]) go through byte x byte products; no pair can reach the 16-bit
// saturation (the largest, 255 x (64 + 63), is 32385), and C wraps as an
// unsigned lane. Without them, the symmetric taps are added first and
// multiplied in 16-bit lanes.
QM_LANES_INLINE void hsum5_block(const Ipp8u* s, int k, VU16 (&out)[3][2]) {
    const VU8 m2 = load<VU8>(s - 2 * k), m1 = load<VU8>(s - k), c0 = load<VU8>(s), p1 = load<VU8>(s + k),
              p2 = load<VU8>(s + 2 * k);
    if constexpr (kByteShuffle) {
        const VU8 left[2] = {interleave_lo(m2, m1), interleave_hi(m2, m1)};
        const VU8 right[2] = {interleave_lo(p1, p2), interleave_hi(p1, p2)};
        const VU8 centre[2] = {interleave_lo(c0, c0), interleave_hi(c0, c0)};
        auto w = [](int a, int b) { return as<VI8>(all<VI16>((b << 8) | a)); };
        for (int h = 0; h < 2; ++h) {
            auto taps = [&](int w2, int w1, int c1, int c2) {
                return as<VU16>(add(add(maddubs(left[h], w(w2, w1)), maddubs(right[h], w(w1, w2))),
                                    maddubs(centre[h], w(c1, c2))));
            };
            out[0][h] = taps(2, 7, 6, 6);
            out[1][h] = taps(7, 31, 26, 26);
            out[2][h] = taps(12, 52, 64, 63);
        }
    } else {
        const VU16 o2[2] = {add(widen_lo(m2), widen_lo(p2)), add(widen_hi(m2), widen_hi(p2))};
        const VU16 o1[2] = {add(widen_lo(m1), widen_lo(p1)), add(widen_hi(m1), widen_hi(p1))};
        const VU16 o0[2] = {widen_lo(c0), widen_hi(c0)};
        for (int h = 0; h < 2; ++h) {
            auto taps = [&](int w2, int w1, int w0) {
                return add(add(mullo(o2[h], all<VU16>(w2)), mullo(o1[h], all<VU16>(w1))),
                           mullo(o0[h], all<VU16>(w0)));
            };
            out[0][h] = taps(2, 7, 12);
            out[1][h] = taps(7, 31, 52);
            out[2][h] = taps(12, 52, 127);
        }
    }
}

// The A, B and C sums of a block into their rows.
QM_LANES_INLINE void store_abc(const VU16 (&v)[3][2], Ipp16u* a, Ipp16u* b, Ipp16u* c) {
    store(a, v[0][0]);
    store(a + kHalf, v[0][1]);
    store(b, v[1][0]);
    store(b + kHalf, v[1][1]);
    store(c, v[2][0]);
    store(c + kHalf, v[2][1]);
}

// Results of ((S + 286) x 29382) >> 24 for S = aa + b1 + b3 + c, in 16-bit
// lanes. The product is summed from signed 16x16 multiply-adds:
// aa <= 15300 and b1, b3 <= 32640 fit a signed lane, c (up to 65025) enters
// as c - 32768 and the 32768 x 29382 joins the constant. Each multiply-add
// stays within 31 bits; their sum, the whole product, stays below 2^32 and
// wraps nowhere before the logical shift.
QM_LANES_INLINE VI16 div571_lanes(VU16 aa, VU16 b1, VU16 b3, VU16 c) {
    const VI16 k = all<VI16>(29382);
    const VI32 bias = all<VI32>((286 + 32768) * 29382);
    const VU16 cs = bit_xor(c, all<VU16>(0x8000));
    const VI32 lo = add(add(madd(as<VI16>(interleave_lo(aa, b1)), k), madd(as<VI16>(interleave_lo(b3, cs)), k)), bias);
    const VI32 hi = add(add(madd(as<VI16>(interleave_hi(aa, b1)), k), madd(as<VI16>(interleave_hi(b3, cs)), k)), bias);
    return pack_i16(shr<24>(lo), shr<24>(hi));
}

// Slot (row mod 4) of the ring holds the A, B and C sums of one source row.
struct Ring {
    Ipp16u* base;
    int n;
    Ipp16u* a(int row) const { return base + static_cast<ptrdiff_t>(row & 3) * 3 * n; }
    Ipp16u* b(int row) const { return a(row) + n; }
    Ipp16u* c(int row) const { return a(row) + 2 * n; }
};

void prime5(const Ipp8u* s, int k, const Ring& ring, int row) {
    Ipp16u* A = ring.a(row);
    Ipp16u* B = ring.b(row);
    Ipp16u* C = ring.c(row);
    walk_row<kBlock>(
        ring.n,
        [&](int i) {
            VU16 v[3][2];
            hsum5_block(s + i, k, v);
            store_abc(v, A + i, B + i, C + i);
        },
        [&](int i) {
            const Abc v = hsum5(s + i, k);
            A[i] = static_cast<Ipp16u>(v.a);
            B[i] = static_cast<Ipp16u>(v.b);
            C[i] = static_cast<Ipp16u>(v.c);
        });
}

void gauss5(const Ipp8u* src, int srcStep, Ipp8u* dst, int dstStep, IppiSize roi, int k, void* buf) {
    const int n = roi.width * k;
    const Ring ring{static_cast<Ipp16u*>(buf), n};
    for (int r = -2; r <= 1; ++r) prime5(src + static_cast<ptrdiff_t>(r) * srcStep, k, ring, r);
    for (int y = 0; y < roi.height; ++y) {
        // Row y + 2 takes the slot of row y - 2 sample by sample, after its A
        // has been read, so this pass never revisits a sample.
        const Ipp8u* s = src + static_cast<ptrdiff_t>(y + 2) * srcStep;
        Ipp8u* d = dst + static_cast<ptrdiff_t>(y) * dstStep;
        Ipp16u* A0 = ring.a(y - 2);
        Ipp16u* B0 = ring.b(y - 2);
        Ipp16u* C0 = ring.c(y - 2);
        const Ipp16u* B1 = ring.b(y - 1);
        const Ipp16u* C2 = ring.c(y);
        const Ipp16u* B3 = ring.b(y + 1);
        // Not the shifted-back last block: a sample's slot is rewritten as it goes.
        int i = 0;
        for (; i + kBlock <= n; i += kBlock) {
            VU16 v[3][2];
            hsum5_block(s + i, k, v);
            VI16 r[2];
            for (int h = 0; h < 2; ++h) {
                const int j = i + kHalf * h;
                // A + A' <= 15300 fits 16 bits.
                const VU16 aa = add(load<VU16>(A0 + j), v[0][h]);
                r[h] = div571_lanes(aa, load<VU16>(B1 + j), load<VU16>(B3 + j), load<VU16>(C2 + j));
            }
            store(d + i, pack_u8(r[0], r[1]));
            store_abc(v, A0 + i, B0 + i, C0 + i);
        }
        for (; i < n; ++i) {
            const Abc v = hsum5(s + i, k);
            d[i] = div571(A0[i] + B1[i] + C2[i] + B3[i] + v.a);
            A0[i] = static_cast<Ipp16u>(v.a);
            B0[i] = static_cast<Ipp16u>(v.b);
            C0[i] = static_cast<Ipp16u>(v.c);
        }
    }
}

// 5x5 in single precision, a float vector of samples per step (taken where
// the set has eight float lanes). Every sum is an integer below 2^24, so it is
// exact; only the division rounds, and it rounds right:
// S x fl(1/571) + 0.5 is within 5e-5 of S / 571 + 0.5 (three roundings of
// at most one unit in 2^24 of values below 256, in any rounding mode), while
// S / 571, 571 being odd, is never nearer than 0.5 / 571 to a half.
// Truncating it is S / 571 rounded to nearest, as the integer rule gives.
//
// The mask is symmetric, so its columns are A, B, C too: each output row
// first sums its five source rows vertically with the weights of A, B and C,
// then adds
//   vA(x - 2k) + vB(x - k) + vC(x) + vB(x + k) + vA(x + 2k).
// The image goes in vertical strips whose five float source rows (each
// converted once, reaching 2k samples beyond the strip on both sides) stay
// in the first-level cache.
constexpr int kStrip = 768;  // samples
// Taken where float lanes are wider than the integer ones (eight float lanes,
// sixteen bytes); with 32 byte lanes the integer path is faster.
constexpr bool kFloat5x5 = kWideFloat && VU8::N == 16;
constexpr int kAhead = 6;    // rows

// Samples s0 .. s0 + m - 1 of every row, kBlock <= m <= kStrip; `ring` holds five
// rows of m + 4k floats.
void gauss5_strip(const Ipp8u* src, int srcStep, Ipp8u* dst, int dstStep, int height, int k, int s0, int m,
                  float* ring) {
    const int h = 2 * k;
    const int len = m + 2 * h;
    // r[i] holds source row y - 2 + i.
    float* r[5];
    for (int i = 0; i < 5; ++i) r[i] = ring + static_cast<ptrdiff_t>(i) * len;
    auto convert = [&](int row, float* d) {
        const Ipp8u* s = src + static_cast<ptrdiff_t>(row) * srcStep + s0 - h;
        walk_blocks<kLanes>(len, [&](int i) { store(d + i, bytes_to_float<VF>(s + i)); });
    };
    alignas(32) float vA[kStrip + 12], vB[kStrip + 12], vC[kStrip + 12];
    const VF w2 = all<VF>(2), w7 = all<VF>(7), w12 = all<VF>(12), w31 = all<VF>(31), w52 = all<VF>(52),
             w127 = all<VF>(127);
    const VF recip = all<VF>(1.0f / 571.0f), rounding = all<VF>(0.5f);
    for (int i = 0; i < 4; ++i) convert(i - 2, r[i]);
    for (int y = 0; y < height; ++y) {
        // The strip is a short piece of each long row: fetch a few rows ahead.
        if (y + kAhead < height) {
            const Ipp8u* in = src + static_cast<ptrdiff_t>(y + 2 + kAhead) * srcStep + s0 - h;
            Ipp8u* out = dst + static_cast<ptrdiff_t>(y + kAhead) * dstStep + s0;
            for (int b = 0; b < len; b += 64) prefetch(in + b);
            prefetch(in + len - 1);
            for (int b = 0; b < m; b += 64) prefetch(out + b);
            prefetch(out + m - 1);
        }
        const float *r0 = r[0], *r1 = r[1], *r2 = r[2], *r3 = r[3];
        float* r4 = r[4];
        const Ipp8u* newest = src + static_cast<ptrdiff_t>(y + 2) * srcStep + s0 - h;
        // Column sums; index j is sample s0 - 2k + j. The newest row is
        // converted on the way.
        walk_blocks<kLanes>(len, [&](int j) {
            const VF n = bytes_to_float<VF>(newest + j);
            store(r4 + j, n);
            const VF f2 = add(load<VF>(r0 + j), n);
            const VF f1 = add(load<VF>(r1 + j), load<VF>(r3 + j));
            const VF f0 = load<VF>(r2 + j);
            auto taps = [&](VF a, VF b, VF c) { return add(add(mul(f2, a), mul(f1, b)), mul(f0, c)); };
            store(vA + j, taps(w2, w7, w12));
            store(vB + j, taps(w7, w31, w52));
            store(vC + j, taps(w12, w52, w127));
        });
        Ipp8u* d = dst + static_cast<ptrdiff_t>(y) * dstStep + s0;
        walk_blocks<kBlock>(m, [&](int t) {
            VI32 q[4];  // a byte register holds four of 32-bit lanes
            unroll<kBlock / kLanes>([&](auto g) {
                const int u = t + g * kLanes;
                const VF sum = add(add(add(load<VF>(vA + u), load<VF>(vA + u + 2 * h)),
                                       add(load<VF>(vB + u + k), load<VF>(vB + u + 3 * k))),
                                   load<VF>(vC + u + h));
                const VI v = truncate(add(mul(sum, recip), rounding));
                for (int c = 0; c < kPieces; ++c) q[g * kPieces + c] = piece(v, c);
            });
            store(d + t, pack_u8(pack_i16(q[0], q[1]), pack_i16(q[2], q[3])));
        });
        std::rotate(r, r + 1, r + 5);
    }
}

// Rows of at least kBlock samples.
void gauss5_float(const Ipp8u* src, int srcStep, Ipp8u* dst, int dstStep, IppiSize roi, int k, float* ring) {
    const int n = roi.width * k;
    for (int s0 = 0; s0 < n; s0 += kStrip) {
        int m = std::min(kStrip, n - s0);
        int start = s0;
        if (m < kBlock) start = n - kBlock, m = kBlock;  // a short last strip overlaps the one before
        gauss5_strip(src, srcStep, dst, dstStep, roi.height, k, start, m, ring);
    }
}

IppStatus run(const gauss::Job& job) {
    const Ipp8u* src = job.src;
    Ipp8u* dst = job.dst;
    const int srcStep = static_cast<int>(job.srcStep), dstStep = static_cast<int>(job.dstStep);
    // Sized for 32-bit row values; the rows use 16-bit lanes of it (the
    // float 5x5 keeps the five source rows of a strip there).
    void* buf = ::ippMalloc(job.bufferBytes);
    if (buf == nullptr) return ippStsMemAllocErr;
    if (job.side == 3)
        gauss3(src, srcStep, dst, dstStep, job.roi, job.ch, buf);
    else if (kFloat5x5 && job.roi.width * job.ch >= kBlock)  // five float rows of a strip fit the buffer
        gauss5_float(src, srcStep, dst, dstStep, job.roi, job.ch, static_cast<float*>(buf));
    else
        gauss5(src, srcStep, dst, dstStep, job.roi, job.ch, buf);
    ::ippFree(buf);
    return ippStsNoErr;
}

}  // namespace

IppStatus ippiFilterGauss_8u_C1R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize dstRoiSize,
                                 int maskCode) {
    gauss::Job job;
    const IppStatus st = gauss::plan(pSrc, srcStep, pDst, dstStep, dstRoiSize, maskCode, 1, job);
    return st != ippStsNoErr ? st : run(job);
}

IppStatus ippiFilterGauss_8u_C3R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize dstRoiSize,
                                 int maskCode) {
    gauss::Job job;
    const IppStatus st = gauss::plan(pSrc, srcStep, pDst, dstStep, dstRoiSize, maskCode, 3, job);
    return st != ippStsNoErr ? st : run(job);
}

}  // namespace qm::QM_SET
