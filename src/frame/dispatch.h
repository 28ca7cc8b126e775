// Variant tables and the per-set slot functions, for the frame and for tests
// that call every implementation set directly.
#pragma once
#include "frame/frame.h"

#define QM_DECL_SET mx
#include "frame/set_decls.h"
#undef QM_DECL_SET
#define QM_DECL_SET m7
#include "frame/set_decls.h"
#undef QM_DECL_SET
#define QM_DECL_SET u8
#include "frame/set_decls.h"
#undef QM_DECL_SET
#define QM_DECL_SET n8
#include "frame/set_decls.h"
#undef QM_DECL_SET
#define QM_DECL_SET y8
#include "frame/set_decls.h"
#undef QM_DECL_SET
#define QM_DECL_SET e9
#include "frame/set_decls.h"
#undef QM_DECL_SET
#define QM_DECL_SET e9w
#include "frame/set_decls.h"
#undef QM_DECL_SET

namespace qm::vt {
// One six-entry variant table per dispatched primitive, indexed by g_variant.
// Not const: attach chooses which build of the AVX set fills position 5.
#define QM_SLOT(rec, ord, ret, name, params, args) extern qm_##name##_fn name[6];
#include "ippiQM300_functions.h"
}  // namespace qm::vt

namespace qm {
// Fills position 5 of every variant table with the AVX set's entries, built
// for AVX2 (e9w) when `wide`, else as plain AVX (e9). Attach calls it.
void place_avx_build(bool wide);

// The implementation sets by name, in SetId order, and whether a processor
// has what a set's code needs; for tests and benchmarks that call sets directly.
inline constexpr const char* kSetNames[] = {"mx", "m7", "u8", "n8", "y8", "e9", "e9w"};
bool runs_on(SetId set, const CpuidSource& cpu);
}  // namespace qm
