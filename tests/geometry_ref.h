// Pieces of the plain resize and remap references.
#pragma once
#include <cmath>

#include "ippiQM300.h"
#include "primitives/geometry/lanczos_table.h"

namespace qmref {

inline Ipp8u sat(float v) { return v <= 0 ? 0 : v >= 255 ? 255 : static_cast<Ipp8u>(static_cast<int>(v + 0.5f)); }

// The six Lanczos-3 weights of taps -2..3 at fraction t, interpolated from
// the table at 1/100 steps and normalised to sum one.
inline void lanczos_weights(float t, float w[6]) {
    const float* tab = qm::lanczos3_table();
    float sum = 0;
    for (int k = 0; k < 6; ++k) {
        const float d = std::fabs(static_cast<float>(k - 2) - t);
        const int i = static_cast<int>(d * 100);
        w[k] = d >= 3 ? 0.0f : tab[i] + (tab[i + 1] - tab[i]) * (d * 100 - i);
        sum += w[k];
    }
    for (int k = 0; k < 6; ++k) w[k] /= sum;
}

}  // namespace qmref
