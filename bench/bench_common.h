// Shared page and reporting for the benchmarks: an A4 page at 300 dpi.
#pragma once
#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#if QM_HAVE_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

namespace qmbench {

inline constexpr int kPageWidth = 2480;
inline constexpr int kPageHeight = 3508;

// A page-like picture: smooth gradients, sharp strokes and some noise, so that
// data-dependent kernels (medians, bilateral) see realistic content.
inline std::vector<uint8_t> page(int channels, int width = kPageWidth, int height = kPageHeight) {
    std::vector<uint8_t> out(size_t(width) * height * channels);
    uint32_t noise = 12345;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            for (int c = 0; c < channels; ++c) {
                noise = noise * 1664525u + 1013904223u;
                int v = 200 - (x * 40) / width - (y * 30) / height + c * 10;
                if ((x / 7 + y / 23) % 11 == 0 && (y % 23) < 3) v = 30;  // text-like strokes
                v += static_cast<int>(noise >> 28) - 8;
                out[(size_t(y) * width + x) * channels + c] = static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v);
            }
    return out;
}
inline std::vector<uint8_t> page_rgb() { return page(3); }
inline std::vector<uint8_t> page_grey() { return page(1); }

inline void set_page_rate(benchmark::State& state, int64_t pixels = int64_t{kPageWidth} * kPageHeight) {
    state.SetItemsProcessed(state.iterations() * pixels);
}

#if QM_HAVE_OPENCV
// Single-threaded peer, set once for the whole run.
inline const bool kOpenCvSingleThread = [] {
    cv::setNumThreads(1);
    return true;
}();
#endif

}  // namespace qmbench
