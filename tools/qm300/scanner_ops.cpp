// The scanner's own filters: convolution (sharpen, soften) and noise reduction.
#include "op_support.h"

namespace qm300 {

namespace {

// Built-in levels: 0..6, or 15..45 in steps of 5 (15 is level 0, 45 level 6).
// Other values would quietly act as a neighbouring level.
bool known_level(int level) { return (level >= 0 && level <= 6) || (level >= 15 && level <= 45 && level % 5 == 0); }

struct ConvolveOp : Op {
    bool sharpen = true;
    int radius = 2, level = 4, mode = 0;
    std::string kernel, fixedKernel, kernels3;
    bool direct = false;
    CLI::Option *radiusOpt = nullptr, *levelOpt = nullptr;

    explicit ConvolveOp(bool s) : sharpen(s), level(s ? 4 : 0) {}

    void add_options(CLI::App& sub) override {
        radiusOpt = sub.add_option("-r,--radius", radius, "kernel radius of the built-in tables: 2, 3, 4 or 7 (0 and 1 copy)")
                        ->capture_default_str();
        levelOpt = sub.add_option("-l,--level", level, "kernel level 0..6 (0-1 soften, 2-6 sharpen), or 15..45 in steps of 5")
                       ->capture_default_str();
        sub.add_option("--mode", mode, "scanner mode argument, 0 or 1")->capture_default_str();
        sub.add_option("-k,--kernel", kernel, "text file with your own n x n float kernel");
        sub.add_option("--fixed-kernel", fixedKernel, "text file with an n x n kernel in 16.16 fixed point");
        sub.add_option("--kernels3", kernels3, "text file with three n x n float kernels, one per channel");
        sub.add_flag("--direct", direct, "use the direct fixed-point loop (with a clamping output table)");
    }

    bool from_file() const { return !kernel.empty() || !fixedKernel.empty() || !kernels3.empty(); }

    void check() const override {
        if (!kernel.empty() + !fixedKernel.empty() + !kernels3.empty() > 1)
            throw UsageError("-k, --fixed-kernel and --kernels3 exclude each other");
        if (direct && (!kernel.empty() || !kernels3.empty()))
            throw UsageError("--direct takes the built-in kernel or --fixed-kernel");
        if (from_file() && (given(radiusOpt) || given(levelOpt)))
            throw UsageError("-r and -l choose a built-in kernel; a kernel file brings its own size and weights");
        if (mode < 0 || mode > 1) throw UsageError("--mode is 0 or 1");
        if (from_file()) return;
        if (radius != 0 && radius != 1 && radius != 2 && radius != 3 && radius != 4 && radius != 7)
            throw UsageError("the built-in kernels have radius 2, 3, 4 or 7 (0 and 1 copy the page)");
        if (!known_level(level)) throw UsageError("level " + std::to_string(level) + ": use 0..6, or 15..45 in steps of 5");
    }

    Image apply(const Module& m, const Image& in) const override {
        if (!from_file() && radius <= 1) return in;  // what the module does for these radii
        if (!kernels3.empty()) return per_channel(m, in);
        if (!fixedKernel.empty() || direct) return fixed_point(m, in);
        if (in.channels == 1) return grey(m, in);
        if (!kernel.empty()) {
            const std::vector<float> w = flat_float(read_matrix(kernel, in.pixels.size()));
            const int r = odd_square_radius(w.size(), kernel);
            return run_scanner(in, r, "this kernel", [&](const Image& s, Image& d) {
                check_scanner_result("DeosConvRGB2", QM_FN(m, DeosConvRGB2)(s.pixels.data(), d.pixels.data(),
                                     s.width, s.height, Ipp32u(mode), Ipp32u(r), level, w.data()));
            });
        }
        return run_scanner(in, radius, "radius " + std::to_string(radius), [&](const Image& s, Image& d) {
            check_scanner_result("DeosConvRGB", QM_FN(m, DeosConvRGB)(s.pixels.data(), d.pixels.data(), s.width,
                                 s.height, Ipp32u(mode), Ipp32u(radius), level));
        });
    }

    Image grey(const Module& m, const Image& in) const {
        std::vector<float> w;
        int r = radius;
        if (!kernel.empty()) {
            w = flat_float(read_matrix(kernel, in.pixels.size()));
            r = odd_square_radius(w.size(), kernel);
        } else {
            w.resize(size_t(2 * r + 1) * (2 * r + 1));
            check_scanner_result("GetDeosConvKernelValue",
                                 QM_FN(m, GetDeosConvKernelValue)(Ipp32u(mode), Ipp32u(r), level, w.data()));
        }
        need_room(in, r, kernel.empty() ? "radius " + std::to_string(r) : "this kernel");
        Image d(in.width, in.height, 1);
        check_scanner_result("DeosConvMonoInFilterCoef",
                             QM_FN(m, DeosConvMonoInFilterCoef)(in.pixels.data(), d.pixels.data(), in.width,
                                                                in.height, Ipp32u(r), w.data()));
        return frame_from_source(in, d, r);
    }

    Image per_channel(const Module& m, const Image& in) const {
        need_colour(in, "--kernels3");
        const std::vector<float> w = flat_float(read_matrix(kernels3, in.pixels.size()));
        if (w.size() % 3) throw ToolError(kernels3 + ": three kernels of n x n values are needed");
        const int r = odd_square_radius(w.size() / 3, kernels3);
        return run_scanner(in, r, "these kernels", [&](const Image& s, Image& d) {
            check_scanner_result("DeosConvRgbInFilterCoef",
                                 QM_FN(m, DeosConvRgbInFilterCoef)(s.pixels.data(), d.pixels.data(), s.width,
                                                                   s.height, Ipp32u(r), w.data()));
        });
    }

    Image fixed_point(const Module& m, const Image& in) const {
        need_colour(in, "fixed-point sharpening");
        std::vector<Ipp32s> w;
        int r = radius;
        if (!fixedKernel.empty()) {
            w = flat_whole(read_matrix(fixedKernel, in.pixels.size()), fixedKernel + ": a 16.16 kernel");
            r = odd_square_radius(w.size(), fixedKernel);
        } else {
            w.resize(size_t(2 * r + 1) * (2 * r + 1));
            check_scanner_result("SetDeosConvKernelValue",
                                 QM_FN(m, SetDeosConvKernelValue)(Ipp32u(mode), Ipp32u(r), level, w.data()));
        }
        const std::string what = fixedKernel.empty() ? "radius " + std::to_string(r) : "this kernel";
        if (!direct) {
            return run_scanner(in, r, what, [&](const Image& s, Image& d) {
                check_scanner_result("DeosConvRGB3", QM_FN(m, DeosConvRGB3)(s.pixels.data(), d.pixels.data(),
                                     s.width, s.height, Ipp32u(mode), Ipp32u(r), level, w.data()));
            });
        }
        // The direct loop indexes its output table with the raw sum >> 16,
        // which may be negative or above 255: give it a clamping table wide
        // enough for any sum of these weights.
        int64_t pos = 0, neg = 0;
        for (Ipp32s v : w) (v > 0 ? pos : neg) += int64_t{v} * 255;
        const int64_t lo = neg >> 16, hi = pos >> 16;
        if (hi - lo > (1 << 26) || pos > INT32_MAX || neg < INT32_MIN)
            throw ToolError("kernel weights too large for the direct loop");
        std::vector<Ipp8u> table(size_t(hi - lo + 1));
        for (int64_t i = lo; i <= hi; ++i) table[size_t(i - lo)] = Ipp8u(std::clamp<int64_t>(i, 0, 255));
        const Ipp8u* lut = table.data() - lo;
        return run_scanner(in, r, what, [&](const Image& s, Image& d) {
            check_scanner_result("DeosConvRGB4", QM_FN(m, DeosConvRGB4)(s.pixels.data(), d.pixels.data(), s.width,
                                 s.height, Ipp32u(mode), Ipp32u(r), level, w.data(), lut));
        });
    }
};

std::vector<int> setting_numbers(const std::string& s, size_t count, const char* what) {
    std::vector<int> v;
    std::string t = s;
    for (char& c : t)
        if (c == ',' || c == ':') c = ' ';
    std::istringstream is(t);
    int x;
    while (is >> x) v.push_back(x);
    if (v.size() != count || !is.eof())
        throw UsageError(std::string(what) + " needs " + std::to_string(count) + " numbers: " + s);
    for (size_t i = 0; i < v.size(); i += 2)
        if (v[i] < 0 || v[i] > 2 || v[i + 1] < 0 || v[i + 1] > 10)
            throw UsageError(std::string(what) + " " + s + ": modes are 0..2, levels 0..10");
    return v;
}

struct DenoiseOp : Op {
    std::string method = "bilateral";
    int mode = 1, level = 3, radius = 1;
    std::string perChannel, yuv;
    CLI::Option *modeOpt = nullptr, *levelOpt = nullptr, *radiusOpt = nullptr;

    void add_options(CLI::App& sub) override {
        sub.add_option("--method", method, "bilateral, gauss, median or vector-median")
            ->check(CLI::IsMember({"bilateral", "gauss", "median", "vector-median"}))->capture_default_str();
        modeOpt = sub.add_option("-m,--mode", mode, "bilateral kernel: 2 = 5x5, 0 or 1 = 3x3")->capture_default_str();
        levelOpt = sub.add_option("-l,--level", level, "bilateral strength 0..10 (sigma^2 = 96 x level)")->capture_default_str();
        sub.add_option("--per-channel", perChannel, "bilateral per channel: m0:l0,m1:l1,m2:l2 (mode 0 copies)");
        sub.add_option("--yuv", yuv, "bilateral in YUV: modeY:levelY,modeUV:levelUV (mode 0 copies)");
        radiusOpt = sub.add_option("-r,--radius", radius,
                                   "radius of the other methods (gauss and vector-median: 1 = 3x3, 2 = 5x5)")
                        ->capture_default_str();
    }

    void check() const override {
        if (method != "bilateral") {
            if (given(modeOpt) || given(levelOpt) || !perChannel.empty() || !yuv.empty())
                throw UsageError("-m, -l, --per-channel and --yuv are for --method bilateral");
            if (method != "median" && radius != 1 && radius != 2)
                throw UsageError("--method " + method + " takes radius 1 (3x3) or 2 (5x5)");
            if (radius < 1 || radius > 32767) throw UsageError("--radius must lie between 1 and 32767");
            return;
        }
        if (given(radiusOpt)) throw UsageError("--radius is for --method gauss, median or vector-median");
        if (!perChannel.empty() && !yuv.empty()) throw UsageError("--per-channel and --yuv exclude each other");
        if ((!perChannel.empty() || !yuv.empty()) && (given(modeOpt) || given(levelOpt)))
            throw UsageError("-m and -l do not apply with --per-channel or --yuv");
        if (mode < 0 || mode > 2) throw UsageError("--mode is 0, 1 or 2");
        if (level < 0 || level > 10) throw UsageError("--level is 0..10");
        if (!perChannel.empty()) setting_numbers(perChannel, 6, "--per-channel");
        if (!yuv.empty()) setting_numbers(yuv, 4, "--yuv");
    }

    Image apply(const Module& m, const Image& in) const override {
        if (method == "bilateral") return bilateral(m, in);
        need_colour(in, "--method " + method);
        qm_GaussNrRGB_fn fn = method == "gauss"    ? QM_FN(m, GaussNrRGB)
                              : method == "median" ? QM_FN(m, MedianNrRGB)
                                                   : QM_FN(m, MedianColorNrRGB);
        need_room(in, radius, "radius " + std::to_string(radius));
        Image d(in.width, in.height, 3);
        NrImageRecord s{const_cast<Ipp8u*>(in.pixels.data()), nullptr, in.width, in.height};
        NrImageRecord t{d.pixels.data(), nullptr, in.width, in.height};
        check_status(method.c_str(), fn(&s, &t, radius));
        return frame_from_source(in, d, radius);
    }

    Image bilateral(const Module& m, const Image& in) const {
        const int frame = mode == 2 ? 2 : 1;
        if (in.channels == 1) {
            if (!perChannel.empty() || !yuv.empty())
                throw ToolError(std::string(yuv.empty() ? "--per-channel" : "--yuv") + " works on colour pages; this page is grey");
            need_room(in, frame, "mode " + std::to_string(mode));
            Image d = in;  // the frame keeps what dst held: the source
            check_scanner_result("DeosNrMono", QM_FN(m, DeosNrMono)(in.pixels.data(), d.pixels.data(), in.width,
                                 in.height, Ipp32u(mode), Ipp32u(level)));
            return d;
        }
        if (!perChannel.empty()) {
            const auto v = setting_numbers(perChannel, 6, "--per-channel");
            const int f = std::max({v[0], v[2], v[4]}) == 2 ? 2 : 1;
            return run_scanner(in, f, "these modes", [&](const Image& s, Image& d) {
                check_scanner_result("DeosNrIndividualRGB", QM_FN(m, DeosNrIndividualRGB)(s.pixels.data(),
                                     d.pixels.data(), s.width, s.height, v[0], v[1], v[2], v[3], v[4], v[5]));
            });
        }
        if (!yuv.empty()) {
            const auto v = setting_numbers(yuv, 4, "--yuv");
            const int f = std::max(v[0], v[2]) == 2 ? 2 : 1;
            return run_scanner(in, f, "these modes", [&](const Image& s, Image& d) {
                check_scanner_result("DeosNrYUV", QM_FN(m, DeosNrYUV)(s.pixels.data(), d.pixels.data(), s.width,
                                     s.height, v[0], v[1], v[2], v[3]));
            });
        }
        return run_scanner(in, frame, "mode " + std::to_string(mode), [&](const Image& s, Image& d) {
            check_scanner_result("DeosNrRGB", QM_FN(m, DeosNrRGB)(s.pixels.data(), d.pixels.data(), s.width,
                                 s.height, Ipp32u(mode), Ipp32u(level)));
        });
    }
};

}  // namespace

std::unique_ptr<Op> make_convolve(bool sharpen) { return std::make_unique<ConvolveOp>(sharpen); }
std::unique_ptr<Op> make_denoise() { return std::make_unique<DenoiseOp>(); }

}  // namespace qm300
