#include "ops.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <sstream>

namespace qm300 {

// ---- page helpers ----------------------------------------------------------

Image pad(const Image& in, int left, int top, int right, int bottom) {
    Image out(in.width + left + right, in.height + top + bottom, in.channels);
    const int c = in.channels;
    for (int y = 0; y < out.height; ++y) {
        const uint8_t* s = in.row(std::clamp(y - top, 0, in.height - 1));
        uint8_t* d = out.row(y);
        for (int x = 0; x < out.width; ++x) {
            const int sx = std::clamp(x - left, 0, in.width - 1);
            for (int k = 0; k < c; ++k) d[x * c + k] = s[sx * c + k];
        }
    }
    return out;
}

Image crop(const Image& in, int x, int y, int w, int h) {
    Image out(w, h, in.channels);
    for (int r = 0; r < h; ++r)
        std::copy_n(in.row(y + r) + size_t(x) * in.channels, size_t(w) * in.channels, out.row(r));
    return out;
}

std::vector<std::vector<double>> read_matrix(const std::string& path) {
    std::ifstream f(path);
    if (!f) throw ToolError("cannot read " + path);
    std::vector<std::vector<double>> rows;
    std::string line;
    int lineNo = 0;
    while (std::getline(f, line)) {
        ++lineNo;
        line = line.substr(0, line.find('#'));
        for (char& ch : line)
            if (ch == ',' || ch == ';') ch = ' ';
        std::istringstream is(line);
        std::vector<double> row;
        std::string tok;
        while (is >> tok) {
            char* end = nullptr;
            const double v = std::strtod(tok.c_str(), &end);
            if (end == tok.c_str() || *end != '\0' || !std::isfinite(v))
                throw ToolError(path + ":" + std::to_string(lineNo) + ": not a number: " + tok);
            row.push_back(v);
        }
        if (row.empty()) continue;
        if (!rows.empty() && row.size() != rows.front().size())
            throw ToolError(path + ":" + std::to_string(lineNo) + ": rows of different lengths");
        rows.push_back(std::move(row));
    }
    if (rows.empty()) throw ToolError(path + ": no numbers");
    return rows;
}

namespace {

IppiSize size_of(const Image& im) { return {im.width, im.height}; }

// Puts the processed interior back into a copy of the source: the frame that
// the scanner filters leave undefined or untouched comes from the source.
Image frame_from_source(const Image& src, const Image& filtered, int frame) {
    Image out = src;
    const int c = src.channels;
    for (int y = frame; y < src.height - frame; ++y)
        std::copy_n(filtered.row(y) + size_t(frame) * c, size_t(src.width - 2 * frame) * c,
                    out.row(y) + size_t(frame) * c);
    return out;
}

// The scanner filters want a width that is a multiple of 4: widen by
// replicating the right edge, run, then cut back.
template <class Run>
Image run_scanner(const Image& in, int frame, Run run) {
    const int padRight = (4 - in.width % 4) % 4;
    const Image src = padRight ? pad(in, 0, 0, padRight, 0) : in;
    Image dst(src.width, src.height, src.channels);
    run(src, dst);
    const Image back = padRight ? crop(dst, 0, 0, in.width, in.height) : dst;
    return frame_from_source(in, back, frame);
}

void need_colour(const Image& in, const char* what) {
    if (in.channels != 3) throw ToolError(std::string(what) + " works on colour pages; this page is grey");
}

void need_odd_square(size_t count, int& radius, const std::string& path) {
    const int n = static_cast<int>(std::lround(std::sqrt(double(count))));
    if (size_t(n) * n != count || n % 2 == 0)
        throw ToolError(path + ": a kernel of n x n values with n odd is needed");
    radius = n / 2;
}

std::vector<float> flat_float(const std::vector<std::vector<double>>& m) {
    std::vector<float> out;
    for (const auto& r : m)
        for (double v : r) out.push_back(static_cast<float>(v));
    return out;
}

IppiSize parse_size(const std::string& s) {
    int w = 0, h = 0;
    char x = 0;
    std::istringstream is(s);
    if (is >> w) {
        if (is >> x >> h) {
            if (x != 'x' && x != 'X' && x != ',') throw ToolError("mask size " + s + ": use WxH");
        } else {
            h = w;
        }
    }
    if (w < 1 || h < 1) throw ToolError("mask size " + s + ": use WxH with positive numbers");
    return {w, h};
}

IppiPoint parse_point(const std::string& s, IppiSize mask) {
    if (s.empty()) return {mask.width / 2, mask.height / 2};
    int x = 0, y = 0;
    char comma = 0;
    std::istringstream is(s);
    if (!(is >> x >> comma >> y) || comma != ',') throw ToolError("anchor " + s + ": use X,Y");
    return {x, y};
}

// Runs a neighbourhood primitive over the whole page: the page gets a margin
// copied from its edges so every neighbourhood reads real pixels.
template <class Call>
Image neighbourhood(const Image& in, IppiSize mask, IppiPoint anchor, Call call) {
    // Anchors outside the mask are the module's to refuse; keep the margin sane.
    const int left = std::clamp(anchor.x, 0, mask.width - 1);
    const int top = std::clamp(anchor.y, 0, mask.height - 1);
    const Image src = pad(in, left, top, mask.width - 1 - left, mask.height - 1 - top);
    Image dst(in.width, in.height, in.channels);
    const uint8_t* origin = src.row(top) + size_t(left) * in.channels;
    call(origin, src.step(), dst.pixels.data(), dst.step(), size_of(in));
    return dst;
}

// ---- operations ------------------------------------------------------------

struct ConvolveOp : Op {
    bool sharpen = true;
    int radius = 2, level = 4, mode = 0;
    std::string kernel, fixedKernel, kernels3;
    bool direct = false;

    Image apply(const Module& m, const Image& in) const override {
        if (!kernels3.empty()) return per_channel(m, in);
        if (!fixedKernel.empty() || direct) return fixed_point(m, in);
        if (in.channels == 1) return grey(m, in);
        if (!kernel.empty()) {
            const auto k = read_matrix(kernel);
            int r = 0;
            const std::vector<float> w = flat_float(k);
            need_odd_square(w.size(), r, kernel);
            return run_scanner(in, r, [&](const Image& s, Image& d) {
                check_scanner_result("DeosConvRGB2", QM_FN(m, DeosConvRGB2)(s.pixels.data(), d.pixels.data(),
                                     s.width, s.height, Ipp32u(mode), Ipp32u(r), level, w.data()));
            });
        }
        return run_scanner(in, radius, [&](const Image& s, Image& d) {
            check_scanner_result("DeosConvRGB", QM_FN(m, DeosConvRGB)(s.pixels.data(), d.pixels.data(), s.width,
                                 s.height, Ipp32u(mode), Ipp32u(radius), level));
        });
    }

    Image grey(const Module& m, const Image& in) const {
        std::vector<float> w;
        int r = radius;
        if (!kernel.empty()) {
            w = flat_float(read_matrix(kernel));
            need_odd_square(w.size(), r, kernel);
        } else {
            if (r != 2 && r != 3 && r != 4 && r != 7) throw ToolError("built-in kernels have radius 2, 3, 4 or 7");
            w.resize(size_t(2 * r + 1) * (2 * r + 1));
            check_scanner_result("GetDeosConvKernelValue",
                                 QM_FN(m, GetDeosConvKernelValue)(Ipp32u(mode), Ipp32u(r), level, w.data()));
        }
        Image d(in.width, in.height, 1);
        check_scanner_result("DeosConvMonoInFilterCoef",
                             QM_FN(m, DeosConvMonoInFilterCoef)(in.pixels.data(), d.pixels.data(), in.width,
                                                                in.height, Ipp32u(r), w.data()));
        return frame_from_source(in, d, r);
    }

    Image per_channel(const Module& m, const Image& in) const {
        need_colour(in, "--kernels3");
        const std::vector<float> w = flat_float(read_matrix(kernels3));
        int r = 0;
        if (w.size() % 3) throw ToolError(kernels3 + ": three kernels of n x n values are needed");
        need_odd_square(w.size() / 3, r, kernels3);
        return run_scanner(in, r, [&](const Image& s, Image& d) {
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
            for (const auto& row : read_matrix(fixedKernel))
                for (double v : row) {
                    if (v != std::floor(v) || std::fabs(v) > 2147483647.0)
                        throw ToolError(fixedKernel + ": 16.16 weights are whole numbers");
                    w.push_back(static_cast<Ipp32s>(v));
                }
            need_odd_square(w.size(), r, fixedKernel);
        } else {
            w.resize(size_t(2 * r + 1) * (2 * r + 1));
            check_scanner_result("SetDeosConvKernelValue",
                                 QM_FN(m, SetDeosConvKernelValue)(Ipp32u(mode), Ipp32u(r), level, w.data()));
        }
        if (!direct) {
            return run_scanner(in, r, [&](const Image& s, Image& d) {
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
        if (hi - lo > (1 << 26)) throw ToolError("kernel weights too large for the direct loop");
        std::vector<Ipp8u> table(size_t(hi - lo + 1));
        for (int64_t i = lo; i <= hi; ++i) table[size_t(i - lo)] = Ipp8u(std::clamp<int64_t>(i, 0, 255));
        const Ipp8u* lut = table.data() - lo;
        return run_scanner(in, r, [&](const Image& s, Image& d) {
            check_scanner_result("DeosConvRGB4", QM_FN(m, DeosConvRGB4)(s.pixels.data(), d.pixels.data(), s.width,
                                 s.height, Ipp32u(mode), Ipp32u(r), level, w.data(), lut));
        });
    }
};

struct DenoiseOp : Op {
    std::string method = "bilateral";
    int mode = 1, level = 3, radius = 1;
    std::string perChannel, yuv;

    static std::vector<int> numbers(const std::string& s, size_t count, const char* what) {
        std::vector<int> v;
        std::string t = s;
        for (char& c : t)
            if (c == ',' || c == ':') c = ' ';
        std::istringstream is(t);
        int x;
        while (is >> x) v.push_back(x);
        if (v.size() != count || !is.eof())
            throw ToolError(std::string(what) + " needs " + std::to_string(count) + " numbers: " + s);
        for (int n : v)
            if (n < 0) throw ToolError(std::string(what) + ": negative values are not accepted");
        return v;
    }

    Image apply(const Module& m, const Image& in) const override {
        if (method == "bilateral") return bilateral(m, in);
        need_colour(in, "this noise reduction");
        if (radius < 1) throw ToolError("--radius must be at least 1");
        qm_GaussNrRGB_fn fn = method == "gauss"         ? QM_FN(m, GaussNrRGB)
                              : method == "median"      ? QM_FN(m, MedianNrRGB)
                              : method == "vector-median" ? QM_FN(m, MedianColorNrRGB)
                                                        : nullptr;
        if (fn == nullptr) throw ToolError("unknown method " + method);
        Image d(in.width, in.height, 3);
        NrImageRecord s{const_cast<Ipp8u*>(in.pixels.data()), nullptr, in.width, in.height};
        NrImageRecord t{d.pixels.data(), nullptr, in.width, in.height};
        check_status(method.c_str(), fn(&s, &t, radius));
        return frame_from_source(in, d, radius);
    }

    Image bilateral(const Module& m, const Image& in) const {
        const int frame = mode == 2 ? 2 : 1;
        if (in.channels == 1) {
            Image d = in;  // the frame keeps what dst held: the source
            check_scanner_result("DeosNrMono", QM_FN(m, DeosNrMono)(in.pixels.data(), d.pixels.data(), in.width,
                                 in.height, Ipp32u(mode), Ipp32u(level)));
            return d;
        }
        if (!perChannel.empty()) {
            const auto v = numbers(perChannel, 6, "--per-channel");
            const int f = std::max({v[0], v[2], v[4]}) == 2 ? 2 : 1;
            return run_scanner(in, f, [&](const Image& s, Image& d) {
                check_scanner_result("DeosNrIndividualRGB", QM_FN(m, DeosNrIndividualRGB)(s.pixels.data(),
                                     d.pixels.data(), s.width, s.height, v[0], v[1], v[2], v[3], v[4], v[5]));
            });
        }
        if (!yuv.empty()) {
            const auto v = numbers(yuv, 4, "--yuv");
            const int f = std::max(v[0], v[2]) == 2 ? 2 : 1;
            return run_scanner(in, f, [&](const Image& s, Image& d) {
                check_scanner_result("DeosNrYUV", QM_FN(m, DeosNrYUV)(s.pixels.data(), d.pixels.data(), s.width,
                                     s.height, v[0], v[1], v[2], v[3]));
            });
        }
        return run_scanner(in, frame, [&](const Image& s, Image& d) {
            check_scanner_result("DeosNrRGB", QM_FN(m, DeosNrRGB)(s.pixels.data(), d.pixels.data(), s.width,
                                 s.height, Ipp32u(mode), Ipp32u(level)));
        });
    }
};

struct MedianOp : Op {
    std::string mask = "3x3", anchor;
    Image apply(const Module& m, const Image& in) const override {
        const IppiSize k = parse_size(mask);
        const IppiPoint a = parse_point(anchor, k);
        auto fn = in.channels == 3 ? QM_FN(m, ippiFilterMedian_8u_C3R) : QM_FN(m, ippiFilterMedian_8u_C1R);
        return neighbourhood(in, k, a, [&](const Ipp8u* s, int ss, Ipp8u* d, int ds, IppiSize roi) {
            check_status("median", fn(s, ss, d, ds, roi, k, a));
        });
    }
};

struct VectorMedianOp : Op {
    int mask = 3;
    Image apply(const Module& m, const Image& in) const override {
        need_colour(in, "the vector median");
        const int code = mask == 5 ? 55 : mask == 3 ? 33 : mask;
        const IppiSize k = {mask, mask};
        return neighbourhood(in, k, {mask / 2, mask / 2}, [&](const Ipp8u* s, int ss, Ipp8u* d, int ds, IppiSize roi) {
            check_status("vector median", QM_FN(m, ippiFilterMedianColor_8u_C3R)(s, ss, d, ds, roi, code));
        });
    }
};

struct GaussOp : Op {
    int mask = 3;
    Image apply(const Module& m, const Image& in) const override {
        auto fn = in.channels == 3 ? QM_FN(m, ippiFilterGauss_8u_C3R) : QM_FN(m, ippiFilterGauss_8u_C1R);
        const int code = mask == 5 ? 55 : mask == 3 ? 33 : mask;
        const int side = mask == 5 ? 5 : 3;
        return neighbourhood(in, {side, side}, {side / 2, side / 2},
                             [&](const Ipp8u* s, int ss, Ipp8u* d, int ds, IppiSize roi) {
                                 check_status("gauss", fn(s, ss, d, ds, roi, code));
                             });
    }
};

struct BoxOp : Op {
    enum Kind { Box, Min, Max } kind = Box;
    std::string mask = "3x3", anchor;
    bool inPlace = false;
    Image apply(const Module& m, const Image& in) const override {
        const IppiSize k = parse_size(mask);
        const IppiPoint a = parse_point(anchor, k);
        if (kind != Box && in.channels != 1) return per_channel(m, in);
        if (inPlace) {
            auto fn = in.channels == 3 ? QM_FN(m, ippiFilterBox_8u_C3IR) : QM_FN(m, ippiFilterBox_8u_C1IR);
            const int left = std::clamp(a.x, 0, k.width - 1), top = std::clamp(a.y, 0, k.height - 1);
            Image work = pad(in, left, top, k.width - 1 - left, k.height - 1 - top);
            check_status("box (in place)", fn(work.row(top) + size_t(left) * in.channels, work.step(), size_of(in), k, a));
            return crop(work, left, top, in.width, in.height);
        }
        auto fn = kind == Min ? QM_FN(m, ippiFilterMin_8u_C1R)
                  : kind == Max ? QM_FN(m, ippiFilterMax_8u_C1R)
                  : in.channels == 3 ? QM_FN(m, ippiFilterBox_8u_C3R) : QM_FN(m, ippiFilterBox_8u_C1R);
        return neighbourhood(in, k, a, [&](const Ipp8u* s, int ss, Ipp8u* d, int ds, IppiSize roi) {
            check_status(kind == Min ? "min" : kind == Max ? "max" : "box", fn(s, ss, d, ds, roi, k, a));
        });
    }
    // Min and max exist for one channel: run them plane by plane.
    Image per_channel(const Module& m, const Image& in) const;
};

// Splits a colour page into planes, runs a grey operation on each, joins.
Image planewise(const Module& m, const Image& in, const Op& op) {
    Image p[3] = {Image(in.width, in.height, 1), Image(in.width, in.height, 1), Image(in.width, in.height, 1)};
    Ipp8u* planes[3] = {p[0].pixels.data(), p[1].pixels.data(), p[2].pixels.data()};
    check_status("split", QM_FN(m, ippiCopy_8u_C3P3R)(in.pixels.data(), in.step(), planes, in.width, size_of(in)));
    Image r[3] = {op.apply(m, p[0]), op.apply(m, p[1]), op.apply(m, p[2])};
    Image out(in.width, in.height, 3);
    const Ipp8u* rp[3] = {r[0].pixels.data(), r[1].pixels.data(), r[2].pixels.data()};
    check_status("join", QM_FN(m, ippiCopy_8u_P3C3R)(rp, in.width, out.pixels.data(), out.step(), size_of(in)));
    return out;
}

Image BoxOp::per_channel(const Module& m, const Image& in) const { return planewise(m, in, *this); }

struct BilateralOp : Op {
    std::string kernel = "5x5";
    float valueSigma2 = 400.0f, positionSigma2 = 400.0f;
    int step = 1, type = 100;
    Image apply(const Module& m, const Image& in) const override {
        if (in.channels == 3) return planewise(m, in, *this);
        const IppiSize k = parse_size(kernel);
        int size = 0;
        check_status("bilateral buffer size",
                     QM_FN(m, ippiFilterBilateralGetBufSize_8u_C1R)(type, size_of(in), k, &size));
        std::vector<Ipp8u> buffer(size_t(std::max(size, 1)));
        check_status("bilateral set-up", QM_FN(m, ippiFilterBilateralInit_8u_C1R)(type, k, valueSigma2,
                                                                                 positionSigma2, step, buffer.data()));
        return neighbourhood(in, k, {k.width / 2, k.height / 2}, [&](const Ipp8u* s, int ss, Ipp8u* d, int ds, IppiSize roi) {
            check_status("bilateral", QM_FN(m, ippiFilterBilateral_8u_C1R)(s, ss, d, ds, roi, k, buffer.data()));
        });
    }
};

struct LinearOp : Op {
    std::string kernel, anchor;
    int divisor = 0;
    Image apply(const Module& m, const Image& in) const override {
        const auto rows = read_matrix(kernel);
        const IppiSize k = {int(rows.front().size()), int(rows.size())};
        // The primitives convolve: the window reaches anchor - (size - 1) back.
        const IppiPoint a = parse_point(anchor, k);
        const int left = std::clamp(k.width - 1 - a.x, 0, k.width - 1);
        const int top = std::clamp(k.height - 1 - a.y, 0, k.height - 1);
        const Image src = pad(in, left, top, k.width - 1 - left, k.height - 1 - top);
        Image dst(in.width, in.height, in.channels);
        const Ipp8u* origin = src.row(top) + size_t(left) * in.channels;
        if (divisor != 0) {
            std::vector<Ipp32s> w;
            for (const auto& r : rows)
                for (double v : r) {
                    if (v != std::floor(v) || std::fabs(v) > 2147483647.0)
                        throw ToolError(kernel + ": an integer kernel (with --divisor) needs whole numbers");
                    w.push_back(Ipp32s(v));
                }
            auto fn = in.channels == 3 ? QM_FN(m, ippiFilter_8u_C3R) : QM_FN(m, ippiFilter_8u_C1R);
            check_status("filter", fn(origin, src.step(), dst.pixels.data(), dst.step(), size_of(in), w.data(), k, a, divisor));
        } else {
            const std::vector<float> w = flat_float(rows);
            auto fn = in.channels == 3 ? QM_FN(m, ippiFilter32f_8u_C3R) : QM_FN(m, ippiFilter32f_8u_C1R);
            check_status("filter", fn(origin, src.step(), dst.pixels.data(), dst.step(), size_of(in), w.data(), k, a));
        }
        return dst;
    }
};

int interpolation_code(const std::string& s) {
    static const std::map<std::string, int> kCodes = {
        {"nn", 1}, {"nearest", 1}, {"linear", 2}, {"cubic", 4}, {"catmull-rom", 6},
        {"super", 8}, {"supersampling", 8}, {"lanczos", 16}};
    const auto it = kCodes.find(s);
    if (it == kCodes.end()) throw ToolError("unknown interpolation " + s);
    return it->second;
}

struct ResizeOp : Op {
    double scale = 0, fx = 0, fy = 0;
    int width = 0, height = 0;
    std::string interp = "linear";
    Image apply(const Module& m, const Image& in) const override {
        double x = fx, y = fy;
        if (scale > 0) x = y = scale;
        if (width > 0) x = double(width) / in.width;
        if (height > 0) y = double(height) / in.height;
        if (x <= 0 && y > 0) x = y;
        if (y <= 0 && x > 0) y = x;
        if (x <= 0 || y <= 0) throw ToolError("give --scale, --fx/--fy or --width/--height");
        const int w = width > 0 ? width : std::max(1, int(in.width * x + 1e-7));
        const int h = height > 0 ? height : std::max(1, int(in.height * y + 1e-7));
        if (double(w) * h * in.channels > double(1 << 30)) throw ToolError("the resized page would be too large");
        Image out(w, h, in.channels);
        auto fn = in.channels == 3 ? QM_FN(m, ippiResize_8u_C3R) : QM_FN(m, ippiResize_8u_C1R);
        check_status("resize", fn(in.pixels.data(), size_of(in), in.step(), {0, 0, in.width, in.height},
                                  out.pixels.data(), out.step(), {w, h}, x, y, interpolation_code(interp)));
        return out;
    }
};

struct RemapOp : Op {
    std::string xmap, ymap, interp = "linear";
    bool smooth = false;
    int fill = 255;
    Image apply(const Module& m, const Image& in) const override {
        const auto xs = read_matrix(xmap), ys = read_matrix(ymap);
        if (xs.size() != ys.size() || xs.front().size() != ys.front().size())
            throw ToolError("the x and y maps differ in size");
        const int w = int(xs.front().size()), h = int(xs.size());
        std::vector<float> mx, my;
        for (int r = 0; r < h; ++r)
            for (int c = 0; c < w; ++c) {
                mx.push_back(float(xs[r][c]));
                my.push_back(float(ys[r][c]));
            }
        // Positions outside the page are not written: start from paper.
        Image out(w, h, in.channels);
        std::fill(out.pixels.begin(), out.pixels.end(), Ipp8u(std::clamp(fill, 0, 255)));
        auto fn = in.channels == 3 ? QM_FN(m, ippiRemap_8u_C3R) : QM_FN(m, ippiRemap_8u_C1R);
        const int code = interpolation_code(interp) | (smooth ? IPPI_SMOOTH_EDGE : 0);
        check_status("remap", fn(in.pixels.data(), size_of(in), in.step(), {0, 0, in.width, in.height}, mx.data(),
                                 int(w * sizeof(float)), my.data(), int(w * sizeof(float)), out.pixels.data(),
                                 out.step(), {w, h}, code));
        return out;
    }
};

struct ConvertOp : Op {
    std::string to;
    bool planar = false;
    Image apply(const Module& m, const Image& in) const override {
        need_colour(in, "colour conversion");
        Image out(in.width, in.height, 3);
        const IppiSize roi = size_of(in);
        if (!planar) {
            qm_ippiRGBToYUV_8u_C3R_fn fn = to == "yuv"   ? QM_FN(m, ippiRGBToYUV_8u_C3R)
                                           : to == "rgb-from-yuv" ? QM_FN(m, ippiYUVToRGB_8u_C3R)
                                           : to == "hls"   ? QM_FN(m, ippiRGBToHLS_8u_C3R)
                                           : to == "rgb-from-hls" ? QM_FN(m, ippiHLSToRGB_8u_C3R)
                                                           : nullptr;
            if (fn == nullptr) throw ToolError("unknown conversion " + to);
            check_status("convert", fn(in.pixels.data(), in.step(), out.pixels.data(), out.step(), roi));
            return out;
        }
        // Planar forms: through three planes, in the order each form names.
        Image p[3] = {Image(in.width, in.height, 1), Image(in.width, in.height, 1), Image(in.width, in.height, 1)};
        Ipp8u* planes[3] = {p[0].pixels.data(), p[1].pixels.data(), p[2].pixels.data()};
        const Ipp8u* cplanes[3] = {planes[0], planes[1], planes[2]};
        if (to == "yuv") {
            check_status("convert", QM_FN(m, ippiRGBToYUV_8u_C3P3R)(in.pixels.data(), in.step(), planes, in.width, roi));
            check_status("join", QM_FN(m, ippiCopy_8u_P3C3R)(cplanes, in.width, out.pixels.data(), out.step(), roi));
        } else if (to == "rgb-from-yuv") {
            check_status("split", QM_FN(m, ippiCopy_8u_C3P3R)(in.pixels.data(), in.step(), planes, in.width, roi));
            check_status("convert", QM_FN(m, ippiYUVToRGB_8u_P3C3R)(cplanes, in.width, out.pixels.data(), out.step(), roi));
        } else if (to == "hls" || to == "rgb-from-hls") {
            // The planar HLS forms take blue, green, red planes.
            Image q[3] = {Image(in.width, in.height, 1), Image(in.width, in.height, 1), Image(in.width, in.height, 1)};
            Ipp8u* outPlanes[3] = {q[0].pixels.data(), q[1].pixels.data(), q[2].pixels.data()};
            check_status("split", QM_FN(m, ippiCopy_8u_C3P3R)(in.pixels.data(), in.step(), planes, in.width, roi));
            const bool toHls = to == "hls";
            const Ipp8u* src[3] = {toHls ? planes[2] : planes[0], planes[1], toHls ? planes[0] : planes[2]};
            Ipp8u* dst[3] = {toHls ? outPlanes[0] : outPlanes[2], outPlanes[1], toHls ? outPlanes[2] : outPlanes[0]};
            if (toHls) check_status("convert", QM_FN(m, ippiBGRToHLS_8u_P3R)(src, in.width, dst, in.width, roi));
            else check_status("convert", QM_FN(m, ippiHLSToBGR_8u_P3R)(src, in.width, dst, in.width, roi));
            const Ipp8u* joined[3] = {q[0].pixels.data(), q[1].pixels.data(), q[2].pixels.data()};
            check_status("join", QM_FN(m, ippiCopy_8u_P3C3R)(joined, in.width, out.pixels.data(), out.step(), roi));
        } else {
            throw ToolError("unknown conversion " + to);
        }
        return out;
    }
};

}  // namespace

template <class T>
T& OpSet::add(CLI::App& app, const char* name, const char* help, bool withFiles) {
    CLI::App* sub = app.add_subcommand(name, help);
    auto op = std::make_unique<T>();
    T& ref = *op;
    if (withFiles) {
        sub->add_option("input", input_, "page to read (PNG, JPEG, TIFF, PGM/PPM)")->required();
        sub->add_option("output", output_, "page to write; the format follows the extension")->required();
        sub->add_option("--page", page_, "TIFF page to read, counting from 1")->check(CLI::PositiveNumber);
    }
    ops_.emplace_back(sub, std::move(op));
    return ref;
}

const Op* OpSet::selected() const {
    for (const auto& [sub, op] : ops_)
        if (sub->parsed()) return op.get();
    return nullptr;
}

void OpSet::add_to(CLI::App& app, bool withFiles) {
    for (bool sharpen : {true, false}) {
        auto& op = add<ConvolveOp>(app, sharpen ? "sharpen" : "soften",
                                   sharpen ? "Scanner sharpening with a square kernel (levels 2..6 sharpen)"
                                           : "Scanner softening with a square kernel (levels 0..1 soften)",
                                   withFiles);
        op.sharpen = sharpen;
        op.level = sharpen ? 4 : 0;
        CLI::App* sub = ops_.back().first;
        sub->add_option("-r,--radius", op.radius, "kernel radius of the built-in tables: 2, 3, 4 or 7 (0 and 1 copy)")
            ->capture_default_str();
        sub->add_option("-l,--level", op.level,
                        "kernel level 0..6 (0-1 soften, 2-6 sharpen); 15 and up count in steps of 5")
            ->capture_default_str();
        sub->add_option("--mode", op.mode, "scanner mode argument (0 or 1), validated by the module")->capture_default_str();
        sub->add_option("-k,--kernel", op.kernel, "text file with your own n x n float kernel");
        sub->add_option("--fixed-kernel", op.fixedKernel, "text file with an n x n kernel in 16.16 fixed point");
        sub->add_option("--kernels3", op.kernels3, "text file with three n x n float kernels, one per channel");
        sub->add_flag("--direct", op.direct, "use the direct fixed-point loop (with a clamping output table)");
    }
    {
        auto& op = add<DenoiseOp>(app, "denoise", "Scanner noise reduction (bilateral, Gauss, median or vector median)",
                                  withFiles);
        CLI::App* sub = ops_.back().first;
        sub->add_option("--method", op.method, "bilateral, gauss, median or vector-median")
            ->check(CLI::IsMember({"bilateral", "gauss", "median", "vector-median"}))->capture_default_str();
        sub->add_option("-m,--mode", op.mode, "bilateral kernel: 2 = 5x5, otherwise 3x3")->capture_default_str();
        sub->add_option("-l,--level", op.level, "bilateral strength 0..10 (sigma^2 = 96 x level)")->capture_default_str();
        sub->add_option("--per-channel", op.perChannel, "bilateral per channel: m0:l0,m1:l1,m2:l2 (mode 0 copies)");
        sub->add_option("--yuv", op.yuv, "bilateral in YUV: modeY:levelY,modeUV:levelUV (mode 0 copies)");
        sub->add_option("-r,--radius", op.radius, "radius of the gauss/median methods (1: 3x3; gauss and vector median use 5x5 above)")
            ->capture_default_str();
    }
    {
        auto& op = add<MedianOp>(app, "median", "Median of each channel over a rectangular mask", withFiles);
        ops_.back().first->add_option("--mask", op.mask, "mask WxH, both odd")->capture_default_str();
        ops_.back().first->add_option("--anchor", op.anchor, "anchor X,Y inside the mask (default: centre)");
    }
    {
        auto& op = add<VectorMedianOp>(app, "vector-median", "Vector median: the most central colour of the mask", withFiles);
        ops_.back().first->add_option("--mask", op.mask, "3 or 5")->capture_default_str();
    }
    {
        auto& op = add<GaussOp>(app, "gauss", "Gaussian smoothing with a fixed 3x3 or 5x5 mask", withFiles);
        ops_.back().first->add_option("--mask", op.mask, "3 or 5")->capture_default_str();
    }
    for (auto [kind, name, help] : {std::tuple{BoxOp::Box, "box", "Mean over a rectangular mask"},
                                    std::tuple{BoxOp::Min, "min", "Minimum over a rectangular mask (erosion)"},
                                    std::tuple{BoxOp::Max, "max", "Maximum over a rectangular mask (dilation)"}}) {
        auto& op = add<BoxOp>(app, name, help, withFiles);
        op.kind = kind;
        ops_.back().first->add_option("--mask", op.mask, "mask WxH (even sizes allowed)")->capture_default_str();
        ops_.back().first->add_option("--anchor", op.anchor, "anchor X,Y inside the mask (default: centre)");
        if (kind == BoxOp::Box) ops_.back().first->add_flag("--in-place", op.inPlace, "use the in-place form");
    }
    {
        auto& op = add<BilateralOp>(app, "bilateral", "Edge-preserving bilateral smoothing (colour: per channel)", withFiles);
        CLI::App* sub = ops_.back().first;
        sub->add_option("--kernel", op.kernel, "kernel WxH")->capture_default_str();
        sub->add_option("--value-sigma2", op.valueSigma2, "squared sigma of the value weights")->capture_default_str();
        sub->add_option("--position-sigma2", op.positionSigma2, "squared sigma of the position weights")->capture_default_str();
        sub->add_option("--step", op.step, "use every step-th tap")->capture_default_str();
        sub->add_option("--type", op.type, "filter type 100 or 101")->capture_default_str();
    }
    {
        auto& op = add<LinearOp>(app, "filter", "Linear filter (true convolution) with a kernel from a text file", withFiles);
        CLI::App* sub = ops_.back().first;
        sub->add_option("-k,--kernel", op.kernel, "text file, one kernel row per line")->required();
        sub->add_option("--divisor", op.divisor, "integer kernel divided by this (0: float kernel)")->capture_default_str();
        sub->add_option("--anchor", op.anchor, "anchor X,Y (default: centre)");
    }
    {
        auto& op = add<ResizeOp>(app, "resize", "Scale the page", withFiles);
        CLI::App* sub = ops_.back().first;
        sub->add_option("-s,--scale", op.scale, "factor for both directions");
        sub->add_option("--fx", op.fx, "horizontal factor");
        sub->add_option("--fy", op.fy, "vertical factor");
        sub->add_option("--width", op.width, "target width in pixels");
        sub->add_option("--height", op.height, "target height in pixels");
        sub->add_option("-i,--interp", op.interp, "nearest, linear, cubic, lanczos or super (reduction only)")
            ->capture_default_str();
    }
    {
        auto& op = add<RemapOp>(app, "remap", "Geometric correction through coordinate maps", withFiles);
        CLI::App* sub = ops_.back().first;
        sub->add_option("--xmap", op.xmap, "text file of source x positions, one output row per line")->required();
        sub->add_option("--ymap", op.ymap, "text file of source y positions, same shape")->required();
        sub->add_option("-i,--interp", op.interp, "nearest, linear, cubic, catmull-rom or lanczos")->capture_default_str();
        sub->add_flag("--smooth-edge", op.smooth, "smooth the edges of the mapped area");
        sub->add_option("--fill", op.fill, "value of pixels whose position lies outside the page")->capture_default_str();
    }
    {
        auto& op = add<ConvertOp>(app, "convert", "Colour conversion between RGB, YUV and HLS (values stored as 8-bit)",
                                  withFiles);
        CLI::App* sub = ops_.back().first;
        sub->add_option("--to", op.to, "yuv, rgb-from-yuv, hls or rgb-from-hls")
            ->required()->check(CLI::IsMember({"yuv", "rgb-from-yuv", "hls", "rgb-from-hls"}));
        sub->add_flag("--planar", op.planar, "use the planar forms of the conversion");
    }
}

}  // namespace qm300
