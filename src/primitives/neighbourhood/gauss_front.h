// The Gauss filters, between their front (checks, mask, row-buffer size;
// compiled once: gauss_front.cpp) and their kernels (per set: gauss_set.cpp).
// Plain data.
#pragma once
#include <cstddef>

#include "ippiQM300.h"

namespace qm::gauss {

struct Job {
    const Ipp8u* src;  // first region pixel
    ptrdiff_t srcStep;
    Ipp8u* dst;
    ptrdiff_t dstStep;
    IppiSize roi;
    int ch;
    int side;         // 3 or 5
    int bufferBytes;  // row buffers, sized for 32-bit values
};

IppStatus plan(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize roi, int maskCode, int ch,
                  Job& job);

}  // namespace qm::gauss
