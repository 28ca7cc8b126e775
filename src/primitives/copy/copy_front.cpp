#include "primitives/copy/copy_front.h"

namespace qm::copy {

IppStatus plan_split(const Ipp8u* pSrc, int srcStep, Ipp8u* const pDst[3], int dstStep, IppiSize roiSize, Job& job) {
    if (pSrc == nullptr || pDst == nullptr || pDst[0] == nullptr || pDst[1] == nullptr || pDst[2] == nullptr)
        return ippStsNullPtrErr;
    if (roiSize.width < 1 || roiSize.height < 1) return ippStsSizeErr;
    job = Job{{pSrc, nullptr, nullptr}, srcStep, {pDst[0], pDst[1], pDst[2]}, dstStep, roiSize.width, roiSize.height};
    // The contiguity test takes the 32-bit product as the copy always has.
    const int span = static_cast<int>(static_cast<uint32_t>(roiSize.height) * static_cast<uint32_t>(srcStep));
    if (int64_t{srcStep} == 3 * int64_t{dstStep} && dstStep == roiSize.width && span < 160000) {
        job.rowLen = int64_t{roiSize.width} * roiSize.height;
        job.rows = 1;
    }
    return ippStsNoErr;
}

IppStatus plan_join(const Ipp8u* const pSrc[3], int srcStep, Ipp8u* pDst, int dstStep, IppiSize roiSize, Job& job) {
    if (pSrc == nullptr || pDst == nullptr || pSrc[0] == nullptr || pSrc[1] == nullptr || pSrc[2] == nullptr)
        return ippStsNullPtrErr;
    if (roiSize.width < 1 || roiSize.height < 1) return ippStsSizeErr;
    job = Job{{pSrc[0], pSrc[1], pSrc[2]}, srcStep, {pDst, nullptr, nullptr}, dstStep, roiSize.width, roiSize.height};
    // Unlike the split, the join merges contiguous rows at any size.
    if (int64_t{dstStep} == 3 * int64_t{srcStep} && srcStep == roiSize.width) {
        job.rowLen = int64_t{roiSize.width} * roiSize.height;
        job.rows = 1;
    }
    return ippStsNoErr;
}

}  // namespace qm::copy
