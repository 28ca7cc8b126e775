// Process-wide dispatch state and the frame's internal services.
#pragma once
#include <cstddef>
#include <cstdint>

#include "frame/cpu.h"
#include "ippiQM300.h"

namespace qm {

// The six sets of the variant tables, plus the separate SSE2 set, plus e9w:
// the AVX set built for AVX2, which fills position 5 where it can run.
enum class SetId { mx, m7, u8, n8, y8, e9, e9w };

inline constexpr int kFirstSlotRecord = 25;
inline constexpr int kSlotCount = 60;
inline constexpr int kRecordCount = 85;

// Written once during attach, read-only afterwards.
extern int g_variant;               // CPU variant index 0..5
extern uint32_t g_lowPowerCore;     // 1 only for variant 3; nothing reads it
extern uint64_t g_enabledMask;      // features the chosen variant may use
extern uint32_t g_avxPermission;    // never cleared
extern uint32_t g_sse3OrBetter;     // result of the slot-filling test; nothing reads it
extern QM_PROC g_slots[kSlotCount]; // entry slots of records 25..84
extern FeatureCache g_featureCache;

// Record numbers of the slot functions, for calls through the entry slots.
enum SlotRecord : int {
#define QM_SLOT(rec, ord, ret, name, params, args) rec_##name = rec,
#define QM_SLOT_TODO(rec, ord, ret, name, params, args) rec_##name = rec,
#include "ippiQM300_functions.h"
};

// The two attach steps, on any processor description (tests feed made-up ones).
IppStatus processor_init(const CpuidSource& cpu, FeatureCache& cache);
void fill_slots(const CpuidSource& cpu, FeatureCache& cache);

// Allocation hooks; only allocate and free are used. Not reachable by hosts:
// tests link the module's objects and swap them to inject failures.
struct AllocHooks {
    void* (*allocate)(size_t);
    void* (*zero_allocate)(size_t, size_t);
    void* (*reallocate)(void*, size_t);
    void (*release)(void*);
};
AllocHooks& alloc_hooks();
void reset_alloc_hooks();

// Shared bodies of the memory services that each implementation set exposes.
Ipp8u* malloc_8u_c3(int width, int height, int* step);

// Image-primitive version record of a set (y8 depends on the enabled mask).
const IppLibraryVersion* image_version(SetId set);

}  // namespace qm

// A primitive as the scanner filters must reach it: through its entry slot,
// so that processors without SSE3 run the SSE2 set there too.
#define QM_VIA_SLOT(name) \
    (reinterpret_cast<qm_##name##_fn>(::qm::g_slots[::qm::rec_##name - ::qm::kFirstSlotRecord]))
