// RGB <-> HLS on an A4 300-dpi colour page, 8u and 32f, both directions.
#include <benchmark/benchmark.h>

#include <type_traits>
#include <vector>

#include "bench_common.h"
#include "ippiQM300.h"

namespace {

using qmbench::kPageHeight;
using qmbench::kPageWidth;

constexpr IppiSize kPage{kPageWidth, kPageHeight};
constexpr size_t kSamples = size_t{3} * kPageWidth * kPageHeight;

struct Pages8u {
    std::vector<Ipp8u> rgb = qmbench::page_rgb();
    std::vector<Ipp8u> hls = std::vector<Ipp8u>(kSamples);
    Pages8u() { ippiRGBToHLS_8u_C3R(rgb.data(), 3 * kPageWidth, hls.data(), 3 * kPageWidth, kPage); }
};
struct Pages32f {
    std::vector<Ipp32f> rgb, hls = std::vector<Ipp32f>(kSamples);
    Pages32f() {
        const auto page = qmbench::page_rgb();
        rgb.assign(page.begin(), page.end());
        for (auto& v : rgb) v /= 255.0f;
        ippiRGBToHLS_32f_C3R(rgb.data(), 12 * kPageWidth, hls.data(), 12 * kPageWidth, kPage);
    }
};

template <class T>
using C3Fn = IppStatus (*)(const T*, int, T*, int, IppiSize);

template <class Pages, class T, bool kToHls, C3Fn<T> fn>
void BM_Ours(benchmark::State& state) {
    Pages p;
    std::vector<T> out(kSamples);
    const auto& src = kToHls ? p.rgb : p.hls;
    for (auto _ : state) {
        fn(src.data(), int(3 * sizeof(T)) * kPageWidth, out.data(), int(3 * sizeof(T)) * kPageWidth, kPage);
        benchmark::ClobberMemory();
    }
    qmbench::set_page_rate(state);
}
BENCHMARK(BM_Ours<Pages8u, Ipp8u, true, ippiRGBToHLS_8u_C3R>)->Name("BM_RGBToHLS_8u")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Ours<Pages8u, Ipp8u, false, ippiHLSToRGB_8u_C3R>)->Name("BM_HLSToRGB_8u")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Ours<Pages32f, Ipp32f, true, ippiRGBToHLS_32f_C3R>)->Name("BM_RGBToHLS_32f")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Ours<Pages32f, Ipp32f, false, ippiHLSToRGB_32f_C3R>)->Name("BM_HLSToRGB_32f")->Unit(benchmark::kMillisecond);

template <bool kToHls>
void BM_Planar(benchmark::State& state) {
    const size_t n = size_t{kPageWidth} * kPageHeight;
    std::vector<Ipp8u> in(3 * n, 0), out(3 * n);
    const auto page = qmbench::page_rgb();
    for (size_t i = 0; i < n; ++i)
        for (int c = 0; c < 3; ++c) in[c * n + i] = page[3 * i + c];
    const Ipp8u* src[3] = {in.data(), in.data() + n, in.data() + 2 * n};
    Ipp8u* dst[3] = {out.data(), out.data() + n, out.data() + 2 * n};
    for (auto _ : state) {
        (kToHls ? ippiBGRToHLS_8u_P3R : ippiHLSToBGR_8u_P3R)(src, kPageWidth, dst, kPageWidth, kPage);
        benchmark::ClobberMemory();
    }
    qmbench::set_page_rate(state);
}
BENCHMARK(BM_Planar<true>)->Name("BM_BGRToHLS_8u_P3")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Planar<false>)->Name("BM_HLSToBGR_8u_P3")->Unit(benchmark::kMillisecond);

#if QM_HAVE_OPENCV
// The peer's 8u FULL codes spread hue over 0 .. 255 like ours; its 32f hue is
// in degrees, which does not matter for the speed race.
template <class Pages, int kType, bool kToHls, int kCode>
void BM_OpenCV(benchmark::State& state) {
    Pages p;
    auto& src = kToHls ? p.rgb : p.hls;
    using T = typename std::decay_t<decltype(src)>::value_type;
    std::vector<T> outBuf(kSamples);
    if constexpr (kType == CV_32FC3 && !kToHls)  // hue in degrees, as the peer reads it
        for (size_t i = 0; i < kSamples; i += 3) src[i] *= 360.0f;
    cv::Mat in(kPageHeight, kPageWidth, kType, src.data()), out(kPageHeight, kPageWidth, kType, outBuf.data());
    for (auto _ : state) {
        cv::cvtColor(in, out, kCode);
        benchmark::ClobberMemory();
    }
    qmbench::set_page_rate(state);
}
BENCHMARK(BM_OpenCV<Pages8u, CV_8UC3, true, cv::COLOR_RGB2HLS_FULL>)
    ->Name("BM_RGBToHLS_8u_OpenCV")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_OpenCV<Pages8u, CV_8UC3, false, cv::COLOR_HLS2RGB_FULL>)
    ->Name("BM_HLSToRGB_8u_OpenCV")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_OpenCV<Pages32f, CV_32FC3, true, cv::COLOR_RGB2HLS>)
    ->Name("BM_RGBToHLS_32f_OpenCV")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_OpenCV<Pages32f, CV_32FC3, false, cv::COLOR_HLS2RGB>)
    ->Name("BM_HLSToRGB_32f_OpenCV")->Unit(benchmark::kMillisecond);
#endif

}  // namespace
