// Colour scratch images of the scanner filters.
#pragma once
#include <cstdint>

#include "frame/frame.h"

namespace qm {

// A width x height colour scratch image from ippiMalloc_8u_C3 (through its
// slot). That allocator sizes the block as a 32-bit product, which wraps for
// pages beyond 2 GB; such a page gets no scratch at all, exactly as when
// memory runs out, instead of a wrapped block too small for its planes.
inline Ipp8u* scratch_image(int width, int height, int* step) {
    const int64_t rowStep = (3 * int64_t{width} + 31) & ~int64_t{31};
    if (width > 0 && height > 0 && rowStep > INT32_MAX / height) {
        *step = static_cast<int>(rowStep);
        return nullptr;
    }
    return QM_VIA_SLOT(ippiMalloc_8u_C3)(width, height, step);
}

// 3 x width as the packed row step, formed in wrapping 32-bit arithmetic as
// the callers' own int arithmetic would: an absurd width gives a step the
// primitives refuse instead of a signed overflow.
inline int colour_step(int width) { return static_cast<int>(3u * static_cast<uint32_t>(width)); }

}  // namespace qm
