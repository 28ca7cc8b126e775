// The noise reductions as the driver reaches them: the loaded module and lookup by name,
// checked against the module's own primitives looked up the same way (the
// argument codes are the unit tests' business).
#include <gtest/gtest.h>

#include <vector>

#include "host/loaded_module.h"
#include "ippiQM300.h"

namespace {

class NoiseReduction : public qmtest::LoadedModule {
protected:
    static std::vector<Ipp8u> image(size_t n) {
        std::vector<Ipp8u> v(n);
        for (size_t i = 0; i < n; ++i) v[i] = Ipp8u((i * 37 + (i * i) % 23) & 255);
        return v;
    }
};

TEST_F(NoiseReduction, MonoIsTheBilateralFilterOnTheInterior) {
    auto mono = get<qm_DeosNrMono_fn>("DeosNrMono");
    auto size = get<qm_ippiFilterBilateralGetBufSize_8u_C1R_fn>("ippiFilterBilateralGetBufSize_8u_C1R");
    auto init = get<qm_ippiFilterBilateralInit_8u_C1R_fn>("ippiFilterBilateralInit_8u_C1R");
    auto filter = get<qm_ippiFilterBilateral_8u_C1R_fn>("ippiFilterBilateral_8u_C1R");
    ASSERT_TRUE(mono && size && init && filter);
    constexpr int W = 30, H = 12;
    const std::vector<Ipp8u> src = image(W * H);
    for (Ipp32u mode : {0u, 1u, 2u}) {
        const int k = mode == 2 ? 5 : 3, r = k / 2;
        std::vector<Ipp8u> got(W * H, 7), want(W * H, 7);
        ASSERT_EQ(mono(src.data(), got.data(), W, H, mode, 4), 0u);
        int n = 0;
        ASSERT_EQ(size(100, {W - 2 * r, H - 2 * r}, {k, k}, &n), 0);
        std::vector<Ipp8u> buf(n);
        ASSERT_EQ(init(100, {k, k}, 384.0f, 384.0f, 1, buf.data()), 0);
        ASSERT_EQ(filter(src.data() + r * W + r, W, want.data() + r * W + r, W, {W - 2 * r, H - 2 * r}, {k, k},
                         buf.data()),
                  0);
        EXPECT_EQ(got, want) << "mode " << mode;
    }
}

TEST_F(NoiseReduction, CopiedPlanesGiveTheSourceOrItsYuvRoundTrip) {
    auto ind = get<qm_DeosNrIndividualRGB_fn>("DeosNrIndividualRGB");
    auto yuv = get<qm_DeosNrYUV_fn>("DeosNrYUV");
    auto toYuv = get<qm_ippiRGBToYUV_8u_C3R_fn>("ippiRGBToYUV_8u_C3R");
    auto toRgb = get<qm_ippiYUVToRGB_8u_C3R_fn>("ippiYUVToRGB_8u_C3R");
    ASSERT_TRUE(ind && yuv && toYuv && toRgb);
    constexpr int W = 36, H = 5;
    const std::vector<Ipp8u> src = image(3 * W * H);
    std::vector<Ipp8u> dst(src.size()), tmp(src.size()), want(src.size());
    ASSERT_EQ(ind(src.data(), dst.data(), W, H, 0, 3, 0, 3, 0, 3), 0u);
    EXPECT_EQ(dst, src);
    ASSERT_EQ(yuv(src.data(), dst.data(), W, H, 0, 10, 0, 10), 0u);
    ASSERT_EQ(toYuv(src.data(), 3 * W, tmp.data(), 3 * W, {W, H}), 0);
    ASSERT_EQ(toRgb(tmp.data(), 3 * W, want.data(), 3 * W, {W, H}), 0);
    EXPECT_EQ(dst, want);
}

}  // namespace
