// The four level-indexed kernel tables and the lookups the scanner filters share.
#pragma once
#include <cstddef>
#include <cstdint>

#include "ippiQM300.h"

namespace qm {

extern const float kDeosKernelsR2[7 * 3 * 25];
extern const float kDeosKernelsR3[7 * 3 * 49];
extern const float kDeosKernelsR4[7 * 3 * 81];
extern const float kDeosKernelsR7[7 * 3 * 225];

struct DeosTable {
    const float* data;
    int radius;  // of the table, which need not be the radius asked for
    int side() const { return 2 * radius + 1; }
    int kernel_floats() const { return side() * side(); }
    // The first of the level's three channel kernels.
    const float* level(int kernelLevel) const {
        return data + static_cast<ptrdiff_t>(kernelLevel) * 3 * kernel_floats();
    }
};

// Radius 3, 4 and 7 have their own tables; every other radius uses radius 2.
DeosTable deos_table(Ipp32u radius);

// Caller's level value -> kernel level 0..6: small values are levels, values
// from 15 on count in steps of 5.
int deos_kernel_level(int level);

// 16.16 fixed point of one weight: the single-precision product, truncated.
Ipp32s deos_fixed(float w);

}  // namespace qm
