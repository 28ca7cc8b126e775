// RGB <-> HLS conversions: interleaved 8u, 16u, 16s, 32f and planar 8u BGR.
//
// All members run one float formula, written once below over a lane type
// (4 lanes with SSE, 8 with AVX); a member only decides how its stored values
// map to degrees and unit ranges and how results go back to the stored type.
// Every step is a plain IEEE operation applied lane by lane, branches become
// selects, so the lane width cannot change a single bit of the result.
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "frame/set.h"
#include "primitives/color/color_front.h"
#include "primitives/simd/channels.h"
#include "primitives/simd/lanes.h"

namespace qm::QM_SET {
namespace {

using namespace lanes;

// ---- Members ----------------------------------------------------------------
// How a member stores its values: 32f as is; the interleaved integer forms
// round (truncate after + 0.5); the planar 8u forms truncate after + 1e-7.
// The 1e-7 is added in float like every other step of this conversion.
enum class Store { Float, Round, Truncate };

struct M32f {
    using T = Ipp32f;
    static constexpr Store kStore = Store::Float;
    static constexpr float kFull = 1.0f;
};
// Interleaved integer forms compute L and S on the integer scale; 16s is
// shifted by 32768 onto the 16u range and back.
template <class Sample, int32_t Full, int32_t Shift>
struct MInteger {
    using T = Sample;
    static constexpr Store kStore = Store::Round;
    static constexpr float kFull = static_cast<float>(Full);
    static constexpr int32_t kShift = Shift;
};
using M8u = MInteger<Ipp8u, 255, 0>;
using M16u = MInteger<Ipp16u, 65535, 0>;
using M16s = MInteger<Ipp16s, 65535, 32768>;
// Planar forms scale to 0 .. 1 first and compute like 32f.
struct MPlanar {
    using T = Ipp8u;
    static constexpr Store kStore = Store::Truncate;
    static constexpr float kFull = 255.0f;
};

template <class M>
using Out = std::conditional_t<M::kStore == Store::Float, float, int32_t>;

// Bias, clamp and truncate (or pass through for 32f). The clamp never
// changes an in-range result; it keeps the narrowing store well defined.
template <class M>
QM_LANES_INLINE void put(Out<M>* o, VF v) {
    if constexpr (M::kStore == Store::Float) {
        store_aligned(o, v);
    } else {
        const float bias = M::kStore == Store::Round ? 0.5f : 1e-7f;
        v = min(max(add(v, all<VF>(bias)), all<VF>(0.0f)), all<VF>(M::kFull));
        store_truncated_aligned(o, v);
    }
}

// ---- The formulas -------------------------------------------------------------

// R, G, B (as stored, 16s already shifted) to stored H, L, S before narrowing.
template <class M>
QM_LANES_INLINE void rgb_to_hls(VF r, VF g, VF b, VF& sh, VF& sl, VF& ss) {
    using V = VF;
    constexpr bool kIntScale = M::kStore == Store::Round;
    if constexpr (M::kStore == Store::Truncate) {
        r = div(r, all<VF>(255.0f));
        g = div(g, all<VF>(255.0f));
        b = div(b, all<VF>(255.0f));
    }
    // Ties keep the earlier channel.
    const V mx = max(b, max(g, r));
    const V mn = min(b, min(g, r));
    const V delta = sub(mx, mn);
    const V sum = add(mx, mn);
    const V l = mul(sum, all<VF>(0.5f));
    // Integer inputs differ by at least one step, so they test for zero;
    // float inputs treat anything within the float epsilon as grey.
    const V grey = M::kStore == Store::Float ? not_gt(delta, all<VF>(1.1920929e-07f))
                                             : eq(delta, all<VF>(0.0f));
    const float full = kIntScale ? M::kFull : 1.0f;
    const V upper = gt(l, all<VF>(full * 0.5f));
    V s = div(delta, select(upper, sub(all<VF>(2.0f * full), sum), sum));
    // Hue: R wins over G, G over B.
    const V isR = eq(r, mx);
    const V isG = eq(g, mx);
    const V num = select(isR, sub(g, b), select(isG, sub(b, r), sub(r, g)));
    const V q = div(mul(num, all<VF>(60.0f)), delta);
    V h = select(isR, q, add(q, select(isG, all<VF>(120.0f), all<VF>(240.0f))));
    h = select(lt(h, all<VF>(0.0f)), add(h, all<VF>(360.0f)), h);
    const V zero = all<VF>(0.0f);
    h = select(grey, zero, h);
    s = select(grey, zero, s);

    if constexpr (M::kStore == Store::Float) {
        sh = div(h, all<VF>(360.0f));
        sl = l;
        ss = s;
    } else {
        sh = div(mul(h, all<VF>(M::kFull)), all<VF>(360.0f));
        sl = kIntScale ? l : mul(l, all<VF>(M::kFull));
        ss = mul(s, all<VF>(M::kFull));
    }
}

// Stored H, L, S (16s already shifted) to stored R, G, B before narrowing.
template <class M>
QM_LANES_INLINE void hls_to_rgb(VF h, VF l, VF s, VF& r, VF& g, VF& b) {
    using V = VF;
    if constexpr (M::kStore == Store::Float) {
        h = mul(h, all<VF>(360.0f));
    } else {
        h = div(mul(h, all<VF>(360.0f)), all<VF>(M::kFull));
        l = div(l, all<VF>(M::kFull));
        s = div(s, all<VF>(M::kFull));
    }
    const V m2 = select(gt(l, all<VF>(0.5f)), sub(add(l, s), mul(l, s)),
                        mul(l, add(all<VF>(1.0f), s)));
    const V m1 = sub(mul(all<VF>(2.0f), l), m2);
    const V dm = sub(m2, m1);
    // The channel at hue x: m1 + dm * t / 60 on a ramp (t = x on the rising
    // one, 240 - x on the falling one), m2 on the plateau, m1 beyond.
    struct Channel {
        V zone, low, t;  // zone: on a ramp; low: below 180
    };
    const auto channel = [&](V x) QM_LANES_INLINE_LAMBDA {
        const V rising = lt(x, all<VF>(60.0f));
        const V low = lt(x, all<VF>(180.0f));
        const V zone = bit_or(rising, bit_andnot(low, lt(x, all<VF>(240.0f))));
        return Channel{zone, low, select(rising, x, sub(all<VF>(240.0f), x))};
    };
    const auto ramp = [&](V t) QM_LANES_INLINE_LAMBDA { return add(m1, div(mul(dm, t), all<VF>(60.0f))); };
    const auto value = [&](const Channel& c, V onRamp) QM_LANES_INLINE_LAMBDA {
        return select(c.zone, onRamp, select(c.low, m2, m1));
    };
    // Exactly 360 is not reduced and lands on m1.
    V xr = add(h, all<VF>(120.0f));
    xr = select(gt(xr, all<VF>(360.0f)), sub(xr, all<VF>(360.0f)), xr);
    V xb = sub(h, all<VF>(120.0f));
    xb = select(lt(xb, all<VF>(0.0f)), add(xb, all<VF>(360.0f)), xb);
    const Channel cr = channel(xr), cg = channel(h), cb = channel(xb);
    // Hues 120 degrees apart put at most one channel of a pixel on a ramp, so
    // one division serves all three; hues outside 0 .. 360 may put two there
    // and take a division each.
    const V two = bit_or(bit_and(cr.zone, bit_or(cg.zone, cb.zone)), bit_and(cg.zone, cb.zone));
    V rampR, rampG, rampB;
    if (lane_mask(two) == 0) {
        rampR = rampG = rampB = ramp(select(cr.zone, cr.t, select(cg.zone, cg.t, cb.t)));
    } else {
        rampR = ramp(cr.t);
        rampG = ramp(cg.t);
        rampB = ramp(cb.t);
    }
    // Saturation 0 is grey in every member, the planar one included: there the
    // formula alone would also give L (m1 = m2 = L), the select makes it explicit.
    const V grey = eq(s, all<VF>(0.0f));
    r = select(grey, l, value(cr, rampR));
    g = select(grey, l, value(cg, rampG));
    b = select(grey, l, value(cb, rampB));
    if constexpr (M::kStore != Store::Float) {
        r = mul(r, all<VF>(M::kFull));
        g = mul(g, all<VF>(M::kFull));
        b = mul(b, all<VF>(M::kFull));
    }
}

// One direction of the conversion on one lane group.
template <class M, bool kToHls>
QM_LANES_INLINE void convert(VF a, VF b, VF c, VF& x, VF& y, VF& z) {
    if constexpr (kToHls)
        rgb_to_hls<M>(a, b, c, x, y, z);
    else
        hls_to_rgb<M>(a, b, c, x, y, z);
}

// ---- Rows -----------------------------------------------------------------------
// A row is converted in blocks: widen into three float arrays, run the formula
// across the block a lane group at a time, narrow back. Lanes past the end of
// the row compute on stale block data and are never stored.
constexpr int kBlock = 128;
static_assert(kBlock % 8 == 0);

template <class M>
inline float widen(typename M::T v) {
    if constexpr (M::kStore == Store::Float)
        return v;
    else
        return static_cast<float>(static_cast<int32_t>(v) + M::kShift);
}
template <class M>
inline typename M::T narrow(Out<M> v) {
    if constexpr (M::kStore == Store::Float)
        return v;
    else
        return static_cast<typename M::T>(v - M::kShift);
}

template <class M, bool kToHls>
inline void run_block(const float (&in)[3][kBlock], Out<M> (&out)[3][kBlock], int n) {
    for (int i = 0; i < n; i += VF::N) {
        VF x, y, z;
        convert<M, kToHls>(load_aligned<VF>(in[0] + i), load_aligned<VF>(in[1] + i), load_aligned<VF>(in[2] + i), x,
                           y, z);
        put<M>(out[0] + i, x);
        put<M>(out[1] + i, y);
        put<M>(out[2] + i, z);
    }
}

// 32f rows need no widening: whole lane groups go straight from the
// interleaved source to the interleaved destination. Returns the pixels done.
template <bool kToHls>
QM_LANES_OUTLINE int convert_row_32f(const float* s, float* d, int n) {
    int i = 0;
    for (; i + kLanes <= n; i += kLanes) {
        VF a, b, c, x, y, z;
        load_interleaved3(s + 3 * i, a, b, c);
        convert<M32f, kToHls>(a, b, c, x, y, z);
        store_interleaved3(d + 3 * i, x, y, z);
    }
    return i;
}

template <class T>
inline T* row_at(T* base, int step, int y) {
    using B = std::conditional_t<std::is_const_v<T>, const Ipp8u, Ipp8u>;
    return reinterpret_cast<T*>(reinterpret_cast<B*>(base) + static_cast<ptrdiff_t>(y) * step);
}

// Interleaved: channel order R, G, B and H, L, S on both sides.
template <class M, bool kToHls>
IppStatus convert_c3(const typename M::T* pSrc, int srcStep, typename M::T* pDst, int dstStep,
                     IppiSize roi) {
    if (const IppStatus st = color::check_interleaved(pSrc, pDst, roi); st != ippStsNoErr) return st;
    alignas(32) float in[3][kBlock] = {};
    alignas(32) Out<M> out[3][kBlock];
    // Pixels [x0, x1) of a row through the block buffers.
    auto blocks = [&](const typename M::T* s, typename M::T* d, int x0, int x1) {
        for (; x0 < x1; x0 += kBlock) {
            const int n = x1 - x0 < kBlock ? x1 - x0 : kBlock;
            const typename M::T* sp = s + 3 * static_cast<ptrdiff_t>(x0);
            for (int i = 0; i < n; ++i) {
                in[0][i] = widen<M>(sp[3 * i]);
                in[1][i] = widen<M>(sp[3 * i + 1]);
                in[2][i] = widen<M>(sp[3 * i + 2]);
            }
            run_block<M, kToHls>(in, out, n);
            typename M::T* dp = d + 3 * static_cast<ptrdiff_t>(x0);
            for (int i = 0; i < n; ++i) {
                dp[3 * i] = narrow<M>(out[0][i]);
                dp[3 * i + 1] = narrow<M>(out[1][i]);
                dp[3 * i + 2] = narrow<M>(out[2][i]);
            }
        }
    };
    for (int y = 0; y < roi.height; ++y) {
        const typename M::T* s = row_at(pSrc, srcStep, y);
        typename M::T* d = row_at(pDst, dstStep, y);
        int done = 0;
        if constexpr (M::kStore == Store::Float) done = convert_row_32f<kToHls>(s, d, roi.width);
        blocks(s, d, done, roi.width);
    }
    return ippStsNoErr;
}

// Planar: B, G, R planes on the colour side, H, L, S on the other.
template <bool kToHls>
IppStatus convert_p3(const Ipp8u* const pSrc[3], int srcStep, Ipp8u* const pDst[3], int dstStep,
                     IppiSize roi) {
    if (const IppStatus st = color::check_planar_hls(pSrc, srcStep, pDst, dstStep, roi); st != ippStsNoErr)
        return st;
    // The formula takes R, G, B (H, L, S) in that order.
    const int srcPlane[3] = {kToHls ? 2 : 0, 1, kToHls ? 0 : 2};
    const int dstPlane[3] = {kToHls ? 0 : 2, 1, kToHls ? 2 : 0};
    alignas(32) float in[3][kBlock] = {};
    alignas(32) int32_t out[3][kBlock];
    for (int y = 0; y < roi.height; ++y) {
        for (int x0 = 0; x0 < roi.width; x0 += kBlock) {
            const int n = roi.width - x0 < kBlock ? roi.width - x0 : kBlock;
            for (int c = 0; c < 3; ++c) {
                const Ipp8u* sp = row_at(pSrc[srcPlane[c]], srcStep, y) + x0;
                for (int i = 0; i < n; ++i) in[c][i] = static_cast<float>(sp[i]);
            }
            run_block<MPlanar, kToHls>(in, out, n);
            for (int c = 0; c < 3; ++c) {
                Ipp8u* dp = row_at(pDst[dstPlane[c]], dstStep, y) + x0;
                for (int i = 0; i < n; ++i) dp[i] = static_cast<Ipp8u>(out[c][i]);
            }
        }
    }
    return ippStsNoErr;
}

}  // namespace

// The entries: each names its member and direction; the prototypes come
// from the function list (frame/set_decls.h), which these definitions match.
#define QM_HLS_C3(name, M, kToHls)                                                                   \
    IppStatus name(const M::T* pSrc, int srcStep, M::T* pDst, int dstStep, IppiSize roiSize) {       \
        return convert_c3<M, kToHls>(pSrc, srcStep, pDst, dstStep, roiSize);                         \
    }
#define QM_HLS_P3(name, kToHls)                                                                      \
    IppStatus name(const Ipp8u* const pSrc[3], int srcStep, Ipp8u* const pDst[3], int dstStep,      \
                   IppiSize roiSize) {                                                               \
        return convert_p3<kToHls>(pSrc, srcStep, pDst, dstStep, roiSize);                            \
    }
QM_HLS_C3(ippiRGBToHLS_8u_C3R, M8u, true)
QM_HLS_C3(ippiRGBToHLS_16u_C3R, M16u, true)
QM_HLS_C3(ippiRGBToHLS_16s_C3R, M16s, true)
QM_HLS_C3(ippiRGBToHLS_32f_C3R, M32f, true)
QM_HLS_C3(ippiHLSToRGB_8u_C3R, M8u, false)
QM_HLS_C3(ippiHLSToRGB_16u_C3R, M16u, false)
QM_HLS_C3(ippiHLSToRGB_16s_C3R, M16s, false)
QM_HLS_C3(ippiHLSToRGB_32f_C3R, M32f, false)
QM_HLS_P3(ippiBGRToHLS_8u_P3R, true)
QM_HLS_P3(ippiHLSToBGR_8u_P3R, false)
#undef QM_HLS_C3
#undef QM_HLS_P3

}  // namespace qm::QM_SET
