// Core services reached through fixed records of the name table.
#include <cstdlib>

#include "frame/frame.h"
#include "frame/platform.h"

namespace qm {

namespace {
constexpr AllocHooks kRuntimeHeap = {std::malloc, std::calloc, std::realloc, std::free};
AllocHooks g_hooks = kRuntimeHeap;

constexpr IppLibraryVersion kCoreVersion = {7, 0, 205, 1049, {'c', 'o', 'r', 'e'},
                                            "ippcore_l.lib", "7.0 build 205.85", "Nov 25 2011"};
constexpr const char* kSetVersion = "7.0 build 205.85";
constexpr const char* kSetDate = "Nov 26 2011";
constexpr IppLibraryVersion kImageVersions[] = {
    {7, 0, 205, 1054, {'m', 'x', 0, 0}, "ippimx_l.lib", "7.0 build 205.58", "Apr 17 2011"},
    {7, 0, 205, 1080, {'m', '7', 0, 0}, "ippim7_l.lib", kSetVersion, kSetDate},
    {7, 0, 205, 1080, {'u', '8', 0, 0}, "ippiu8_l.lib", kSetVersion, kSetDate},
    {7, 0, 205, 1080, {'n', '8', 0, 0}, "ippin8_l.lib", kSetVersion, kSetDate},
    {7, 0, 205, 1080, {'y', '8', 0, 0}, "ippiy8_l.lib", kSetVersion, kSetDate},
    {7, 0, 205, 1080, {'e', '9', 0, 0}, "ippie9_l.lib", kSetVersion, kSetDate},
};
constexpr IppLibraryVersion kImageVersionY8Sse42 = {7, 0, 205, 1080, {'y', '8', 0, 0},
                                                    "ippiy8_l.lib+", kSetVersion, kSetDate};
}  // namespace

AllocHooks& alloc_hooks() { return g_hooks; }
void reset_alloc_hooks() { g_hooks = kRuntimeHeap; }

const IppLibraryVersion* image_version(SetId set) {
    if (set == SetId::y8 && (g_enabledMask & kSSE42)) return &kImageVersionY8Sse42;
    if (set == SetId::e9w) set = SetId::e9;  // position 5 is the AVX set, whichever build
    return &kImageVersions[static_cast<int>(set)];
}

Ipp8u* malloc_8u_c3(int width, int height, int* step) {
    if (step == nullptr) return nullptr;
    if (width <= 0 || height <= 0) {
        *step = 0;
        return nullptr;
    }
    const int64_t rowStep = (3 * int64_t{width} + 31) & ~int64_t{31};
    *step = static_cast<int>(rowStep);
    // The size is the 32-bit product on purpose: an overflow that turns
    // non-positive yields null (with the step already written).
    const uint32_t bytes = static_cast<uint32_t>(*step) * static_cast<uint32_t>(height);
    return static_cast<Ipp8u*>(ippMalloc(static_cast<int>(bytes)));
}

}  // namespace qm

using namespace qm;

extern "C" {

IppStatus ippSetNumThreads(int) { return ippStsNoOperation; }

IppStatus ippGetNumThreads(int* pNumThreads) {
    *pNumThreads = 1;  // no null check, as the service has always behaved
    return ippStsNoOperation;
}

const IppLibraryVersion* ippGetLibVersion(void) { return &kCoreVersion; }

int ippGetCpuType(void) { return cpu_type(hardware_cpu()); }

Ipp64u ippGetCpuClocks(void) { return platform::rdtsc(); }

IppStatus ippGetCpuFeatures(Ipp64u* pFeaturesMask, Ipp32u* pCpuidInfoRegs) {
    return get_cpu_features(hardware_cpu(), g_featureCache, pFeaturesMask, pCpuidInfoRegs);
}

int ippGetNumCoresOnDie(void) { return cores_on_die(hardware_cpu()); }

void* ippMalloc(int length) {
    if (length <= 0) return nullptr;
    auto* raw = static_cast<unsigned char*>(g_hooks.allocate(static_cast<size_t>(int64_t{length}) + 40));
    if (raw == nullptr) return nullptr;
    // Round up inside the 40 spare bytes; the raw pointer sits just before.
    auto* aligned = reinterpret_cast<unsigned char*>((reinterpret_cast<uintptr_t>(raw) + 39) &
                                                     ~uintptr_t{31});
    reinterpret_cast<void**>(aligned)[-1] = raw;
    return aligned;
}

void ippFree(void* ptr) {
    if (ptr == nullptr) return;
    g_hooks.release(static_cast<void**>(ptr)[-1]);
}

}  // extern "C"
