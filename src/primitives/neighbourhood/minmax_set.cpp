// Minimum and maximum filters on 8-bit grey images, separably: each source row
// is reduced over the mask width once, into a ring of mask-height rows, and
// each destination row is the extreme of the ring. Extremes are exact whatever
// the order, so every method below gives the same bytes.
#include <climits>
#include <cstdint>
#include <cstring>

#include "frame/set.h"
#include "primitives/neighbourhood/minmax_front.h"
#include "primitives/simd/lanes.h"

namespace qm::QM_SET {
namespace {

using namespace lanes;
constexpr int B = VU8::N;

struct MinOp {
    static Ipp8u scalar(Ipp8u a, Ipp8u b) { return a < b ? a : b; }
    static VU8 vec(VU8 a, VU8 b) { return min(a, b); }
};
struct MaxOp {
    static Ipp8u scalar(Ipp8u a, Ipp8u b) { return a > b ? a : b; }
    static VU8 vec(VU8 a, VU8 b) { return max(a, b); }
};

// Masks up to this wide are reduced directly; wider ones by doubling windows.
constexpr int kDirectWidth = 8;

// s[x] = op(s[x], s[x + d]) for x < len, ascending, in place: each step reads
// only bytes at or after the one it writes.
template <class Op>
void fold(Ipp8u* s, int len, int d) {
    int x = 0;
    for (; x + B <= len; x += B) store(s + x, Op::vec(load<VU8>(s + x), load<VU8>(s + x + d)));
    for (; x < len; ++x) s[x] = Op::scalar(s[x], s[x + d]);
}

// out[x] = extreme of src[x .. x + mw - 1] for x < w; src holds w + mw - 1 bytes.
template <class Op>
void reduce_row(const Ipp8u* src, int w, int mw, Ipp8u* scratch, Ipp8u* out) {
    if (mw <= kDirectWidth) {
        int x = 0;
        for (; x + B <= w; x += B) {
            VU8 v = load<VU8>(src + x);
            for (int k = 1; k < mw; ++k) v = Op::vec(v, load<VU8>(src + x + k));
            store(out + x, v);
        }
        for (; x < w; ++x) {
            Ipp8u v = src[x];
            for (int k = 1; k < mw; ++k) v = Op::scalar(v, src[x + k]);
            out[x] = v;
        }
        return;
    }
    // Windows of 2, 4, ... p <= mw < 2p, then two overlapping windows of p.
    int len = w + mw - 2;
    int x = 0;
    for (; x + B <= len; x += B) store(scratch + x, Op::vec(load<VU8>(src + x), load<VU8>(src + x + 1)));
    for (; x < len; ++x) scratch[x] = Op::scalar(src[x], src[x + 1]);
    int p = 2;
    for (; 2 * p <= mw; p *= 2) {
        len -= p;
        fold<Op>(scratch, len, p);
    }
    const int d = mw - p;
    x = 0;
    for (; x + B <= w; x += B) store(out + x, Op::vec(load<VU8>(scratch + x), load<VU8>(scratch + x + d)));
    for (; x < w; ++x) out[x] = Op::scalar(scratch[x], scratch[x + d]);
}

// out[x] = extreme over the mh ring rows.
template <class Op>
void combine_rows(Ipp8u* const* rows, int mh, int w, Ipp8u* out) {
    int x = 0;
    for (; x + B <= w; x += B) {
        VU8 v = load<VU8>(rows[0] + x);
        for (int k = 1; k < mh; ++k) v = Op::vec(v, load<VU8>(rows[k] + x));
        store(out + x, v);
    }
    for (; x < w; ++x) {
        Ipp8u v = rows[0][x];
        for (int k = 1; k < mh; ++k) v = Op::scalar(v, rows[k][x]);
        out[x] = v;
    }
}

template <class Op>
IppStatus filter_extreme(const minmax::Job& job) {
    // In locals: the byte stores below could otherwise alias the job.
    const int w = job.width, height = job.height, mw = job.mw, mh = job.mh;
    const Ipp8u* const top = job.top;
    Ipp8u* const dst = job.dst;
    const ptrdiff_t srcStep = job.srcStep, dstStep = job.dstStep;
    if (mw == 1 && mh == 1) {
        for (int y = 0; y < height; ++y)
            std::memcpy(dst + y * dstStep, top + y * srcStep, static_cast<size_t>(w));
        return ippStsNoErr;
    }

    // Ring of per-row extremes; the second buffer is the scratch row of the
    // doubling windows (wide masks only, taken always so failures do not
    // depend on the mask).
    // Freed by hand: with a WorkBuffers table in this frame the compiler laid
    // out the row loops with 5 % more instructions.
    const int64_t ringRow = (int64_t{w} + 31) & ~int64_t{31};
    const int64_t ringBytes = ringRow * mh;
    const int64_t scratchBytes = (int64_t{w} + mw + 31) & ~int64_t{31};
    Ipp8u* ring = ringBytes > INT_MAX ? nullptr : static_cast<Ipp8u*>(ippMalloc(static_cast<int>(ringBytes)));
    if (ring == nullptr) return ippStsMemAllocErr;
    Ipp8u* scratch =
        scratchBytes > INT_MAX ? nullptr : static_cast<Ipp8u*>(ippMalloc(static_cast<int>(scratchBytes)));
    if (scratch == nullptr) {
        ippFree(ring);
        return ippStsMemAllocErr;
    }

    const auto source_row = [&](int r) { return top + r * srcStep; };
    const auto ring_row = [&](int r) { return ring + (r % mh) * ringRow; };

    // The ring is read in its own slot order: the extreme does not care.
    constexpr int kMaxListed = 64;
    Ipp8u* listed[kMaxListed];
    const bool useList = mh <= kMaxListed;
    if (useList)
        for (int k = 0; k < mh; ++k) listed[k] = ring + k * ringRow;

    for (int r = 0; r < mh; ++r) reduce_row<Op>(source_row(r), w, mw, scratch, ring_row(r));
    for (int y = 0; y < height; ++y) {
        Ipp8u* out = dst + y * dstStep;
        if (useList) {
            combine_rows<Op>(listed, mh, w, out);
        } else {
            std::memcpy(out, ring, static_cast<size_t>(w));
            for (int k = 1; k < mh; ++k) {
                Ipp8u* const pair[2] = {out, ring + k * ringRow};
                combine_rows<Op>(pair, 2, w, out);
            }
        }
        if (y + 1 < height) reduce_row<Op>(source_row(y + mh), w, mw, scratch, ring_row(y + mh));
    }
    ippFree(scratch);
    ippFree(ring);
    return ippStsNoErr;
}

}  // namespace

IppStatus ippiFilterMin_8u_C1R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize dstRoiSize,
                               IppiSize maskSize, IppiPoint anchor) {
    minmax::Job job;
    const IppStatus st = minmax::plan(pSrc, srcStep, pDst, dstStep, dstRoiSize, maskSize, anchor, job);
    return st != ippStsNoErr ? st : filter_extreme<MinOp>(job);
}

IppStatus ippiFilterMax_8u_C1R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize dstRoiSize,
                               IppiSize maskSize, IppiPoint anchor) {
    minmax::Job job;
    const IppStatus st = minmax::plan(pSrc, srcStep, pDst, dstStep, dstRoiSize, maskSize, anchor, job);
    return st != ippStsNoErr ? st : filter_extreme<MaxOp>(job);
}

}  // namespace qm::QM_SET
