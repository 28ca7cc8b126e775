// Every call that allocates, with its 1st, 2nd, ... allocation failing in
// turn: the status it must give, nothing written where it must write
// nothing, and nothing leaked but the one leak the noise reduction keeps.
// (The box filter's paths have their own sweep beside its tests.)
#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <string>
#include <vector>

#include "ippiQM300.h"
#include "support/alloc.h"

namespace {

constexpr int W = 48, H = 24, M = 4;  // region and the margin readable around it

struct Images {
    std::vector<Ipp8u> src, dst;
    int srcStep = 0, dstStep = 0;
    explicit Images(int channels, bool inPlace = false)
        : src(size_t(channels) * (W + 2 * M) * (H + 2 * M)), dst(size_t(channels) * (W + 2 * M) * (H + 2 * M), 0x5A),
          srcStep(channels * (W + 2 * M)), dstStep(channels * (W + 2 * M)) {
        std::mt19937 rng(channels);
        for (auto& v : src) v = Ipp8u(rng());
        if (inPlace) dst = src;  // the in-place forms filter their own copy of the page
    }
    const Ipp8u* s(int ch) const { return src.data() + M * srcStep + M * ch; }
    Ipp8u* d(int ch) { return dst.data() + M * dstStep + M * ch; }
};

struct Case {
    std::string name;
    int channels;
    std::function<long(Images&)> call;
    long failure;  // the status when an allocation fails
    // Whether dst must be untouched when allocation n fails (default: always).
    std::function<bool(int)> untouched = [](int) { return true; };
    // How many blocks the call may leave behind when allocation n fails.
    std::function<size_t(int)> kept = [](int) { return size_t{0}; };
};

std::vector<Case> cases() {
    const IppiSize roi = {W, H};
    std::vector<Case> c;
    for (int ch : {1, 3}) {
        auto med = ch == 1 ? ippiFilterMedian_8u_C1R : ippiFilterMedian_8u_C3R;
        c.push_back({"median one column", ch, [=](Images& im) {
                         return long(med(im.s(ch), im.srcStep, im.d(ch), im.dstStep, roi, {1, 7}, {0, 3}));
                     }, -9});
        auto gauss = ch == 1 ? ippiFilterGauss_8u_C1R : ippiFilterGauss_8u_C3R;
        for (int code : {33, 55})
            c.push_back({"gauss " + std::to_string(code), ch, [=](Images& im) {
                             return long(gauss(im.s(ch), im.srcStep, im.d(ch), im.dstStep, roi, code));
                         }, -9});
        auto resize = ch == 1 ? ippiResize_8u_C1R : ippiResize_8u_C3R;
        for (int interp : {1, 2, 4, 8, 16})
            c.push_back({"resize " + std::to_string(interp), ch, [=](Images& im) {
                             return long(resize(im.src.data(), {W + 2 * M, H + 2 * M}, im.srcStep, {1, 1, W, H},
                                                im.d(ch), im.dstStep, {W, H}, 0.6, 0.7, interp));
                         }, -9});
    }
    for (auto fn : {ippiFilterMin_8u_C1R, ippiFilterMax_8u_C1R})
        c.push_back({"min/max", 1, [=](Images& im) {
                         return long(fn(im.s(1), im.srcStep, im.d(1), im.dstStep, roi, {5, 3}, {2, 1}));
                     }, -9});
    // Scanner filters report 0 whatever the allocator does; they work on
    // tightly packed pages.
    auto packed = [](Images& im) { return std::pair{im.src.data(), im.dst.data()}; };
    c.push_back({"DeosConvRGB", 3, [=](Images& im) {
                     auto [s, d] = packed(im);
                     return long(DeosConvRGB(s, d, W, H, 0, 3, 4));
                 }, 0});
    c.push_back({"DeosConvRgbInFilterCoef", 3, [=](Images& im) {
                     std::vector<Ipp32f> k(75, 1.0f / 25);
                     auto [s, d] = packed(im);
                     return long(DeosConvRgbInFilterCoef(s, d, W, H, 2, k.data()));
                 }, 0});
    // Two scratch planes first, then one working buffer per filtered plane;
    // a failed working buffer leaves that plane unfiltered, so dst is written.
    const auto scratchOnly = [](int first) { return [first](int n) { return n < first; }; };
    c.push_back({"DeosNrRGB", 3, [=](Images& im) {
                     auto [s, d] = packed(im);
                     return long(DeosNrRGB(s, d, W, H, 2, 5));
                 }, 0, scratchOnly(3)});
    c.push_back({"DeosNrIndividualRGB", 3, [=](Images& im) {
                     auto [s, d] = packed(im);
                     return long(DeosNrIndividualRGB(s, d, W, H, 1, 3, 0, 0, 2, 7));
                 }, 0, scratchOnly(3)});
    // Four scratch images A, B, C, D; only C and D are tested, and when one
    // of them fails, A and B stay allocated: that leak is kept as it always was.
    c.push_back({"DeosNrYUV", 3, [=](Images& im) {
                     auto [s, d] = packed(im);
                     return long(DeosNrYUV(s, d, W, H, 1, 4, 2, 6));
                 }, 0, [](int n) { return n == 3 || n == 4; }, [](int n) { return n == 3 || n == 4 ? size_t{2} : size_t{0}; }});
    c.push_back({"DeosNrMono", 1, [=](Images& im) {
                     auto [s, d] = packed(im);
                     return long(DeosNrMono(s, d, W, H, 2, 5));
                 }, 0});
    for (int r : {1, 2}) {
        c.push_back({"GaussNrRGB " + std::to_string(r), 3, [=](Images& im) {
                         NrImageRecord s{im.src.data(), nullptr, W, H}, d{im.dst.data(), nullptr, W, H};
                         return long(GaussNrRGB(&s, &d, r));
                     }, -9});
    }
    return c;
}

TEST(AllocationFailure, EveryAllocationOfEveryPathInTurn) {
    for (const Case& c : cases()) {
        const bool inPlace = c.name.find("in place") != std::string::npos;
        Images reference(c.channels, inPlace);
        long ok;
        int allocations;
        {
            qmtest::AllocProbe probe;
            ok = c.call(reference);
            allocations = probe.calls();
            EXPECT_EQ(probe.live(), 0u) << c.name << " leaks without any failure";
        }
        ASSERT_EQ(ok, 0) << c.name;
        ASSERT_GT(allocations, 0) << c.name << " was expected to allocate";
        for (int n = 1; n <= allocations; ++n) {
            Images im(c.channels, inPlace);
            const std::vector<Ipp8u> before = im.dst;
            qmtest::AllocProbe probe(n);
            EXPECT_EQ(c.call(im), c.failure) << c.name << ", allocation " << n << " failing";
            if (c.untouched(n)) {
                EXPECT_EQ(im.dst, before) << c.name << " wrote with allocation " << n << " failing";
            }
            EXPECT_EQ(probe.live(), c.kept(n)) << c.name << ", allocation " << n << " failing";
            probe.release_leaks();
        }
    }
}

// The scratch allocator sizes blocks as a 32-bit product: pages beyond that
// get no scratch (result 0, nothing written) instead of a wrapped block.
TEST(AllocationFailure, PagesBeyondTwoGigabytesGetNoScratch) {
    std::vector<Ipp8u> src(64, 1), dst(64, 2);
    qmtest::AllocProbe probe;
    // 3 GB per colour page; and both sides near 2^31, where the size test
    // itself must not overflow.
    for (auto [w, h] : {std::pair{1 << 28, 4}, std::pair{INT32_MAX - 3, INT32_MAX - 3}}) {
        EXPECT_EQ(DeosConvRGB(src.data(), dst.data(), w, h, 0, 2, 3), 0u);
        EXPECT_EQ(DeosNrRGB(src.data(), dst.data(), w, h, 1, 3), 0u);
        EXPECT_EQ(DeosNrIndividualRGB(src.data(), dst.data(), w, h, 1, 3, 1, 3, 1, 3), 0u);
        EXPECT_EQ(DeosNrYUV(src.data(), dst.data(), w, h, 1, 3, 1, 3), 0u);
    }
    EXPECT_EQ(probe.calls(), 0);
    EXPECT_EQ(dst, std::vector<Ipp8u>(64, 2));
}

TEST(AllocationFailure, AllocatorsReturnNull) {
    int step = -1;
    const std::vector<std::function<void*()>> allocators = {
        [] { return ippMalloc(100); },
        [] { return static_cast<void*>(ippsMalloc_8u(100)); },
        [&] { return static_cast<void*>(ippiMalloc_8u_C3(10, 10, &step)); }};
    for (const auto& allocate : allocators) {
        qmtest::AllocProbe probe(1);
        EXPECT_EQ(allocate(), nullptr);
        EXPECT_EQ(probe.calls(), 1);
        EXPECT_EQ(probe.live(), 0u);
    }
    EXPECT_EQ(step, 32);  // written even though the allocation failed
}

}  // namespace
