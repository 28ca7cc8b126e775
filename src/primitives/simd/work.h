// Scoped work buffers from the module's allocator (so the allocation hooks
// see them): whatever was obtained is released when the owner goes out of
// scope, on every return path, including after a failed allocation.
#pragma once
#include <cstdint>
#include <limits>

#include "frame/set.h"

namespace qm::QM_SET::lanes {

class WorkBuffers {
public:
    WorkBuffers() = default;
    WorkBuffers(const WorkBuffers&) = delete;
    WorkBuffers& operator=(const WorkBuffers&) = delete;
    ~WorkBuffers() {
        for (int i = 0; i < count_; ++i) ippFree(blocks_[i]);
    }
    // n elements of T (at least one), 32-byte aligned; null when the block
    // is too large for the allocator or the allocation fails.
    template <class T>
    T* get(int64_t n) {
        const int64_t bytes = (n < 1 ? 1 : n) * static_cast<int64_t>(sizeof(T));
        if (bytes > std::numeric_limits<int>::max() || count_ == kMax) return nullptr;
        void* p = ippMalloc(static_cast<int>(bytes));
        if (p != nullptr) blocks_[count_++] = p;
        return static_cast<T*>(p);
    }

private:
    static constexpr int kMax = 16;
    void* blocks_[kMax] = {};
    int count_ = 0;
};

}  // namespace qm::QM_SET::lanes
