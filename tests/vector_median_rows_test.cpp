// The vector median keeps running sums over rows and strips of columns; tall
// regions, strip edges and images full of ties must still give the direct
// definition's pixel in every set.
#include <gtest/gtest.h>

#include <cstdlib>
#include <random>

#include "support/image.h"

namespace {

using qmtest::GuardedImage;

struct Case { int w, h, code, levels; };

class VectorMedianRows : public ::testing::TestWithParam<Case> {};

TEST_P(VectorMedianRows, MatchDirectDefinition) {
    const Case c = GetParam();
    const int r = c.code == 33 ? 1 : 2, m = 2 * r + 1;
    std::mt19937 rng(c.w * 7 + c.h * 5 + c.code + c.levels);
    GuardedImage src(3 * (c.w + 2 * r), c.h + 2 * r, 2);
    for (int y = 0; y < src.rows(); ++y)
        for (int x = 0; x < src.rowBytes(); ++x) src.at(y, x) = static_cast<Ipp8u>(rng() % c.levels * (255 / (c.levels - 1)));
    src.settle();
    auto px = [&](int x, int y, int ch) { return int(src.at(y + r, 3 * (x + r) + ch)); };
    std::vector<Ipp8u> want;
    for (int y = 0; y < c.h; ++y)
        for (int x = 0; x < c.w; ++x) {
            int best = 0, bestD = -1;
            for (int a = 0; a < m * m; ++a) {
                int d = 0;
                for (int b = 0; b < m * m; ++b)
                    for (int ch = 0; ch < 3; ++ch)
                        d += std::abs(px(x + a % m - r, y + a / m - r, ch) - px(x + b % m - r, y + b / m - r, ch));
                if (bestD < 0 || d < bestD) best = a, bestD = d;
            }
            for (int ch = 0; ch < 3; ++ch) want.push_back(static_cast<Ipp8u>(px(x + best % m - r, y + best / m - r, ch)));
        }
    for (auto [set, fn] : QM_ALL_SETS(ippiFilterMedianColor_8u_C3R)) {
        GuardedImage dst(3 * c.w, c.h, 5);
        ASSERT_EQ(fn(src.row(r) + 3 * r, src.step(), dst.data(), dst.step(), {c.w, c.h}, c.code), 0) << set;
        EXPECT_EQ(dst.payload(), want) << set << ' ' << c.w << 'x' << c.h << " code " << c.code;
        EXPECT_TRUE(dst.guards_intact()) << set;
        EXPECT_TRUE(src.untouched()) << set;
    }
}

INSTANTIATE_TEST_SUITE_P(Sizes, VectorMedianRows,
                         ::testing::Values(Case{9, 13, 33, 256}, Case{250, 7, 33, 2}, Case{497, 3, 33, 3},
                                           Case{1, 9, 33, 2}, Case{8, 11, 55, 256}, Case{121, 9, 55, 2},
                                           Case{245, 6, 55, 3}, Case{2, 12, 55, 2}, Case{17, 1, 55, 256}));

}  // namespace
