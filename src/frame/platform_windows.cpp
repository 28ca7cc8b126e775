// Windows x64 seam: DllMain as the attach notification, GetProcAddress as the
// platform lookup, the compiler's intrinsics for cpuid, xgetbv and rdtsc.
// The allocation hooks need nothing here: core.cpp's malloc/calloc/realloc/
// free are the C runtime DLL's heap in this build.
#include <windows.h>
#include <intrin.h>

#include "frame/platform.h"

namespace qm::platform {

CpuidRegs cpuid(uint32_t leaf, uint32_t subleaf) {
    int r[4];
    __cpuidex(r, static_cast<int>(leaf), static_cast<int>(subleaf));
    return {static_cast<uint32_t>(r[0]), static_cast<uint32_t>(r[1]), static_cast<uint32_t>(r[2]),
            static_cast<uint32_t>(r[3])};
}

// Only this function may use the instruction: the frame is built for plain
// SSE2 and calls it only after cpuid has reported OSXSAVE.
__attribute__((target("xsave"))) uint64_t xgetbv0() { return _xgetbv(0); }

uint64_t rdtsc() { return __rdtsc(); }

QM_PROC lookup(void* module, const char* name) {
    // A pointer below 0x10000 would be taken as an ordinal; null is ordinal 0,
    // which the module does not have, so answer it here as Linux does.
    if (name == nullptr) return nullptr;
    return reinterpret_cast<QM_PROC>(GetProcAddress(static_cast<HMODULE>(module), name));
}

}  // namespace qm::platform

// Linux has no attach callback and uses an ELF constructor instead; here the
// loader calls DllMain under its lock, after the C runtime has run the static
// constructors. Only process attach does anything; every reason succeeds so
// that nothing the processor reports can fail the load.
extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID) {
    if (reason == DLL_PROCESS_ATTACH) qm::process_attach();
    return TRUE;
}
