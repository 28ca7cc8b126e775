// Integer kernels whose weights fit 8 or 16 bits take their own vector paths;
// every set must still give the plain convolution's bytes, also at the edges
// of those weight ranges and on the pixels that reach the extreme sums.
#include <gtest/gtest.h>

#include <random>

#include "linear_ref.h"
#include "support/image.h"

namespace {

using qmtest::GuardedImage;

struct Shape { int ch, w, h, kw, kh, ax, ay; };

const int kDivisors[] = {1, 2, 8, 1 << 15, 1 << 16, 1 << 20, 3, 25, -7, -1, 255};

// Runs every set over the image and compares with the reference for each divisor.
void expect_all_sets(const Shape& c, const GuardedImage& img, const std::vector<Ipp32s>& k, const char* what) {
    const Ipp8u* p = img.data() + ptrdiff_t{c.kh - 1 - c.ay} * img.step() + ptrdiff_t{c.kw - 1 - c.ax} * c.ch;
    auto sets = c.ch == 1 ? QM_ALL_SETS(ippiFilter_8u_C1R) : QM_ALL_SETS(ippiFilter_8u_C3R);
    for (int divisor : kDivisors) {
        const auto want =
            qmtest::ref_filter_int(img.data(), img.step(), c.ch, c.w, c.h, k.data(), c.kw, c.kh, divisor);
        for (auto [set, fn] : sets) {
            GuardedImage d(c.ch * c.w, c.h, 3);
            ASSERT_EQ(fn(p, img.step(), d.data(), d.step(), {c.w, c.h}, k.data(), {c.kw, c.kh}, {c.ax, c.ay},
                         divisor), 0);
            EXPECT_EQ(d.payload(), want) << what << ' ' << set << " divisor " << divisor << " kernel " << c.kw
                                         << 'x' << c.kh << " ch " << c.ch << " w " << c.w << " h " << c.h;
            EXPECT_TRUE(d.guards_intact()) << set;
        }
    }
}

GuardedImage source(const Shape& c, std::mt19937& rng) {
    GuardedImage img(c.ch * (c.w + c.kw - 1), c.h + c.kh - 1, 5, 4096);
    img.fill_random(rng);
    return img;
}

// Random byte-sized weights with at most 128 in total on either side.
std::vector<Ipp32s> small_kernel(int taps, std::mt19937& rng) {
    std::vector<Ipp32s> k(static_cast<size_t>(taps));
    const int m = taps <= 4 ? 60 : 256 / taps + 2;
    std::uniform_int_distribution<int> wd(-m, m);
    int pos = 0, neg = 0;
    for (Ipp32s& v : k) {
        v = wd(rng);
        if (v > 0 && pos + v > 128) v = 128 - pos;
        if (v < 0 && neg - v > 128) v = neg - 128;
        (v > 0 ? pos : neg) += v > 0 ? v : -v;
    }
    return k;
}

class SmallKernels : public ::testing::TestWithParam<Shape> {};

TEST_P(SmallKernels, MatchReferenceInEverySet) {
    const Shape c = GetParam();
    std::mt19937 rng(c.w * 7 + c.kw * 131 + c.kh * 17 + c.ch);
    const GuardedImage img = source(c, rng);
    const int taps = c.kw * c.kh;
    for (int round = 0; round < 3; ++round) expect_all_sets(c, img, small_kernel(taps, rng), "small");
    // 16-bit weights, the largest ones included.
    std::vector<Ipp32s> k(static_cast<size_t>(taps));
    std::uniform_int_distribution<int> wd(-32768, 32767);
    for (Ipp32s& v : k) v = wd(rng);
    k[0] = -32768;
    k[taps - 1] = 32767;
    expect_all_sets(c, img, k, "short");
}

TEST_P(SmallKernels, ExtremeSumsAtTheEdgeOfTheByteRange) {
    const Shape c = GetParam();
    std::mt19937 rng(c.h * 3 + c.kw);
    GuardedImage img = source(c, rng);
    const int taps = c.kw * c.kh;
    // 128 on each side in total (255 x 128 reaches the 16-bit ends), spread
    // over the taps; the byte extremes 127 and -128 where the kernel allows.
    std::vector<Ipp32s> k(static_cast<size_t>(taps), 0);
    if (taps == 1) {
        k[0] = 127;
    } else {
        int pos = 128, neg = 128;
        for (int t = 0; t < taps; ++t) {
            const int share = (t % 2 == 0 ? pos : neg) / ((taps - t + 1) / 2);
            if (t % 2 == 0) k[t] = share, pos -= share;
            else k[t] = -share, neg -= share;
        }
        k[0] += pos;
        k[1] -= neg;
        if (taps == 2) k = {127, -128};
    }
    // Pixels at 255 under the positive weights and 0 under the negative ones
    // for one output, the reverse for another; random elsewhere.
    auto window = [&](int x, int y, bool positive) {
        for (int i = 0; i < c.kh; ++i)
            for (int j = 0; j < c.kw; ++j) {
                const Ipp32s w = k[static_cast<size_t>(i * c.kw + j)];
                const int row = y + c.kh - 1 - i, col = x + c.kw - 1 - j;
                for (int ch = 0; ch < c.ch; ++ch)
                    img.at(row, col * c.ch + ch) = ((w > 0) == positive && w != 0) ? 255 : 0;
            }
    };
    window(0, 0, true);
    window(c.w - 1, c.h - 1, false);
    if (c.w > 20) window(c.w / 2, 0, false);
    img.settle();
    expect_all_sets(c, img, k, "extreme");
    // One past the byte range: the 16-bit path takes over.
    k[0] += 1;
    expect_all_sets(c, img, k, "one past");
}

INSTANTIATE_TEST_SUITE_P(
    Shapes, SmallKernels,
    ::testing::Values(Shape{1, 16, 1, 5, 5, 2, 2}, Shape{1, 37, 5, 5, 5, 2, 2}, Shape{1, 40, 4, 3, 3, 1, 1},
                      Shape{1, 33, 3, 7, 7, 3, 3}, Shape{1, 50, 6, 2, 2, 0, 0}, Shape{1, 29, 3, 4, 3, 3, 0},
                      Shape{1, 45, 4, 9, 3, 4, 1},   // width without its own kernel
                      Shape{1, 21, 5, 6, 1, -1, 0},  // anchor outside the kernel
                      Shape{1, 70, 3, 1, 5, 0, 2},   // one column
                      Shape{1, 18, 2, 1, 1, 0, 0}, Shape{3, 16, 3, 5, 5, 2, 2}, Shape{3, 23, 4, 3, 3, 1, 1},
                      Shape{3, 6, 2, 1, 7, 0, 3}, Shape{3, 40, 3, 2, 4, 1, 1}));

}  // namespace
