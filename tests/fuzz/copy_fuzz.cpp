// Channel copies: status from the arguments alone, content on success,
// destination untouched on error.
#include "fuzz_common.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace qmfuzz;
    Draw d(data, size);
    const bool split = d.flip();
    const int w = d.size(kMaxSide), h = d.size(kMaxSide);
    const int nullAt = d.range(0, 12);  // 0..4: one pointer null
    const bool legal = w >= 1 && h >= 1 && w <= kMaxSide && h <= kMaxSide;
    const int interPad = d.range(0, 7), planePad = d.range(0, 7);
    const int iw = legal ? w : 1, ih = legal ? h : 1;
    const int interStep = 3 * iw + interPad, planeStep = iw + planePad;
    Block inter(size_t(interStep) * (ih - 1) + 3 * iw, 0, 1);
    Block p0(size_t(planeStep) * (ih - 1) + iw, 0, 2), p1(size_t(planeStep) * (ih - 1) + iw, 0, 3),
        p2(size_t(planeStep) * (ih - 1) + iw, 0, 4);
    Ipp8u* planes[3] = {nullAt == 2 ? nullptr : p0.origin(), nullAt == 3 ? nullptr : p1.origin(),
                        nullAt == 4 ? nullptr : p2.origin()};
    const auto interBefore = inter.snapshot();
    const auto b0 = p0.snapshot(), b1 = p1.snapshot(), b2 = p2.snapshot();
    const int want = nullAt <= 4 ? ippStsNullPtrErr : (w < 1 || h < 1) ? ippStsSizeErr : 0;
    if (want == 0 && !legal) return 0;  // a legal call this large would need real memory
    IppStatus st;
    if (split) {
        st = ippiCopy_8u_C3P3R(nullAt == 0 ? nullptr : inter.origin(), interStep, nullAt == 1 ? nullptr : planes,
                               planeStep, {w, h});
    } else {
        const Ipp8u* cp[3] = {planes[0], planes[1], planes[2]};
        st = ippiCopy_8u_P3C3R(nullAt == 1 ? nullptr : cp, planeStep, nullAt == 0 ? nullptr : inter.origin(),
                               interStep, {w, h});
    }
    expect(st == want, "unexpected status", st);
    if (st != 0) {
        expect(inter.same(interBefore) && p0.same(b0) && p1.same(b1) && p2.same(b2), "written on error", st);
        return 0;
    }
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            for (int c = 0; c < 3; ++c)
                expect(inter.origin()[y * interStep + 3 * x + c] == planes[c][y * planeStep + x], "content");
    return 0;
}
