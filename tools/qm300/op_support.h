// What the operations share: checks of pages against masks and kernels,
// the margins and frames around the module's calls, option parsing.
#pragma once
#include <algorithm>
#include <cmath>
#include <sstream>
#include <string>

#include "ops.h"

namespace qm300 {

inline IppiSize size_of(const Image& im) { return {im.width, im.height}; }
inline std::string dims(long long w, long long h) { return std::to_string(w) + "x" + std::to_string(h); }

// The scanner filters leave a frame of `frame` pixels and filter the rest:
// the page must hold at least one filtered pixel.
inline void need_room(const Image& in, int frame, const std::string& what) {
    const long long n = 2ll * frame + 1;
    if (in.width < n || in.height < n)
        throw ToolError("the page (" + dims(in.width, in.height) + ") is too small for " + what + " (needs at least " +
                        dims(n, n) + ")");
}

// Neighbourhood masks and kernels reach at most one page size beyond the
// page on either side: the margin is never larger than the page itself.
inline void need_fit(const Image& in, IppiSize k, const std::string& what) {
    if (k.width > 2ll * in.width + 1 || k.height > 2ll * in.height + 1)
        throw ToolError("the " + dims(k.width, k.height) + " " + what + " is larger than the page (" +
                        dims(in.width, in.height) + ") and its margin");
}

// Puts the processed interior back into a copy of the source: the frame that
// the scanner filters leave undefined or untouched comes from the source.
inline Image frame_from_source(const Image& src, const Image& filtered, int frame) {
    Image out = src;
    const int c = src.channels;
    if (src.width <= 2 * frame || src.height <= 2 * frame) return out;
    for (int y = frame; y < src.height - frame; ++y)
        std::copy_n(filtered.row(y) + size_t(frame) * c, size_t(src.width - 2 * frame) * c,
                    out.row(y) + size_t(frame) * c);
    return out;
}

// The scanner filters want a width that is a multiple of 4: widen by
// replicating the right edge, run, then cut back.
template <class Run>
inline Image run_scanner(const Image& in, int frame, const std::string& what, Run run) {
    need_room(in, frame, what);
    const int padRight = (4 - in.width % 4) % 4;
    const Image src = padRight ? pad(in, 0, 0, padRight, 0) : in;
    Image dst(src.width, src.height, src.channels);
    run(src, dst);
    const Image back = padRight ? crop(dst, 0, 0, in.width, in.height) : dst;
    return frame_from_source(in, back, frame);
}

inline void need_colour(const Image& in, const std::string& what) {
    if (in.channels != 3) throw ToolError(what + " works on colour pages; this page is grey");
}

inline int odd_square_radius(size_t count, const std::string& path) {
    const auto n = static_cast<size_t>(std::llround(std::sqrt(double(count))));
    if (n * n != count || n % 2 == 0) throw ToolError(path + ": a kernel of n x n values with n odd is needed");
    return int(n / 2);
}

inline std::vector<float> flat_float(const std::vector<std::vector<double>>& m) {
    std::vector<float> out;
    for (const auto& r : m)
        for (double v : r) out.push_back(static_cast<float>(v));
    return out;
}

inline std::vector<Ipp32s> flat_whole(const std::vector<std::vector<double>>& m, const std::string& what) {
    std::vector<Ipp32s> w;
    for (const auto& row : m)
        for (double v : row) {
            if (v != std::floor(v) || std::fabs(v) > 2147483647.0) throw UsageError(what + " needs whole numbers");
            w.push_back(static_cast<Ipp32s>(v));
        }
    return w;
}

inline IppiSize parse_size(const std::string& s) {
    long w = 0, h = 0;
    char x = 0;
    std::istringstream is(s);
    if (is >> w) {
        if (is >> x >> h) {
            if (x != 'x' && x != 'X' && x != ',') throw UsageError("mask size " + s + ": use WxH");
        } else {
            h = w;
        }
    }
    if (w < 1 || h < 1 || w > 65535 || h > 65535 || !(is >> std::ws).eof())
        throw UsageError("mask size " + s + ": use WxH with whole numbers from 1 to 65535");
    return {int(w), int(h)};
}

inline IppiPoint parse_point(const std::string& s, IppiSize mask) {
    if (s.empty()) return {mask.width / 2, mask.height / 2};
    long x = 0, y = 0;
    char comma = 0;
    std::istringstream is(s);
    if (!(is >> x >> comma >> y) || comma != ',' || !(is >> std::ws).eof() || std::labs(x) > 1000000 ||
        std::labs(y) > 1000000)
        throw UsageError("anchor " + s + ": use X,Y");
    return {int(x), int(y)};
}

inline void need_inside(IppiPoint a, IppiSize k) {
    if (a.x < 0 || a.y < 0 || a.x >= k.width || a.y >= k.height)
        throw UsageError("anchor " + std::to_string(a.x) + "," + std::to_string(a.y) + " lies outside the " +
                         dims(k.width, k.height) + " mask");
}

// How far a neighbourhood reaches from the pixel it computes.
struct Reach {
    int left, top, right, bottom;
};
// Masks that read the window from -anchor to size-1-anchor.
inline Reach window_reach(IppiSize k, IppiPoint a) { return {a.x, a.y, k.width - 1 - a.x, k.height - 1 - a.y}; }

// Runs a neighbourhood primitive over the whole page: the page gets a margin
// copied from its edges so every neighbourhood reads real pixels.
template <class Call>
inline Image neighbourhood(const Image& in, Reach r, Call call) {
    const int left = std::max(r.left, 0), top = std::max(r.top, 0);
    const Image src = pad(in, left, top, std::max(r.right, 0), std::max(r.bottom, 0));
    Image dst(in.width, in.height, in.channels);
    const uint8_t* origin = src.row(top) + size_t(left) * in.channels;
    call(origin, src.step(), dst.pixels.data(), dst.step(), size_of(in));
    return dst;
}

inline bool given(const CLI::Option* o) { return o != nullptr && o->count() > 0; }

inline int interpolation_code(const std::string& s) {
    static const std::map<std::string, int> kCodes = {
        {"nn", 1}, {"nearest", 1}, {"linear", 2}, {"cubic", 4}, {"catmull-rom", 6},
        {"super", 8}, {"supersampling", 8}, {"lanczos", 16}};
    const auto it = kCodes.find(s);
    if (it == kCodes.end()) throw UsageError("unknown interpolation " + s);
    return it->second;
}


std::unique_ptr<Op> make_convolve(bool sharpen);
std::unique_ptr<Op> make_denoise();
std::unique_ptr<Op> make_median();
std::unique_ptr<Op> make_fixed_mask(bool gauss);
std::unique_ptr<Op> make_box(int kind);  // 0 box, 1 min, 2 max
std::unique_ptr<Op> make_bilateral();
std::unique_ptr<Op> make_linear();
std::unique_ptr<Op> make_resize();
std::unique_ptr<Op> make_remap();
std::unique_ptr<Op> make_convert();

}  // namespace qm300
