// Bilateral filter: buffer size, the record built in the caller's buffer, and
// the filter in every implementation set against a plain reference.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>

#include "color_ref.h"
#include "primitives/bilateral/bilateral_record.h"
#include "support/image.h"

namespace {

using qmtest::GuardedImage;
using namespace qmref;

int buf_size(IppiSize roi, IppiSize k) {
    int n = -1;
    EXPECT_EQ(ippiFilterBilateralGetBufSize_8u_C1R(100, roi, k, &n), 0);
    return n;
}

TEST(Bilateral, BufferSize) {
    struct Case { int type; IppiSize roi, k; IppStatus st; int size; };
    const Case cases[] = {
        {100, {640, 480}, {5, 5}, 0, 2297}, {101, {1, 1}, {4, 4}, 0, 2241},
        {100, {9, 9}, {3, 3}, 0, (3 + 12) * 4 + 2165}, {100, {2, 2}, {7, 1}, 0, (7 + 8) * 4 + 2165},
        {100, {0, 5}, {5, 5}, ippStsSizeErr, -1}, {100, {5, 5}, {0, 5}, ippStsMaskSizeErr, -1},
        {102, {5, 5}, {5, 5}, ippStsNotSupportedModeErr, -1}, {102, {0, 5}, {0, 5}, ippStsSizeErr, -1},
        {102, {5, 5}, {5, -1}, ippStsMaskSizeErr, -1}};
    for (auto [set, fn] : QM_ALL_SETS(ippiFilterBilateralGetBufSize_8u_C1R))
        for (const Case& c : cases) {
            int n = -1;
            EXPECT_EQ(fn(c.type, c.roi, c.k, &n), c.st) << set << " " << c.k.width << "x" << c.k.height;
            EXPECT_EQ(n, c.size) << set;
            EXPECT_EQ(fn(c.type, c.roi, c.k, nullptr), ippStsNullPtrErr);
        }
}

// Kernels near 2^31 on both sides: no overflow in the size arithmetic (the
// sanitizer build traps it), and the result is the 32-bit sum's low bits.
TEST(Bilateral, BufferSizeOfHugeKernelsWraps) {
    const IppiSize kernels[] = {{INT32_MAX, INT32_MAX}, {INT32_MAX - 1, INT32_MAX}, {1 << 30, 1 << 30}, {65536, 65536}};
    for (auto [set, fn] : QM_ALL_SETS(ippiFilterBilateralGetBufSize_8u_C1R))
        for (const IppiSize k : kernels) {
            uint32_t m = static_cast<uint32_t>(std::max(k.width, k.height));
            if (m % 2 == 0) --m;
            const uint32_t taps = (static_cast<uint32_t>(k.width) * static_cast<uint32_t>(k.height) + 3) & ~3u;
            int n = -1;
            EXPECT_EQ(fn(101, {1, 1}, k, &n), 0) << set;
            EXPECT_EQ(static_cast<uint32_t>(n), (m + taps) * 4 + 2165) << set << " " << k.width << "x" << k.height;
        }
}

TEST(Bilateral, InitChecksInOrder) {
    struct Case { int type; IppiSize k; float vs, ps; int step; bool nullBuf; IppStatus st; };
    const Case cases[] = {
        {102, {0, 0}, 0, 0, 0, true, ippStsNullPtrErr},     {102, {0, 3}, 0, 0, 0, false, ippStsMaskSizeErr},
        {102, {3, 3}, 0, 1, 1, false, ippStsBadArgErr},     {100, {3, 3}, 1, -1, 1, false, ippStsBadArgErr},
        {102, {3, 3}, 1, 1, 0, false, ippStsBadArgErr},     {102, {3, 3}, 1, 1, 1, false, ippStsNotSupportedModeErr},
        {100, {513, 1}, 1, 1, 1, false, ippStsMaskSizeErr}, {100, {1, 513}, 1, 1, 2, false, ippStsMaskSizeErr},
        {100, {1, 511}, 1, 1, 2, false, 0},
        {101, {511, 3}, 1, 1, 1, false, 0}};
    std::vector<Ipp8u> buf(16384);
    for (auto [set, fn] : QM_ALL_SETS(ippiFilterBilateralInit_8u_C1R))
        for (const Case& c : cases) {
            std::fill(buf.begin(), buf.end(), 0);
            EXPECT_EQ(fn(c.type, c.k, c.vs, c.ps, c.step, c.nullBuf ? nullptr : buf.data()), c.st)
                << set << " " << c.k.width << "x" << c.k.height;
            if (c.st != 0) {
                EXPECT_TRUE(std::all_of(buf.begin(), buf.end(), [](Ipp8u b) { return b == 0; }));
            }
        }
}

struct InitCase { IppiSize k; float valSq, posSq; int step; };
class BilateralRecordLayout : public ::testing::TestWithParam<InitCase> {};

TEST_P(BilateralRecordLayout, HeaderTablesAndWorkAreaWhereExpected) {
    const InitCase s = GetParam();
    const RefTables ref = ref_tables(s.k, s.valSq, s.posSq, s.step);
    const int R = std::max(ref.rx, ref.ry), size = buf_size({1, 1}, s.k);
    std::vector<Ipp8u> storage(size + 64);
    for (auto [set, init] : QM_ALL_SETS(ippiFilterBilateralInit_8u_C1R))
        for (int mis = 0; mis < 8; ++mis) {
            Ipp8u* buf = reinterpret_cast<Ipp8u*>((reinterpret_cast<uintptr_t>(storage.data()) + 31) & ~uintptr_t{31}) + mis;
            const int type = 100 + (mis & 1);
            ASSERT_EQ(init(type, s.k, s.valSq, s.posSq, s.step, buf), 0) << set;
            const int off = buf[0];
            EXPECT_EQ(off, 8 - mis) << set;
            const auto* rec = reinterpret_cast<const qm::BilateralRecord*>(buf + off);
            EXPECT_EQ(rec->magic, type == 100 ? 1129136492u : 1129136493u);
            EXPECT_EQ(std::memcmp(buf + off, type == 100 ? "lAMC" : "mAMC", 4), 0);
            EXPECT_EQ(rec->type, type);
            EXPECT_EQ(rec->radiusX, ref.rx);
            EXPECT_EQ(rec->radiusY, ref.ry);
            EXPECT_EQ(rec->step, s.step);
            const float* area = reinterpret_cast<const float*>((reinterpret_cast<uintptr_t>(rec) + 48 + 15) & ~uintptr_t{15});
            EXPECT_EQ(rec->value, area + 255);
            EXPECT_EQ(rec->position, area + R + 512);
            EXPECT_EQ(reinterpret_cast<uintptr_t>(rec->work) % 16, 0u);
            EXPECT_GE(rec->work, rec->position + R + 1);
            const int taps = (2 * (s.k.width / 2 / s.step) + 1) * (2 * (s.k.height / 2 / s.step) + 1);
            EXPECT_LE(reinterpret_cast<const Ipp8u*>(rec->work + taps), buf + size) << set;
            for (int d = 0; d < 256; ++d) {
                ASSERT_EQ(rec->value[d], ref.value[d]) << set << " d=" << d;
                ASSERT_EQ(rec->value[-d], ref.value[d]) << set << " d=-" << d;
            }
            for (int r = 0; r <= R; ++r) ASSERT_EQ(rec->position[r], ref.position[r]) << set << " r=" << r;
        }
    // The tables are the Gaussians they stand for, not merely equal to the reference.
    EXPECT_EQ(ref.value[0], 1.0f);
    EXPECT_NEAR(ref.value[1], std::exp(-1.0 / (2 * s.valSq)), 1e-6);
}

INSTANTIATE_TEST_SUITE_P(Setups, BilateralRecordLayout,
                         ::testing::Values(InitCase{{5, 5}, 960, 960, 1}, InitCase{{3, 3}, 1, 1, 1},
                                           InitCase{{5, 5}, 96, 300, 2},
                                           InitCase{{7, 7}, 0.5f, 2, 1},  // L = 3: position entry 3 stays 0
                                           InitCase{{9, 3}, 20000, 50, 3}, InitCase{{4, 4}, 100, 100, 1}));

TEST(Bilateral, TableLengthWorkedNumbers) {
    // L = trunc(sqrt(sigma^2 * 1.42 * (ln 25 + 6.3))) + 1, worked by hand.
    EXPECT_EQ(ref_tables({5, 5}, 1, 1, 1).L, 4);
    EXPECT_EQ(ref_tables({5, 5}, 960, 960, 1).L, 114);
    EXPECT_EQ(ref_tables({5, 5}, 1e6f, 1, 1).L, 256);
}

TEST(Bilateral, FilterChecksInOrderAndWritesNothingOnError) {
    std::vector<Ipp8u> buf(buf_size({8, 8}, {5, 5})), even(buf.size()), blank(buf.size(), 0);
    ASSERT_EQ(ippiFilterBilateralInit_8u_C1R(100, {5, 5}, 100, 100, 1, buf.data()), 0);
    ASSERT_EQ(ippiFilterBilateralInit_8u_C1R(100, {4, 4}, 100, 100, 1, even.data()), 0);
    GuardedImage src(16, 16), dst(16, 16);
    const Ipp8u* s = src.row(4) + 4;
    Ipp8u* d = dst.row(4) + 4;
    struct Case { const Ipp8u* s; Ipp8u* d; Ipp8u* b; int ss, ds; IppiSize roi, k; IppStatus st; };
    const Case cases[] = {
        {nullptr, d, buf.data(), 0, 0, {0, 0}, {0, 0}, ippStsNullPtrErr},
        {s, d, nullptr, 16, 16, {4, 4}, {5, 5}, ippStsNullPtrErr},
        {s, d, buf.data(), 0, 16, {0, 4}, {5, 5}, ippStsSizeErr},
        {s, d, buf.data(), 0, 16, {4, 4}, {0, 5}, ippStsStepErr},
        {s, d, buf.data(), 16, -16, {4, 4}, {5, 5}, ippStsStepErr},
        {s, d, blank.data(), 16, 16, {4, 4}, {0, 5}, ippStsMaskSizeErr},
        {s, d, blank.data(), 16, 16, {4, 4}, {5, 5}, ippStsContextMatchErr},
        {s, d, even.data(), 16, 16, {4, 4}, {4, 4}, ippStsMaskSizeErr},  // 4 >> 1 against (4 - 1) >> 1
        {s, d, buf.data(), 16, 16, {4, 4}, {7, 5}, ippStsMaskSizeErr},
        {s, d, buf.data(), 16, 16, {4, 4}, {5, 6}, ippStsMaskSizeErr}};
    for (auto [set, fn] : QM_ALL_SETS(ippiFilterBilateral_8u_C1R))
        for (const Case& c : cases) EXPECT_EQ(fn(c.s, c.ss, c.d, c.ds, c.roi, c.k, c.b), c.st) << set;
    EXPECT_TRUE(dst.untouched());
    // An even kernel works when the set-up was given the next odd size.
    EXPECT_EQ(ippiFilterBilateral_8u_C1R(s, 16, d, 16, {4, 4}, {4, 4}, buf.data()), 0);
}

TEST(Bilateral, ConstantImageUnchanged) {
    std::vector<Ipp8u> buf(buf_size({1, 1}, {7, 7}));
    for (auto [set, fn] : QM_ALL_SETS(ippiFilterBilateral_8u_C1R))
        for (int value : {0, 1, 128, 255}) {
            GuardedImage src(41, 13), dst(35, 7);
            for (int y = 0; y < 13; ++y) std::memset(src.row(y), value, 41);
            ASSERT_EQ(ippiFilterBilateralInit_8u_C1R(100, {7, 7}, 960, 960, 1, buf.data()), 0);
            ASSERT_EQ(fn(src.row(3) + 3, src.step(), dst.data(), dst.step(), {35, 7}, {7, 7}, buf.data()), 0);
            for (Ipp8u b : dst.payload()) ASSERT_EQ(b, value) << set;
            EXPECT_TRUE(dst.guards_intact());
        }
}

// A sigma so small that -0.5 / sigma overflows to -inf makes the centre
// weight 0 x inf = NaN, and with it every mean. Such pixels come out 0 in
// every path (the vector conversions give 0 for NaN), and converting the
// NaN is not undefined behaviour in the scalar ones (the sanitizer build
// traps that).
TEST(Bilateral, DenormalSigmaGivesZeroInEveryPath) {
    const float tiny = 1e-40f;
    const float sigmas[][2] = {{tiny, 96}, {96, tiny}, {tiny, tiny}};
    const IppiSize kernels[] = {{3, 3}, {5, 5}, {3, 5}};  // pair strips of radius 1 and 2, plain rows
    for (auto [set, fn] : QM_ALL_SETS(ippiFilterBilateral_8u_C1R))
        for (const IppiSize k : kernels)
            for (const auto& sg : sigmas) {
                std::vector<Ipp8u> buf(buf_size({13, 3}, k));
                ASSERT_EQ(ippiFilterBilateralInit_8u_C1R(100, k, sg[0], sg[1], 1, buf.data()), 0);
                GuardedImage src(13 + 4, 3 + 4), dst(13, 3);
                std::mt19937 rng(7);
                src.fill_random(rng);
                ASSERT_EQ(fn(src.row(2) + 2, src.step(), dst.data(), dst.step(), {13, 3}, k, buf.data()), 0);
                for (Ipp8u b : dst.payload()) ASSERT_EQ(b, 0) << set << " " << k.width << "x" << k.height;
                EXPECT_TRUE(dst.guards_intact()) << set;
            }
}

struct FilterCase { IppiSize roi, k; float valSq, posSq; int step, pad, noise; };
class BilateralRuns : public ::testing::TestWithParam<FilterCase> {};

TEST_P(BilateralRuns, EverySetMatchesReference) {
    const FilterCase r = GetParam();
    std::mt19937 rng(r.roi.width * 101 + r.k.width * 7 + r.step);
    const int bx = r.k.width / 2, by = r.k.height / 2;
    GuardedImage src(r.roi.width + 2 * bx, r.roi.height + 2 * by, r.pad);
    // Smooth ramp plus noise of the given amplitude, so both near and far values occur.
    for (int y = 0; y < src.rows(); ++y)
        for (int x = 0; x < src.rowBytes(); ++x)
            src.at(y, x) = Ipp8u(std::clamp(int(x * 3 + y * 2) % 256 + int(rng() % (2 * r.noise + 1)) - r.noise, 0, 255));
    src.settle();
    const Ipp8u* s = src.row(by) + bx;
    const RefTables t = ref_tables(r.k, r.valSq, r.posSq, r.step);
    GuardedImage want(r.roi.width, r.roi.height);
    ref_filter(s, src.step(), want.data(), want.step(), r.roi, r.k, t);
    std::vector<Ipp8u> buf(buf_size(r.roi, r.k));
    for (auto [set, fn] : QM_ALL_SETS(ippiFilterBilateral_8u_C1R)) {
        ASSERT_EQ(ippiFilterBilateralInit_8u_C1R(100, r.k, r.valSq, r.posSq, r.step, buf.data()), 0);
        GuardedImage dst(r.roi.width, r.roi.height, r.pad + 3);
        ASSERT_EQ(fn(s, src.step(), dst.data(), dst.step(), r.roi, r.k, buf.data()), 0) << set;
        EXPECT_TRUE(dst.guards_intact()) << set;
        EXPECT_TRUE(src.untouched()) << set;
        ASSERT_EQ(dst.payload(), want.payload()) << set;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Runs, BilateralRuns,
    ::testing::Values(FilterCase{{1, 1}, {3, 3}, 96, 96, 1, 0, 20}, FilterCase{{37, 11}, {5, 5}, 960, 960, 1, 5, 60},
                      FilterCase{{64, 9}, {3, 3}, 1, 1, 1, 0, 3}, FilterCase{{23, 17}, {5, 5}, 480, 480, 2, 2, 90},
                      FilterCase{{41, 6}, {7, 3}, 2000, 30, 1, 1, 128}, FilterCase{{19, 8}, {9, 9}, 300, 5000, 3, 0, 40},
                      FilterCase{{130, 4}, {1, 5}, 50, 2, 1, 9, 128}, FilterCase{{15, 15}, {5, 5}, 1e6f, 1e6f, 1, 0, 128},
                      FilterCase{{300, 5}, {5, 5}, 960, 960, 1, 3, 50}, FilterCase{{515, 3}, {3, 3}, 96, 96, 1, 0, 128}));

}  // namespace
