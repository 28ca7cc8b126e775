// Test images with padded rows and guard bytes around them, and the table of
// implementation sets that every kernel test walks.
#pragma once
#include <cstdint>
#include <cstring>
#include <random>
#include <string_view>
#include <utility>
#include <vector>

#include "frame/dispatch.h"
#include "ippiQM300.h"

namespace qmtest {

// rowBytes x rows of payload at a row step of rowBytes + pad, with `margin`
// guard bytes before the first and after the last row; everything outside
// the payload keeps a known pattern so stray writes are caught.
class GuardedImage {
public:
    GuardedImage(int rowBytes, int rows, int pad = 0, int margin = 64)
        : rowBytes_(rowBytes), rows_(rows), step_(rowBytes + pad), margin_(margin),
          buf_(static_cast<size_t>(2 * margin + step_ * rows)) {
        uint32_t x = 0x9E3779B9u ^ static_cast<uint32_t>(rowBytes * 131 + rows);
        for (auto& b : buf_) {
            x = x * 1664525u + 1013904223u;
            b = static_cast<Ipp8u>(x >> 24);
        }
        pristine_ = buf_;
    }
    Ipp8u* data() { return buf_.data() + margin_; }
    const Ipp8u* data() const { return buf_.data() + margin_; }
    Ipp8u* row(int y) { return data() + static_cast<ptrdiff_t>(y) * step_; }
    int step() const { return step_; }
    int rowBytes() const { return rowBytes_; }
    int rows() const { return rows_; }
    Ipp8u& at(int y, int x) { return row(y)[x]; }

    void fill_random(std::mt19937& rng) {
        for (int y = 0; y < rows_; ++y)
            for (int x = 0; x < rowBytes_; ++x) at(y, x) = static_cast<Ipp8u>(rng());
        pristine_ = buf_;
    }
    // Marks the current content as the reference for untouched().
    void settle() { pristine_ = buf_; }
    // True when nothing outside the payload changed since the last fill/settle.
    bool guards_intact() const {
        for (size_t i = 0; i < buf_.size(); ++i) {
            const ptrdiff_t off = static_cast<ptrdiff_t>(i) - margin_;
            const bool inPayload = off >= 0 && off < static_cast<ptrdiff_t>(step_) * rows_ &&
                                   off % step_ < rowBytes_;
            if (!inPayload && buf_[i] != pristine_[i]) return false;
        }
        return true;
    }
    // True when nothing at all changed since the last fill/settle.
    bool untouched() const { return buf_ == pristine_; }
    // The payload, row by row, without padding.
    std::vector<Ipp8u> payload() const {
        std::vector<Ipp8u> out;
        for (int y = 0; y < rows_; ++y)
            out.insert(out.end(), data() + static_cast<ptrdiff_t>(y) * step_,
                       data() + static_cast<ptrdiff_t>(y) * step_ + rowBytes_);
        return out;
    }

private:
    int rowBytes_, rows_, step_, margin_;
    std::vector<Ipp8u> buf_, pristine_;
};

// The implementation sets this processor can run: the rest are left out of
// QM_ALL_SETS instead of faulting.
inline bool runs_here(std::string_view set) {
    static const std::vector<bool> runs = [] {
        std::vector<bool> r;
        for (int s = 0; s < static_cast<int>(std::size(qm::kSetNames)); ++s)
            r.push_back(qm::runs_on(static_cast<qm::SetId>(s), qm::hardware_cpu()));
        return r;
    }();
    for (size_t s = 0; s < runs.size(); ++s)
        if (set == qm::kSetNames[s]) return runs[s];
    return false;
}
template <class Fn>
std::vector<std::pair<const char*, Fn>> runnable_sets(std::vector<std::pair<const char*, Fn>> all) {
    std::erase_if(all, [](const auto& set) { return !runs_here(set.first); });
    return all;
}

// Every implementation set of one slot function that runs here, by set name.
#define QM_ALL_SETS(fn)                                                                        \
    (::qmtest::runnable_sets(std::vector<std::pair<const char*, qm_##fn##_fn>>{                \
        {"mx", qm::mx::fn}, {"m7", qm::m7::fn}, {"u8", qm::u8::fn}, {"n8", qm::n8::fn},       \
        {"y8", qm::y8::fn}, {"e9", qm::e9::fn}, {"e9w", qm::e9w::fn}}))

}  // namespace qmtest
