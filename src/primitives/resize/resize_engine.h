// Resize engines of one implementation set, shared by the two entry points.
#pragma once
#include "frame/set.h"

namespace qm::QM_SET {

// Area averaging for reductions (interpolation 8, both factors at most 1).
template <int CH>
IppStatus resize_supersample(const Ipp8u* pSrc, IppiSize srcSize, int srcStep, IppiRect roi,
                             Ipp8u* pDst, int dstStep, IppiSize dstRoiSize, double xFactor,
                             double yFactor);

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
