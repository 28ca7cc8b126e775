// Fixed-kernel linear filters in every implementation set against a plain
// convolution, on random images with padded steps and guard bytes.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "linear_ref.h"
#include "support/image.h"

namespace {

using qmtest::GuardedImage;

struct Case { int ch, w, h, kw, kh, ax, ay, pad; };

// Source with the whole window of every output pixel inside it; returns pSrc.
struct Source {
    GuardedImage img;
    const Ipp8u* p;
    Source(const Case& c, std::mt19937& rng)
        : img(c.ch * (c.w + c.kw - 1), c.h + c.kh - 1, c.pad, 4096) {
        img.fill_random(rng);
        // The window of output (0, 0) starts anchor - (k - 1) away from pSrc.
        p = img.data() + ptrdiff_t{c.kh - 1 - c.ay} * img.step() + ptrdiff_t{c.kw - 1 - c.ax} * c.ch;
    }
};

class LinearShapes : public ::testing::TestWithParam<Case> {};

TEST_P(LinearShapes, FloatKernelMatchesReferenceInEverySet) {
    const Case c = GetParam();
    std::mt19937 rng(c.w * 31 + c.kw * 7 + c.ch);
    Source s(c, rng);
    std::uniform_real_distribution<float> wd(-0.6f, 1.4f);
    std::vector<float> k(size_t(c.kw) * c.kh);
    for (float& v : k) v = wd(rng) / float(c.kw * c.kh) * 2.0f;
    const auto want = qmtest::ref_filter_float(s.img.data(), s.img.step(), c.ch, c.w, c.h, k.data(), c.kw, c.kh);
    auto sets = c.ch == 1 ? QM_ALL_SETS(ippiFilter32f_8u_C1R) : QM_ALL_SETS(ippiFilter32f_8u_C3R);
    for (auto [set, fn] : sets) {
        GuardedImage d(c.ch * c.w, c.h, c.pad + 3);
        ASSERT_EQ(fn(s.p, s.img.step(), d.data(), d.step(), {c.w, c.h}, k.data(), {c.kw, c.kh}, {c.ax, c.ay}), 0);
        EXPECT_EQ(d.payload(), want) << set;
        EXPECT_TRUE(d.guards_intact()) << set;
        EXPECT_TRUE(s.img.untouched()) << set;
    }
}

TEST_P(LinearShapes, IntegerKernelMatchesReferenceForEveryDivisorRule) {
    const Case c = GetParam();
    std::mt19937 rng(c.h * 17 + c.kh);
    Source s(c, rng);
    std::uniform_int_distribution<int> wd(-40, 90);
    std::vector<Ipp32s> k(size_t(c.kw) * c.kh);
    for (Ipp32s& v : k) v = wd(rng);
    auto sets = c.ch == 1 ? QM_ALL_SETS(ippiFilter_8u_C1R) : QM_ALL_SETS(ippiFilter_8u_C3R);
    // Divisors near the kernel's gain keep most results off the clamps.
    int gain = 2;
    for (Ipp32s v : k) gain += v;
    int pow2 = 2;
    while (pow2 < gain) pow2 *= 2;
    for (int divisor : {1, 2, pow2, 2 * pow2, gain | 1, -(gain | 1), 3}) {
        const auto want =
            qmtest::ref_filter_int(s.img.data(), s.img.step(), c.ch, c.w, c.h, k.data(), c.kw, c.kh, divisor);
        for (auto [set, fn] : sets) {
            GuardedImage d(c.ch * c.w, c.h, c.pad);
            ASSERT_EQ(fn(s.p, s.img.step(), d.data(), d.step(), {c.w, c.h}, k.data(), {c.kw, c.kh},
                         {c.ax, c.ay}, divisor), 0);
            EXPECT_EQ(d.payload(), want) << set << " divisor " << divisor;
            EXPECT_TRUE(d.guards_intact()) << set;
        }
    }
    // Weights over the whole 32-bit range: the sums wrap.
    for (Ipp32s& v : k) v = static_cast<Ipp32s>(rng());
    for (int divisor : {1 << 24, 1 << 30, 1000003}) {
        const auto want =
            qmtest::ref_filter_int(s.img.data(), s.img.step(), c.ch, c.w, c.h, k.data(), c.kw, c.kh, divisor);
        for (auto [set, fn] : sets) {
            GuardedImage d(c.ch * c.w, c.h, c.pad);
            ASSERT_EQ(fn(s.p, s.img.step(), d.data(), d.step(), {c.w, c.h}, k.data(), {c.kw, c.kh},
                         {c.ax, c.ay}, divisor), 0);
            EXPECT_EQ(d.payload(), want) << set << " wrapped, divisor " << divisor;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Shapes, LinearShapes,
    ::testing::Values(Case{1, 1, 1, 1, 1, 0, 0, 0}, Case{1, 37, 5, 5, 5, 2, 2, 3}, Case{3, 37, 5, 5, 5, 2, 2, 1},
                      Case{1, 53, 4, 3, 2, 0, 1, 0},       // anchor off-centre
                      Case{3, 19, 6, 4, 3, -2, 5, 7},      // anchor outside the kernel
                      Case{1, 70, 3, 7, 7, 9, -1, 2}, Case{3, 71, 9, 7, 7, 3, 3, 0},
                      Case{3, 401, 3, 15, 15, 7, 7, 5},    // several strips
                      Case{1, 1200, 2, 9, 9, 4, 4, 0},     // several strips, grey
                      Case{3, 13, 2, 1, 600, 0, 300, 0},   // too tall for the row ring
                      Case{1, 9, 2, 33, 33, 16, 16, 1}));  // kernel too large to reverse locally

TEST(Linear, FloatToByteRoundsHalfToEvenAndSaturates) {
    // One row of every byte value through 1x1 kernels: ties, saturation, negatives.
    std::vector<Ipp8u> src(256);
    for (int i = 0; i < 256; ++i) src[i] = Ipp8u(i);
    for (float w : {0.5f, 1.5f, 1.0f / 3.0f, -1.0f, 1.0019608f, 0.999f}) {
        const auto want = qmtest::ref_filter_float(src.data(), 256, 1, 256, 1, &w, 1, 1);
        for (auto [set, fn] : QM_ALL_SETS(ippiFilter32f_8u_C1R)) {
            std::vector<Ipp8u> d(256);
            ASSERT_EQ(fn(src.data(), 256, d.data(), 256, {256, 1}, &w, {1, 1}, {0, 0}), 0);
            EXPECT_EQ(d, want) << set << " w=" << w;
        }
    }
    // The worked values of the conversion.
    const float t[] = {0.5f, 1.5f, 2.5f, 254.5f, 254.6f, 300.0f, -4.0f};
    const int v[] = {0, 2, 2, 254, 255, 255, 0};
    for (int i = 0; i < 7; ++i) EXPECT_EQ(qmtest::ref_to_u8(t[i]), v[i]) << t[i];
    Ipp8u one = 5, out = 0;
    const float half = 0.5f;  // 2.5 -> 2
    ASSERT_EQ(ippiFilter32f_8u_C1R(&one, 1, &out, 1, {1, 1}, &half, {1, 1}, {0, 0}), 0);
    EXPECT_EQ(out, 2);
}

TEST(Linear, IntegerWorkedNumbers) {
    const Ipp8u src[4] = {1, 3, 200, 0};
    Ipp8u d[4];
    const Ipp32s one = 1, three = 3;
    ASSERT_EQ(ippiFilter_8u_C1R(src, 4, d, 4, {4, 1}, &one, {1, 1}, {0, 0}, 1), 0);
    EXPECT_EQ(std::vector<Ipp8u>(d, d + 4), (std::vector<Ipp8u>{1, 3, 200, 0}));
    ASSERT_EQ(ippiFilter_8u_C1R(src, 4, d, 4, {2, 1}, &three, {1, 1}, {0, 0}, 2), 0);
    EXPECT_EQ(d[0], 2);  // 1.5 -> 2
    EXPECT_EQ(d[1], 4);  // 4.5 -> 4
    // Divisor 3: S = 382 -> 127 (127.33), S = 766 -> 255 (clamped).
    const Ipp8u s2[3] = {0, 191, 192};
    const Ipp32s two[2] = {2, 2};
    ASSERT_EQ(ippiFilter_8u_C1R(s2, 3, d, 2, {2, 1}, two, {2, 1}, {1, 0}, 3), 0);
    EXPECT_EQ(d[0], 127);
    EXPECT_EQ(d[1], 255);
    // A negative total is 0 under every rule.
    const Ipp32s minus = -1;
    for (int div : {1, 4, 3, 65536}) {
        ASSERT_EQ(ippiFilter_8u_C1R(src + 2, 1, d, 1, {1, 1}, &minus, {1, 1}, {0, 0}, div), 0);
        EXPECT_EQ(d[0], 0) << div;
    }
}

// Checks in order: nulls, sizes, divisor, steps; nothing is written on error.
TEST(Linear, ChecksComeInOrderAndWriteNothing) {
    GuardedImage s(64, 8), d(64, 8);
    const Ipp32s ki[9] = {1, 1, 1, 1, 1, 1, 1, 1, 1};
    const float kf[9] = {};
    struct Row { const Ipp8u* src; Ipp8u* dst; bool nullK; IppiSize roi, ks; int srcStep, dstStep, div; IppStatus want; };
    const Row rows[] = {
        {nullptr, d.data(), false, {0, 1}, {3, 3}, 64, 64, 0, ippStsNullPtrErr},
        {s.data(), nullptr, false, {4, 4}, {3, 3}, 64, 64, 1, ippStsNullPtrErr},
        {s.data(), d.data(), true, {4, 4}, {3, 3}, 64, 64, 0, ippStsNullPtrErr},
        {s.data(), d.data(), false, {0, 4}, {3, 3}, 64, 64, 0, ippStsSizeErr},
        {s.data(), d.data(), false, {4, 4}, {0, 3}, 0, 0, 0, ippStsSizeErr},
        {s.data(), d.data(), false, {4, -1}, {3, 3}, 64, 64, 1, ippStsSizeErr},
        {s.data(), d.data(), false, {10, 4}, {3, 3}, 11, 10, 1, ippStsStepErr},
        {s.data(), d.data(), false, {10, 4}, {3, 3}, 12, 9, 1, ippStsStepErr},
        {s.data(), d.data(), false, {10, 4}, {3, 3}, -12, 10, 1, ippStsStepErr},
    };
    for (const Row& r : rows) {
        for (auto [set, fn] : QM_ALL_SETS(ippiFilter_8u_C1R))
            EXPECT_EQ(fn(r.src, r.srcStep, r.dst, r.dstStep, r.roi, r.nullK ? nullptr : ki, r.ks, {1, 1}, r.div), r.want) << set;
        for (auto [set, fn] : QM_ALL_SETS(ippiFilter_8u_C3R))  // steps count bytes: three per pixel
            EXPECT_EQ(fn(r.src, r.srcStep * 3, r.dst, r.dstStep * 3, r.roi, r.nullK ? nullptr : ki, r.ks, {1, 1}, r.div), r.want) << set;
        for (auto [set, fn] : QM_ALL_SETS(ippiFilter32f_8u_C1R))
            EXPECT_EQ(fn(r.src, r.srcStep, r.dst, r.dstStep, r.roi, r.nullK ? nullptr : kf, r.ks, {1, 1}), r.want) << set;
    }
    EXPECT_EQ(ippiFilter_8u_C1R(s.data(), 64, d.data(), 64, {4, 4}, ki, {3, 3}, {1, 1}, 0), ippStsDivisorErr);
    EXPECT_EQ(ippiFilter_8u_C3R(s.data(), 64, d.data(), 64, {4, 4}, ki, {3, 3}, {1, 1}, 0), ippStsDivisorErr);
    EXPECT_TRUE(d.untouched());
    // The narrowest accepted source step: width + kernel width - 1.
    EXPECT_EQ(ippiFilter32f_8u_C1R(s.data() + 64 + 1, 12, d.data(), 10, {10, 4}, kf, {3, 3}, {1, 1}), ippStsNoErr);
    EXPECT_EQ(ippiFilter32f_8u_C3R(s.data() + 64 + 3, 36, d.data(), 30, {10, 1}, kf, {3, 3}, {1, 1}), ippStsNoErr);
    EXPECT_EQ(ippiFilter32f_8u_C3R(s.data() + 64 + 3, 35, d.data(), 30, {10, 1}, kf, {3, 3}, {1, 1}), ippStsStepErr);
}

TEST(Linear, FixedPointDivisorMatchesScaledFloatKernel) {
    std::mt19937 rng(5);
    GuardedImage s(3 * 40, 12);
    s.fill_random(rng);
    std::vector<Ipp32s> ki(25);
    std::vector<float> kf(25);
    for (int i = 0; i < 25; ++i) {
        ki[i] = int(rng() % 12000) - 2000;
        kf[i] = float(ki[i]) / 65536.0f;
    }
    GuardedImage a(3 * 36, 8), b(3 * 36, 8);
    ASSERT_EQ(ippiFilter_8u_C3R(s.row(2) + 6, s.step(), a.data(), a.step(), {36, 8}, ki.data(), {5, 5}, {2, 2}, 65536), 0);
    ASSERT_EQ(ippiFilter32f_8u_C3R(s.row(2) + 6, s.step(), b.data(), b.step(), {36, 8}, kf.data(), {5, 5}, {2, 2}), 0);
    // The float sum may round differently; allow one step where it lands on a tie.
    const auto pa = a.payload(), pb = b.payload();
    int off = 0;
    for (size_t i = 0; i < pa.size(); ++i) off += std::abs(int(pa[i]) - int(pb[i])) > 0;
    EXPECT_LE(off, int(pa.size() / 100));
}

}  // namespace
