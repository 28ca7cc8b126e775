// Plain reference convolutions: kernel flipped, window rows top to bottom and
// columns left to right, one value at a time. `win` is the top-left byte of
// the window of output (0, 0).
#pragma once
#include <cmath>
#include <cstdint>
#include <vector>

#include "ippiQM300.h"

namespace qmtest {

inline int ref_to_u8(float t) {
    if (t >= 255.0f) return 255;
    if (t <= 0.5f || std::isnan(t)) return 0;
    double v = std::trunc(double(t) + 0.5);
    if (v - double(t) == 0.5 && (int64_t(v) & 1)) v -= 1;
    return int(v);
}

inline std::vector<Ipp8u> ref_filter_float(const Ipp8u* win, int step, int ch, int w, int h, const float* k, int kw,
                                           int kh) {
    std::vector<Ipp8u> out;
    for (int y = 0; y < h; ++y)
        for (int e = 0; e < w * ch; ++e) {
            float s = 0.0f;
            for (int i = kh - 1; i >= 0; --i)
                for (int j = kw - 1; j >= 0; --j)
                    s = s + k[i * kw + j] * float(win[ptrdiff_t(y + kh - 1 - i) * step + e + (kw - 1 - j) * ch]);
            out.push_back(Ipp8u(ref_to_u8(s)));
        }
    return out;
}

inline std::vector<Ipp8u> ref_filter_int(const Ipp8u* win, int step, int ch, int w, int h, const Ipp32s* k, int kw,
                                         int kh, int divisor) {
    std::vector<Ipp8u> out;
    for (int y = 0; y < h; ++y)
        for (int e = 0; e < w * ch; ++e) {
            int64_t s64 = 0;
            for (int i = 0; i < kh; ++i)
                for (int j = 0; j < kw; ++j)
                    s64 += int64_t(k[i * kw + j]) * win[ptrdiff_t(y + kh - 1 - i) * step + e + (kw - 1 - j) * ch];
            const int32_t s = int32_t(uint32_t(s64));
            int v;
            if (divisor == 1) {
                v = s;
            } else if (divisor > 1 && (divisor & (divisor - 1)) == 0) {
                const double exact = double(s) / divisor;
                v = s <= 0 ? 0 : int(std::nearbyint(exact));  // half to even
            } else {
                v = ref_to_u8(float(s) * (1.0f / float(divisor)));
            }
            out.push_back(Ipp8u(v < 0 ? 0 : v > 255 ? 255 : v));
        }
    return out;
}

}  // namespace qmtest
