// Attach: processor initialisation, variant tables, entry slots and the
// dispatched entries that the exports and the slots hand out.
#include "frame/dispatch.h"

namespace qm {

int g_variant = 0;
uint32_t g_lowPowerCore = 0;
uint64_t g_enabledMask = 7;
uint32_t g_avxPermission = 1;
uint32_t g_sse3OrBetter = 0;
QM_PROC g_slots[kSlotCount] = {};
FeatureCache g_featureCache;

namespace vt {
// Position 0 (no SSE3) runs the SSE3 set too; the SSE2 set is reached only
// through the entry slots.
#define QM_SLOT(rec, ord, ret, name, params, args) \
    qm_##name##_fn name[6] = {m7::name, m7::name, u8::name, n8::name, y8::name, e9::name};
#include "ippiQM300_functions.h"
}  // namespace vt

void place_avx_build(bool wide) {
#define QM_SLOT(rec, ord, ret, name, params, args) vt::name[5] = wide ? e9w::name : e9::name;
#include "ippiQM300_functions.h"
}

bool runs_on(SetId set, const CpuidSource& cpu) {
    const uint64_t mask = compute_feature_mask(cpu);
    const auto all = [mask](uint64_t bits) { return (mask & bits) == bits; };
    switch (set) {
    case SetId::mx: return all(kSSE2);
    case SetId::m7: return all(kSSE3);
    case SetId::u8: return all(kSSSE3);
    case SetId::n8: return all(kSSSE3 | kMOVBE);
    case SetId::y8: return all(kSSE41 | kSSE42);
    case SetId::e9: return all(kAVX | kAVXOS);
    case SetId::e9w: return has_avx2(cpu);
    }
    return false;
}

IppStatus processor_init(const CpuidSource& cpu, FeatureCache& cache) {
    Ipp64u mask = 0;
    const IppStatus query = get_cpu_features(cpu, cache, &mask, nullptr);
    const Selection s = classify(query, mask, g_avxPermission != 0, is_primary_vendor(cpu));
    g_variant = s.variant;
    g_lowPowerCore = s.lowPower;
    g_enabledMask = s.enabled;
    // The variant, masks and records above never see AVX2: it only decides
    // which build of the AVX set runs in position 5.
    place_avx_build(has_avx2(cpu));
    return s.status;
}

void fill_slots(const CpuidSource& cpu, FeatureCache& cache) {
    Ipp64u mask = kGetInfoMagic;
    Ipp32u regs[4] = {1, 0, 0, 0};  // receives leaf 1; not used further
    get_cpu_features(cpu, cache, &mask, regs);
#define QM_SLOT(rec, ord, ret, name, params, args) \
    g_slots[rec - kFirstSlotRecord] = reinterpret_cast<QM_PROC>(&::name);
#include "ippiQM300_functions.h"
    g_sse3OrBetter = (mask & 0x1FF) >= 8;
    if (!g_sse3OrBetter) {
#define QM_SLOT(rec, ord, ret, name, params, args) \
    g_slots[rec - kFirstSlotRecord] = reinterpret_cast<QM_PROC>(&mx::name);
#include "ippiQM300_functions.h"
    }
}

void process_attach() {
    processor_init(hardware_cpu(), g_featureCache);  // its status cannot fail the load
    fill_slots(hardware_cpu(), g_featureCache);
}

}  // namespace qm

// Dispatched entries: one indexed indirect call, compiled as a tail jump.
extern "C" {
#define QM_SLOT(rec, ord, ret, name, params, args) \
    ret name params { return qm::vt::name[qm::g_variant] args; }
#include "ippiQM300_functions.h"
}
