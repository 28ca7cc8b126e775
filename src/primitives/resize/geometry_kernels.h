// Small pieces shared by the resize and remap kernels of one implementation
// set. Everything here lives in qm::QM_SET so that no inline function is
// shared between sets compiled for different processors.
#pragma once
#include <cstddef>
#include <cstdint>
#include <limits>

#include <emmintrin.h>

#include "frame/set.h"
#include "primitives/resize/lanczos_table.h"

namespace qm::QM_SET {

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
// vector lanes do exactly what the scalar form does (max keeps 0 for NaN).
inline void round_sat_row(const float* a, const float* b, float s, Ipp8u* d, int n) {
    int e = 0;
    const __m128 zero = _mm_setzero_ps(), top = _mm_set1_ps(255.0f), half = _mm_set1_ps(0.5f),
                 vs = _mm_set1_ps(s);
    for (; e + 8 <= n; e += 8) {
        __m128 v0 = _mm_loadu_ps(a + e), v1 = _mm_loadu_ps(a + e + 4);
        if (b != nullptr) {
            v0 = _mm_mul_ps(_mm_mul_ps(v0, _mm_loadu_ps(b + e)), vs);
            v1 = _mm_mul_ps(_mm_mul_ps(v1, _mm_loadu_ps(b + e + 4)), vs);
        }
        v0 = _mm_add_ps(_mm_min_ps(_mm_max_ps(v0, zero), top), half);
        v1 = _mm_add_ps(_mm_min_ps(_mm_max_ps(v1, zero), top), half);
        const __m128i w = _mm_packs_epi32(_mm_cvttps_epi32(v0), _mm_cvttps_epi32(v1));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(d + e), _mm_packus_epi16(w, w));
    }
    for (; e < n; ++e) d[e] = round_sat(b != nullptr ? (a[e] * b[e]) * s : a[e]);
}

// Six Lanczos weights for the taps at distances -2-t .. 3-t, read from the
// sampled kernel with linear interpolation and normalised to a sum of one.
inline void lanczos6_weights(float t, float w[6]) {
    const float* table = lanczos3_table();
    float sum = 0.0f;
    for (int k = 0; k < 6; ++k) {
        const float d = static_cast<float>(k - 2) - t;
        const float a = d < 0.0f ? -d : d;
        if (!(a < 3.0f)) {
            w[k] = 0.0f;
        } else {
            const float x = a * 100.0f;
            int i = static_cast<int>(x);
            if (i > kLanczosSamples - 1) i = kLanczosSamples - 1;
            w[k] = table[i] + (table[i + 1] - table[i]) * (x - static_cast<float>(i));
        }
        sum = sum + w[k];
    }
    for (int k = 0; k < 6; ++k) w[k] = w[k] / sum;
}

// Per-call work blocks from the module's allocator; whatever was obtained is
// released when the owner goes out of scope, including after a failure.
class WorkBlocks {
public:
    WorkBlocks() = default;
    WorkBlocks(const WorkBlocks&) = delete;
    WorkBlocks& operator=(const WorkBlocks&) = delete;
    ~WorkBlocks() {
        for (int i = 0; i < count_; ++i) ippFree(blocks_[i]);
    }
    // Null when the block is too large for the allocator or allocation fails.
    template <class T>
    T* get(int64_t n) {
        const int64_t bytes = (n < 1 ? 1 : n) * static_cast<int64_t>(sizeof(T));
        if (bytes > std::numeric_limits<int>::max() - 64 || count_ == kMax) return nullptr;
        void* p = ippMalloc(static_cast<int>(bytes));
        if (p != nullptr) blocks_[count_++] = p;
        return static_cast<T*>(p);
    }

private:
    static constexpr int kMax = 16;
    void* blocks_[kMax] = {};
    int count_ = 0;
};

inline int clamp_index(int v, int lo, int hi) { return v < lo ? lo : v > hi ? hi : v; }

// Asks for the bytes at p + ahead, typically the same place in a source row
// that a later destination row will read: the row loops read a few rows at a
// time, and the hardware prefetcher alone leaves them waiting on memory.
// Prefetches do not fault, so the address may run past the image; it is
// formed as an integer for that reason.
inline void prefetch_ahead(const Ipp8u* p, ptrdiff_t ahead) {
    _mm_prefetch(reinterpret_cast<const char*>(reinterpret_cast<uintptr_t>(p) + ahead), _MM_HINT_T0);
}

}  // namespace qm::QM_SET
