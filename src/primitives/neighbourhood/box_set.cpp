// Box (mean) filters on 8-bit images, one and three channels, out of place and
// in place. Every path keeps running column sums, so the cost per pixel does not
// grow with the mask; the paths differ only in how a neighbourhood sum becomes a
// byte, and each path's rounding is part of its output.
#include <algorithm>
#include <cstdint>
#include <cstring>

#include "frame/set.h"
#include "primitives/neighbourhood/box_front.h"
#include "primitives/simd/lanes.h"
#include "primitives/simd/work.h"

namespace qm::QM_SET {
namespace {

using namespace lanes;
using box::Geometry;
using box::IntDivisor;

// Sums held as T sit in registers of Lanes<T>.
template <class T>
struct SumLanes;
template <>
struct SumLanes<uint16_t> {
    using V = VU16;
};
template <>
struct SumLanes<uint32_t> {
    using V = VI32;
};

// Bytes finished per block: one byte register.
constexpr int kBlock = VU8::N;

struct IntFinish {
    IntDivisor d;
    // The shift is at least 8, so results fit in 31 bits and the saturating
    // packs below agree with the clamp here.
    Ipp8u scalar(uint32_t s) const {
        const uint32_t v = (d.k * s + d.r) >> d.sh;
        return static_cast<Ipp8u>(v > 255 ? 255 : v);
    }
    void block(const uint32_t* s, Ipp8u* out) const {
        const VI32 k = all<VI32>(static_cast<int>(d.k));
        const VI32 r = all<VI32>(static_cast<int>(d.r));
        const I32x4 sh = int_in_lane0<I32x4>(d.sh);
        VI32 v[4];
        for (int q = 0; q < 4; ++q) v[q] = shr(add(mullo(load<VI32>(s + VI32::N * q), k), r), sh);
        store(out, pack_u8(pack_i16(v[0], v[1]), pack_i16(v[2], v[3])));
    }
    // Sums held in 16 bits; k < 2^16, so the 32-bit product is exact.
    void block(const uint16_t* s, Ipp8u* out) const {
        const VU16 k = all<VU16>(static_cast<int>(d.k));
        const VI32 r = all<VI32>(static_cast<int>(d.r));
        const I32x4 sh = int_in_lane0<I32x4>(d.sh);
        VI16 half[2];
        for (int q = 0; q < 2; ++q) {
            const VU16 v = load<VU16>(s + VU16::N * q);
            const VU16 lo = mullo(v, k), hi = mulhi(v, k);
            const VI32 p0 = shr(add(as<VI32>(interleave_lo(lo, hi)), r), sh);
            const VI32 p1 = shr(add(as<VI32>(interleave_hi(lo, hi)), r), sh);
            half[q] = pack_i16(p0, p1);
        }
        store(out, pack_u8(half[0], half[1]));
    }
};

// Small masks (area * 255 < 2^16) keep column and window sums in 16 bits.
constexpr int64_t kMaxNarrowArea = 257;

// Sums of masks up to this wide are taken directly from the column sums;
// wider ones slide.
constexpr int kDirectWidth = 8;
// Outputs per pass over the column sums: a multiple of the finishing block
// and of 12 (four three-channel pixels).
constexpr int kChunk = 96;
static_assert(kChunk % kBlock == 0 && kChunk % 12 == 0);

// One destination row: S[i] = sum of mw column sums i, i + ch, ... (flat index
// i over width x channels), each turned into a byte. T is the sums' type;
// they wrap as T does, and the true sums fit it.
template <class T>
void emit_row(const T* col, int m, int mw, int ch, const IntFinish& fin, Ipp8u* out) {
    using V = typename SumLanes<T>::V;
    constexpr int N = V::N;
    alignas(32) T s[kChunk];
    T carry[3] = {0, 0, 0};  // last ch sums of the previous chunk
    const int span = mw * ch;
    const auto direct = [&](const T* c) {
        T v = 0;
        for (int k = 0; k < mw; ++k) v = static_cast<T>(v + c[k * ch]);
        return v;
    };
    for (int i0 = 0; i0 < m; i0 += kChunk) {
        const int cnt = std::min(kChunk, m - i0);
        const T* c = col + i0;
        int j = 0;
        if (mw <= kDirectWidth) {
            for (; j + N <= cnt; j += N) {
                V v = load<V>(c + j);
                for (int k = 1; k < mw; ++k) v = add(v, load<V>(c + j + k * ch));
                store_aligned(s + j, v);
            }
            for (; j < cnt; ++j) s[j] = direct(c + j);
        } else if (ch == 1) {
            // S[i] = S[i - 1] + D[i - 1], D[k] = col[k + mw] - col[k]: a running
            // sum of D, a register at a time, carried from its last lane.
            if (i0 == 0) {
                s[0] = carry[0] = direct(c);
                j = 1;
            }
            V last = all<V>(carry[0]);
            // Counted, so that the bound does not depend on where j started.
            for (int b = (cnt - j) / N; b > 0; --b, j += N) {
                const V v = add(prefix_sum(sub(load<V>(c + j - 1 + mw), load<V>(c + j - 1))), last);
                store(s + j, v);
                last = broadcast_last(v);
            }
            T prev = static_cast<T>(lane0(last));
            for (; j < cnt; ++j) s[j] = prev = static_cast<T>(prev + c[j - 1 + mw] - c[j - 1]);
            carry[0] = prev;
        } else {
            for (; j < cnt; ++j) {
                if (i0 + j < ch) {
                    s[j] = direct(c + j);
                } else {
                    const T prev = j >= ch ? s[j - ch] : carry[j];
                    s[j] = static_cast<T>(prev + c[j - ch + span] - c[j - ch]);
                }
            }
            for (int q = 0; q < ch; ++q) carry[q] = s[cnt - ch + q];
        }
        int o = 0;
        for (; o + kBlock <= cnt; o += kBlock) fin.block(s + o, out + i0 + o);
        for (; o < cnt; ++o) out[i0 + o] = fin.scalar(s[o]);
    }
}

// col[j] += in[j] - out[j], modulo 2^16 or 2^32 (sums are exact, any wrap cancels).
void update_cols(uint16_t* col, const Ipp8u* in, const Ipp8u* out, int n) {
    constexpr int H = VU16::N;
    int j = 0;
    for (; j + kBlock <= n; j += kBlock) {
        const VU8 a = load<VU8>(in + j), b = load<VU8>(out + j);
        uint16_t* p = col + j;
        store(p, add(load<VU16>(p), sub(widen_lo(a), widen_lo(b))));
        store(p + H, add(load<VU16>(p + H), sub(widen_hi(a), widen_hi(b))));
    }
    for (; j < n; ++j) col[j] = static_cast<uint16_t>(col[j] + in[j] - out[j]);
}

void update_cols(uint32_t* col, const Ipp8u* in, const Ipp8u* out, int n) {
    int j = 0;
    for (; j + kBlock <= n; j += kBlock) {
        const VU8 a = load<VU8>(in + j), b = load<VU8>(out + j);
        const VI16 dlo = as<VI16>(sub(widen_lo(a), widen_lo(b)));
        const VI16 dhi = as<VI16>(sub(widen_hi(a), widen_hi(b)));
        const VI32 d[4] = {widen_lo(dlo), widen_hi(dlo), widen_lo(dhi), widen_hi(dhi)};
        for (int q = 0; q < 4; ++q) {
            uint32_t* p = col + j + VI32::N * q;
            store(p, add(load<VI32>(p), d[q]));
        }
    }
    for (; j < n; ++j) col[j] += static_cast<uint32_t>(int{in[j]} - int{out[j]});
}

// Where destination rows go. Out of place they land in the destination.
struct DirectSink {
    Ipp8u* dst;
    int step;
    Ipp8u* row(int y) const { return dst + static_cast<ptrdiff_t>(y) * step; }
    void done(int) const {}
};

// In place, a result row waits in a ring until the column sums have moved
// past its source row; a depth of anchor.y + 1 rows is enough.
struct RingSink {
    Ipp8u** ring;
    int depth;
    Ipp8u* img;
    int step;
    int rowBytes;
    Ipp8u* row(int y) const { return ring[y % depth]; }
    void write_back(int y) const {
        std::memcpy(img + static_cast<ptrdiff_t>(y) * step, ring[y % depth], static_cast<size_t>(rowBytes));
    }
    // Called once the sums no longer need source row y - depth + 1.
    void done(int y) const {
        if (y - depth + 1 >= 0) write_back(y - depth + 1);
    }
    void flush(int height) const {
        for (int y = std::max(0, height - depth); y < height; ++y) write_back(y);
    }
};

template <class T, class Sink>
void run_integer(const Geometry& g, T* col, const IntFinish& fin, const Sink& sink) {
    const int n = (g.width + g.mw - 1) * g.ch;
    const int m = g.width * g.ch;
    std::memset(col, 0, sizeof(T) * static_cast<size_t>(n));
    for (int r = 0; r < g.mh; ++r) {
        const Ipp8u* p = g.top + r * g.step;
        for (int j = 0; j < n; ++j) col[j] = static_cast<T>(col[j] + p[j]);
    }
    for (int y = 0; y < g.height; ++y) {
        emit_row(col, m, g.mw, g.ch, fin, sink.row(y));
        if (y + 1 == g.height) break;
        update_cols(col, g.top + (y + g.mh) * g.step, g.top + y * g.step, n);
        sink.done(y);
    }
}

// The float path keeps its sums as floats and adds in one fixed order:
// columns top to bottom, then (sum + entering) - leaving.
template <class Sink>
void run_float(const Geometry& g, float* col, float inv, const Sink& sink) {
    const int n = (g.width + g.mw - 1) * g.ch;
    const int m = g.width * g.ch;
    const int span = g.mw * g.ch;
    for (int j = 0; j < n; ++j) col[j] = 0.0f;
    for (int r = 0; r < g.mh; ++r) {
        const Ipp8u* p = g.top + r * g.step;
        for (int j = 0; j < n; ++j) col[j] = col[j] + static_cast<float>(p[j]);
    }
    const auto out_of = [inv](float s) {
        const int v = static_cast<int>(s * inv + 0.000009f);
        return static_cast<Ipp8u>(v > 255 ? 255 : v);
    };
    for (int y = 0; y < g.height; ++y) {
        Ipp8u* out = sink.row(y);
        float run[3] = {0.0f, 0.0f, 0.0f};
        for (int c = 0; c < g.ch; ++c) {
            for (int k = 0; k < g.mw; ++k) run[c] = run[c] + col[c + k * g.ch];
            out[c] = out_of(run[c]);
        }
        for (int i = g.ch, c = 0; i < m; ++i, c = c + 1 == g.ch ? 0 : c + 1) {
            run[c] = (run[c] + col[i - g.ch + span]) - col[i - g.ch];
            out[i] = out_of(run[c]);
        }
        if (y + 1 == g.height) break;
        const Ipp8u* add = g.top + (y + g.mh) * g.step;
        const Ipp8u* sub = g.top + y * g.step;
        for (int j = 0; j < n; ++j) col[j] = (col[j] + static_cast<float>(add[j])) - static_cast<float>(sub[j]);
        sink.done(y);
    }
}

// (mask width + roi width + 2) x channels 32-bit sums, in 16-byte units.
void* alloc_cols(WorkBuffers& work, int width, int mw, int ch) {
    return work.get<Ipp8u>(((int64_t{mw} + width + 2) * ch * 4 + 15) & ~int64_t{15});
}

template <class Sink>
void run_integer_sized(const Geometry& g, void* col, const IntDivisor& d, const Sink& sink) {
    if (int64_t{g.mw} * g.mh <= kMaxNarrowArea)
        run_integer(g, static_cast<uint16_t*>(col), IntFinish{d}, sink);
    else
        run_integer(g, static_cast<uint32_t*>(col), IntFinish{d}, sink);
}

template <class Sink>
void run_path(const box::Job& job, const Geometry& g, void* col, const Sink& sink) {
    if (job.floating)
        run_float(g, static_cast<float*>(col), job.inverse, sink);
    else
        run_integer_sized(g, col, job.divisor, sink);
}

IppStatus filter_out_of_place(const box::Job& job, const Geometry& g, Ipp8u* dst, int dstStep) {
    WorkBuffers work;
    void* col = alloc_cols(work, g.width, g.mw, g.ch);
    if (col == nullptr) return ippStsMemAllocErr;
    run_path(job, g, col, DirectSink{dst, dstStep});
    return ippStsNoErr;
}

// Short region: filter from a private copy of the whole neighbourhood area.
IppStatus filter_via_copy(const box::Job& job) {
    const Geometry& g = job.g;
    const int64_t tstep = (int64_t{g.width} + g.mw - 1) * g.ch;
    const int64_t trows = int64_t{g.height} + g.mh - 1;
    WorkBuffers work;
    Ipp8u* tmp = work.get<Ipp8u>(tstep * trows);
    if (tmp == nullptr) return ippStsMemAllocErr;
    for (int64_t r = 0; r < trows; ++r) std::memcpy(tmp + r * tstep, g.top + r * g.step, static_cast<size_t>(tstep));
    Geometry copy = g;
    copy.top = tmp;
    copy.step = tstep;
    return filter_out_of_place(job, copy, job.dst, job.dstStep);
}

IppStatus filter_row_delayed(const box::Job& job) {
    const Geometry& g = job.g;
    const int depth = job.anchor.y + 1;
    const int rowBytes = g.width * g.ch;
    const int64_t ringRow = (int64_t{rowBytes} + 15) & ~int64_t{15};
    WorkBuffers work;
    void* col = alloc_cols(work, g.width, g.mw, g.ch);
    if (col == nullptr) return ippStsMemAllocErr;
    Ipp8u** rows = work.get<Ipp8u*>(depth);
    if (rows == nullptr) return ippStsMemAllocErr;
    Ipp8u* ring = work.get<Ipp8u>(ringRow * depth);
    if (ring == nullptr) return ippStsMemAllocErr;
    for (int i = 0; i < depth; ++i) rows[i] = ring + i * ringRow;
    const RingSink sink{rows, depth, job.dst, job.dstStep, rowBytes};
    run_path(job, g, col, sink);
    sink.flush(g.height);
    return ippStsNoErr;
}

IppStatus run(const box::Job& job) {
    switch (job.form) {
        case box::Form::via_copy: return filter_via_copy(job);
        case box::Form::row_delayed: return filter_row_delayed(job);
        case box::Form::direct: break;
    }
    return filter_out_of_place(job, job.g, job.dst, job.dstStep);
}

}  // namespace

IppStatus ippiFilterBox_8u_C1R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize dstRoiSize,
                               IppiSize maskSize, IppiPoint anchor) {
    box::Job job;
    const IppStatus st = box::plan(pSrc, srcStep, pDst, dstStep, dstRoiSize, maskSize, anchor, 1, job);
    return st != ippStsNoErr ? st : run(job);
}

IppStatus ippiFilterBox_8u_C3R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize dstRoiSize,
                               IppiSize maskSize, IppiPoint anchor) {
    box::Job job;
    const IppStatus st = box::plan(pSrc, srcStep, pDst, dstStep, dstRoiSize, maskSize, anchor, 3, job);
    return st != ippStsNoErr ? st : run(job);
}

IppStatus ippiFilterBox_8u_C1IR(Ipp8u* pSrcDst, int srcDstStep, IppiSize roiSize, IppiSize maskSize,
                                IppiPoint anchor) {
    box::Job job;
    const IppStatus st = box::plan_in_place(pSrcDst, srcDstStep, roiSize, maskSize, anchor, 1, job);
    return st != ippStsNoErr ? st : run(job);
}

IppStatus ippiFilterBox_8u_C3IR(Ipp8u* pSrcDst, int srcDstStep, IppiSize roiSize, IppiSize maskSize,
                                IppiPoint anchor) {
    box::Job job;
    const IppStatus st = box::plan_in_place(pSrcDst, srcDstStep, roiSize, maskSize, anchor, 3, job);
    return st != ippStsNoErr ? st : run(job);
}

}  // namespace qm::QM_SET
