#include "primitives/remap/remap_front.h"

#include <cstdint>

namespace qm::remap {
namespace {

// Small images cannot feed the wide kernels: lower by the whole image.
Kernel kernel_for(int code, IppiSize srcSize) {
    const int small = srcSize.width < srcSize.height ? srcSize.width : srcSize.height;
    if (small < 6 && code == IPPI_INTER_LANCZOS) code = IPPI_INTER_CUBIC;
    if (small < 4) {
        if (code == IPPI_INTER_CUBIC || code == IPPI_INTER_CUBIC2P_CATMULLROM) code = IPPI_INTER_LINEAR;
        if (small == 1) code = IPPI_INTER_NN;
    }
    switch (code) {
        case IPPI_INTER_NN: return Kernel::Nearest;
        case IPPI_INTER_LINEAR: return Kernel::Linear;
        case IPPI_INTER_CUBIC: return Kernel::Lagrange;
        case IPPI_INTER_CUBIC2P_CATMULLROM: return Kernel::CatmullRom;
        default: return Kernel::Lanczos;
    }
}

}  // namespace

IppStatus plan(const Ipp8u* pSrc, IppiSize srcSize, int srcStep, IppiRect roi, const Ipp32f* pxMap, int xMapStep,
               const Ipp32f* pyMap, int yMapStep, Ipp8u* pDst, int dstStep, IppiSize dstRoiSize, int interpolation,
               int channels, Job& job) {
    if (pSrc == nullptr || pDst == nullptr || pxMap == nullptr || pyMap == nullptr) return ippStsNullPtrErr;
    if (srcSize.width < 1 || srcSize.height < 1 || roi.x < 0 || roi.y < 0 || roi.width < 1 || roi.height < 1 ||
        dstRoiSize.width < 1 || dstRoiSize.height < 1)
        return ippStsSizeErr;
    // The smooth-edge flag selects the same kernels: positions outside the
    // region are skipped either way, and inside it the plain kernels already
    // keep every neighbourhood within the image, so there is no edge
    // artefact left for a second kernel set to soften.
    const int code = interpolation & ~IPPI_SMOOTH_EDGE;
    if (code != IPPI_INTER_NN && code != IPPI_INTER_LINEAR && code != IPPI_INTER_CUBIC &&
        code != IPPI_INTER_CUBIC2P_CATMULLROM && code != IPPI_INTER_LANCZOS)
        return ippStsInterpolationErr;
    if (srcStep <= 0 || dstStep <= 0 || xMapStep <= 0 || yMapStep <= 0) return ippStsStepErr;
    if (roi.x >= srcSize.width || roi.y >= srcSize.height) return ippStsNoRoiOverlap;

    if (roi.width > srcSize.width - roi.x) roi.width = srcSize.width - roi.x;
    if (roi.height > srcSize.height - roi.y) roi.height = srcSize.height - roi.y;
    job = Job{pSrc,
              srcStep,
              pxMap,
              xMapStep,
              pyMap,
              yMapStep,
              pDst,
              dstStep,
              dstRoiSize.width,
              dstRoiSize.height,
              static_cast<float>(roi.x),
              static_cast<float>(roi.y),
              static_cast<float>(roi.x + roi.width - 1),
              static_cast<float>(roi.y + roi.height - 1),
              srcSize.width - 1,
              srcSize.height - 1,
              (int64_t{srcSize.height} - 1) * srcStep + int64_t{srcSize.width} * channels <= INT32_MAX,
              kernel_for(code, srcSize)};
    return ippStsNoErr;
}

}  // namespace qm::remap
