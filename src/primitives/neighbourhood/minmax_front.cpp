// Front of the minimum and maximum filters.
#include "primitives/neighbourhood/minmax_front.h"

namespace qm::minmax {

// Size before step, as the median and Gauss filters (the box filter differs).
IppStatus plan(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize roi, IppiSize mask,
                  IppiPoint anchor, Job& job) {
    if (pSrc == nullptr || pDst == nullptr) return ippStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return ippStsSizeErr;
    if (srcStep < 1 || dstStep < 1) return ippStsStepErr;
    if (mask.width < 1 || mask.height < 1) return ippStsMaskSizeErr;
    if (anchor.x < 0 || anchor.x >= mask.width || anchor.y < 0 || anchor.y >= mask.height) return ippStsAnchorErr;
    job = {pSrc - static_cast<ptrdiff_t>(anchor.y) * srcStep - anchor.x, srcStep, pDst, dstStep,
           roi.width, roi.height, mask.width, mask.height};
    return ippStsNoErr;
}

}  // namespace qm::minmax
