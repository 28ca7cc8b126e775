// Resize and remap on an A4 300-dpi colour page.
#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "bench_common.h"
#include "ippiQM300.h"

namespace {

using qmbench::kPageHeight;
using qmbench::kPageWidth;

constexpr int kHalfW = kPageWidth / 2, kHalfH = kPageHeight / 2;

const std::vector<Ipp8u>& page() {
    static const std::vector<Ipp8u> p = qmbench::page_rgb();
    return p;
}
const std::vector<Ipp8u>& half_page() {
    static const std::vector<Ipp8u> p = qmbench::page(3, kHalfW, kHalfH);
    return p;
}

// Source of w x h pixels resized by `factor`; the rate counts destination pixels.
void run_resize(benchmark::State& state, const std::vector<Ipp8u>& src, int w, int h, double factor, int mode) {
    const int dw = static_cast<int>(w * factor), dh = static_cast<int>(h * factor);
    std::vector<Ipp8u> dst(size_t(dw) * dh * 3);
    for (auto _ : state) {
        const IppStatus st = ippiResize_8u_C3R(src.data(), {w, h}, 3 * w, {0, 0, w, h}, dst.data(), 3 * dw,
                                               {dw, dh}, factor, factor, mode);
        if (st != ippStsNoErr) state.SkipWithError("resize failed");
        benchmark::ClobberMemory();
    }
    qmbench::set_page_rate(state, int64_t{dw} * dh);
}

void BM_ResizeHalf(benchmark::State& state) { run_resize(state, page(), kPageWidth, kPageHeight, 0.5, int(state.range(0))); }
BENCHMARK(BM_ResizeHalf)->ArgName("mode")->Arg(1)->Arg(2)->Arg(4)->Arg(8)->Arg(16)->Unit(benchmark::kMillisecond);

void BM_ResizeDouble(benchmark::State& state) { run_resize(state, half_page(), kHalfW, kHalfH, 2.0, int(state.range(0))); }
BENCHMARK(BM_ResizeDouble)->ArgName("mode")->Arg(2)->Arg(4)->Unit(benchmark::kMillisecond);

// A gentle page warp: a few pixels of bow and skew, as a dewarping pass would use.
struct WarpMaps {
    std::vector<float> x, y;
    WarpMaps() : x(size_t(kPageWidth) * kPageHeight), y(x.size()) {
        for (int j = 0; j < kPageHeight; ++j)
            for (int i = 0; i < kPageWidth; ++i) {
                const double u = double(i) / kPageWidth, v = double(j) / kPageHeight;
                x[size_t(j) * kPageWidth + i] = float(i + 6.0 * std::sin(3.1 * v) + 4.0 * v);
                y[size_t(j) * kPageWidth + i] = float(j + 8.0 * std::sin(3.1 * u) * (0.5 + v));
            }
    }
};
const WarpMaps& warp() {
    static const WarpMaps m;
    return m;
}

void BM_Remap(benchmark::State& state) {
    const auto& src = page();
    const auto& m = warp();
    std::vector<Ipp8u> dst(src.size());
    for (auto _ : state) {
        ippiRemap_8u_C3R(src.data(), {kPageWidth, kPageHeight}, 3 * kPageWidth, {0, 0, kPageWidth, kPageHeight},
                         m.x.data(), 4 * kPageWidth, m.y.data(), 4 * kPageWidth, dst.data(), 3 * kPageWidth,
                         {kPageWidth, kPageHeight}, int(state.range(0)));
        benchmark::ClobberMemory();
    }
    qmbench::set_page_rate(state);
}
BENCHMARK(BM_Remap)->ArgName("mode")->Arg(2)->Arg(4)->Unit(benchmark::kMillisecond);

#if QM_HAVE_OPENCV
int cv_mode(int mode) {
    switch (mode) {
        case 1: return cv::INTER_NEAREST;
        case 2: return cv::INTER_LINEAR;
        case 4: return cv::INTER_CUBIC;
        case 8: return cv::INTER_AREA;
        default: return cv::INTER_LANCZOS4;
    }
}

void run_resize_cv(benchmark::State& state, const std::vector<Ipp8u>& src, int w, int h, double factor, int mode) {
    const cv::Mat in(h, w, CV_8UC3, const_cast<Ipp8u*>(src.data()));
    cv::Mat out(static_cast<int>(h * factor), static_cast<int>(w * factor), CV_8UC3);
    for (auto _ : state) {
        cv::resize(in, out, out.size(), 0, 0, cv_mode(mode));
        benchmark::ClobberMemory();
    }
    qmbench::set_page_rate(state, int64_t{out.cols} * out.rows);
}

void BM_ResizeHalf_OpenCV(benchmark::State& state) {
    run_resize_cv(state, page(), kPageWidth, kPageHeight, 0.5, int(state.range(0)));
}
BENCHMARK(BM_ResizeHalf_OpenCV)->ArgName("mode")->Arg(1)->Arg(2)->Arg(4)->Arg(8)->Arg(16)->Unit(benchmark::kMillisecond);

void BM_ResizeDouble_OpenCV(benchmark::State& state) {
    run_resize_cv(state, half_page(), kHalfW, kHalfH, 2.0, int(state.range(0)));
}
BENCHMARK(BM_ResizeDouble_OpenCV)->ArgName("mode")->Arg(2)->Arg(4)->Unit(benchmark::kMillisecond);

void BM_Remap_OpenCV(benchmark::State& state) {
    const cv::Mat in(kPageHeight, kPageWidth, CV_8UC3, const_cast<Ipp8u*>(page().data()));
    const auto& m = warp();
    const cv::Mat mx(kPageHeight, kPageWidth, CV_32FC1, const_cast<float*>(m.x.data()));
    const cv::Mat my(kPageHeight, kPageWidth, CV_32FC1, const_cast<float*>(m.y.data()));
    cv::Mat out(kPageHeight, kPageWidth, CV_8UC3);
    const int mode = state.range(0) == 2 ? cv::INTER_LINEAR : cv::INTER_CUBIC;
    for (auto _ : state) {
        cv::remap(in, out, mx, my, mode, cv::BORDER_TRANSPARENT);
        benchmark::ClobberMemory();
    }
    qmbench::set_page_rate(state);
}
BENCHMARK(BM_Remap_OpenCV)->ArgName("mode")->Arg(2)->Arg(4)->Unit(benchmark::kMillisecond);
#endif

}  // namespace
