// The three-lobed Lanczos kernel as a sampled table, shared by resize and remap.
#pragma once

namespace qm {

// L(x) = sinc(x) * sinc(x / 3) at x = k / 100, k = 0..300, followed by one
// extra zero so that interpolating next to the last sample stays in bounds.
inline constexpr int kLanczosSamples = 301;
const float* lanczos3_table();

}  // namespace qm
