// One fixed list of calls through a loaded module, every result written to a
// file: for each call a line "label status bytes" and the output bytes.
// The Linux module and the Windows DLL (under Wine) must write identical
// files (scripts/test-windows.sh compares them).
//   qm_fixed_calls MODULE OUTPUT     (also prints what the attach chose)
//   qm_fixed_calls --compare A B     names the calls whose results differ
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "host/module_loader.h"
#include "ippiQM300.h"

namespace {

void* g_module = nullptr;
qm_GetProcAddressForThisDLL_fn g_lookup = nullptr;
FILE* g_out = nullptr;

template <class Fn>
Fn fn(const char* name) {
    QM_PROC p = g_lookup(g_module, name);
    if (p == nullptr) {
        std::fprintf(stderr, "qm_fixed_calls: %s does not resolve\n", name);
        std::exit(2);
    }
    return reinterpret_cast<Fn>(p);
}
#define QM_FN(name) fn<qm_##name##_fn>(#name)

// Text and bytes go out the same way on both platforms (the file is binary).
void record(const std::string& label, long long status, const void* data, size_t n) {
    const std::string head = label + " " + std::to_string(status) + " " + std::to_string(n) + "\n";
    std::fwrite(head.data(), 1, head.size(), g_out);
    std::fwrite(data, 1, n, g_out);
}
template <class T>
void record(const std::string& label, long long status, const std::vector<T>& v) {
    record(label, status, v.data(), v.size() * sizeof(T));
}

// xorshift32: the same numbers on every platform and standard library.
struct Noise {
    uint32_t s;
    uint32_t next() {
        s ^= s << 13;
        s ^= s >> 17;
        s ^= s << 5;
        return s;
    }
};

// A scanned-looking raster: gradients, a few hard edges and sensor noise.
template <class T = Ipp8u>
std::vector<T> page(int w, int h, int ch, uint32_t seed, int range = 256) {
    Noise n{seed};
    std::vector<T> v(size_t(w) * h * ch);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            for (int c = 0; c < ch; ++c) {
                int base = (x * (3 + c) + y * 5) % 256;
                if ((x / 7 + y / 5) % 3 == 0) base = 255 - base;
                const int value = (base + int(n.next() % 41) - 20) * range / 256;
                v[(size_t(y) * w + x) * ch + c] = static_cast<T>(value < 0 ? 0 : value >= range ? range - 1 : value);
            }
    return v;
}

std::vector<Ipp8u> canvas(size_t n) {  // destinations start with a pattern
    std::vector<Ipp8u> v(n);
    for (size_t i = 0; i < n; ++i) v[i] = static_cast<Ipp8u>(i * 7 + 1);
    return v;
}

// The colour noise reductions filter into fresh scratch planes: a frame of
// up to two pixels holds whatever the heap gave, so only the interior counts.
std::vector<Ipp8u> interior(const std::vector<Ipp8u>& img, int w, int h) {
    const int f = 2;
    std::vector<Ipp8u> v;
    for (int y = f; y < h - f; ++y)
        v.insert(v.end(), img.begin() + (size_t(y) * w + f) * 3, img.begin() + (size_t(y) * w + w - f) * 3);
    return v;
}

std::string tag(const char* name, std::initializer_list<int> args) {
    std::string s = name;
    for (int a : args) {
        s += ' ';  // appended piecewise: gcc 12 warns falsely on " " + string
        s += std::to_string(a);
    }
    return s;
}

void scanner_filters() {
    const int w = 48, h = 20;
    const auto src = page(w, h, 3, 1), mono = page(30, 17, 1, 2);
    for (Ipp32u r : {2u, 3u, 4u, 7u})
        for (auto [mode, level] : {std::pair{0u, 0}, {0u, 4}, {1u, 2}, {0u, 20}, {1u, 6}}) {
            auto dst = canvas(src.size());
            record(tag("DeosConvRGB", {int(r), int(mode), level}),
                   QM_FN(DeosConvRGB)(src.data(), dst.data(), w, h, mode, r, level), dst);
            std::vector<Ipp32f> kf(225);
            std::vector<Ipp32s> ki(225);
            record(tag("GetDeosConvKernelValue", {int(r), int(mode), level}),
                   QM_FN(GetDeosConvKernelValue)(mode, r, level, kf.data()), kf);
            record(tag("SetDeosConvKernelValue", {int(r), int(mode), level}),
                   QM_FN(SetDeosConvKernelValue)(mode, r, level, ki.data()), ki);
        }
    const int r = 2, n = 25;
    std::vector<Ipp32f> k(3 * n);
    Noise nz{3};
    for (Ipp32f& v : k) v = float(int(nz.next() % 3000) - 1000) / 10000.0f;
    std::vector<Ipp32s> ki(n), kiUser(n);
    for (Ipp32s& v : ki) v = int(nz.next() % 30000) - 8000;
    std::vector<Ipp8u> table(4096);
    for (int i = 0; i < 4096; ++i) table[i] = static_cast<Ipp8u>(i * 7 + 3);
    auto d = canvas(src.size());
    record("SetDeosConvKernelUserValue", QM_FN(SetDeosConvKernelUserValue)(k.data(), r, kiUser.data()), kiUser);
    record("DeosConvRGB2", QM_FN(DeosConvRGB2)(src.data(), d.data(), w, h, 0, r, 0, k.data()), d);
    d = canvas(src.size());
    record("DeosConvRGB3", QM_FN(DeosConvRGB3)(src.data(), d.data(), w, h, 1, r, 0, ki.data()), d);
    d = canvas(src.size());
    record("DeosConvRGB4", QM_FN(DeosConvRGB4)(src.data(), d.data(), w, h, 9, 1, -5, ki.data(), table.data() + 2048), d);
    d = canvas(src.size());
    record("DeosConvRgbInFilterCoef", QM_FN(DeosConvRgbInFilterCoef)(src.data(), d.data(), w, h, r, k.data()), d);
    auto dm = canvas(mono.size());
    record("DeosConvMonoInFilterCoef", QM_FN(DeosConvMonoInFilterCoef)(mono.data(), dm.data(), 30, 17, 3, k.data()), dm);

    for (Ipp32u mode : {0u, 1u, 2u})
        for (Ipp32u level : {0u, 3u, 7u, 10u}) {
            d = canvas(src.size());
            record(tag("DeosNrRGB", {int(mode), int(level)}), QM_FN(DeosNrRGB)(src.data(), d.data(), w, h, mode, level),
                   interior(d, w, h));
            dm = canvas(mono.size());
            record(tag("DeosNrMono", {int(mode), int(level)}),
                   QM_FN(DeosNrMono)(mono.data(), dm.data(), 28, 17, mode, level), dm);
            d = canvas(src.size());
            record(tag("DeosNrYUV", {int(mode), int(level)}),
                   QM_FN(DeosNrYUV)(src.data(), d.data(), w, h, mode, level, 2 - mode, 10 - level), interior(d, w, h));
        }
    d = canvas(src.size());
    record("DeosNrIndividualRGB", QM_FN(DeosNrIndividualRGB)(src.data(), d.data(), w, h, 1, 3, 0, 0, 2, 7),
           interior(d, w, h));

    for (int radius : {1, 2, 3}) {
        const auto names = {"GaussNrRGB", "MedianNrRGB", "MedianColorNrRGB"};
        for (const char* name : names) {
            auto out = canvas(src.size());
            NrImageRecord s{const_cast<Ipp8u*>(src.data()), nullptr, w, h}, t{out.data(), nullptr, 0, 0};
            using Wrapper = IppStatus (*)(const NrImageRecord*, const NrImageRecord*, int);
            record(tag(name, {radius}), fn<Wrapper>(name)(&s, &t, radius), out);
        }
    }
}

// Neighbourhood primitives read around the region: a margin of 8 pixels.
constexpr int W = 37, H = 23, M = 8, SW = W + 2 * M, SH = H + 2 * M;

void neighbourhood() {
    const auto c1 = page(SW, SH, 1, 11), c3 = page(SW, SH, 3, 12);
    const Ipp8u* s1 = c1.data() + M * SW + M;
    const Ipp8u* s3 = c3.data() + (M * SW + M) * 3;
    const IppiSize roi{W, H};
    auto run = [&](const std::string& label, int ch, auto&& call) {
        auto d = canvas(size_t(W) * H * ch);
        record(label, call(ch == 1 ? s1 : s3, SW * ch, d.data(), W * ch), d);
    };
    // One channel count's form of a family, by name: "ippiFilterBox_8u" + "_C1R".
    auto form = [](const char* family, int ch, const char* suffix = "R") {
        return std::string(family) + (ch == 1 ? "_C1" : "_C3") + suffix;
    };
    using Neighbourhood = IppStatus (*)(const Ipp8u*, int, Ipp8u*, int, IppiSize, IppiSize, IppiPoint);
    using InPlace = IppStatus (*)(Ipp8u*, int, IppiSize, IppiSize, IppiPoint);
    struct Mask { IppiSize size; IppiPoint anchor; };
    for (Mask m : {Mask{{3, 3}, {1, 1}}, Mask{{5, 1}, {2, 0}}, Mask{{1, 5}, {0, 4}}, Mask{{5, 5}, {2, 2}},
                   Mask{{4, 3}, {3, 0}}, Mask{{7, 7}, {3, 3}}}) {
        const std::string k = tag("", {m.size.width, m.size.height});
        const int taps = m.size.width * m.size.height;  // linear filters with the same shapes
        std::vector<Ipp32s> ki(taps);
        std::vector<Ipp32f> kf(taps);
        for (int i = 0; i < taps; ++i) {
            ki[i] = (i * 5) % 11 - 3;
            kf[i] = float((i * 7) % 13 - 4) / float(taps);
        }
        for (int ch : {1, 3}) {
            for (const char* family : {"ippiFilterMedian_8u", "ippiFilterBox_8u"}) {
                const std::string name = form(family, ch);
                run(name + k, ch, [&](auto... a) { return fn<Neighbourhood>(name.c_str())(a..., roi, m.size, m.anchor); });
                if (std::string(family) != "ippiFilterBox_8u") continue;
                auto inPlace = ch == 1 ? c1 : c3;
                const std::string ip = form(family, ch, "IR");
                record(ip + k, fn<InPlace>(ip.c_str())(inPlace.data() + (M * SW + M) * ch, SW * ch, roi, m.size, m.anchor),
                       inPlace);
            }
        }
        for (const char* name : {"ippiFilterMin_8u_C1R", "ippiFilterMax_8u_C1R"})
            run(name + k, 1, [&](auto... a) { return fn<Neighbourhood>(name)(a..., roi, m.size, m.anchor); });
        for (int ch : {1, 3}) {
            const std::string f8 = form("ippiFilter_8u", ch), f32 = form("ippiFilter32f_8u", ch);
            run(f8 + k, ch, [&](auto... a) { return fn<qm_ippiFilter_8u_C1R_fn>(f8.c_str())(a..., roi, ki.data(), m.size, m.anchor, 7); });
            run(f32 + k, ch, [&](auto... a) { return fn<qm_ippiFilter32f_8u_C1R_fn>(f32.c_str())(a..., roi, kf.data(), m.size, m.anchor); });
        }
    }
    for (int code : {33, 55}) {
        run(tag("ippiFilterGauss_8u_C1R", {code}), 1, [&](auto... a) { return QM_FN(ippiFilterGauss_8u_C1R)(a..., roi, code); });
        run(tag("ippiFilterGauss_8u_C3R", {code}), 3, [&](auto... a) { return QM_FN(ippiFilterGauss_8u_C3R)(a..., roi, code); });
        run(tag("ippiFilterMedianColor_8u_C3R", {code}), 3,
            [&](auto... a) { return QM_FN(ippiFilterMedianColor_8u_C3R)(a..., roi, code); });
    }
    struct Bilateral { IppiSize k; float valSq, posSq; int step; };
    for (Bilateral b : {Bilateral{{3, 3}, 100, 100, 1}, Bilateral{{5, 5}, 400, 25, 2}, Bilateral{{7, 5}, 960, 960, 1}}) {
        int size = 0;
        QM_FN(ippiFilterBilateralGetBufSize_8u_C1R)(100, roi, b.k, &size);
        std::vector<Ipp8u> buf(size_t(size > 0 ? size : 1));
        const IppStatus init = QM_FN(ippiFilterBilateralInit_8u_C1R)(100, b.k, b.valSq, b.posSq, b.step, buf.data());
        run(tag("ippiFilterBilateral_8u_C1R", {b.k.width, b.k.height, int(b.valSq), int(b.posSq), b.step, init, size}), 1,
            [&](auto... a) { return QM_FN(ippiFilterBilateral_8u_C1R)(a..., roi, b.k, buf.data()); });
    }
}

void geometry() {
    const int sw = 40, sh = 30;
    const IppiRect srcRoi{3, 2, 31, 25};
    for (int ch : {1, 3}) {
        const auto src = page(sw, sh, ch, 21 + ch);
        const int step = sw * ch;
        for (int inter : {1, 2, 4, 8, 16})
            for (auto [fx, fy] : {std::pair{0.5, 0.5}, {1.7, 1.3}, {0.37, 0.61}, {2.0, 0.75}}) {
                const IppiSize dstSize{int(srcRoi.width * fx), int(srcRoi.height * fy)};
                auto d = canvas(size_t(dstSize.width) * dstSize.height * ch);
                const auto resize = ch == 1 ? QM_FN(ippiResize_8u_C1R) : QM_FN(ippiResize_8u_C3R);
                record(tag(ch == 1 ? "ippiResize_8u_C1R" : "ippiResize_8u_C3R", {inter, int(fx * 100), int(fy * 100)}),
                       resize(src.data(), {sw, sh}, step, srcRoi, d.data(), dstSize.width * ch, dstSize, fx, fy, inter), d);
            }
        // A slight rotation and scale, partly outside the source.
        const int dw = 33, dh = 27;
        std::vector<Ipp32f> xm(size_t(dw) * dh), ym(xm.size());
        for (int y = 0; y < dh; ++y)
            for (int x = 0; x < dw; ++x) {
                xm[size_t(y) * dw + x] = 0.97f * float(x) - 0.11f * float(y) + 4.3f;
                ym[size_t(y) * dw + x] = 0.11f * float(x) + 1.05f * float(y) - 1.7f;
            }
        for (int inter : {1, 2, 4, 6, 16, 2 | IPPI_SMOOTH_EDGE, 4 | IPPI_SMOOTH_EDGE}) {
            auto d = canvas(size_t(dw) * dh * ch);
            const auto remap = ch == 1 ? QM_FN(ippiRemap_8u_C1R) : QM_FN(ippiRemap_8u_C3R);
            record(tag(ch == 1 ? "ippiRemap_8u_C1R" : "ippiRemap_8u_C3R", {inter}),
                   remap(src.data(), {sw, sh}, step, srcRoi, xm.data(), dw * 4, ym.data(), dw * 4, d.data(), dw * ch,
                         {dw, dh}, inter),
                   d);
        }
    }
}

void colour() {
    const int w = 29, h = 11;
    const IppiSize roi{w, h};
    const auto rgb = page(w, h, 3, 31);
    std::vector<Ipp8u> p[3] = {page(w, h, 1, 32), page(w, h, 1, 33), page(w, h, 1, 34)};
    const Ipp8u* const planesIn[3] = {p[0].data(), p[1].data(), p[2].data()};
    auto packed = [&](const char* name, auto f) {
        auto d = canvas(rgb.size());
        record(name, f(rgb.data(), 3 * w, d.data(), 3 * w, roi), d);
    };
    packed("ippiRGBToHLS_8u_C3R", QM_FN(ippiRGBToHLS_8u_C3R));
    packed("ippiHLSToRGB_8u_C3R", QM_FN(ippiHLSToRGB_8u_C3R));
    packed("ippiRGBToYUV_8u_C3R", QM_FN(ippiRGBToYUV_8u_C3R));
    packed("ippiYUVToRGB_8u_C3R", QM_FN(ippiYUVToRGB_8u_C3R));
    auto toPlanes = [&](const char* name, auto call) {
        std::vector<Ipp8u> out = canvas(3 * size_t(w) * h);
        Ipp8u* const planesOut[3] = {out.data(), out.data() + w * h, out.data() + 2 * w * h};
        record(name, call(planesOut), out);
    };
    toPlanes("ippiBGRToHLS_8u_P3R", [&](Ipp8u* const* o) { return QM_FN(ippiBGRToHLS_8u_P3R)(planesIn, w, o, w, roi); });
    toPlanes("ippiHLSToBGR_8u_P3R", [&](Ipp8u* const* o) { return QM_FN(ippiHLSToBGR_8u_P3R)(planesIn, w, o, w, roi); });
    toPlanes("ippiRGBToYUV_8u_C3P3R",
             [&](Ipp8u* const* o) { return QM_FN(ippiRGBToYUV_8u_C3P3R)(rgb.data(), 3 * w, o, w, roi); });
    toPlanes("ippiCopy_8u_C3P3R", [&](Ipp8u* const* o) { return QM_FN(ippiCopy_8u_C3P3R)(rgb.data(), 3 * w, o, w, roi); });
    auto fromPlanes = [&](const char* name, auto f) {
        auto d = canvas(rgb.size());
        record(name, f(planesIn, w, d.data(), 3 * w, roi), d);
    };
    fromPlanes("ippiYUVToRGB_8u_P3C3R", QM_FN(ippiYUVToRGB_8u_P3C3R));
    fromPlanes("ippiCopy_8u_P3C3R", QM_FN(ippiCopy_8u_P3C3R));

    const auto u16 = page<Ipp16u>(w, h, 3, 35, 65536);
    std::vector<Ipp16u> o16(u16.size());
    record("ippiRGBToHLS_16u_C3R", QM_FN(ippiRGBToHLS_16u_C3R)(u16.data(), 6 * w, o16.data(), 6 * w, roi), o16);
    record("ippiHLSToRGB_16u_C3R", QM_FN(ippiHLSToRGB_16u_C3R)(u16.data(), 6 * w, o16.data(), 6 * w, roi), o16);
    std::vector<Ipp16s> s16(u16.size()), so(u16.size());
    for (size_t i = 0; i < u16.size(); ++i) s16[i] = static_cast<Ipp16s>(int(u16[i]) - 32768);
    record("ippiRGBToHLS_16s_C3R", QM_FN(ippiRGBToHLS_16s_C3R)(s16.data(), 6 * w, so.data(), 6 * w, roi), so);
    record("ippiHLSToRGB_16s_C3R", QM_FN(ippiHLSToRGB_16s_C3R)(s16.data(), 6 * w, so.data(), 6 * w, roi), so);
    std::vector<Ipp32f> f32(rgb.size()), fo(rgb.size());
    for (size_t i = 0; i < rgb.size(); ++i) f32[i] = float(rgb[i]) / 255.0f;
    record("ippiRGBToHLS_32f_C3R", QM_FN(ippiRGBToHLS_32f_C3R)(f32.data(), 12 * w, fo.data(), 12 * w, roi), fo);
    record("ippiHLSToRGB_32f_C3R", QM_FN(ippiHLSToRGB_32f_C3R)(f32.data(), 12 * w, fo.data(), 12 * w, roi), fo);
}

void services() {
    int step = 0;
    Ipp8u* p = QM_FN(ippiMalloc_8u_C3)(37, 5, &step);
    record("ippiMalloc_8u_C3 step", p != nullptr && reinterpret_cast<uintptr_t>(p) % 32 == 0, &step, sizeof step);
    QM_FN(ippiFree)(p);
}

// What the attach chose, on stdout (it depends on the processor, so it is
// not among the results): the image set by its record, the core record, and
// whether lookup hands out the exported entries or a set's own functions.
void attach() {
    const IppLibraryVersion* image = QM_FN(ippiGetLibVersion)();
    const IppLibraryVersion* core = QM_FN(ippGetLibVersion)();
    const bool sameAsExport = g_lookup(g_module, "ippiCopy_8u_C3P3R") == qm_module_symbol(g_module, "ippiCopy_8u_C3P3R");
    std::printf("%.2s %s %d | %.4s %s %d | %s\n", image->targetCpu, image->Name, image->build, core->targetCpu,
                core->Name, core->build, sameAsExport ? "exports" : "set-slots");
}

struct Result {
    std::string head;
    std::string bytes;
};

bool read_results(const char* path, std::vector<Result>& out) {
    FILE* f = std::fopen(path, "rb");
    if (f == nullptr) return false;
    std::string head;
    for (int c; (c = std::fgetc(f)) != EOF;) {
        if (c != '\n') {
            head += char(c);
            continue;
        }
        const size_t n = std::strtoull(head.c_str() + head.rfind(' ') + 1, nullptr, 10);
        std::string bytes(n, '\0');
        if (std::fread(bytes.data(), 1, n, f) != n) break;
        out.push_back({head, bytes});
        head.clear();
    }
    const bool complete = head.empty() && !std::ferror(f);
    std::fclose(f);
    return complete;
}

int compare(const char* a, const char* b) {
    std::vector<Result> ra, rb;
    if (!read_results(a, ra) || !read_results(b, rb)) {
        std::fprintf(stderr, "qm_fixed_calls: cannot read %s or %s\n", a, b);
        return 2;
    }
    int differ = ra.size() == rb.size() ? 0 : 1;
    for (size_t i = 0; i < ra.size() && i < rb.size(); ++i)
        if (ra[i].head != rb[i].head || ra[i].bytes != rb[i].bytes) {
            std::printf("differs: %s | %s\n", ra[i].head.c_str(), rb[i].head.c_str());
            ++differ;
        }
    std::printf("%zu calls, %zu results differ\n", ra.size(), size_t(differ));
    return differ == 0 && !ra.empty() ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 4 && std::string(argv[1]) == "--compare") return compare(argv[2], argv[3]);
    if (argc != 3) {
        std::fprintf(stderr, "usage: qm_fixed_calls MODULE OUTPUT | --compare A B\n");
        return 2;
    }
    g_module = qm_load_module(argv[1]);
    if (g_module == nullptr) {
        std::fprintf(stderr, "qm_fixed_calls: cannot load %s\n", argv[1]);
        return 2;
    }
    g_lookup = reinterpret_cast<qm_GetProcAddressForThisDLL_fn>(qm_module_symbol(g_module, "GetProcAddressForThisDLL"));
    g_out = std::fopen(argv[2], "wb");
    if (g_lookup == nullptr || g_out == nullptr) return 2;
    scanner_filters();
    neighbourhood();
    geometry();
    colour();
    services();
    attach();
    return std::fclose(g_out) == 0 ? 0 : 1;
}
