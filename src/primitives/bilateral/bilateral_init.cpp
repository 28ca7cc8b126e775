// Buffer size and record set-up of the bilateral filter, one copy for all
// implementation sets: the weight tables must not depend on the set.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "primitives/bilateral/bilateral_record.h"

namespace qm {
namespace {

template <typename T>
T* align_up(void* p, uintptr_t a) {
    return reinterpret_cast<T*>((reinterpret_cast<uintptr_t>(p) + a - 1) & ~(a - 1));
}

int radius_of(int kernelExtent, int step) { return ((kernelExtent - 1) >> 1) / step * step; }

}  // namespace

IppStatus bilateral_buf_size(int filterType, IppiSize roi, IppiSize kernel, int* pBufferSize) {
    if (pBufferSize == nullptr) return ippStsNullPtrErr;
    // The ROI size is checked but takes no part in the result.
    if (roi.width < 1 || roi.height < 1) return ippStsSizeErr;
    if (kernel.width < 1 || kernel.height < 1) return ippStsMaskSizeErr;
    if (filterType != ippiFilterBilateralGauss && filterType != ippiFilterBilateralGaussFast)
        return ippStsNotSupportedModeErr;
    int m = std::max(kernel.width, kernel.height);
    if ((m & 1) == 0) --m;
    // Unsigned: kernels near 2^31 on both sides overflow even 64 bits. The
    // result keeps the low 32 bits, as the 32-bit sum always has.
    const uint64_t taps = (uint64_t(kernel.width) * uint64_t(kernel.height) + 3) & ~uint64_t{3};
    *pBufferSize = static_cast<int>(static_cast<uint32_t>((uint64_t(m) + taps) * 4 + 2165));
    return ippStsNoErr;
}

IppStatus bilateral_init(int filterType, IppiSize kernel, Ipp32f valSq, Ipp32f posSq, int step, Ipp8u* pBuffer) {
    if (pBuffer == nullptr) return ippStsNullPtrErr;
    if (kernel.width < 1 || kernel.height < 1) return ippStsMaskSizeErr;
    // Written as negated comparisons so that a NaN sigma is refused too.
    if (!(valSq > 0.0f) || !(posSq > 0.0f) || step < 1) return ippStsBadArgErr;
    if (filterType != ippiFilterBilateralGauss && filterType != ippiFilterBilateralGaussFast)
        return ippStsNotSupportedModeErr;
    const int rx = radius_of(kernel.width, step);
    const int ry = radius_of(kernel.height, step);
    const int R = std::max(rx, ry);
    // Tested before anything is written, so a refused buffer never carries a
    // magic with stale table pointers behind it.
    if (R + 1 > 256) return ippStsMaskSizeErr;

    const double span = std::sqrt(double{valSq} * 1.42 * (std::log(static_cast<double>(kernel.width) * kernel.height) + 6.3));
    const int L = span >= 255.0 ? 256 : static_cast<int>(span) + 1;

    const unsigned offset = 8u - static_cast<unsigned>(reinterpret_cast<uintptr_t>(pBuffer) & 7u);
    pBuffer[0] = static_cast<Ipp8u>(offset);
    auto* rec = reinterpret_cast<BilateralRecord*>(pBuffer + offset);
    rec->magic = filterType == ippiFilterBilateralGauss ? kBilateralMagicGauss : kBilateralMagicGauss2;
    rec->type = filterType;

    float* area = align_up<float>(pBuffer + offset + sizeof(BilateralRecord), 16);
    float* value = area + 255;
    float* position = area + R + 512;
    float* work = align_up<float>(position + R + 1, 16);

    // Squared differences, saturated to 16 bits, then zero beyond the table length.
    for (int d = 0; d < L; ++d) value[d] = static_cast<float>(std::min(d * d, 65535));
    for (int d = L; d <= 255; ++d) value[d] = 0.0f;
    for (int r = 0; r <= R; ++r) position[r] = value[r];

    // exp in double on the float argument, rounded back to float.
    const float valScale = -0.5f / valSq;
    for (int d = 0; d < L; ++d) value[d] = static_cast<float>(std::exp(static_cast<double>(value[d] * valScale)));
    const float posScale = -0.5f / posSq;
    for (int r = 0; r < std::min(R + 1, L); ++r)
        position[r] = static_cast<float>(std::exp(static_cast<double>(position[r] * posScale)));
    if (step > 1)
        for (int r = 0; r <= R; ++r)
            if (r % step != 0) position[r] = 0.0f;
    for (int d = 1; d <= 255; ++d) value[-d] = value[d];

    rec->radiusX = rx;
    rec->radiusY = ry;
    rec->value = value;
    rec->position = position;
    rec->step = step;
    rec->work = work;
    return ippStsNoErr;
}

const BilateralRecord* bilateral_record(const Ipp8u* pBuffer) {
    const unsigned offset = pBuffer[0];
    // Init only ever writes 1 .. 8 leading to an 8-byte boundary; anything
    // else cannot be a record and is not followed.
    if (offset < 1 || offset > 8 || ((reinterpret_cast<uintptr_t>(pBuffer) + offset) & 7u) != 0) return nullptr;
    uint32_t magic;
    std::memcpy(&magic, pBuffer + offset, sizeof magic);
    if (magic != kBilateralMagicGauss && magic != kBilateralMagicGauss2) return nullptr;
    return reinterpret_cast<const BilateralRecord*>(pBuffer + offset);
}

}  // namespace qm
