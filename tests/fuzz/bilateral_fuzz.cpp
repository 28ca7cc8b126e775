// Bilateral filter in its three calls: the buffer size, the record built in
// a buffer of exactly that size (at any alignment), and the filter, also on
// buffers that never held a record (garbage, zeros, a refused set-up).
// Status from the arguments alone, nothing written on error, the record laid
// out inside the buffer (values are the unit tests' business).
#include <algorithm>
#include <cmath>

#include "fuzz_common.h"

namespace {

using namespace qmfuzz;

constexpr uint32_t kMagic100 = 1129136492u, kMagic101 = 1129136493u;

int draw_type(Draw& d) { return d.pick<int>({100, 101, 100, 101, 102, 99, 0, -100, INT32_MIN, INT32_MAX}); }

IppiSize draw_kernel(Draw& d) {
    switch (d.range(0, 7)) {
        case 0: return {d.size(600), d.size(600)};
        case 1: return {d.range(1, 9), d.range(-1, 520)};
        default: return {d.range(1, 9), d.range(1, 9)};
    }
}

float draw_sigma(Draw& d) {
    switch (d.range(0, 3)) {
        case 0: return odd_float(d);
        case 1: return d.real(0.01f, 4.0f);
        default: return d.real(1.0f, 2000.0f);
    }
}

// The record as the set-up must lay it out in the caller's buffer.
struct Layout {
    uintptr_t tablesEnd;  // one past the position table
    uintptr_t work;       // the work area
};
Layout layout(const Ipp8u* buf, int R) {
    const uintptr_t b = reinterpret_cast<uintptr_t>(buf);
    const uintptr_t record = (b + 8) & ~uintptr_t{7};
    const uintptr_t area = (record + 48 + 15) & ~uintptr_t{15};
    const uintptr_t position = area + 4 * uintptr_t(R + 512);
    const uintptr_t end = position + 4 * uintptr_t(R + 1);
    return {end, (end + 15) & ~uintptr_t{15}};
}

struct Record {
    bool valid = false;
    IppiSize kernel{};
    int step = 1, rx = 0, ry = 0;
};

int radius_of(int extent, int step) { return ((extent - 1) >> 1) / step * step; }

// One set-up attempt on `buf`; updates the record when it succeeds.
void init(Draw& d, Block& buf, Ipp8u* p, int bufSize, IppiSize bufKernel, Record& rec) {
    const int type = draw_type(d);
    IppiSize k = bufKernel;
    switch (d.range(0, 4)) {
        case 0: k = {d.range(1, std::max(1, bufKernel.width)), d.range(1, std::max(1, bufKernel.height))}; break;
        case 1: k = draw_kernel(d); break;
        default: break;
    }
    const float vs = draw_sigma(d), ps = d.flip() ? vs : draw_sigma(d);
    const int step = d.pick<int>({1, 1, 1, 1, 2, 3, 0, -1, INT32_MAX, INT32_MIN});
    const bool nullBuf = d.range(0, 15) == 0;

    int want;
    int R = 0;
    if (nullBuf)
        want = ippStsNullPtrErr;
    else if (k.width < 1 || k.height < 1)
        want = ippStsMaskSizeErr;
    else if (!(vs > 0.0f) || !(ps > 0.0f) || step < 1)
        want = ippStsBadArgErr;
    else if (type != 100 && type != 101)
        want = ippStsNotSupportedModeErr;
    else {
        R = std::max(radius_of(k.width, step), radius_of(k.height, step));
        want = R + 1 > 256 ? ippStsMaskSizeErr : 0;
    }
    // A record larger than the buffer is the caller's mistake.
    if (want == 0 && layout(p, R).tablesEnd > reinterpret_cast<uintptr_t>(p) + bufSize) return;

    const auto was = buf.snapshot();
    const IppStatus st = ippiFilterBilateralInit_8u_C1R(type, k, vs, ps, step, nullBuf ? nullptr : p);
    // "Not above zero" refuses a NaN sigma as well.
    expect(st == want, "set-up status", st);
    if (st != 0) {
        expect(buf.same(was), "buffer written by a refused set-up", st);
        return;
    }
    const unsigned off = p[0];
    expect(off >= 1 && off <= 8 && (reinterpret_cast<uintptr_t>(p) + off) % 8 == 0, "record offset byte", off);
    uint32_t magic;
    std::memcpy(&magic, p + off, 4);
    expect(magic == (type == 100 ? kMagic100 : kMagic101), "record magic", int(magic));
    rec.valid = true;
    rec.kernel = k;
    rec.step = step;
    rec.rx = radius_of(k.width, step);
    rec.ry = radius_of(k.height, step);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Draw d(data, size);

    // ---- Buffer size -------------------------------------------------------
    {
        const int type = draw_type(d);
        const IppiSize roi{d.size(kMaxSide), d.size(kMaxSide)};
        const IppiSize k = draw_kernel(d);
        const bool nullOut = d.range(0, 15) == 0;
        int got = -12345;
        const IppStatus st = ippiFilterBilateralGetBufSize_8u_C1R(type, roi, k, nullOut ? nullptr : &got);
        const int want = nullOut                                 ? ippStsNullPtrErr
                         : (roi.width < 1 || roi.height < 1)     ? ippStsSizeErr
                         : (k.width < 1 || k.height < 1)         ? ippStsMaskSizeErr
                         : (type != 100 && type != 101)          ? ippStsNotSupportedModeErr
                                                                 : 0;
        expect(st == want, "buffer size status", st);
        if (st != 0) expect(got == -12345, "size written on error", st);
    }

    // ---- A buffer of exactly the size asked for, at any alignment -----------
    IppiSize bufKernel = draw_kernel(d);
    if (bufKernel.width < 1 || bufKernel.height < 1 || int64_t{bufKernel.width} * bufKernel.height > 4096)
        bufKernel = {d.range(1, 9), d.range(1, 9)};
    int bufSize = 0;
    expect(ippiFilterBilateralGetBufSize_8u_C1R(100, {1, 1}, bufKernel, &bufSize) == 0, "buffer size");
    const int shift = d.range(0, 15);
    Block buf(size_t(shift) + size_t(bufSize), size_t(shift), d.bits(32));
    Ipp8u* const p = buf.origin();
    Record rec;
    switch (d.range(0, 7)) {
        case 0: break;  // never prepared: seeded garbage
        case 1: std::memset(p, 0, size_t(bufSize)); break;
        default:
            init(d, buf, p, bufSize, bufKernel, rec);
            // A second set-up: refused ones leave the first record as it was.
            if (d.range(0, 3) == 0) init(d, buf, p, bufSize, bufKernel, rec);
    }
    if (!rec.valid) {
        // Garbage that happens to look like a record is not garbage.
        const unsigned off = p[0];
        if (off >= 1 && off <= 8 && (reinterpret_cast<uintptr_t>(p) + off) % 8 == 0) p[off] ^= 0x80;
    }

    // ---- Filter ------------------------------------------------------------
    const int nullAt = d.range(0, 15);  // 0: source, 1: destination, 2: buffer
    const IppiSize roi{wide_size(d, kMaxSide, 600), d.size(kMaxSide)};
    const IppiSize k = d.range(0, 3) ? (rec.valid ? rec.kernel : bufKernel) : draw_kernel(d);
    const int rx = rec.valid && k.width >= 1 ? (k.width >> 1) / rec.step * rec.step : 0;
    const int ry = rec.valid && k.height >= 1 ? (k.height >> 1) / rec.step * rec.step : 0;
    const int srcStep = draw_step(d, int64_t{roi.width} + 2 * rx, roi.height);
    const int dstStep = draw_step(d, roi.width, roi.height);
    int want;
    if (nullAt <= 2)
        want = ippStsNullPtrErr;
    else if (roi.width < 1 || roi.height < 1)
        want = ippStsSizeErr;
    else if (srcStep < 1 || dstStep < 1)
        want = ippStsStepErr;
    else if (k.width < 1 || k.height < 1)
        want = ippStsMaskSizeErr;
    else if (!rec.valid)
        want = ippStsContextMatchErr;
    else if (rx > rec.rx || ry > rec.ry)
        want = ippStsMaskSizeErr;
    else
        want = 0;

    const bool sized = want == 0;
    Extent es{1, 0}, ed{1, 0};
    const int64_t taps = int64_t{2 * rx / rec.step + 1} * (2 * ry / rec.step + 1);
    if (sized) {
        es = extent(roi.width, roi.height, srcStep, ry, ry, rx, rx);
        ed = extent(roi.width, roi.height, dstStep);
        if (es.bytes > kMaxBytes || ed.bytes > kMaxBytes || too_big(roi.width, roi.height) ||
            int64_t{roi.width} * roi.height * taps > (int64_t{1} << 22))
            return 0;
        // Work area beyond the buffer: again the caller's mistake.
        if (layout(p, std::max(rec.rx, rec.ry)).work + 4 * uint64_t(taps) > reinterpret_cast<uintptr_t>(p) + bufSize)
            return 0;
    }
    Block src = make_block(es, d.bits(32)), dst = make_block(ed, d.bits(32));
    const auto srcWas = src.snapshot(), dstWas = dst.snapshot(), bufWas = buf.snapshot();
    const IppStatus st = ippiFilterBilateral_8u_C1R(nullAt == 0 ? nullptr : src.origin(), srcStep,
                                                    nullAt == 1 ? nullptr : dst.origin(), dstStep, roi, k,
                                                    nullAt == 2 ? nullptr : p);
    expect(st == want, "filter status", st);
    expect(src.same(srcWas), "source written", st);
    if (st != 0) {
        expect(dst.same(dstWas) && buf.same(bufWas), "written on error", st);
        return 0;
    }
    std::vector<uint8_t> mask(dstWas.size());
    mark_rows(mask, ed.before, dstStep, roi.width, roi.height);
    expect(changes_within(dstWas, dst.snapshot(), mask), "written outside the region", st);
    // Only the record's work area may change in the buffer.
    {
        const auto now = buf.snapshot();
        std::vector<uint8_t> workMask(now.size());
        const uintptr_t work = layout(p, std::max(rec.rx, rec.ry)).work;
        mark_rows(workMask, int64_t(shift) + int64_t(work - reinterpret_cast<uintptr_t>(p)), 0, 4 * taps, 1);
        expect(changes_within(bufWas, now, workMask), "buffer written outside the work area", st);
    }
    return 0;
}
