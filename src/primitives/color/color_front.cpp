#include "primitives/color/color_front.h"

namespace qm::color {

IppStatus check_interleaved(const void* pSrc, const void* pDst, IppiSize roi) {
    if (pSrc == nullptr || pDst == nullptr) return ippStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return ippStsSizeErr;
    return ippStsNoErr;
}

IppStatus check_planar_hls(const Ipp8u* const pSrc[3], int srcStep, Ipp8u* const pDst[3], int dstStep,
                           IppiSize roi) {
    if (pSrc == nullptr || pDst == nullptr || pSrc[0] == nullptr || pSrc[1] == nullptr || pSrc[2] == nullptr ||
        pDst[0] == nullptr || pDst[1] == nullptr || pDst[2] == nullptr)
        return ippStsNullPtrErr;
    if (srcStep < 1 || dstStep < 1) return ippStsStepErr;
    if (roi.width < 1 || roi.height < 1) return ippStsSizeErr;
    return ippStsNoErr;
}

IppStatus check_planar_yuv(const void* image, const Ipp8u* const* planes, IppiSize roi) {
    if (image == nullptr || planes == nullptr) return ippStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return ippStsSizeErr;
    if (planes[0] == nullptr || planes[1] == nullptr || planes[2] == nullptr) return ippStsNullPtrErr;
    return ippStsNoErr;
}

}  // namespace qm::color
