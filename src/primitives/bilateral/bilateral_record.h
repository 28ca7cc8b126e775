// The bilateral filter record that Init builds inside the caller's buffer.
#pragma once
#include <cstddef>
#include <cstdint>

#include "ippiQM300.h"

namespace qm {

inline constexpr uint32_t kBilateralMagicGauss = 0x434D416Cu;   // "lAMC", type 100
inline constexpr uint32_t kBilateralMagicGauss2 = 0x434D416Du;  // "mAMC", type 101

struct BilateralRecord {
    uint32_t magic;
    int32_t type;
    int32_t radiusX;
    int32_t radiusY;
    float* value;     // centre of the value table, indexed by a difference -255 .. 255
    float* position;  // indexed by the Chebyshev radius
    int32_t step;
    float* work;      // one position weight per tap, written by every filter call
};
static_assert(sizeof(BilateralRecord) == 48 && offsetof(BilateralRecord, value) == 16 &&
              offsetof(BilateralRecord, position) == 24 && offsetof(BilateralRecord, step) == 32 &&
              offsetof(BilateralRecord, work) == 40);

// Shared by every implementation set, so that the tables (and the exp in
// them) come from one piece of code.
IppStatus bilateral_buf_size(int filterType, IppiSize maxDstRoiSize, IppiSize maxKernelSize, int* pBufferSize);
IppStatus bilateral_init(int filterType, IppiSize maxKernelSize, Ipp32f valSquareSigma, Ipp32f posSquareSigma,
                         int stepInKernel, Ipp8u* pBuffer);
// The record of a prepared buffer, or null when the buffer does not hold one.
const BilateralRecord* bilateral_record(const Ipp8u* pBuffer);

}  // namespace qm
