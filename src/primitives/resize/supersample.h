// Area averaging for reductions (both factors at most 1), one implementation
// set's engine behind the resize front.
#pragma once
#include "frame/set.h"
#include "primitives/resize/resize_front.h"

namespace qm::QM_SET {

template <int CH>
IppStatus resize_supersample(const resize::Job& g);

}  // namespace qm::QM_SET
