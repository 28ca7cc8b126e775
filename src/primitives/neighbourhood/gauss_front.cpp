// Front of the Gauss filters.
#include <climits>
#include <cstdint>

#include "primitives/neighbourhood/gauss_front.h"

namespace qm::gauss {

IppStatus plan(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize roi, int maskCode, int ch,
                  Job& job) {
    if (pSrc == nullptr || pDst == nullptr) return ippStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return ippStsSizeErr;
    if (srcStep < 1 || dstStep < 1) return ippStsStepErr;
    if (maskCode != ippMskSize3x3 && maskCode != ippMskSize5x5) return ippStsMaskSizeErr;
    const int side = maskCode == ippMskSize3x3 ? 3 : 5;
    const int rows = side == 3 ? 3 : 12;
    // A buffer beyond the allocator's 32-bit length is reported like any
    // failed allocation rather than wrapped.
    const int64_t bytes = int64_t{rows} * roi.width * ch * 4;
    if (bytes > INT_MAX) return ippStsMemAllocErr;
    job = {pSrc, srcStep, pDst, dstStep, roi, ch, side, static_cast<int>(bytes)};
    return ippStsNoErr;
}

}  // namespace qm::gauss
