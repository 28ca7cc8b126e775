// Resize in every implementation set against plain per-pixel references.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "geometry_ref.h"
#include "support/image.h"

namespace {

using qmtest::GuardedImage;

struct Src {
    GuardedImage img;
    int w, h, ch;
    Src(int w_, int h_, int ch_, int pad, std::mt19937& rng) : img(w_ * ch_, h_, pad), w(w_), h(h_), ch(ch_) {
        img.fill_random(rng);
    }
    int at(int x, int y, int c) const {
        x = x < 0 ? 0 : x >= w ? w - 1 : x;
        y = y < 0 ? 0 : y >= h ? h - 1 : y;
        return img.data()[y * img.step() + x * ch + c];
    }
};

struct Map1 {  // one axis: index and fraction of destination i
    int idx;
    double frac;
};
Map1 corner(int roi, double f, int i) {
    const double s = roi * f, step = s > 1 ? (roi - 1) / (s - 1) : 0.0, c = i * step;
    const int k = static_cast<int>(c + 1e-7);
    return {k, c - k};
}
int extent(int roi, double f, int dst) {
    const double s = roi * f + 1e-7;
    return s >= dst ? dst : std::max(1, static_cast<int>(s));
}
using qmref::sat;

float lagrange_fd(float t, float pm, float p0, float p1, float p2) {
    const float d1 = p0 - pm, e = p1 - p0, d2 = e - d1, d3 = p2 - 3 * p1 + 3 * p0 - pm;
    const float k = t * 0.5f * (t + 1);
    return pm + (t + 1) * d1 + k * d2 + (k * (t - 1) / 3) * d3;
}
// The general engine written out per destination pixel, straight from the
// mappings: no tables, no row buffers. Taps outside the image repeat the edge.
std::vector<Ipp8u> ref_general(const Src& s, IppiRect r, double xf, double yf, int mode, int W, int H) {
    std::vector<Ipp8u> out;
    for (int j = 0; j < H; ++j)
        for (int i = 0; i < W; ++i)
            for (int c = 0; c < s.ch; ++c) {
                const Map1 mx = corner(r.width, xf, i), my = corner(r.height, yf, j);
                const int x = r.x + mx.idx, y = r.y + my.idx;
                if (mode == 1) {
                    const int nx = std::min(static_cast<int>(0.5 / xf + i * (1 / xf) + 1e-7), r.width - 1);
                    const int ny = std::min(static_cast<int>(0.5 / yf + j * (1 / yf) + 1e-7), r.height - 1);
                    out.push_back(static_cast<Ipp8u>(s.at(r.x + nx, r.y + ny, c)));
                } else if (mode == 2) {
                    const int fx = static_cast<int>(mx.frac * 16384 + 1e-7);
                    const int fy = static_cast<int>(my.frac * 16384 + 1e-7);
                    const int t0 = ((16384 - fx) * s.at(x, y, c) + fx * s.at(x + 1, y, c) + 128) >> 8;
                    const int t1 = ((16384 - fx) * s.at(x, y + 1, c) + fx * s.at(x + 1, y + 1, c) + 128) >> 8;
                    out.push_back(static_cast<Ipp8u>((t1 * fy + t0 * (16384 - fy) + 524288) >> 20));
                } else if (mode == 4) {
                    float row[4];
                    for (int k = 0; k < 4; ++k)
                        row[k] = lagrange_fd(static_cast<float>(mx.frac), s.at(x - 1, y + k - 1, c),
                                             s.at(x, y + k - 1, c), s.at(x + 1, y + k - 1, c),
                                             s.at(x + 2, y + k - 1, c));
                    out.push_back(sat(lagrange_fd(static_cast<float>(my.frac), row[0], row[1], row[2], row[3])));
                } else {
                    float wx[6], wy[6];
                    qmref::lanczos_weights(static_cast<float>(mx.frac), wx);
                    qmref::lanczos_weights(static_cast<float>(my.frac), wy);
                    float v = 0;
                    for (int k = 0; k < 6; ++k) {
                        float h = 0;
                        for (int m = 0; m < 6; ++m) h += wx[m] * s.at(x + m - 2, y + k - 2, c);
                        v += wy[k] * h;
                    }
                    out.push_back(sat(v));
                }
            }
    return out;
}

// Area mean in double precision; a footprint cut by the region's end is the
// mean of what it covers.
std::vector<double> ref_area(const Src& s, IppiRect r, double xf, double yf, int W, int H) {
    auto cover = [](double a, double b, int k) { return std::max(0.0, std::min(b, k + 1.0) - std::max(a, double(k))); };
    std::vector<double> out;
    for (int j = 0; j < H; ++j)
        for (int i = 0; i < W; ++i)
            for (int c = 0; c < s.ch; ++c) {
                const double x0 = i / xf, x1 = std::min((i + 1) / xf, double(r.width));
                const double y0 = j / yf, y1 = std::min((j + 1) / yf, double(r.height));
                double sum = 0, area = 0;
                for (int y = int(y0); y < std::ceil(y1); ++y)
                    for (int x = int(x0); x < std::ceil(x1); ++x) {
                        const double w = cover(x0, x1, x) * cover(y0, y1, y);
                        sum += w * s.at(r.x + x, r.y + y, c);
                        area += w;
                    }
                out.push_back(sum / area);
            }
    return out;
}

int lowered(int mode, int w, int h) {
    const int m = std::min(w, h);
    if (m < 8 && mode == 16) mode = 4;
    if (m < 4 && mode == 4) mode = 2;
    return m < 2 ? 1 : mode;
}

using ResizeFn = qm_ippiResize_8u_C1R_fn;
std::vector<std::pair<const char*, ResizeFn>> sets(int ch) {
    return ch == 1 ? QM_ALL_SETS(ippiResize_8u_C1R) : QM_ALL_SETS(ippiResize_8u_C3R);
}

struct Case {
    int srcW, srcH;
    IppiRect roi;
    double xf, yf;
    int dstW, dstH;  // destination ROI handed over (may crop or exceed)
    int pad;
};

class ResizeCases : public ::testing::TestWithParam<std::tuple<int, int, Case>> {};

TEST_P(ResizeCases, EverySetMatchesReference) {
    const auto [ch, mode, k] = GetParam();
    std::mt19937 rng(k.srcW * 131 + k.srcH * 7 + mode);
    const Src s(k.srcW, k.srcH, ch, k.pad, rng);
    IppiRect clipped = k.roi;
    clipped.width = std::min(clipped.width, k.srcW - k.roi.x);
    clipped.height = std::min(clipped.height, k.srcH - k.roi.y);
    const int W = extent(clipped.width, k.xf, k.dstW), H = extent(clipped.height, k.yf, k.dstH);

    std::vector<double> area;
    std::vector<Ipp8u> exact;
    if (mode == 8)
        area = ref_area(s, clipped, k.xf, k.yf, W, H);
    else
        exact = ref_general(s, clipped, k.xf, k.yf, lowered(mode, k.srcW, k.srcH), W, H);

    std::vector<Ipp8u> first;
    for (auto [set, fn] : sets(ch)) {
        GuardedImage dst(k.dstW * ch, k.dstH, 3);
        ASSERT_EQ(fn(s.img.data(), {k.srcW, k.srcH}, s.img.step(), k.roi, dst.data(), dst.step(), {k.dstW, k.dstH},
                     k.xf, k.yf, mode),
                  ippStsNoErr)
            << set;
        ASSERT_TRUE(dst.guards_intact()) << set;
        GuardedImage fresh(k.dstW * ch, k.dstH, 3);
        std::vector<Ipp8u> got;
        for (int y = 0; y < k.dstH; ++y)
            for (int x = 0; x < k.dstW * ch; ++x) {
                if (x < W * ch && y < H)
                    got.push_back(dst.at(y, x));
                else
                    ASSERT_EQ(dst.at(y, x), fresh.at(y, x)) << set << " wrote outside the result at " << x << "," << y;
            }
        if (mode == 8) {
            for (size_t e = 0; e < got.size(); ++e) ASSERT_NEAR(got[e], area[e], 0.5 + 1e-3) << set << " at " << e;
        } else {
            ASSERT_EQ(got, exact) << set;
        }
        if (first.empty()) first = got;
        ASSERT_EQ(got, first) << set << " differs from mx";
    }
}

const Case kCases[] = {
    {37, 29, {0, 0, 37, 29}, 0.5, 0.5, 40, 40, 0},
    {64, 48, {3, 5, 50, 40}, 0.5, 0.25, 25, 10, 7},
    {41, 33, {2, 1, 39, 31}, 1.0 / 3, 1.0 / 3, 13, 10, 1},    // whole footprints of three
    {50, 40, {1, 2, 47, 35}, 0.4, 0.7, 30, 30, 5},            // fractional footprints
    {45, 38, {0, 0, 45, 38}, 0.5, 0.3, 22, 11, 2},            // whole across, fractional down
    {3, 40, {0, 0, 3, 40}, 0.25, 0.5, 5, 30, 1},              // one pixel from three: footprint cut
    {23, 17, {4, 3, 40, 40}, 2.0, 1.5, 64, 30, 3},            // region past the image, clipped
    {31, 19, {0, 0, 31, 19}, 1.7, 2.3, 40, 30, 0},            // cropped by the destination
    {16, 12, {5, 4, 6, 5}, 3.0, 2.0, 25, 12, 9},              // interior region: taps see the image
    {9, 9, {0, 0, 9, 9}, 0.9, 1.1, 9, 10, 0},
    {3, 300, {1, 0, 2, 300}, 4.0, 0.1, 8, 30, 4},             // narrow: lowered to linear
};

INSTANTIATE_TEST_SUITE_P(General, ResizeCases,
                         ::testing::Combine(::testing::Values(1, 3), ::testing::Values(1, 2, 4, 16),
                                            ::testing::ValuesIn(kCases)));
// Supersampling only reduces: the cases with a factor above one are not for it.
INSTANTIATE_TEST_SUITE_P(Supersampling, ResizeCases,
                         ::testing::Combine(::testing::Values(1, 3), ::testing::Values(8),
                                            ::testing::ValuesIn(kCases, kCases + 6)));

TEST(Resize, HalvingBySupersamplingAveragesBlocksExactly) {
    std::mt19937 rng(5);
    const Src s(20, 14, 3, 3, rng);
    for (auto [set, fn] : sets(3)) {
        GuardedImage dst(30, 7);
        ASSERT_EQ(fn(s.img.data(), {20, 14}, s.img.step(), {0, 0, 20, 14}, dst.data(), dst.step(), {10, 7}, 0.5,
                     0.5, 8),
                  0);
        for (int y = 0; y < 7; ++y)
            for (int x = 0; x < 10; ++x)
                for (int c = 0; c < 3; ++c) {
                    const int sum = s.at(2 * x, 2 * y, c) + s.at(2 * x + 1, 2 * y, c) + s.at(2 * x, 2 * y + 1, c) +
                                    s.at(2 * x + 1, 2 * y + 1, c);
                    ASSERT_EQ(dst.at(y, 3 * x + c), (sum + 2) / 4) << set;
                }
    }
}

// Halving regions that end at the image's right edge, from odd offsets and
// widths: the vector rows must stop where the image row does.
TEST(Resize, HalvingBySupersamplingUpToTheImageEdge) {
    for (int ch : {1, 3})
        for (int w : {37, 50, 53, 70})
            for (int x0 : {0, 1, 3}) {
                std::mt19937 rng(w * 3 + x0 + ch);
                const Src s(w, 9, ch, 0, rng);
                const IppiRect r{x0, 1, w - x0, 8};
                const int W = (w - x0) / 2, H = 4;
                for (auto [set, fn] : sets(ch)) {
                    GuardedImage dst(W * ch, H, 1);
                    ASSERT_EQ(fn(s.img.data(), {w, 9}, s.img.step(), r, dst.data(), dst.step(), {W, H}, 0.5, 0.5, 8), 0);
                    ASSERT_TRUE(dst.guards_intact()) << set;
                    for (int y = 0; y < H; ++y)
                        for (int x = 0; x < W; ++x)
                            for (int c = 0; c < ch; ++c) {
                                const int sx = x0 + 2 * x, sy = 1 + 2 * y;
                                const int sum = s.at(sx, sy, c) + s.at(sx + 1, sy, c) + s.at(sx, sy + 1, c) +
                                                s.at(sx + 1, sy + 1, c);
                                ASSERT_EQ(dst.at(y, x * ch + c), (sum + 2) / 4)
                                    << set << " ch " << ch << " width " << w << " from " << x0 << " at " << x << "," << y;
                            }
                }
            }
}

TEST(Resize, LinearAtScaleOneReproducesTheSource) {
    std::mt19937 rng(9);
    const Src s(33, 21, 3, 5, rng);
    for (auto [set, fn] : sets(3)) {
        GuardedImage dst(99, 21, 2);
        ASSERT_EQ(fn(s.img.data(), {33, 21}, s.img.step(), {0, 0, 33, 21}, dst.data(), dst.step(), {33, 21}, 1.0,
                     1.0, 2),
                  0);
        EXPECT_EQ(dst.payload(), s.img.payload()) << set;
    }
}

// The whole image decides the downgrade: tiny images fall back to simpler modes.
TEST(Resize, SmallImagesLowerTheInterpolation) {
    struct Low { int w, h, asked, got; };
    for (const Low l : {Low{1, 9, 16, 1}, Low{9, 1, 4, 1}, Low{3, 9, 4, 2}, Low{7, 9, 16, 4}, Low{9, 3, 16, 2},
                        Low{5, 5, 16, 4}}) {
        std::mt19937 rng(l.w * 10 + l.h);
        const Src s(l.w, l.h, 1, 1, rng);
        const IppiRect r{0, 0, l.w, l.h};
        const int W = extent(l.w, 2.5, 64), H = extent(l.h, 1.5, 64);
        for (auto [set, fn] : sets(1)) {
            GuardedImage dst(W, H);
            ASSERT_EQ(fn(s.img.data(), {l.w, l.h}, s.img.step(), r, dst.data(), dst.step(), {W, H}, 2.5, 1.5, l.asked), 0);
            EXPECT_EQ(dst.payload(), ref_general(s, r, 2.5, 1.5, l.got, W, H)) << set << " " << l.w << "x" << l.h;
        }
    }
}

TEST(Resize, StatusOrderAndNothingWritten) {
    Ipp8u src[64] = {};
    struct Bad {
        bool nullSrc;
        IppiSize size;
        IppiRect roi;
        IppiSize dst;
        double xf, yf;
        int mode;
        IppStatus want;
    };
    const IppiSize sz{8, 8};
    const IppiRect all{0, 0, 8, 8};
    const Bad bad[] = {
        {true, {0, 0}, all, {0, 0}, 0, 0, 3, ippStsNullPtrErr},
        {false, {0, 8}, all, {4, 4}, 0.5, 0.5, 2, ippStsSizeErr},
        {false, sz, {-1, 0, 8, 8}, {4, 4}, 0.5, 0.5, 2, ippStsSizeErr},
        {false, sz, {0, 0, 8, 0}, {4, 4}, 0.5, 0.5, 2, ippStsSizeErr},
        {false, sz, {8, 0, 8, 8}, {0, 0}, -1, 0, 3, ippStsNoRoiOverlap},  // before the destination and factor checks
        {false, sz, {0, 9, 1, 1}, {4, 4}, 0.5, 0.5, 2, ippStsNoRoiOverlap},
        {false, sz, all, {0, 4}, -1, 0.5, 3, ippStsSizeErr},
        {false, sz, all, {4, 0}, 0.5, 0.5, 2, ippStsSizeErr},
        {false, sz, all, {4, 4}, 0.0, 0.5, 3, ippStsResizeFactorErr},
        {false, sz, all, {4, 4}, 0.5, -2, 2, ippStsResizeFactorErr},
        {false, sz, all, {4, 4}, NAN, 0.5, 2, ippStsResizeFactorErr},
        {false, sz, all, {4, 4}, 0.5, 0.5, 3, ippStsInterpolationErr},
        {false, sz, all, {4, 4}, 2.0, 0.5, 8, ippStsInterpolationErr},  // supersampling cannot enlarge
        {false, sz, all, {4, 4}, 0.5, 0.0, 8, ippStsResizeFactorErr},
        {false, sz, {0, 0, 1, 8}, {4, 4}, 0.4, 0.5, 2, ippStsResizeNoOperationErr},
        {false, sz, {0, 0, 8, 1}, {4, 4}, 0.5, 0.4, 8, ippStsResizeNoOperationErr},
        {false, sz, {0, 0, 8, 8}, {4, 4}, 0.04, 1, 1, ippStsResizeNoOperationErr},
    };
    for (int ch : {1, 3})
        for (auto [set, fn] : sets(ch))
            for (const Bad& b : bad) {
                GuardedImage dst(4 * ch, 4);
                EXPECT_EQ(fn(b.nullSrc ? nullptr : src, b.size, 8, b.roi, dst.data(), dst.step(), b.dst, b.xf, b.yf,
                             b.mode),
                          b.want)
                    << set << " expected " << b.want;
                EXPECT_TRUE(dst.untouched()) << set;
            }
}

TEST(Resize, JustOverHalfAPixelGivesOnePixel) {
    const Ipp8u src[2] = {10, 200};
    for (int mode : {1, 2, 8})
        for (auto [set, fn] : sets(1)) {
            GuardedImage dst(3, 1);
            ASSERT_EQ(fn(src, {1, 1}, 1, {0, 0, 1, 1}, dst.data(), dst.step(), {3, 1}, 0.6, 1.0, mode), 0) << set;
            EXPECT_EQ(dst.at(0, 0), 10) << set;
            const Ipp8u rest[2] = {dst.at(0, 1), dst.at(0, 2)};
            GuardedImage fresh(3, 1);
            EXPECT_TRUE(rest[0] == fresh.at(0, 1) && rest[1] == fresh.at(0, 2)) << set;
        }
}

}  // namespace
