// Front of the median filters: checks, then the kernel of the mask's shape.
#include <cstddef>

#include "primitives/neighbourhood/median_front.h"

namespace qm::median {
namespace {

IppStatus check_images(const void* pSrc, int srcStep, const void* pDst, int dstStep, IppiSize roi) {
    if (pSrc == nullptr || pDst == nullptr) return ippStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return ippStsSizeErr;
    if (srcStep < 1 || dstStep < 1) return ippStsStepErr;
    return ippStsNoErr;
}

// The fixed shapes, by mask code (width digit, height digit).
Shape shape_of(IppiSize mask) {
    if (mask.width == 1 && mask.height == 1) return Shape::copy;
    if (mask.width >= 10 || mask.height >= 10) return Shape::general;
    switch (mask.width * 10 + mask.height) {
        case ippMskSize3x3: return Shape::square3;
        case ippMskSize5x5: return Shape::square5;
        case ippMskSize3x1: return Shape::row3;
        case ippMskSize5x1: return Shape::row5;
        case ippMskSize1x3: return Shape::column3;
        case ippMskSize1x5: return Shape::column5;
        default: return Shape::general;
    }
}

}  // namespace

IppStatus plan(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize roi, IppiSize mask,
                  IppiPoint anchor, int ch, Job& job) {
    if (const IppStatus st = check_images(pSrc, srcStep, pDst, dstStep, roi)) return st;
    if (mask.width < 1 || mask.height < 1 || ((mask.width & mask.height & 1) == 0)) return ippStsMaskSizeErr;
    if (anchor.x < 0 || anchor.x >= mask.width || anchor.y < 0 || anchor.y >= mask.height)
        return ippStsAnchorErr;
    const Ipp8u* centre = pSrc + static_cast<ptrdiff_t>((mask.width >> 1) - anchor.x) * ch +
                          static_cast<ptrdiff_t>((mask.height >> 1) - anchor.y) * srcStep;
    const Shape shape = shape_of(mask);
    const Ipp8u* src = shape != Shape::general ? centre
                                               : centre - static_cast<ptrdiff_t>(mask.width >> 1) * ch -
                                                     static_cast<ptrdiff_t>(mask.height >> 1) * srcStep;
    job = {shape, src, srcStep, pDst, dstStep, roi, mask, ch};
    return ippStsNoErr;
}

IppStatus plan_color(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize roi, int maskCode,
                        Job& job) {
    if (const IppStatus st = check_images(pSrc, srcStep, pDst, dstStep, roi)) return st;
    if (maskCode == ippMskSize3x3)
        job = {Shape::vector3, pSrc - srcStep - 3, srcStep, pDst, dstStep, roi, {3, 3}, 3};
    else if (maskCode == ippMskSize5x5)
        job = {Shape::vector5, pSrc - 2 * static_cast<ptrdiff_t>(srcStep) - 6, srcStep, pDst, dstStep, roi, {5, 5}, 3};
    else
        return ippStsMaskSizeErr;
    return ippStsNoErr;
}

}  // namespace qm::median
