// The 5x5 Gauss filter on rows long enough to be cut into strips, and the
// division by 571 that its single-precision form relies on.
#include <gtest/gtest.h>

#include <cfenv>
#include <random>

#include "support/image.h"

namespace {

using qmtest::GuardedImage;

TEST(GaussWide, ReciprocalProductRoundsLikeTheIntegerRule) {
    // Every total the 5x5 mask can produce, in every rounding mode.
    const volatile float recip = 1.0f / 571.0f;
    for (int mode : {FE_TONEAREST, FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO}) {
        std::fesetround(mode);
        for (int s = 0; s <= 255 * 571; ++s) {
            const int want = static_cast<int>((static_cast<Ipp32u>(s + 286) * 29382u) >> 24);
            const float t = static_cast<float>(s) * recip + 0.5f;
            ASSERT_EQ(static_cast<int>(t), want) << s << " mode " << mode;
        }
    }
    std::fesetround(FE_TONEAREST);
}

struct Case { int w, h, k; };
class GaussWide : public ::testing::TestWithParam<Case> {};

TEST_P(GaussWide, MatchesPlainWeightsInEverySet) {
    static const int w5[5][5] = {{2, 7, 12, 7, 2}, {7, 31, 52, 31, 7}, {12, 52, 127, 52, 12},
                                 {7, 31, 52, 31, 7}, {2, 7, 12, 7, 2}};
    const Case c = GetParam();
    std::mt19937 rng(c.w * 11 + c.h + c.k);
    GuardedImage src(c.k * (c.w + 4), c.h + 4, 3);
    // Smooth areas, steps and noise: totals across the whole range.
    for (int y = 0; y < src.rows(); ++y)
        for (int x = 0; x < src.rowBytes(); ++x) {
            const int band = (x / 37 + y / 5) % 4;
            src.at(y, x) = static_cast<Ipp8u>(band == 0 ? 255 : band == 1 ? 0 : band == 2 ? rng() % 256 : 128 + rng() % 3);
        }
    src.settle();
    std::vector<Ipp8u> want;
    for (int y = 0; y < c.h; ++y)
        for (int x = 0; x < c.w * c.k; ++x) {
            int s = 0;
            for (int j = 0; j < 5; ++j)
                for (int i = 0; i < 5; ++i) s += w5[j][i] * src.at(y + j, x + i * c.k);
            want.push_back(static_cast<Ipp8u>((2 * s + 571) / 1142));
        }
    auto sets = c.k == 1 ? QM_ALL_SETS(ippiFilterGauss_8u_C1R) : QM_ALL_SETS(ippiFilterGauss_8u_C3R);
    for (auto [set, fn] : sets) {
        GuardedImage dst(c.w * c.k, c.h, 2);
        ASSERT_EQ(fn(src.row(2) + 2 * c.k, src.step(), dst.data(), dst.step(), {c.w, c.h}, 55), 0) << set;
        EXPECT_EQ(dst.payload(), want) << set << ' ' << c.w << 'x' << c.h << " k " << c.k;
        EXPECT_TRUE(dst.guards_intact()) << set;
        EXPECT_TRUE(src.untouched()) << set;
    }
}

INSTANTIATE_TEST_SUITE_P(Sizes, GaussWide,
                         ::testing::Values(Case{800, 9, 1}, Case{773, 2, 1}, Case{783, 3, 1}, Case{263, 7, 3},
                                           Case{517, 1, 3}, Case{6, 5, 3}, Case{1600, 4, 1}));

}  // namespace
