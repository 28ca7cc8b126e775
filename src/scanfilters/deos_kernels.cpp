// Kernel accessors of the scanner convolution filters.
#include <cstring>

#include "scanfilters/checks.h"
#include "scanfilters/kernel_tables.h"

namespace qm {

DeosTable deos_table(Ipp32u radius) {
    switch (radius) {
        case 3: return {kDeosKernelsR3, 3};
        case 4: return {kDeosKernelsR4, 4};
        case 7: return {kDeosKernelsR7, 7};
        default: return {kDeosKernelsR2, 2};
    }
}

int deos_kernel_level(int level) {
    if (level >= 15) level = (level - 15) / 5;
    if (level >= 7) return 6;
    // Negative levels are outside the callers' contract. Rather than read
    // before the table, they get the mildest kernel.
    return level < 0 ? 0 : level;
}

Ipp32s deos_fixed(float w) {
    const float p = w * 65536.0f;
    // Out of range (and NaN) gives the integer-indefinite value, as the
    // hardware conversion does, without the undefined behaviour of a cast.
    if (!(p > -2147483904.0f && p < 2147483648.0f)) return INT32_MIN;
    return static_cast<Ipp32s>(p);
}

}  // namespace qm

using namespace qm;

extern "C" {

Ipp32u GetDeosConvKernelValue(Ipp32u mode, Ipp32u radius, int level, Ipp32f* out) {
    if (const Ipp32u r = ScanChecks{}.conv_mode(mode)) return r;
    const DeosTable t = deos_table(radius);
    if (t.data == nullptr) return qmScanBadArgument;  // reserved: never fires with the built-in tables
    std::memcpy(out, t.level(deos_kernel_level(level)), sizeof(float) * t.kernel_floats());
    return qmScanDone;
}

Ipp32u SetDeosConvKernelValue(Ipp32u mode, Ipp32u radius, int level, Ipp32s* out) {
    if (const Ipp32u r = ScanChecks{}.conv_mode(mode)) return r;
    const DeosTable t = deos_table(radius);
    if (t.data == nullptr) return qmScanBadArgument;
    // The count follows the radius asked for, the copy the table chosen: for
    // radius 0 and 1 that is the first 1 or 9 weights of a 5x5 kernel.
    const uint64_t side = 2 * uint64_t{radius} + 1;
    const uint64_t count = side * side;
    // Radius 5, 6 and above 7 have no table of their own; reading past the
    // copied kernel would hand out garbage, so those get 1 and nothing written.
    if (count > static_cast<uint64_t>(t.kernel_floats())) return qmScanBadArgument;
    float kernel[225];
    std::memcpy(kernel, t.level(deos_kernel_level(level)), sizeof(float) * t.kernel_floats());
    for (uint64_t i = 0; i < count; ++i) out[i] = deos_fixed(kernel[i]);
    return qmScanDone;
}

Ipp32u SetDeosConvKernelUserValue(const Ipp32f* in, Ipp32u radius, Ipp32s* out) {
    const uint64_t side = 2 * uint64_t{radius} + 1;
    for (uint64_t i = 0, count = side * side; i < count; ++i) out[i] = deos_fixed(in[i]);
    return qmScanDone;
}

}  // extern "C"
