// Channel split and join on an A4 300-dpi colour page.
#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "bench_common.h"
#include "ippiQM300.h"

namespace {

using qmbench::kPageHeight;
using qmbench::kPageWidth;

struct Planes {
    std::vector<Ipp8u> inter = qmbench::page_rgb();
    std::vector<Ipp8u> p0 = std::vector<Ipp8u>(size_t{kPageWidth} * kPageHeight),
                       p1 = p0, p2 = p0;
};

void BM_Split(benchmark::State& state) {
    Planes p;
    Ipp8u* planes[3] = {p.p0.data(), p.p1.data(), p.p2.data()};
    for (auto _ : state) {
        ippiCopy_8u_C3P3R(p.inter.data(), 3 * kPageWidth, planes, kPageWidth, {kPageWidth, kPageHeight});
        benchmark::ClobberMemory();
    }
    qmbench::set_page_rate(state);
}
BENCHMARK(BM_Split)->Unit(benchmark::kMillisecond);

void BM_Join(benchmark::State& state) {
    Planes p;
    const Ipp8u* planes[3] = {p.p0.data(), p.p1.data(), p.p2.data()};
    for (auto _ : state) {
        ippiCopy_8u_P3C3R(planes, kPageWidth, p.inter.data(), 3 * kPageWidth, {kPageWidth, kPageHeight});
        benchmark::ClobberMemory();
    }
    qmbench::set_page_rate(state);
}
BENCHMARK(BM_Join)->Unit(benchmark::kMillisecond);

// The floor: moving the same bytes without rearranging them.
void BM_Memcpy(benchmark::State& state) {
    Planes p;
    std::vector<Ipp8u> out(p.inter.size());
    for (auto _ : state) {
        std::memcpy(out.data(), p.inter.data(), out.size());
        benchmark::ClobberMemory();
    }
    qmbench::set_page_rate(state);
}
BENCHMARK(BM_Memcpy)->Unit(benchmark::kMillisecond);

#if QM_HAVE_OPENCV
void BM_Split_OpenCV(benchmark::State& state) {
    Planes p;
    cv::Mat src(kPageHeight, kPageWidth, CV_8UC3, p.inter.data());
    std::vector<cv::Mat> planes = {cv::Mat(kPageHeight, kPageWidth, CV_8UC1, p.p0.data()),
                                   cv::Mat(kPageHeight, kPageWidth, CV_8UC1, p.p1.data()),
                                   cv::Mat(kPageHeight, kPageWidth, CV_8UC1, p.p2.data())};
    for (auto _ : state) {
        cv::split(src, planes.data());
        benchmark::ClobberMemory();
    }
    qmbench::set_page_rate(state);
}
BENCHMARK(BM_Split_OpenCV)->Unit(benchmark::kMillisecond);

void BM_Join_OpenCV(benchmark::State& state) {
    Planes p;
    cv::Mat dst(kPageHeight, kPageWidth, CV_8UC3, p.inter.data());
    std::vector<cv::Mat> planes = {cv::Mat(kPageHeight, kPageWidth, CV_8UC1, p.p0.data()),
                                   cv::Mat(kPageHeight, kPageWidth, CV_8UC1, p.p1.data()),
                                   cv::Mat(kPageHeight, kPageWidth, CV_8UC1, p.p2.data())};
    for (auto _ : state) {
        cv::merge(planes, dst);
        benchmark::ClobberMemory();
    }
    qmbench::set_page_rate(state);
}
BENCHMARK(BM_Join_OpenCV)->Unit(benchmark::kMillisecond);
#endif

}  // namespace
