// Small pieces shared by the resize and remap kernels of one implementation
// set. Everything here lives in qm::QM_SET so that no inline function is
// shared between sets compiled for different processors.
#pragma once
#include <cstddef>
#include <cstdint>
#include <limits>

#include "frame/set.h"
#include "primitives/resize/lanczos_table.h"

namespace qm::QM_SET {

// Float sample to 8 bits: round to nearest, saturate. Rounding rather than
// truncating keeps flat areas at their level; saturation absorbs the
// overshoot of the cubic and Lanczos lobes at sharp edges.
inline Ipp8u round_sat(float v) {
    if (!(v > 0.0f)) return 0;
    if (v >= 255.0f) return 255;
    return static_cast<Ipp8u>(static_cast<int>(v + 0.5f));
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

}  // namespace qm::QM_SET
