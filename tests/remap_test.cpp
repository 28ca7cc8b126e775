// Remap in every implementation set against a plain per-pixel reference.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "geometry_ref.h"
#include "support/image.h"

namespace {

using qmtest::GuardedImage;

std::vector<std::pair<const char*, qm_ippiRemap_8u_C1R_fn>> sets(int ch) {
    return ch == 1 ? QM_ALL_SETS(ippiRemap_8u_C1R) : QM_ALL_SETS(ippiRemap_8u_C3R);
}

struct Maps {
    int w, h, step;  // step in floats
    std::vector<float> x, y;
    Maps(int w_, int h_, int pad) : w(w_), h(h_), step(w_ + pad), x(size_t(step) * h_, -1.0f), y(x) {}
    float& X(int i, int j) { return x[size_t(j) * step + i]; }
    float& Y(int i, int j) { return y[size_t(j) * step + i]; }
};

using qmref::sat;

// One destination pixel, straight from the sampling rules; -1 when skipped.
struct Ref {
    const GuardedImage& img;
    int w, h, ch;
    IppiRect roi;  // clipped
    int px(int x, int y, int c) const {
        x = std::clamp(x, 0, w - 1);
        y = std::clamp(y, 0, h - 1);
        return img.data()[y * img.step() + x * ch + c];
    }
    int sample(int code, float x, float y, int c) const {
        if (!(x >= roi.x && x <= roi.x + roi.width - 1 && y >= roi.y && y <= roi.y + roi.height - 1)) return -1;
        const int m = std::min(w, h);
        if (m < 6 && code == 16) code = 4;
        if (m < 4 && (code == 4 || code == 6)) code = 2;
        if (m == 1) code = 1;
        int ix = static_cast<int>(double(x) + 1e-7), iy = static_cast<int>(double(y) + 1e-7);
        if (code == 1) return px(int(double(x) + 0.5), int(double(y) + 0.5), c);
        if (code == 2) {
            float fx = x - ix, fy = y - iy;
            if (ix >= w - 1) fx = 1, ix = w - 2;
            if (iy >= h - 1) fy = 1, iy = h - 2;
            const float p00 = px(ix, iy, c), p10 = px(ix + 1, iy, c), p01 = px(ix, iy + 1, c), p11 = px(ix + 1, iy + 1, c);
            const float top = p00 + (p10 - p00) * fx, bottom = p01 + fx * (p11 - p01);
            return int(fy * (bottom - top) + 0.5f + top);
        }
        float wx[6], wy[6];
        int x0, y0, n;
        if (code == 4) {
            n = 4;
            x0 = ix < 1 ? 0 : ix >= w - 2 ? w - 4 : ix - 1;
            y0 = iy < 1 ? 0 : iy >= h - 2 ? h - 4 : iy - 1;
            auto lag = [](float t, float* o) {
                o[0] = ((-t * 0.16666667f + 0.5f) * t - 0.33333334f) * t;
                o[1] = (t * t * t - t) * 0.5f + 1 - t * t;
                o[2] = (-t * 0.5f + 0.5f) * (t * t) + t;
                o[3] = (t * t * t - t) * 0.16666667f;
            };
            lag(x - 1 - x0, wx);
            lag(y - 1 - y0, wy);
        } else if (code == 6) {
            n = 4, x0 = ix - 1, y0 = iy - 1;
            auto cr = [](float t, float* o) {  // cubic convolution, a = -1/2
                o[0] = ((-0.5f * t + 1) * t - 0.5f) * t;
                o[1] = (1.5f * t - 2.5f) * (t * t) + 1;
                o[2] = ((-1.5f * t + 2) * t + 0.5f) * t;
                o[3] = (0.5f * t - 0.5f) * (t * t);
            };
            cr(x - ix, wx);
            cr(y - iy, wy);
        } else {
            n = 6, x0 = ix - 2, y0 = iy - 2;
            qmref::lanczos_weights(x - ix, wx);
            qmref::lanczos_weights(y - iy, wy);
        }
        float v = 0;
        for (int r = 0; r < n; ++r) {
            float hsum = 0;
            for (int k = 0; k < n; ++k) hsum += wx[k] * px(x0 + k, y0 + r, c);
            v += wy[r] * hsum;
        }
        return sat(v);
    }
};

struct Case {
    int srcW, srcH;
    IppiRect roi;
    int dstW, dstH, pad;
};

class RemapCases : public ::testing::TestWithParam<std::tuple<int, int, Case>> {};

TEST_P(RemapCases, EverySetMatchesReference) {
    const auto [ch, code, k] = GetParam();
    std::mt19937 rng(k.srcW * 31 + k.dstH * 7 + code);
    GuardedImage src(k.srcW * ch, k.srcH, k.pad);
    src.fill_random(rng);
    IppiRect roi = k.roi;
    roi.width = std::min(roi.width, k.srcW - roi.x);
    roi.height = std::min(roi.height, k.srcH - roi.y);
    const Ref ref{src, k.srcW, k.srcH, ch, roi};

    // Positions over and a little beyond the region, with whole numbers, the
    // region's bounds and the image's last row and column mixed in.
    Maps m(k.dstW, k.dstH, 3);
    std::uniform_real_distribution<float> ux(roi.x - 2.0f, roi.x + roi.width + 1.0f),
        uy(roi.y - 2.0f, roi.y + roi.height + 1.0f);
    for (int j = 0; j < k.dstH; ++j)
        for (int i = 0; i < k.dstW; ++i) {
            m.X(i, j) = ux(rng);
            m.Y(i, j) = uy(rng);
            switch (rng() % 6) {
                case 0: m.X(i, j) = std::floor(m.X(i, j)); break;
                case 1: m.X(i, j) = float(roi.x + roi.width - 1); break;
                case 2: m.Y(i, j) = float(roi.y + (rng() % 2 ? 0 : roi.height - 1)); break;
                default: break;
            }
        }
    for (int smooth : {0, 1}) {
        const int interp = code | (smooth ? int(0x80000000u) : 0);
        for (auto [set, fn] : sets(ch)) {
            GuardedImage dst(k.dstW * ch, k.dstH, 5);
            GuardedImage before = dst;
            ASSERT_EQ(fn(src.data(), {k.srcW, k.srcH}, src.step(), k.roi, m.x.data(), m.step * 4, m.y.data(),
                         m.step * 4, dst.data(), dst.step(), {k.dstW, k.dstH}, interp),
                      ippStsNoErr)
                << set;
            ASSERT_TRUE(dst.guards_intact()) << set;
            for (int j = 0; j < k.dstH; ++j)
                for (int i = 0; i < k.dstW; ++i)
                    for (int c = 0; c < ch; ++c) {
                        const int want = ref.sample(code, m.X(i, j), m.Y(i, j), c);
                        const int got = dst.at(j, i * ch + c);
                        if (want < 0)
                            ASSERT_EQ(got, before.at(j, i * ch + c)) << set << " skipped";
                        else
                            ASSERT_EQ(got, want) << set << " smooth " << smooth << " at " << m.X(i, j) << ","
                                                 << m.Y(i, j) << " ch " << c;
                    }
        }
    }
}

const Case kCases[] = {
    {23, 17, {0, 0, 23, 17}, 19, 13, 0},
    {40, 30, {5, 4, 20, 15}, 33, 9, 3},   // interior region: edge taps read the image around it
    {16, 12, {2, 3, 30, 30}, 17, 11, 1},  // region past the image, clipped
    {5, 5, {0, 0, 5, 5}, 8, 8, 2},        // Lanczos lowered to cubic
    {3, 7, {0, 0, 3, 7}, 9, 6, 0},        // cubic classes lowered to linear
    {1, 6, {0, 0, 1, 6}, 7, 5, 2},        // one pixel wide: nearest
    {4, 9, {0, 0, 4, 9}, 7, 7, 1},
};

INSTANTIATE_TEST_SUITE_P(Codes, RemapCases,
                         ::testing::Combine(::testing::Values(1, 3), ::testing::Values(1, 2, 4, 6, 16),
                                            ::testing::ValuesIn(kCases)));

// A gentle warp over a wider image: most runs of destination pixels lie
// wholly inside the region, and the warp pushes some against every edge of
// the image (last column and row, clamped and sliding neighbourhoods) and
// past the region.
TEST(Remap, WarpedRunsMatchReferenceNearEveryEdge) {
    const int w = 61, h = 37, dw = 67, dh = 41;
    for (int ch : {1, 3})
        for (const IppiRect region : {IppiRect{0, 0, w, h}, IppiRect{3, 2, 52, 31}}) {
            std::mt19937 rng(ch * 7 + region.x);
            GuardedImage src(w * ch, h, 5);
            src.fill_random(rng);
            const Ref ref{src, w, h, ch, region};
            Maps m(dw, dh, 2);
            for (int j = 0; j < dh; ++j)
                for (int i = 0; i < dw; ++i) {
                    const double u = double(i) / (dw - 1), v = double(j) / (dh - 1);
                    m.X(i, j) = float(u * (w - 1) * 1.04 - 1.0 + 1.3 * std::sin(5.0 * v));
                    m.Y(i, j) = float(v * (h - 1) * 1.03 - 0.6 + 0.9 * std::cos(4.0 * u));
                    if (j % 9 == 4) m.X(i, j) = float(w - 1) - float(i % 5) * 0.25f;  // on and next to the last column
                    if (i % 11 == 3) m.Y(i, j) = float(h - 1) - float(j % 3) * 0.5f;  // the last rows
                }
            for (int code : {1, 2, 4, 6, 16})
                for (auto [set, fn] : sets(ch)) {
                    GuardedImage dst(dw * ch, dh, 4);
                    GuardedImage before = dst;
                    ASSERT_EQ(fn(src.data(), {w, h}, src.step(), region, m.x.data(), m.step * 4, m.y.data(),
                                 m.step * 4, dst.data(), dst.step(), {dw, dh}, code),
                              ippStsNoErr);
                    ASSERT_TRUE(dst.guards_intact()) << set;
                    for (int j = 0; j < dh; ++j)
                        for (int i = 0; i < dw; ++i)
                            for (int c = 0; c < ch; ++c) {
                                const int want = ref.sample(code, m.X(i, j), m.Y(i, j), c);
                                const int got = dst.at(j, i * ch + c);
                                ASSERT_EQ(got, want < 0 ? before.at(j, i * ch + c) : want)
                                    << set << " code " << code << " ch " << ch << " at " << i << "," << j;
                            }
                }
        }
}

TEST(Remap, BoundsAreInclusiveAndAHairBeyondIsSkipped) {
    std::mt19937 rng(2);
    GuardedImage src(10, 8);
    src.fill_random(rng);
    const IppiRect roi{2, 1, 6, 5};  // xMax 7, yMax 5
    const float xs[4] = {7.0f, std::nextafter(7.0f, 8.0f), 2.0f, std::nextafter(2.0f, 0.0f)};
    const float ys[4] = {5.0f, 3.0f, std::nextafter(5.0f, 6.0f), 1.0f};
    for (int code : {1, 2, 4, 6, 16})
        for (auto [set, fn] : sets(1)) {
            GuardedImage dst(4, 1);
            GuardedImage before = dst;
            ASSERT_EQ(fn(src.data(), {10, 8}, src.step(), roi, xs, 16, ys, 16, dst.data(), dst.step(), {4, 1}, code), 0);
            // On the corner (7, 5) every kernel returns the pixel itself.
            EXPECT_EQ(dst.at(0, 0), src.at(5, 7)) << set << " code " << code;
            for (int p = 1; p < 4; ++p) EXPECT_EQ(dst.at(0, p), before.at(0, p)) << set << " code " << code << " " << p;
        }
}

// An image 2^24 + 4 pixels wide (or high): its last index, 2^24 + 3, becomes
// 2^24 + 4 as a float, so a position there passes the inclusive bound test.
// Nearest neighbour then takes the last pixel, not the one past the image
// (the exactly-sized buffer lets the address sanitizer see that).
TEST(Remap, NearestAtAFarEdgeThatRoundsUpStaysInTheImage) {
    constexpr int kLong = (1 << 24) + 4;
    const float edge = static_cast<float>(kLong - 1);
    ASSERT_EQ(edge, static_cast<float>(kLong));
    for (int ch : {1, 3})
        for (bool wide : {true, false}) {
            const IppiSize size = wide ? IppiSize{kLong, 1} : IppiSize{1, kLong};
            std::vector<Ipp8u> src(static_cast<size_t>(kLong) * ch, 7);
            for (int c = 0; c < ch; ++c) src[src.size() - ch + c] = static_cast<Ipp8u>(200 + c);
            const float xs[1] = {wide ? edge : 0.0f}, ys[1] = {wide ? 0.0f : edge};
            for (auto [set, fn] : sets(ch)) {
                Ipp8u dst[3] = {1, 1, 1};
                ASSERT_EQ(fn(src.data(), size, wide ? kLong * ch : ch, {0, 0, size.width, size.height}, xs, 4, ys, 4,
                             dst, 3, {1, 1}, 1),
                          0);
                for (int c = 0; c < ch; ++c) EXPECT_EQ(dst[c], 200 + c) << set << (wide ? " wide" : " tall");
            }
        }
}

TEST(Remap, LinearOnTheLastColumnAndRowIsExact) {
    std::mt19937 rng(4);
    GuardedImage src(3 * 9, 6, 2);
    src.fill_random(rng);
    const float xs[3] = {8.0f, 8.0f, 3.0f}, ys[3] = {2.0f, 5.0f, 5.0f};
    for (auto [set, fn] : sets(3)) {
        GuardedImage dst(9, 1);
        ASSERT_EQ(fn(src.data(), {9, 6}, src.step(), {0, 0, 9, 6}, xs, 12, ys, 12, dst.data(), dst.step(), {3, 1}, 2), 0);
        for (int p = 0; p < 3; ++p)
            for (int c = 0; c < 3; ++c)
                EXPECT_EQ(dst.at(0, 3 * p + c), src.at(int(ys[p]), 3 * int(xs[p]) + c)) << set << " " << p;
    }
}

TEST(Remap, StatusOrderAndNothingWritten) {
    Ipp8u src[64] = {};
    const float map[4] = {1, 1, 1, 1};
    struct Bad {
        bool nullMap;
        IppiSize size;
        IppiRect roi;
        IppiSize dst;
        int code, srcStep, mapStep;
        IppStatus want;
    };
    const IppiSize sz{8, 8};
    const IppiRect all{0, 0, 8, 8};
    const Bad bad[] = {
        {true, {0, 0}, all, {2, 2}, 3, -1, 8, ippStsNullPtrErr},
        {false, {8, 0}, all, {2, 2}, 3, -1, 8, ippStsSizeErr},
        {false, sz, {0, -1, 8, 8}, {2, 2}, 2, 8, 8, ippStsSizeErr},
        {false, sz, all, {2, 0}, 3, -1, 8, ippStsSizeErr},
        {false, sz, all, {2, 2}, 8, -1, 8, ippStsInterpolationErr},
        {false, sz, all, {2, 2}, 3, 8, 8, ippStsInterpolationErr},
        {false, sz, all, {2, 2}, 5, 8, 8, ippStsInterpolationErr},
        {false, sz, all, {2, 2}, 7 | int(0x80000000u), 8, 8, ippStsInterpolationErr},
        {false, sz, {9, 0, 1, 1}, {2, 2}, 2, 0, 8, ippStsStepErr},   // steps before the region test
        {false, sz, all, {2, 2}, 2, 8, -8, ippStsStepErr},           // negative map step
        {false, sz, {8, 0, 1, 1}, {2, 2}, 2, 8, 8, ippStsNoRoiOverlap},
        {false, sz, {0, 8, 1, 1}, {2, 2}, 16, 8, 8, ippStsNoRoiOverlap},
    };
    for (int ch : {1, 3})
        for (auto [set, fn] : sets(ch))
            for (const Bad& b : bad) {
                GuardedImage dst(2 * ch, 2);
                EXPECT_EQ(fn(src, b.size, b.srcStep, b.roi, b.nullMap ? nullptr : map, b.mapStep, map, 8, dst.data(),
                             dst.step(), b.dst, b.code),
                          b.want)
                    << set << " expected " << b.want;
                EXPECT_TRUE(dst.untouched()) << set;
            }
}

}  // namespace
