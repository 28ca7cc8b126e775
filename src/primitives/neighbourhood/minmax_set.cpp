// Minimum and maximum filters on 8-bit grey images, separably: each source row
// is reduced over the mask width once, into a ring of mask-height rows, and
// each destination row is the extreme of the ring. Extremes are exact whatever
// the order, so every method below gives the same bytes.
#include <cstdint>
#include <cstring>

#include "frame/set.h"
#include "primitives/neighbourhood/minmax_front.h"
#include "primitives/simd/lanes.h"
#include "primitives/simd/work.h"

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

// f(std::integral_constant<int, n>) for 1 <= n <= Max, so that loops over n
// unroll completely; f(n) otherwise.
template <int Max, class F>
void with_count(int n, F&& f) {
    bool done = false;
    unroll<Max>([&](auto i) {
        constexpr int K = i + 1;
        if (!done && n == K) {
            f(std::integral_constant<int, K>{});
            done = true;
        }
    });
    if (!done) f(n);
}

// out[x] = extreme of src[x .. x + mw - 1] for x < w, mw given as a count.
template <class Op, class Count>
void reduce_direct(const Ipp8u* src, int w, Count mw, Ipp8u* out) {
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
}

// out[x] = extreme of src[x .. x + mw - 1] for x < w; src holds w + mw - 1 bytes.
template <class Op>
void reduce_row(const Ipp8u* src, int w, int mw, Ipp8u* scratch, Ipp8u* out) {
    if (mw <= kDirectWidth) {
        with_count<kDirectWidth>(mw, [&](auto n) { reduce_direct<Op>(src, w, n, out); });
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

// out[x] = extreme over the n rows.
template <class Op>
void combine_rows(const Ipp8u* const* rows, int n, int w, Ipp8u* out) {
    int x = 0;
    for (; x + B <= w; x += B) {
        VU8 v = load<VU8>(rows[0] + x);
        for (int k = 1; k < n; ++k) v = Op::vec(v, load<VU8>(rows[k] + x));
        store(out + x, v);
    }
    for (; x < w; ++x) {
        Ipp8u v = rows[0][x];
        for (int k = 1; k < n; ++k) v = Op::scalar(v, rows[k][x]);
        out[x] = v;
    }
}

// Two destination rows at once: they share the n >= 1 middle rows, so
// out0 = extreme(first, middle) and out1 = extreme(middle, last).
template <class Op, class Count>
void combine_row_pair(const Ipp8u* first, const Ipp8u* const* middle, Count n, const Ipp8u* last, int w,
                      Ipp8u* out0, Ipp8u* out1) {
    int x = 0;
    for (; x + B <= w; x += B) {
        VU8 v = load<VU8>(middle[0] + x);
        for (int k = 1; k < n; ++k) v = Op::vec(v, load<VU8>(middle[k] + x));
        store(out0 + x, Op::vec(v, load<VU8>(first + x)));
        store(out1 + x, Op::vec(v, load<VU8>(last + x)));
    }
    for (; x < w; ++x) {
        Ipp8u v = middle[0][x];
        for (int k = 1; k < n; ++k) v = Op::scalar(v, middle[k][x]);
        out0[x] = Op::scalar(v, first[x]);
        out1[x] = Op::scalar(v, last[x]);
    }
}

// Rows this tall or shorter are combined from a list of row pointers; taller
// masks fold the ring into the destination row pair by pair.
constexpr int kMaxListed = 64;

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

    // A ring of per-row extremes, mh + 1 rows (the one beyond the mask holds
    // the second row of a pair); the second buffer is the scratch row of the
    // doubling windows (wide masks only, taken always so failures do not
    // depend on the mask) and the ring's extra row.
    const int depth = mh + 1;
    const int64_t ringRow = (int64_t{w} + 31) & ~int64_t{31};
    WorkBuffers work;
    Ipp8u* const ring = work.get<Ipp8u>(ringRow * mh);
    if (ring == nullptr) return ippStsMemAllocErr;
    Ipp8u* const scratch = work.get<Ipp8u>(ringRow + ((int64_t{w} + mw + 31) & ~int64_t{31}));
    if (scratch == nullptr) return ippStsMemAllocErr;
    Ipp8u* const wide = scratch + ringRow;

    // Source row r's extremes live in slot r mod depth; slot mh is the extra row.
    const auto slot = [&](int r) {
        const int k = r % depth;
        return k == mh ? scratch : ring + k * ringRow;
    };
    int reduced = 0;  // source rows reduced so far
    const auto reduce_until = [&](int r) {
        for (; reduced <= r; ++reduced) reduce_row<Op>(top + reduced * srcStep, w, mw, wide, slot(reduced));
    };

    if (mh > kMaxListed) {
        // Rare: no pointer list; each row folds the ring pair by pair.
        for (int y = 0; y < height; ++y) {
            reduce_until(y + mh - 1);
            Ipp8u* out = dst + y * dstStep;
            std::memcpy(out, slot(y), static_cast<size_t>(w));
            for (int k = 1; k < mh; ++k) {
                const Ipp8u* const pair[2] = {out, slot(y + k)};
                combine_rows<Op>(pair, 2, w, out);
            }
        }
        return ippStsNoErr;
    }
    const Ipp8u* rows[kMaxListed + 1];
    int y = 0;
    if (mh > 1) {
        for (; y + 1 < height; y += 2) {
            reduce_until(y + mh);
            for (int k = 1; k < mh; ++k) rows[k - 1] = slot(y + k);
            with_count<kDirectWidth>(mh - 1, [&](auto n) {
                combine_row_pair<Op>(slot(y), rows, n, slot(y + mh), w, dst + y * dstStep, dst + (y + 1) * dstStep);
            });
        }
    }
    for (; y < height; ++y) {
        reduce_until(y + mh - 1);
        for (int k = 0; k < mh; ++k) rows[k] = slot(y + k);
        combine_rows<Op>(rows, mh, w, dst + y * dstStep);
    }
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
