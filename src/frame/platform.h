// The platform seam: everything the frame needs from the operating system
// and the processor. A port to another platform supplies a second
// implementation file of these few functions and nothing else.
#pragma once
#include <cstdint>

#include "ippiQM300.h"

namespace qm::platform {

struct CpuidRegs {
    uint32_t eax, ebx, ecx, edx;
};

CpuidRegs cpuid(uint32_t leaf, uint32_t subleaf);
// XCR0; only called when cpuid reports OSXSAVE.
uint64_t xgetbv0();
uint64_t rdtsc();
// The platform's by-name lookup in the module whose handle the host passed.
QM_PROC lookup(void* module, const char* name);

}  // namespace qm::platform

namespace qm {
// Runs the attach sequence; the seam calls it once on process attach.
void process_attach();
}  // namespace qm
