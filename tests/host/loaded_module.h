// Fixture for the host tests: the built module loaded as the driver loads it,
// every function resolved by name through GetProcAddressForThisDLL.
#pragma once
#include <gtest/gtest.h>

#include "host/module_loader.h"
#include "ippiQM300.h"

namespace qmtest {

class LoadedModule : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        if (handle != nullptr) return;
        handle = qm_load_module(QM_MODULE_PATH);
        ASSERT_NE(handle, nullptr) << QM_MODULE_PATH;
        lookup = reinterpret_cast<qm_GetProcAddressForThisDLL_fn>(
            qm_module_symbol(handle, "GetProcAddressForThisDLL"));
        ASSERT_NE(lookup, nullptr);
    }
    template <class Fn>
    static Fn get(const char* name) {
        auto p = reinterpret_cast<Fn>(lookup(handle, name));
        EXPECT_NE(p, nullptr) << name;
        return p;
    }
    static inline void* handle = nullptr;
    static inline qm_GetProcAddressForThisDLL_fn lookup = nullptr;
};

}  // namespace qmtest
