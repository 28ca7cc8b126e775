// Box (mean) filters on 8-bit images, one and three channels, out of place and
// in place. Every path keeps running column sums, so the cost per pixel does not
// grow with the mask; the paths differ only in how a neighbourhood sum becomes a
// byte, and each path's rounding is part of its output.
#include <emmintrin.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>

#include "frame/set.h"
#include "primitives/neighbourhood/box_job.h"

#if defined(__SSE4_1__)
#include <smmintrin.h>
#endif

namespace qm::QM_SET {
namespace {

using box::Geometry;
using box::IntDivisor;

inline __m128i mullo32(__m128i a, __m128i b) {
#if defined(__SSE4_1__)
    return _mm_mullo_epi32(a, b);
#else
    const __m128i even = _mm_mul_epu32(a, b);
    const __m128i odd = _mm_mul_epu32(_mm_srli_epi64(a, 32), _mm_srli_epi64(b, 32));
    return _mm_unpacklo_epi32(_mm_shuffle_epi32(even, _MM_SHUFFLE(0, 0, 2, 0)),
                              _mm_shuffle_epi32(odd, _MM_SHUFFLE(0, 0, 2, 0)));
#endif
}

inline __m128i load4(const uint32_t* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }

struct IntFinish {
    IntDivisor d;
    // The shift is at least 8, so results fit in 31 bits and the saturating
    // packs below agree with the clamp here.
    Ipp8u scalar(uint32_t s) const {
        const uint32_t v = (d.k * s + d.r) >> d.sh;
        return static_cast<Ipp8u>(v > 255 ? 255 : v);
    }
    void block16(const uint32_t* s, Ipp8u* out) const {
        const __m128i k = _mm_set1_epi32(static_cast<int>(d.k));
        const __m128i r = _mm_set1_epi32(static_cast<int>(d.r));
        const __m128i sh = _mm_cvtsi32_si128(d.sh);
        __m128i v[4];
        for (int q = 0; q < 4; ++q) v[q] = _mm_srl_epi32(_mm_add_epi32(mullo32(load4(s + 4 * q), k), r), sh);
        const __m128i lo = _mm_packs_epi32(v[0], v[1]);
        const __m128i hi = _mm_packs_epi32(v[2], v[3]);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_packus_epi16(lo, hi));
    }
    // Sixteen sums held in 16 bits; k < 2^16, so the 32-bit product is exact.
    void block16(const uint16_t* s, Ipp8u* out) const {
        const __m128i k = _mm_set1_epi16(static_cast<short>(d.k));
        const __m128i r = _mm_set1_epi32(static_cast<int>(d.r));
        const __m128i sh = _mm_cvtsi32_si128(d.sh);
        __m128i half[2];
        for (int q = 0; q < 2; ++q) {
            const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + 8 * q));
            const __m128i lo = _mm_mullo_epi16(v, k), hi = _mm_mulhi_epu16(v, k);
            const __m128i p0 = _mm_srl_epi32(_mm_add_epi32(_mm_unpacklo_epi16(lo, hi), r), sh);
            const __m128i p1 = _mm_srl_epi32(_mm_add_epi32(_mm_unpackhi_epi16(lo, hi), r), sh);
            half[q] = _mm_packs_epi32(p0, p1);
        }
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_packus_epi16(half[0], half[1]));
    }
};

// Small masks (area * 255 < 2^16) keep column and window sums in 16 bits,
// eight lanes to a register.
constexpr int64_t kMaxNarrowArea = 257;

// Sums of masks up to this wide are taken directly from the column sums;
// wider ones slide.
constexpr int kDirectWidth = 8;
// Outputs per pass over the column sums: a multiple of 16 (packing) and of 12
// (four three-channel pixels).
constexpr int kChunk = 96;

// One destination row: S[i] = sum of mw column sums i, i + ch, ... (flat index
// i over width x channels), each turned into a byte.
void emit_row(const uint32_t* col, int m, int mw, int ch, const IntFinish& fin, Ipp8u* out) {
    alignas(16) uint32_t s[kChunk];
    uint32_t carry[3] = {0, 0, 0};  // last ch sums of the previous chunk
    const int span = mw * ch;
    for (int i0 = 0; i0 < m; i0 += kChunk) {
        const int cnt = std::min(kChunk, m - i0);
        const uint32_t* c = col + i0;
        int j = 0;
        if (mw <= kDirectWidth) {
            for (; j + 4 <= cnt; j += 4) {
                __m128i v = load4(c + j);
                for (int k = 1; k < mw; ++k) v = _mm_add_epi32(v, load4(c + j + k * ch));
                _mm_store_si128(reinterpret_cast<__m128i*>(s + j), v);
            }
            for (; j < cnt; ++j) {
                uint32_t v = 0;
                for (int k = 0; k < mw; ++k) v += c[j + k * ch];
                s[j] = v;
            }
        } else if (ch == 1) {
            // S[i] = S[i - 1] + D[i - 1], D[k] = col[k + mw] - col[k]: a prefix
            // sum of D, four lanes at a time, carried from lane 3.
            if (i0 == 0) {
                uint32_t v = 0;
                for (int k = 0; k < mw; ++k) v += c[k];
                s[0] = carry[0] = v;
                j = 1;
            }
            __m128i last = _mm_set1_epi32(static_cast<int>(carry[0]));
            for (; j + 4 <= cnt; j += 4) {
                __m128i d = _mm_sub_epi32(load4(c + j - 1 + mw), load4(c + j - 1));
                d = _mm_add_epi32(d, _mm_slli_si128(d, 4));
                d = _mm_add_epi32(d, _mm_slli_si128(d, 8));
                const __m128i v = _mm_add_epi32(d, last);
                _mm_storeu_si128(reinterpret_cast<__m128i*>(s + j), v);
                last = _mm_shuffle_epi32(v, _MM_SHUFFLE(3, 3, 3, 3));
            }
            uint32_t prev = static_cast<uint32_t>(_mm_cvtsi128_si32(last));
            for (; j < cnt; ++j) s[j] = prev = prev + c[j - 1 + mw] - c[j - 1];
            carry[0] = prev;
        } else {
            for (; j < cnt; ++j) {
                if (i0 + j < ch) {
                    uint32_t v = 0;
                    for (int k = 0; k < mw; ++k) v += c[j + k * ch];
                    s[j] = v;
                } else {
                    const uint32_t prev = j >= ch ? s[j - ch] : carry[j];
                    s[j] = prev + c[j - ch + span] - c[j - ch];
                }
            }
            for (int q = 0; q < ch; ++q) carry[q] = s[cnt - ch + q];
        }
        int o = 0;
        for (; o + 16 <= cnt; o += 16) fin.block16(s + o, out + i0 + o);
        for (; o < cnt; ++o) out[i0 + o] = fin.scalar(s[o]);
    }
}

void emit_row(const uint16_t* col, int m, int mw, int ch, const IntFinish& fin, Ipp8u* out) {
    alignas(16) uint16_t s[kChunk];
    uint16_t carry[3] = {0, 0, 0};
    const int span = mw * ch;
    for (int i0 = 0; i0 < m; i0 += kChunk) {
        const int cnt = std::min(kChunk, m - i0);
        const uint16_t* c = col + i0;
        const auto at = [c](int j) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(c + j)); };
        int j = 0;
        if (mw <= kDirectWidth) {
            for (; j + 8 <= cnt; j += 8) {
                __m128i v = at(j);
                for (int k = 1; k < mw; ++k) v = _mm_add_epi16(v, at(j + k * ch));
                _mm_store_si128(reinterpret_cast<__m128i*>(s + j), v);
            }
            for (; j < cnt; ++j) {
                unsigned v = 0;
                for (int k = 0; k < mw; ++k) v += c[j + k * ch];
                s[j] = static_cast<uint16_t>(v);
            }
        } else if (ch == 1) {
            if (i0 == 0) {
                unsigned v = 0;
                for (int k = 0; k < mw; ++k) v += c[k];
                s[0] = carry[0] = static_cast<uint16_t>(v);
                j = 1;
            }
            __m128i last = _mm_set1_epi16(static_cast<short>(carry[0]));
            for (; j + 8 <= cnt; j += 8) {
                __m128i d = _mm_sub_epi16(at(j - 1 + mw), at(j - 1));
                d = _mm_add_epi16(d, _mm_slli_si128(d, 2));
                d = _mm_add_epi16(d, _mm_slli_si128(d, 4));
                d = _mm_add_epi16(d, _mm_slli_si128(d, 8));
                const __m128i v = _mm_add_epi16(d, last);
                _mm_storeu_si128(reinterpret_cast<__m128i*>(s + j), v);
                last = _mm_shufflehi_epi16(v, _MM_SHUFFLE(3, 3, 3, 3));
                last = _mm_unpackhi_epi64(last, last);
            }
            uint16_t prev = static_cast<uint16_t>(_mm_extract_epi16(last, 0));
            for (; j < cnt; ++j) s[j] = prev = static_cast<uint16_t>(prev + c[j - 1 + mw] - c[j - 1]);
            carry[0] = prev;
        } else {
            for (; j < cnt; ++j) {
                if (i0 + j < ch) {
                    unsigned v = 0;
                    for (int k = 0; k < mw; ++k) v += c[j + k * ch];
                    s[j] = static_cast<uint16_t>(v);
                } else {
                    const uint16_t prev = j >= ch ? s[j - ch] : carry[j];
                    s[j] = static_cast<uint16_t>(prev + c[j - ch + span] - c[j - ch]);
                }
            }
            for (int q = 0; q < ch; ++q) carry[q] = s[cnt - ch + q];
        }
        int o = 0;
        for (; o + 16 <= cnt; o += 16) fin.block16(s + o, out + i0 + o);
        for (; o < cnt; ++o) out[i0 + o] = fin.scalar(s[o]);
    }
}

void update_cols(uint16_t* col, const Ipp8u* add, const Ipp8u* sub, int n) {
    const __m128i zero = _mm_setzero_si128();
    int j = 0;
    for (; j + 16 <= n; j += 16) {
        const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(add + j));
        const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(sub + j));
        __m128i* p = reinterpret_cast<__m128i*>(col + j);
        const __m128i dlo = _mm_sub_epi16(_mm_unpacklo_epi8(a, zero), _mm_unpacklo_epi8(b, zero));
        const __m128i dhi = _mm_sub_epi16(_mm_unpackhi_epi8(a, zero), _mm_unpackhi_epi8(b, zero));
        _mm_storeu_si128(p, _mm_add_epi16(_mm_loadu_si128(p), dlo));
        _mm_storeu_si128(p + 1, _mm_add_epi16(_mm_loadu_si128(p + 1), dhi));
    }
    for (; j < n; ++j) col[j] = static_cast<uint16_t>(col[j] + add[j] - sub[j]);
}

// col[j] += add[j] - sub[j], modulo 2^32 (sums are exact, any wrap cancels).
void update_cols(uint32_t* col, const Ipp8u* add, const Ipp8u* sub, int n) {
    const __m128i zero = _mm_setzero_si128();
    int j = 0;
    for (; j + 16 <= n; j += 16) {
        const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(add + j));
        const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(sub + j));
        const __m128i dlo = _mm_sub_epi16(_mm_unpacklo_epi8(a, zero), _mm_unpacklo_epi8(b, zero));
        const __m128i dhi = _mm_sub_epi16(_mm_unpackhi_epi8(a, zero), _mm_unpackhi_epi8(b, zero));
        const __m128i d[4] = {_mm_srai_epi32(_mm_unpacklo_epi16(dlo, dlo), 16),
                              _mm_srai_epi32(_mm_unpackhi_epi16(dlo, dlo), 16),
                              _mm_srai_epi32(_mm_unpacklo_epi16(dhi, dhi), 16),
                              _mm_srai_epi32(_mm_unpackhi_epi16(dhi, dhi), 16)};
        for (int q = 0; q < 4; ++q) {
            __m128i* p = reinterpret_cast<__m128i*>(col + j + 4 * q);
            _mm_storeu_si128(p, _mm_add_epi32(_mm_loadu_si128(p), d[q]));
        }
    }
    for (; j < n; ++j) col[j] += static_cast<uint32_t>(int{add[j]} - int{sub[j]});
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
void* alloc_cols(int width, int mw, int ch) {
    const int64_t bytes = ((int64_t{mw} + width + 2) * ch * 4 + 15) & ~int64_t{15};
    return bytes > INT_MAX ? nullptr : ippMalloc(static_cast<int>(bytes));
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
    void* col = alloc_cols(g.width, g.mw, g.ch);
    if (col == nullptr) return ippStsMemAllocErr;
    run_path(job, g, col, DirectSink{dst, dstStep});
    ippFree(col);
    return ippStsNoErr;
}

// Short region: filter from a private copy of the whole neighbourhood area.
IppStatus filter_via_copy(const box::Job& job) {
    const Geometry& g = job.g;
    const int64_t tstep = (int64_t{g.width} + g.mw - 1) * g.ch;
    const int64_t trows = int64_t{g.height} + g.mh - 1;
    const int64_t bytes = tstep * trows;
    Ipp8u* tmp = bytes > INT_MAX ? nullptr : static_cast<Ipp8u*>(ippMalloc(static_cast<int>(bytes)));
    if (tmp == nullptr) return ippStsMemAllocErr;
    for (int64_t r = 0; r < trows; ++r) std::memcpy(tmp + r * tstep, g.top + r * g.step, static_cast<size_t>(tstep));
    Geometry copy = g;
    copy.top = tmp;
    copy.step = tstep;
    const IppStatus st = filter_out_of_place(job, copy, job.dst, job.dstStep);
    ippFree(tmp);
    return st;
}

IppStatus filter_row_delayed(const box::Job& job) {
    const Geometry& g = job.g;
    const int depth = job.anchor.y + 1;
    const int rowBytes = g.width * g.ch;
    const int64_t ringRow = (int64_t{rowBytes} + 15) & ~int64_t{15};
    void* col = alloc_cols(g.width, g.mw, g.ch);
    if (col == nullptr) return ippStsMemAllocErr;
    // depth <= mask height < roi height, so the table is small.
    Ipp8u** rows = static_cast<Ipp8u**>(ippMalloc(static_cast<int>(sizeof(Ipp8u*) * static_cast<size_t>(depth))));
    if (rows == nullptr) {
        ippFree(col);
        return ippStsMemAllocErr;
    }
    const int64_t ringBytes = ringRow * depth;
    Ipp8u* ring = ringBytes > INT_MAX ? nullptr : static_cast<Ipp8u*>(ippMalloc(static_cast<int>(ringBytes)));
    if (ring == nullptr) {
        ippFree(rows);
        ippFree(col);
        return ippStsMemAllocErr;
    }
    for (int i = 0; i < depth; ++i) rows[i] = ring + i * ringRow;
    const RingSink sink{rows, depth, job.dst, job.dstStep, rowBytes};
    run_path(job, g, col, sink);
    sink.flush(g.height);
    ippFree(ring);
    ippFree(rows);
    ippFree(col);
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
    const IppStatus st = box::prepare(pSrc, srcStep, pDst, dstStep, dstRoiSize, maskSize, anchor, 1, job);
    return st != ippStsNoErr ? st : run(job);
}

IppStatus ippiFilterBox_8u_C3R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize dstRoiSize,
                               IppiSize maskSize, IppiPoint anchor) {
    box::Job job;
    const IppStatus st = box::prepare(pSrc, srcStep, pDst, dstStep, dstRoiSize, maskSize, anchor, 3, job);
    return st != ippStsNoErr ? st : run(job);
}

IppStatus ippiFilterBox_8u_C1IR(Ipp8u* pSrcDst, int srcDstStep, IppiSize roiSize, IppiSize maskSize,
                                IppiPoint anchor) {
    box::Job job;
    const IppStatus st = box::prepare_in_place(pSrcDst, srcDstStep, roiSize, maskSize, anchor, 1, job);
    return st != ippStsNoErr ? st : run(job);
}

IppStatus ippiFilterBox_8u_C3IR(Ipp8u* pSrcDst, int srcDstStep, IppiSize roiSize, IppiSize maskSize,
                                IppiPoint anchor) {
    box::Job job;
    const IppStatus st = box::prepare_in_place(pSrcDst, srcDstStep, roiSize, maskSize, anchor, 3, job);
    return st != ippStsNoErr ? st : run(job);
}

}  // namespace qm::QM_SET
