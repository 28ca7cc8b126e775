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

namespace qm::vt {
// One six-entry variant table per dispatched primitive, indexed by g_variant.
#define QM_SLOT(rec, ord, ret, name, params, args) extern const qm_##name##_fn name[6];
#include "ippiQM300_functions.h"
}  // namespace qm::vt
