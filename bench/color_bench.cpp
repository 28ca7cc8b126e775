// RGB/YUV conversion, the bilateral filter and the scanner noise reduction on
// an A4 300-dpi page, with OpenCV as the peer where it has the operation.
#include <benchmark/benchmark.h>

#include <vector>

#include "bench_common.h"
#include "ippiQM300.h"

namespace {

using qmbench::kPageHeight;
using qmbench::kPageWidth;

constexpr IppiSize kPage{kPageWidth, kPageHeight};

void BM_RGBToYUV(benchmark::State& state) {
    const std::vector<Ipp8u> src = qmbench::page_rgb();
    std::vector<Ipp8u> dst(src.size());
    for (auto _ : state) {
        ippiRGBToYUV_8u_C3R(src.data(), 3 * kPageWidth, dst.data(), 3 * kPageWidth, kPage);
        benchmark::ClobberMemory();
    }
    qmbench::set_page_rate(state);
}
BENCHMARK(BM_RGBToYUV)->Unit(benchmark::kMillisecond);

void BM_YUVToRGB(benchmark::State& state) {
    const std::vector<Ipp8u> src = qmbench::page_rgb();
    std::vector<Ipp8u> dst(src.size());
    for (auto _ : state) {
        ippiYUVToRGB_8u_C3R(src.data(), 3 * kPageWidth, dst.data(), 3 * kPageWidth, kPage);
        benchmark::ClobberMemory();
    }
    qmbench::set_page_rate(state);
}
BENCHMARK(BM_YUVToRGB)->Unit(benchmark::kMillisecond);

void BM_RGBToYUV_Planar(benchmark::State& state) {
    const std::vector<Ipp8u> src = qmbench::page_rgb();
    std::vector<Ipp8u> p0(src.size() / 3), p1(p0), p2(p0);
    Ipp8u* planes[3] = {p0.data(), p1.data(), p2.data()};
    for (auto _ : state) {
        ippiRGBToYUV_8u_C3P3R(src.data(), 3 * kPageWidth, planes, kPageWidth, kPage);
        benchmark::ClobberMemory();
    }
    qmbench::set_page_rate(state);
}
BENCHMARK(BM_RGBToYUV_Planar)->Unit(benchmark::kMillisecond);

// 5 x 5 bilateral over the page interior, sigma^2 960 (the strongest scanner setting).
void BM_Bilateral5x5(benchmark::State& state) {
    const std::vector<Ipp8u> src = qmbench::page_grey();
    std::vector<Ipp8u> dst(src.size());
    const IppiSize roi{kPageWidth - 4, kPageHeight - 4};
    int size = 0;
    ippiFilterBilateralGetBufSize_8u_C1R(100, roi, {5, 5}, &size);
    std::vector<Ipp8u> buf(size);
    ippiFilterBilateralInit_8u_C1R(100, {5, 5}, 960.0f, 960.0f, 1, buf.data());
    for (auto _ : state) {
        ippiFilterBilateral_8u_C1R(src.data() + 2 * kPageWidth + 2, kPageWidth, dst.data() + 2 * kPageWidth + 2,
                                   kPageWidth, roi, {5, 5}, buf.data());
        benchmark::ClobberMemory();
    }
    qmbench::set_page_rate(state, int64_t{roi.width} * roi.height);
}
BENCHMARK(BM_Bilateral5x5)->Unit(benchmark::kMillisecond);

template <int Mode>
void BM_DeosNrRGB(benchmark::State& state) {
    const std::vector<Ipp8u> src = qmbench::page_rgb();
    std::vector<Ipp8u> dst(src.size());
    for (auto _ : state) {
        DeosNrRGB(src.data(), dst.data(), kPageWidth, kPageHeight, Mode, 5);
        benchmark::ClobberMemory();
    }
    qmbench::set_page_rate(state);
}
BENCHMARK(BM_DeosNrRGB<1>)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DeosNrRGB<2>)->Unit(benchmark::kMillisecond);

template <int Mode>
void BM_DeosNrYUV(benchmark::State& state) {
    const std::vector<Ipp8u> src = qmbench::page_rgb();
    std::vector<Ipp8u> dst(src.size());
    for (auto _ : state) {
        DeosNrYUV(src.data(), dst.data(), kPageWidth, kPageHeight, Mode, 5, Mode, 5);
        benchmark::ClobberMemory();
    }
    qmbench::set_page_rate(state);
}
BENCHMARK(BM_DeosNrYUV<1>)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DeosNrYUV<2>)->Unit(benchmark::kMillisecond);

#if QM_HAVE_OPENCV
void BM_RGBToYUV_OpenCV(benchmark::State& state) {
    std::vector<Ipp8u> src = qmbench::page_rgb(), dst(src.size());
    cv::Mat s(kPageHeight, kPageWidth, CV_8UC3, src.data()), d(kPageHeight, kPageWidth, CV_8UC3, dst.data());
    for (auto _ : state) {
        cv::cvtColor(s, d, cv::COLOR_RGB2YUV);
        benchmark::ClobberMemory();
    }
    qmbench::set_page_rate(state);
}
BENCHMARK(BM_RGBToYUV_OpenCV)->Unit(benchmark::kMillisecond);

void BM_YUVToRGB_OpenCV(benchmark::State& state) {
    std::vector<Ipp8u> src = qmbench::page_rgb(), dst(src.size());
    cv::Mat s(kPageHeight, kPageWidth, CV_8UC3, src.data()), d(kPageHeight, kPageWidth, CV_8UC3, dst.data());
    for (auto _ : state) {
        cv::cvtColor(s, d, cv::COLOR_YUV2RGB);
        benchmark::ClobberMemory();
    }
    qmbench::set_page_rate(state);
}
BENCHMARK(BM_YUVToRGB_OpenCV)->Unit(benchmark::kMillisecond);

// d = 5 with the same Gaussian widths: sigma = sqrt(960).
void BM_Bilateral5x5_OpenCV(benchmark::State& state) {
    std::vector<Ipp8u> src = qmbench::page_grey(), dst(src.size());
    cv::Mat s(kPageHeight, kPageWidth, CV_8UC1, src.data()), d(kPageHeight, kPageWidth, CV_8UC1, dst.data());
    const double sigma = std::sqrt(960.0);
    for (auto _ : state) {
        cv::bilateralFilter(s, d, 5, sigma, sigma);
        benchmark::ClobberMemory();
    }
    qmbench::set_page_rate(state);
}
BENCHMARK(BM_Bilateral5x5_OpenCV)->Unit(benchmark::kMillisecond);
#endif

}  // namespace
