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
    size_t left() const { return n_; }

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

}  // namespace qmfuzz
