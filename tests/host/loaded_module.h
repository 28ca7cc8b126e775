// Fixture for the host tests: the built module loaded as the driver loads it,
// every function resolved by name through GetProcAddressForThisDLL.
#pragma once
#include <dlfcn.h>
#include <gtest/gtest.h>

#include "ippiQM300.h"

namespace qmtest {

class LoadedModule : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        if (handle != nullptr) return;
        handle = dlopen(QM_MODULE_PATH, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(handle, nullptr) << dlerror();
        lookup = reinterpret_cast<qm_GetProcAddressForThisDLL_fn>(dlsym(handle, "GetProcAddressForThisDLL"));
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
