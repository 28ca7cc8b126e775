#include "frame/cpu.h"

namespace qm {
namespace {

class HardwareCpu final : public CpuidSource {
public:
    CpuidRegs cpuid(uint32_t leaf, uint32_t subleaf) const override {
        return platform::cpuid(leaf, subleaf);
    }
    uint64_t xgetbv0() const override { return platform::xgetbv0(); }
};

constexpr uint32_t bit(uint32_t v, int n) { return (v >> n) & 1u; }

}  // namespace

const CpuidSource& hardware_cpu() {
    static const HardwareCpu cpu;
    return cpu;
}

uint64_t compute_feature_mask(const CpuidSource& cpu) {
    const CpuidRegs l1 = cpu.cpuid(1, 0);
    struct Src { uint32_t reg; int bit; uint64_t flag; };
    const Src table[] = {
        {l1.edx, 23, kMMX},    {l1.edx, 25, kSSE},    {l1.edx, 26, kSSE2},
        {l1.ecx, 0, kSSE3},    {l1.ecx, 9, kSSSE3},   {l1.ecx, 22, kMOVBE},
        {l1.ecx, 19, kSSE41},  {l1.ecx, 20, kSSE42},  {l1.ecx, 28, kAVX},
        {l1.ecx, 25, kAES},    {l1.ecx, 1, kCLMUL},   {l1.ecx, 30, kRDRAND},
        {l1.ecx, 29, kF16C},
    };
    uint64_t mask = 0;
    for (const Src& s : table)
        if (bit(s.reg, s.bit)) mask |= s.flag;
    // The operating system must save the AVX state (XCR0 bits 1 and 2).
    if (bit(l1.ecx, 27) && bit(l1.ecx, 28) && (cpu.xgetbv0() & 6) == 6) mask |= kAVXOS;
    if (((l1.eax >> 8) & 0xF) == 0xB && bit(cpu.cpuid(0x20000001, 0).edx, 1))
        mask |= kFamilyBExt;
    return mask;
}

bool has_avx2(const CpuidSource& cpu) {
    const CpuidRegs l1 = cpu.cpuid(1, 0);
    // xgetbv faults without OSXSAVE, and leaves above the highest one report junk.
    if (!bit(l1.ecx, 27) || !bit(l1.ecx, 28) || (cpu.xgetbv0() & 6) != 6) return false;
    return cpu.cpuid(0, 0).eax >= 7 && bit(cpu.cpuid(7, 0).ebx, 5);
}

bool is_primary_vendor(const CpuidSource& cpu) {
    const CpuidRegs l0 = cpu.cpuid(0, 0);
    return l0.ebx == kPrimaryVendorEbx && l0.edx == kPrimaryVendorEdx &&
           l0.ecx == kPrimaryVendorEcx;
}

IppStatus get_cpu_features(const CpuidSource& cpu, FeatureCache& cache, Ipp64u* mask,
                           Ipp32u* regs) {
    // cpuid always exists on x86-64, so the "cannot query" status 36 never arises.
    if (!cache.valid) {
        cache.mask = compute_feature_mask(cpu);
        cache.valid = 1;
    }
    if (mask == nullptr) return ippStsNullPtrErr;
    const uint64_t request = *mask;
    *mask = cache.mask;
    if (regs != nullptr) {
        const CpuidRegs r = request == kGetInfoMagic ? cpu.cpuid(regs[0], regs[2]) : cpu.cpuid(1, 0);
        regs[0] = r.eax;
        regs[1] = r.ebx;
        regs[2] = r.ecx;
        regs[3] = r.edx;
    }
    return ippStsNoErr;
}

Selection classify(IppStatus queryStatus, uint64_t mask, bool avxPermission, bool primaryVendor) {
    Selection s{0, 0, 7, ippStsNoErr};
    if (queryStatus != ippStsNoErr) {
        s.status = queryStatus;
    } else if ((mask & kAVX) && (mask & kAVXOS) && avxPermission) {
        s = {5, 0, mask & 0x6FDF, ippStsNoErr};
    } else if (mask & kSSE41) {
        s = {4, 0, mask & 0xCDF, ippStsNoErr};
    } else if ((mask & kMOVBE) && (mask & kSSSE3)) {
        s = {3, 1, mask & 0x3F, ippStsNoErr};
    } else if (mask & kSSSE3) {
        s = {2, 0, mask & 0x1F, ippStsNoErr};
    } else if (mask & kSSE3) {
        s = {1, 0, mask & 0xF, ippStsNoErr};
    } else {
        s = {0, 0, mask & 7, ippStsNotSupportedCpu};
    }
    if (!primaryVendor) s.status = ippStsWrongVendor;
    return s;
}

int cpu_type(const CpuidSource& cpu) {
    const CpuidRegs l0 = cpu.cpuid(0, 0);
    const CpuidRegs l1 = cpu.cpuid(1, 0);
    uint32_t family = (l1.eax >> 8) & 0xF;
    uint32_t model = (l1.eax >> 4) & 0xF;
    const uint32_t extModel = (l1.eax >> 16) & 0xF;
    const uint32_t extFamily = (l1.eax >> 20) & 0xFF;
    if (family == 6 || family == 15) model += extModel * 16;
    if (family == 15) family += extFamily;

    const bool sse = bit(l1.edx, 25), sse2 = bit(l1.edx, 26), sse3 = bit(l1.ecx, 0);
    const bool ssse3 = bit(l1.ecx, 9), movbe = bit(l1.ecx, 22), sse41 = bit(l1.ecx, 19);
    const bool sse42 = bit(l1.ecx, 20);
    const bool avx = bit(l1.ecx, 28);  // deliberately without the OS check
    bool longMode = false;
    if (cpu.cpuid(0x80000000, 0).eax >= 0x80000001)
        longMode = bit(cpu.cpuid(0x80000001, 0).edx, 29);
    const uint32_t coresPerPackage = l0.eax < 4 ? 1 : (cpu.cpuid(4, 0).eax >> 26) + 1;

    if (is_primary_vendor(cpu)) {
        if (family == 6 && model == 0x0F && ssse3) return coresPerPackage <= 2 ? 0x21 : 0x22;
        if (family == 6 && model == 0x17 && sse41) return 0x23;
        if (family == 6 && model == 0x1A) {
            if (avx) return 0x46;
            if (sse42) return 0x25;
        }
        if (family == 6 && model == 0x1C && ssse3 && movbe) return 0x24;
        if (family == 15) return 0x42;
    }
    if (avx) return ippCpuAVX;
    if (sse42) return ippCpuSSE42;
    if (sse41) return ippCpuSSE41;
    if (ssse3) return ippCpuSSSE3;
    if (sse3) return ippCpuSSE3;
    if (sse2) return ippCpuSSE2;
    if (sse) return ippCpuSSE;
    if (longMode) return ippCpuX8664;
    return ippCpuUnknown;
}

int cores_on_die(const CpuidSource& cpu) {
    const CpuidRegs l0 = cpu.cpuid(0, 0);
    if (is_primary_vendor(cpu)) {
        const uint32_t maxLeaf = l0.eax;
        if (maxLeaf < 4) return 1;
        if (maxLeaf >= 0xB) {
            const CpuidRegs t = cpu.cpuid(0xB, 0);
            if (t.ebx != 0) {
                // Bit 1 of the thread count, not "more than one thread": kept as is.
                const bool ht = bit(t.ebx, 1);
                const int n = static_cast<int>(cpu.cpuid(0xB, 1).ebx & 0xFFFF);
                return ht ? n >> 1 : n;
            }
        }
        return static_cast<int>(cpu.cpuid(4, 0).eax >> 26) + 1;
    }
    if (l0.ecx == kOtherVendorEcx) {
        // Only the low four bits of the highest extended leaf are compared: kept as is.
        if ((cpu.cpuid(0x80000000, 0).eax & 0xF) >= 8)
            return static_cast<int>(cpu.cpuid(0x80000008, 0).ecx & 0xFF) + 1;
        return 1;
    }
    return 1;
}

namespace {

struct CacheDescriptor {
    uint8_t code;
    int size;
};
constexpr int KB = 1024, MB = 1024 * 1024;
// Largest size first; the walk takes the first row present.
constexpr CacheDescriptor kDescriptors[] = {
    {0xEC, 24 * MB}, {0xEB, 18 * MB}, {0x4D, 16 * MB}, {0xEA, 12 * MB}, {0x4C, 12 * MB},
    {0xE4, 8 * MB},  {0xDE, 8 * MB},  {0x4B, 8 * MB},  {0x47, 8 * MB},  {0x4E, 6 * MB},
    {0x4A, 6 * MB},  {0xE3, 4 * MB},  {0xDD, 4 * MB},  {0xD8, 4 * MB},  {0x49, 4 * MB},
    {0x29, 4 * MB},  {0x46, 4 * MB},  {0x48, 3 * MB},  {0xE2, 2 * MB},  {0xDC, 2 * MB},
    {0xD7, 2 * MB},  {0xD2, 2 * MB},  {0x25, 2 * MB},  {0x7D, 2 * MB},  {0x85, 2 * MB},
    {0x45, 2 * MB},  {0xD6, 1 * MB},  {0xD1, 1 * MB},  {0x23, 1 * MB},  {0x87, 1 * MB},
    {0x7C, 1 * MB},  {0x78, 1 * MB},  {0x84, 1 * MB},  {0x44, 1 * MB},  {0xD0, 512 * KB},
    {0x22, 512 * KB}, {0x7B, 512 * KB}, {0x80, 512 * KB}, {0x86, 512 * KB}, {0x3E, 512 * KB},
    {0x7F, 512 * KB}, {0x83, 512 * KB}, {0x43, 512 * KB}, {0x3D, 384 * KB}, {0x21, 256 * KB},
    {0x7A, 256 * KB}, {0x82, 256 * KB}, {0x3C, 256 * KB}, {0x3F, 256 * KB}, {0x42, 256 * KB},
    {0x3A, 192 * KB}, {0x79, 128 * KB}, {0x39, 128 * KB}, {0x3B, 128 * KB}, {0x41, 128 * KB},
    {0x00, 0},
};

}  // namespace

CacheInfo compute_largest_cache(const CpuidSource& cpu) {
    const uint32_t maxLeaf = cpu.cpuid(0, 0).eax;
    if (maxLeaf < 2 || !is_primary_vendor(cpu)) return {ippStsNotSupportedCpu, 0};
    if (maxLeaf >= 4) {
        uint32_t largest = 0;
        for (uint32_t sub = 0; sub < 32; ++sub) {
            const CpuidRegs r = cpu.cpuid(4, sub);
            const uint32_t type = r.eax & 0x1F;
            if (type == 0) break;
            if (type == 2) continue;  // instruction cache
            const uint32_t ways = r.ebx >> 22, parts = (r.ebx >> 12) & 0x3FF;
            const uint32_t line = r.ebx & 0xFFF, sets = r.ecx;
            const uint32_t size = (ways + 1) * (parts + 1) * (line + 1) * (sets + 1);
            if (size > largest) largest = size;
        }
        if (largest == 0) return {ippStsCacheSizeUnknown, 0};
        return {ippStsNoErr, static_cast<int>(largest)};
    }
    const CpuidRegs r = cpu.cpuid(2, 0);
    if ((r.eax & 0xFF) != 1) return {ippStsCacheSizeUnknown, 0};
    uint8_t bytes[16] = {};
    int n = 0;
    const uint32_t regs[4] = {r.eax, r.ebx, r.ecx, r.edx};
    for (int i = 0; i < 4; ++i) {
        const uint32_t v = (regs[i] & 0x80000000u) ? 0 : regs[i];
        if (v == 0) continue;
        for (int b = i == 0 ? 1 : 0; b < 4; ++b) bytes[n++] = static_cast<uint8_t>(v >> (8 * b));
    }
    for (const CacheDescriptor* d = kDescriptors; d->code != 0; ++d)
        for (int i = 0; i < n; ++i)
            if (bytes[i] == d->code) return {ippStsNoErr, d->size};
    return {ippStsCacheSizeUnknown, 0};
}

IppStatus largest_cache_size(int* size) {
    // Status 1 means "not computed yet". Concurrent first calls store the same values.
    static IppStatus cachedStatus = 1;
    static int cachedSize = 0;
    if (size == nullptr) return ippStsNullPtrErr;
    if (cachedStatus == 1) {
        const CacheInfo info = compute_largest_cache(hardware_cpu());
        cachedSize = info.size;
        cachedStatus = info.status;
    }
    *size = cachedSize;
    return cachedStatus;
}

}  // namespace qm
