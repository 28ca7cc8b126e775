// Every function of the module's list that works on pixels, from eight
// threads at once on distinct pages, through pointers resolved once by name:
// results must equal a serial run. The jobs come from the function list by
// signature, so a new function without one fails here. The thread-sanitizer
// build runs this suite too.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "ippiQM300.h"

namespace {

constexpr int W = 64, H = 40, M = 4;  // M: margin readable around the region
constexpr int kThreads = 8;
using Out = std::vector<Ipp8u>;

// One page per thread: colour and grey, with margins.
struct Page {
    int rgbStep = 3 * (W + 2 * M), greyStep = W + 2 * M;
    std::vector<Ipp8u> rgb, grey;
    explicit Page(unsigned seed) : rgb(size_t(rgbStep) * (H + 2 * M)), grey(size_t(greyStep) * (H + 2 * M)) {
        std::mt19937 rng(seed);
        for (auto& v : rgb) v = Ipp8u(rng() % 256);
        for (auto& v : grey) v = Ipp8u(rng() % 256);
    }
    const Ipp8u* roi(int ch) const { return ch == 1 ? grey.data() + M * greyStep + M : rgb.data() + M * rgbStep + 3 * M; }
    int step(int ch) const { return ch == 1 ? greyStep : rgbStep; }
    const Ipp8u* packed(int ch) const { return ch == 1 ? grey.data() : rgb.data(); }  // W x H, tightly packed
};

using Job = std::function<Out(const Page&)>;
struct Jobs {
    std::vector<std::pair<std::string, Job>> list;
    std::vector<std::string> skipped;
    void add(const std::string& name, Job j) { list.push_back({name, std::move(j)}); }
};

int channels(const std::string& name) {
    return name.find("C1") != std::string::npos || name.find("Mono") != std::string::npos ? 1 : 3;
}
const IppiSize kRoi = {W, H};

#define EXPECT_OK(call) EXPECT_EQ(static_cast<long long>(call), 0)

// A W x H region of `ch` channels written by call(src, srcStep, dst, dstStep).
template <class Call>
Job region(int ch, Call call) {
    return [=](const Page& p) {
        Out out(size_t(ch) * W * H);
        EXPECT_OK(call(p.roi(ch), p.step(ch), out.data(), ch * W));
        return out;
    };
}

// The scanner filters leave a frame undefined: only the interior counts.
Out interior(const Out& img, int ch, int frame) {
    Out out;
    for (int y = frame; y < H - frame; ++y)
        out.insert(out.end(), img.begin() + (size_t(y) * W + frame) * ch, img.begin() + (size_t(y) * W + W - frame) * ch);
    return out;
}
template <class Call>
Job scanner(int ch, int frame, Call call) {
    return [=](const Page& p) {
        Out out(size_t(ch) * W * H);
        EXPECT_OK(call(p.packed(ch), out.data()));
        return interior(out, ch, frame);
    };
}

using Neighbourhood = IppStatus (*)(const Ipp8u*, int, Ipp8u*, int, IppiSize, IppiSize, IppiPoint);
void add(Jobs& j, const std::string& n, Neighbourhood f) {
    for (IppiSize k : {IppiSize{3, 3}, IppiSize{5, 5}, IppiSize{7, 7}, IppiSize{1, 7}})
        j.add(n + " " + std::to_string(k.width), region(channels(n), [=](const Ipp8u* s, int ss, Ipp8u* d, int ds) {
                  return f(s, ss, d, ds, kRoi, k, {k.width / 2, k.height / 2}); }));
}
void add(Jobs& j, const std::string& n, IppStatus (*f)(const Ipp8u*, int, Ipp8u*, int, IppiSize, int)) {
    for (int code : {33, 55})
        j.add(n + " " + std::to_string(code), region(channels(n), [=](const Ipp8u* s, int ss, Ipp8u* d, int ds) {
                  return f(s, ss, d, ds, kRoi, code); }));
}
void add(Jobs& j, const std::string& n, IppStatus (*f)(Ipp8u*, int, IppiSize, IppiSize, IppiPoint)) {
    const int ch = channels(n);
    // Row-delaying path (mask lower than the region) and temporary-copy path.
    for (const auto& shape : {std::pair{30, 3}, std::pair{6, 8}})
        j.add(n + " " + std::to_string(shape.second), [=, rows = shape.first, kh = shape.second](const Page& p) {
            Page q = p;
            EXPECT_OK(f(const_cast<Ipp8u*>(q.roi(ch)), q.step(ch), {W - 8, rows}, {3, kh}, {1, 1}));
            return ch == 1 ? q.grey : q.rgb;
        });
}
void add(Jobs& j, const std::string& n,
         IppStatus (*f)(const Ipp8u*, int, Ipp8u*, int, IppiSize, const Ipp32s*, IppiSize, IppiPoint, int)) {
    static const Ipp32s k[9] = {1, -2, 3, 4, 9, -1, 2, 0, 1};
    for (int div : {1, 4, 7})
        j.add(n + " " + std::to_string(div), region(channels(n), [=](const Ipp8u* s, int ss, Ipp8u* d, int ds) {
                  return f(s, ss, d, ds, kRoi, k, {3, 3}, {1, 1}, div); }));
}
void add(Jobs& j, const std::string& n,
         IppStatus (*f)(const Ipp8u*, int, Ipp8u*, int, IppiSize, const Ipp32f*, IppiSize, IppiPoint)) {
    static const Ipp32f k[9] = {0.1f, -0.2f, 0.3f, 0.05f, 0.9f, -0.1f, 0.2f, 0.0f, 0.1f};
    j.add(n, region(channels(n), [=](const Ipp8u* s, int ss, Ipp8u* d, int ds) {
              return f(s, ss, d, ds, kRoi, k, {3, 3}, {2, 0}); }));
}
void add(Jobs& j, const std::string& n,
         IppStatus (*f)(const Ipp8u*, int, Ipp8u*, int, IppiSize, IppiSize, Ipp8u*)) {  // bilateral
    auto size = reinterpret_cast<qm_ippiFilterBilateralGetBufSize_8u_C1R_fn>(
        GetProcAddressForThisDLL(nullptr, "ippiFilterBilateralGetBufSize_8u_C1R"));
    auto init = reinterpret_cast<qm_ippiFilterBilateralInit_8u_C1R_fn>(
        GetProcAddressForThisDLL(nullptr, "ippiFilterBilateralInit_8u_C1R"));
    j.add(n, region(1, [=](const Ipp8u* s, int ss, Ipp8u* d, int ds) {
              int bytes = 0;  // every thread has its own record
              size(100, kRoi, {5, 5}, &bytes);
              std::vector<Ipp8u> buf(static_cast<size_t>(bytes));
              EXPECT_OK(init(100, {5, 5}, 300.0f, 200.0f, 1, buf.data()));
              return f(s, ss, d, ds, kRoi, {5, 5}, buf.data()); }));
}
// Colour conversions of every depth: the page widened to T.
template <class T>
void add(Jobs& j, const std::string& n, IppStatus (*f)(const T*, int, T*, int, IppiSize)) {
    j.add(n, [=](const Page& p) {
        std::vector<T> in(size_t(3) * W * H), out(in.size());
        for (size_t i = 0; i < in.size(); ++i)
            in[i] = std::is_floating_point_v<T> ? T(p.rgb[i] / 255.0f) : T(p.rgb[i] * (sizeof(T) == 1 ? 1 : 97));
        EXPECT_OK(f(in.data(), 3 * W * int(sizeof(T)), out.data(), 3 * W * int(sizeof(T)), kRoi));
        Out bytes(out.size() * sizeof(T));
        std::memcpy(bytes.data(), out.data(), bytes.size());
        return bytes;
    });
}
// Planar sides: three planes of W x H.
struct Planes {
    Out all = Out(size_t(3) * W * H);
    Ipp8u* p[3] = {all.data(), all.data() + W * H, all.data() + 2 * W * H};
    const Ipp8u* c[3] = {p[0], p[1], p[2]};
    explicit Planes(const Page& pg) { std::copy(pg.rgb.begin(), pg.rgb.begin() + long(all.size()), all.begin()); }
};
void add(Jobs& j, const std::string& n, IppStatus (*f)(const Ipp8u*, int, Ipp8u* const[3], int, IppiSize)) {
    j.add(n, [=](const Page& p) { Planes out(p); EXPECT_OK(f(p.roi(3), p.step(3), out.p, W, kRoi)); return out.all; });
}
void add(Jobs& j, const std::string& n, IppStatus (*f)(const Ipp8u* const[3], int, Ipp8u*, int, IppiSize)) {
    j.add(n, [=](const Page& p) { Planes in(p); Out out(in.all.size()); EXPECT_OK(f(in.c, W, out.data(), 3 * W, kRoi)); return out; });
}
void add(Jobs& j, const std::string& n, IppStatus (*f)(const Ipp8u* const[3], int, Ipp8u* const[3], int, IppiSize)) {
    j.add(n, [=](const Page& p) { Planes in(p), out(Page(1)); EXPECT_OK(f(in.c, W, out.p, W, kRoi)); return out.all; });
}
void add(Jobs& j, const std::string& n, qm_ippiResize_8u_C1R_fn f) {
    const int ch = channels(n);
    for (int interp : {1, 2, 4, 8, 16})
        j.add(n + " " + std::to_string(interp), [=](const Page& p) {
            Out out(size_t(ch) * 45 * 30);
            EXPECT_OK(f(p.packed(ch), {W + 2 * M, H + 2 * M}, p.step(ch), {1, 2, W, H}, out.data(), ch * 45, {45, 30},
                        0.7, 0.75, interp));
            return out;
        });
}
void add(Jobs& j, const std::string& n, qm_ippiRemap_8u_C1R_fn f) {
    const int ch = channels(n);
    std::vector<Ipp32f> xs(size_t(W) * H), ys(xs.size());
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < W; ++x) {
            xs[size_t(y) * W + x] = 2.0f + x * 1.03f + 0.7f * std::sin(y * 0.3f);
            ys[size_t(y) * W + x] = 1.5f + y * 0.97f + 0.5f * std::cos(x * 0.2f);
        }
    for (int interp : {1, 2, 4, 6, 16})
        j.add(n + " " + std::to_string(interp), [=](const Page& p) {
            Out out(size_t(ch) * W * H, 7);
            EXPECT_OK(f(p.packed(ch), {W + 2 * M, H + 2 * M}, p.step(ch), {0, 0, W + 2 * M, H + 2 * M}, xs.data(),
                        4 * W, ys.data(), 4 * W, out.data(), ch * W, kRoi, interp));
            return out;
        });
}

// ---- scanner filters on tightly packed pages ----
std::vector<Ipp32f> float_kernel(int copies) {
    std::vector<Ipp32f> k(size_t(25) * copies);
    EXPECT_OK(GetDeosConvKernelValue(0, 2, 5, k.data()));
    for (size_t i = 25; i < k.size(); ++i) k[i] = k[i % 25];
    return k;
}
std::vector<Ipp32s> fixed_kernel() {
    std::vector<Ipp32s> k(25);
    EXPECT_OK(SetDeosConvKernelValue(1, 2, 3, k.data()));
    return k;
}
void add(Jobs& j, const std::string& n, Ipp32u (*f)(const Ipp8u*, Ipp8u*, int, int, Ipp32u, Ipp32u)) {  // Nr RGB / Mono
    for (Ipp32u mode : {1u, 2u})
        j.add(n + " " + std::to_string(mode), scanner(channels(n), 2, [=](const Ipp8u* s, Ipp8u* d) {
                  return f(s, d, W, H, mode, 4); }));
}
void add(Jobs& j, const std::string& n, qm_DeosNrIndividualRGB_fn f) {
    for (Ipp32u mode : {1u, 2u})
        j.add(n + " " + std::to_string(mode), scanner(3, 2, [=](const Ipp8u* s, Ipp8u* d) {
                  return f(s, d, W, H, mode, 2, 0, 5, mode, 9); }));
}
void add(Jobs& j, const std::string& n, qm_DeosNrYUV_fn f) {
    for (Ipp32u mode : {1u, 2u})
        j.add(n + " " + std::to_string(mode), scanner(3, 2, [=](const Ipp8u* s, Ipp8u* d) {
                  return f(s, d, W, H, mode, 3, mode, 7); }));
}
void add(Jobs& j, const std::string& n, qm_DeosConvRGB_fn f) {
    for (Ipp32u r : {2u, 3u, 4u, 7u})
        j.add(n + " " + std::to_string(r), scanner(3, int(r), [=](const Ipp8u* s, Ipp8u* d) {
                  return f(s, d, W, H, 0, r, 30); }));
}
void add(Jobs& j, const std::string& n, qm_DeosConvRGB2_fn f) {
    const auto k = float_kernel(1);
    j.add(n, scanner(3, 2, [=](const Ipp8u* s, Ipp8u* d) { return f(s, d, W, H, 0, 2, 0, k.data()); }));
}
void add(Jobs& j, const std::string& n, qm_DeosConvRGB3_fn f) {
    const auto k = fixed_kernel();
    j.add(n, scanner(3, 2, [=](const Ipp8u* s, Ipp8u* d) { return f(s, d, W, H, 0, 2, 0, k.data()); }));
}
void add(Jobs& j, const std::string& n, qm_DeosConvRGB4_fn f) {
    const auto k = fixed_kernel();
    std::vector<Ipp8u> lut(3 * 256 * 3, 0);
    for (int i = 0; i < 768; ++i) lut[size_t(i) + 768] = Ipp8u(std::min(i, 255));
    j.add(n, scanner(3, 2, [=](const Ipp8u* s, Ipp8u* d) { return f(s, d, W, H, 0, 2, 0, k.data(), lut.data() + 768); }));
}
void add(Jobs& j, const std::string& n, Ipp32u (*f)(const Ipp8u*, Ipp8u*, int, int, Ipp32u, const Ipp32f*)) {
    const auto k = float_kernel(3);
    j.add(n, scanner(channels(n), 2, [=](const Ipp8u* s, Ipp8u* d) { return f(s, d, W, H, 2, k.data()); }));
}
template <class K>
void add(Jobs& j, const std::string& n, Ipp32u (*f)(Ipp32u, Ipp32u, int, K*)) {  // kernel tables
    j.add(n, [=](const Page&) {
        std::vector<K> k(225);
        EXPECT_OK(f(1, 7, 9, k.data()));
        return Out(reinterpret_cast<const Ipp8u*>(k.data()), reinterpret_cast<const Ipp8u*>(k.data() + k.size()));
    });
}
void add(Jobs& j, const std::string& n, qm_SetDeosConvKernelUserValue_fn f) {
    const auto in = float_kernel(1);
    j.add(n, [=](const Page&) {
        std::vector<Ipp32s> k(25);
        EXPECT_OK(f(in.data(), 2, k.data()));
        return Out(reinterpret_cast<const Ipp8u*>(k.data()), reinterpret_cast<const Ipp8u*>(k.data() + k.size()));
    });
}
void add(Jobs& j, const std::string& n, IppStatus (*f)(const NrImageRecord*, const NrImageRecord*, int)) {
    for (int r : {1, 2})
        j.add(n + " " + std::to_string(r), scanner(3, r, [=](const Ipp8u* s, Ipp8u* d) {
                  NrImageRecord src{const_cast<Ipp8u*>(s), nullptr, W, H}, dst{d, nullptr, W, H};
                  return f(&src, &dst, r); }));
}
// Services without pixels.
template <class F>
void add(Jobs& j, const std::string& n, F) {
    j.skipped.push_back(n);
}

Jobs all_jobs() {
    Jobs j;
#define QM_FIXED(rec, ord, ret, name, params) add(j, #name, reinterpret_cast<qm_##name##_fn>(GetProcAddressForThisDLL(nullptr, #name)));
#define QM_SLOT(rec, ord, ret, name, params, args) QM_FIXED(rec, ord, ret, name, params)
#include "ippiQM300_functions.h"
    return j;
}

TEST(Stress, EightThreadsGiveTheSerialResults) {
    // The first lookup happens here, on one thread; the jobs then share the pointers.
    const Jobs jobs = all_jobs();
    std::vector<std::string> skipped = jobs.skipped;
    std::sort(skipped.begin(), skipped.end());
    EXPECT_EQ(skipped, (std::vector<std::string>{
                           "ippFree", "ippGetCpuClocks", "ippGetCpuFeatures", "ippGetCpuType", "ippGetLibVersion",
                           "ippGetNumCoresOnDie", "ippGetNumThreads", "ippMalloc", "ippSetNumThreads",
                           "ippiFilterBilateralGetBufSize_8u_C1R", "ippiFilterBilateralInit_8u_C1R", "ippiFree",
                           "ippiGetLibVersion", "ippiMalloc_8u_C3", "ippsFree", "ippsMalloc_8u"}));
    std::vector<Page> pages;
    for (int t = 0; t < kThreads; ++t) pages.emplace_back(1000u + unsigned(t));
    std::vector<std::vector<Out>> serial(kThreads);
    for (int t = 0; t < kThreads; ++t)
        for (const auto& [name, job] : jobs.list) serial[t].push_back(job(pages[t]));

    std::vector<std::vector<std::string>> mismatches(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] {
            // Each thread walks the jobs from a different start, so different
            // functions overlap in time.
            for (size_t i = 0; i < jobs.list.size(); ++i) {
                const size_t k = (i + size_t(t) * 7) % jobs.list.size();
                if (jobs.list[k].second(pages[t]) != serial[t][k]) mismatches[t].push_back(jobs.list[k].first);
            }
        });
    for (auto& th : threads) th.join();
    for (int t = 0; t < kThreads; ++t)
        for (const auto& m : mismatches[t]) ADD_FAILURE() << "thread " << t << ": " << m;
}

}  // namespace
