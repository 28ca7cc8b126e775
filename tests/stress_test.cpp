// Every primitive and scanner filter from eight threads at once, on distinct
// images, through pointers resolved once by name: results must equal a serial
// run. The thread-sanitizer build runs this suite too.
#include <gtest/gtest.h>

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

// One page per thread: colour and grey, with margins, plus 16.16 and float kernels.
struct Page {
    int rgbStep = 3 * (W + 2 * M), greyStep = W + 2 * M;
    std::vector<Ipp8u> rgb, grey;
    explicit Page(unsigned seed) : rgb(size_t(rgbStep) * (H + 2 * M)), grey(size_t(greyStep) * (H + 2 * M)) {
        std::mt19937 rng(seed);
        for (auto& v : rgb) v = Ipp8u(rng() % 256);
        for (auto& v : grey) v = Ipp8u(rng() % 256);
    }
    const Ipp8u* rgbRoi() const { return rgb.data() + M * rgbStep + 3 * M; }
    const Ipp8u* greyRoi() const { return grey.data() + M * greyStep + M; }
    const Ipp8u* rgbPacked() const { return rgb.data(); }  // tightly packed W x H for the scanner filters
};

using Job = std::function<std::vector<Ipp8u>(const Page&)>;

template <class Fn>
Fn resolve(const char* name) {
    QM_PROC p = GetProcAddressForThisDLL(nullptr, name);
    EXPECT_NE(p, nullptr) << name;
    return reinterpret_cast<Fn>(p);
}
#define FN(name) resolve<qm_##name##_fn>(#name)

std::vector<std::pair<std::string, Job>> all_jobs() {
    std::vector<std::pair<std::string, Job>> jobs;
    const IppiSize roi = {W, H};
    auto c3 = [](auto call) {
        return [call](const Page& p) {
            std::vector<Ipp8u> out(size_t(3) * W * H);
            EXPECT_EQ(call(p, out.data(), 3 * W), 0);
            return out;
        };
    };
    auto c1 = [](auto call) {
        return [call](const Page& p) {
            std::vector<Ipp8u> out(size_t(W) * H);
            EXPECT_EQ(call(p, out.data(), W), 0);
            return out;
        };
    };
    // Neighbourhood primitives on both layouts.
    auto median1 = FN(ippiFilterMedian_8u_C1R);
    auto median3 = FN(ippiFilterMedian_8u_C3R);
    for (IppiSize k : {IppiSize{3, 3}, IppiSize{5, 5}, IppiSize{7, 7}, IppiSize{1, 7}}) {
        const IppiPoint a = {k.width / 2, k.height / 2};
        jobs.push_back({"median C1 " + std::to_string(k.width), c1([=](const Page& p, Ipp8u* d, int ds) {
                            return median1(p.greyRoi(), p.greyStep, d, ds, roi, k, a); })});
        jobs.push_back({"median C3 " + std::to_string(k.width), c3([=](const Page& p, Ipp8u* d, int ds) {
                            return median3(p.rgbRoi(), p.rgbStep, d, ds, roi, k, a); })});
    }
    auto vmed = FN(ippiFilterMedianColor_8u_C3R);
    auto gauss1 = FN(ippiFilterGauss_8u_C1R);
    auto gauss3 = FN(ippiFilterGauss_8u_C3R);
    for (int code : {33, 55}) {
        jobs.push_back({"vector median", c3([=](const Page& p, Ipp8u* d, int ds) { return vmed(p.rgbRoi(), p.rgbStep, d, ds, roi, code); })});
        jobs.push_back({"gauss C1", c1([=](const Page& p, Ipp8u* d, int ds) { return gauss1(p.greyRoi(), p.greyStep, d, ds, roi, code); })});
        jobs.push_back({"gauss C3", c3([=](const Page& p, Ipp8u* d, int ds) { return gauss3(p.rgbRoi(), p.rgbStep, d, ds, roi, code); })});
    }
    auto box1 = FN(ippiFilterBox_8u_C1R);
    auto box3 = FN(ippiFilterBox_8u_C3R);
    auto mn = FN(ippiFilterMin_8u_C1R);
    auto mx = FN(ippiFilterMax_8u_C1R);
    for (IppiSize k : {IppiSize{3, 3}, IppiSize{4, 4}, IppiSize{5, 5}, IppiSize{7, 7}}) {
        const IppiPoint a = {k.width / 2, k.height / 2};
        jobs.push_back({"box C1", c1([=](const Page& p, Ipp8u* d, int ds) { return box1(p.greyRoi(), p.greyStep, d, ds, roi, k, a); })});
        jobs.push_back({"box C3", c3([=](const Page& p, Ipp8u* d, int ds) { return box3(p.rgbRoi(), p.rgbStep, d, ds, roi, k, a); })});
        jobs.push_back({"min", c1([=](const Page& p, Ipp8u* d, int ds) { return mn(p.greyRoi(), p.greyStep, d, ds, roi, k, a); })});
        jobs.push_back({"max", c1([=](const Page& p, Ipp8u* d, int ds) { return mx(p.greyRoi(), p.greyStep, d, ds, roi, k, a); })});
    }
    auto boxIp1 = FN(ippiFilterBox_8u_C1IR);
    auto boxIp3 = FN(ippiFilterBox_8u_C3IR);
    // Row-delaying path (mask lower than the region) and temporary-copy path.
    for (const auto& shape : {std::pair{30, 3}, std::pair{6, 8}}) {
        const int rows = shape.first, kh = shape.second;
        jobs.push_back({"box in place " + std::to_string(kh), [=](const Page& p) {
            Page q = p;
            EXPECT_EQ(boxIp1(const_cast<Ipp8u*>(q.greyRoi()), q.greyStep, {W - 8, rows}, {3, kh}, {1, 1}), 0);
            EXPECT_EQ(boxIp3(const_cast<Ipp8u*>(q.rgbRoi()), q.rgbStep, {W - 8, rows}, {5, kh}, {2, 1}), 0);
            std::vector<Ipp8u> out = q.grey;
            out.insert(out.end(), q.rgb.begin(), q.rgb.end());
            return out;
        }});
    }
    // Linear filters with an asymmetric kernel.
    const std::vector<Ipp32s> ik = {1, -2, 3, 4, 9, -1, 2, 0, 1};
    const std::vector<Ipp32f> fk = {0.1f, -0.2f, 0.3f, 0.05f, 0.9f, -0.1f, 0.2f, 0.0f, 0.1f};
    auto f8c1 = FN(ippiFilter_8u_C1R);
    auto f8c3 = FN(ippiFilter_8u_C3R);
    auto ffc1 = FN(ippiFilter32f_8u_C1R);
    auto ffc3 = FN(ippiFilter32f_8u_C3R);
    for (int div : {1, 4, 7}) {
        jobs.push_back({"filter C1", c1([=](const Page& p, Ipp8u* d, int ds) { return f8c1(p.greyRoi(), p.greyStep, d, ds, roi, ik.data(), {3, 3}, {1, 1}, div); })});
        jobs.push_back({"filter C3", c3([=](const Page& p, Ipp8u* d, int ds) { return f8c3(p.rgbRoi(), p.rgbStep, d, ds, roi, ik.data(), {3, 3}, {1, 1}, div); })});
    }
    jobs.push_back({"filter32f C1", c1([=](const Page& p, Ipp8u* d, int ds) { return ffc1(p.greyRoi(), p.greyStep, d, ds, roi, fk.data(), {3, 3}, {1, 1}); })});
    jobs.push_back({"filter32f C3", c3([=](const Page& p, Ipp8u* d, int ds) { return ffc3(p.rgbRoi(), p.rgbStep, d, ds, roi, fk.data(), {3, 3}, {2, 0}); })});
    // Bilateral: every thread has its own record.
    auto bsize = FN(ippiFilterBilateralGetBufSize_8u_C1R);
    auto binit = FN(ippiFilterBilateralInit_8u_C1R);
    auto bfilt = FN(ippiFilterBilateral_8u_C1R);
    jobs.push_back({"bilateral", c1([=](const Page& p, Ipp8u* d, int ds) {
        int n = 0;
        bsize(100, roi, {5, 5}, &n);
        std::vector<Ipp8u> buf(static_cast<size_t>(n));
        EXPECT_EQ(binit(100, {5, 5}, 300.0f, 200.0f, 1, buf.data()), 0);
        return bfilt(p.greyRoi(), p.greyStep, d, ds, roi, {5, 5}, buf.data());
    })});
    // Geometry.
    auto rs1 = FN(ippiResize_8u_C1R);
    auto rs3 = FN(ippiResize_8u_C3R);
    for (int interp : {1, 2, 4, 8, 16}) {
        jobs.push_back({"resize " + std::to_string(interp), [=](const Page& p) {
            std::vector<Ipp8u> out(size_t(4) * 45 * 30, 0);
            EXPECT_EQ(rs3(p.rgb.data(), {W + 2 * M, H + 2 * M}, p.rgbStep, {1, 2, W, H}, out.data(), 3 * 45, {45, 30}, 0.7, 0.75, interp), 0);
            EXPECT_EQ(rs1(p.grey.data(), {W + 2 * M, H + 2 * M}, p.greyStep, {3, 1, W, H}, out.data() + 3 * 45 * 30, 45, {45, 30}, 0.7, 0.75, interp), 0);
            return out;
        }});
    }
    auto rm1 = FN(ippiRemap_8u_C1R);
    auto rm3 = FN(ippiRemap_8u_C3R);
    std::vector<Ipp32f> xs(size_t(W) * H), ys(xs.size());
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < W; ++x) {
            xs[size_t(y) * W + x] = 2.0f + x * 1.03f + 0.7f * std::sin(y * 0.3f);
            ys[size_t(y) * W + x] = 1.5f + y * 0.97f + 0.5f * std::cos(x * 0.2f);
        }
    for (int interp : {1, 2, 4, 6, 16}) {
        jobs.push_back({"remap " + std::to_string(interp), [=](const Page& p) {
            std::vector<Ipp8u> out(size_t(4) * W * H, 7);
            const IppiRect all = {0, 0, W + 2 * M, H + 2 * M};
            EXPECT_EQ(rm3(p.rgb.data(), {W + 2 * M, H + 2 * M}, p.rgbStep, all, xs.data(), 4 * W, ys.data(), 4 * W, out.data(), 3 * W, roi, interp), 0);
            EXPECT_EQ(rm1(p.grey.data(), {W + 2 * M, H + 2 * M}, p.greyStep, all, xs.data(), 4 * W, ys.data(), 4 * W, out.data() + 3 * W * H, W, roi, interp), 0);
            return out;
        }});
    }
    // Colour conversions.
    auto toYuv = FN(ippiRGBToYUV_8u_C3R);
    auto fromYuv = FN(ippiYUVToRGB_8u_C3R);
    auto toHls = FN(ippiRGBToHLS_8u_C3R);
    auto fromHls = FN(ippiHLSToRGB_8u_C3R);
    auto toYuvP = FN(ippiRGBToYUV_8u_C3P3R);
    auto fromYuvP = FN(ippiYUVToRGB_8u_P3C3R);
    auto toHlsP = FN(ippiBGRToHLS_8u_P3R);
    auto fromHlsP = FN(ippiHLSToBGR_8u_P3R);
    auto split = FN(ippiCopy_8u_C3P3R);
    auto join = FN(ippiCopy_8u_P3C3R);
    jobs.push_back({"colour", [=](const Page& p) {
        std::vector<Ipp8u> a(size_t(3) * W * H), b(a.size()), c(a.size()), planes(a.size()), planes2(a.size());
        Ipp8u* pl[3] = {planes.data(), planes.data() + W * H, planes.data() + 2 * W * H};
        Ipp8u* pl2[3] = {planes2.data(), planes2.data() + W * H, planes2.data() + 2 * W * H};
        const Ipp8u* cpl[3] = {pl[0], pl[1], pl[2]};
        const Ipp8u* cpl2[3] = {pl2[0], pl2[1], pl2[2]};
        EXPECT_EQ(toYuv(p.rgbRoi(), p.rgbStep, a.data(), 3 * W, roi), 0);
        EXPECT_EQ(fromYuv(a.data(), 3 * W, b.data(), 3 * W, roi), 0);
        EXPECT_EQ(toHls(b.data(), 3 * W, c.data(), 3 * W, roi), 0);
        EXPECT_EQ(fromHls(c.data(), 3 * W, a.data(), 3 * W, roi), 0);
        EXPECT_EQ(toYuvP(a.data(), 3 * W, pl, W, roi), 0);
        EXPECT_EQ(fromYuvP(cpl, W, b.data(), 3 * W, roi), 0);
        EXPECT_EQ(split(b.data(), 3 * W, pl, W, roi), 0);
        EXPECT_EQ(toHlsP(cpl, W, pl2, W, roi), 0);
        EXPECT_EQ(fromHlsP(cpl2, W, pl, W, roi), 0);
        EXPECT_EQ(join(cpl, W, c.data(), 3 * W, roi), 0);
        a.insert(a.end(), c.begin(), c.end());
        return a;
    }});
    auto hls16 = FN(ippiRGBToHLS_16u_C3R);
    auto rgb16 = FN(ippiHLSToRGB_16u_C3R);
    auto hlss = FN(ippiRGBToHLS_16s_C3R);
    auto rgbs = FN(ippiHLSToRGB_16s_C3R);
    auto hlsf = FN(ippiRGBToHLS_32f_C3R);
    auto rgbf = FN(ippiHLSToRGB_32f_C3R);
    jobs.push_back({"colour wide", [=](const Page& p) {
        const size_t n = size_t(3) * W * H;
        std::vector<Ipp16u> u(n), u2(n);
        std::vector<Ipp32f> f(n), f2(n);
        for (size_t i = 0; i < n; ++i) {
            u[i] = Ipp16u(p.rgb[i] * 257);
            f[i] = p.rgb[i] / 255.0f;
        }
        EXPECT_EQ(hls16(u.data(), 6 * W, u2.data(), 6 * W, roi), 0);
        EXPECT_EQ(rgb16(u2.data(), 6 * W, u.data(), 6 * W, roi), 0);
        EXPECT_EQ(hlss(reinterpret_cast<Ipp16s*>(u.data()), 6 * W, reinterpret_cast<Ipp16s*>(u2.data()), 6 * W, roi), 0);
        EXPECT_EQ(rgbs(reinterpret_cast<Ipp16s*>(u2.data()), 6 * W, reinterpret_cast<Ipp16s*>(u.data()), 6 * W, roi), 0);
        EXPECT_EQ(hlsf(f.data(), 12 * W, f2.data(), 12 * W, roi), 0);
        EXPECT_EQ(rgbf(f2.data(), 12 * W, f.data(), 12 * W, roi), 0);
        std::vector<Ipp8u> out(n * (sizeof(Ipp16u) + sizeof(Ipp32f)));
        std::memcpy(out.data(), u.data(), n * sizeof(Ipp16u));
        std::memcpy(out.data() + n * sizeof(Ipp16u), f.data(), n * sizeof(Ipp32f));
        return out;
    }});
    // Scanner filters (tightly packed pages; the frames they leave undefined are masked out).
    auto interior = [](std::vector<Ipp8u> img, int ch, int frame) {
        std::vector<Ipp8u> out;
        for (int y = frame; y < H - frame; ++y)
            out.insert(out.end(), img.begin() + (size_t(y) * W + frame) * ch, img.begin() + (size_t(y) * W + W - frame) * ch);
        return out;
    };
    auto conv = FN(DeosConvRGB);
    auto conv2 = FN(DeosConvRGB2);
    auto conv3 = FN(DeosConvRGB3);
    auto conv4 = FN(DeosConvRGB4);
    auto convIn = FN(DeosConvRgbInFilterCoef);
    auto convMono = FN(DeosConvMonoInFilterCoef);
    auto getK = FN(GetDeosConvKernelValue);
    auto setK = FN(SetDeosConvKernelValue);
    for (Ipp32u r : {2u, 3u, 4u, 7u}) {
        jobs.push_back({"DeosConvRGB r" + std::to_string(r), [=](const Page& p) {
            std::vector<Ipp8u> d(size_t(3) * W * H);
            EXPECT_EQ(conv(p.rgbPacked(), d.data(), W, H, 0, r, 30), 0u);
            return interior(d, 3, int(r));
        }});
    }
    jobs.push_back({"DeosConv variants", [=](const Page& p) {
        std::vector<Ipp32f> k(25), k3(75);
        std::vector<Ipp32s> fixed(25);
        EXPECT_EQ(getK(0, 2, 5, k.data()), 0u);
        EXPECT_EQ(setK(1, 2, 3, fixed.data()), 0u);
        for (int i = 0; i < 75; ++i) k3[i] = k[i % 25];
        std::vector<Ipp8u> lutStore(3 * 256 * 3, 0);
        for (int i = 0; i < 768; ++i) lutStore[size_t(i) + 768] = Ipp8u(std::min(i, 255));
        std::vector<Ipp8u> a(size_t(3) * W * H), b(a.size()), c(a.size()), d(a.size()), e(size_t(W) * H);
        EXPECT_EQ(conv2(p.rgbPacked(), a.data(), W, H, 0, 2, 0, k.data()), 0u);
        EXPECT_EQ(conv3(p.rgbPacked(), b.data(), W, H, 0, 2, 0, fixed.data()), 0u);
        EXPECT_EQ(conv4(p.rgbPacked(), c.data(), W, H, 0, 2, 0, fixed.data(), lutStore.data() + 768), 0u);
        EXPECT_EQ(convIn(p.rgbPacked(), d.data(), W, H, 2, k3.data()), 0u);
        EXPECT_EQ(convMono(p.grey.data(), e.data(), W, H, 2, k.data()), 0u);
        std::vector<Ipp8u> out = interior(a, 3, 2);
        for (const auto& v : {interior(b, 3, 2), interior(c, 3, 2), interior(d, 3, 2), interior(e, 1, 2)})
            out.insert(out.end(), v.begin(), v.end());
        return out;
    }});
    auto nrRgb = FN(DeosNrRGB);
    auto nrInd = FN(DeosNrIndividualRGB);
    auto nrYuv = FN(DeosNrYUV);
    auto nrMono = FN(DeosNrMono);
    for (Ipp32u mode : {1u, 2u}) {
        const int f = mode == 2 ? 2 : 1;
        jobs.push_back({"DeosNr mode " + std::to_string(mode), [=](const Page& p) {
            std::vector<Ipp8u> a(size_t(3) * W * H), b(a.size()), c(a.size()), d(size_t(W) * H, 0);
            EXPECT_EQ(nrRgb(p.rgbPacked(), a.data(), W, H, mode, 4), 0u);
            EXPECT_EQ(nrInd(p.rgbPacked(), b.data(), W, H, mode, 2, 0, 5, mode, 9), 0u);
            EXPECT_EQ(nrYuv(p.rgbPacked(), c.data(), W, H, mode, 3, mode, 7), 0u);
            EXPECT_EQ(nrMono(p.grey.data(), d.data(), W, H, mode, 6), 0u);
            std::vector<Ipp8u> out = interior(a, 3, f);
            for (const auto& v : {interior(b, 3, f), interior(c, 3, f), interior(d, 1, f)}) out.insert(out.end(), v.begin(), v.end());
            return out;
        }});
    }
    auto gNr = FN(GaussNrRGB);
    auto mNr = FN(MedianNrRGB);
    auto vNr = FN(MedianColorNrRGB);
    for (int r : {1, 2}) {
        jobs.push_back({"wrappers r" + std::to_string(r), [=](const Page& p) {
            std::vector<Ipp8u> a(size_t(3) * W * H), b(a.size()), c(a.size());
            NrImageRecord src{const_cast<Ipp8u*>(p.rgbPacked()), nullptr, W, H};
            NrImageRecord da{a.data(), nullptr, W, H}, db{b.data(), nullptr, W, H}, dc{c.data(), nullptr, W, H};
            EXPECT_EQ(gNr(&src, &da, r), 0);
            EXPECT_EQ(mNr(&src, &db, r), 0);
            EXPECT_EQ(vNr(&src, &dc, r), 0);
            std::vector<Ipp8u> out = interior(a, 3, r);
            for (const auto& v : {interior(b, 3, r), interior(c, 3, r)}) out.insert(out.end(), v.begin(), v.end());
            return out;
        }});
    }
    return jobs;
}

TEST(Stress, EightThreadsGiveTheSerialResults) {
    // The first lookup happens here, on one thread; the jobs then share the pointers.
    const auto jobs = all_jobs();
    std::vector<Page> pages;
    for (int t = 0; t < kThreads; ++t) pages.emplace_back(1000u + unsigned(t));
    std::vector<std::vector<std::vector<Ipp8u>>> serial(kThreads);
    for (int t = 0; t < kThreads; ++t)
        for (const auto& [name, job] : jobs) serial[t].push_back(job(pages[t]));

    std::vector<std::vector<std::string>> mismatches(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] {
            // Each thread walks the jobs from a different start, so different
            // primitives overlap in time.
            for (size_t i = 0; i < jobs.size(); ++i) {
                const size_t j = (i + size_t(t) * 7) % jobs.size();
                if (jobs[j].second(pages[t]) != serial[t][j]) mismatches[t].push_back(jobs[j].first);
            }
        });
    for (auto& th : threads) th.join();
    for (int t = 0; t < kThreads; ++t)
        for (const auto& m : mismatches[t]) ADD_FAILURE() << "thread " << t << ": " << m;
}

}  // namespace
