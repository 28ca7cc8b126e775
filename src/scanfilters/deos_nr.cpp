// Scanner noise reduction: a bilateral filter run plane by plane over RGB,
// per-channel RGB, YUV and grey images. Primitives are reached through their
// entry slots only.
#include <cstring>

#include "frame/frame.h"
#include "scanfilters/checks.h"
#include "scanfilters/scratch.h"

namespace {

// Three planes of width x height inside one colour scratch image; plane p
// starts at p * (step / 3) * height.
struct Scratch {
    Ipp8u* base = nullptr;
    int step = 0;
    Ipp8u* plane(int p, int height) const { return base + static_cast<ptrdiff_t>(p) * (step / 3) * height; }
};

Scratch alloc_scratch(int width, int height) {
    Scratch s;
    s.base = qm::scratch_image(width, height, &s.step);
    return s;
}

void free_scratch(const Scratch& s) { QM_VIA_SLOT(ippiFree)(s.base); }

// Filters the interior of one plane (row step width); the frame of out keeps
// what it held. Reports 1 when filtered, 0 when the work buffer was missing.
int filter_plane(const Ipp8u* in, Ipp8u* out, int width, int height, Ipp32u mode, Ipp32u level) {
    const int k = mode == 2 ? 5 : 3;
    const int r = k / 2;
    // No interior: nothing to filter (and width - 2r must not wrap for
    // sizes near INT32_MIN, which the grey filter does not refuse).
    if (width <= 2 * r || height <= 2 * r) return 0;
    const IppiSize kernel{k, k};
    const IppiSize region{width - 2 * r, height - 2 * r};
    const ptrdiff_t offset = static_cast<ptrdiff_t>(r) * width + r;

    int size = 0;
    QM_VIA_SLOT(ippiFilterBilateralGetBufSize_8u_C1R)(ippiFilterBilateralGauss, region, kernel, &size);
    Ipp8u* work = QM_VIA_SLOT(ippsMalloc_8u)(size);
    if (work == nullptr) return 0;
    // level * 96 as the square sigma of both weights; level 0 would make it
    // 0, which the set-up refuses, so it becomes the weakest filter instead.
    float sigma = static_cast<float>(static_cast<int>((level * 3u) << 5));
    if (sigma == 0.0f) sigma = 1.0f;
    QM_VIA_SLOT(ippiFilterBilateralInit_8u_C1R)(ippiFilterBilateralGauss, kernel, sigma, sigma, 1, work);
    QM_VIA_SLOT(ippiFilterBilateral_8u_C1R)(in + offset, width, out + offset, width, region, kernel, work);
    QM_VIA_SLOT(ippsFree)(work);
    return 1;
}

// Mode 0 copies the plane whole in the per-channel and YUV filters.
void copy_or_filter(const Ipp8u* in, Ipp8u* out, int width, int height, Ipp32u mode, Ipp32u level) {
    if (mode == 0)
        std::memcpy(out, in, static_cast<size_t>(width) * static_cast<size_t>(height));
    else
        filter_plane(in, out, width, height, mode, level);
}

void split(const Ipp8u* src, const Scratch& s, int width, int height) {
    Ipp8u* const planes[3] = {s.plane(0, height), s.plane(1, height), s.plane(2, height)};
    QM_VIA_SLOT(ippiCopy_8u_C3P3R)(src, qm::colour_step(width), planes, width, IppiSize{width, height});
}

void join(const Scratch& s, Ipp8u* dst, int width, int height) {
    const Ipp8u* const planes[3] = {s.plane(0, height), s.plane(1, height), s.plane(2, height)};
    QM_VIA_SLOT(ippiCopy_8u_P3C3R)(planes, width, dst, qm::colour_step(width), IppiSize{width, height});
}

// Runs body(in, out) between the split of src and the join into dst, with
// the two plane scratch images; nothing is written when either is missing.
template <typename Body>
void through_planes(const Ipp8u* src, Ipp8u* dst, int width, int height, Body body) {
    const Scratch in = alloc_scratch(width, height);
    const Scratch out = alloc_scratch(width, height);
    if (in.base == nullptr || out.base == nullptr) {
        free_scratch(in.base == nullptr ? out : in);
        return;
    }
    split(src, in, width, height);
    body(in, out);
    join(out, dst, width, height);
    free_scratch(in);
    free_scratch(out);
}

}  // namespace

extern "C" {

Ipp32u DeosNrRGB(const Ipp8u* src, Ipp8u* dst, int width, int height, Ipp32u mode, Ipp32u level) {
    if (const Ipp32u r = qm::ScanChecks{}.nr_mode(mode).level(level).width(width)) return r;
    // Mode 0 goes to the worker and filters 3 x 3 here, unlike the per-channel
    // and YUV filters, where it leaves the plane alone.
    through_planes(src, dst, width, height, [&](const Scratch& in, const Scratch& out) {
        for (int p = 0; p < 3; ++p) filter_plane(in.plane(p, height), out.plane(p, height), width, height, mode, level);
    });
    return qmScanDone;
}

Ipp32u DeosNrIndividualRGB(const Ipp8u* src, Ipp8u* dst, int width, int height, Ipp32u mode0, Ipp32u level0,
                           Ipp32u mode1, Ipp32u level1, Ipp32u mode2, Ipp32u level2) {
    if (const Ipp32u r = qm::ScanChecks{}
                             .nr_mode(mode0).nr_mode(mode1).nr_mode(mode2)
                             .level(level0).level(level1).level(level2)
                             .width(width))
        return r;
    const Ipp32u modes[3] = {mode0, mode1, mode2};
    const Ipp32u levels[3] = {level0, level1, level2};
    through_planes(src, dst, width, height, [&](const Scratch& in, const Scratch& out) {
        for (int p = 0; p < 3; ++p)
            copy_or_filter(in.plane(p, height), out.plane(p, height), width, height, modes[p], levels[p]);
    });
    return qmScanDone;
}

Ipp32u DeosNrYUV(const Ipp8u* src, Ipp8u* dst, int width, int height, Ipp32u modeY, Ipp32u levelY,
                 Ipp32u modeUV, Ipp32u levelUV) {
    if (const Ipp32u r = qm::ScanChecks{}.nr_mode(modeY).nr_mode(modeUV).level(levelY).level(levelUV).width(width))
        return r;
    int stepA = 0, stepB = 0;
    Ipp8u* const yuv = qm::scratch_image(width, height, &stepA);
    Ipp8u* const result = qm::scratch_image(width, height, &stepB);
    const Scratch in = alloc_scratch(width, height);
    const Scratch out = alloc_scratch(width, height);
    // Only the plane images are tested, and the two interleaved ones stay
    // allocated when one of them is missing: this leak has always been there
    // and is kept. A missing interleaved image only makes its conversion fail.
    if (in.base == nullptr) {
        free_scratch(out);
        return qmScanDone;
    }
    if (out.base == nullptr) {
        free_scratch(in);
        return qmScanDone;
    }
    const IppiSize roi{width, height};
    QM_VIA_SLOT(ippiRGBToYUV_8u_C3R)(src, qm::colour_step(width), yuv, qm::colour_step(width), roi);
    split(yuv, in, width, height);
    copy_or_filter(in.plane(0, height), out.plane(0, height), width, height, modeY, levelY);
    copy_or_filter(in.plane(1, height), out.plane(1, height), width, height, modeUV, levelUV);
    copy_or_filter(in.plane(2, height), out.plane(2, height), width, height, modeUV, levelUV);
    join(out, result, width, height);
    QM_VIA_SLOT(ippiYUVToRGB_8u_C3R)(result, qm::colour_step(width), dst, qm::colour_step(width), roi);
    free_scratch(in);
    free_scratch(out);
    QM_VIA_SLOT(ippiFree)(yuv);
    QM_VIA_SLOT(ippiFree)(result);
    return qmScanDone;
}

Ipp32u DeosNrMono(const Ipp8u* src, Ipp8u* dst, int width, int height, Ipp32u mode, Ipp32u level) {
    if (const Ipp32u r = qm::ScanChecks{}.nr_mode(mode).level(level)) return r;
    filter_plane(src, dst, width, height, mode, level);
    return qmScanDone;
}

}  // extern "C"
