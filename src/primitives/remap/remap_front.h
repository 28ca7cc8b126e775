// Argument checks, region clipping and mode lowering of ippiRemap_8u_C1R /
// _C3R, compiled once; the per-set kernels take the finished job.
#pragma once
#include <cstddef>

#include "ippiQM300.h"

namespace qm::remap {

enum class Kernel { Nearest, Linear, Lagrange, CatmullRom, Lanczos };

struct Job {
    const Ipp8u* src;
    ptrdiff_t srcStep;
    const Ipp32f* xMap;
    ptrdiff_t xMapStep;
    const Ipp32f* yMap;
    ptrdiff_t yMapStep;
    Ipp8u* dst;
    ptrdiff_t dstStep;
    int W, H;
    float xMin, yMin, xMax, yMax;  // the source region, inclusive
    int lastX, lastY;              // last column and row of the image
    bool offsets32;                // every pixel offset from src fits an int
    Kernel kernel;
};

// The documented order: pointers, sizes, interpolation code, steps, region
// overlap.
IppStatus plan(const Ipp8u* pSrc, IppiSize srcSize, int srcStep, IppiRect roi, const Ipp32f* pxMap, int xMapStep,
               const Ipp32f* pyMap, int yMapStep, Ipp8u* pDst, int dstStep, IppiSize dstRoiSize, int interpolation,
               int channels, Job& job);

}  // namespace qm::remap
