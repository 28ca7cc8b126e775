// The general image primitives: neighbourhood filters, linear filter,
// resize, remap and colour conversion.
#include "op_support.h"

namespace qm300 {

namespace {

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

// A mask of WxH and an anchor inside it, both checked before any page.
struct MaskOptions {
    std::string mask = "3x3", anchor;
    void add(CLI::App& sub, const char* help) {
        sub.add_option("--mask", mask, help)->capture_default_str();
        sub.add_option("--anchor", anchor, "anchor X,Y inside the mask (default: centre)");
    }
    IppiSize size() const { return parse_size(mask); }
    IppiPoint point() const { return parse_point(anchor, size()); }
    void check() const { need_inside(point(), size()); }
};

struct MedianOp : Op {
    MaskOptions mask;
    void add_options(CLI::App& sub) override { mask.add(sub, "mask WxH, both odd"); }
    void check() const override { mask.check(); }
    Image apply(const Module& m, const Image& in) const override {
        const IppiSize k = mask.size();
        const IppiPoint a = mask.point();
        need_fit(in, k, "mask");
        auto fn = in.channels == 3 ? QM_FN(m, ippiFilterMedian_8u_C3R) : QM_FN(m, ippiFilterMedian_8u_C1R);
        return neighbourhood(in, window_reach(k, a), [&](const Ipp8u* s, int ss, Ipp8u* d, int ds, IppiSize roi) {
            check_status("median", fn(s, ss, d, ds, roi, k, a));
        });
    }
};

// The fixed 3x3 / 5x5 masks of the vector median and the Gauss filter.
struct FixedMaskOp : Op {
    bool gauss = false;
    int mask = 3;
    explicit FixedMaskOp(bool g) : gauss(g) {}
    void add_options(CLI::App& sub) override { sub.add_option("--mask", mask, "3 or 5")->capture_default_str(); }
    void check() const override {
        if (mask != 3 && mask != 5) throw UsageError("--mask is 3 or 5");
    }
    Image apply(const Module& m, const Image& in) const override {
        const int code = mask == 5 ? 55 : 33;
        const IppiSize k = {mask, mask};
        need_fit(in, k, "mask");
        const Reach r = window_reach(k, {mask / 2, mask / 2});
        if (gauss) {
            auto fn = in.channels == 3 ? QM_FN(m, ippiFilterGauss_8u_C3R) : QM_FN(m, ippiFilterGauss_8u_C1R);
            return neighbourhood(in, r, [&](const Ipp8u* s, int ss, Ipp8u* d, int ds, IppiSize roi) {
                check_status("gauss", fn(s, ss, d, ds, roi, code));
            });
        }
        need_colour(in, "the vector median");
        return neighbourhood(in, r, [&](const Ipp8u* s, int ss, Ipp8u* d, int ds, IppiSize roi) {
            check_status("vector median", QM_FN(m, ippiFilterMedianColor_8u_C3R)(s, ss, d, ds, roi, code));
        });
    }
};

struct BoxOp : Op {
    enum Kind { Box, Min, Max } kind = Box;
    MaskOptions mask;
    bool inPlace = false;
    explicit BoxOp(Kind k) : kind(k) {}
    void add_options(CLI::App& sub) override {
        mask.add(sub, "mask WxH (even sizes allowed)");
        if (kind == Box) sub.add_flag("--in-place", inPlace, "use the in-place form");
    }
    void check() const override { mask.check(); }
    Image apply(const Module& m, const Image& in) const override {
        const IppiSize k = mask.size();
        const IppiPoint a = mask.point();
        need_fit(in, k, "mask");
        if (kind != Box && in.channels != 1) return planewise(m, in, *this);  // min and max exist for one channel
        const Reach r = window_reach(k, a);
        if (inPlace) {
            auto fn = in.channels == 3 ? QM_FN(m, ippiFilterBox_8u_C3IR) : QM_FN(m, ippiFilterBox_8u_C1IR);
            Image work = pad(in, r.left, r.top, r.right, r.bottom);
            check_status("box (in place)", fn(work.row(r.top) + size_t(r.left) * in.channels, work.step(), size_of(in), k, a));
            return crop(work, r.left, r.top, in.width, in.height);
        }
        auto fn = kind == Min ? QM_FN(m, ippiFilterMin_8u_C1R)
                  : kind == Max ? QM_FN(m, ippiFilterMax_8u_C1R)
                  : in.channels == 3 ? QM_FN(m, ippiFilterBox_8u_C3R) : QM_FN(m, ippiFilterBox_8u_C1R);
        return neighbourhood(in, r, [&](const Ipp8u* s, int ss, Ipp8u* d, int ds, IppiSize roi) {
            check_status(kind == Min ? "min" : kind == Max ? "max" : "box", fn(s, ss, d, ds, roi, k, a));
        });
    }
};

struct BilateralOp : Op {
    std::string kernel = "5x5";
    float valueSigma2 = 400.0f, positionSigma2 = 400.0f;
    int step = 1, type = 100;
    void add_options(CLI::App& sub) override {
        sub.add_option("--kernel", kernel, "kernel WxH")->capture_default_str();
        sub.add_option("--value-sigma2", valueSigma2, "squared sigma of the value weights")->capture_default_str();
        sub.add_option("--position-sigma2", positionSigma2, "squared sigma of the position weights")->capture_default_str();
        sub.add_option("--step", step, "use every step-th tap")->capture_default_str();
        sub.add_option("--type", type, "filter type 100 or 101")->capture_default_str();
    }
    void check() const override { parse_size(kernel); }
    Image apply(const Module& m, const Image& in) const override {
        const IppiSize k = parse_size(kernel);
        need_fit(in, k, "kernel");
        if (in.channels == 3) return planewise(m, in, *this);
        int size = 0;
        check_status("bilateral buffer size",
                     QM_FN(m, ippiFilterBilateralGetBufSize_8u_C1R)(type, size_of(in), k, &size));
        std::vector<Ipp8u> buffer(size_t(std::max(size, 1)));
        check_status("bilateral set-up", QM_FN(m, ippiFilterBilateralInit_8u_C1R)(type, k, valueSigma2,
                                                                                 positionSigma2, step, buffer.data()));
        return neighbourhood(in, window_reach(k, {k.width / 2, k.height / 2}),
                             [&](const Ipp8u* s, int ss, Ipp8u* d, int ds, IppiSize roi) {
            check_status("bilateral", QM_FN(m, ippiFilterBilateral_8u_C1R)(s, ss, d, ds, roi, k, buffer.data()));
        });
    }
};

struct LinearOp : Op {
    std::string kernel, anchor;
    int divisor = 0;
    void add_options(CLI::App& sub) override {
        sub.add_option("-k,--kernel", kernel, "text file, one kernel row per line")->required();
        sub.add_option("--divisor", divisor, "integer kernel divided by this (0: float kernel)")->capture_default_str();
        sub.add_option("--anchor", anchor, "anchor X,Y (default: centre; at most one kernel size outside it)");
    }
    Image apply(const Module& m, const Image& in) const override {
        const auto rows = read_matrix(kernel, in.pixels.size());
        const IppiSize k = {int(rows.front().size()), int(rows.size())};
        need_fit(in, k, "kernel");
        // The primitives convolve: the window reaches from anchor - (size - 1)
        // to anchor, wherever the anchor is; anchors far outside the kernel
        // would only read replicated edge.
        const IppiPoint a = parse_point(anchor, k);
        if (a.x < -k.width || a.y < -k.height || a.x >= 2 * k.width || a.y >= 2 * k.height)
            throw UsageError("anchor " + anchor + " lies more than a kernel size outside the " + dims(k.width, k.height) +
                             " kernel");
        const Reach r = {k.width - 1 - a.x, k.height - 1 - a.y, a.x, a.y};
        if (divisor != 0) {
            const std::vector<Ipp32s> w = flat_whole(rows, kernel + ": an integer kernel (with --divisor)");
            auto fn = in.channels == 3 ? QM_FN(m, ippiFilter_8u_C3R) : QM_FN(m, ippiFilter_8u_C1R);
            return neighbourhood(in, r, [&](const Ipp8u* s, int ss, Ipp8u* d, int ds, IppiSize roi) {
                check_status("filter", fn(s, ss, d, ds, roi, w.data(), k, a, divisor));
            });
        }
        const std::vector<float> w = flat_float(rows);
        auto fn = in.channels == 3 ? QM_FN(m, ippiFilter32f_8u_C3R) : QM_FN(m, ippiFilter32f_8u_C1R);
        return neighbourhood(in, r, [&](const Ipp8u* s, int ss, Ipp8u* d, int ds, IppiSize roi) {
            check_status("filter", fn(s, ss, d, ds, roi, w.data(), k, a));
        });
    }
};

struct ResizeOp : Op {
    double scale = 0, fx = 0, fy = 0;
    int width = 0, height = 0;
    std::string interp = "linear";
    CLI::Option *scaleOpt = nullptr, *fxOpt = nullptr, *fyOpt = nullptr, *widthOpt = nullptr, *heightOpt = nullptr;
    void add_options(CLI::App& sub) override {
        scaleOpt = sub.add_option("-s,--scale", scale, "factor for both directions");
        fxOpt = sub.add_option("--fx", fx, "horizontal factor");
        fyOpt = sub.add_option("--fy", fy, "vertical factor");
        widthOpt = sub.add_option("--width", width, "target width in pixels");
        heightOpt = sub.add_option("--height", height, "target height in pixels");
        sub.add_option("-i,--interp", interp, "nearest, linear, cubic, lanczos or super (reduction only)")
            ->capture_default_str();
    }
    void check() const override {
        for (auto [opt, v] : {std::pair{scaleOpt, scale}, {fxOpt, fx}, {fyOpt, fy}})
            if (given(opt) && !(std::isfinite(v) && v > 0))
                throw UsageError(opt->get_name() + " must be a finite number above 0");
        for (auto [opt, v] : {std::pair{widthOpt, width}, {heightOpt, height}})
            if (given(opt) && (v < 1 || v > 65535)) throw UsageError(opt->get_name() + " must lie between 1 and 65535");
        if (given(scaleOpt) && (given(fxOpt) || given(fyOpt) || given(widthOpt) || given(heightOpt)))
            throw UsageError("--scale sets both directions; leave out --fx, --fy, --width and --height");
        if ((given(fxOpt) && given(widthOpt)) || (given(fyOpt) && given(heightOpt)))
            throw UsageError("give a factor or a size for each direction, not both");
        if (!given(scaleOpt) && !given(fxOpt) && !given(fyOpt) && !given(widthOpt) && !given(heightOpt))
            throw UsageError("give --scale, --fx/--fy or --width/--height");
        interpolation_code(interp);
    }
    Image apply(const Module& m, const Image& in) const override {
        double x = given(scaleOpt) ? scale : fx, y = given(scaleOpt) ? scale : fy;
        if (given(widthOpt)) x = double(width) / in.width;
        if (given(heightOpt)) y = double(height) / in.height;
        if (x <= 0) x = y;
        if (y <= 0) y = x;
        const double w = given(widthOpt) ? width : std::floor(in.width * x + 1e-7);
        const double h = given(heightOpt) ? height : std::floor(in.height * y + 1e-7);
        if (w < 1 || h < 1) throw ToolError("the resized page would be less than one pixel wide or high");
        if (w > 65535 || h > 65535 || w * h > double(max_pixels()))
            throw ToolError("the resized page (" + dims((long long)std::min(w, 1e15), (long long)std::min(h, 1e15)) +
                            ") would be over the limit of " + std::to_string(max_pixels()) + " pixels (--max-pixels)");
        Image out(int(w), int(h), in.channels);
        auto fn = in.channels == 3 ? QM_FN(m, ippiResize_8u_C3R) : QM_FN(m, ippiResize_8u_C1R);
        check_status("resize", fn(in.pixels.data(), size_of(in), in.step(), {0, 0, in.width, in.height},
                                  out.pixels.data(), out.step(), {out.width, out.height}, x, y, interpolation_code(interp)));
        return out;
    }
};

struct RemapOp : Op {
    std::string xmap, ymap, interp = "linear";
    bool smooth = false;
    int fill = 255;
    void add_options(CLI::App& sub) override {
        sub.add_option("--xmap", xmap, "text file of source x positions, one output row per line")->required();
        sub.add_option("--ymap", ymap, "text file of source y positions, same shape")->required();
        sub.add_option("-i,--interp", interp, "nearest, linear, cubic, catmull-rom or lanczos")->capture_default_str();
        sub.add_flag("--smooth-edge", smooth, "smooth the edges of the mapped area");
        sub.add_option("--fill", fill, "value 0..255 of pixels whose position lies outside the page")->capture_default_str();
    }
    void check() const override {
        if (fill < 0 || fill > 255) throw UsageError("--fill is a value from 0 to 255");
        interpolation_code(interp);
    }
    Image apply(const Module& m, const Image& in) const override {
        const auto xs = read_matrix(xmap, max_pixels()), ys = read_matrix(ymap, max_pixels());
        if (xs.size() != ys.size() || xs.front().size() != ys.front().size())
            throw ToolError("the x and y maps differ in size");
        const int w = int(xs.front().size()), h = int(xs.size());
        check_page_size(w, h);
        std::vector<float> mx, my;
        for (int r = 0; r < h; ++r)
            for (int c = 0; c < w; ++c) {
                mx.push_back(float(xs[r][c]));
                my.push_back(float(ys[r][c]));
            }
        // Positions outside the page are not written: start from paper.
        Image out(w, h, in.channels);
        std::fill(out.pixels.begin(), out.pixels.end(), Ipp8u(fill));
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
    void add_options(CLI::App& sub) override {
        sub.add_option("--to", to, "yuv, rgb-from-yuv, hls or rgb-from-hls")
            ->required()->check(CLI::IsMember({"yuv", "rgb-from-yuv", "hls", "rgb-from-hls"}));
        sub.add_flag("--planar", planar, "use the planar forms of the conversion");
    }
    Image apply(const Module& m, const Image& in) const override {
        need_colour(in, "colour conversion");
        return planar ? convert_planar(m, in) : convert(m, in);
    }
    bool keeps_profile() const override { return to != "yuv" && to != "hls"; }  // YUV, HLS: a profile would lie
    Image convert(const Module& m, const Image& in) const {
        Image out(in.width, in.height, 3);
        qm_ippiRGBToYUV_8u_C3R_fn fn = to == "yuv"            ? QM_FN(m, ippiRGBToYUV_8u_C3R)
                                       : to == "rgb-from-yuv" ? QM_FN(m, ippiYUVToRGB_8u_C3R)
                                       : to == "hls"          ? QM_FN(m, ippiRGBToHLS_8u_C3R)
                                                              : QM_FN(m, ippiHLSToRGB_8u_C3R);
        check_status("convert", fn(in.pixels.data(), in.step(), out.pixels.data(), out.step(), size_of(in)));
        return out;
    }
    // Planar forms: through three planes, in the order each form names.
    Image convert_planar(const Module& m, const Image& in) const {
        const IppiSize roi = size_of(in);
        Image out(in.width, in.height, 3);
        Image p[3] = {Image(in.width, in.height, 1), Image(in.width, in.height, 1), Image(in.width, in.height, 1)};
        Ipp8u* planes[3] = {p[0].pixels.data(), p[1].pixels.data(), p[2].pixels.data()};
        const Ipp8u* cplanes[3] = {planes[0], planes[1], planes[2]};
        if (to == "yuv") {
            check_status("convert", QM_FN(m, ippiRGBToYUV_8u_C3P3R)(in.pixels.data(), in.step(), planes, in.width, roi));
            check_status("join", QM_FN(m, ippiCopy_8u_P3C3R)(cplanes, in.width, out.pixels.data(), out.step(), roi));
            return out;
        }
        check_status("split", QM_FN(m, ippiCopy_8u_C3P3R)(in.pixels.data(), in.step(), planes, in.width, roi));
        if (to == "rgb-from-yuv") {
            check_status("convert", QM_FN(m, ippiYUVToRGB_8u_P3C3R)(cplanes, in.width, out.pixels.data(), out.step(), roi));
            return out;
        }
        // The planar HLS forms take blue, green, red planes.
        Image q[3] = {Image(in.width, in.height, 1), Image(in.width, in.height, 1), Image(in.width, in.height, 1)};
        Ipp8u* outPlanes[3] = {q[0].pixels.data(), q[1].pixels.data(), q[2].pixels.data()};
        const bool toHls = to == "hls";
        const Ipp8u* src[3] = {toHls ? planes[2] : planes[0], planes[1], toHls ? planes[0] : planes[2]};
        Ipp8u* dst[3] = {toHls ? outPlanes[0] : outPlanes[2], outPlanes[1], toHls ? outPlanes[2] : outPlanes[0]};
        if (toHls) check_status("convert", QM_FN(m, ippiBGRToHLS_8u_P3R)(src, in.width, dst, in.width, roi));
        else check_status("convert", QM_FN(m, ippiHLSToBGR_8u_P3R)(src, in.width, dst, in.width, roi));
        const Ipp8u* joined[3] = {q[0].pixels.data(), q[1].pixels.data(), q[2].pixels.data()};
        check_status("join", QM_FN(m, ippiCopy_8u_P3C3R)(joined, in.width, out.pixels.data(), out.step(), roi));
        return out;
    }
};

}  // namespace

std::unique_ptr<Op> make_median() { return std::make_unique<MedianOp>(); }
std::unique_ptr<Op> make_fixed_mask(bool gauss) { return std::make_unique<FixedMaskOp>(gauss); }
std::unique_ptr<Op> make_box(int kind) { return std::make_unique<BoxOp>(BoxOp::Kind(kind)); }
std::unique_ptr<Op> make_bilateral() { return std::make_unique<BilateralOp>(); }
std::unique_ptr<Op> make_linear() { return std::make_unique<LinearOp>(); }
std::unique_ptr<Op> make_resize() { return std::make_unique<ResizeOp>(); }
std::unique_ptr<Op> make_remap() { return std::make_unique<RemapOp>(); }
std::unique_ptr<Op> make_convert() { return std::make_unique<ConvertOp>(); }

}  // namespace qm300
