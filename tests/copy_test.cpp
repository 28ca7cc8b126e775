// Interleaved <-> planar copies in every implementation set against a plain
// reference, with padded steps and guard bytes.
#include <gtest/gtest.h>

#include <random>

#include "support/image.h"

namespace {

using qmtest::GuardedImage;

struct Shape { int width, height, interPad, planePad; };

class CopyShapes : public ::testing::TestWithParam<Shape> {};

TEST_P(CopyShapes, SplitAndJoinMatchReferenceInEverySet) {
    const Shape s = GetParam();
    std::mt19937 rng(s.width * 7919 + s.height);
    GuardedImage inter(3 * s.width, s.height, s.interPad);
    inter.fill_random(rng);
    for (auto [set, split] : QM_ALL_SETS(ippiCopy_8u_C3P3R)) {
        GuardedImage p0(s.width, s.height, s.planePad), p1(s.width, s.height, s.planePad),
            p2(s.width, s.height, s.planePad);
        Ipp8u* planes[3] = {p0.data(), p1.data(), p2.data()};
        ASSERT_EQ(split(inter.data(), inter.step(), planes, p0.step(), {s.width, s.height}), 0) << set;
        for (int y = 0; y < s.height; ++y)
            for (int x = 0; x < s.width; ++x) {
                ASSERT_EQ(p0.at(y, x), inter.at(y, 3 * x)) << set << " " << x << "," << y;
                ASSERT_EQ(p1.at(y, x), inter.at(y, 3 * x + 1)) << set;
                ASSERT_EQ(p2.at(y, x), inter.at(y, 3 * x + 2)) << set;
            }
        EXPECT_TRUE(p0.guards_intact() && p1.guards_intact() && p2.guards_intact()) << set;
    }
    GuardedImage q0(s.width, s.height, s.planePad), q1(s.width, s.height, s.planePad),
        q2(s.width, s.height, s.planePad);
    q0.fill_random(rng);
    q1.fill_random(rng);
    q2.fill_random(rng);
    const Ipp8u* planes[3] = {q0.data(), q1.data(), q2.data()};
    for (auto [set, join] : QM_ALL_SETS(ippiCopy_8u_P3C3R)) {
        GuardedImage out(3 * s.width, s.height, s.interPad);
        ASSERT_EQ(join(planes, q0.step(), out.data(), out.step(), {s.width, s.height}), 0) << set;
        for (int y = 0; y < s.height; ++y)
            for (int x = 0; x < s.width; ++x) {
                ASSERT_EQ(out.at(y, 3 * x), q0.at(y, x)) << set << " " << x << "," << y;
                ASSERT_EQ(out.at(y, 3 * x + 1), q1.at(y, x)) << set;
                ASSERT_EQ(out.at(y, 3 * x + 2), q2.at(y, x)) << set;
            }
        EXPECT_TRUE(out.guards_intact()) << set;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Shapes, CopyShapes,
    ::testing::Values(Shape{1, 1, 0, 0}, Shape{15, 3, 0, 0}, Shape{16, 2, 5, 3}, Shape{17, 5, 1, 1},
                      Shape{33, 4, 0, 7}, Shape{70, 9, 13, 0},
                      Shape{100, 100, 0, 0},    // contiguous, under the split limit: one run
                      Shape{200, 300, 0, 0}));  // contiguous, over it: row by row

TEST(Copy, ChecksNullsBeforeSizes) {
    Ipp8u buf[48] = {};
    Ipp8u* planes[3] = {buf, buf + 16, nullptr};
    const Ipp8u* cplanes[3] = {buf, buf + 16, nullptr};
    for (auto [set, split] : QM_ALL_SETS(ippiCopy_8u_C3P3R)) {
        EXPECT_EQ(split(buf, 3, planes, 1, {0, 1}), ippStsNullPtrErr) << set;
        EXPECT_EQ(split(nullptr, 3, planes, 1, {1, 1}), ippStsNullPtrErr) << set;
        EXPECT_EQ(split(buf, 3, nullptr, 1, {1, 1}), ippStsNullPtrErr) << set;
    }
    for (auto [set, join] : QM_ALL_SETS(ippiCopy_8u_P3C3R)) {
        EXPECT_EQ(join(cplanes, 1, buf, 3, {1, 0}), ippStsNullPtrErr) << set;
        EXPECT_EQ(join(nullptr, 1, buf, 3, {1, 1}), ippStsNullPtrErr) << set;
    }
    planes[2] = buf + 32;
    cplanes[2] = buf + 32;
    const std::vector<Ipp8u> before(buf, buf + 48);
    for (IppiSize bad : {IppiSize{0, 1}, IppiSize{1, 0}, IppiSize{-3, 4}}) {
        EXPECT_EQ(ippiCopy_8u_C3P3R(buf, 3, planes, 1, bad), ippStsSizeErr);
        EXPECT_EQ(ippiCopy_8u_P3C3R(cplanes, 1, buf, 3, bad), ippStsSizeErr);
    }
    EXPECT_EQ(std::vector<Ipp8u>(buf, buf + 48), before);
}

TEST(Copy, NegativeStepsWalkUpwards) {
    // Steps are not checked: a negative step is a bottom-up image.
    Ipp8u inter[2][6] = {{1, 2, 3, 4, 5, 6}, {7, 8, 9, 10, 11, 12}};
    Ipp8u p[3][2][2] = {};
    Ipp8u* planes[3] = {&p[0][1][0], &p[1][1][0], &p[2][1][0]};
    ASSERT_EQ(ippiCopy_8u_C3P3R(inter[0], 6, planes, -2, {2, 2}), 0);
    EXPECT_EQ(p[0][1][0], 1);
    EXPECT_EQ(p[0][0][1], 10);
    EXPECT_EQ(p[2][0][0], 9);
}

}  // namespace
