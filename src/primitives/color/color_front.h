// Argument checks of the colour conversions (HLS, YUV), compiled once, in
// the order each entry point documents; the per-set kernels only convert.
#pragma once
#include "ippiQM300.h"

namespace qm::color {

// Interleaved forms: pointers, then the size.
IppStatus check_interleaved(const void* pSrc, const void* pDst, IppiSize roi);

// Planar HLS: the arrays and every plane, then the steps, then the size.
IppStatus check_planar_hls(const Ipp8u* const pSrc[3], int srcStep, Ipp8u* const pDst[3], int dstStep,
                           IppiSize roi);

// Planar YUV: the image and the plane array, the size, then the planes.
IppStatus check_planar_yuv(const void* image, const Ipp8u* const* planes, IppiSize roi);

}  // namespace qm::color
