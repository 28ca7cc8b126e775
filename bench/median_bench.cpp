// Median, Gauss and the wrapper noise reductions on an A4 300-dpi page.
#include <benchmark/benchmark.h>

#include <vector>

#include "bench_common.h"
#include "ippiQM300.h"

namespace {

using qmbench::kPageHeight;
using qmbench::kPageWidth;

// The page is the source; the region leaves room for the largest mask (7x7).
constexpr int kBorder = 3;
constexpr IppiSize kRoi{kPageWidth - 2 * kBorder, kPageHeight - 2 * kBorder};

struct Images {
    int k;
    std::vector<Ipp8u> src, dst;
    explicit Images(int k) : k(k), src(qmbench::page(k)), dst(src.size()) {}
    int step() const { return k * kPageWidth; }
    const Ipp8u* in() const { return src.data() + kBorder * step() + kBorder * k; }
    Ipp8u* out() { return dst.data() + kBorder * step() + kBorder * k; }
};

void BM_Median(benchmark::State& state) {
    const int k = static_cast<int>(state.range(0)), m = static_cast<int>(state.range(1));
    Images im(k);
    auto fn = k == 1 ? ippiFilterMedian_8u_C1R : ippiFilterMedian_8u_C3R;
    for (auto _ : state) {
        fn(im.in(), im.step(), im.out(), im.step(), kRoi, {m, m}, {m / 2, m / 2});
        benchmark::ClobberMemory();
    }
    qmbench::set_page_rate(state);
}
BENCHMARK(BM_Median)->ArgsProduct({{1, 3}, {3, 5, 7}})->ArgNames({"ch", "mask"})->Unit(benchmark::kMillisecond);

void BM_Gauss(benchmark::State& state) {
    const int k = static_cast<int>(state.range(0)), code = static_cast<int>(state.range(1));
    Images im(k);
    auto fn = k == 1 ? ippiFilterGauss_8u_C1R : ippiFilterGauss_8u_C3R;
    for (auto _ : state) {
        fn(im.in(), im.step(), im.out(), im.step(), kRoi, code);
        benchmark::ClobberMemory();
    }
    qmbench::set_page_rate(state);
}
BENCHMARK(BM_Gauss)->Args({1, 33})->Args({3, 55})->ArgNames({"ch", "code"})->Unit(benchmark::kMillisecond);

template <IppStatus (*Wrapper)(const NrImageRecord*, const NrImageRecord*, int)>
void BM_Wrapper(benchmark::State& state) {
    Images im(3);
    const NrImageRecord src{im.src.data(), nullptr, kPageWidth, kPageHeight};
    const NrImageRecord dst{im.dst.data(), nullptr, kPageWidth, kPageHeight};
    for (auto _ : state) {
        Wrapper(&src, &dst, static_cast<int>(state.range(0)));
        benchmark::ClobberMemory();
    }
    qmbench::set_page_rate(state);
}
BENCHMARK(BM_Wrapper<GaussNrRGB>)->Name("BM_GaussNrRGB")->Arg(1)->Arg(2)->ArgName("r")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Wrapper<MedianNrRGB>)->Name("BM_MedianNrRGB")->Arg(1)->Arg(2)->ArgName("r")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Wrapper<MedianColorNrRGB>)
    ->Name("BM_MedianColorNrRGB")
    ->Arg(1)
    ->Arg(2)
    ->ArgName("r")
    ->Unit(benchmark::kMillisecond);

#if QM_HAVE_OPENCV
// The peer filters the same region of the same page (it reads the border as
// real neighbours, as ours does).
cv::Mat roi_of(Images& im, bool out) {
    cv::Mat whole(kPageHeight, kPageWidth, im.k == 1 ? CV_8UC1 : CV_8UC3, out ? im.dst.data() : im.src.data());
    return whole(cv::Rect(kBorder, kBorder, kRoi.width, kRoi.height));
}

void BM_Median_OpenCV(benchmark::State& state) {
    Images im(static_cast<int>(state.range(0)));
    cv::Mat src = roi_of(im, false), dst = roi_of(im, true);
    for (auto _ : state) {
        cv::medianBlur(src, dst, static_cast<int>(state.range(1)));
        benchmark::ClobberMemory();
    }
    qmbench::set_page_rate(state);
}
BENCHMARK(BM_Median_OpenCV)->ArgsProduct({{1, 3}, {3, 5, 7}})->ArgNames({"ch", "mask"})->Unit(benchmark::kMillisecond);

void BM_Gauss_OpenCV(benchmark::State& state) {
    Images im(static_cast<int>(state.range(0)));
    cv::Mat src = roi_of(im, false), dst = roi_of(im, true);
    const int m = state.range(1) == 33 ? 3 : 5;
    for (auto _ : state) {
        cv::GaussianBlur(src, dst, {m, m}, 0, 0, cv::BORDER_ISOLATED | cv::BORDER_REPLICATE);
        benchmark::ClobberMemory();
    }
    qmbench::set_page_rate(state);
}
BENCHMARK(BM_Gauss_OpenCV)->Args({1, 33})->Args({3, 55})->ArgNames({"ch", "code"})->Unit(benchmark::kMillisecond);
#endif

}  // namespace
