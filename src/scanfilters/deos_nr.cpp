// Scanner noise reduction: a bilateral filter run plane by plane over RGB,
// per-channel RGB, YUV and grey images. Primitives are reached through their
// entry slots only.
#include <algorithm>
#include <cstring>

#include "frame/frame.h"
#include "scanfilters/bands.h"
#include "scanfilters/checks.h"

namespace {

using qm::Band;
using qm::PlaneScratch;

// Three planes of width x height inside one colour scratch image; plane p
// starts at p * (step / 3) * height.
PlaneScratch alloc_scratch(int width, int height) {
    int step = 0;
    Ipp8u* base = qm::scratch_image(width, height, &step);
    return {base, static_cast<ptrdiff_t>(step / 3) * height, width};
}

void free_scratch(const PlaneScratch& s) { QM_VIA_SLOT(ippiFree)(s.base); }

// The plane worker of one plane (row step width): the bilateral filter set up
// once per call, then run over the interior of one band of rows after
// another; the frame of the output keeps what it held. With `copies`, mode 0
// copies the plane whole instead (the per-channel and YUV filters).
class PlaneFilter {
public:
    PlaneFilter(int width, int height, Ipp32u mode, Ipp32u level, bool copies)
        : width_(width), height_(height), k_(mode == 2 ? 5 : 3), copy_(copies && mode == 0) {
        const int r = k_ / 2;
        // No interior: nothing to filter (and width - 2r must not wrap for
        // sizes near INT32_MIN, which the grey filter does not refuse).
        if (copy_ || width <= 2 * r || height <= 2 * r) return;
        const IppiSize kernel{k_, k_};
        int size = 0;
        QM_VIA_SLOT(ippiFilterBilateralGetBufSize_8u_C1R)(ippiFilterBilateralGauss, region(height - 2 * r), kernel,
                                                          &size);
        work_ = QM_VIA_SLOT(ippsMalloc_8u)(size);
        if (work_ == nullptr) return;
        // level * 96 as the square sigma of both weights; level 0 would make
        // it 0, which the set-up refuses, so it becomes the weakest filter instead.
        float sigma = static_cast<float>(static_cast<int>((level * 3u) << 5));
        if (sigma == 0.0f) sigma = 1.0f;
        QM_VIA_SLOT(ippiFilterBilateralInit_8u_C1R)(ippiFilterBilateralGauss, kernel, sigma, sigma, 1, work_);
    }
    ~PlaneFilter() {
        if (work_ != nullptr) QM_VIA_SLOT(ippsFree)(work_);
    }
    PlaneFilter(const PlaneFilter&) = delete;
    PlaneFilter& operator=(const PlaneFilter&) = delete;

    // Rows the filter reads beyond those it writes.
    int reach() const { return copy_ ? 0 : k_ / 2; }
    // Page rows [b.y0, b.y1), from the in plane to the out plane, each given
    // at the band's scratch row of page row y0.
    void rows(const Band& b, const Ipp8u* in, Ipp8u* out) const {
        if (copy_) {
            std::memcpy(out, in, static_cast<size_t>(width_) * static_cast<size_t>(b.y1 - b.y0));
            return;
        }
        if (work_ == nullptr) return;
        const int r = k_ / 2, first = b.first(r), end = b.end(r, height_);
        if (first >= end) return;
        const ptrdiff_t offset = ptrdiff_t{first - b.y0} * width_ + r;
        QM_VIA_SLOT(ippiFilterBilateral_8u_C1R)(in + offset, width_, out + offset, width_, region(end - first),
                                                IppiSize{k_, k_}, work_);
    }

private:
    IppiSize region(int rows) const { return {width_ - 2 * (k_ / 2), rows}; }

    int width_, height_, k_;
    bool copy_;
    Ipp8u* work_ = nullptr;
};

// The workers of the three planes, set up in plane order.
class PlaneFilters {
public:
    PlaneFilters(int width, int height, const Ipp32u* modes, const Ipp32u* levels, bool copies)
        : p_{PlaneFilter(width, height, modes[0], levels[0], copies),
             PlaneFilter(width, height, modes[1], levels[1], copies),
             PlaneFilter(width, height, modes[2], levels[2], copies)} {}

    int reach() const { return std::max({p_[0].reach(), p_[1].reach(), p_[2].reach()}); }
    // Each plane over the band, plane p from `in` into `out`.
    void band(const Band& b, const PlaneScratch& in, const PlaneScratch& out) const {
        for (int p = 0; p < 3; ++p) p_[p].rows(b, in.at(p, b.row(b.y0)), out.at(p, b.row(b.y0)));
    }

private:
    PlaneFilter p_[3];
};

// The RGB filters: src split into the planes of an input scratch image,
// filtered plane by plane into those of an output one, joined into dst.
// Nothing is written when either scratch image is missing.
void through_planes(const Ipp8u* src, Ipp8u* dst, int width, int height, const Ipp32u* modes, const Ipp32u* levels,
                    bool copies) {
    const PlaneScratch in = alloc_scratch(width, height);
    const PlaneScratch out = alloc_scratch(width, height);
    if (in.base == nullptr || out.base == nullptr) {
        free_scratch(in.base == nullptr ? out : in);
        return;
    }
    {
        const PlaneFilters filters(width, height, modes, levels, copies);
        qm::through_bands(src, dst, height, in, out, filters.reach(),
                          [&](const Band& b) { filters.band(b, in, out); });
    }
    free_scratch(in);
    free_scratch(out);
}

}  // namespace

extern "C" {

Ipp32u DeosNrRGB(const Ipp8u* src, Ipp8u* dst, int width, int height, Ipp32u mode, Ipp32u level) {
    if (const Ipp32u r = qm::ScanChecks{}.nr_mode(mode).level(level).width(width)) return r;
    // Mode 0 goes to the worker and filters 3 x 3 here, unlike the per-channel
    // and YUV filters, where it leaves the plane alone.
    const Ipp32u modes[3] = {mode, mode, mode}, levels[3] = {level, level, level};
    through_planes(src, dst, width, height, modes, levels, false);
    return qmScanDone;
}

Ipp32u DeosNrIndividualRGB(const Ipp8u* src, Ipp8u* dst, int width, int height, Ipp32u mode0, Ipp32u level0,
                           Ipp32u mode1, Ipp32u level1, Ipp32u mode2, Ipp32u level2) {
    if (const Ipp32u r = qm::ScanChecks{}
                             .nr_mode(mode0).nr_mode(mode1).nr_mode(mode2)
                             .level(level0).level(level1).level(level2)
                             .width(width))
        return r;
    const Ipp32u modes[3] = {mode0, mode1, mode2}, levels[3] = {level0, level1, level2};
    through_planes(src, dst, width, height, modes, levels, true);
    return qmScanDone;
}

Ipp32u DeosNrYUV(const Ipp8u* src, Ipp8u* dst, int width, int height, Ipp32u modeY, Ipp32u levelY,
                 Ipp32u modeUV, Ipp32u levelUV) {
    if (const Ipp32u r = qm::ScanChecks{}.nr_mode(modeY).nr_mode(modeUV).level(levelY).level(levelUV).width(width))
        return r;
    int stepA = 0, stepB = 0;
    Ipp8u* const yuv = qm::scratch_image(width, height, &stepA);
    Ipp8u* const result = qm::scratch_image(width, height, &stepB);
    const PlaneScratch in = alloc_scratch(width, height);
    const PlaneScratch out = alloc_scratch(width, height);
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
    {
        const Ipp32u modes[3] = {modeY, modeUV, modeUV}, levels[3] = {levelY, levelUV, levelUV};
        const PlaneFilters filters(width, height, modes, levels, true);
        const int step = qm::colour_step(width);
        // The interleaved images hold their band's rows where the planes do.
        qm::for_each_band(width, height, filters.reach(), [&](const Band& b) {
            Ipp8u* const a = qm::row_of(yuv, b.row(b.lo), step);
            QM_VIA_SLOT(ippiRGBToYUV_8u_C3R)(qm::row_of(src, b.lo, step), step, a, step, IppiSize{width, b.hi - b.lo});
            qm::split_rows(a, in, 0, b.hi - b.lo, b.row(b.lo));
            filters.band(b, in, out);
            Ipp8u* const c = qm::row_of(result, b.row(b.y0), step);
            qm::join_rows(out, b.row(b.y0), c, 0, b.y1 - b.y0);
            QM_VIA_SLOT(ippiYUVToRGB_8u_C3R)(c, step, qm::row_of(dst, b.y0, step), step, IppiSize{width, b.y1 - b.y0});
        });
    }
    free_scratch(in);
    free_scratch(out);
    QM_VIA_SLOT(ippiFree)(yuv);
    QM_VIA_SLOT(ippiFree)(result);
    return qmScanDone;
}

Ipp32u DeosNrMono(const Ipp8u* src, Ipp8u* dst, int width, int height, Ipp32u mode, Ipp32u level) {
    if (const Ipp32u r = qm::ScanChecks{}.nr_mode(mode).level(level)) return r;
    const PlaneFilter filter(width, height, mode, level, false);
    filter.rows(Band{0, height, 0, height, 0}, src, dst);
    return qmScanDone;
}

}  // extern "C"
