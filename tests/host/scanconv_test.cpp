// The scanner convolution filters as the driver reaches them: by name from
// the loaded module (every name's resolution is in lookup_test.cpp).
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "host/loaded_module.h"
#include "ippiQM300.h"

namespace {

class ScanConv : public qmtest::LoadedModule {};

TEST_F(ScanConv, KernelFromTheTableDrivesTheConvolution) {
    auto getK = get<qm_GetDeosConvKernelValue_fn>("GetDeosConvKernelValue");
    auto setK = get<qm_SetDeosConvKernelValue_fn>("setdeosconvkernelvalue");
    auto rgb = get<qm_DeosConvRGB_fn>("DeosConvRGB");
    auto rgb2 = get<qm_DeosConvRGB2_fn>("DeosConvRGB2");
    auto rgb3 = get<qm_DeosConvRGB3_fn>("DeosConvRGB3");
    ASSERT_TRUE(getK && setK && rgb && rgb2 && rgb3);
    const int w = 32, h = 14, r = 3;
    std::vector<Ipp8u> src(3 * w * h), a(src.size()), b(src.size()), c(src.size());
    for (size_t i = 0; i < src.size(); ++i) src[i] = Ipp8u((i * 37) ^ (i >> 3));
    float k[49];
    Ipp32s kf[49];
    ASSERT_EQ(getK(0, r, 22, k), 0u);
    ASSERT_EQ(setK(0, r, 22, kf), 0u);
    EXPECT_EQ(kf[24], Ipp32s(k[24] * 65536.0f));
    ASSERT_EQ(rgb(src.data(), a.data(), w, h, 0, r, 22), 0u);
    ASSERT_EQ(rgb2(src.data(), b.data(), w, h, 0, r, 0, k), 0u);
    ASSERT_EQ(rgb3(src.data(), c.data(), w, h, 0, r, 0, kf), 0u);
    // Same kernel three ways: the planar worker and the float primitive agree
    // exactly; the 16.16 kernel stays within one step.
    for (int y = r; y < h - r; ++y)
        for (int x = 3 * r; x < 3 * (w - r); ++x) {
            const size_t i = size_t(y) * 3 * w + x;
            ASSERT_EQ(a[i], b[i]) << y << "," << x;
            ASSERT_LE(std::abs(int(a[i]) - int(c[i])), 1) << y << "," << x;
        }
    EXPECT_EQ(rgb(src.data(), a.data(), 30, h, 0, r, 22), 3u);
}

}  // namespace
