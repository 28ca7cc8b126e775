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

#include <emmintrin.h>
#if defined(__SSE4_1__)
#include <smmintrin.h>
#endif
#if defined(__AVX__)
#include <immintrin.h>
#endif

namespace qm::QM_SET {
namespace {

// ---- Lanes ------------------------------------------------------------------
// max(a, b) is a > b ? a : b and min(a, b) is a < b ? a : b, exactly what the
// max/min instructions do (ties and NaN take the second operand).

struct Lane4 {
    using V = __m128;
    [[maybe_unused]] static constexpr int N = 4;
    static V set(float x) { return _mm_set1_ps(x); }
    static V load(const float* p) { return _mm_load_ps(p); }
    static void store(float* p, V v) { _mm_store_ps(p, v); }
    static void store_trunc(int32_t* p, V v) {
        _mm_store_si128(reinterpret_cast<__m128i*>(p), _mm_cvttps_epi32(v));
    }
    static V add(V a, V b) { return _mm_add_ps(a, b); }
    static V sub(V a, V b) { return _mm_sub_ps(a, b); }
    static V mul(V a, V b) { return _mm_mul_ps(a, b); }
    static V div(V a, V b) { return _mm_div_ps(a, b); }
    static V max(V a, V b) { return _mm_max_ps(a, b); }
    static V min(V a, V b) { return _mm_min_ps(a, b); }
    static V eq(V a, V b) { return _mm_cmpeq_ps(a, b); }
    static V lt(V a, V b) { return _mm_cmplt_ps(a, b); }
    static V gt(V a, V b) { return _mm_cmpgt_ps(a, b); }
    static V not_gt(V a, V b) { return _mm_cmpngt_ps(a, b); }
    // m ? a : b per lane
    static V sel(V m, V a, V b) {
#if defined(__SSE4_1__)
        return _mm_blendv_ps(b, a, m);
#else
        return _mm_or_ps(_mm_and_ps(m, a), _mm_andnot_ps(m, b));
#endif
    }
};

#if defined(__AVX__)
struct Lane8 {
    using V = __m256;
    [[maybe_unused]] static constexpr int N = 8;
    static V set(float x) { return _mm256_set1_ps(x); }
    static V load(const float* p) { return _mm256_load_ps(p); }
    static void store(float* p, V v) { _mm256_store_ps(p, v); }
    static void store_trunc(int32_t* p, V v) {
        _mm256_store_si256(reinterpret_cast<__m256i*>(p), _mm256_cvttps_epi32(v));
    }
    static V add(V a, V b) { return _mm256_add_ps(a, b); }
    static V sub(V a, V b) { return _mm256_sub_ps(a, b); }
    static V mul(V a, V b) { return _mm256_mul_ps(a, b); }
    static V div(V a, V b) { return _mm256_div_ps(a, b); }
    static V max(V a, V b) { return _mm256_max_ps(a, b); }
    static V min(V a, V b) { return _mm256_min_ps(a, b); }
    static V eq(V a, V b) { return _mm256_cmp_ps(a, b, _CMP_EQ_OQ); }
    static V lt(V a, V b) { return _mm256_cmp_ps(a, b, _CMP_LT_OS); }
    static V gt(V a, V b) { return _mm256_cmp_ps(a, b, _CMP_GT_OS); }
    static V not_gt(V a, V b) { return _mm256_cmp_ps(a, b, _CMP_NGT_US); }
    // Bitwise rather than blendv: the compiler rewrites a 256-bit blendv on a
    // compare result into per-lane branches when AVX2 is not enabled.
    static V sel(V m, V a, V b) { return _mm256_or_ps(_mm256_and_ps(m, a), _mm256_andnot_ps(m, b)); }
};
using Lane = Lane8;
#else
using Lane = Lane4;
#endif

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
// Interleaved integer forms compute L and S on the integer scale.
struct M8u {
    using T = Ipp8u;
    static constexpr Store kStore = Store::Round;
    static constexpr float kFull = 255.0f;
    static constexpr int32_t kShift = 0;
};
struct M16u {
    using T = Ipp16u;
    static constexpr Store kStore = Store::Round;
    static constexpr float kFull = 65535.0f;
    static constexpr int32_t kShift = 0;
};
struct M16s {  // shifted by 32768 onto the 16u range and back
    using T = Ipp16s;
    static constexpr Store kStore = Store::Round;
    static constexpr float kFull = 65535.0f;
    static constexpr int32_t kShift = 32768;
};
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
template <class M, class L>
inline void put(Out<M>* o, typename L::V v) {
    if constexpr (M::kStore == Store::Float) {
        L::store(o, v);
    } else {
        const float bias = M::kStore == Store::Round ? 0.5f : 1e-7f;
        v = L::min(L::max(L::add(v, L::set(bias)), L::set(0.0f)), L::set(M::kFull));
        L::store_trunc(o, v);
    }
}

// ---- The formulas -------------------------------------------------------------

// R, G, B (as stored, 16s already shifted) to stored H, L, S before narrowing.
template <class M, class L>
inline void rgb_to_hls(const float* pr, const float* pg, const float* pb, Out<M>* oh, Out<M>* ol,
                       Out<M>* os) {
    using V = typename L::V;
    constexpr bool kIntScale = M::kStore == Store::Round;
    V r = L::load(pr), g = L::load(pg), b = L::load(pb);
    if constexpr (M::kStore == Store::Truncate) {
        r = L::div(r, L::set(255.0f));
        g = L::div(g, L::set(255.0f));
        b = L::div(b, L::set(255.0f));
    }
    // Ties keep the earlier channel.
    const V mx = L::max(b, L::max(g, r));
    const V mn = L::min(b, L::min(g, r));
    const V delta = L::sub(mx, mn);
    const V sum = L::add(mx, mn);
    const V l = L::mul(sum, L::set(0.5f));
    // Integer inputs differ by at least one step, so they test for zero;
    // float inputs treat anything within the float epsilon as grey.
    const V grey = M::kStore == Store::Float ? L::not_gt(delta, L::set(1.1920929e-07f))
                                             : L::eq(delta, L::set(0.0f));
    const float full = kIntScale ? M::kFull : 1.0f;
    const V upper = L::gt(l, L::set(full * 0.5f));
    V s = L::div(delta, L::sel(upper, L::sub(L::set(2.0f * full), sum), sum));
    // Hue: R wins over G, G over B.
    const V isR = L::eq(r, mx);
    const V isG = L::eq(g, mx);
    const V num = L::sel(isR, L::sub(g, b), L::sel(isG, L::sub(b, r), L::sub(r, g)));
    const V q = L::div(L::mul(num, L::set(60.0f)), delta);
    V h = L::sel(isR, q, L::add(q, L::sel(isG, L::set(120.0f), L::set(240.0f))));
    h = L::sel(L::lt(h, L::set(0.0f)), L::add(h, L::set(360.0f)), h);
    const V zero = L::set(0.0f);
    h = L::sel(grey, zero, h);
    s = L::sel(grey, zero, s);

    V sh, sl, ss;
    if constexpr (M::kStore == Store::Float) {
        sh = L::div(h, L::set(360.0f));
        sl = l;
        ss = s;
    } else {
        sh = L::div(L::mul(h, L::set(M::kFull)), L::set(360.0f));
        sl = kIntScale ? l : L::mul(l, L::set(M::kFull));
        ss = L::mul(s, L::set(M::kFull));
    }
    put<M, L>(oh, sh);
    put<M, L>(ol, sl);
    put<M, L>(os, ss);
}

// Stored H, L, S (16s already shifted) to stored R, G, B before narrowing.
template <class M, class L>
inline void hls_to_rgb(const float* ph, const float* pl, const float* ps, Out<M>* orr, Out<M>* og,
                       Out<M>* ob) {
    using V = typename L::V;
    V h = L::load(ph), l = L::load(pl), s = L::load(ps);
    if constexpr (M::kStore == Store::Float) {
        h = L::mul(h, L::set(360.0f));
    } else {
        h = L::div(L::mul(h, L::set(360.0f)), L::set(M::kFull));
        l = L::div(l, L::set(M::kFull));
        s = L::div(s, L::set(M::kFull));
    }
    const V m2 = L::sel(L::gt(l, L::set(0.5f)), L::sub(L::add(l, s), L::mul(l, s)),
                        L::mul(l, L::add(L::set(1.0f), s)));
    const V m1 = L::sub(L::mul(L::set(2.0f), l), m2);
    const V dm = L::sub(m2, m1);
    const auto f = [&](V x) {
        // The two ramps share one division: x on the rising one, 240 - x on the falling one.
        const V rising = L::lt(x, L::set(60.0f));
        const V t = L::sel(rising, x, L::sub(L::set(240.0f), x));
        const V ramp = L::add(m1, L::div(L::mul(dm, t), L::set(60.0f)));
        return L::sel(rising, ramp,
                      L::sel(L::lt(x, L::set(180.0f)), m2, L::sel(L::lt(x, L::set(240.0f)), ramp, m1)));
    };
    // Exactly 360 is not reduced and lands on m1.
    V xr = L::add(h, L::set(120.0f));
    xr = L::sel(L::gt(xr, L::set(360.0f)), L::sub(xr, L::set(360.0f)), xr);
    V xb = L::sub(h, L::set(120.0f));
    xb = L::sel(L::lt(xb, L::set(0.0f)), L::add(xb, L::set(360.0f)), xb);
    // Saturation 0 is grey in every member, the planar one included: there the
    // formula alone would also give L (m1 = m2 = L), the select makes it explicit.
    const V grey = L::eq(s, L::set(0.0f));
    V r = L::sel(grey, l, f(xr));
    V g = L::sel(grey, l, f(h));
    V b = L::sel(grey, l, f(xb));
    if constexpr (M::kStore != Store::Float) {
        r = L::mul(r, L::set(M::kFull));
        g = L::mul(g, L::set(M::kFull));
        b = L::mul(b, L::set(M::kFull));
    }
    put<M, L>(orr, r);
    put<M, L>(og, g);
    put<M, L>(ob, b);
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
    for (int i = 0; i < n; i += Lane::N) {
        if constexpr (kToHls)
            rgb_to_hls<M, Lane>(in[0] + i, in[1] + i, in[2] + i, out[0] + i, out[1] + i, out[2] + i);
        else
            hls_to_rgb<M, Lane>(in[0] + i, in[1] + i, in[2] + i, out[0] + i, out[1] + i, out[2] + i);
    }
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
    if (pSrc == nullptr || pDst == nullptr) return ippStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return ippStsSizeErr;
    alignas(32) float in[3][kBlock] = {};
    alignas(32) Out<M> out[3][kBlock];
    for (int y = 0; y < roi.height; ++y) {
        const typename M::T* s = row_at(pSrc, srcStep, y);
        typename M::T* d = row_at(pDst, dstStep, y);
        for (int x0 = 0; x0 < roi.width; x0 += kBlock) {
            const int n = roi.width - x0 < kBlock ? roi.width - x0 : kBlock;
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
    }
    return ippStsNoErr;
}

// Planar: B, G, R planes on the colour side, H, L, S on the other.
template <bool kToHls>
IppStatus convert_p3(const Ipp8u* const pSrc[3], int srcStep, Ipp8u* const pDst[3], int dstStep,
                     IppiSize roi) {
    if (pSrc == nullptr || pDst == nullptr || pSrc[0] == nullptr || pSrc[1] == nullptr ||
        pSrc[2] == nullptr || pDst[0] == nullptr || pDst[1] == nullptr || pDst[2] == nullptr)
        return ippStsNullPtrErr;
    if (srcStep < 1 || dstStep < 1) return ippStsStepErr;
    if (roi.width < 1 || roi.height < 1) return ippStsSizeErr;
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

IppStatus ippiRGBToHLS_8u_C3R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize roiSize) {
    return convert_c3<M8u, true>(pSrc, srcStep, pDst, dstStep, roiSize);
}
IppStatus ippiRGBToHLS_16u_C3R(const Ipp16u* pSrc, int srcStep, Ipp16u* pDst, int dstStep,
                               IppiSize roiSize) {
    return convert_c3<M16u, true>(pSrc, srcStep, pDst, dstStep, roiSize);
}
IppStatus ippiRGBToHLS_16s_C3R(const Ipp16s* pSrc, int srcStep, Ipp16s* pDst, int dstStep,
                               IppiSize roiSize) {
    return convert_c3<M16s, true>(pSrc, srcStep, pDst, dstStep, roiSize);
}
IppStatus ippiRGBToHLS_32f_C3R(const Ipp32f* pSrc, int srcStep, Ipp32f* pDst, int dstStep,
                               IppiSize roiSize) {
    return convert_c3<M32f, true>(pSrc, srcStep, pDst, dstStep, roiSize);
}
IppStatus ippiHLSToRGB_8u_C3R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize roiSize) {
    return convert_c3<M8u, false>(pSrc, srcStep, pDst, dstStep, roiSize);
}
IppStatus ippiHLSToRGB_16u_C3R(const Ipp16u* pSrc, int srcStep, Ipp16u* pDst, int dstStep,
                               IppiSize roiSize) {
    return convert_c3<M16u, false>(pSrc, srcStep, pDst, dstStep, roiSize);
}
IppStatus ippiHLSToRGB_16s_C3R(const Ipp16s* pSrc, int srcStep, Ipp16s* pDst, int dstStep,
                               IppiSize roiSize) {
    return convert_c3<M16s, false>(pSrc, srcStep, pDst, dstStep, roiSize);
}
IppStatus ippiHLSToRGB_32f_C3R(const Ipp32f* pSrc, int srcStep, Ipp32f* pDst, int dstStep,
                               IppiSize roiSize) {
    return convert_c3<M32f, false>(pSrc, srcStep, pDst, dstStep, roiSize);
}
IppStatus ippiBGRToHLS_8u_P3R(const Ipp8u* const pSrc[3], int srcStep, Ipp8u* const pDst[3], int dstStep,
                              IppiSize roiSize) {
    return convert_p3<true>(pSrc, srcStep, pDst, dstStep, roiSize);
}
IppStatus ippiHLSToBGR_8u_P3R(const Ipp8u* const pSrc[3], int srcStep, Ipp8u* const pDst[3], int dstStep,
                              IppiSize roiSize) {
    return convert_p3<false>(pSrc, srcStep, pDst, dstStep, roiSize);
}

}  // namespace qm::QM_SET
