// Box filters in every implementation set against a direct-sum reference:
// random images, padded steps, anchors, even masks, guard bytes, the in-place
// forms, each path's rounding, argument checks and allocation failures.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <ostream>
#include <random>
#include <vector>

#include "support/alloc.h"
#include "support/image.h"

namespace {

using qmtest::AllocProbe;
using qmtest::GuardedImage;

enum class Rule { general, fixed3, fixed5, fixed7, floating };

// Output byte for a neighbourhood sum, written from the rounding rules.
int by_rule(Rule rule, uint32_t s, int mw, int mh) {
    const int a = mw * mh;
    switch (rule) {
    case Rule::fixed3: return static_cast<int>((29128u * s) >> 18);
    case Rule::fixed5: return static_cast<int>((20971u * s + 262144u) >> 19);
    case Rule::fixed7: return static_cast<int>((5350u * s + 131072u) >> 18);
    case Rule::floating: return static_cast<int>(static_cast<float>(s) * (1.0f / static_cast<float>(a)) + 0.000009f);
    case Rule::general: break;
    }
    if (mw + mh == 3) return static_cast<int>((4096u * s) >> 13);
    if (a == 1) return static_cast<int>(s);
    uint32_t u = static_cast<uint32_t>((1.0f / static_cast<float>(a)) * 4294967296.0f);
    int n = 0;
    while (!(u & 0x80000000u)) u <<= 1, ++n;
    return static_cast<int>((((u >> 20) + 1) * s) >> (n + 12));
}

Rule route(int ch, int mw, int mh, bool inPlace) {
    if (mw * mh > 8100) return Rule::floating;
    if (inPlace) return Rule::general;
    if (ch == 1 && mw == 7 && mh == 7) return Rule::fixed7;
    if (ch == 3 && mw == 3 && mh == 3) return Rule::fixed3;
    if (mw == 5 && mh == 5) return Rule::fixed5;
    return Rule::general;
}

struct Case { int ch, w, h, mw, mh, ax, ay, pad; bool white = false; };
void PrintTo(const Case& c, std::ostream* os) {
    *os << "ch=" << c.ch << " roi=" << c.w << "x" << c.h << " mask=" << c.mw << "x" << c.mh << " anchor=" << c.ax
        << "," << c.ay << " pad=" << c.pad << (c.white ? " white" : "");
}

// A source image holding exactly the neighbourhood area of a w x h ROI.
struct Scene {
    Case c;
    GuardedImage src;
    Scene(const Case& k, std::mt19937& rng)
        : c(k), src((k.w + k.mw - 1) * k.ch, k.h + k.mh - 1, k.pad) {
        src.fill_random(rng);
        // White pages drive every sum to its largest value.
        for (int y = 0; y < src.rows() && k.white; ++y) std::fill_n(src.row(y), src.rowBytes(), Ipp8u{255});
        src.settle();
    }
    Ipp8u* roi() { return src.row(c.ay) + c.ax * c.ch; }
    // The filtered ROI, row by row, by direct sums over the original source.
    std::vector<Ipp8u> expected(Rule rule) {
        std::vector<Ipp8u> out;
        for (int y = 0; y < c.h; ++y)
            for (int x = 0; x < c.w * c.ch; ++x) {
                uint32_t s = 0;
                for (int j = 0; j < c.mh; ++j)
                    for (int i = 0; i < c.mw; ++i) s += src.at(y + j, x + i * c.ch);
                out.push_back(static_cast<Ipp8u>(by_rule(rule, s, c.mw, c.mh)));
            }
        return out;
    }
};

class BoxCases : public ::testing::TestWithParam<Case> {};

TEST_P(BoxCases, OutOfPlaceMatchesReferenceInEverySet) {
    const Case c = GetParam();
    std::mt19937 rng(c.w * 131 + c.h * 7 + c.mw * 3 + c.mh + c.ch);
    Scene scene(c, rng);
    const auto want = scene.expected(route(c.ch, c.mw, c.mh, false));
    const auto fns = c.ch == 1 ? QM_ALL_SETS(ippiFilterBox_8u_C1R) : QM_ALL_SETS(ippiFilterBox_8u_C3R);
    for (auto [set, fn] : fns) {
        GuardedImage dst(c.w * c.ch, c.h, c.pad + 3);
        ASSERT_EQ(fn(scene.roi(), scene.src.step(), dst.data(), dst.step(), {c.w, c.h}, {c.mw, c.mh}, {c.ax, c.ay}),
                  ippStsNoErr) << set;
        EXPECT_EQ(dst.payload(), want) << set;
        EXPECT_TRUE(dst.guards_intact()) << set;
        EXPECT_TRUE(scene.src.untouched()) << set;
    }
}

// In place the result is the general (or float) path over the original image;
// the neighbourhood outside the ROI stays as it was.
TEST_P(BoxCases, InPlaceMatchesGeneralPathInEverySet) {
    const Case c = GetParam();
    std::mt19937 rng(c.w * 17 + c.h * 5 + c.mw * 11 + c.mh + c.ch);
    Scene pristine(c, rng);
    std::vector<Ipp8u> want = pristine.src.payload();
    const auto roi = pristine.expected(route(c.ch, c.mw, c.mh, true));
    const int rowBytes = (c.w + c.mw - 1) * c.ch;
    for (int y = 0; y < c.h; ++y)
        std::copy_n(roi.begin() + y * c.w * c.ch, c.w * c.ch, want.begin() + (y + c.ay) * rowBytes + c.ax * c.ch);
    const auto fns = c.ch == 1 ? QM_ALL_SETS(ippiFilterBox_8u_C1IR) : QM_ALL_SETS(ippiFilterBox_8u_C3IR);
    for (auto [set, fn] : fns) {
        std::mt19937 again(c.w * 17 + c.h * 5 + c.mw * 11 + c.mh + c.ch);
        Scene scene(c, again);
        AllocProbe probe;
        ASSERT_EQ(fn(scene.roi(), scene.src.step(), {c.w, c.h}, {c.mw, c.mh}, {c.ax, c.ay}), ippStsNoErr) << set;
        EXPECT_EQ(scene.src.payload(), want) << set;
        EXPECT_TRUE(scene.src.guards_intact()) << set;
        EXPECT_EQ(probe.live(), 0u) << set;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Shapes, BoxCases,
    ::testing::Values(
        Case{1, 1, 1, 1, 1, 0, 0, 0}, Case{1, 17, 9, 2, 1, 1, 0, 2}, Case{1, 16, 5, 1, 2, 0, 1, 0},
        Case{1, 37, 11, 3, 3, 1, 1, 5}, Case{1, 40, 13, 5, 5, 2, 2, 0}, Case{1, 23, 12, 5, 5, 0, 4, 7},
        Case{1, 51, 15, 7, 7, 3, 3, 1}, Case{1, 33, 10, 7, 7, 6, 0, 0}, Case{1, 45, 9, 4, 4, 3, 1, 9},
        Case{1, 29, 17, 3, 5, 2, 4, 0}, Case{1, 70, 20, 15, 15, 7, 7, 3}, Case{1, 101, 7, 9, 2, 8, 1, 0},
        Case{1, 19, 6, 6, 1, 5, 0, 4}, Case{1, 130, 40, 31, 3, 10, 2, 0},
        Case{3, 1, 1, 1, 1, 0, 0, 0}, Case{3, 21, 8, 3, 3, 1, 1, 2}, Case{3, 30, 11, 3, 3, 0, 2, 0},
        Case{3, 25, 9, 5, 5, 2, 2, 5}, Case{3, 17, 13, 7, 7, 3, 3, 0}, Case{3, 26, 14, 2, 4, 1, 3, 1},
        Case{3, 40, 12, 12, 3, 11, 0, 0}, Case{3, 9, 20, 1, 6, 0, 5, 3},
        // Mask at least as tall as the ROI: the in-place forms filter a copy.
        Case{1, 31, 3, 5, 5, 2, 2, 1}, Case{3, 14, 3, 5, 5, 4, 0, 0}, Case{1, 12, 2, 3, 4, 0, 3, 2},
        // Areas above 8100 take the float path, 8100 itself does not.
        Case{1, 19, 4, 91, 90, 45, 44, 0}, Case{1, 9, 95, 90, 90, 89, 0, 0}, Case{3, 5, 3, 91, 90, 0, 89, 1},
        Case{1, 7, 120, 100, 100, 50, 99, 0},
        // Areas above 257 keep their sums in 32 bits.
        Case{1, 50, 10, 3, 90, 1, 45, 2}, Case{1, 120, 12, 31, 9, 15, 4, 0}, Case{3, 40, 8, 12, 30, 6, 29, 1},
        Case{3, 37, 70, 5, 60, 2, 30, 0},
        Case{1, 40, 3, 257, 1, 0, 0, 0, true}, Case{1, 20, 300, 1, 257, 0, 256, 0, true},
        Case{1, 33, 5, 129, 2, 0, 1, 0, true}, Case{3, 17, 4, 86, 3, 85, 2, 0, true},
        Case{1, 21, 9, 7, 7, 3, 3, 0, true}, Case{3, 18, 9, 3, 3, 1, 1, 0, true}, Case{1, 5, 3, 90, 90, 0, 0, 0, true}));

// Builds a C1 source where one mask-sized neighbourhood holds the given sum.
std::vector<Ipp8u> holding(int mw, int mh, uint32_t sum) {
    std::vector<Ipp8u> v(static_cast<size_t>(mw) * mh, 0);
    for (auto& p : v) {
        const uint32_t take = sum > 255 ? 255 : sum;
        p = static_cast<Ipp8u>(take);
        sum -= take;
    }
    return v;
}

TEST(Box, WorkedNumbers) {
    struct Worked { int mw, mh; uint32_t sum; int want; bool inPlace; };
    const Worked table[] = {
        {5, 5, 38, 2, false},     // fixed 5x5 rounds
        {5, 5, 38, 1, true},      // in place it is the general, truncating path
        {3, 5, 29, 1, false},     // general path truncates
        {4, 4, 2063, 129, false}, // rounded-up multiplier
        {4, 4, 2063, 129, true},
        {2, 1, 7, 3, false}, {1, 2, 511, 255, false}, {1, 1, 77, 77, false},
        {90, 90, 8099, 1, false}, // integer path, rounded-up multiplier
        {91, 90, 8189, 0, false}, // float path
        {91, 90, 8189, 0, true},
    };
    for (const Worked& t : table) {
        if (!t.inPlace) {
            const auto src = holding(t.mw, t.mh, t.sum);
            for (auto [set, fn] : QM_ALL_SETS(ippiFilterBox_8u_C1R)) {
                Ipp8u out = 0xEE;
                ASSERT_EQ(fn(src.data(), t.mw, &out, 1, {1, 1}, {t.mw, t.mh}, {0, 0}), 0) << set;
                EXPECT_EQ(out, t.want) << set << " " << t.mw << "x" << t.mh;
            }
            continue;
        }
        for (auto [set, fn] : QM_ALL_SETS(ippiFilterBox_8u_C1IR)) {
            auto img = holding(t.mw, t.mh, t.sum);
            ASSERT_EQ(fn(img.data(), t.mw, {1, 1}, {t.mw, t.mh}, {0, 0}), 0) << set;
            EXPECT_EQ(img[0], t.want) << set << " in place " << t.mw << "x" << t.mh;
        }
    }
}

TEST(Box, ChecksStepBeforeSize) {
    Ipp8u buf[64] = {};
    struct Bad { const Ipp8u* src; Ipp8u* dst; int step; IppiSize roi, mask; IppiPoint anchor; IppStatus want; };
    const Bad table[] = {
        {nullptr, buf, 0, {0, 1}, {0, 0}, {0, 0}, ippStsNullPtrErr},
        {buf, nullptr, 8, {1, 1}, {1, 1}, {0, 0}, ippStsNullPtrErr},
        {buf, buf, 0, {0, 1}, {3, 3}, {1, 1}, ippStsStepErr},
        {buf, buf, -8, {1, 1}, {3, 3}, {1, 1}, ippStsStepErr},
        {buf, buf, 8, {1, 0}, {0, 3}, {1, 1}, ippStsSizeErr},
        {buf, buf, 8, {1, 1}, {0, 3}, {9, 9}, ippStsMaskSizeErr},
        {buf, buf, 8, {1, 1}, {3, 3}, {3, 0}, ippStsAnchorErr},
        {buf, buf, 8, {1, 1}, {3, 3}, {0, -1}, ippStsAnchorErr},
    };
    for (const Bad& b : table) {
        for (auto [set, fn] : QM_ALL_SETS(ippiFilterBox_8u_C1R))
            EXPECT_EQ(fn(b.src, b.step, b.dst, 8, b.roi, b.mask, b.anchor), b.want) << set;
        for (auto [set, fn] : QM_ALL_SETS(ippiFilterBox_8u_C3R))
            EXPECT_EQ(fn(b.src, 8, b.dst, b.step, b.roi, b.mask, b.anchor), b.want) << set;
        Ipp8u* inPlace = b.src == nullptr || b.dst == nullptr ? nullptr : buf;
        for (auto [set, fn] : QM_ALL_SETS(ippiFilterBox_8u_C1IR))
            EXPECT_EQ(fn(inPlace, b.step, b.roi, b.mask, b.anchor), b.want) << set;
        for (auto [set, fn] : QM_ALL_SETS(ippiFilterBox_8u_C3IR))
            EXPECT_EQ(fn(inPlace, b.step, b.roi, b.mask, b.anchor), b.want) << set;
    }
    for (Ipp8u v : buf) EXPECT_EQ(v, 0);
}

// Fails the 1st, 2nd, ... allocation of each path in turn: -9, nothing
// written, nothing left allocated; one more allocation than the path takes
// succeeds.
TEST(Box, AllocationFailuresReleaseEverything) {
    struct Path { const char* name; Case c; bool inPlace; int allocations; };
    const Path paths[] = {
        {"out of place", {1, 20, 6, 5, 5, 2, 2, 0}, false, 1},
        {"C3 out of place", {3, 20, 6, 3, 3, 1, 1, 0}, false, 1},
        {"ring", {1, 20, 9, 5, 5, 2, 3, 0}, true, 3},
        {"C3 ring", {3, 20, 9, 3, 3, 1, 1, 0}, true, 3},
        {"copy", {1, 20, 3, 5, 5, 2, 2, 0}, true, 2},
        {"float copy", {1, 5, 3, 91, 90, 4, 4, 0}, true, 2},
    };
    for (const Path& p : paths) {
        const Case& c = p.c;
        for (int failAt = 1; failAt <= p.allocations + 1; ++failAt) {
            const IppStatus want = failAt <= p.allocations ? ippStsMemAllocErr : ippStsNoErr;
            std::mt19937 rng(failAt);
            Scene scene(c, rng);
            GuardedImage dst(c.w * c.ch, c.h);
            AllocProbe probe(failAt);
            IppStatus st;
            if (p.inPlace)
                st = (c.ch == 1 ? ippiFilterBox_8u_C1IR : ippiFilterBox_8u_C3IR)(
                    scene.roi(), scene.src.step(), {c.w, c.h}, {c.mw, c.mh}, {c.ax, c.ay});
            else
                st = (c.ch == 1 ? ippiFilterBox_8u_C1R : ippiFilterBox_8u_C3R)(
                    scene.roi(), scene.src.step(), dst.data(), dst.step(), {c.w, c.h}, {c.mw, c.mh}, {c.ax, c.ay});
            EXPECT_EQ(st, want) << p.name << " failing allocation " << failAt;
            EXPECT_EQ(probe.live(), 0u) << p.name << " failing allocation " << failAt;
            if (want != ippStsNoErr) {
                EXPECT_TRUE(scene.src.untouched() && dst.untouched()) << p.name << " failing allocation " << failAt;
            } else {
                EXPECT_EQ(probe.calls(), p.allocations) << p.name;
            }
        }
    }
}

}  // namespace
