// Declares every slot function of one implementation set, in namespace
// qm::QM_DECL_SET. Included once per set; no include guard on purpose.
#include "ippiQM300.h"

namespace qm::QM_DECL_SET {
#define QM_SLOT(rec, ord, ret, name, params, args) ret name params;
#include "ippiQM300_functions.h"
}  // namespace qm::QM_DECL_SET
