// Interpolation weights shared by resize and remap: the scalar form and its
// lane twin side by side, each lane doing exactly the scalar operations.
#pragma once
#include "frame/set.h"
#include "primitives/geometry/lanczos_table.h"
#include "primitives/simd/pixels.h"

namespace qm::QM_SET {

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

// The same per lane, table reads per lane.
QM_LANES_INLINE void lanczos6_weights(lanes::VF t, lanes::VF w[6]) {
    using namespace lanes;
    const float* table = lanczos3_table();
    const VI last = all<VI>(kLanczosSamples - 1);
    VF sum = all<VF>(0.0f);
    for (int k = 0; k < 6; ++k) {
        const VF d = sub(all<VF>(static_cast<float>(k - 2)), t);
        const VF a = select(lt(d, all<VF>(0.0f)), sub(all<VF>(-0.0f), d), d);
        const VF x = mul(a, all<VF>(100.0f));
        // Lanes at 3 or beyond weigh 0; their index is only kept in the table.
        VI i = truncate(x);
        i = select(gt(i, last), last, i);
        i = select(lt(i, all<VI>(0)), all<VI>(0), i);
        alignas(32) int idx[kLanes], next[kLanes];
        store(idx, i);
        store(next, add(i, all<VI>(1)));
        const VF t0 = gather(table, idx), t1 = gather(table, next);
        w[k] = bit_and(lt(a, all<VF>(3.0f)), add(t0, mul(sub(t1, t0), sub(x, to_float(i)))));
        sum = add(sum, w[k]);
    }
    for (int k = 0; k < 6; ++k) w[k] = div(w[k], sum);
}

}  // namespace qm::QM_SET
