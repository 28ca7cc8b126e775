// Median, vector median and Gauss filters in every implementation set against
// plain references: random images, padded steps, anchors, guard bytes.
#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <random>

#include "primitives/neighbourhood/median_network.h"
#include "support/alloc.h"
#include "support/image.h"

namespace {

using qmtest::AllocProbe;
using qmtest::GuardedImage;

// A source that covers every neighbourhood of a w x h region for a mask
// reaching `before` pixels left/up and `after` right/down, filled from rng
// with values below `levels`.
struct Source {
    GuardedImage img;
    int before, k;
    Source(int w, int h, int k, int before, int after, int pad, std::mt19937& rng, int levels = 256)
        : img(k * (w + before + after), h + before + after, pad), before(before), k(k) {
        for (int y = 0; y < img.rows(); ++y)
            for (int x = 0; x < img.rowBytes(); ++x) img.at(y, x) = static_cast<Ipp8u>(rng() % levels);
    }
    // Sample (x, y) relative to the region's origin.
    int at(int x, int y, int c = 0) { return img.at(y + before, (x + before) * k + c); }
    const Ipp8u* origin() { return img.row(before) + before * k; }
};

// ---- Median -----------------------------------------------------------------------

struct MedianCase { int w, h, k, mw, mh, ax, ay, pad; };

class MedianShapes : public ::testing::TestWithParam<MedianCase> {};

TEST_P(MedianShapes, MatchReferenceInEverySet) {
    const MedianCase c = GetParam();
    std::mt19937 rng(c.w * 31 + c.mw * 7 + c.mh + c.k);
    const int reach = std::max(c.mw, c.mh);
    for (int levels : {256, 3}) {  // three levels: many equal values
        Source src(c.w, c.h, c.k, reach, reach, c.pad, rng, levels);
        std::vector<Ipp8u> want;
        for (int y = 0; y < c.h; ++y)
            for (int x = 0; x < c.w; ++x)
                for (int ch = 0; ch < c.k; ++ch) {
                    std::vector<int> v;
                    for (int j = 0; j < c.mh; ++j)
                        for (int i = 0; i < c.mw; ++i) v.push_back(src.at(x - c.ax + i, y - c.ay + j, ch));
                    std::nth_element(v.begin(), v.begin() + v.size() / 2, v.end());
                    want.push_back(static_cast<Ipp8u>(v[v.size() / 2]));
                }
        auto sets = c.k == 1 ? QM_ALL_SETS(ippiFilterMedian_8u_C1R) : QM_ALL_SETS(ippiFilterMedian_8u_C3R);
        for (auto [set, fn] : sets) {
            GuardedImage dst(c.w * c.k, c.h, c.pad + 3);
            ASSERT_EQ(fn(src.origin(), src.img.step(), dst.data(), dst.step(), {c.w, c.h}, {c.mw, c.mh},
                         {c.ax, c.ay}),
                      ippStsNoErr)
                << set;
            EXPECT_EQ(dst.payload(), want) << set << " " << c.mw << "x" << c.mh;
            EXPECT_TRUE(dst.guards_intact()) << set;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Masks, MedianShapes,
    ::testing::Values(
        MedianCase{37, 5, 1, 3, 3, 1, 1, 0}, MedianCase{700, 3, 1, 3, 3, 0, 0, 9},  // strips, anchor at corner
        MedianCase{5, 4, 1, 3, 3, 2, 2, 1}, MedianCase{19, 3, 3, 3, 3, 1, 0, 2},
        MedianCase{41, 6, 1, 5, 5, 2, 2, 0}, MedianCase{3, 3, 1, 5, 5, 4, 0, 5},
        MedianCase{200, 3, 3, 5, 5, 2, 3, 1}, MedianCase{33, 4, 1, 3, 1, 1, 0, 0},
        MedianCase{2, 4, 3, 5, 1, 4, 0, 2}, MedianCase{21, 4, 1, 1, 3, 0, 2, 0},
        MedianCase{18, 5, 3, 1, 5, 0, 1, 7}, MedianCase{9, 3, 3, 1, 1, 0, 0, 1},
        MedianCase{23, 5, 1, 7, 7, 3, 3, 3}, MedianCase{1, 4, 3, 7, 7, 6, 0, 0},  // width 1: no sliding
        MedianCase{30, 4, 3, 3, 5, 0, 4, 2}, MedianCase{17, 3, 1, 7, 1, 5, 0, 0},
        MedianCase{20, 4, 1, 1, 7, 0, 3, 1}, MedianCase{6, 3, 3, 1, 9, 0, 8, 0},
        MedianCase{12, 3, 1, 9, 3, 4, 1, 4}));

TEST(Median, ArgumentChecksInOrderWriteNothing) {
    Ipp8u src[64 * 16] = {};
    struct Bad { const Ipp8u* s; Ipp8u* d; IppiSize roi; int step; IppiSize mask; IppiPoint anchor; IppStatus want; };
    GuardedImage dst(8, 4);
    const Ipp8u* s = src + 2 * 64 + 8;
    Ipp8u* d = dst.data();
    const Bad cases[] = {
        {nullptr, d, {0, 1}, 0, {2, 3}, {9, 9}, ippStsNullPtrErr},
        {s, nullptr, {1, 1}, 64, {3, 3}, {1, 1}, ippStsNullPtrErr},
        {s, d, {0, 1}, 0, {2, 3}, {9, 9}, ippStsSizeErr},
        {s, d, {1, -1}, 64, {3, 3}, {1, 1}, ippStsSizeErr},
        {s, d, {1, 1}, 0, {2, 3}, {9, 9}, ippStsStepErr},
        {s, d, {1, 1}, 64, {2, 3}, {9, 9}, ippStsMaskSizeErr},
        {s, d, {1, 1}, 64, {3, 2}, {1, 1}, ippStsMaskSizeErr},
        {s, d, {1, 1}, 64, {0, 3}, {0, 1}, ippStsMaskSizeErr},
        {s, d, {1, 1}, 64, {-3, 3}, {0, 1}, ippStsMaskSizeErr},
        {s, d, {1, 1}, 64, {3, 3}, {3, 0}, ippStsAnchorErr},
        {s, d, {1, 1}, 64, {3, 3}, {0, -1}, ippStsAnchorErr},
    };
    for (const Bad& b : cases) {
        for (auto [set, fn] : QM_ALL_SETS(ippiFilterMedian_8u_C1R))
            EXPECT_EQ(fn(b.s, b.step, b.d, b.step, b.roi, b.mask, b.anchor), b.want) << set;
        for (auto [set, fn] : QM_ALL_SETS(ippiFilterMedian_8u_C3R))
            EXPECT_EQ(fn(b.s, b.step, b.d, b.step, b.roi, b.mask, b.anchor), b.want) << set;
    }
    EXPECT_TRUE(dst.untouched());
}

TEST(Median, SevenBySevenOfZeroToFortyEightIsTwentyFourAndConstantsStay) {
    std::vector<Ipp8u> v(49);
    std::iota(v.begin(), v.end(), 0);
    std::shuffle(v.begin(), v.end(), std::mt19937(5));
    std::vector<Ipp8u> flat(49, 77);
    for (auto [set, fn] : QM_ALL_SETS(ippiFilterMedian_8u_C1R)) {
        Ipp8u out[2] = {0, 0};
        ASSERT_EQ(fn(v.data() + 3 * 7 + 3, 7, out, 1, {1, 1}, {7, 7}, {3, 3}), 0) << set;
        ASSERT_EQ(fn(flat.data() + 3 * 7 + 3, 7, out + 1, 1, {1, 1}, {7, 7}, {3, 3}), 0) << set;
        EXPECT_EQ(out[0], 24) << set;
        EXPECT_EQ(out[1], 77) << set;
    }
}

// The fixed-shape networks pick the middle value of every 0-1 input (with
// sorted columns where the 5x5 network expects them), hence of every input.
TEST(Median, NetworksSelectTheMiddleOfEveryZeroOneInput) {
    using namespace qm::median_net;
    auto check = [](const Network& net, int group) {
        const int n = net.wires, groups = n / group;
        int total = 1;
        for (int g = 0; g < groups; ++g) total *= group + 1;
        for (int t = 0; t < total; ++t) {
            int v[25] = {}, rest = t, ones = 0;
            for (int g = 0; g < groups; ++g, rest /= group + 1)
                for (int r = group - rest % (group + 1); r < group; ++r, ++ones) v[g * group + r] = 1;
            for (int i = 0; i < net.count; ++i) {
                const Cmp c = net.c[i];
                const int a = v[c.lo], b = v[c.hi];
                if (c.keepLo) v[c.lo] = std::min(a, b);
                if (c.keepHi) v[c.hi] = std::max(a, b);
            }
            ASSERT_EQ(v[net.out], ones > n / 2 ? 1 : 0) << n << " " << t;
        }
    };
    check(median_network(3), 1);
    check(median_network(5), 1);
    check(median_network(25, 5), 5);
    for (int n : {3, 5}) {  // full sorts: every 0-1 input comes out ascending
        const Network s = sorting_network(n);
        for (int t = 0; t < (1 << n); ++t) {
            int v[5];
            for (int i = 0; i < n; ++i) v[i] = (t >> i) & 1;
            for (int i = 0; i < s.count; ++i)
                if (v[s.c[i].lo] > v[s.c[i].hi]) std::swap(v[s.c[i].lo], v[s.c[i].hi]);
            EXPECT_TRUE(std::is_sorted(v, v + n)) << n << " " << t;
        }
    }
}

// ---- Vector median ------------------------------------------------------------------

struct ColorCase { int w, h, code, pad, levels; };
class VectorMedian : public ::testing::TestWithParam<ColorCase> {};

TEST_P(VectorMedian, MatchesTheDirectDefinitionInEverySet) {
    const ColorCase c = GetParam();
    const int r = c.code == 33 ? 1 : 2, m = 2 * r + 1;
    std::mt19937 rng(c.w * 13 + c.code + c.levels);
    Source src(c.w, c.h, 3, r, r, c.pad, rng, c.levels);
    std::vector<Ipp8u> want;
    for (int y = 0; y < c.h; ++y)
        for (int x = 0; x < c.w; ++x) {
            int best = -1, bestD = 0;
            for (int a = 0; a < m * m; ++a) {
                int d = 0;
                for (int b = 0; b < m * m; ++b)
                    for (int ch = 0; ch < 3; ++ch)
                        d += std::abs(src.at(x + a % m - r, y + a / m - r, ch) - src.at(x + b % m - r, y + b / m - r, ch));
                if (best < 0 || d < bestD) best = a, bestD = d;
            }
            for (int ch = 0; ch < 3; ++ch)
                want.push_back(static_cast<Ipp8u>(src.at(x + best % m - r, y + best / m - r, ch)));
        }
    for (auto [set, fn] : QM_ALL_SETS(ippiFilterMedianColor_8u_C3R)) {
        GuardedImage dst(3 * c.w, c.h, c.pad + 1);
        ASSERT_EQ(fn(src.origin(), src.img.step(), dst.data(), dst.step(), {c.w, c.h}, c.code), 0) << set;
        EXPECT_EQ(dst.payload(), want) << set;
        EXPECT_TRUE(dst.guards_intact()) << set;
    }
}

INSTANTIATE_TEST_SUITE_P(Sizes, VectorMedian,
                         ::testing::Values(ColorCase{7, 3, 33, 0, 256}, ColorCase{40, 3, 33, 5, 3},
                                           ColorCase{300, 2, 33, 0, 2}, ColorCase{15, 4, 55, 2, 256},
                                           ColorCase{33, 3, 55, 0, 3}, ColorCase{1, 2, 55, 1, 2},
                                           ColorCase{270, 2, 55, 3, 256},
                                           // Running sums over rows and column strips: tall
                                           // regions, strip edges, images full of ties.
                                           ColorCase{9, 13, 33, 2, 256}, ColorCase{250, 7, 33, 0, 2},
                                           ColorCase{497, 3, 33, 1, 3}, ColorCase{1, 9, 33, 0, 2},
                                           ColorCase{8, 11, 55, 2, 256}, ColorCase{121, 9, 55, 0, 2},
                                           ColorCase{245, 6, 55, 1, 3}, ColorCase{2, 12, 55, 0, 2},
                                           ColorCase{17, 1, 55, 2, 256}));

TEST(VectorMedian, TieGoesToTheEarliestCandidateAndChecksComeInOrder) {
    // Four black and four (10,10,10) pixels tie (total 325 each); the far
    // pixel (0,5,200) is last. Whichever kind comes first in row-major order wins.
    for (Ipp8u first : {Ipp8u{0}, Ipp8u{10}}) {
        Ipp8u img[3][9];
        const Ipp8u other = first == 0 ? 10 : 0;
        const Ipp8u order[8] = {first, other, other, first, first, other, first, other};
        for (int i = 0; i < 8; ++i) std::fill_n(&img[i / 3][3 * (i % 3)], 3, order[i]);
        img[2][6] = 0, img[2][7] = 5, img[2][8] = 200;
        for (auto [set, fn] : QM_ALL_SETS(ippiFilterMedianColor_8u_C3R)) {
            Ipp8u out[3] = {1, 1, 1};
            ASSERT_EQ(fn(&img[1][3], 9, out, 3, {1, 1}, 33), 0) << set;
            EXPECT_EQ(out[0] + out[1] + out[2], 3 * first) << set;
        }
    }
    GuardedImage dst(9, 3);
    Ipp8u src[9 * 9] = {};
    for (auto [set, fn] : QM_ALL_SETS(ippiFilterMedianColor_8u_C3R)) {
        EXPECT_EQ(fn(src + 12, 9, nullptr, 9, {0, 1}, 35), ippStsNullPtrErr) << set;
        EXPECT_EQ(fn(src + 12, 9, dst.data(), 9, {1, 0}, 35), ippStsSizeErr) << set;
        EXPECT_EQ(fn(src + 12, 9, dst.data(), 0, {1, 1}, 35), ippStsStepErr) << set;
        EXPECT_EQ(fn(src + 12, 9, dst.data(), 9, {1, 1}, 35), ippStsMaskSizeErr) << set;
    }
    EXPECT_TRUE(dst.untouched());
}

// ---- Gauss --------------------------------------------------------------------------

struct GaussCase { int w, h, k, code, pad; };
class Gauss : public ::testing::TestWithParam<GaussCase> {};

TEST_P(Gauss, MatchesPlainWeightsInEverySet) {
    const GaussCase c = GetParam();
    static const int w3[3] = {1, 2, 1};
    static const int w5[5][5] = {{2, 7, 12, 7, 2}, {7, 31, 52, 31, 7}, {12, 52, 127, 52, 12},
                                 {7, 31, 52, 31, 7}, {2, 7, 12, 7, 2}};
    const int r = c.code == 33 ? 1 : 2;
    std::mt19937 rng(c.w * 3 + c.h + c.code);
    Source src(c.w, c.h, c.k, r, r, c.pad, rng);
    std::vector<Ipp8u> want;
    for (int y = 0; y < c.h; ++y)
        for (int x = 0; x < c.w; ++x)
            for (int ch = 0; ch < c.k; ++ch) {
                int s = 0;
                for (int j = -r; j <= r; ++j)
                    for (int i = -r; i <= r; ++i)
                        s += (r == 1 ? w3[j + 1] * w3[i + 1] : w5[j + 2][i + 2]) * src.at(x + i, y + j, ch);
                // 3x3: halves go to the even neighbour; 5x5: nearest (571 is odd, no halves).
                const int q = r == 1 ? s / 16 + (s % 16 > 8 || (s % 16 == 8 && (s / 16) % 2 == 1))
                                     : (2 * s + 571) / 1142;
                want.push_back(static_cast<Ipp8u>(q));
            }
    auto sets = c.k == 1 ? QM_ALL_SETS(ippiFilterGauss_8u_C1R) : QM_ALL_SETS(ippiFilterGauss_8u_C3R);
    for (auto [set, fn] : sets) {
        GuardedImage dst(c.w * c.k, c.h, c.pad);
        AllocProbe probe;
        ASSERT_EQ(fn(src.origin(), src.img.step(), dst.data(), dst.step(), {c.w, c.h}, c.code), 0) << set;
        EXPECT_EQ(dst.payload(), want) << set;
        EXPECT_TRUE(dst.guards_intact()) << set;
        EXPECT_EQ(probe.live(), 0u) << set;
    }
}

INSTANTIATE_TEST_SUITE_P(Sizes, Gauss,
                         ::testing::Values(GaussCase{1, 1, 1, 33, 0}, GaussCase{1, 1, 1, 55, 0},
                                           GaussCase{15, 4, 1, 33, 3}, GaussCase{16, 3, 1, 55, 0},
                                           GaussCase{37, 5, 3, 33, 1}, GaussCase{29, 6, 3, 55, 7},
                                           GaussCase{5, 3, 3, 55, 2}, GaussCase{131, 3, 1, 55, 0},
                                           // 5x5 rows long enough to be cut into strips.
                                           GaussCase{800, 9, 1, 55, 3}, GaussCase{773, 2, 1, 55, 0},
                                           GaussCase{783, 3, 1, 55, 1}, GaussCase{263, 7, 3, 55, 2},
                                           GaussCase{517, 1, 3, 55, 0}, GaussCase{6, 5, 3, 55, 3},
                                           GaussCase{1600, 4, 1, 55, 0}));

TEST(Gauss, TiesGoToEvenConstantsStayAndFailuresWriteNothing) {
    for (auto [set, fn] : QM_ALL_SETS(ippiFilterGauss_8u_C1R)) {
        for (auto [centre, want] : {std::pair{6, 2}, std::pair{10, 2}, std::pair{14, 4}}) {  // S = 24, 40, 56
            Ipp8u img[9] = {};
            img[4] = static_cast<Ipp8u>(centre);
            Ipp8u out = 0;
            ASSERT_EQ(fn(img + 4, 3, &out, 1, {1, 1}, 33), 0) << set;
            EXPECT_EQ(out, want) << set << " S=" << 4 * centre;
        }
        for (int v : {0, 1, 128, 255}) {
            std::vector<Ipp8u> img(7 * 7, static_cast<Ipp8u>(v));
            Ipp8u out[2] = {};
            ASSERT_EQ(fn(img.data() + 2 * 7 + 2, 7, out, 1, {1, 1}, 55), 0) << set;
            ASSERT_EQ(fn(img.data() + 2 * 7 + 2, 7, out + 1, 1, {1, 1}, 33), 0) << set;
            EXPECT_EQ(out[0], v) << set;
            EXPECT_EQ(out[1], v) << set;
        }
    }
    Ipp8u src[64] = {};
    GuardedImage dst(12, 2);
    for (auto [set, fn] : QM_ALL_SETS(ippiFilterGauss_8u_C3R)) {
        EXPECT_EQ(fn(src + 24, 12, nullptr, 12, {4, 2}, 33), ippStsNullPtrErr) << set;
        EXPECT_EQ(fn(src + 24, 12, dst.data(), 12, {0, 2}, 35), ippStsSizeErr) << set;
        EXPECT_EQ(fn(src + 24, 12, dst.data(), -12, {1, 1}, 35), ippStsStepErr) << set;
        EXPECT_EQ(fn(src + 24, 12, dst.data(), 12, {1, 1}, 35), ippStsMaskSizeErr) << set;
        for (int code : {33, 55}) {
            AllocProbe probe(1);
            EXPECT_EQ(fn(src + 24, 12, dst.data(), 12, {1, 1}, code), ippStsMemAllocErr) << set;
            EXPECT_EQ(probe.live(), 0u) << set;
        }
    }
    EXPECT_TRUE(dst.untouched());
}

}  // namespace
