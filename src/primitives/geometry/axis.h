// Axis pieces shared by the resize and remap kernels of one implementation
// set: source positions, clamped taps, and the float-to-byte rounding. Kept
// in qm::QM_SET so that no inline function is shared between sets compiled
// for different processors.
#pragma once
#include <cstddef>
#include <cstdint>

#include "frame/set.h"
#include "primitives/simd/lanes.h"

namespace qm::QM_SET {

inline int clamp_index(int v, int lo, int hi) { return v < lo ? lo : v > hi ? hi : v; }

// Corner-aligned mapping: the first and last destination pixels fall on the
// first and last source pixels of the region.
struct AxisMap {
    double step;
    AxisMap(int roiLen, double factor) {
        const double s = roiLen * factor;
        step = s > 1.0 ? (roiLen - 1) / (s - 1.0) : 0.0;
    }
    void at(int i, int& index, double& frac) const {
        const double c = static_cast<double>(i) * step;
        index = static_cast<int>(c + 1e-7);
        frac = c - index;
    }
};

// Tap positions of one axis: NT source indices per destination index starting
// at index + first, kept inside the image (not just the region: the pixels
// around the region are real image content and are what the edge taps
// should see).
template <int NT>
void fill_taps(int* taps, int n, const AxisMap& map, int origin, int first, int last, int scale, float* fracs) {
    for (int i = 0; i < n; ++i) {
        int index;
        double frac;
        map.at(i, index, frac);
        for (int k = 0; k < NT; ++k) taps[i * NT + k] = clamp_index(origin + index + first + k, 0, last) * scale;
        fracs[i] = static_cast<float>(frac);
    }
}

// Neighbourhood of NT taps from `first`: direct inside the image, clamped to
// it per tap otherwise (the edge pixel repeats). True when direct.
template <int NT>
bool clamped_taps(int first, int last, int* out) {
    if (first >= 0 && first + NT - 1 <= last) {
        for (int k = 0; k < NT; ++k) out[k] = first + k;
        return true;
    }
    for (int k = 0; k < NT; ++k) out[k] = clamp_index(first + k, 0, last);
    return false;
}

// Float sample to 8 bits: round to nearest, saturate. Rounding rather than
// truncating keeps flat areas at their level; saturation absorbs the
// overshoot of the cubic and Lanczos lobes at sharp edges.
// Written as two selects so that the loops around it vectorise.
inline Ipp8u round_sat(float v) {
    float c = v > 0.0f ? v : 0.0f;
    c = c < 255.0f ? c : 255.0f;
    return static_cast<Ipp8u>(static_cast<int>(c + 0.5f));
}

// round_sat over a row of (a[e] * b[e]) * s, or of a[e] when b is null; the
// lanes do exactly what the scalar form does (max keeps 0 for NaN).
inline void round_sat_row(const float* a, const float* b, float s, Ipp8u* d, int n) {
    using namespace lanes;
    int e = 0;
    const F32x4 floor0 = zero<F32x4>(), top = all<F32x4>(255.0f), half = all<F32x4>(0.5f), vs = all<F32x4>(s);
    for (; e + 8 <= n; e += 8) {
        F32x4 v0 = load<F32x4>(a + e), v1 = load<F32x4>(a + e + 4);
        if (b != nullptr) {
            v0 = mul(mul(v0, load<F32x4>(b + e)), vs);
            v1 = mul(mul(v1, load<F32x4>(b + e + 4)), vs);
        }
        v0 = add(min(max(v0, floor0), top), half);
        v1 = add(min(max(v1, floor0), top), half);
        const I16x8 w = pack_i16(truncate(v0), truncate(v1));
        store_low8(d + e, pack_u8(w, w));
    }
    for (; e < n; ++e) d[e] = round_sat(b != nullptr ? (a[e] * b[e]) * s : a[e]);
}

}  // namespace qm::QM_SET
