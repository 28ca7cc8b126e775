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

// Row `row` of a packed image of `rowBytes` per row, or null for a missing
// image (so that the primitive refuses it as it would the image itself).
template <class P>
P row_of(P image, ptrdiff_t row, ptrdiff_t rowBytes) {
    return image == nullptr ? nullptr : image + row * rowBytes;
}

// A colour scratch image used as three planes of row step width; plane p
// starts `stride` bytes after plane p - 1.
struct PlaneScratch {
    Ipp8u* base = nullptr;
    ptrdiff_t stride = 0;
    int width = 0;
    Ipp8u* at(int p, ptrdiff_t row) const { return base + p * stride + row * width; }
};

// Page rows [y0, y1) of a packed colour page into the planes at scratch row
// `row`, and back.
inline void split_rows(const Ipp8u* src, const PlaneScratch& s, int y0, int y1, ptrdiff_t row) {
    Ipp8u* const planes[3] = {s.at(0, row), s.at(1, row), s.at(2, row)};
    QM_VIA_SLOT(ippiCopy_8u_C3P3R)(row_of(src, y0, colour_step(s.width)), colour_step(s.width), planes, s.width,
                                   IppiSize{s.width, y1 - y0});
}

inline void join_rows(const PlaneScratch& s, ptrdiff_t row, Ipp8u* dst, int y0, int y1) {
    const Ipp8u* const planes[3] = {s.at(0, row), s.at(1, row), s.at(2, row)};
    QM_VIA_SLOT(ippiCopy_8u_P3C3R)(planes, s.width, row_of(dst, y0, colour_step(s.width)), colour_step(s.width),
                                   IppiSize{s.width, y1 - y0});
}

}  // namespace qm
