// The colour scanner filters on pages large enough to go through in several
// bands of rows (4096 x 49: bands of 16 rows and one of a single row).
// Every byte of the result is checked, frame included: scratch blocks come
// filled with one marker byte, so a filtered plane's frame must hold that
// marker, never rows filtered elsewhere on the page.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <random>
#include <vector>

#include "color_ref.h"
#include "frame/frame.h"
#include "linear_ref.h"
#include "scanfilters/kernel_tables.h"

namespace {

using Image = std::vector<Ipp8u>;
constexpr int W = 4096, H = 49;
constexpr Ipp8u kMarker = 0xA5;

// Scratch from the module's allocator holds the marker until written.
class MarkedScratch {
public:
    MarkedScratch() {
        qm::alloc_hooks().allocate = [](size_t n) {
            void* p = std::malloc(n);
            if (p != nullptr) std::memset(p, kMarker, n);
            return p;
        };
    }
    ~MarkedScratch() { qm::reset_alloc_hooks(); }
};

Image page() {
    std::mt19937 rng(7);
    Image out(size_t(3) * W * H);
    // Noisy ramp, with steps that the bilateral keeps.
    for (size_t i = 0; i < out.size(); ++i) out[i] = Ipp8u((i / 3 % 97) * 2 + (i / 3 % 613 < 300 ? 60 : 0) + rng() % 30);
    return out;
}

Image plane_of(const Image& inter, int c) {
    Image p(size_t(W) * H);
    for (size_t i = 0; i < p.size(); ++i) p[i] = inter[3 * i + c];
    return p;
}

// A plane through the noise-reduction worker into marked scratch; mode 0
// copies when `copies`.
Image nr_plane(const Image& in, Ipp32u mode, Ipp32u level, bool copies) {
    if (copies && mode == 0) return in;
    Image out(in.size(), kMarker);
    const int k = mode == 2 ? 5 : 3, r = k / 2;
    const float sigma = level == 0 ? 1.0f : float(level * 96);
    qmref::ref_filter(in.data() + r * W + r, W, out.data() + r * W + r, W, {W - 2 * r, H - 2 * r}, {k, k},
                      qmref::ref_tables({k, k}, sigma, sigma, 1));
    return out;
}

// Where two results first differ, for the failure message.
::testing::AssertionResult same(const Image& got, const Image& want) {
    for (size_t i = 0; i < got.size(); ++i)
        if (got[i] != want[i])
            return ::testing::AssertionFailure() << "byte " << i % 3 << " of pixel (" << i / 3 % W << ", "
                                                 << i / 3 / W << "): " << int(got[i]) << " for " << int(want[i]);
    return ::testing::AssertionSuccess();
}

Image interleave(const Image* planes) {
    Image out(size_t(3) * W * H);
    for (size_t i = 0; i < size_t(W) * H; ++i)
        for (int c = 0; c < 3; ++c) out[3 * i + c] = planes[c][i];
    return out;
}

TEST(ScanBands, NoiseReductionsMatchTheirPlanesFrameIncluded) {
    const Image src = page();
    const Image planes[3] = {plane_of(src, 0), plane_of(src, 1), plane_of(src, 2)};
    MarkedScratch marked;
    for (Ipp32u mode : {0u, 2u}) {
        Image dst(src.size());
        ASSERT_EQ(DeosNrRGB(src.data(), dst.data(), W, H, mode, 4), 0u);
        const Image want[3] = {nr_plane(planes[0], mode, 4, false), nr_plane(planes[1], mode, 4, false),
                               nr_plane(planes[2], mode, 4, false)};
        EXPECT_TRUE(same(dst, interleave(want))) << "DeosNrRGB mode " << mode;
    }
    Image dst(src.size());
    ASSERT_EQ(DeosNrIndividualRGB(src.data(), dst.data(), W, H, 2, 9, 0, 3, 1, 0), 0u);
    const Image want[3] = {nr_plane(planes[0], 2, 9, true), nr_plane(planes[1], 0, 3, true),
                           nr_plane(planes[2], 1, 0, true)};
    EXPECT_TRUE(same(dst, interleave(want))) << "DeosNrIndividualRGB";

    Image yuv(src.size());
    for (size_t i = 0; i < size_t(W) * H; ++i) {
        const qmref::Px p = qmref::ref_rgb_to_yuv(src[3 * i], src[3 * i + 1], src[3 * i + 2]);
        for (int c = 0; c < 3; ++c) yuv[3 * i + c] = Ipp8u(p[c]);
    }
    const struct { Ipp32u y, uv; } yuvModes[] = {{1, 2}, {0, 1}};
    for (const auto& m : yuvModes) {
        ASSERT_EQ(DeosNrYUV(src.data(), dst.data(), W, H, m.y, 6, m.uv, 2), 0u);
        const Image p[3] = {nr_plane(plane_of(yuv, 0), m.y, 6, true), nr_plane(plane_of(yuv, 1), m.uv, 2, true),
                            nr_plane(plane_of(yuv, 2), m.uv, 2, true)};
        Image rgb(src.size());
        for (size_t i = 0; i < size_t(W) * H; ++i) {
            const qmref::Px q = qmref::ref_yuv_to_rgb(p[0][i], p[1][i], p[2][i], false);
            for (int c = 0; c < 3; ++c) rgb[3 * i + c] = Ipp8u(q[c]);
        }
        EXPECT_TRUE(same(dst, rgb)) << "DeosNrYUV " << m.y << "/" << m.uv;
    }
}

TEST(ScanBands, ConvolutionMatchesItsPlanesFrameIncluded) {
    const Image src = page();
    MarkedScratch marked;
    for (int r : {2, 7}) {
        const int n = 2 * r + 1;
        const float* k = qm::deos_table(r).level(5);
        Image dst(src.size());
        ASSERT_EQ(DeosConvRGB(src.data(), dst.data(), W, H, 0, r, 5), 0u);
        Image want[3];
        for (int c = 0; c < 3; ++c) {
            const Image in = plane_of(src, c);
            want[c].assign(in.size(), kMarker);
            const Image f = qmtest::ref_filter_float(in.data(), W, 1, W - 2 * r, H - 2 * r, k, n, n);
            for (int y = 0; y < H - 2 * r; ++y)
                std::memcpy(want[c].data() + (y + r) * W + r, f.data() + y * (W - 2 * r), W - 2 * r);
        }
        EXPECT_TRUE(same(dst, interleave(want))) << "DeosConvRGB radius " << r;
    }
}

}  // namespace
