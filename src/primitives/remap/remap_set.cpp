// Remap of 8-bit one- and three-channel images through float coordinate maps.
//
// One pass over the destination, no work buffers. A destination pixel is
// produced only when its map position lies inside the source region
// (inclusive); otherwise it keeps whatever the caller put there.
//
// Neighbourhoods are kept inside the whole image, not the region: the region
// only decides which positions are sampled, and the pixels around it are
// real image content.
#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "frame/set.h"
#include "primitives/resize/geometry_kernels.h"

namespace qm::QM_SET {
namespace {

struct Job {
    const Ipp8u* src;
    ptrdiff_t srcStep;
    const Ipp32f* xMap;
    ptrdiff_t xMapStep;
    const Ipp32f* yMap;
    ptrdiff_t yMapStep;
    Ipp8u* dst;
    ptrdiff_t dstStep;
    int W, H;
    float xMin, yMin, xMax, yMax;
    int lastX, lastY;  // last column and row of the image
};

template <class Sample>
void walk(const Job& g, Sample&& sample) {
    const auto* mxRow = reinterpret_cast<const Ipp8u*>(g.xMap);
    const auto* myRow = reinterpret_cast<const Ipp8u*>(g.yMap);
    Ipp8u* d = g.dst;
    for (int j = 0; j < g.H; ++j) {
        const auto* mx = reinterpret_cast<const Ipp32f*>(mxRow);
        const auto* my = reinterpret_cast<const Ipp32f*>(myRow);
        for (int i = 0; i < g.W; ++i) {
            const float x = mx[i], y = my[i];
            // Written so that NaN positions fail the test too.
            if (!(x >= g.xMin && x <= g.xMax && y >= g.yMin && y <= g.yMax)) continue;
            sample(x, y, d, i);
        }
        mxRow += g.xMapStep;
        myRow += g.yMapStep;
        d += g.dstStep;
    }
}

const Ipp8u* src_row(const Job& g, int row) { return g.src + static_cast<ptrdiff_t>(row) * g.srcStep; }

template <int CH>
void remap_nearest(const Job& g) {
    walk(g, [&](float x, float y, Ipp8u* d, int i) {
        // Past 2^24 the region's far edge as a float may round up beyond the
        // image; the nearest pixel to such a position is the last one.
        const int col = static_cast<int>(std::min(static_cast<double>(x) + 0.5, static_cast<double>(g.lastX)));
        const int row = static_cast<int>(std::min(static_cast<double>(y) + 0.5, static_cast<double>(g.lastY)));
        const Ipp8u* p = src_row(g, row) + static_cast<ptrdiff_t>(col) * CH;
        for (int c = 0; c < CH; ++c) d[i * CH + c] = p[c];
    });
}

template <int CH>
void remap_linear(const Job& g) {
    walk(g, [&](float x, float y, Ipp8u* d, int i) {
        int ix = static_cast<int>(static_cast<double>(x) + 1e-7);
        int iy = static_cast<int>(static_cast<double>(y) + 1e-7);
        float fx, fy;
        // On the last column or row the pair that ends there serves.
        if (ix < g.lastX) {
            fx = x - static_cast<float>(ix);
        } else {
            fx = 1.0f;
            ix = g.lastX - 1;
        }
        if (iy < g.lastY) {
            fy = y - static_cast<float>(iy);
        } else {
            fy = 1.0f;
            iy = g.lastY - 1;
        }
        const Ipp8u* a = src_row(g, iy) + static_cast<ptrdiff_t>(ix) * CH;
        const Ipp8u* b = a + g.srcStep;
        for (int c = 0; c < CH; ++c) {
            const float p00 = a[c], p10 = a[c + CH], p01 = b[c], p11 = b[c + CH];
            const float top = p00 + (p10 - p00) * fx;
            const float bottom = p01 + fx * (p11 - p01);
            int v = static_cast<int>(fy * (bottom - top) + 0.5f + top);
            d[i * CH + c] = static_cast<Ipp8u>(v < 0 ? 0 : v > 255 ? 255 : v);
        }
    });
}

// Four-point Lagrange weights.
inline void lagrange4(float t, float w[4]) {
    const float sixth = 0.16666667f, third = 0.33333334f;
    const float t2 = t * t, t3 = t2 * t;
    w[0] = ((-t * sixth + 0.5f) * t - third) * t;
    w[1] = ((t3 - t) * 0.5f + 1.0f) - t2;
    w[2] = (-t * 0.5f + 0.5f) * t2 + t;
    w[3] = (t3 - t) * sixth;
}

// Catmull-Rom weights (the cubic convolution with a = -1/2): interpolating,
// first-derivative continuous, the usual sharp-but-tame choice for scans.
inline void catmull_rom4(float t, float w[4]) {
    const float t2 = t * t;
    w[0] = ((-0.5f * t + 1.0f) * t - 0.5f) * t;
    w[1] = (1.5f * t - 2.5f) * t2 + 1.0f;
    w[2] = ((-1.5f * t + 2.0f) * t + 0.5f) * t;
    w[3] = (0.5f * t - 0.5f) * t2;
}

// Sum over an NT x NT neighbourhood: row by row, each row summed left to
// right, then the rows weighed top to bottom.
template <int CH, int NT>
void weigh(const Ipp8u* const* rows, const int* cols, const float* wx, const float* wy, Ipp8u* out) {
    for (int c = 0; c < CH; ++c) {
        float v = 0.0f;
        for (int r = 0; r < NT; ++r) {
            const Ipp8u* p = rows[r] + c;
            float h = wx[0] * p[cols[0]];
            for (int k = 1; k < NT; ++k) h = h + wx[k] * p[cols[k]];
            v = r == 0 ? wy[0] * h : v + wy[r] * h;
        }
        out[c] = round_sat(v);
    }
}

// Neighbourhood of NT taps from `first`: direct inside the image, clamped to
// it per tap otherwise (the edge pixel repeats).
template <int NT>
bool taps(int first, int last, int* out) {
    if (first >= 0 && first + NT - 1 <= last) {
        for (int k = 0; k < NT; ++k) out[k] = first + k;
        return true;
    }
    for (int k = 0; k < NT; ++k) out[k] = clamp_index(first + k, 0, last);
    return false;
}

template <int CH>
void remap_lagrange(const Job& g) {
    walk(g, [&](float x, float y, Ipp8u* d, int i) {
        // The neighbourhood slides to stay inside the image; the polynomial
        // is then evaluated outside 0..1.
        const int ix = static_cast<int>(static_cast<double>(x) + 1e-7);
        const int iy = static_cast<int>(static_cast<double>(y) + 1e-7);
        const int x0 = ix < 1 ? 0 : ix >= g.lastX - 1 ? g.lastX - 3 : ix - 1;
        const int y0 = iy < 1 ? 0 : iy >= g.lastY - 1 ? g.lastY - 3 : iy - 1;
        float wx[4], wy[4];
        lagrange4(x - static_cast<float>(x0 + 1), wx);
        lagrange4(y - static_cast<float>(y0 + 1), wy);
        const int cols[4] = {x0 * CH, (x0 + 1) * CH, (x0 + 2) * CH, (x0 + 3) * CH};
        const Ipp8u* rows[4] = {src_row(g, y0), src_row(g, y0 + 1), src_row(g, y0 + 2), src_row(g, y0 + 3)};
        weigh<CH, 4>(rows, cols, wx, wy, d + i * CH);
    });
}

template <int CH, int NT>
void remap_windowed(const Job& g) {
    walk(g, [&](float x, float y, Ipp8u* d, int i) {
        const int ix = static_cast<int>(static_cast<double>(x) + 1e-7);
        const int iy = static_cast<int>(static_cast<double>(y) + 1e-7);
        const float tx = x - static_cast<float>(ix), ty = y - static_cast<float>(iy);
        float wx[6], wy[6];
        if constexpr (NT == 4) {
            catmull_rom4(tx, wx);
            catmull_rom4(ty, wy);
        } else {
            lanczos6_weights(tx, wx);
            lanczos6_weights(ty, wy);
        }
        constexpr int back = NT / 2 - 1;
        int cx[NT], ry[NT];
        taps<NT>(ix - back, g.lastX, cx);
        taps<NT>(iy - back, g.lastY, ry);
        int cols[NT];
        const Ipp8u* rows[NT];
        for (int k = 0; k < NT; ++k) {
            cols[k] = cx[k] * CH;
            rows[k] = src_row(g, ry[k]);
        }
        weigh<CH, NT>(rows, cols, wx, wy, d + i * CH);
    });
}

template <int CH>
IppStatus remap(const Ipp8u* pSrc, IppiSize srcSize, int srcStep, IppiRect roi, const Ipp32f* pxMap,
                int xMapStep, const Ipp32f* pyMap, int yMapStep, Ipp8u* pDst, int dstStep,
                IppiSize dstRoiSize, int interpolation) {
    if (pSrc == nullptr || pDst == nullptr || pxMap == nullptr || pyMap == nullptr) return ippStsNullPtrErr;
    if (srcSize.width < 1 || srcSize.height < 1 || roi.x < 0 || roi.y < 0 || roi.width < 1 ||
        roi.height < 1 || dstRoiSize.width < 1 || dstRoiSize.height < 1)
        return ippStsSizeErr;
    int code = static_cast<int>(static_cast<unsigned>(interpolation) & 0x7FFFFFFFu);
    if (code != 1 && code != 2 && code != 4 && code != 6 && code != 16) return ippStsInterpolationErr;
    if (srcStep <= 0 || dstStep <= 0 || xMapStep <= 0 || yMapStep <= 0) return ippStsStepErr;
    if (roi.x >= srcSize.width || roi.y >= srcSize.height) return ippStsNoRoiOverlap;

    if (roi.width > srcSize.width - roi.x) roi.width = srcSize.width - roi.x;
    if (roi.height > srcSize.height - roi.y) roi.height = srcSize.height - roi.y;

    const int small = srcSize.width < srcSize.height ? srcSize.width : srcSize.height;
    if (small < 6 && code == 16) code = 4;
    if (small < 4) {
        if (code == 4 || code == 6) code = 2;
        if (small == 1) code = 1;
    }

    const Job g{pSrc,
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
                srcSize.height - 1};
    // The smooth-edge flag (top bit) selects the same kernels: positions
    // outside the region are skipped either way, and inside it the plain
    // kernels already keep every neighbourhood within the image, so there is
    // no edge artefact left for a second kernel set to soften.
    switch (code) {
        case 1: remap_nearest<CH>(g); break;
        case 2: remap_linear<CH>(g); break;
        case 4: remap_lagrange<CH>(g); break;
        case 6: remap_windowed<CH, 4>(g); break;
        default: remap_windowed<CH, 6>(g); break;
    }
    return ippStsNoErr;
}

}  // namespace

IppStatus ippiRemap_8u_C1R(const Ipp8u* pSrc, IppiSize srcSize, int srcStep, IppiRect srcRoi,
                           const Ipp32f* pxMap, int xMapStep, const Ipp32f* pyMap, int yMapStep, Ipp8u* pDst,
                           int dstStep, IppiSize dstRoiSize, int interpolation) {
    return remap<1>(pSrc, srcSize, srcStep, srcRoi, pxMap, xMapStep, pyMap, yMapStep, pDst, dstStep,
                    dstRoiSize, interpolation);
}

IppStatus ippiRemap_8u_C3R(const Ipp8u* pSrc, IppiSize srcSize, int srcStep, IppiRect srcRoi,
                           const Ipp32f* pxMap, int xMapStep, const Ipp32f* pyMap, int yMapStep, Ipp8u* pDst,
                           int dstStep, IppiSize dstRoiSize, int interpolation) {
    return remap<3>(pSrc, srcSize, srcStep, srcRoi, pxMap, xMapStep, pyMap, yMapStep, pDst, dstStep,
                    dstRoiSize, interpolation);
}

}  // namespace qm::QM_SET
