// The median filters, between their front (checks and the kernel a mask goes
// to; compiled once: median_front.cpp) and their kernels (per set:
// median_set.cpp). Plain data.
#pragma once
#include "ippiQM300.h"

namespace qm::median {

enum class Shape {
    copy,               // 1 x 1
    square3, square5,   // 3 x 3, 5 x 5
    row3, row5,         // 3 x 1, 5 x 1
    column3, column5,   // 1 x 3, 1 x 5
    general,            // any other odd mask
    vector3, vector5,   // the vector median of colour pixels, 3 x 3 or 5 x 5
};

struct Job {
    Shape shape;
    // The source pixel under the mask centre for destination (0, 0); the
    // neighbourhood's top-left for the general and vector kernels.
    const Ipp8u* src;
    int srcStep;
    Ipp8u* dst;
    int dstStep;
    IppiSize roi;
    IppiSize mask;
    int ch;
};

IppStatus plan(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize roi, IppiSize mask,
                  IppiPoint anchor, int ch, Job& job);
IppStatus plan_color(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize roi, int maskCode,
                        Job& job);

}  // namespace qm::median
