// The division by 571 that the 5x5 Gauss filter's single-precision form
// relies on (its wide rows are among the Gauss shapes in median_test.cpp).
#include <gtest/gtest.h>

#include <cfenv>

#include "support/image.h"

namespace {

TEST(GaussWide, ReciprocalProductRoundsLikeTheIntegerRule) {
    // Every total the 5x5 mask can produce, in every rounding mode.
    const volatile float recip = 1.0f / 571.0f;
    for (int mode : {FE_TONEAREST, FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO}) {
        std::fesetround(mode);
        for (int s = 0; s <= 255 * 571; ++s) {
            const int want = static_cast<int>((static_cast<Ipp32u>(s + 286) * 29382u) >> 24);
            const float t = static_cast<float>(s) * recip + 0.5f;
            ASSERT_EQ(static_cast<int>(t), want) << s << " mode " << mode;
        }
    }
    std::fesetround(FE_TONEAREST);
}

}  // namespace
