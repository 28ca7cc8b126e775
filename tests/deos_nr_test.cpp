// Scanner noise reduction against a plane-by-plane reference built from the
// plain bilateral and YUV references; argument codes; allocation failures.
#include <gtest/gtest.h>

#include <functional>
#include <random>

#include "color_ref.h"
#include "support/alloc.h"
#include "support/image.h"

namespace {

using namespace qmref;
using Image = std::vector<Ipp8u>;

Image random_image(size_t n, unsigned seed) {
    std::mt19937 rng(seed);
    Image out(n);
    // Noisy ramp: neighbours both close and far apart in value.
    for (size_t i = 0; i < n; ++i) out[i] = Ipp8u((i % 97) * 2 + rng() % 40);
    return out;
}

// One plane through the worker's steps: level * 96 (1 for level 0) and only the interior.
void ref_plane(const Ipp8u* in, Ipp8u* out, int w, int h, Ipp32u mode, Ipp32u level) {
    const int k = mode == 2 ? 5 : 3, r = k / 2;
    const float sigma = level == 0 ? 1.0f : float(level * 96);
    ref_filter(in + r * w + r, w, out + r * w + r, w, {w - 2 * r, h - 2 * r}, {k, k}, ref_tables({k, k}, sigma, sigma, 1));
}

Image plane_of(const Image& inter, int c) {
    Image p(inter.size() / 3);
    for (size_t i = 0; i < p.size(); ++i) p[i] = inter[3 * i + c];
    return p;
}

// True when channel c of `got` equals plane `want` at every pixel at least `frame` from the border.
::testing::AssertionResult interior_equal(const Image& got, int c, const Image& want, int w, int h, int frame) {
    for (int y = frame; y < h - frame; ++y)
        for (int x = frame; x < w - frame; ++x)
            if (got[3 * (y * w + x) + c] != want[y * w + x])
                return ::testing::AssertionFailure() << "channel " << c << " differs at " << x << "," << y;
    return ::testing::AssertionSuccess();
}

TEST(DeosNr, ArgumentCodesComeFirstAndWriteNothing) {
    constexpr int W = 8, H = 6;
    const Image src = random_image(3 * W * H, 1);
    struct Case { const char* what; std::function<Ipp32u(Ipp8u*, int)> call; Ipp32u code; };
    const Case cases[] = {
        {"RGB mode 3", [&](Ipp8u* d, int w) { return DeosNrRGB(src.data(), d, w, H, 3, 11); }, 1},
        {"RGB level 11", [&](Ipp8u* d, int w) { return DeosNrRGB(src.data(), d, w, H, 2, 11); }, 2},
        {"RGB width 6", [&](Ipp8u* d, int) { return DeosNrRGB(src.data(), d, 6, H, 1, 10); }, 3},
        {"Individual mode2 3",
         [&](Ipp8u* d, int w) { return DeosNrIndividualRGB(src.data(), d, w, H, 0, 11, 0, 0, 3, 0); }, 1},
        {"Individual level1 11",
         [&](Ipp8u* d, int w) { return DeosNrIndividualRGB(src.data(), d, w, H, 0, 0, 2, 11, 0, 0); }, 2},
        {"Individual width 2", [&](Ipp8u* d, int) { return DeosNrIndividualRGB(src.data(), d, 2, H, 0, 0, 0, 0, 0, 0); }, 3},
        {"YUV modeUV over levelY", [&](Ipp8u* d, int w) { return DeosNrYUV(src.data(), d, w, H, 0, 11, 3, 0); }, 1},
        {"YUV levelUV 11", [&](Ipp8u* d, int w) { return DeosNrYUV(src.data(), d, w, H, 1, 10, 2, 11); }, 2},
        {"YUV width 5", [&](Ipp8u* d, int) { return DeosNrYUV(src.data(), d, 5, H, 1, 1, 1, 1); }, 3},
        {"Mono mode 4", [&](Ipp8u* d, int w) { return DeosNrMono(src.data(), d, w, H, 4, 0); }, 1},
        {"Mono level 12", [&](Ipp8u* d, int w) { return DeosNrMono(src.data(), d, w, H, 0, 12); }, 2},
    };
    for (const Case& c : cases) {
        qmtest::AllocProbe probe;
        qmtest::GuardedImage dst(3 * W, H);
        EXPECT_EQ(c.call(dst.data(), W), c.code) << c.what;
        EXPECT_TRUE(dst.untouched()) << c.what;
        EXPECT_EQ(probe.calls(), 0) << c.what;
    }
}

// The grey filter does not refuse sizes; those without an interior, down to
// INT32_MIN (where width - 2 would wrap to a huge region), touch nothing.
TEST(DeosNr, MonoWithoutInteriorTouchesNothing) {
    const int sizes[][2] = {{INT32_MIN, 9}, {9, INT32_MIN}, {INT32_MIN + 1, 9}, {9, INT32_MIN + 3},
                            {INT32_MIN, INT32_MIN}, {2, 9}, {9, 4}, {-7, 9}};
    for (const auto& sz : sizes)
        for (Ipp32u mode : {0u, 1u, 2u}) {
            if (mode != 2 && (sz[0] == 9 && sz[1] == 4)) continue;  // 3 x 3 has an interior there
            qmtest::GuardedImage src(1, 1), dst(1, 1);
            qmtest::AllocProbe probe;
            EXPECT_EQ(DeosNrMono(src.data(), dst.data(), sz[0], sz[1], mode, 3), 0u) << sz[0] << "x" << sz[1];
            EXPECT_TRUE(dst.untouched()) << sz[0] << "x" << sz[1] << " mode " << mode;
            EXPECT_EQ(probe.calls(), 0);
        }
}

struct Setting { Ipp32u mode, level; };
class DeosNrMonoSettings : public ::testing::TestWithParam<Setting> {};

TEST_P(DeosNrMonoSettings, FiltersInteriorKeepsFrame) {
    const Setting s = GetParam();
    constexpr int W = 10, H = 9;  // no width check in the grey filter
    const Image src = random_image(W * H, 2);
    qmtest::GuardedImage dst(W, H, 0);
    Image want = dst.payload();
    ref_plane(src.data(), want.data(), W, H, s.mode, s.level);
    ASSERT_EQ(DeosNrMono(src.data(), dst.data(), W, H, s.mode, s.level), 0u);
    EXPECT_EQ(dst.payload(), want);
    EXPECT_TRUE(dst.guards_intact());
}

INSTANTIATE_TEST_SUITE_P(Settings, DeosNrMonoSettings,
                         ::testing::Values(Setting{0, 0}, Setting{1, 1}, Setting{2, 5}, Setting{1, 10}, Setting{2, 10}));

TEST(DeosNr, RgbFiltersEveryChannelModeZeroIncluded) {
    constexpr int W = 20, H = 11;
    const Image src = random_image(3 * W * H, 3);
    for (Setting s : {Setting{0, 4}, Setting{1, 0}, Setting{2, 10}}) {
        Image dst(3 * W * H);
        ASSERT_EQ(DeosNrRGB(src.data(), dst.data(), W, H, s.mode, s.level), 0u);
        for (int c = 0; c < 3; ++c) {
            Image want = plane_of(src, c);
            ref_plane(plane_of(src, c).data(), want.data(), W, H, s.mode, s.level);
            EXPECT_TRUE(interior_equal(dst, c, want, W, H, s.mode == 2 ? 2 : 1)) << "mode " << s.mode;
        }
    }
}

TEST(DeosNr, IndividualRgbSettingPerChannel) {
    constexpr int W = 16, H = 10;
    const Image src = random_image(3 * W * H, 4);
    Image dst(3 * W * H);
    ASSERT_EQ(DeosNrIndividualRGB(src.data(), dst.data(), W, H, 0, 9, 1, 3, 2, 10), 0u);
    EXPECT_TRUE(interior_equal(dst, 0, plane_of(src, 0), W, H, 0));  // copied, frame included
    Image want1 = plane_of(src, 1), want2 = plane_of(src, 2);
    ref_plane(plane_of(src, 1).data(), want1.data(), W, H, 1, 3);
    ref_plane(plane_of(src, 2).data(), want2.data(), W, H, 2, 10);
    EXPECT_TRUE(interior_equal(dst, 1, want1, W, H, 1));
    EXPECT_TRUE(interior_equal(dst, 2, want2, W, H, 2));

    ASSERT_EQ(DeosNrIndividualRGB(src.data(), dst.data(), W, H, 0, 10, 0, 10, 0, 10), 0u);
    EXPECT_EQ(dst, src);
}

TEST(DeosNr, YuvFiltersLumaAndChromaApart) {
    constexpr int W = 12, H = 9;
    const Image src = random_image(3 * W * H, 5);
    Image yuv(src.size());
    for (int i = 0; i < W * H; ++i) {
        const Px p = ref_rgb_to_yuv(src[3 * i], src[3 * i + 1], src[3 * i + 2]);
        std::copy(p.begin(), p.end(), yuv.begin() + 3 * i);
    }
    struct Case { Setting y, uv; int frame; };
    for (const Case& c : {Case{{0, 0}, {0, 0}, 0}, Case{{2, 7}, {0, 3}, 2}, Case{{0, 3}, {1, 10}, 1},
                          Case{{1, 0}, {2, 2}, 2}}) {
        Image planes[3] = {plane_of(yuv, 0), plane_of(yuv, 1), plane_of(yuv, 2)};
        if (c.y.mode != 0) ref_plane(plane_of(yuv, 0).data(), planes[0].data(), W, H, c.y.mode, c.y.level);
        for (int p = 1; p < 3 && c.uv.mode != 0; ++p)
            ref_plane(plane_of(yuv, p).data(), planes[p].data(), W, H, c.uv.mode, c.uv.level);
        Image dst(src.size());
        ASSERT_EQ(DeosNrYUV(src.data(), dst.data(), W, H, c.y.mode, c.y.level, c.uv.mode, c.uv.level), 0u);
        for (int y = c.frame; y < H - c.frame; ++y)
            for (int x = c.frame; x < W - c.frame; ++x) {
                const int i = y * W + x;
                const Px want = ref_yuv_to_rgb(planes[0][i], planes[1][i], planes[2][i], false);
                ASSERT_EQ((Px{dst[3 * i], dst[3 * i + 1], dst[3 * i + 2]}), want)
                    << "modes " << c.y.mode << "/" << c.uv.mode << " at " << x << "," << y;
            }
    }
}

}  // namespace
