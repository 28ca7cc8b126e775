// Resize engines of one implementation set, shared by the two entry points.
#pragma once
#include "frame/set.h"

namespace qm::QM_SET {

// Area averaging for reductions (interpolation 8, both factors at most 1).
template <int CH>
IppStatus resize_supersample(const Ipp8u* pSrc, IppiSize srcSize, int srcStep, IppiRect roi,
                             Ipp8u* pDst, int dstStep, IppiSize dstRoiSize, double xFactor,
                             double yFactor);

// The checks both engines make first, in their order; 0 when the call may
// go on. A factor is refused as "not above zero" so that NaN is refused too.
inline IppStatus check_engine_args(const Ipp8u* pSrc, IppiSize srcSize, IppiRect roi, const Ipp8u* pDst,
                                   IppiSize dstRoiSize, double xFactor, double yFactor) {
    if (pSrc == nullptr || pDst == nullptr) return ippStsNullPtrErr;
    if (srcSize.width < 1 || srcSize.height < 1 || roi.x < 0 || roi.y < 0 || roi.width < 1 || roi.height < 1)
        return ippStsSizeErr;
    if (roi.x >= srcSize.width || roi.y >= srcSize.height) return ippStsNoRoiOverlap;
    if (dstRoiSize.width < 1 || dstRoiSize.height < 1) return ippStsSizeErr;
    if (!(xFactor > 0.0) || !(yFactor > 0.0)) return ippStsResizeFactorErr;
    return ippStsNoErr;
}

// Destination extent along one axis: false when the result would be under
// half a pixel. The epsilon absorbs factors such as 1/3 that land a hair
// below a whole size.
inline bool resize_extent(int roiLen, double factor, int dstLen, int& out) {
    const double s = roiLen * factor + 1e-7;
    if (s >= dstLen) {
        out = dstLen;
        return true;
    }
    int n = static_cast<int>(s);
    if (n < 1) {
        if (s < 0.5) return false;
        n = 1;
    }
    out = n;
    return true;
}

}  // namespace qm::QM_SET
