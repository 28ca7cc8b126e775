// Shared pieces of the fuzz harnesses: arguments drawn from the fuzzer's
// bytes, and exactly-sized heap buffers so that the address sanitizer sees
// any access beyond what a legal call may touch.
#pragma once
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <vector>

#include "ippiQM300.h"

namespace qmfuzz {

class Draw {
public:
    Draw(const uint8_t* data, size_t size) : p_(data), n_(size) {}
    uint32_t bits(int count) {
        uint32_t v = 0;
        for (int i = 0; i < count; i += 8) v = (v << 8) | next();
        return count >= 32 ? v : v & ((1u << count) - 1);
    }
    // Inclusive range; an exhausted input yields lo.
    int range(int lo, int hi) {
        const uint64_t span = uint64_t(int64_t(hi) - lo) + 1;
        return int(lo + int64_t(bits(32) % span));
    }
    bool flip() { return next() & 1; }
    // Mostly small values, sometimes hostile ones.
    int size(int small) {
        switch (next() % 16) {
            case 0: return range(-3, 0);
            case 1: return range(INT32_MIN, -1);
            case 2: return range(INT32_MAX - 4, INT32_MAX);
            default: return range(1, small);
        }
    }
    float real(float lo, float hi) { return lo + (hi - lo) * (float(bits(16)) / 65535.0f); }
    template <class T>
    T pick(std::initializer_list<T> values) {
        return values.begin()[range(0, int(values.size()) - 1)];
    }

private:
    uint8_t next() {
        if (n_ == 0) return 0;
        --n_;
        return *p_++;
    }
    const uint8_t* p_;
    size_t n_;
};

// A heap block of exactly `bytes`, filled from a seed, with a pointer `origin`
// `before` bytes into it (for neighbourhoods reaching up and left).
class Block {
public:
    Block(size_t bytes, size_t before, uint32_t seed) : data_(bytes ? bytes : 1), origin_(before) {
        for (auto& b : data_) {
            seed = seed * 1664525u + 1013904223u;
            b = uint8_t(seed >> 24);
        }
        if (bytes == 0) data_.clear();
        data_.shrink_to_fit();
    }
    uint8_t* origin() { return data_.data() + origin_; }
    std::vector<uint8_t> snapshot() const { return data_; }
    bool same(const std::vector<uint8_t>& s) const { return data_ == s; }

private:
    std::vector<uint8_t> data_;
    size_t origin_;
};

[[noreturn]] inline void fail(const char* what, int status) {
    std::fprintf(stderr, "fuzz check failed: %s (status %d)\n", what, status);
    std::abort();
}

inline void expect(bool ok, const char* what, int status = 0) {
    if (!ok) fail(what, status);
}

// Largest image the harnesses build for real; hostile sizes beyond it are
// only passed where the call must refuse them before touching memory.
inline constexpr int kMaxSide = 48;

// ---- Image extents, row steps, special values ------------------------------
// Used by the colour, bilateral, noise-reduction, copy and geometry harnesses.

// The span of bytes an image may touch: `rows` rows of `rowBytes` bytes,
// `step` apart (any sign), widened by `up`/`down` rows and `left`/`right`
// bytes of neighbourhood. `before` is the offset of the image's first byte
// inside that span.
struct Extent {
    int64_t bytes;
    int64_t before;
};
inline Extent extent(int64_t rowBytes, int64_t rows, int64_t step, int64_t up = 0, int64_t down = 0,
                     int64_t left = 0, int64_t right = 0) {
    const int64_t a = -up * step, b = (rows - 1 + down) * step;
    const int64_t lo = (a < b ? a : b) - left;
    const int64_t hi = (a < b ? b : a) + rowBytes - 1 + right;
    return {hi - lo + 1, -lo};
}

// Images beyond this many bytes, or regions beyond this many pixels (rows
// may overlap, so a few bytes can hold a long run of work), are not built:
// the call is skipped.
inline constexpr int64_t kMaxBytes = int64_t{1} << 22;
inline constexpr int64_t kMaxPixels = int64_t{1} << 16;
inline bool too_big(int64_t w, int64_t h) { return w * h > kMaxPixels; }

// An exactly-sized block for an extent; Extent{1, 0} (one byte) serves
// calls that must be refused before they touch the image.
inline Block make_block(const Extent& e, uint32_t seed) { return Block(size_t(e.bytes), size_t(e.before), seed); }

// A width as size() draws it, sometimes up to `big` to reach the code that
// works on long rows in pieces.
inline int wide_size(Draw& d, int small, int big) { return d.range(0, 7) == 0 ? d.range(1, big) : d.size(small); }

// A row step for `rows` rows of `rowBytes` bytes, a multiple of `align`:
// mostly padded rows, sometimes zero, bottom-up (negative), overlapping
// rows, or extreme values where there is a single row.
inline int draw_step(Draw& d, int64_t rowBytes, int64_t rows, int align = 1) {
    const int64_t base = rowBytes < 1 ? align : rowBytes > (1 << 20) ? (1 << 20) : rowBytes;
    const int pad = align * d.range(0, 7);
    switch (d.range(0, 15)) {
        case 0: return 0;
        case 1: return -int(base + pad);
        case 2: return align * d.range(1, int(base / align > 1 ? base / align : 1));  // rows overlap
        case 3:
            if (rows == 1)
                return d.pick<int>({INT32_MIN, (INT32_MAX / align) * align, -align, INT32_MIN / 2});
            return int(base + pad);
        default: return int(base + pad);
    }
}

// Marks in a mask of a block's bytes the `rows` rows of `rowBytes` bytes
// starting `origin` bytes into the block, `step` apart.
inline void mark_rows(std::vector<uint8_t>& mask, int64_t origin, int64_t step, int64_t rowBytes, int64_t rows) {
    const int64_t n = int64_t(mask.size());
    for (int64_t r = 0; r < rows; ++r) {
        const int64_t a = origin + r * step;
        for (int64_t i = a < 0 ? 0 : a; i < a + rowBytes && i < n; ++i) mask[size_t(i)] = 1;
    }
}

// True when every byte of `now` that differs from `was` is marked in `mask`.
inline bool changes_within(const std::vector<uint8_t>& was, const std::vector<uint8_t>& now,
                           const std::vector<uint8_t>& mask) {
    for (size_t i = 0; i < was.size(); ++i)
        if (was[i] != now[i] && !mask[i]) return false;
    return true;
}

// Floats and doubles that arguments rarely meet: zeros of both signs,
// denormals, extremes, infinities and NaN.
inline float odd_float(Draw& d) {
    return d.pick<float>({0.0f, -0.0f, 1e-45f, 1e-40f, 1.1754944e-38f, 1e-30f, 1e-7f, -1.0f, -1e-40f,
                          3.4028235e38f, 1e30f, __builtin_inff(), -__builtin_inff(), __builtin_nanf("")});
}
inline double odd_double(Draw& d) {
    return d.pick<double>({0.0, -0.0, 4.9e-324, 1e-310, 1e-300, 1e-12, -1.0, -1e-300, 1e300, 1.7976931348623157e308,
                           __builtin_inf(), -__builtin_inf(), __builtin_nan("")});
}

}  // namespace qmfuzz

// ---- Filter harnesses: windows, steps and bounded legal calls --------------
// (neighbourhood-filter and scanner-filter harnesses)
#include <cstddef>
namespace qmfuzz {

// A legal call whose buffers would exceed this many bytes is not made, nor
// one that would take more than kMaxWork multiply-adds.
inline constexpr int64_t kMaxAreaBytes = int64_t{1} << 20;
inline constexpr int64_t kMaxWork = int64_t{1} << 20;

inline int clamp32(int64_t v) { return v < INT32_MIN ? INT32_MIN : v > INT32_MAX ? INT32_MAX : int(v); }
// 32-bit two's-complement wrap, as a caller's int arithmetic would give.
inline int wrap32(int64_t v) { return int(int32_t(uint32_t(uint64_t(v)))); }

// An image width: mostly like Draw::size(small), sometimes wide (past the
// strip and chunk lengths of the row kernels).
inline int draw_width(Draw& d, int small) { return d.range(0, 7) == 0 ? d.range(small + 1, 700) : d.size(small); }

// A row step around the smallest legal one: mostly legal with some padding,
// sometimes one short, small but positive, not positive, or hostile.
inline int draw_filter_step(Draw& d, int64_t least) {
    switch (d.range(0, 15)) {
        case 0: return clamp32(least - 1);
        case 1: return d.range(1, 4);
        case 2: return d.range(-3, 0);
        case 3: return INT32_MIN + d.range(0, 3);
        case 4: return INT32_MAX - d.range(0, 3);
        default: return clamp32(least + d.range(0, 9));
    }
}

// An anchor coordinate for a mask `extent` cells long: mostly inside,
// sometimes just outside, sometimes hostile.
inline int draw_anchor(Draw& d, int extent) {
    const int e = extent < 1 ? 1 : extent > 64 ? 64 : extent;
    switch (d.range(0, 11)) {
        case 0: return d.range(-e - 2, -1);
        case 1: return d.range(e, 2 * e + 2);
        case 2: return d.pick({INT32_MIN, INT32_MIN + 1, INT32_MAX, INT32_MAX - 1});
        default: return d.range(0, e - 1);
    }
}

// Bytes [lo, hi] relative to the pointer a call receives.
struct Window {
    int64_t lo, hi;
    int64_t bytes() const { return hi - lo + 1; }
};

// Rows r0..r1 and byte columns c0..c1 of an image with a positive step.
inline Window rows_extent(int64_t r0, int64_t r1, int64_t c0, int64_t c1, int64_t step) {
    return {r0 * step + c0, r1 * step + c1};
}

// Memory an extent may be given: small, and close enough to the pointer that
// no address arithmetic leaves the address space.
inline bool affordable(const Window& e) {
    constexpr int64_t kFar = int64_t{1} << 40;
    return e.hi >= e.lo && e.bytes() <= kMaxAreaBytes && e.lo > -kFar && e.hi < kFar;
}

// A heap block holding exactly the bytes [lo, hi] around the pointer handed
// to the module (which may itself lie outside the block when the window
// starts after it); the address sanitizer sees any access beyond.
class Area {
public:
    Area(const Window& e, uint32_t seed) : e_(e), block_(size_t(e.bytes()), 0, seed) {}
    // `bytes` bytes, the pointer just past them: every access is out of bounds.
    static Area tiny(uint32_t seed, int64_t bytes = 1) { return Area({-bytes, -1}, seed); }
    Ipp8u* ptr() { return reinterpret_cast<Ipp8u*>(reinterpret_cast<uintptr_t>(block_.origin()) - uintptr_t(e_.lo)); }
    Ipp8u& at(int64_t offset) {
        if (offset < e_.lo || offset > e_.hi) fail("harness read outside its own area", 0);
        return block_.origin()[offset - e_.lo];
    }
    void fill(Ipp8u v) { std::memset(block_.origin(), v, size_t(e_.bytes())); }
    std::vector<uint8_t> snapshot() const { return block_.snapshot(); }
    bool same(const std::vector<uint8_t>& s) const { return block_.same(s); }
    const Window& extent() const { return e_; }

private:
    Window e_;
    Block block_;
};

// After a successful call: every byte of `a` that is not in rows 0..h-1,
// byte columns 0..rowBytes-1 (step > 0) still holds what `before` recorded.
inline bool only_roi_written(Area& a, const std::vector<uint8_t>& before, int64_t h, int64_t rowBytes,
                             int64_t step) {
    const Window& e = a.extent();
    for (int64_t off = e.lo; off <= e.hi; ++off) {
        // The last row starting at or before `off` is the only candidate
        // (rows may overlap when the step is short).
        const int64_t row = off >= 0 ? (off / step < h ? off / step : h - 1) : -1;
        const bool roi = row >= 0 && off - row * step < rowBytes;
        if (!roi && a.at(off) != before[size_t(off - e.lo)]) return false;
    }
    return true;
}

}  // namespace qmfuzz

// ---- One call over exactly-sized images --------------------------------------
// (the colour and copy harness; the others size their own windows)
#include <functional>
namespace qmfuzz {

// An image the call reads or writes: `rowBytes` bytes on each of the call's
// rows, `step` apart.
struct Img {
    int64_t rowBytes;
    int step;
    bool out;
};

// Gives every image an exactly-sized block and makes the call with the
// pointers (null for image `nullAt`; `nullAt == imgs.size()` is left to the
// call, for a null pointer array). A call without memory to work on (a size
// below one, a null pointer) gets one byte per image and must be refused.
// Afterwards: sources untouched; on an error nothing written; on success
// only the destination rows written. A legal call too large to build is
// skipped.
inline void fuzz_call(Draw& d, int w, int h, const std::vector<Img>& imgs, bool arrays,
                      const std::function<IppStatus(Ipp8u* const*, bool arrayNull)>& call) {
    const size_t n = imgs.size();
    const size_t nullAt = size_t(d.range(0, int(n) + 8));
    const bool arrayNull = arrays && nullAt == n;
    const bool refuse = w < 1 || h < 1 || nullAt < n || arrayNull;
    std::vector<Extent> ext(n, Extent{1, 0});
    if (!refuse) {
        if (too_big(w, h)) return;
        for (size_t i = 0; i < n; ++i) {
            ext[i] = extent(imgs[i].rowBytes, h, imgs[i].step);
            if (ext[i].bytes > kMaxBytes) return;
        }
    }
    std::vector<Block> blocks;
    std::vector<Ipp8u*> ptr(n);
    for (size_t i = 0; i < n; ++i) blocks.push_back(make_block(ext[i], d.bits(32)));
    std::vector<std::vector<uint8_t>> was;
    for (size_t i = 0; i < n; ++i) {
        ptr[i] = nullAt == i ? nullptr : blocks[i].origin();
        was.push_back(blocks[i].snapshot());
    }
    const IppStatus st = call(ptr.data(), arrayNull);
    if (refuse) expect(st != 0, "a call without memory to work on was accepted", st);
    for (size_t i = 0; i < n; ++i) {
        if (st != 0 || !imgs[i].out) {
            expect(blocks[i].same(was[i]), imgs[i].out ? "destination written on error" : "source written", st);
            continue;
        }
        std::vector<uint8_t> mask(was[i].size());
        mark_rows(mask, ext[i].before, imgs[i].step, imgs[i].rowBytes, h);
        expect(changes_within(was[i], blocks[i].snapshot(), mask), "written outside the region", st);
    }
}

}  // namespace qmfuzz
