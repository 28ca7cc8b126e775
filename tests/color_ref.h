// Plain references for the colour conversions and the bilateral filter,
// shared by the primitive tests and the noise-reduction tests.
#pragma once
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>

#include "ippiQM300.h"

namespace qmref {

using Px = std::array<int, 3>;

inline int clamp_range(int v) { return v < 0 ? 0 : v > 255 ? 255 : v; }

inline Px ref_rgb_to_yuv(int r, int g, int b) {
    const int s = 19595 * r + 38470 * g + 7471 * b;
    const int dr = (r * 65536 - s + 32767) >> 16;
    const int db = (b * 65536 - s + 32767) >> 16;
    const int v = (dr * 57475) >> 16;
    return {s >> 16, (((db * 32244) >> 16) + 128) & 255, v < -128 ? 0 : v > 127 ? 255 : v + 128};
}

inline Px ref_yuv_to_rgb(int y, int u, int v, bool planar) {
    const int k = planar ? 1 : 0;
    u -= 128;
    v -= 128;
    return {clamp_range((y * 65536 + (74711 - k) * v) >> 16),
            clamp_range((y * 65536 - (25821 - k) * u - (38076 - k) * v) >> 16),
            clamp_range((y * 65536 + (133169 - k) * u) >> 16)};
}

// The weights as the tables must hold them: squared distance in float times
// -0.5 / sigma^2 in float, exp in double rounded to float.
inline float gauss(int d, float sq) { return static_cast<float>(std::exp(static_cast<double>(float(d * d) * (-0.5f / sq)))); }

struct RefTables {
    int L, rx, ry, step;
    float value[256], position[256];
};

inline RefTables ref_tables(IppiSize k, float valSq, float posSq, int step) {
    RefTables t{};
    t.L = std::min(int(std::sqrt(double(valSq) * 1.42 * (std::log(double(k.width) * k.height) + 6.3))) + 1, 256);
    t.rx = ((k.width - 1) / 2) / step * step;
    t.ry = ((k.height - 1) / 2) / step * step;
    t.step = step;
    const int R = std::max(t.rx, t.ry);
    for (int d = 0; d < 256; ++d) t.value[d] = d < t.L ? gauss(d, valSq) : 0.0f;
    for (int r = 0; r <= R; ++r) t.position[r] = (r < t.L && r % step == 0) ? gauss(r, posSq) : 0.0f;
    return t;
}

inline void ref_filter(const Ipp8u* src, int srcStep, Ipp8u* dst, int dstStep, IppiSize roi, IppiSize k, const RefTables& t) {
    const int rx = (k.width / 2) / t.step * t.step, ry = (k.height / 2) / t.step * t.step;
    for (int y = 0; y < roi.height; ++y)
        for (int x = 0; x < roi.width; ++x) {
            const Ipp8u* s = src + y * srcStep + x;
            float W = 0, V = 0;
            for (int dy = -ry; dy <= ry; dy += t.step)
                for (int dx = -rx; dx <= rx; dx += t.step) {
                    const int v = s[dy * srcStep + dx];
                    const float w = t.position[std::max(std::abs(dx), std::abs(dy))] * t.value[std::abs(v - *s)];
                    W += w;
                    V += float(v) * w;
                }
            dst[y * dstStep + x] = Ipp8u(int(V / W + 0.5f));
        }
}

}  // namespace qmref
