// Included first by every per-set source (files named *_set.cpp). The build
// compiles each such file once per implementation set, with that set's
// instruction-set flags and -DQM_SET=<set>; its code lives in qm::QM_SET.
//
// The set codes, lowest first (flags in CMakeLists.txt):
//   mx  SSE2: processors without SSE3, reached through the entry slots only
//   m7  SSE3: also variant 0 of the tables
//   u8  SSSE3
//   n8  SSSE3 and MOVBE (low-power cores)
//   y8  SSE4.1 and SSE4.2
//   e9  AVX
//   e9w AVX2: the AVX set again, integer lanes 256 bits wide. Not a variant of
//       its own: attach puts it in position 5 when the processor has AVX2
//       and the operating system saves the AVX state, and it reports itself
//       as the AVX set everywhere.
#pragma once
#ifndef QM_SET
#error "per-set sources are compiled with -DQM_SET=mx|m7|u8|n8|y8|e9|e9w"
#endif
#include "frame/frame.h"

#define QM_DECL_SET QM_SET
#include "frame/set_decls.h"
#undef QM_DECL_SET

namespace qm::QM_SET {
inline constexpr SetId kThisSet = SetId::QM_SET;
}  // namespace qm::QM_SET
