#include "primitives/bilateral/bilateral_front.h"

#include <algorithm>

#include "primitives/bilateral/bilateral_record.h"

namespace qm::bilateral {

IppStatus plan(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize dstRoiSize, IppiSize kernelSize,
               Ipp8u* pBuffer, Job& job) {
    if (pSrc == nullptr || pDst == nullptr || pBuffer == nullptr) return ippStsNullPtrErr;
    if (dstRoiSize.width < 1 || dstRoiSize.height < 1) return ippStsSizeErr;
    if (srcStep < 1 || dstStep < 1) return ippStsStepErr;
    if (kernelSize.width < 1 || kernelSize.height < 1) return ippStsMaskSizeErr;
    const BilateralRecord* rec = bilateral_record(pBuffer);
    if (rec == nullptr) return ippStsContextMatchErr;
    // width >> 1 here against (width - 1) >> 1 in the set-up: an even kernel
    // given to both is refused, as it always has been.
    const int step = rec->step;
    const int rx = (kernelSize.width >> 1) / step * step;
    const int ry = (kernelSize.height >> 1) / step * step;
    if (rx > rec->radiusX || ry > rec->radiusY) return ippStsMaskSizeErr;

    float* work = rec->work;
    int n = 0;
    for (int dy = -ry; dy <= ry; dy += step)
        for (int dx = -rx; dx <= rx; dx += step) {
            const int r = std::max(dx < 0 ? -dx : dx, dy < 0 ? -dy : dy);
            work[n++] = rec->position[r];
        }
    job = Job{pSrc, srcStep, pDst, dstStep, dstRoiSize, work, rec->value, rx, ry, step};
    return ippStsNoErr;
}

}  // namespace qm::bilateral
