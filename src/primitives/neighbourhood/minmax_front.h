// The minimum and maximum filters, between their front (checks; compiled once:
// minmax_front.cpp) and their kernels (per set: minmax_set.cpp). Plain data.
#pragma once
#include <cstddef>

#include "ippiQM300.h"

namespace qm::minmax {

struct Job {
    const Ipp8u* top;  // top-left of the first destination pixel's neighbourhood
    ptrdiff_t srcStep;
    Ipp8u* dst;
    ptrdiff_t dstStep;
    int width, height, mw, mh;  // a 1 x 1 mask copies the region
};

IppStatus plan(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize roi, IppiSize mask,
                  IppiPoint anchor, Job& job);

}  // namespace qm::minmax
