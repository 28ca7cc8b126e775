// The benchmark program: Google Benchmark's own flags, plus
//   --set NAME   run every primitive in one implementation set (mx, m7, u8,
//                n8, y8, e9 or e9w) instead of the one attach chose,
// so that any set, the AVX2 build included, can be timed on this machine.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <iterator>
#include <string>

#include "frame/dispatch.h"

namespace {

template <class Fn>
Fn pick(int set, Fn mx, Fn m7, Fn u8, Fn n8, Fn y8, Fn e9, Fn e9w) {
    const Fn all[] = {mx, m7, u8, n8, y8, e9, e9w};
    return all[set];
}

// Position 5 of every variant table takes the set's entry and the variant
// index points there, so the named entries, and the scanner filters through
// the entry slots, all run that set; dispatch costs what it always does.
void route_everything_to(int set) {
#define QM_SLOT(rec, ord, ret, name, params, args)                                           \
    qm::vt::name[5] = pick(set, qm::mx::name, qm::m7::name, qm::u8::name, qm::n8::name,   \
                           qm::y8::name, qm::e9::name, qm::e9w::name);
#include "ippiQM300_functions.h"
    qm::g_variant = 5;
}

// Takes "--set NAME" or "--set=NAME" out of argv. Returns the set's index,
// -1 when the switch is absent, -2 (after one error line) when it is unusable.
int take_set_switch(int& argc, char** argv) {
    int chosen = -1;
    int out = 1;
    for (int i = 1; i < argc; ++i) {
        const char* value = nullptr;
        if (std::strcmp(argv[i], "--set") == 0) {
            if (i + 1 == argc) {
                std::fprintf(stderr, "qm_bench: --set needs a set name\n");
                return -2;
            }
            value = argv[++i];
        } else if (std::strncmp(argv[i], "--set=", 6) == 0) {
            value = argv[i] + 6;
        } else {
            argv[out++] = argv[i];
            continue;
        }
        chosen = -2;
        for (int s = 0; s < static_cast<int>(std::size(qm::kSetNames)); ++s)
            if (std::strcmp(value, qm::kSetNames[s]) == 0) chosen = s;
        if (chosen == -2) {
            std::fprintf(stderr, "qm_bench: unknown set '%s' (mx, m7, u8, n8, y8, e9, e9w)\n", value);
            return -2;
        }
        if (!qm::runs_on(static_cast<qm::SetId>(chosen), qm::hardware_cpu())) {
            std::fprintf(stderr, "qm_bench: this processor cannot run set '%s'\n", value);
            return -2;
        }
    }
    argc = out;
    argv[argc] = nullptr;
    return chosen;
}

// The set that attach chose, by build name.
std::string dispatched_set() {
    constexpr int kSetOfVariant[] = {1, 1, 2, 3, 4, 5};
    int set = kSetOfVariant[qm::g_variant];
    if (set == 5 && qm::vt::ippiGetLibVersion[5] == qm::e9w::ippiGetLibVersion) set = 6;
    return std::string("dispatched: ") + qm::kSetNames[set];
}

}  // namespace

int main(int argc, char** argv) {
    const int set = take_set_switch(argc, argv);
    if (set == -2) return 2;
    if (set >= 0) route_everything_to(set);
    benchmark::AddCustomContext("implementation set",
                                set >= 0 ? qm::kSetNames[set] : dispatched_set());
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
