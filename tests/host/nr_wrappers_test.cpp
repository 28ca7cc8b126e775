// The wrapper noise reductions as the driver calls them: each must equal one
// call of its primitive on the interior, with the frame left alone.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "host/loaded_module.h"
#include "ippiQM300.h"

namespace {

using Wrapper = IppStatus (*)(const NrImageRecord*, const NrImageRecord*, int);

class NrWrappers : public qmtest::LoadedModule {};

// Source and destination of w x h packed pixels; the destination starts
// with a pattern so that an untouched frame shows.
struct Pair {
    std::vector<Ipp8u> src, dst;
    NrImageRecord s, d;
    Pair(int w, int h, unsigned seed) : src(3 * w * h), dst(3 * w * h) {
        std::mt19937 rng(seed);
        for (auto& b : src) b = static_cast<Ipp8u>(rng());
        for (size_t i = 0; i < dst.size(); ++i) dst[i] = static_cast<Ipp8u>(i * 7 + 1);
        s = {src.data(), nullptr, w, h};
        d = {dst.data(), nullptr, 0, 0};  // only the destination's data is read
    }
};

TEST_F(NrWrappers, EachIsOnePrimitiveCallOnTheInterior) {
    auto gauss = get<qm_ippiFilterGauss_8u_C3R_fn>("ippiFilterGauss_8u_C3R");
    auto median = get<qm_ippiFilterMedian_8u_C3R_fn>("ippiFilterMedian_8u_C3R");
    auto color = get<qm_ippiFilterMedianColor_8u_C3R_fn>("ippiFilterMedianColor_8u_C3R");
    struct Case { int w, h, r; };
    for (Case c : {Case{10, 10, 1}, Case{37, 9, 2}, Case{20, 12, 3}}) {
        const int step = 3 * c.w, off = 3 * c.w * c.r + 3 * c.r;
        const IppiSize roi{c.w - 2 * c.r, c.h - 2 * c.r};
        const int code = c.r == 1 ? 33 : 55;  // radius 3 still gets the 5x5 mask
        const int side = 2 * c.r + 1;
        auto expect = [&](const char* name, auto&& primitive) {
            Pair got(c.w, c.h, 42), want(c.w, c.h, 42);
            const IppStatus st = get<Wrapper>(name)(&got.s, &got.d, c.r);
            EXPECT_EQ(st, primitive(want.src.data() + off, step, want.dst.data() + off, step, roi)) << name;
            EXPECT_EQ(got.dst, want.dst) << name << " r=" << c.r;
        };
        expect("GaussNrRGB", [&](auto... a) { return gauss(a..., code); });
        expect("MedianNrRGB", [&](auto... a) { return median(a..., {side, side}, {c.r, c.r}); });
        expect("MedianColorNrRGB", [&](auto... a) { return color(a..., code); });
    }
}

TEST_F(NrWrappers, TenByTenRadiusOneFiltersTheEightByEightInteriorFromByte33) {
    Pair p(10, 10, 7);
    const std::vector<Ipp8u> before = p.dst;
    ASSERT_EQ(get<Wrapper>("GaussNrRGB")(&p.s, &p.d, 1), 0);
    for (int y = 0; y < 10; ++y)
        for (int x = 0; x < 30; ++x) {
            const bool inside = y >= 1 && y <= 8 && x >= 3 && x < 27;
            if (!inside) {
                EXPECT_EQ(p.dst[y * 30 + x], before[y * 30 + x]) << x << "," << y;
            }
        }
    EXPECT_NE(p.dst[33], before[33]);
}

TEST_F(NrWrappers, EmptyInteriorReturnsTheSizeErrorAndWritesNothing) {
    for (const char* name : {"GaussNrRGB", "MedianNrRGB", "MedianColorNrRGB"}) {
        Pair p(4, 9, 3);
        const std::vector<Ipp8u> before = p.dst;
        EXPECT_EQ(get<Wrapper>(name)(&p.s, &p.d, 2), ippStsSizeErr) << name;
        EXPECT_EQ(p.dst, before) << name;
    }
}

}  // namespace
