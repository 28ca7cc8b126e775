// Scanner noise reduction on tightly packed images: result code from the
// arguments alone (argument codes before any memory is touched, sizes that
// allocate nothing touch nothing), the source never written, the grey frame
// kept (values are the unit tests' business).

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

    // The grey filter keeps its frame of r (the colour ones leave it undefined).
    if (fn != kMono) return 0;
    for (int64_t i = 0; i < int64_t{w} * h; ++i) {
        const int64_t x = i % w, y = i / w;
        if (!(x >= r && x < w - r && y >= r && y < h - r))
            expect(dst.origin()[i] == dstWas[size_t(i)], "grey frame written", dst.origin()[i]);
    }
    return 0;
}
