// Scanner noise reduction on tightly packed images: result code from the
// arguments alone (argument codes before any memory is touched, sizes that
// allocate nothing touch nothing), and on success every defined pixel
// against the plane filter rebuilt from the bilateral primitive: the
// interior of filtered planes, whole copied planes, the grey frame kept.
#include <algorithm>

#include "fuzz_common.h"

namespace {

using namespace qmfuzz;

enum Fn { kRgb, kIndividual, kYuv, kMono };

Ipp32u draw_mode(Draw& d) { return d.pick<Ipp32u>({0, 1, 2, 0, 1, 2, 0, 1, 2, 3, 7, 0x80000000u, 0xFFFFFFFFu}); }
Ipp32u draw_level(Draw& d) {
    return d.range(0, 7) ? Ipp32u(d.range(0, 10)) : d.pick<Ipp32u>({11, 12, 0x80000000u, 0xFFFFFFFFu});
}

int draw_width(Draw& d, bool colour) {
    switch (d.range(0, 7)) {
        case 0: return d.range(-9, 50);
        case 1: return d.pick<int>({INT32_MAX, INT32_MAX - 3, INT32_MIN, -4, 1 << 30, (1 << 30) + 2, 0});
        case 2: return colour ? 4 * d.range(1, 150) : d.range(1, 600);  // rows long enough to be split
        default: return colour ? 4 * d.range(0, kMaxSide / 4) : d.range(1, kMaxSide);
    }
}

// A plane, row step = width.
struct Plane {
    std::vector<uint8_t> px;
    std::vector<uint8_t> defined;
};

// What the plane worker leaves in a fresh output plane: the interior
// filtered with the bilateral primitive (kernel 5 x 5 for mode 2, else
// 3 x 3), the frame undefined; nothing defined when there is no interior.
Plane filtered(const std::vector<uint8_t>& in, int w, int h, Ipp32u mode, Ipp32u level) {
    Plane out{std::vector<uint8_t>(in.size()), std::vector<uint8_t>(in.size())};
    const int k = mode == 2 ? 5 : 3, r = k / 2;
    const IppiSize region{w - 2 * r, h - 2 * r}, kernel{k, k};
    if (region.width < 1 || region.height < 1) return out;
    int size = 0;
    expect(ippiFilterBilateralGetBufSize_8u_C1R(100, region, kernel, &size) == 0, "reference buffer size");
    std::vector<Ipp8u> work(size_t(size) + 8);
    float sigma = float(int((level * 3u) << 5));
    if (sigma == 0.0f) sigma = 1.0f;
    expect(ippiFilterBilateralInit_8u_C1R(100, kernel, sigma, sigma, 1, work.data()) == 0, "reference set-up");
    const int off = r * w + r;
    expect(ippiFilterBilateral_8u_C1R(in.data() + off, w, out.px.data() + off, w, region, kernel, work.data()) == 0,
           "reference filter");
    for (int y = r; y < h - r; ++y)
        for (int x = r; x < w - r; ++x) out.defined[size_t(y) * w + x] = 1;
    return out;
}

Plane copied(const std::vector<uint8_t>& in) { return {in, std::vector<uint8_t>(in.size(), 1)}; }

Plane worker_or_copy(const std::vector<uint8_t>& in, int w, int h, Ipp32u mode, Ipp32u level) {
    return mode == 0 ? copied(in) : filtered(in, w, h, mode, level);
}

void rgb_to_yuv(int r, int g, int b, Ipp8u out[3]) {
    const int s = 19595 * r + 38470 * g + 7471 * b;
    const int dr = (r * 65536 - s + 32767) >> 16;
    const int db = (b * 65536 - s + 32767) >> 16;
    const int v = (dr * 57475) >> 16;
    out[0] = Ipp8u(s >> 16);
    out[1] = Ipp8u(((db * 32244) >> 16) + 128);
    out[2] = Ipp8u(v < -128 ? 0 : v > 127 ? 255 : v + 128);
}

int clamp255(int v) { return v < 0 ? 0 : v > 255 ? 255 : v; }

void yuv_to_rgb(int y, int u, int v, Ipp8u out[3]) {
    u -= 128;
    v -= 128;
    out[0] = Ipp8u(clamp255((y * 65536 + 74711 * v) >> 16));
    out[1] = Ipp8u(clamp255((y * 65536 - 25821 * u - 38076 * v) >> 16));
    out[2] = Ipp8u(clamp255((y * 65536 + 133169 * u) >> 16));
}

// Source content: as seeded, one colour, grey, or a few levels.
void paint(Draw& d, Ipp8u* p, int64_t pixels, int ch) {
    const int style = d.range(0, 3);
    if (style == 0) return;
    const Ipp8u c[3] = {Ipp8u(d.bits(8)), Ipp8u(d.bits(8)), Ipp8u(d.bits(8))};
    uint32_t seed = d.bits(32);
    for (int64_t i = 0; i < pixels; ++i) {
        seed = seed * 1664525u + 1013904223u;
        for (int k = 0; k < ch; ++k) {
            Ipp8u& v = p[i * ch + k];
            v = style == 1 ? c[k] : style == 2 ? c[0] : Ipp8u(c[k] + ((seed >> (24 + 2 * k)) & 3) * 40);
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Draw d(data, size);
    const Fn fn = Fn(d.range(0, 3));
    const bool colour = fn != kMono;
    const int ch = colour ? 3 : 1;
    const int w = draw_width(d, colour);
    const int h = d.range(0, 7) ? d.range(0, kMaxSide) : d.size(kMaxSide);
    Ipp32u mode[3] = {draw_mode(d), 0, 0}, level[3] = {draw_level(d), 0, 0};
    if (fn == kIndividual || fn == kYuv) {
        const int n = fn == kIndividual ? 3 : 2;
        for (int k = 1; k < n; ++k) {
            mode[k] = d.range(0, 3) ? Ipp32u(d.range(0, 2)) : draw_mode(d);
            level[k] = draw_level(d);
        }
    }

    // Argument codes, in the order each function tests them.
    Ipp32u want = 0;
    switch (fn) {
        case kRgb:
        case kMono:
            want = mode[0] > 2 ? 1 : level[0] > 10 ? 2 : 0;
            break;
        case kIndividual:
            want = (mode[0] > 2 || mode[1] > 2 || mode[2] > 2)         ? 1
                   : (level[0] > 10 || level[1] > 10 || level[2] > 10) ? 2
                                                                       : 0;
            break;
        case kYuv:
            want = (mode[0] > 2 || mode[1] > 2) ? 1 : (level[0] > 10 || level[1] > 10) ? 2 : 0;
            break;
    }
    if (want == 0 && colour && w % 4 != 0) want = 3;

    // Whether the call may touch the images at all: colour images are only
    // reached through scratch images, which a non-positive size never gets;
    // the grey filter works on the interior only.
    const int r = mode[0] == 2 ? 2 : 1;
    const bool touches = want == 0 && (colour ? (w >= 1 && h >= 1) : (w > 2 * r && h > 2 * r));
    if (touches && too_big(w, h)) return 0;
    const int64_t bytes = touches ? int64_t{w} * h * ch : 1;
    Block src(size_t(bytes), 0, d.bits(32)), dst(size_t(bytes), 0, d.bits(32));
    if (touches) paint(d, src.origin(), bytes / ch, ch);
    const auto srcWas = src.snapshot(), dstWas = dst.snapshot();

    Ipp32u st = 0;
    switch (fn) {
        case kRgb: st = DeosNrRGB(src.origin(), dst.origin(), w, h, mode[0], level[0]); break;
        case kIndividual:
            st = DeosNrIndividualRGB(src.origin(), dst.origin(), w, h, mode[0], level[0], mode[1], level[1], mode[2],
                                     level[2]);
            break;
        case kYuv: st = DeosNrYUV(src.origin(), dst.origin(), w, h, mode[0], level[0], mode[1], level[1]); break;
        case kMono: st = DeosNrMono(src.origin(), dst.origin(), w, h, mode[0], level[0]); break;
    }
    expect(st == want, "result code", int(st));
    expect(src.same(srcWas), "source written", int(st));
    if (!touches) {
        expect(dst.same(dstWas), "destination written", int(st));
        return 0;
    }

    const size_t n = size_t(w) * size_t(h);
    const Ipp8u* s = src.origin();
    const Ipp8u* o = dst.origin();
    if (fn == kMono) {
        const std::vector<uint8_t> in(s, s + n);
        const Plane ref = filtered(in, w, h, mode[0], level[0]);
        for (size_t i = 0; i < n; ++i)
            expect(o[i] == (ref.defined[i] ? ref.px[i] : dstWas[i]), "grey result (interior filtered, frame kept)",
                   o[i]);
        return 0;
    }

    // Colour: the three input planes, as RGB or as YUV.
    std::vector<uint8_t> planes[3];
    for (auto& p : planes) p.resize(n);
    for (size_t i = 0; i < n; ++i) {
        Ipp8u v[3] = {s[3 * i], s[3 * i + 1], s[3 * i + 2]};
        if (fn == kYuv) rgb_to_yuv(s[3 * i], s[3 * i + 1], s[3 * i + 2], v);
        for (int k = 0; k < 3; ++k) planes[k][i] = v[k];
    }
    Plane out[3];
    for (int k = 0; k < 3; ++k) {
        switch (fn) {
            case kRgb: out[k] = filtered(planes[k], w, h, mode[0], level[0]); break;
            case kIndividual: out[k] = worker_or_copy(planes[k], w, h, mode[k], level[k]); break;
            default: out[k] = worker_or_copy(planes[k], w, h, mode[k == 0 ? 0 : 1], level[k == 0 ? 0 : 1]); break;
        }
    }
    for (size_t i = 0; i < n; ++i) {
        if (fn == kYuv) {
            if (!(out[0].defined[i] && out[1].defined[i] && out[2].defined[i])) continue;
            Ipp8u rgb[3];
            yuv_to_rgb(out[0].px[i], out[1].px[i], out[2].px[i], rgb);
            for (int k = 0; k < 3; ++k) expect(o[3 * i + k] == rgb[k], "YUV result", o[3 * i + k]);
        } else {
            for (int k = 0; k < 3; ++k)
                if (out[k].defined[i]) expect(o[3 * i + k] == out[k].px[i], "RGB result", o[3 * i + k]);
        }
    }
    return 0;
}
