// Front of the box filters: checks, the path of a mask, its divisor.
#include "primitives/neighbourhood/box_front.h"

namespace qm::box {
namespace {

// Largest area whose integer products stay inside 32 bits; larger masks use floats.
constexpr int64_t kMaxIntegerArea = 8100;

constexpr IntDivisor kFixed5x5{20971, 262144, 19};  // S / 25, rounded
constexpr IntDivisor kFixed7x7{5350, 131072, 18};   // S / 49, rounded
constexpr IntDivisor kFixed3x3{29128, 0, 18};       // S / 9, truncated

// The multiplier is rounded up, so some sums give one more than floor(S / A).
IntDivisor general_divisor(int64_t area, int maskSum) {
    if (maskSum == 3) return {4096, 0, 13};  // 1x2 and 2x1
    const float r = 1.0f / static_cast<float>(area);
    if (r == 1.0f) return {256, 0, 8};
    uint32_t u = static_cast<uint32_t>(r * 4294967296.0f);
    int n = 0;
    while ((u & 0x80000000u) == 0 && n < 24) {
        u <<= 1;
        ++n;
    }
    return {(u >> 20) + 1, 0, n + 12};
}

// Step before size; the other neighbourhood filters check them the other way round.
IppStatus check(const void* src, const void* dst, int srcStep, int dstStep, IppiSize roi, IppiSize mask,
                IppiPoint anchor) {
    if (src == nullptr || dst == nullptr) return ippStsNullPtrErr;
    if (srcStep < 1 || dstStep < 1) return ippStsStepErr;
    if (roi.width < 1 || roi.height < 1) return ippStsSizeErr;
    if (mask.width < 1 || mask.height < 1) return ippStsMaskSizeErr;
    if (anchor.x < 0 || anchor.x >= mask.width || anchor.y < 0 || anchor.y >= mask.height) return ippStsAnchorErr;
    return ippStsNoErr;
}

bool is(IppiSize mask, int w, int h) { return mask.width == w && mask.height == h; }

Job job_of(Form form, const Ipp8u* src, int srcStep, Ipp8u* dst, int dstStep, IppiSize roi, IppiSize mask,
           IppiPoint anchor, int ch) {
    const int64_t area = int64_t{mask.width} * mask.height;
    const Geometry g{src - static_cast<ptrdiff_t>(anchor.y) * srcStep - static_cast<ptrdiff_t>(anchor.x) * ch,
                     srcStep, roi.width, roi.height, mask.width, mask.height, ch};
    return {form, area > kMaxIntegerArea, general_divisor(area, mask.width + mask.height),
            1.0f / static_cast<float>(area), g, dst, dstStep, anchor};
}

}  // namespace

IppStatus plan(const Ipp8u* src, int srcStep, Ipp8u* dst, int dstStep, IppiSize roi, IppiSize mask,
                  IppiPoint anchor, int ch, Job& job) {
    if (const IppStatus st = check(src, dst, srcStep, dstStep, roi, mask, anchor)) return st;
    job = job_of(Form::direct, src, srcStep, dst, dstStep, roi, mask, anchor, ch);
    if (job.floating) return ippStsNoErr;
    if (ch == 1 && is(mask, 7, 7))
        job.divisor = kFixed7x7;
    else if (ch == 3 && is(mask, 3, 3))
        job.divisor = kFixed3x3;
    else if (is(mask, 5, 5))
        job.divisor = kFixed5x5;
    return ippStsNoErr;
}

// In place the fixed-multiplier paths are never taken, so a result can differ by
// one from the out-of-place form of the same mask.
IppStatus plan_in_place(Ipp8u* img, int step, IppiSize roi, IppiSize mask, IppiPoint anchor, int ch, Job& job) {
    if (const IppStatus st = check(img, img, step, step, roi, mask, anchor)) return st;
    const Form form = mask.height >= roi.height ? Form::via_copy : Form::row_delayed;
    job = job_of(form, img, step, img, step, roi, mask, anchor, ch);
    return ippStsNoErr;
}

}  // namespace qm::box
