// Median filters: per-channel rank median (C1, C3) and the vector median of
// colour pixels.
//
// The fixed shapes (3x3, 5x5, 3x1, 5x1, 1x3, 1x5) run compare-exchange
// networks on 16 samples at once; every other odd mask goes to the sliding
// histogram (or, one column wide, to a small sort per pixel). All paths give
// the exact median, so they agree byte for byte.
#include <algorithm>
#include <cstring>
#include <type_traits>
#include <utility>

#include "frame/set.h"
#include "primitives/neighbourhood/median_front.h"
#include "primitives/neighbourhood/median_network.h"
#include "primitives/simd/lanes.h"
#include "primitives/simd/work.h"

namespace qm::QM_SET {
namespace {

using namespace lanes;

// ---- One body for a vector of samples at a time and for single samples -------

struct One {};     // a single byte
struct Vector {};  // a byte vector
inline VU8 load_as(Vector, const Ipp8u* p) { return load<VU8>(p); }
inline void store_as(Vector, Ipp8u* p, VU8 v) { store(p, v); }
inline VU8 lo(VU8 a, VU8 b) { return min(a, b); }
inline VU8 hi(VU8 a, VU8 b) { return max(a, b); }
inline Ipp8u load_as(One, const Ipp8u* p) { return *p; }
inline void store_as(One, Ipp8u* p, Ipp8u v) { *p = v; }
inline Ipp8u lo(Ipp8u a, Ipp8u b) { return a < b ? a : b; }
inline Ipp8u hi(Ipp8u a, Ipp8u b) { return a < b ? b : a; }

// Calls body(i, tag) for samples 0..n-1, whole vectors where the row is long
// enough and single samples otherwise (the row walker's tail policy).
template <typename Body>
inline void for_samples(int n, Body&& body) {
    walk_row<VU8::N>(n, [&](int i) { body(i, Vector{}); }, [&](int i) { body(i, One{}); });
}

template <const median_net::Network& Net, typename T, size_t... I>
inline void run_network(T* v, std::index_sequence<I...>) {
    (
        [&] {
            constexpr median_net::Cmp c = Net.c[I];
            const T a = v[c.lo], b = v[c.hi];
            if constexpr (c.keepLo) v[c.lo] = lo(a, b);
            if constexpr (c.keepHi) v[c.hi] = hi(a, b);
        }(),
        ...);
}
template <const median_net::Network& Net, typename T>
inline void run_network(T* v) {
    run_network<Net>(v, std::make_index_sequence<Net.count>{});
}

constexpr median_net::Network kSort3 = median_net::sorting_network(3);
constexpr median_net::Network kSort5 = median_net::sorting_network(5);
constexpr median_net::Network kMedian3 = median_net::median_network(3);
constexpr median_net::Network kMedian5 = median_net::median_network(5);
// 5x5 with each column of five already sorted (column-major wires).
constexpr median_net::Network kMedian25 = median_net::median_network(25, 5);

template <int M>
constexpr const median_net::Network& sort_net() {
    if constexpr (M == 3) return kSort3; else return kSort5;
}
template <int M>
constexpr const median_net::Network& median_net_of() {
    if constexpr (M == 3) return kMedian3; else return kMedian5;
}

// ---- Row (Mx1) and column (1xM) kernels ---------------------------------------

// Horizontal neighbours are k bytes apart (k = channels), vertical ones a step.
template <int M>
void line_median(const Ipp8u* src, int srcStep, Ipp8u* dst, int dstStep, IppiSize roi, int k,
                 bool horizontal) {
    const ptrdiff_t tap = horizontal ? k : srcStep;
    const int n = roi.width * k;
    for (int y = 0; y < roi.height; ++y) {
        const Ipp8u* s = src + static_cast<ptrdiff_t>(y) * srcStep - (M / 2) * tap;
        Ipp8u* d = dst + static_cast<ptrdiff_t>(y) * dstStep;
        for_samples(n, [&](int i, auto tag) {
            decltype(load_as(tag, s)) v[M];
            for (int j = 0; j < M; ++j) v[j] = load_as(tag, s + i + j * tap);
            run_network<median_net_of<M>()>(v);
            store_as(tag, d + i, v[M / 2]);
        });
    }
}

// ---- Square kernels (3x3, 5x5) --------------------------------------------------

// Median of nine from three sorted columns: the largest minimum, the middle
// of the middles and the smallest maximum bracket it.
template <typename T>
inline T median_of_sorted_3x3(const T* v) {  // column-major, each column ascending
    const T a = hi(hi(v[0], v[3]), v[6]);
    const T c = lo(lo(v[2], v[5]), v[8]);
    const T b = hi(lo(v[1], v[4]), lo(hi(v[1], v[4]), v[7]));
    return hi(lo(a, b), lo(hi(a, b), c));
}

// Each column of M samples is sorted once, into strip buffers, and then used
// by the M outputs that share it. Strips keep the buffers on the stack.
template <int M>
void square_median(const Ipp8u* src, int srcStep, Ipp8u* dst, int dstStep, IppiSize roi, int k) {
    constexpr int kStrip = 512;
    constexpr int kMaxHalo = (M / 2) * 3;
    alignas(32) Ipp8u col[M][kStrip + 2 * kMaxHalo + VU8::N];
    std::memset(col, 0, sizeof col);  // tails of short strips are read, never used
    const int halo = (M / 2) * k;
    const int n = roi.width * k;
    for (int y = 0; y < roi.height; ++y) {
        const Ipp8u* rows = src + static_cast<ptrdiff_t>(y - M / 2) * srcStep;
        Ipp8u* d = dst + static_cast<ptrdiff_t>(y) * dstStep;
        for (int s0 = 0; s0 < n; s0 += kStrip) {
            const int len = std::min(kStrip, n - s0);
            const Ipp8u* base = rows + s0 - halo;
            for_samples(len + 2 * halo, [&](int i, auto tag) {
                decltype(load_as(tag, base)) v[M];
                for (int r = 0; r < M; ++r) v[r] = load_as(tag, base + static_cast<ptrdiff_t>(r) * srcStep + i);
                run_network<sort_net<M>()>(v);
                for (int r = 0; r < M; ++r) store_as(tag, &col[r][i], v[r]);
            });
            auto out = [&](int i, auto tag, Ipp8u* to) {
                decltype(load_as(tag, base)) v[M * M];
                for (int j = 0; j < M; ++j)
                    for (int r = 0; r < M; ++r) v[j * M + r] = load_as(tag, &col[r][i + j * k]);
                if constexpr (M == 3) {
                    store_as(tag, to, median_of_sorted_3x3(v));
                } else {
                    run_network<kMedian25>(v);
                    store_as(tag, to, v[kMedian25.out]);
                }
            };
            if (len < VU8::N) {
                // Whole vector over the zeroed buffer tail; keep only len bytes.
                alignas(32) Ipp8u tmp[VU8::N];
                out(0, Vector{}, tmp);
                std::memcpy(d + s0, tmp, static_cast<size_t>(len));
                continue;
            }
            for_samples(len, [&](int i, auto tag) { out(i, tag, d + s0 + i); });
        }
    }
}

// ---- General kernel ---------------------------------------------------------------

// Sliding 256-bin histogram with a running count of the values <= m.
void histogram_median(const Ipp8u* src, int srcStep, Ipp8u* dst, int dstStep, int width, int height,
                      int mw, int mh, int k) {
    Ipp32u hist[256] = {};
    const int64_t t = ((int64_t{mw} * mh) >> 1) + 1;
    for (int ch = 0; ch < k; ++ch) {
        for (int y = 0; y < height; ++y) {
            const Ipp8u* top = src + static_cast<ptrdiff_t>(y) * srcStep + ch;
            Ipp8u* d = dst + static_cast<ptrdiff_t>(y) * dstStep + ch;
            for (int r = 0; r < mh; ++r) {
                const Ipp8u* s = top + static_cast<ptrdiff_t>(r) * srcStep;
                for (int c = 0; c < mw; ++c) ++hist[s[static_cast<ptrdiff_t>(c) * k]];
            }
            int m = 0;
            int64_t cnt = hist[0];
            while (cnt < t) cnt += hist[++m];
            for (int x = 0; x + 1 < width; ++x) {
                d[static_cast<ptrdiff_t>(x) * k] = static_cast<Ipp8u>(m);
                const Ipp8u* s = top + static_cast<ptrdiff_t>(x) * k;
                const ptrdiff_t enter = static_cast<ptrdiff_t>(mw) * k;
                for (int r = 0; r < mh; ++r, s += srcStep) {
                    const int out = s[0], in = s[enter];
                    --hist[out];
                    ++hist[in];
                    cnt += (in <= m) - (out <= m);
                }
                if (cnt < t) {
                    while (cnt < t) cnt += hist[++m];
                } else {
                    while (cnt - hist[m] >= t) cnt -= hist[m--];
                }
            }
            d[static_cast<ptrdiff_t>(width - 1) * k] = static_cast<Ipp8u>(m);
            // Clear only the bins the last neighbourhood touched.
            const Ipp8u* s = top + static_cast<ptrdiff_t>(width - 1) * k;
            for (int r = 0; r < mh; ++r, s += srcStep)
                for (int c = 0; c < mw; ++c) hist[s[static_cast<ptrdiff_t>(c) * k]] = 0;
        }
    }
}

// One column wide: the column is copied into slots from the module heap and
// half bubble-sorted until its middle position is final.
IppStatus column_median(const Ipp8u* src, int srcStep, Ipp8u* dst, int dstStep, int width, int height,
                        int mh, int k) {
    // A request the allocator's 32-bit length cannot express fails like any
    // other allocation.
    WorkBuffers work;
    Ipp32s* slots = work.get<Ipp32s>(mh);
    if (slots == nullptr) return ippStsMemAllocErr;
    const int n = width * k;
    for (int y = 0; y < height; ++y) {
        const Ipp8u* s = src + static_cast<ptrdiff_t>(y) * srcStep;
        Ipp8u* d = dst + static_cast<ptrdiff_t>(y) * dstStep;
        for (int i = 0; i < n; ++i) {
            for (int r = 0; r < mh; ++r) slots[r] = s[static_cast<ptrdiff_t>(r) * srcStep + i];
            for (int last = mh - 1; last >= mh >> 1; --last)
                for (int p = 0; p < last; ++p)
                    if (slots[p + 1] < slots[p]) std::swap(slots[p], slots[p + 1]);
            d[i] = static_cast<Ipp8u>(slots[mh >> 1]);
        }
    }
    return ippStsNoErr;
}

IppStatus general_median(const Ipp8u* topLeft, int srcStep, Ipp8u* dst, int dstStep, IppiSize roi,
                         IppiSize mask, int k) {
    if (mask.width == 1)
        return column_median(topLeft, srcStep, dst, dstStep, roi.width, roi.height, mask.height, k);
    histogram_median(topLeft, srcStep, dst, dstStep, roi.width, roi.height, mask.width, mask.height, k);
    return ippStsNoErr;
}

// ---- Vector median ------------------------------------------------------------------

// The totals share their work between windows. Every distance between two
// pixels that can meet in one neighbourhood (at most M - 1 apart in both
// directions) is computed once. For a candidate P, the distances to its
// (2M - 1) x (2M - 1) surroundings form a table; the total of P in the window
// where it sits at (i, j) is the sum of the M x M block of that table that the
// window covers, and the M x M blocks come from running sums along rows, then
// columns. All sums are exact 16-bit integers (at most 24 x 765), so the
// candidates compare exactly as in the direct definition.
//
// Work goes in vertical strips, a vector of candidates or outputs at a time:
//   - each source row becomes three 16-bit planes (a ring of M rows);
//   - for source row Y, the distances from its pixels to the pixels at
//     (dy, dx) with dy > 0, or dy = 0 and dx > 0, are stored; the other half
//     of a table are the same distances seen from the other end, stored by
//     earlier rows (or this one);
//   - the block sums of row Y's candidates go to one array per (i, j);
//   - the outputs of rows Y - M + 1 .. Y visit candidate row i = Y - y, in
//     order j = 0 .. M - 1, so every output sees its candidates in row-major
//     order and a strict less-than keeps the earliest of equal totals.
// The buffers have margins, so vectors may run past the strip; values
// computed there belong to no output inside the image and are never read
// for one.
template <int M>
class VectorMedianStrips {
public:
    static constexpr int R = M - 1;                         // reach
    static constexpr int W = 2 * R + 1;                     // table side
    static constexpr int kStrip = M == 3 ? 248 : 120;       // outputs per strip
    static constexpr int kStep = VI16::N;                    // candidates or outputs per vector
    static constexpr int kCols = (kStrip + R + kStep - 1) / kStep * kStep;  // candidate columns per strip
    static constexpr int kPad = 8;                          // array index of the strip's first column
    static constexpr int kLen = kCols + 2 * kPad;

    // Stored distances: dy = 0 with dx = 1..R, and dy = 1..R with
    // dx = -R..R. The arrays of offset dy are needed until row Y + dy, so
    // they keep a ring of dy + 1 slots.
    static constexpr int arrays_of(int dy) { return dy == 0 ? R : W; }
    static constexpr int array_of(int dy, int dx) { return dy == 0 ? dx - 1 : dx + R; }
    static constexpr int ring_base(int dy) {
        int b = 0;
        for (int k = 0; k < dy; ++k) b += arrays_of(k) * (k + 1);
        return b;
    }
    static constexpr int kArrays = ring_base(M);

    VectorMedianStrips(const Ipp8u* topLeft, int srcStep, Ipp8u* dst, int dstStep, IppiSize roi)
        : src_(topLeft), srcStep_(srcStep), dst_(dst), dstStep_(dstStep), roi_(roi) {
        for (int t = 0; t < M * M; ++t) {
            offset_[t] = static_cast<ptrdiff_t>(t / M) * srcStep_ + 3 * (t % M);
            candidate_[t] = all<VI16>(t);
        }
    }

    void run() {
        for (int x0 = 0; x0 < roi_.width; x0 += kStrip) strip(x0, std::min(kStrip, roi_.width - x0));
    }

private:
    const Ipp8u* src_;
    ptrdiff_t srcStep_;
    Ipp8u* dst_;
    ptrdiff_t dstStep_;
    IppiSize roi_;
    ptrdiff_t offset_[M * M];  // candidate t relative to the neighbourhood's top-left
    VI16 candidate_[M * M];

    // Ring of source rows. With byte multiply-adds, channels 0 and 1 as byte
    // pairs and channel 2 as 16-bit values, so a distance takes one byte
    // difference for two channels; otherwise one 16-bit plane per channel.
    struct PairPlanes {
        alignas(32) Ipp8u pair[2 * kLen];
        alignas(32) int16_t third[kLen];
    };
    struct ChannelPlanes {
        alignas(32) int16_t c[3][kLen];
    };
    using Planes = std::conditional_t<kByteShuffle, PairPlanes, ChannelPlanes>;
    Planes plane_[M];
    alignas(32) int16_t dist_[kArrays][kLen];
    alignas(32) int16_t total_[M * M][kLen];  // [i * M + j]
    alignas(32) int16_t best_[M][kStrip + kStep];
    alignas(32) int16_t index_[M][kStrip + kStep];
    alignas(32) Ipp8u out_[3 * kStrip + 4];

    // Per row: the planes of rows Y .. Y + R, the slots row Y writes and the
    // slots rows Y - k wrote for offset k.
    const Planes* rowPlanes_[M];
    int16_t* slotNow_[M];
    const int16_t* slotOld_[M];

    static VI16 at(const int16_t* p) { return load<VI16>(p); }
    static void put(int16_t* p, VI16 v) { store(p, v); }

    // Source row Y of the strip into its planes (zeros beyond the image).
    void load_row(int Y, int x0, int cols) {
        Planes& p = plane_[Y % M];
        if (Y >= roi_.height + R) {
            std::memset(&p, 0, sizeof p);
            return;
        }
        const Ipp8u* s = src_ + static_cast<ptrdiff_t>(Y) * srcStep_ + 3 * static_cast<ptrdiff_t>(x0);
        for (int x = 0; x < cols; ++x) {
            if constexpr (kByteShuffle) {
                p.pair[2 * (kPad + x)] = s[3 * x];
                p.pair[2 * (kPad + x) + 1] = s[3 * x + 1];
                p.third[kPad + x] = s[3 * x + 2];
            } else {
                p.c[0][kPad + x] = s[3 * x];
                p.c[1][kPad + x] = s[3 * x + 1];
                p.c[2][kPad + x] = s[3 * x + 2];
            }
        }
    }

    void set_row(int Y) {
        for (int dy = 0; dy <= R; ++dy) {
            rowPlanes_[dy] = &plane_[(Y + dy) % M];
            const int n = dy + 1;
            slotNow_[dy] = dist_[ring_base(dy) + (Y % n) * arrays_of(dy)];
            // Row Y - dy sits in slot (Y - dy) mod (dy + 1) = (Y + 1) mod (dy + 1).
            slotOld_[dy] = dist_[ring_base(dy) + ((Y + 1) % n) * arrays_of(dy)];
        }
    }

    // Row Y's half of the distance tables.
    void distances() {
        const Planes& p = *rowPlanes_[0];
        for (int o = kPad; o < kPad + kCols; o += kStep) {
            if constexpr (kByteShuffle) {
                const VU8 a01 = load<VU8>(p.pair + 2 * o);
                const VU16 a2 = load<VU16>(p.third + o);
                const VI8 ones = all<VI8>(1);
                store_distances(o, [&](const Planes& q, int at_o) {
                    const VU8 d01 = absdiff(a01, load<VU8>(q.pair + 2 * at_o));
                    return add(maddubs(d01, ones), as<VI16>(absdiff(a2, load<VU16>(q.third + at_o))));
                });
            } else {
                const VU16 a0 = load<VU16>(p.c[0] + o), a1 = load<VU16>(p.c[1] + o), a2 = load<VU16>(p.c[2] + o);
                store_distances(o, [&](const Planes& q, int at_o) {
                    return as<VI16>(add(add(absdiff(a0, load<VU16>(q.c[0] + at_o)), absdiff(a1, load<VU16>(q.c[1] + at_o))),
                                         absdiff(a2, load<VU16>(q.c[2] + at_o))));
                });
            }
        }
    }

    // Row Y's distances of the kStep pixels at o to every stored offset.
    template <class Distance>
    QM_LANES_INLINE void store_distances(int o, Distance&& distance) {
        unroll<M>([&](auto dyc) {
            constexpr int dy = dyc;
            const Planes& q = *rowPlanes_[dy];
            int16_t* const out = slotNow_[dy] + o;
            unroll<arrays_of(dy)>([&](auto n) {
                constexpr int dx = dy == 0 ? n + 1 : n - R;
                put(out + array_of(dy, dx) * kLen, distance(q, o + dx));
            });
        });
    }

    // Block sums of row Y's candidates.
    void totals() {
        for (int o = kPad; o < kPad + kCols; o += kStep) {
            // Table entry (dy, dx) of the kStep candidates at o.
            auto table = [&](auto dyc, auto dxc) {
                constexpr int dy = dyc, dx = dxc;
                if constexpr (dy > 0 || (dy == 0 && dx > 0))
                    return at(slotNow_[dy] + array_of(dy, dx) * kLen + o);
                else  // seen from the other pixel, stored by row Y + dy
                    return at(slotOld_[-dy] + array_of(-dy, -dx) * kLen + o + dx);
            };
            // h[dy + R]: row dy's sum over the columns of window column j,
            // slid along as j grows (column j covers dx = -j .. R - j).
            VI16 h[W];
            auto emit = [&](auto j) {  // block sums down the rows: window row i covers dy = -i .. R - i
                VI16 s = h[R];
                unroll<R>([&](auto k) { s = add(s, h[R + k + 1]); });
                put(total_[j] + o, s);
                unroll<R>([&](auto k) {
                    constexpr int i = k + 1;
                    s = sub(add(s, h[R - i]), h[2 * R + 1 - i]);
                    put(total_[i * M + j] + o, s);
                });
            };
            unroll<W>([&](auto r) {
                constexpr int dy = r - R;
                // The centre adds nothing.
                VI16 s = dy == 0 ? table(std::integral_constant<int, 0>{}, std::integral_constant<int, 1>{})
                                    : table(std::integral_constant<int, dy>{}, std::integral_constant<int, 0>{});
                unroll<R>([&](auto k) {
                    constexpr int dx = k + 1;
                    if constexpr (!(dy == 0 && dx == 1))
                        s = add(s, table(std::integral_constant<int, dy>{}, std::integral_constant<int, dx>{}));
                });
                h[r] = s;
            });
            emit(std::integral_constant<int, 0>{});
            unroll<R>([&](auto k) {
                constexpr int j = k + 1;
                unroll<W>([&](auto r) {
                    constexpr int dy = r - R;
                    h[r] = sub(
                        add(h[r], table(std::integral_constant<int, dy>{}, std::integral_constant<int, -j>{})),
                        table(std::integral_constant<int, dy>{}, std::integral_constant<int, R - j + 1>{}));
                });
                emit(std::integral_constant<int, j>{});
            });
        }
    }

    // Candidate row i of output row y = Y - i; the last one writes the row.
    void choose(int y, int i, int x0, int width) {
        int16_t* best = best_[y % M];
        int16_t* index = index_[y % M];
        const int16_t* tot = total_[i * M];
        const VI16* cand = candidate_ + i * M;
        for (int x = 0; x < width; x += kStep) {
            const int o = kPad + x;
            VI16 b, t;
            if (i == 0) {
                b = at(tot + o);
                t = zero<VI16>();
            } else {
                b = at(best + x);
                t = at(index + x);
                const VI16 c = at(tot + o);
                const VI16 lt = gt(b, c);
                b = min(b, c);
                t = select(lt, cand[0], t);
            }
            unroll<R>([&](auto k) {
                constexpr int j = k + 1;
                const VI16 c = at(tot + j * kLen + o + j);
                const VI16 lt = gt(b, c);
                b = min(b, c);
                t = select(lt, cand[j], t);
            });
            put(best + x, b);
            put(index + x, t);
        }
        if (i < R) return;
        const Ipp8u* s = src_ + static_cast<ptrdiff_t>(y) * srcStep_ + 3 * static_cast<ptrdiff_t>(x0);
        Ipp8u* d = dst_ + static_cast<ptrdiff_t>(y) * dstStep_ + 3 * static_cast<ptrdiff_t>(x0);
        // Gathered four bytes at a time into a row of our own (the fourth
        // byte is the next pixel's, read inside the next neighbourhood and
        // overwritten), then copied out whole. The row's last pixel reads
        // three.
        const int last = x0 + width == roi_.width ? width - 1 : width;
        int x = 0;
        for (; x < last; ++x, s += 3) std::memcpy(out_ + 3 * x, s + offset_[index[x]], 4);
        if (x < width) std::memcpy(out_ + 3 * x, s + offset_[index[x]], 3);
        std::memcpy(d, out_, 3 * static_cast<size_t>(width));
    }

    void strip(int x0, int width) {
        std::memset(dist_, 0, sizeof dist_);
        std::memset(plane_, 0, sizeof plane_);
        const int cols = width + R;
        for (int Y = 0; Y < R; ++Y) load_row(Y, x0, cols);
        for (int Y = 0; Y < roi_.height + R; ++Y) {
            load_row(Y + R, x0, cols);
            set_row(Y);
            distances();
            totals();
            for (int i = 0; i <= R; ++i) {
                const int y = Y - i;
                if (y >= 0 && y < roi_.height) choose(y, i, x0, width);
            }
        }
    }
};

template <int M>
void vector_median_rows(const Ipp8u* topLeft, int srcStep, Ipp8u* dst, int dstStep, IppiSize roi) {
    VectorMedianStrips<M> work(topLeft, srcStep, dst, dstStep, roi);  // about 50 KB of stack at most
    work.run();
}

IppStatus run(const median::Job& job) {
    using median::Shape;
    const Ipp8u* src = job.src;
    const int srcStep = job.srcStep, dstStep = job.dstStep, k = job.ch;
    Ipp8u* dst = job.dst;
    const IppiSize roi = job.roi;
    switch (job.shape) {
        case Shape::square3: square_median<3>(src, srcStep, dst, dstStep, roi, k); break;
        case Shape::square5: square_median<5>(src, srcStep, dst, dstStep, roi, k); break;
        case Shape::row3: line_median<3>(src, srcStep, dst, dstStep, roi, k, true); break;
        case Shape::row5: line_median<5>(src, srcStep, dst, dstStep, roi, k, true); break;
        case Shape::column3: line_median<3>(src, srcStep, dst, dstStep, roi, k, false); break;
        case Shape::column5: line_median<5>(src, srcStep, dst, dstStep, roi, k, false); break;
        case Shape::copy:
            for (int y = 0; y < roi.height; ++y)
                std::memcpy(dst + static_cast<ptrdiff_t>(y) * dstStep, src + static_cast<ptrdiff_t>(y) * srcStep,
                            static_cast<size_t>(roi.width) * k);
            break;
        case Shape::general: return general_median(src, srcStep, dst, dstStep, roi, job.mask, k);
        case Shape::vector3: vector_median_rows<3>(src, srcStep, dst, dstStep, roi); break;
        case Shape::vector5: vector_median_rows<5>(src, srcStep, dst, dstStep, roi); break;
    }
    return ippStsNoErr;
}

}  // namespace

IppStatus ippiFilterMedian_8u_C1R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep,
                                  IppiSize dstRoiSize, IppiSize maskSize, IppiPoint anchor) {
    median::Job job;
    const IppStatus st = median::plan(pSrc, srcStep, pDst, dstStep, dstRoiSize, maskSize, anchor, 1, job);
    return st != ippStsNoErr ? st : run(job);
}

IppStatus ippiFilterMedian_8u_C3R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep,
                                  IppiSize dstRoiSize, IppiSize maskSize, IppiPoint anchor) {
    median::Job job;
    const IppStatus st = median::plan(pSrc, srcStep, pDst, dstStep, dstRoiSize, maskSize, anchor, 3, job);
    return st != ippStsNoErr ? st : run(job);
}

IppStatus ippiFilterMedianColor_8u_C3R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep,
                                       IppiSize dstRoiSize, int maskCode) {
    median::Job job;
    const IppStatus st = median::plan_color(pSrc, srcStep, pDst, dstStep, dstRoiSize, maskCode, job);
    return st != ippStsNoErr ? st : run(job);
}

}  // namespace qm::QM_SET
