// Fixed-kernel filters and the scanner convolution on an A4 300-dpi page.
#include <benchmark/benchmark.h>

#include <vector>

#include "bench_common.h"
#include "ippiQM300.h"

namespace {

using qmbench::kPageHeight;
using qmbench::kPageWidth;

// A sharpening kernel of the scanner's shape: positive centre, negative rim.
std::vector<float> sharpen(int n) {
    std::vector<float> k(size_t(n) * n, -1.0f / float(n * n));
    k[size_t(n / 2) * n + n / 2] += 2.0f;
    return k;
}

void BM_DeosConvRGB(benchmark::State& state) {
    const auto src = qmbench::page_rgb();
    std::vector<Ipp8u> dst(src.size());
    const Ipp32u radius = static_cast<Ipp32u>(state.range(0));
    for (auto _ : state) {
        DeosConvRGB(src.data(), dst.data(), kPageWidth, kPageHeight, 0, radius, 3);
        benchmark::ClobberMemory();
    }
    qmbench::set_page_rate(state);
}
BENCHMARK(BM_DeosConvRGB)->Arg(2)->Arg(3)->Arg(4)->Arg(7)->Unit(benchmark::kMillisecond);

// The filters on the page interior, as the scanner calls them.
void BM_Filter32f_C3(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0)), r = n / 2;
    const auto src = qmbench::page_rgb();
    std::vector<Ipp8u> dst(src.size());
    const auto k = sharpen(n);
    const int step = 3 * kPageWidth;
    const IppiSize roi = {kPageWidth - 2 * r, kPageHeight - 2 * r};
    for (auto _ : state) {
        ippiFilter32f_8u_C3R(src.data() + (step + 3) * r, step, dst.data() + (step + 3) * r, step, roi, k.data(),
                             {n, n}, {r, r});
        benchmark::ClobberMemory();
    }
    qmbench::set_page_rate(state);
}
BENCHMARK(BM_Filter32f_C3)->Arg(5)->Arg(7)->Unit(benchmark::kMillisecond);

void BM_Filter_C1(benchmark::State& state) {
    const int n = 5, r = 2;
    const auto src = qmbench::page_grey();
    std::vector<Ipp8u> dst(src.size());
    std::vector<Ipp32s> k(25, -1);
    k[12] = 49;
    const IppiSize roi = {kPageWidth - 2 * r, kPageHeight - 2 * r};
    for (auto _ : state) {
        ippiFilter_8u_C1R(src.data() + (kPageWidth + 1) * r, kPageWidth, dst.data() + (kPageWidth + 1) * r,
                          kPageWidth, roi, k.data(), {n, n}, {r, r}, 25);
        benchmark::ClobberMemory();
    }
    qmbench::set_page_rate(state);
}
BENCHMARK(BM_Filter_C1)->Unit(benchmark::kMillisecond);

void BM_Filter32f_C1(benchmark::State& state) {
    const int n = 5, r = 2;
    const auto src = qmbench::page_grey();
    std::vector<Ipp8u> dst(src.size());
    const auto k = sharpen(n);
    const IppiSize roi = {kPageWidth - 2 * r, kPageHeight - 2 * r};
    for (auto _ : state) {
        ippiFilter32f_8u_C1R(src.data() + (kPageWidth + 1) * r, kPageWidth, dst.data() + (kPageWidth + 1) * r,
                             kPageWidth, roi, k.data(), {n, n}, {r, r});
        benchmark::ClobberMemory();
    }
    qmbench::set_page_rate(state);
}
BENCHMARK(BM_Filter32f_C1)->Unit(benchmark::kMillisecond);

#if QM_HAVE_OPENCV
// filter2D correlates; the kernels here are symmetric, so the work is the same.
void BM_Filter2D_OpenCV(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0)), channels = static_cast<int>(state.range(1)), r = n / 2;
    auto src = qmbench::page(channels);
    std::vector<Ipp8u> dst(src.size());
    const int type = channels == 3 ? CV_8UC3 : CV_8UC1;
    cv::Mat s(kPageHeight, kPageWidth, type, src.data()), d(kPageHeight, kPageWidth, type, dst.data());
    const cv::Rect inner(r, r, kPageWidth - 2 * r, kPageHeight - 2 * r);
    cv::Mat si = s(inner), di = d(inner);
    auto k = sharpen(n);
    cv::Mat km(n, n, CV_32F, k.data());
    for (auto _ : state) {
        cv::filter2D(si, di, -1, km, cv::Point(-1, -1), 0, cv::BORDER_ISOLATED | cv::BORDER_REPLICATE);
        benchmark::ClobberMemory();
    }
    qmbench::set_page_rate(state);
}
BENCHMARK(BM_Filter2D_OpenCV)->Args({5, 3})->Args({7, 3})->Args({5, 1})->Args({15, 3})->Unit(benchmark::kMillisecond);
#endif

}  // namespace
