// Scanner convolution filters: built-in level kernels, caller float kernels,
// caller 16.16 kernels. Images are tightly packed; only the interior (a frame
// of width r stays out) is filtered.
#include <cstdint>
#include <cstring>

#include "frame/frame.h"
#include "scanfilters/bands.h"
#include "scanfilters/checks.h"
#include "scanfilters/kernel_tables.h"

namespace qm {
namespace {

// The interior of a packed image of `bpp` bytes per pixel, in 64 bits so
// that absurd radii cannot wrap into a plausible region.
struct Interior {
    IppiSize roi;
    IppiSize kernel;
    IppiPoint anchor;
    bool empty;
    int64_t offset;  // bytes from the image start to pixel (r, r)
};

int clamp_int(int64_t v) { return v < INT32_MIN ? INT32_MIN : v > INT32_MAX ? INT32_MAX : static_cast<int>(v); }

Interior interior(int width, int height, Ipp32u radius, int bpp) {
    const int64_t r = radius, n = 2 * r + 1;
    Interior in;
    in.roi = {clamp_int(width - 2 * r), clamp_int(height - 2 * r)};
    in.kernel = {clamp_int(n), clamp_int(n)};
    in.anchor = {clamp_int(r), clamp_int(r)};
    in.empty = in.roi.width < 1 || in.roi.height < 1;
    // Only a non-empty interior is ever addressed (and only then is the
    // product bounded: r < width / 2).
    in.offset = in.empty ? 0 : (int64_t{bpp} * width + bpp) * r;
    return in;
}


// Pixel (r, r); left alone when nothing will be read, so that a null image
// still reaches the primitive as null and a huge radius forms no wild pointer.
template <class P>
P at_interior(P p, const Interior& in) {
    return (p == nullptr || in.empty) ? p : p + in.offset;
}

// Splits src into planes, filters each plane's interior with its kernel and
// joins the planes into dst, band by band. Reports 1 when done, 0 when
// scratch was missing.
int planar_worker(const Ipp8u* src, Ipp8u* dst, int width, int height, Ipp32u radius, const float* k0,
                  const float* k1, const float* k2) {
    int step = 0;
    Ipp8u* a = scratch_image(width, height, &step);
    Ipp8u* b = scratch_image(width, height, &step);
    if (a == nullptr || b == nullptr) {
        QM_VIA_SLOT(ippiFree)(a);
        QM_VIA_SLOT(ippiFree)(b);
        return 0;
    }
    const ptrdiff_t plane = ptrdiff_t{width} * height;
    const PlaneScratch in{a, plane, width}, out{b, plane, width};
    const Interior whole = interior(width, height, radius, 1);
    // Reversed pairing on purpose: the first byte of a pixel takes the third kernel.
    const float* kernels[3] = {k2, k1, k0};
    // Scratch B's frame is never written: the destination frame gets
    // whatever it held, not the source.
    through_bands(src, dst, height, in, out, whole.empty ? 0 : int64_t{radius}, [&](const Band& band) {
        if (whole.empty) return;
        const int r = static_cast<int>(radius), first = band.first(r), end = band.end(r, height);
        if (first >= end) return;
        const IppiSize roi = {whole.roi.width, end - first};
        for (int p = 0; p < 3; ++p)
            QM_VIA_SLOT(ippiFilter32f_8u_C1R)(in.at(p, band.row(first)) + r, width, out.at(p, band.row(first)) + r,
                                              width, roi, kernels[p], whole.kernel, whole.anchor);
    });
    QM_VIA_SLOT(ippiFree)(a);
    QM_VIA_SLOT(ippiFree)(b);
    return 1;
}

}  // namespace
}  // namespace qm

using namespace qm;

extern "C" {

Ipp32u DeosConvRGB(const Ipp8u* src, Ipp8u* dst, int width, int height, Ipp32u mode, Ipp32u radius, int level) {
    if (const Ipp32u r = ScanChecks{}.width(width).conv_mode(mode).distinct(src, dst)) return r;
    const int kernelLevel = deos_kernel_level(level);
    switch (radius) {
        case 0:
        case 1: {
            const int64_t bytes = int64_t{width} * height * 3;
            if (bytes > 0 && src != nullptr && dst != nullptr) std::memcpy(dst, src, static_cast<size_t>(bytes));
            return qmScanDone;
        }
        case 2:
        case 3:
        case 4:
        case 7: {
            const DeosTable t = deos_table(radius);
            const float* k = t.level(kernelLevel);
            const int n = t.kernel_floats();
            (void)planar_worker(src, dst, width, height, radius, k, k + n, k + 2 * n);  // report dropped
            return qmScanDone;
        }
        default:
            return qmScanBadArgument;
    }
}

Ipp32u DeosConvRGB2(const Ipp8u* src, Ipp8u* dst, int width, int height, Ipp32u mode, Ipp32u radius, int level,
                    const Ipp32f* kernel) {
    if (kernel == nullptr) return DeosConvRGB(src, dst, width, height, mode, radius, level);
    if (const Ipp32u r = ScanChecks{}.width(width).conv_mode(mode).distinct(src, dst)) return r;
    const Interior in = interior(width, height, radius, 3);
    return static_cast<Ipp32u>(QM_VIA_SLOT(ippiFilter32f_8u_C3R)(at_interior(src, in), colour_step(width),
                                                                at_interior(dst, in), colour_step(width), in.roi,
                                                                kernel, in.kernel, in.anchor));
}

Ipp32u DeosConvRGB3(const Ipp8u* src, Ipp8u* dst, int width, int height, Ipp32u mode, Ipp32u radius, int,
                    const Ipp32s* kernel) {
    if (const Ipp32u r = ScanChecks{}.present(kernel).width(width).conv_mode(mode).distinct(src, dst)) return r;
    const Interior in = interior(width, height, radius, 3);
    return static_cast<Ipp32u>(QM_VIA_SLOT(ippiFilter_8u_C3R)(at_interior(src, in), colour_step(width),
                                                             at_interior(dst, in), colour_step(width), in.roi,
                                                             kernel, in.kernel, in.anchor,
                                                             65536));
}

Ipp32u DeosConvRGB4(const Ipp8u* src, Ipp8u* dst, int width, int height, Ipp32u, Ipp32u radius, int,
                    const Ipp32s* kernel, const Ipp8u* lut) {
    if (const Ipp32u r = ScanChecks{}.width(width).distinct(src, dst)) return r;
    const Interior in = interior(width, height, radius, 3);
    // Null pointers are the caller's fault; skipping the work beats a crash.
    if (in.empty || src == nullptr || dst == nullptr || kernel == nullptr || lut == nullptr) return qmScanDone;
    const int n = in.kernel.width;
    const ptrdiff_t step = 3 * ptrdiff_t{width};
    const int cols = 3 * in.roi.width;  // output bytes per row
    // Correlation, unflipped, in wrapping 32-bit sums (unsigned keeps that defined).
    uint32_t acc[1024];
    for (int y = 0; y < in.roi.height; ++y) {
        const Ipp8u* top = src + ptrdiff_t{y} * step;  // window rows start at y - r + r
        Ipp8u* d = dst + in.offset + ptrdiff_t{y} * step;
        for (int e0 = 0; e0 < cols; e0 += 1024) {
            const int m = cols - e0 < 1024 ? cols - e0 : 1024;
            std::memset(acc, 0, sizeof(uint32_t) * m);
            const Ipp32s* k = kernel;
            for (int ky = 0; ky < n; ++ky) {
                const Ipp8u* row = top + ky * step + e0;
                for (int kx = 0; kx < n; ++kx, ++k) {
                    const uint32_t w = static_cast<uint32_t>(*k);
                    const Ipp8u* s = row + 3 * kx;
                    for (int i = 0; i < m; ++i) acc[i] += w * s[i];
                }
            }
            // Arithmetic shift of the signed sum: negative sums index before lut.
            for (int i = 0; i < m; ++i) d[e0 + i] = lut[static_cast<int32_t>(acc[i]) >> 16];
        }
    }
    return qmScanDone;
}

Ipp32u DeosConvRgbInFilterCoef(const Ipp8u* src, Ipp8u* dst, int width, int height, Ipp32u radius,
                               const Ipp32f* kernels) {
    if (const Ipp32u r = ScanChecks{}.width(width).distinct(src, dst, qmScanBadArgument)) return r;
    // With no interior the kernels are never read, and a radius that large
    // would put the second and third kernel far past any array (or overflow
    // n * n): locate them only when they are used.
    const int64_t n = 2 * int64_t{radius} + 1;
    const int64_t floats = interior(width, height, radius, 1).empty ? 0 : n * n;
    const float* k0 = kernels;
    const float* k1 = kernels == nullptr ? nullptr : kernels + floats;
    const float* k2 = kernels == nullptr ? nullptr : kernels + 2 * floats;
    (void)planar_worker(src, dst, width, height, radius, k0, k1, k2);  // report dropped
    return qmScanDone;
}

Ipp32u DeosConvMonoInFilterCoef(const Ipp8u* src, Ipp8u* dst, int width, int height, Ipp32u radius,
                                const Ipp32f* kernel) {
    if (const Ipp32u r = ScanChecks{}.distinct(src, dst, qmScanBadArgument)) return r;
    const Interior in = interior(width, height, radius, 1);
    (void)QM_VIA_SLOT(ippiFilter32f_8u_C1R)(at_interior(src, in), width, at_interior(dst, in), width, in.roi, kernel,
                                            in.kernel, in.anchor);
    return qmScanDone;
}

}  // extern "C"
