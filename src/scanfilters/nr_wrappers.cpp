// One-call noise reductions on tightly packed colour images: a Gauss, a
// per-channel median or a vector median over the interior, leaving a frame
// of width r untouched. Arguments are not checked here; the primitive's own
// checks decide the status, which is returned unchanged.
#include <cstdint>

#include "frame/frame.h"

namespace {

// 32-bit products with wrap-around, as the record arithmetic has always been
// done; only the sum of the two products is formed at pointer width.
inline int32_t mul32(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b));
}

struct Interior {
    const Ipp8u* src;
    Ipp8u* dst;
    int step;
    IppiSize roi;
};

Interior interior(const NrImageRecord* src, const NrImageRecord* dst, int r) {
    const int w = src->width, h = src->height;
    const int64_t offset = int64_t{mul32(mul32(3, w), r)} + int64_t{mul32(3, r)};
    return {src->data + offset, dst->data + offset, mul32(3, w),
            {static_cast<int>(static_cast<uint32_t>(w) - 2u * static_cast<uint32_t>(r)),
             static_cast<int>(static_cast<uint32_t>(h) - 2u * static_cast<uint32_t>(r))}};
}

// Only radius 1 selects the 3x3 mask; every other radius (2 included) gets
// the 5x5 one while offset and region still follow r.
inline int mask_code(int r) { return r == 1 ? ippMskSize3x3 : ippMskSize5x5; }

}  // namespace

extern "C" {

IppStatus GaussNrRGB(const NrImageRecord* src, const NrImageRecord* dst, int radius) {
    const Interior in = interior(src, dst, radius);
    return QM_VIA_SLOT(ippiFilterGauss_8u_C3R)(in.src, in.step, in.dst, in.step, in.roi, mask_code(radius));
}

IppStatus MedianNrRGB(const NrImageRecord* src, const NrImageRecord* dst, int radius) {
    const Interior in = interior(src, dst, radius);
    const int side = static_cast<int>(2u * static_cast<uint32_t>(radius) + 1u);
    return QM_VIA_SLOT(ippiFilterMedian_8u_C3R)(in.src, in.step, in.dst, in.step, in.roi, IppiSize{side, side},
                                                IppiPoint{radius, radius});
}

IppStatus MedianColorNrRGB(const NrImageRecord* src, const NrImageRecord* dst, int radius) {
    const Interior in = interior(src, dst, radius);
    return QM_VIA_SLOT(ippiFilterMedianColor_8u_C3R)(in.src, in.step, in.dst, in.step, in.roi,
                                                     mask_code(radius));
}

}  // extern "C"
