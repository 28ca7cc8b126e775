// Minimum and maximum filters in every implementation set against a direct
// scan of each neighbourhood: even and wide masks, anchors, padded steps,
// guard bytes, argument checks and allocation failures.
#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <random>
#include <vector>

#include "support/alloc.h"
#include "support/image.h"

namespace {

using qmtest::AllocProbe;
using qmtest::GuardedImage;

struct Case { int w, h, mw, mh, ax, ay, pad; };
void PrintTo(const Case& c, std::ostream* os) {
    *os << "w=" << c.w << " h=" << c.h << " mw=" << c.mw << " mh=" << c.mh << " ax=" << c.ax << " ay=" << c.ay << " pad=" << c.pad;
}

std::vector<Ipp8u> reference(GuardedImage& src, const Case& c, bool max) {
    std::vector<Ipp8u> out;
    for (int y = 0; y < c.h; ++y)
        for (int x = 0; x < c.w; ++x) {
            Ipp8u v = src.at(y, x);
            for (int j = 0; j < c.mh; ++j)
                for (int i = 0; i < c.mw; ++i) v = max ? std::max(v, src.at(y + j, x + i)) : std::min(v, src.at(y + j, x + i));
            out.push_back(v);
        }
    return out;
}

class ExtremeCases : public ::testing::TestWithParam<Case> {};

TEST_P(ExtremeCases, MatchReferenceInEverySet) {
    const Case c = GetParam();
    std::mt19937 rng(c.w * 31 + c.h * 7 + c.mw * 5 + c.mh);
    GuardedImage src(c.w + c.mw - 1, c.h + c.mh - 1, c.pad);
    src.fill_random(rng);
    // Narrow value ranges make ties and repeated extremes common.
    if (c.w % 2 == 1)
        for (int y = 0; y < src.rows(); ++y)
            for (int x = 0; x < src.rowBytes(); ++x) src.at(y, x) = static_cast<Ipp8u>(100 + src.at(y, x) % 4);
    src.settle();
    const Ipp8u* roi = src.row(c.ay) + c.ax;
    for (bool max : {false, true}) {
        const auto want = reference(src, c, max);
        const auto fns = max ? QM_ALL_SETS(ippiFilterMax_8u_C1R) : QM_ALL_SETS(ippiFilterMin_8u_C1R);
        for (auto [set, fn] : fns) {
            GuardedImage dst(c.w, c.h, c.pad + 5);
            AllocProbe probe;
            ASSERT_EQ(fn(roi, src.step(), dst.data(), dst.step(), {c.w, c.h}, {c.mw, c.mh}, {c.ax, c.ay}), 0) << set;
            EXPECT_EQ(dst.payload(), want) << set << (max ? " max" : " min");
            EXPECT_TRUE(dst.guards_intact()) << set;
            EXPECT_TRUE(src.untouched()) << set;
            EXPECT_EQ(probe.live(), 0u) << set;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Shapes, ExtremeCases,
    ::testing::Values(Case{1, 1, 1, 1, 0, 0, 0}, Case{20, 7, 1, 1, 0, 0, 3}, Case{33, 9, 3, 3, 1, 1, 0},
                      Case{48, 10, 2, 2, 1, 0, 5}, Case{17, 16, 4, 6, 0, 5, 2}, Case{70, 12, 7, 7, 3, 3, 0},
                      Case{31, 5, 8, 1, 7, 0, 1}, Case{64, 8, 9, 3, 4, 2, 0}, Case{45, 11, 13, 2, 12, 1, 7},
                      Case{100, 6, 32, 5, 16, 4, 0}, Case{37, 9, 33, 1, 0, 0, 2}, Case{25, 40, 1, 17, 0, 16, 0},
                      Case{15, 3, 6, 70, 2, 35, 0}, Case{129, 21, 64, 66, 63, 0, 4}));

TEST(Extremes, ChecksSizeBeforeStep) {
    Ipp8u buf[64] = {};
    struct Bad { const Ipp8u* src; int step; IppiSize roi, mask; IppiPoint anchor; IppStatus want; };
    const Bad table[] = {
        {nullptr, 0, {0, 1}, {0, 0}, {0, 0}, ippStsNullPtrErr},
        {buf, 0, {0, 1}, {3, 3}, {1, 1}, ippStsSizeErr},
        {buf, 0, {2, 2}, {0, 3}, {1, 1}, ippStsStepErr},
        {buf, 8, {2, 2}, {3, 0}, {1, 1}, ippStsMaskSizeErr},
        {buf, 8, {2, 2}, {4, 2}, {4, 0}, ippStsAnchorErr},
        {buf, 8, {2, 2}, {4, 2}, {0, 2}, ippStsAnchorErr},
    };
    for (const Bad& b : table)
        for (const auto& fns : {QM_ALL_SETS(ippiFilterMin_8u_C1R), QM_ALL_SETS(ippiFilterMax_8u_C1R)})
            for (auto [set, fn] : fns) {
                EXPECT_EQ(fn(b.src, b.step, buf, 8, b.roi, b.mask, b.anchor), b.want) << set;
                EXPECT_EQ(fn(b.src, 8, buf, b.step, b.roi, b.mask, b.anchor), b.want) << set;
            }
    EXPECT_EQ(ippiFilterMin_8u_C1R(buf, 8, nullptr, 8, {1, 1}, {1, 1}, {0, 0}), ippStsNullPtrErr);
    for (Ipp8u v : buf) EXPECT_EQ(v, 0);
}

}  // namespace
