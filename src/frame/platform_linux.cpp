// Linux x86-64 seam: ELF constructor as the attach notification, dlsym as
// the platform lookup, compiler intrinsics for cpuid, xgetbv and rdtsc.
#include <cpuid.h>
#include <dlfcn.h>
#include <x86intrin.h>

#include "frame/platform.h"

namespace qm::platform {

CpuidRegs cpuid(uint32_t leaf, uint32_t subleaf) {
    CpuidRegs r{};
    __cpuid_count(leaf, subleaf, r.eax, r.ebx, r.ecx, r.edx);
    return r;
}

uint64_t xgetbv0() {
    uint32_t lo, hi;
    // Encoded by hand so the frame itself needs no -mxsave.
    __asm__ volatile(".byte 0x0f, 0x01, 0xd0" : "=a"(lo), "=d"(hi) : "c"(0));
    return (uint64_t{hi} << 32) | lo;
}

uint64_t rdtsc() { return __rdtsc(); }

QM_PROC lookup(void* module, const char* name) {
    if (name == nullptr) return nullptr;  // dlsym would dereference it
    // dlsym returns data and code alike as void*; the host asked for code.
    return reinterpret_cast<QM_PROC>(dlsym(module, name));
}

}  // namespace qm::platform

// The loader serialises constructors, which gives attach the same guarantee
// as a process-attach notification: it runs once, before any other call.
__attribute__((constructor)) static void qm_on_load() { qm::process_attach(); }
