// Processor identification as pure functions of what cpuid and xgetbv
// report, so that tests can feed made-up processors through the same code
// the module runs at attach.
#pragma once
#include <cstdint>

#include "frame/platform.h"
#include "ippiQM300.h"

namespace qm {

using platform::CpuidRegs;

class CpuidSource {
public:
    virtual ~CpuidSource() = default;
    virtual CpuidRegs cpuid(uint32_t leaf, uint32_t subleaf) const = 0;
    virtual uint64_t xgetbv0() const = 0;
};

// The processor this code runs on.
const CpuidSource& hardware_cpu();

// Feature-mask bits.
enum : uint64_t {
    kMMX = 0x1, kSSE = 0x2, kSSE2 = 0x4, kSSE3 = 0x8, kSSSE3 = 0x10, kMOVBE = 0x20,
    kSSE41 = 0x40, kSSE42 = 0x80, kAVX = 0x100, kAVXOS = 0x200, kAES = 0x400,
    kCLMUL = 0x800, kFamilyBExt = 0x1000, kRDRAND = 0x2000, kF16C = 0x4000,
};

// "getinfoa" read as a little-endian 64-bit value: asks ippGetCpuFeatures to
// run the cpuid leaf and sub-leaf that the register block names.
inline constexpr uint64_t kGetInfoMagic = 0x616f666e69746567ull;

// Vendor identification (leaf 0 EBX, EDX, ECX) of the primary processor vendor.
inline constexpr uint32_t kPrimaryVendorEbx = 0x756e6547u;
inline constexpr uint32_t kPrimaryVendorEdx = 0x49656e69u;
inline constexpr uint32_t kPrimaryVendorEcx = 0x6c65746eu;
// Last four characters of the other major x86 vendor's identification.
inline constexpr uint32_t kOtherVendorEcx = 0x444D4163u;

uint64_t compute_feature_mask(const CpuidSource& cpu);
// AVX2 (leaf 7 sub-leaf 0 EBX bit 5) with the AVX state saved by the
// operating system; outside the feature mask, which has no bit for it.
bool has_avx2(const CpuidSource& cpu);
bool is_primary_vendor(const CpuidSource& cpu);

struct FeatureCache {
    uint32_t valid = 0;
    uint64_t mask = 0;
};
IppStatus get_cpu_features(const CpuidSource& cpu, FeatureCache& cache, Ipp64u* mask,
                           Ipp32u* regs);

struct Selection {
    int variant;         // CPU variant index 0..5
    uint32_t lowPower;   // set only for variant 3
    uint64_t enabled;    // feature mask the chosen variant may use
    IppStatus status;    // 0, 20 or 36, or the failed query's status
};
Selection classify(IppStatus queryStatus, uint64_t mask, bool avxPermission, bool primaryVendor);

int cpu_type(const CpuidSource& cpu);
int cores_on_die(const CpuidSource& cpu);

struct CacheInfo {
    IppStatus status;
    int size;
};
CacheInfo compute_largest_cache(const CpuidSource& cpu);
// The internal largest-cache query used by kernels: computed once per process.
IppStatus largest_cache_size(int* size);

}  // namespace qm
