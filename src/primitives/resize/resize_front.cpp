#include "primitives/resize/resize_front.h"

namespace qm::resize {
namespace {

// Destination extent along one axis: false when the result would be under
// half a pixel. The epsilon absorbs factors such as 1/3 that land a hair
// below a whole size.
bool extent(int roiLen, double factor, int dstLen, int& out) {
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

// Small images cannot feed the wide kernels: lower by the whole image.
Engine engine_for(int interpolation, IppiSize srcSize) {
    int mode = interpolation;
    const int small = srcSize.width < srcSize.height ? srcSize.width : srcSize.height;
    if (small < 8 && mode == IPPI_INTER_LANCZOS) mode = IPPI_INTER_CUBIC;
    if (small < 4 && mode == IPPI_INTER_CUBIC) mode = IPPI_INTER_LINEAR;
    if (small < 2) mode = IPPI_INTER_NN;
    switch (mode) {
        case IPPI_INTER_NN: return Engine::Nearest;
        case IPPI_INTER_LINEAR: return Engine::Linear;
        case IPPI_INTER_CUBIC: return Engine::Cubic;
        default: return Engine::Lanczos;
    }
}

}  // namespace

IppStatus plan(const Ipp8u* pSrc, IppiSize srcSize, int srcStep, IppiRect roi, Ipp8u* pDst, int dstStep,
               IppiSize dstRoiSize, double xFactor, double yFactor, int interpolation, Job& job) {
    // Supersampling only reduces; asked to enlarge it falls to the general
    // engines, which refuse the code.
    const bool super = interpolation == IPPI_INTER_SUPER && xFactor <= 1.0 && yFactor <= 1.0;
    if (pSrc == nullptr || pDst == nullptr) return ippStsNullPtrErr;
    if (srcSize.width < 1 || srcSize.height < 1 || roi.x < 0 || roi.y < 0 || roi.width < 1 || roi.height < 1)
        return ippStsSizeErr;
    if (roi.x >= srcSize.width || roi.y >= srcSize.height) return ippStsNoRoiOverlap;
    if (dstRoiSize.width < 1 || dstRoiSize.height < 1) return ippStsSizeErr;
    // Refused as "not above zero" so that NaN is refused too.
    if (!(xFactor > 0.0) || !(yFactor > 0.0)) return ippStsResizeFactorErr;
    if (!super && interpolation != IPPI_INTER_NN && interpolation != IPPI_INTER_LINEAR &&
        interpolation != IPPI_INTER_CUBIC && interpolation != IPPI_INTER_LANCZOS)
        return ippStsInterpolationErr;

    if (roi.width > srcSize.width - roi.x) roi.width = srcSize.width - roi.x;
    if (roi.height > srcSize.height - roi.y) roi.height = srcSize.height - roi.y;
    job = Job{pSrc, srcStep, srcSize.width, srcSize.height, roi.x, roi.y, roi.width, roi.height,
              pDst, dstStep, 0, 0, xFactor, yFactor,
              super ? Engine::Supersample : engine_for(interpolation, srcSize)};
    if (!extent(roi.width, xFactor, dstRoiSize.width, job.W) || !extent(roi.height, yFactor, dstRoiSize.height, job.H))
        return ippStsResizeNoOperationErr;
    return ippStsNoErr;
}

}  // namespace qm::resize
