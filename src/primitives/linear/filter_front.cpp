// Front of the fixed-kernel linear filters: checks, window and divisor rule.
#include <cstdint>

#include "primitives/linear/filter_front.h"

namespace qm::linear {
namespace {

IppStatus check(const void* pSrc, const void* pDst, const void* pKernel, IppiSize roi, IppiSize ks) {
    if (pSrc == nullptr || pDst == nullptr || pKernel == nullptr) return ippStsNullPtrErr;
    if (roi.width <= 0 || roi.height <= 0 || ks.width <= 0 || ks.height <= 0) return ippStsSizeErr;
    return ippStsNoErr;
}

IppStatus check_steps(int srcStep, int dstStep, IppiSize roi, IppiSize ks, int ch) {
    if (int64_t{srcStep} < ch * (int64_t{roi.width} + ks.width - 1) || int64_t{dstStep} < int64_t{ch} * roi.width)
        return ippStsStepErr;
    return ippStsNoErr;
}

Geometry geometry(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize roi, IppiSize ks,
                  IppiPoint anchor, int ch) {
    // The last kernel element meets the window's top-left pixel.
    const ptrdiff_t dx = ptrdiff_t{anchor.x} - (ks.width - 1);
    const ptrdiff_t dy = ptrdiff_t{anchor.y} - (ks.height - 1);
    return {pSrc + dy * srcStep + dx * ch, srcStep, pDst, dstStep, roi.width, roi.height, ks.width, ks.height, ch};
}

DivideRule divide_rule(int divisor) {
    const DivideRule::Rule rule = divisor == 1                                              ? DivideRule::One
                                  : (divisor > 1 && (divisor & (divisor - 1)) == 0) ? DivideRule::Shift
                                                                                          : DivideRule::Reciprocal;
    return {rule, rule == DivideRule::Shift ? __builtin_ctz(static_cast<unsigned>(divisor)) : 0,
            1.0f / static_cast<float>(divisor)};
}

}  // namespace

IppStatus plan(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize roi, const Ipp32s* pKernel,
                  IppiSize kernelSize, IppiPoint anchor, int divisor, int ch, IntJob& job) {
    if (IppStatus st = check(pSrc, pDst, pKernel, roi, kernelSize)) return st;
    if (divisor == 0) return ippStsDivisorErr;
    if (IppStatus st = check_steps(srcStep, dstStep, roi, kernelSize, ch)) return st;
    job = {geometry(pSrc, srcStep, pDst, dstStep, roi, kernelSize, anchor, ch), pKernel, divide_rule(divisor)};
    return ippStsNoErr;
}

IppStatus plan(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize roi, const Ipp32f* pKernel,
                  IppiSize kernelSize, IppiPoint anchor, int ch, FloatJob& job) {
    if (IppStatus st = check(pSrc, pDst, pKernel, roi, kernelSize)) return st;
    if (IppStatus st = check_steps(srcStep, dstStep, roi, kernelSize, ch)) return st;
    job = {geometry(pSrc, srcStep, pDst, dstStep, roi, kernelSize, anchor, ch), pKernel};
    return ippStsNoErr;
}

}  // namespace qm::linear
