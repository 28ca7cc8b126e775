// The fixed-kernel linear filters, between their front (argument checks and
// job set-up, compiled once: filter_front.cpp) and their kernels (compiled
// per implementation set: filter_set.cpp). Plain data only: anything with
// code here would be compiled under every set's flags and merged by the linker.
#pragma once
#include <cstddef>

#include "ippiQM300.h"

namespace qm::linear {

struct Geometry {
    const Ipp8u* src;  // top-left byte of the window of output (0, 0)
    ptrdiff_t srcStep;
    Ipp8u* dst;
    ptrdiff_t dstStep;
    int width, height;  // output pixels
    int kw, kh, ch;
};

// The three divisor rules of the integer kernels, chosen once per call.
struct DivideRule {
    enum Rule { One, Shift, Reciprocal } rule;
    int k;        // Shift: divisor = 2^k
    float recip;  // Reciprocal: single-precision 1 / divisor
};

struct IntJob {
    Geometry g;
    const Ipp32s* kernel;
    DivideRule divide;
};

struct FloatJob {
    Geometry g;
    const Ipp32f* kernel;
};

// The checks in their documented order; on ippStsNoErr the job is set.
IppStatus plan(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize roi, const Ipp32s* pKernel,
                  IppiSize kernelSize, IppiPoint anchor, int divisor, int ch, IntJob& job);
IppStatus plan(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize roi, const Ipp32f* pKernel,
                  IppiSize kernelSize, IppiPoint anchor, int ch, FloatJob& job);

}  // namespace qm::linear
