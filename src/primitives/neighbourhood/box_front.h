// The box filters, between their front (checks, path choice, divisor; compiled
// once: box_front.cpp) and their kernels (per set: box_set.cpp). Plain data.
#pragma once
#include <cstddef>
#include <cstdint>

#include "ippiQM300.h"

namespace qm::box {

// Output = (k * S + r) >> sh in unsigned 32-bit arithmetic.
struct IntDivisor {
    uint32_t k, r;
    int sh;
};

struct Geometry {
    const Ipp8u* top;  // top-left of the first destination pixel's neighbourhood
    ptrdiff_t step;
    int width, height, mw, mh, ch;
};

enum class Form {
    direct,       // source to destination
    via_copy,     // in place, mask at least as high as the region: from a private copy
    row_delayed,  // in place: result rows wait in a ring until their source rows are used up
};

struct Job {
    Form form;
    bool floating;      // float sums (areas above 8100); else the integer divisor
    IntDivisor divisor;
    float inverse;      // floating: 1 / area
    Geometry g;         // the neighbourhood in the source (in place: in the image)
    Ipp8u* dst;         // in place: the image
    int dstStep;
    IppiPoint anchor;
};

IppStatus plan(const Ipp8u* src, int srcStep, Ipp8u* dst, int dstStep, IppiSize roi, IppiSize mask,
                  IppiPoint anchor, int ch, Job& job);
IppStatus plan_in_place(Ipp8u* img, int step, IppiSize roi, IppiSize mask, IppiPoint anchor, int ch, Job& job);

}  // namespace qm::box
