// Direct, one-value-at-a-time forms of the filters' arithmetic, written from
// their rounding rules; the harnesses compare legal calls against them.
#pragma once
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "ippiQM300.h"

namespace qmfuzz::ref {

// Float to byte: saturate, then round half to even (NaN gives 0).
inline Ipp8u to_u8(float t) {
    if (t >= 255.0f) return 255;
    if (!(t > 0.5f)) return 0;
    double v = std::trunc(double(t) + 0.5);
    if (v - double(t) == 0.5 && (int64_t(v) & 1)) v -= 1.0;
    return Ipp8u(v);
}

inline Ipp8u clamp_u8(int64_t v) { return Ipp8u(v < 0 ? 0 : v > 255 ? 255 : v); }

// An integer kernel's wrapped 32-bit sum divided by the divisor's rule.
inline Ipp8u divide(int32_t s, int divisor) {
    if (divisor == 1) return clamp_u8(s);
    if (divisor > 1 && (divisor & (divisor - 1)) == 0) {
        if (s <= 0) return 0;
        int k = 0;
        while ((1 << k) != divisor) ++k;
        const int64_t q = s >> k, rem = s & ((int64_t{1} << k) - 1), half = int64_t{1} << (k - 1);
        return clamp_u8(q + ((rem > half || (rem == half && (q & 1))) ? 1 : 0));
    }
    const float recip = 1.0f / float(divisor);
    const float t = float(s) * recip;
    return to_u8(t);
}

// The (n >> 1) + 1-th smallest of n values.
inline int median(std::vector<int>& v) {
    std::nth_element(v.begin(), v.begin() + v.size() / 2, v.end());
    return v[v.size() / 2];
}

// Gauss weights, row-major, and their rounding.
inline constexpr int kGauss3[9] = {1, 2, 1, 2, 4, 2, 1, 2, 1};
inline constexpr int kGauss5[25] = {2,  7,  12, 7,  2,  7,  31, 52, 31, 7,  12, 52, 127,
                                    52, 12, 7,  31, 52, 31, 7,  2,  7,  12, 7,  2};
inline Ipp8u gauss3_round(uint32_t s) { return Ipp8u((s + 7 + ((s >> 4) & 1)) >> 4); }
inline Ipp8u gauss5_round(uint32_t s) { return Ipp8u(((s + 286u) * 29382u) >> 24); }

// Index of the vector median among n colour pixels (3 bytes each, in
// candidate order): smallest total L1 distance, the earliest on a tie.
inline int vector_median(const std::vector<const Ipp8u*>& px) {
    const int n = int(px.size());
    int best = 0;
    int64_t bestTotal = -1;
    for (int i = 0; i < n; ++i) {
        int64_t total = 0;
        for (int j = 0; j < n; ++j)
            for (int c = 0; c < 3; ++c) total += std::abs(int(px[i][c]) - int(px[j][c]));
        if (bestTotal < 0 || total < bestTotal) best = i, bestTotal = total;
    }
    return best;
}

// Box filter: which rounding a mask takes, and the byte for a sum.
enum class BoxRule { general, fixed3, fixed5, fixed7, floating };

inline BoxRule box_rule(int ch, int mw, int mh, bool inPlace) {
    if (int64_t{mw} * mh > 8100) return BoxRule::floating;
    if (inPlace) return BoxRule::general;
    if (ch == 1 && mw == 7 && mh == 7) return BoxRule::fixed7;
    if (ch == 3 && mw == 3 && mh == 3) return BoxRule::fixed3;
    if (mw == 5 && mh == 5) return BoxRule::fixed5;
    return BoxRule::general;
}

inline Ipp8u box_value(BoxRule rule, uint32_t s, int mw, int mh) {
    const int64_t a = int64_t{mw} * mh;
    uint32_t v = 0;
    switch (rule) {
        case BoxRule::fixed3: v = (29128u * s) >> 18; break;
        case BoxRule::fixed5: v = (20971u * s + 262144u) >> 19; break;
        case BoxRule::fixed7: v = (5350u * s + 131072u) >> 18; break;
        case BoxRule::floating: {
            const float inv = 1.0f / float(a);
            const float t = float(s) * inv;
            v = uint32_t(t + 0.000009f);
            break;
        }
        case BoxRule::general:
            if (mw + mh == 3) {
                v = (4096u * s) >> 13;
            } else {
                const float r = 1.0f / float(a);
                if (r == 1.0f) {
                    v = (256u * s) >> 8;
                } else {
                    uint32_t u = uint32_t(r * 4294967296.0f);
                    int n = 0;
                    while ((u & 0x80000000u) == 0 && n < 24) u <<= 1, ++n;
                    v = (((u >> 20) + 1) * s) >> (n + 12);
                }
            }
            break;
    }
    return Ipp8u(v > 255 ? 255 : v);
}

// 16.16 fixed point of a weight whose product with 65536 fits 32 bits.
inline bool fixed_in_range(float w) {
    const float p = w * 65536.0f;
    return p >= -2147483648.0f && p < 2147483648.0f;
}
inline Ipp32s fixed(float w) { return Ipp32s(w * 65536.0f); }

}  // namespace qmfuzz::ref
