// Box, minimum and maximum filters on an A4 300-dpi page. Both sides filter the
// page's interior, so every neighbourhood lies inside the page.
#include <benchmark/benchmark.h>

#include <vector>

#include "bench_common.h"
#include "ippiQM300.h"

namespace {

using qmbench::kPageHeight;
using qmbench::kPageWidth;

using Filter = IppStatus (*)(const Ipp8u*, int, Ipp8u*, int, IppiSize, IppiSize, IppiPoint);

void run_ours(benchmark::State& state, Filter fn, int ch, int mask) {
    const std::vector<Ipp8u> src = qmbench::page(ch);
    std::vector<Ipp8u> dst(src.size());
    const int r = mask / 2, step = kPageWidth * ch;
    const IppiSize roi{kPageWidth - mask + 1, kPageHeight - mask + 1};
    const size_t at = static_cast<size_t>(r) * step + static_cast<size_t>(r) * ch;
    for (auto _ : state) {
        fn(src.data() + at, step, dst.data() + at, step, roi, {mask, mask}, {r, r});
        benchmark::ClobberMemory();
    }
    qmbench::set_page_rate(state, int64_t{roi.width} * roi.height);
}

void BM_Box5x5_C1(benchmark::State& s) { run_ours(s, ippiFilterBox_8u_C1R, 1, 5); }
void BM_Box15x15_C1(benchmark::State& s) { run_ours(s, ippiFilterBox_8u_C1R, 1, 15); }
void BM_Box3x3_C3(benchmark::State& s) { run_ours(s, ippiFilterBox_8u_C3R, 3, 3); }
void BM_Min3x3(benchmark::State& s) { run_ours(s, ippiFilterMin_8u_C1R, 1, 3); }
void BM_Max7x7(benchmark::State& s) { run_ours(s, ippiFilterMax_8u_C1R, 1, 7); }
BENCHMARK(BM_Box5x5_C1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Box15x15_C1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Box3x3_C3)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Min3x3)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Max7x7)->Unit(benchmark::kMillisecond);

// In place, with a mask shorter than the ROI (the row-delaying form).
void BM_Box5x5_C1_InPlace(benchmark::State& state) {
    std::vector<Ipp8u> img = qmbench::page_grey();
    const IppiSize roi{kPageWidth - 4, kPageHeight - 4};
    for (auto _ : state) {
        ippiFilterBox_8u_C1IR(img.data() + 2 * kPageWidth + 2, kPageWidth, roi, {5, 5}, {2, 2});
        benchmark::ClobberMemory();
    }
    qmbench::set_page_rate(state, int64_t{roi.width} * roi.height);
}
BENCHMARK(BM_Box5x5_C1_InPlace)->Unit(benchmark::kMillisecond);

#if QM_HAVE_OPENCV
enum class Peer { blur, erode, dilate };

void run_peer(benchmark::State& state, Peer peer, int ch, int mask) {
    std::vector<Ipp8u> src = qmbench::page(ch);
    std::vector<Ipp8u> dst(src.size());
    const int type = ch == 1 ? CV_8UC1 : CV_8UC3;
    const cv::Rect inner(mask / 2, mask / 2, kPageWidth - mask + 1, kPageHeight - mask + 1);
    cv::Mat in = cv::Mat(kPageHeight, kPageWidth, type, src.data())(inner);
    cv::Mat out = cv::Mat(kPageHeight, kPageWidth, type, dst.data())(inner);
    const cv::Mat kernel = cv::getStructuringElement(cv::MORPH_RECT, {mask, mask});
    for (auto _ : state) {
        switch (peer) {
        case Peer::blur: cv::blur(in, out, {mask, mask}); break;
        case Peer::erode: cv::erode(in, out, kernel); break;
        case Peer::dilate: cv::dilate(in, out, kernel); break;
        }
        benchmark::ClobberMemory();
    }
    qmbench::set_page_rate(state, int64_t{inner.width} * inner.height);
}

void BM_Box5x5_C1_OpenCV(benchmark::State& s) { run_peer(s, Peer::blur, 1, 5); }
void BM_Box15x15_C1_OpenCV(benchmark::State& s) { run_peer(s, Peer::blur, 1, 15); }
void BM_Box3x3_C3_OpenCV(benchmark::State& s) { run_peer(s, Peer::blur, 3, 3); }
void BM_Min3x3_OpenCV(benchmark::State& s) { run_peer(s, Peer::erode, 1, 3); }
void BM_Max7x7_OpenCV(benchmark::State& s) { run_peer(s, Peer::dilate, 1, 7); }
BENCHMARK(BM_Box5x5_C1_OpenCV)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Box15x15_C1_OpenCV)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Box3x3_C3_OpenCV)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Min3x3_OpenCV)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Max7x7_OpenCV)->Unit(benchmark::kMillisecond);
#endif

}  // namespace
