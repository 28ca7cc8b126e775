// Where the scanner filters' time goes. Each iteration times the whole filter
// on the A4 colour page, then its parts one by one with the same public
// primitives the filter calls: scratch allocation (alloc), the first touch of
// every scratch page (touch), split, the per-plane filters (set-up included),
// join, and for YUV the two conversions. The parts after touch work on
// scratch that is already touched.
//
// Counters, in ms per call of thread CPU time (the machine is shared): each
// part, their sum, the whole; ratio = whole / sum, warm = whole / (sum -
// touch), the figure for a filter that touches only the scratch it needs.
// The benchmark's own time is the whole filter's.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <ctime>
#include <string>
#include <utility>
#include <vector>

#include "bench_common.h"
#include "ippiQM300.h"

namespace {

using qmbench::kPageHeight;
using qmbench::kPageWidth;
constexpr int W = kPageWidth, H = kPageHeight;
constexpr int kStep3 = 3 * W;
constexpr IppiSize kPage = {W, H};

double thread_seconds() {
    timespec t;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return double(t.tv_sec) + 1e-9 * double(t.tv_nsec);
}

template <class F>
double timed(F&& f) {
    const double t0 = thread_seconds();
    f();
    benchmark::ClobberMemory();
    return thread_seconds() - t0;
}

// The parts of one filter, summed over the iterations and reported per call.
class Breakdown {
public:
    explicit Breakdown(benchmark::State& state) : state_(state) {}

    void whole(double s) {
        whole_ += s;
        state_.SetIterationTime(s);
    }
    template <class F>
    void part(const char* name, F&& f) {
        const double s = timed(f);
        for (auto& p : parts_)
            if (p.first == name) {
                p.second += s;
                return;
            }
        parts_.emplace_back(name, s);
    }
    ~Breakdown() {
        const double n = double(state_.iterations()), ms = 1e3 / (n > 0 ? n : 1);
        double sum = 0;
        for (const auto& p : parts_) {
            state_.counters[p.first] = p.second * ms;
            sum += p.second;
        }
        double touch = 0;
        for (const auto& p : parts_)
            if (p.first == "touch") touch = p.second;
        state_.counters["sum"] = sum * ms;
        state_.counters["whole"] = whole_ * ms;
        state_.counters["ratio"] = sum > 0 ? whole_ / sum : 0;
        state_.counters["warm"] = sum > touch ? whole_ / (sum - touch) : 0;
    }

private:
    benchmark::State& state_;
    std::vector<std::pair<std::string, double>> parts_;
    double whole_ = 0;
};

// A colour scratch image used as three planes, laid out as the filters lay
// theirs: plane p at p * (step / 3) * height, row step width.
struct Planes {
    Ipp8u* base;
    int step = 0;
    Planes() : base(ippiMalloc_8u_C3(W, H, &step)) { touch(base, step); }
    ~Planes() { ippiFree(base); }
    Planes(const Planes&) = delete;
    Planes& operator=(const Planes&) = delete;
    Ipp8u* plane(int p) const { return base + ptrdiff_t{p} * (step / 3) * H; }
    Ipp8u* const* all() {
        for (int p = 0; p < 3; ++p) ptrs[p] = plane(p);
        return ptrs;
    }
    static void touch(Ipp8u* b, int step) {
        for (ptrdiff_t i = 0; i < ptrdiff_t{step} * H; i += 4096) b[i] = 0;
    }
    Ipp8u* ptrs[3];
};

// `count` scratch images as the filters allocate them: allocated, every page
// written once, freed.
void scratch(Breakdown& b, int count) {
    Ipp8u* blocks[4];
    int step = 0;
    b.part("alloc", [&] {
        for (int i = 0; i < count; ++i) blocks[i] = ippiMalloc_8u_C3(W, H, &step);
    });
    b.part("touch", [&] {
        for (int i = 0; i < count; ++i) Planes::touch(blocks[i], step);
    });
    b.part("alloc", [&] {
        for (int i = 0; i < count; ++i) ippiFree(blocks[i]);
    });
}

void split(const Ipp8u* src, Planes& in) { ippiCopy_8u_C3P3R(src, kStep3, in.all(), W, kPage); }

void join(Planes& out, Ipp8u* dst) {
    Ipp8u* const* p = out.all();
    const Ipp8u* const planes[3] = {p[0], p[1], p[2]};
    ippiCopy_8u_P3C3R(planes, W, dst, kStep3, kPage);
}

// The noise reductions' plane worker: set-up, filter, release.
void bilateral_plane(const Ipp8u* in, Ipp8u* out, int mode, int level) {
    const int k = mode == 2 ? 5 : 3, r = k / 2;
    const IppiSize region = {W - 2 * r, H - 2 * r}, kernel = {k, k};
    const ptrdiff_t offset = ptrdiff_t{r} * W + r;
    int size = 0;
    ippiFilterBilateralGetBufSize_8u_C1R(ippiFilterBilateralGauss, region, kernel, &size);
    Ipp8u* work = ippsMalloc_8u(size);
    const float sigma = level == 0 ? 1.0f : float(level * 96);
    ippiFilterBilateralInit_8u_C1R(ippiFilterBilateralGauss, kernel, sigma, sigma, 1, work);
    ippiFilterBilateral_8u_C1R(in + offset, W, out + offset, W, region, kernel, work);
    ippsFree(work);
}

// Mode 0 copies the plane in the per-channel and YUV filters.
void bilateral_planes(Planes& in, Planes& out, const int* modes, int level) {
    for (int p = 0; p < 3; ++p)
        if (modes[p] == 0)
            std::copy(in.plane(p), in.plane(p) + ptrdiff_t{W} * H, out.plane(p));
        else
            bilateral_plane(in.plane(p), out.plane(p), modes[p], level);
}

constexpr int kLevel = 5;

void BM_DeosNrRGB_Parts(benchmark::State& state) {
    const int mode = static_cast<int>(state.range(0));
    const auto src = qmbench::page_rgb();
    std::vector<Ipp8u> dst(src.size());
    Planes in, out;
    split(src.data(), in);
    const int modes[3] = {mode, mode, mode};  // 1 or 2: none is copied
    {
        Breakdown b(state);
        for (auto _ : state) {
            b.whole(timed([&] { DeosNrRGB(src.data(), dst.data(), W, H, mode, kLevel); }));
            scratch(b, 2);
            b.part("split", [&] { split(src.data(), in); });
            b.part("planes", [&] { bilateral_planes(in, out, modes, kLevel); });
            b.part("join", [&] { join(out, dst.data()); });
        }
    }
    qmbench::set_page_rate(state);
}
BENCHMARK(BM_DeosNrRGB_Parts)->ArgName("mode")->Arg(1)->Arg(2)->UseManualTime()->Unit(benchmark::kMillisecond);

// Modes per channel: the first copied, the others 3 x 3 and 5 x 5.
void BM_DeosNrIndividualRGB_Parts(benchmark::State& state) {
    const auto src = qmbench::page_rgb();
    std::vector<Ipp8u> dst(src.size());
    Planes in, out;
    split(src.data(), in);
    const int modes[3] = {0, 1, 2};
    {
        Breakdown b(state);
        for (auto _ : state) {
            b.whole(timed([&] {
                DeosNrIndividualRGB(src.data(), dst.data(), W, H, 0, kLevel, 1, kLevel, 2, kLevel);
            }));
            scratch(b, 2);
            b.part("split", [&] { split(src.data(), in); });
            b.part("planes", [&] { bilateral_planes(in, out, modes, kLevel); });
            b.part("join", [&] { join(out, dst.data()); });
        }
    }
    qmbench::set_page_rate(state);
}
BENCHMARK(BM_DeosNrIndividualRGB_Parts)->UseManualTime()->Unit(benchmark::kMillisecond);

void BM_DeosNrYUV_Parts(benchmark::State& state) {
    const int mode = static_cast<int>(state.range(0));
    const auto src = qmbench::page_rgb();
    std::vector<Ipp8u> dst(src.size()), yuv(src.size()), result(src.size());
    Planes in, out;
    ippiRGBToYUV_8u_C3R(src.data(), kStep3, yuv.data(), kStep3, kPage);
    split(yuv.data(), in);
    const int modes[3] = {mode, mode, mode};
    {
        Breakdown b(state);
        for (auto _ : state) {
            b.whole(timed([&] { DeosNrYUV(src.data(), dst.data(), W, H, mode, kLevel, mode, kLevel); }));
            scratch(b, 4);
            b.part("to_yuv", [&] { ippiRGBToYUV_8u_C3R(src.data(), kStep3, yuv.data(), kStep3, kPage); });
            b.part("split", [&] { split(yuv.data(), in); });
            b.part("planes", [&] { bilateral_planes(in, out, modes, kLevel); });
            b.part("join", [&] { join(out, result.data()); });
            b.part("to_rgb", [&] { ippiYUVToRGB_8u_C3R(result.data(), kStep3, dst.data(), kStep3, kPage); });
        }
    }
    qmbench::set_page_rate(state);
}
BENCHMARK(BM_DeosNrYUV_Parts)->ArgName("mode")->Arg(1)->Arg(2)->UseManualTime()->Unit(benchmark::kMillisecond);

// The convolution's planar worker with the built-in kernels of one level.
void BM_DeosConvRGB_Parts(benchmark::State& state) {
    const Ipp32u radius = static_cast<Ipp32u>(state.range(0));
    const int r = static_cast<int>(radius), n = 2 * r + 1, level = 3;
    const auto src = qmbench::page_rgb();
    std::vector<Ipp8u> dst(src.size());
    Planes in, out;
    split(src.data(), in);
    std::vector<Ipp32f> kernel(size_t(n) * n);
    GetDeosConvKernelValue(0, radius, level, kernel.data());  // the three channels' kernels are equal
    const IppiSize region = {W - 2 * r, H - 2 * r};
    const ptrdiff_t offset = ptrdiff_t{r} * W + r;
    {
        Breakdown b(state);
        for (auto _ : state) {
            b.whole(timed([&] { DeosConvRGB(src.data(), dst.data(), W, H, 0, radius, level); }));
            scratch(b, 2);
            b.part("split", [&] { split(src.data(), in); });
            b.part("planes", [&] {
                for (int p = 0; p < 3; ++p)
                    ippiFilter32f_8u_C1R(in.plane(p) + offset, W, out.plane(p) + offset, W, region, kernel.data(),
                                         {n, n}, {r, r});
            });
            b.part("join", [&] { join(out, dst.data()); });
        }
    }
    qmbench::set_page_rate(state);
}
BENCHMARK(BM_DeosConvRGB_Parts)->ArgName("r")->Arg(2)->Arg(3)->Arg(4)->Arg(7)->UseManualTime()->Unit(
    benchmark::kMillisecond);

}  // namespace
