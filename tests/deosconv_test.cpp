// Level kernel tables, their accessors and the scanner convolution filters.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "linear_ref.h"
#include "scanfilters/kernel_tables.h"
#include "support/image.h"

namespace {

using qmtest::GuardedImage;

struct Table { const float* data; size_t bytes; int r; float c0, c6; };
const Table kTables[] = {
    {qm::kDeosKernelsR2, sizeof(qm::kDeosKernelsR2), 2, 0.704784f, 1.85791f},
    {qm::kDeosKernelsR3, sizeof(qm::kDeosKernelsR3), 3, 0.68027f, 1.89976f},
    {qm::kDeosKernelsR4, sizeof(qm::kDeosKernelsR4), 4, 0.63731f, 1.72975f},
    {qm::kDeosKernelsR7, sizeof(qm::kDeosKernelsR7), 7, 0.64626f, 1.76294f},
};

TEST(DeosTables, EveryKernelHasTheTableProperties) {
    const size_t expectBytes[] = {2100, 4116, 6804, 18900};
    for (int t = 0; t < 4; ++t) {
        const Table& tb = kTables[t];
        EXPECT_EQ(tb.bytes, expectBytes[t]);
        const int n = 2 * tb.r + 1, nn = n * n;
        float lastCentre = 0;
        for (int level = 0; level < 7; ++level) {
            const float* k = tb.data + level * 3 * nn;
            float sum = 0;
            for (int i = 0; i < nn; ++i) sum += k[i];
            EXPECT_LT(std::fabs(sum - 1.0f), 2e-5f) << tb.r << " " << level;
            for (int c = 1; c < 3; ++c) EXPECT_EQ(std::memcmp(k, k + c * nn, nn * sizeof(float)), 0);
            for (int y = 0; y < n; ++y)
                for (int x = 0; x < n; ++x) {
                    const float v = k[y * n + x];
                    EXPECT_EQ(v, k[x * n + y]);
                    EXPECT_EQ(v, k[(n - 1 - y) * n + x]);
                    EXPECT_EQ(v, k[y * n + n - 1 - x]);
                    // The outer ring is negative; only radius 4 has a small
                    // positive tail at the ends of its axes.
                    const bool ring = y == 0 || x == 0, axisEnd = ring && (y == tb.r || x == tb.r);
                    if (ring && !(tb.r == 4 && axisEnd)) {
                        EXPECT_LT(v, 0.0f) << tb.r << " " << level;
                    }
                }
            const float centre = k[tb.r * n + tb.r];
            EXPECT_GT(centre, lastCentre);
            lastCentre = centre;
            if (level == 0 || level == 6) {
                EXPECT_EQ(centre, level == 0 ? tb.c0 : tb.c6);
            }
        }
    }
    const float r4row[9] = {0.00255f, -0.00409f, -0.07693f, 0.25126f, 0.63731f, 0.25126f, -0.07693f, -0.00409f, 0.00255f};
    EXPECT_EQ(std::memcmp(qm::kDeosKernelsR4 + 4 * 9, r4row, sizeof r4row), 0);
}

TEST(DeosTables, RadiusTwoIsTheProductTable) {
    const float w[7][6] = {
        {0.704784f, 0.248006f, -0.072754f, 0.044403f, -0.054734f, -0.036382f},
        {0.893822f, 0.305395f, -0.10413f, 0.043928f, -0.080707f, -0.057234f},
        {1.085237f, 0.363502f, -0.1359f, 0.043446f, -0.107004f, -0.078349f},
        {1.277735f, 0.421936f, -0.16785f, 0.04296f, -0.133448f, -0.099585f},
        {1.470817f, 0.480547f, -0.199896f, 0.042473f, -0.159971f, -0.120886f},
        {1.66425f, 0.539263f, -0.231999f, 0.041985f, -0.186542f, -0.142226f},
        {1.85791f, 0.598047f, -0.264141f, 0.041496f, -0.213144f, -0.163592f}};
    const int pick[3][3] = {{0, 1, 2}, {1, 3, 4}, {2, 4, 5}};  // by |dy|, |dx|
    for (int level = 0; level < 7; ++level)
        for (int c = 0; c < 3; ++c)
            for (int y = 0; y < 5; ++y)
                for (int x = 0; x < 5; ++x)
                    EXPECT_EQ(qm::kDeosKernelsR2[(level * 3 + c) * 25 + y * 5 + x],
                              w[level][pick[std::abs(y - 2)][std::abs(x - 2)]]);
}

TEST(DeosKernels, LevelMappingAndModes) {
    const std::pair<int, int> map[] = {{0, 0}, {6, 6}, {7, 6}, {14, 6}, {15, 0}, {19, 0}, {20, 1},
                                       {24, 1}, {25, 2}, {39, 4}, {44, 5}, {45, 6}, {1000, 6}};
    for (auto [v, lvl] : map) EXPECT_EQ(qm::deos_kernel_level(v), lvl) << v;
    float got[225], want[225];
    for (const Table& tb : kTables) {
        const int nn = (2 * tb.r + 1) * (2 * tb.r + 1);
        ASSERT_EQ(GetDeosConvKernelValue(1, tb.r, 30, got), 0u);
        EXPECT_EQ(std::memcmp(got, tb.data + 3 * 3 * nn, nn * sizeof(float)), 0) << tb.r;
    }
    ASSERT_EQ(GetDeosConvKernelValue(0, 5, 2, got), 0u);  // unknown radii read radius 2
    EXPECT_EQ(std::memcmp(got, qm::kDeosKernelsR2 + 2 * 75, 100), 0);
    std::fill(std::begin(want), std::end(want), 9.0f);
    std::copy(want, want + 225, got);
    Ipp32s fixed[225] = {};
    EXPECT_EQ(GetDeosConvKernelValue(2, 2, 0, got), 4u);
    EXPECT_EQ(SetDeosConvKernelValue(2, 2, 0, fixed), 4u);
    EXPECT_EQ(std::memcmp(got, want, sizeof got), 0);
    for (Ipp32s v : fixed) EXPECT_EQ(v, 0);
}

TEST(DeosKernels, FixedPointConversion) {
    Ipp32s out[226];
    std::fill(std::begin(out), std::end(out), 77);
    ASSERT_EQ(SetDeosConvKernelValue(0, 2, 0, out), 0u);
    EXPECT_EQ(std::vector<Ipp32s>(out, out + 5), (std::vector<Ipp32s>{-2384, -3587, -4768, -3587, -2384}));
    EXPECT_EQ(out[12], 46188);
    EXPECT_EQ(out[25], 77);
    for (Ipp32u r : {3u, 4u, 7u}) {
        ASSERT_EQ(SetDeosConvKernelValue(1, r, 45, out), 0u);
        const int nn = (2 * r + 1) * (2 * r + 1);
        const float* k = qm::deos_table(r).level(6);
        for (int i = 0; i < nn; ++i) ASSERT_EQ(out[i], Ipp32s(k[i] * 65536.0f)) << r << " " << i;
        EXPECT_EQ(out[nn], 77);
    }
    // Radius 0 and 1 convert the first 1 or 9 weights of the 5x5 kernel, not its centre.
    std::fill(std::begin(out), std::end(out), 77);
    ASSERT_EQ(SetDeosConvKernelValue(0, 1, 6, out), 0u);
    for (int i = 0; i < 9; ++i) EXPECT_EQ(out[i], Ipp32s(qm::kDeosKernelsR2[6 * 75 + i] * 65536.0f));
    EXPECT_EQ(out[9], 77);
    ASSERT_EQ(SetDeosConvKernelValue(0, 0, 6, out), 0u);
    EXPECT_EQ(out[0], Ipp32s(qm::kDeosKernelsR2[6 * 75] * 65536.0f));
    const float user[9] = {1.0f, -1.5f, 0.99999f, -0.99999f, 0.5f, 1e-6f, -3.0f, 2.0f, 0.0f};
    const Ipp32s want[9] = {65536, -98304, 65535, -65535, 32768, 0, -196608, 131072, 0};
    std::fill(std::begin(out), std::end(out), 77);
    ASSERT_EQ(SetDeosConvKernelUserValue(user, 0, out), 0u);
    EXPECT_EQ(out[0], 65536);
    EXPECT_EQ(out[1], 77);
    ASSERT_EQ(SetDeosConvKernelUserValue(user, 1, out), 0u);
    EXPECT_EQ(std::vector<Ipp32s>(out, out + 9), std::vector<Ipp32s>(want, want + 9));
}

// ---- filters ---------------------------------------------------------------

struct Rgb {
    int w, h;
    GuardedImage src, dst;
    Rgb(int w_, int h_, uint32_t seed) : w(w_), h(h_), src(3 * w_, h_), dst(3 * w_, h_) {
        std::mt19937 rng(seed);
        src.fill_random(rng);
    }
    // Interior bytes of dst, rows r..h-r-1, columns r..w-r-1, all channels.
    std::vector<Ipp8u> interior(int r) {
        std::vector<Ipp8u> out;
        for (int y = r; y < h - r; ++y) out.insert(out.end(), dst.row(y) + 3 * r, dst.row(y) + 3 * (w - r));
        return out;
    }
};

// Per-channel reference of the planar worker: plane c uses kernel kc.
std::vector<Ipp8u> ref_planar(Rgb& im, int r, const float* k[3]) {
    const int n = 2 * r + 1, iw = im.w - 2 * r, ih = im.h - 2 * r;
    std::vector<Ipp8u> plane(size_t(im.w) * im.h), out(size_t(3) * iw * ih);
    for (int c = 0; c < 3; ++c) {
        for (int i = 0; i < im.w * im.h; ++i) plane[i] = im.src.data()[3 * i + c];
        const auto f = qmtest::ref_filter_float(plane.data(), im.w, 1, iw, ih, k[c], n, n);
        for (size_t i = 0; i < f.size(); ++i) out[3 * i + c] = f[i];
    }
    return out;
}

TEST(DeosConv, BuiltInLevelsMatchThePlanarReference) {
    for (int r : {2, 3, 4, 7}) {
        Rgb im(36, 2 * r + 5, 100 + r);
        const float* k = qm::deos_table(r).level(qm::deos_kernel_level(33));
        const float* ks[3] = {k, k, k};
        ASSERT_EQ(DeosConvRGB(im.src.data(), im.dst.data(), im.w, im.h, 1, r, 33), 0u);
        EXPECT_EQ(im.interior(r), ref_planar(im, r, ks)) << r;
        EXPECT_TRUE(im.dst.guards_intact() && im.src.untouched());
    }
    // Flat images keep their value within one.
    Rgb flat(20, 12, 1);
    std::memset(flat.src.data(), 173, 3 * 20 * 12);
    for (int level = 0; level < 7; ++level) {
        ASSERT_EQ(DeosConvRGB(flat.src.data(), flat.dst.data(), 20, 12, 0, 4, level), 0u);
        for (Ipp8u v : flat.interior(4)) ASSERT_NEAR(v, 173, 1);
    }
}

TEST(DeosConv, UserKernelsPairInReverseAndOneCallVariantsUseThePrimitives) {
    const int r = 2, n = 25;
    std::mt19937 rng(9);
    std::uniform_real_distribution<float> wd(-0.1f, 0.2f);
    std::vector<float> k(3 * n);
    for (float& v : k) v = wd(rng);
    Rgb im(40, 11, 3);
    ASSERT_EQ(DeosConvRgbInFilterCoef(im.src.data(), im.dst.data(), im.w, im.h, r, k.data()), 0u);
    const float* rev[3] = {k.data() + 2 * n, k.data() + n, k.data()};
    EXPECT_EQ(im.interior(r), ref_planar(im, r, rev));
    // DeosConvRGB2: one float kernel for all channels, frame untouched.
    Rgb a(40, 11, 4);
    a.dst.settle();
    const GuardedImage before = a.dst;
    ASSERT_EQ(DeosConvRGB2(a.src.data(), a.dst.data(), a.w, a.h, 0, r, 99, k.data()), 0u);
    EXPECT_EQ(a.interior(r), qmtest::ref_filter_float(a.src.data(), 3 * a.w, 3, a.w - 4, a.h - 4, k.data(), 5, 5));
    for (int y = 0; y < a.h; ++y)
        for (int x = 0; x < 3 * a.w; ++x)
            if (y < r || y >= a.h - r || x < 3 * r || x >= 3 * (a.w - r)) {
                ASSERT_EQ(a.dst.at(y, x), const_cast<GuardedImage&>(before).at(y, x));
            }
    // DeosConvRGB3: 16.16 kernel through the integer primitive, divisor 65536.
    std::vector<Ipp32s> ki(n);
    for (int i = 0; i < n; ++i) ki[i] = int(rng() % 30000) - 8000;
    Rgb b(40, 11, 5);
    ASSERT_EQ(DeosConvRGB3(b.src.data(), b.dst.data(), b.w, b.h, 1, r, 0, ki.data()), 0u);
    EXPECT_EQ(b.interior(r), qmtest::ref_filter_int(b.src.data(), 3 * b.w, 3, b.w - 4, b.h - 4, ki.data(), 5, 5, 65536));
    // DeosConvMonoInFilterCoef: one plane, width need not be a multiple of 4.
    GuardedImage ms(30, 9), md(30, 9);
    ms.fill_random(rng);
    ASSERT_EQ(DeosConvMonoInFilterCoef(ms.data(), md.data(), 30, 9, 3, k.data()), 0u);
    const auto want = qmtest::ref_filter_float(ms.data(), 30, 1, 24, 3, k.data(), 7, 7);
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 24; ++x) ASSERT_EQ(md.at(y + 3, x + 3), want[y * 24 + x]);
    // Primitive failures come back from RGB2 and RGB3 only: region 0 wide.
    EXPECT_EQ(DeosConvRGB2(a.src.data(), a.dst.data(), 4, 4, 0, 2, 0, k.data()), Ipp32u(ippStsSizeErr));
    EXPECT_EQ(DeosConvRGB3(a.src.data(), a.dst.data(), 4, 4, 0, 2, 0, ki.data()), Ipp32u(ippStsSizeErr));
    EXPECT_EQ(DeosConvMonoInFilterCoef(ms.data(), md.data(), 4, 4, 2, k.data()), 0u);
}

TEST(DeosConv, DirectFixedPointLoopIsUnflippedAndReadsTheTableBothWays) {
    const int r = 1, n = 3;
    std::vector<Ipp32s> k = {70000, -30000, 5000, 0, 65536, -90000, 12000, 40000, -20000};  // asymmetric
    std::vector<Ipp8u> table(4096);
    for (int i = 0; i < 4096; ++i) table[i] = Ipp8u(i * 7 + 3);
    const Ipp8u* lut = table.data() + 2048;
    for (int w : {16, 400}) {  // 400: rows of more than one 1024-byte chunk
        Rgb im(w, 7, 8);
        const Rgb fresh(w, 7, 8);
        ASSERT_EQ(DeosConvRGB4(im.src.data(), im.dst.data(), im.w, im.h, 9, r, -5, k.data(), lut), 0u);
        for (int y = 0; y < im.h; ++y)
            for (int e = 0; e < 3 * im.w; ++e) {
                if (y < r || y >= im.h - r || e < 3 * r || e >= 3 * (im.w - r)) {
                    // The frame keeps what the caller had.
                    ASSERT_EQ(im.dst.at(y, e), const_cast<Rgb&>(fresh).dst.at(y, e)) << w << ": " << y << "," << e;
                    continue;
                }
                int32_t s = 0;
                for (int ky = 0; ky < n; ++ky)
                    for (int kx = 0; kx < n; ++kx) s += k[ky * n + kx] * im.src.at(y - r + ky, e - 3 * r + 3 * kx);
                ASSERT_EQ(im.dst.at(y, e), lut[s >> 16]) << w << ": " << y << "," << e;
            }
    }
    // Height 2r writes nothing at all.
    Rgb flat(16, 2, 2);
    ASSERT_EQ(DeosConvRGB4(flat.src.data(), flat.dst.data(), 16, 2, 0, r, 0, k.data(), lut), 0u);
    EXPECT_TRUE(flat.dst.untouched());
}

TEST(DeosConv, ResultCodesInCheckOrderAndCopies) {
    Rgb im(8, 6, 2);
    Ipp8u* s = im.src.data();
    Ipp8u* d = im.dst.data();
    const float kf[49] = {};
    const Ipp32s ki[49] = {};
    const Ipp8u lut[1] = {};
    struct Row { Ipp32u got, want; };
    const Row rows[] = {
        {DeosConvRGB(s, d, 6, 6, 2, 2, 0), 3}, {DeosConvRGB(s, d, 8, 6, 2, 2, 0), 4},
        {DeosConvRGB(s, s, 8, 6, 1, 2, 0), 5}, {DeosConvRGB(s, d, 8, 6, 1, 5, 0), 1},
        {DeosConvRGB2(s, d, 6, 6, 0, 2, 0, kf), 3}, {DeosConvRGB2(s, d, 8, 6, 2, 2, 0, nullptr), 4},
        {DeosConvRGB2(s, s, 8, 6, 0, 2, 0, kf), 5}, {DeosConvRGB2(s, d, 8, 6, 0, 6, 0, nullptr), 1},
        {DeosConvRGB3(s, d, 6, 6, 2, 2, 0, nullptr), 1}, {DeosConvRGB3(s, d, 6, 6, 2, 2, 0, ki), 3},
        {DeosConvRGB3(s, d, 8, 6, 2, 2, 0, ki), 4}, {DeosConvRGB3(s, s, 8, 6, 0, 2, 0, ki), 5},
        {DeosConvRGB4(s, d, 6, 6, 0, 1, 0, ki, lut), 3}, {DeosConvRGB4(s, s, 8, 6, 7, 1, 0, ki, lut), 5},
        {DeosConvRgbInFilterCoef(s, d, 6, 6, 2, kf), 3}, {DeosConvRgbInFilterCoef(s, s, 8, 6, 2, kf), 1},
        {DeosConvMonoInFilterCoef(s, s, 6, 6, 2, kf), 1},
    };
    for (size_t i = 0; i < std::size(rows); ++i) EXPECT_EQ(rows[i].got, rows[i].want) << "row " << i;
    EXPECT_TRUE(im.dst.untouched());
    // Radius 0 and 1 copy the image whatever the level.
    for (Ipp32u r : {0u, 1u}) {
        Rgb c(12, 5, 40 + r);
        ASSERT_EQ(DeosConvRGB(c.src.data(), c.dst.data(), 12, 5, 0, r, 1000), 0u);
        EXPECT_EQ(c.dst.payload(), c.src.payload());
        EXPECT_TRUE(c.dst.guards_intact());
    }
}

// The radius of the user-kernel variant is not validated: one too large for
// any interior filters nothing and never reads, nor locates, the kernels.
TEST(DeosConv, UserKernelsWithAHugeRadiusAreNeverLocated) {
    const float k[1] = {1.0f};
    for (Ipp32u r : {0xFFFFFFFFu, 0x80000000u, 0x7FFFFFFFu, 1u << 20}) {
        Rgb im(8, 6, 9);
        const auto before = im.src.payload();
        EXPECT_EQ(DeosConvRgbInFilterCoef(im.src.data(), im.dst.data(), 8, 6, r, k), 0u) << r;
        EXPECT_EQ(im.src.payload(), before);
        EXPECT_TRUE(im.dst.guards_intact());
    }
}

// Widths that pass the multiple-of-4 test but whose 3 x width step does not
// fit 32 bits: with no interior the primitive refuses the region, and the
// step is formed without signed overflow on the way.
TEST(DeosConv, AbsurdWidthsReachThePrimitiveAsASizeError) {
    const float kf[25] = {};
    const Ipp32s ki[25] = {};
    Rgb im(8, 6, 11);
    for (int w : {INT32_MIN, 1 << 30, INT32_MAX - 3}) {
        EXPECT_EQ(DeosConvRGB2(im.src.data(), im.dst.data(), w, 1, 0, 2, 0, kf), Ipp32u(ippStsSizeErr)) << w;
        EXPECT_EQ(DeosConvRGB3(im.src.data(), im.dst.data(), w, 1, 0, 2, 0, ki), Ipp32u(ippStsSizeErr)) << w;
    }
    // Nor does the offset of pixel (r, r) overflow when a huge radius meets a
    // huge width: there is no interior to address.
    const Ipp8u lut[1] = {};
    for (Ipp32u r : {0xFFFFFFFFu, 0x80000000u}) {
        EXPECT_EQ(DeosConvRGB2(im.src.data(), im.dst.data(), INT32_MAX - 3, 6, 0, r, 0, kf), Ipp32u(ippStsSizeErr));
        EXPECT_EQ(DeosConvRGB3(im.src.data(), im.dst.data(), INT32_MAX - 3, 6, 0, r, 0, ki), Ipp32u(ippStsSizeErr));
        EXPECT_EQ(DeosConvRGB4(im.src.data(), im.dst.data(), INT32_MAX - 3, 6, 0, r, 0, ki, lut), 0u);
        EXPECT_EQ(DeosConvMonoInFilterCoef(im.src.data(), im.dst.data(), INT32_MAX, 6, r, kf), 0u);
    }
    EXPECT_TRUE(im.dst.untouched());
}

}  // namespace
