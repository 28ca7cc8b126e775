// Argument checks, region clipping and mode lowering of ippiResize_8u_C1R /
// _C3R, compiled once; the per-set engines take the finished job.
#pragma once
#include <cstddef>

#include "ippiQM300.h"

namespace qm::resize {

enum class Engine { Nearest, Linear, Cubic, Lanczos, Supersample };

struct Job {
    const Ipp8u* src;  // first byte of the whole source image
    ptrdiff_t srcStep;
    int srcW, srcH;
    int roiX, roiY, roiW, roiH;  // already clipped to the image
    Ipp8u* dst;
    ptrdiff_t dstStep;
    int W, H;  // pixels actually written
    double xf, yf;
    Engine engine;
};

// The documented order: pointers, sizes, region overlap, destination size,
// factors, interpolation code, then the extent of the result.
IppStatus plan(const Ipp8u* pSrc, IppiSize srcSize, int srcStep, IppiRect roi, Ipp8u* pDst, int dstStep,
               IppiSize dstRoiSize, double xFactor, double yFactor, int interpolation, Job& job);

}  // namespace qm::resize
