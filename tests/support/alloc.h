// Swaps the module's allocation hooks for counting ones: the Nth allocation
// can be made to fail, and allocations still live at the end are leaks.
#pragma once
#include <cstdlib>
#include <set>

#include "frame/frame.h"

namespace qmtest {

class AllocProbe {
public:
    explicit AllocProbe(int failAt = 0) {
        state() = State{};
        state().failAt = failAt;
        qm::AllocHooks& h = qm::alloc_hooks();
        h.allocate = &allocate;
        h.release = &release;
    }
    ~AllocProbe() { qm::reset_alloc_hooks(); }
    AllocProbe(const AllocProbe&) = delete;
    AllocProbe& operator=(const AllocProbe&) = delete;

    int calls() const { return state().calls; }
    size_t live() const { return state().live.size(); }
    size_t last_size() const { return state().lastSize; }
    // Frees what the code under test kept (a leak the test has already
    // counted), so leak checkers only report leaks nobody expected.
    void release_leaks() {
        for (void* p : state().live) std::free(p);
        state().live.clear();
    }

private:
    struct State {
        int calls = 0;
        int failAt = 0;
        size_t lastSize = 0;
        std::set<void*> live;
    };
    static State& state() {
        static State s;
        return s;
    }
    static void* allocate(size_t n) {
        State& s = state();
        ++s.calls;
        s.lastSize = n;
        if (s.calls == s.failAt) return nullptr;
        void* p = std::malloc(n);
        s.live.insert(p);
        return p;
    }
    static void release(void* p) {
        state().live.erase(p);
        std::free(p);
    }
};

}  // namespace qmtest
