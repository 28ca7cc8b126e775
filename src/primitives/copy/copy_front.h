// Checks and job set-up of the planar <-> interleaved copies, compiled once;
// the per-set kernels take the validated job.
#pragma once
#include <cstdint>

#include "ippiQM300.h"

namespace qm::copy {

// rows rows of rowLen pixels; contiguous images come as one long row.
struct Job {
    const Ipp8u* src[3];  // interleaved: src[0] only
    int srcStep;
    Ipp8u* dst[3];        // interleaved: dst[0] only
    int dstStep;
    int64_t rowLen;
    int rows;
};

IppStatus plan_split(const Ipp8u* pSrc, int srcStep, Ipp8u* const pDst[3], int dstStep, IppiSize roiSize, Job& job);
IppStatus plan_join(const Ipp8u* const pSrc[3], int srcStep, Ipp8u* pDst, int dstStep, IppiSize roiSize, Job& job);

}  // namespace qm::copy
