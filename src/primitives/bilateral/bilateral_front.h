// Argument checks and tap set-up of ippiFilterBilateral_8u_C1R, compiled
// once; the per-set kernels take the finished job.
#pragma once
#include <cstddef>

#include "ippiQM300.h"

namespace qm::bilateral {

struct Job {
    const Ipp8u* src;
    ptrdiff_t srcStep;
    Ipp8u* dst;
    ptrdiff_t dstStep;
    IppiSize roi;
    const float* weight;  // position weights in tap order
    const float* value;   // value table centre
    int rx, ry, step;
};

// Pointers, size, steps, kernel size, the record, the kernel against the
// record; then the position weights of the taps, written into the record.
IppStatus plan(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize dstRoiSize, IppiSize kernelSize,
               Ipp8u* pBuffer, Job& job);

}  // namespace qm::bilateral
