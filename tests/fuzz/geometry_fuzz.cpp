// Resize and remap, one and three channels: status from the arguments alone
// (the first failing check of each engine decides, 29 included), nothing
// written on error or warning, nothing written beyond the W x H extent of a
// resize or for a remap position outside the region (values are the unit
// tests' business).
#include <algorithm>
#include <cmath>

#include "fuzz_common.h"

namespace {

using namespace qmfuzz;

// A region origin along an image side of `extent`: inside, on the far edge
// (which does not meet the image), or hostile.
int roi_origin(Draw& d, int extent) {
    switch (d.range(0, 7)) {
        case 0: return d.pick<int>({-1, -2, INT32_MIN, INT32_MAX});
        case 1: return 0;
        default: return d.range(0, std::clamp(extent, 0, 1000));
    }
}
// A region length: reaching past the image, empty, hostile, or inside.
int roi_length(Draw& d, int extent) {
    switch (d.range(0, 7)) {
        case 0: return d.size(kMaxSide);
        case 1: return INT32_MAX;
        case 2: return d.range(-1, 0);
        default: return d.range(1, std::clamp(extent, 1, 1000) + 2);
    }
}
IppiRect draw_roi(Draw& d, IppiSize src) {
    IppiRect r;
    r.x = roi_origin(d, src.width);
    r.y = roi_origin(d, src.height);
    r.width = roi_length(d, src.width);
    r.height = roi_length(d, src.height);
    return r;
}

// ---- Resize -------------------------------------------------------------------

double draw_factor(Draw& d, int roiLen) {
    const int len = std::clamp(roiLen, 1, 1000);
    switch (d.range(0, 9)) {
        case 0: return odd_double(d);
        case 1:
        case 2: return 1.0;
        case 3: return d.pick<double>({0.5, 0.25, 2.0, 3.0, 1.0 / 3, 2.0 / 3, 1.5, 0.75, 0.1, 0.125, 1.0 / 7});
        case 4:  // around the half-pixel limit and the one-pixel size
            return (d.pick<double>({0.5, 1.0}) + d.pick<double>({-1e-7, -1e-9, 0.0, 1e-9, 1e-7, 0.01, -0.01})) / len;
        case 5: return d.pick<double>({1e6, 1e-6, 1e15, 65536.0, 1.0 - 1e-12, 1.0 + 1e-12});
        default: return double(d.real(0.05f, 4.0f));
    }
}

bool general_code(int c) { return c == 1 || c == 2 || c == 4 || c == 16; }

// The destination extent along one axis, or false below half a pixel.
bool extent_of(int roiLen, double factor, int dstLen, int& out) {
    const double s = roiLen * factor + 1e-7;
    if (s >= dstLen) {
        out = dstLen;
        return true;
    }
    const int n = int(s);
    if (n >= 1) {
        out = n;
        return true;
    }
    out = 1;
    return s >= 0.5;
}

void resize(Draw& d, int ch) {
    const IppiSize srcSize{wide_size(d, kMaxSide, 300), d.size(kMaxSide)};
    const IppiRect roi = draw_roi(d, srcSize);
    const IppiSize dstRoi{wide_size(d, kMaxSide, 300), d.size(kMaxSide)};
    const double xf = draw_factor(d, roi.width), yf = draw_factor(d, roi.height);
    const int interp = d.pick<int>({1, 2, 4, 8, 16, 1, 2, 4, 8, 16, 0, 3, 6, 32, -1, int(0x80000002u)});
    const int nullAt = d.range(0, 15);  // 0: source, 1: destination

    const bool supersample = interp == 8 && xf <= 1.0 && yf <= 1.0;
    int want = 0, W = 0, H = 0;
    if (nullAt <= 1)
        want = ippStsNullPtrErr;
    else if (srcSize.width < 1 || srcSize.height < 1 || roi.x < 0 || roi.y < 0 || roi.width < 1 || roi.height < 1)
        want = ippStsSizeErr;
    else if (roi.x >= srcSize.width || roi.y >= srcSize.height)
        want = ippStsNoRoiOverlap;
    else if (dstRoi.width < 1 || dstRoi.height < 1)
        want = ippStsSizeErr;
    else if (!(xf > 0.0) || !(yf > 0.0))
        want = ippStsResizeFactorErr;
    else if (!supersample && !general_code(interp))
        want = ippStsInterpolationErr;
    else {
        const int rw = std::min(roi.width, srcSize.width - roi.x), rh = std::min(roi.height, srcSize.height - roi.y);
        const bool okX = extent_of(rw, xf, dstRoi.width, W), okY = extent_of(rh, yf, dstRoi.height, H);
        want = okX && okY ? 0 : ippStsResizeNoOperationErr;
    }

    // Buffers: the whole source image; the destination W x H plus up to a
    // few more columns and rows of its region, to see that they stay put.
    const bool sized = want == 0;
    const int bw = sized ? int(std::min<int64_t>(dstRoi.width, int64_t{W} + d.range(0, 3))) : 0;
    const int bh = sized ? int(std::min<int64_t>(dstRoi.height, int64_t{H} + d.range(0, 3))) : 0;
    const int srcStep = draw_step(d, int64_t{srcSize.width} * ch, srcSize.height);
    const int dstStep = draw_step(d, int64_t{bw} * ch, bh);
    Extent es{1, 0}, ed{1, 0};
    if (sized) {
        if (too_big(srcSize.width, srcSize.height) || too_big(bw, bh)) return;
        es = extent(int64_t{srcSize.width} * ch, srcSize.height, srcStep);
        ed = extent(int64_t{bw} * ch, bh, dstStep);
        if (es.bytes > kMaxBytes || ed.bytes > kMaxBytes) return;
    }
    Block src = make_block(es, d.bits(32)), dst = make_block(ed, d.bits(32));
    const auto srcWas = src.snapshot(), dstWas = dst.snapshot();

    const auto fn = ch == 1 ? ippiResize_8u_C1R : ippiResize_8u_C3R;
    const IppStatus st = fn(nullAt == 0 ? nullptr : src.origin(), srcSize, srcStep, roi,
                            nullAt == 1 ? nullptr : dst.origin(), dstStep, dstRoi, xf, yf, interp);
    expect(st == want, "resize status", st);
    expect(src.same(srcWas), "source written", st);
    if (st != 0) {
        expect(dst.same(dstWas), "destination written on error or warning", st);
        return;
    }
    std::vector<uint8_t> mask(dstWas.size());
    mark_rows(mask, ed.before, dstStep, int64_t{W} * ch, H);
    expect(changes_within(dstWas, dst.snapshot(), mask), "written beyond W x H", st);
}

// ---- Remap --------------------------------------------------------------------

struct Bounds {
    float xMin, yMin, xMax, yMax;
};

// Map values along one axis of [lo, hi] (the region, as floats): inside,
// on and a hair beyond its edges, around it, and not numbers at all.
class MapValues {
public:
    MapValues(Draw& d, float lo, float hi) : lo_(lo), hi_(hi), style_(d.range(0, 3)), seed_(d.bits(32)) {
        scale_ = d.real(0.0f, 2.0f);
        offset_ = lo + d.real(-2.0f, 2.0f);
    }
    float at(int i) {
        seed_ = seed_ * 1664525u + 1013904223u;
        const float u = float(seed_ >> 8) / float(1 << 24);
        switch (style_) {
            case 0: return offset_ + scale_ * float(i);  // a regular grid
            case 1: return (lo_ - 1.5f) + u * ((hi_ - lo_) + 3.0f);
            default: break;
        }
        switch ((seed_ >> 4) % 16) {
            case 0: return lo_;
            case 1: return hi_;
            case 2: return std::nextafter(hi_, __builtin_inff());
            case 3: return std::nextafter(lo_, -__builtin_inff());
            case 4: return __builtin_nanf("");
            case 5: return (seed_ & 1) ? __builtin_inff() : -__builtin_inff();
            case 6: return (seed_ & 1) ? 1e30f : -1e30f;
            case 7: return -0.0f;
            case 8: return std::floor(lo_ + u * (hi_ - lo_ + 1.0f));  // whole pixels
            case 9: return hi_ - 1e-4f * u;
            default: return lo_ + u * (hi_ - lo_);
        }
    }

private:
    float lo_, hi_;
    int style_;
    uint32_t seed_;
    float scale_ = 1, offset_ = 0;
};

int remap_code(Draw& d) {
    if (d.range(0, 5) == 0) return d.pick<int>({0, 3, 5, 7, 8, 32, 0x40000002, -1, int(0x80000000u), int(0x80000008u)});
    const int code = d.pick<int>({1, 2, 4, 6, 16});
    return d.range(0, 3) == 0 ? int(0x80000000u | unsigned(code)) : code;
}

void remap(Draw& d, int ch) {
    IppiSize srcSize;
    // Rarely an image one float step past 2^24 wide or high: the region's
    // last column or row rounds up to a value beyond the image as a float.
    const int big = d.range(0, 1023);
    if (big == 0)
        srcSize = {(1 << 24) + d.range(-4, 8), d.range(1, 2)};
    else if (big == 1)
        srcSize = {d.range(1, 2), (1 << 24) + d.range(-4, 8)};
    else
        srcSize = {wide_size(d, kMaxSide, 300), d.size(kMaxSide)};
    IppiRect roi = draw_roi(d, srcSize);
    if (big <= 1 && d.flip()) roi = {0, 0, srcSize.width, srcSize.height};
    const IppiSize dstSize{wide_size(d, kMaxSide, 300), d.size(kMaxSide)};
    const int interp = remap_code(d);
    const int nullAt = d.range(0, 15);  // 0: source, 1: destination, 2: x map, 3: y map
    const int srcStep = big <= 1 ? srcSize.width * ch : draw_step(d, int64_t{srcSize.width} * ch, srcSize.height);
    const int dstStep = draw_step(d, int64_t{dstSize.width} * ch, dstSize.height);
    const int xStep = draw_step(d, int64_t{dstSize.width} * 4, dstSize.height, 4);
    const int yStep = draw_step(d, int64_t{dstSize.width} * 4, dstSize.height, 4);

    int code = int(unsigned(interp) & 0x7FFFFFFFu);
    int want = 0;
    if (nullAt <= 3)
        want = ippStsNullPtrErr;
    else if (srcSize.width < 1 || srcSize.height < 1 || roi.x < 0 || roi.y < 0 || roi.width < 1 || roi.height < 1 ||
             dstSize.width < 1 || dstSize.height < 1)
        want = ippStsSizeErr;
    else if (code != 1 && code != 2 && code != 4 && code != 6 && code != 16)
        want = ippStsInterpolationErr;
    else if (srcStep < 1 || dstStep < 1 || xStep < 1 || yStep < 1)
        want = ippStsStepErr;
    else if (roi.x >= srcSize.width || roi.y >= srcSize.height)
        want = ippStsNoRoiOverlap;

    const bool sized = want == 0;
    Extent es{1, 0}, ed{1, 0}, ex{1, 0}, ey{1, 0};
    if (sized) {
        if (too_big(dstSize.width, dstSize.height) || (big > 1 && too_big(srcSize.width, srcSize.height))) return;
        es = extent(int64_t{srcSize.width} * ch, srcSize.height, srcStep);
        ed = extent(int64_t{dstSize.width} * ch, dstSize.height, dstStep);
        ex = extent(int64_t{dstSize.width} * 4, dstSize.height, xStep);
        ey = extent(int64_t{dstSize.width} * 4, dstSize.height, yStep);
        if (es.bytes > (big <= 1 ? (int64_t{1} << 26) : kMaxBytes) || ed.bytes > kMaxBytes || ex.bytes > kMaxBytes ||
            ey.bytes > kMaxBytes)
            return;
    }
    // The long images are zero-filled (cheap at that size) but for their
    // last pixel, and not compared after the call.
    Block src = make_block(big <= 1 ? Extent{1, 0} : es, d.bits(32)), dst = make_block(ed, d.bits(32));
    std::vector<Ipp8u> longSrc;
    Ipp8u* srcOrigin = src.origin();
    if (sized && big <= 1) {
        longSrc.resize(size_t(es.bytes));
        for (int c = 0; c < ch; ++c) longSrc[longSrc.size() - ch + c] = Ipp8u(200 + c);
        srcOrigin = longSrc.data();
    }
    Block xmap = make_block(ex, 5), ymap = make_block(ey, 6);
    Bounds b{};
    int rw = 0, rh = 0;
    if (sized) {
        rw = std::min(roi.width, srcSize.width - roi.x);
        rh = std::min(roi.height, srcSize.height - roi.y);
        b = {float(roi.x), float(roi.y), float(roi.x + rw - 1), float(roi.y + rh - 1)};
        MapValues mx(d, b.xMin, b.xMax), my(d, b.yMin, b.yMax);
        for (int j = 0; j < dstSize.height; ++j)
            for (int i = 0; i < dstSize.width; ++i) {
                const float x = mx.at(i), y = my.at(j * 7 + i);
                std::memcpy(xmap.origin() + int64_t{j} * xStep + 4 * int64_t{i}, &x, 4);
                std::memcpy(ymap.origin() + int64_t{j} * yStep + 4 * int64_t{i}, &y, 4);
            }
    }
    const auto srcWas = src.snapshot(), dstWas = dst.snapshot(), xWas = xmap.snapshot(), yWas = ymap.snapshot();

    const auto fn = ch == 1 ? ippiRemap_8u_C1R : ippiRemap_8u_C3R;
    const IppStatus st = fn(nullAt == 0 ? nullptr : srcOrigin, srcSize, srcStep, roi,
                            nullAt == 2 ? nullptr : reinterpret_cast<const Ipp32f*>(xmap.origin()), xStep,
                            nullAt == 3 ? nullptr : reinterpret_cast<const Ipp32f*>(ymap.origin()), yStep,
                            nullAt == 1 ? nullptr : dst.origin(), dstStep, dstSize, interp);
    expect(st == want, "remap status", st);
    expect(src.same(srcWas) && xmap.same(xWas) && ymap.same(yWas), "source or map written", st);
    if (st != 0) {
        expect(dst.same(dstWas), "destination written on error or warning", st);
        return;
    }
    std::vector<uint8_t> mask(dstWas.size());
    mark_rows(mask, ed.before, dstStep, int64_t{dstSize.width} * ch, dstSize.height);
    expect(changes_within(dstWas, dst.snapshot(), mask), "written outside the region", st);
    if (dstStep < dstSize.width * ch && dstSize.height > 1) return;  // rows overlap

    // A position outside the region leaves its pixel alone (values are the unit tests' business).
    for (int j = 0; j < dstSize.height; ++j)
        for (int i = 0; i < dstSize.width; ++i) {
            float x, y;
            std::memcpy(&x, xmap.origin() + int64_t{j} * xStep + 4 * int64_t{i}, 4);
            std::memcpy(&y, ymap.origin() + int64_t{j} * yStep + 4 * int64_t{i}, 4);
            const int64_t at = int64_t{j} * dstStep + int64_t{i} * ch;
            if (x >= b.xMin && x <= b.xMax && y >= b.yMin && y <= b.yMax) continue;
            for (int c = 0; c < ch; ++c)
                expect(dst.origin()[at + c] == dstWas[size_t(ed.before + at + c)],
                       "written for a position outside the region");
        }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Draw d(data, size);
    switch (d.range(0, 3)) {
        case 0: resize(d, 1); break;
        case 1: resize(d, 3); break;
        case 2: remap(d, 1); break;
        default: remap(d, 3); break;
    }
    return 0;
}
