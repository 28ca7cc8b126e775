// RGB <-> YUV in every implementation set against the plain formulas.
#include <gtest/gtest.h>

#include <array>
#include <random>

#include "color_ref.h"
#include "support/image.h"

namespace {

using qmtest::GuardedImage;
using namespace qmref;

TEST(Yuv, WorkedColours) {
    struct Case { Px rgb, yuv; };
    const Case cases[] = {{{0, 0, 0}, {0, 128, 128}},
                          {{255, 255, 255}, {255, 128, 128}},
                          {{255, 0, 0}, {76, 90, 255}},
                          {{0, 0, 255}, {29, 239, 102}}};
    for (auto [set, fn] : QM_ALL_SETS(ippiRGBToYUV_8u_C3R))
        for (const Case& c : cases) {
            const Ipp8u in[3] = {Ipp8u(c.rgb[0]), Ipp8u(c.rgb[1]), Ipp8u(c.rgb[2])};
            Ipp8u out[3] = {};
            ASSERT_EQ(fn(in, 3, out, 3, {1, 1}), 0);
            EXPECT_EQ((Px{out[0], out[1], out[2]}), c.yuv) << set << " R" << c.rgb[0] << " B" << c.rgb[2];
        }
    // Clamped blue: Y 0, U 0 goes negative; Y 255, U 255 goes over.
    for (auto [set, fn] : QM_ALL_SETS(ippiYUVToRGB_8u_C3R)) {
        const Ipp8u in[6] = {0, 0, 128, 255, 255, 128};
        Ipp8u out[6] = {};
        ASSERT_EQ(fn(in, 6, out, 6, {2, 1}), 0);
        EXPECT_EQ(out[2], 0) << set;
        EXPECT_EQ(out[5], 255) << set;
    }
}

// Every 24-bit input through every set, in blocks of 4096 x 64 pixels.
TEST(Yuv, EveryColourInEverySet) {
    constexpr int W = 4096, H = 64;
    std::vector<Ipp8u> in(3 * W * H), out(3 * W * H), p0(W * H), p1(W * H), p2(W * H);
    Ipp8u* planes[3] = {p0.data(), p1.data(), p2.data()};
    const Ipp8u* cplanes[3] = {p0.data(), p1.data(), p2.data()};
    auto pick = [](const auto& sets, int i) { return sets[i % sets.size()].second; };
    const auto toYuv = QM_ALL_SETS(ippiRGBToYUV_8u_C3R), toRgb = QM_ALL_SETS(ippiYUVToRGB_8u_C3R);
    const auto toYuvP = QM_ALL_SETS(ippiRGBToYUV_8u_C3P3R);
    const auto toRgbP = QM_ALL_SETS(ippiYUVToRGB_8u_P3C3R);
    // Each block goes through a different set, so every set sees a spread of colours.
    for (int block = 0; block < (1 << 24) / (W * H); ++block) {
        for (int i = 0; i < W * H; ++i) {
            const int c = block * W * H + i;
            in[3 * i] = Ipp8u(c >> 16), in[3 * i + 1] = Ipp8u(c >> 8), in[3 * i + 2] = Ipp8u(c);
            p0[i] = in[3 * i], p1[i] = in[3 * i + 1], p2[i] = in[3 * i + 2];
        }
        ASSERT_EQ(pick(toRgbP, block)(cplanes, W, out.data(), 3 * W, {W, H}), 0);
        for (int i = 0; i < W * H; ++i) {
            const Px e = ref_yuv_to_rgb(in[3 * i], in[3 * i + 1], in[3 * i + 2], true);
            ASSERT_EQ((Px{out[3 * i], out[3 * i + 1], out[3 * i + 2]}), e) << "planar to RGB, block " << block;
        }
        ASSERT_EQ(pick(toRgb, block)(in.data(), 3 * W, out.data(), 3 * W, {W, H}), 0);
        for (int i = 0; i < W * H; ++i) {
            const Px e = ref_yuv_to_rgb(in[3 * i], in[3 * i + 1], in[3 * i + 2], false);
            ASSERT_EQ((Px{out[3 * i], out[3 * i + 1], out[3 * i + 2]}), e) << "to RGB, block " << block;
        }
        ASSERT_EQ(pick(toYuvP, block)(in.data(), 3 * W, planes, W, {W, H}), 0);
        ASSERT_EQ(pick(toYuv, block)(in.data(), 3 * W, out.data(), 3 * W, {W, H}), 0);
        for (int i = 0; i < W * H; ++i) {
            const Px e = ref_rgb_to_yuv(in[3 * i], in[3 * i + 1], in[3 * i + 2]);
            ASSERT_EQ((Px{out[3 * i], out[3 * i + 1], out[3 * i + 2]}), e) << "to YUV, block " << block;
            ASSERT_EQ((Px{p0[i], p1[i], p2[i]}), e) << "to planar YUV, block " << block;
        }
    }
}

struct Shape { int width, height, srcPad, dstPad; };
class YuvShapes : public ::testing::TestWithParam<Shape> {};

TEST_P(YuvShapes, AllEntriesMatchReferenceWithPaddingAndGuards) {
    const Shape s = GetParam();
    std::mt19937 rng(s.width * 31 + s.height);
    const IppiSize roi{s.width, s.height};
    GuardedImage src(3 * s.width, s.height, s.srcPad);
    src.fill_random(rng);
    GuardedImage q0(s.width, s.height, s.srcPad), q1(s.width, s.height, s.srcPad), q2(s.width, s.height, s.srcPad);
    q0.fill_random(rng), q1.fill_random(rng), q2.fill_random(rng);
    const Ipp8u* qp[3] = {q0.data(), q1.data(), q2.data()};

    auto check = [&](GuardedImage& out, auto expected, const char* set, const char* what) {
        EXPECT_TRUE(out.guards_intact()) << set << " " << what;
        for (int y = 0; y < s.height; ++y)
            for (int x = 0; x < s.width; ++x)
                ASSERT_EQ((Px{out.at(y, 3 * x), out.at(y, 3 * x + 1), out.at(y, 3 * x + 2)}), expected(y, x))
                    << set << " " << what << " at " << x << "," << y;
    };
    auto fromSrc = [&](bool toYuv, bool planar) {
        return [&, toYuv, planar](int y, int x) {
            const Ipp8u* p = src.row(y) + 3 * x;
            return toYuv ? ref_rgb_to_yuv(p[0], p[1], p[2]) : ref_yuv_to_rgb(p[0], p[1], p[2], planar);
        };
    };
    for (auto [set, fn] : QM_ALL_SETS(ippiRGBToYUV_8u_C3R)) {
        GuardedImage out(3 * s.width, s.height, s.dstPad);
        ASSERT_EQ(fn(src.data(), src.step(), out.data(), out.step(), roi), 0);
        check(out, fromSrc(true, false), set, "RGBToYUV");
    }
    for (auto [set, fn] : QM_ALL_SETS(ippiYUVToRGB_8u_C3R)) {
        GuardedImage out(3 * s.width, s.height, s.dstPad);
        ASSERT_EQ(fn(src.data(), src.step(), out.data(), out.step(), roi), 0);
        check(out, fromSrc(false, false), set, "YUVToRGB");
    }
    for (auto [set, fn] : QM_ALL_SETS(ippiYUVToRGB_8u_P3C3R)) {
        GuardedImage out(3 * s.width, s.height, s.dstPad);
        ASSERT_EQ(fn(qp, q0.step(), out.data(), out.step(), roi), 0);
        check(out, [&](int y, int x) { return ref_yuv_to_rgb(q0.at(y, x), q1.at(y, x), q2.at(y, x), true); }, set,
              "YUVToRGB planar");
    }
    for (auto [set, fn] : QM_ALL_SETS(ippiRGBToYUV_8u_C3P3R)) {
        GuardedImage o0(s.width, s.height, s.dstPad), o1(s.width, s.height, s.dstPad), o2(s.width, s.height, s.dstPad);
        Ipp8u* op[3] = {o0.data(), o1.data(), o2.data()};
        ASSERT_EQ(fn(src.data(), src.step(), op, o0.step(), roi), 0);
        EXPECT_TRUE(o0.guards_intact() && o1.guards_intact() && o2.guards_intact()) << set;
        for (int y = 0; y < s.height; ++y)
            for (int x = 0; x < s.width; ++x)
                ASSERT_EQ((Px{o0.at(y, x), o1.at(y, x), o2.at(y, x)}), fromSrc(true, false)(y, x)) << set;
    }
}

INSTANTIATE_TEST_SUITE_P(Shapes, YuvShapes,
                         ::testing::Values(Shape{1, 1, 0, 0}, Shape{15, 3, 1, 2}, Shape{16, 2, 0, 5},
                                           Shape{17, 5, 3, 0}, Shape{47, 4, 7, 9}, Shape{129, 3, 0, 0}));

TEST(Yuv, ChecksAndTheirOrder) {
    Ipp8u buf[16] = {};
    Ipp8u* planes[3] = {buf, buf + 4, nullptr};
    const Ipp8u* cplanes[3] = {buf, buf + 4, nullptr};
    for (auto [set, fn] : QM_ALL_SETS(ippiRGBToYUV_8u_C3R)) {
        EXPECT_EQ(fn(nullptr, 3, buf, 3, {0, 1}), ippStsNullPtrErr) << set;
        EXPECT_EQ(fn(buf, 3, nullptr, 3, {1, 1}), ippStsNullPtrErr) << set;
        EXPECT_EQ(fn(buf, 3, buf, 3, {1, 0}), ippStsSizeErr) << set;
    }
    for (auto [set, fn] : QM_ALL_SETS(ippiYUVToRGB_8u_C3R)) {
        EXPECT_EQ(fn(buf, 3, nullptr, 3, {0, 0}), ippStsNullPtrErr) << set;
        EXPECT_EQ(fn(buf, 3, buf, 3, {-1, 1}), ippStsSizeErr) << set;
    }
    // Planar forms: array null first, then size, then the planes themselves.
    for (auto [set, fn] : QM_ALL_SETS(ippiRGBToYUV_8u_C3P3R)) {
        EXPECT_EQ(fn(buf, 3, nullptr, 1, {0, 1}), ippStsNullPtrErr) << set;
        EXPECT_EQ(fn(nullptr, 3, planes, 1, {0, 1}), ippStsNullPtrErr) << set;
        EXPECT_EQ(fn(buf, 3, planes, 1, {0, 1}), ippStsSizeErr) << set;
        EXPECT_EQ(fn(buf, 3, planes, 1, {1, 1}), ippStsNullPtrErr) << set;
    }
    for (auto [set, fn] : QM_ALL_SETS(ippiYUVToRGB_8u_P3C3R)) {
        EXPECT_EQ(fn(nullptr, 1, buf, 3, {1, 0}), ippStsNullPtrErr) << set;
        EXPECT_EQ(fn(cplanes, 1, nullptr, 3, {1, 0}), ippStsNullPtrErr) << set;
        EXPECT_EQ(fn(cplanes, 1, buf, 3, {1, 0}), ippStsSizeErr) << set;
        EXPECT_EQ(fn(cplanes, 1, buf, 3, {1, 1}), ippStsNullPtrErr) << set;
    }
    for (Ipp8u b : buf) EXPECT_EQ(b, 0);
}

}  // namespace
