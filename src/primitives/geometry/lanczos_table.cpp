// Built once (not per set): every set must read the very same samples.
#include "primitives/geometry/lanczos_table.h"

#include <cmath>

namespace qm {
namespace {

struct Table {
    float v[kLanczosSamples + 1];
    Table() {
        const double pi = 3.14159265358979323846;
        v[0] = 1.0f;
        for (int k = 1; k < kLanczosSamples - 1; ++k) {
            const double x = k / 100.0;
            const double a = pi * x, b = pi * x / 3.0;
            v[k] = static_cast<float>((std::sin(a) / a) * (std::sin(b) / b));
        }
        // sin(3 pi) is not exactly zero in floating point; the kernel's end is.
        v[kLanczosSamples - 1] = 0.0f;
        v[kLanczosSamples] = 0.0f;
    }
};

const Table kTable;

}  // namespace

const float* lanczos3_table() { return kTable.v; }

}  // namespace qm
