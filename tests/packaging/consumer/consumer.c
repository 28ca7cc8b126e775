/* A host built against the installed packages: it finds the header and the
 * module's path through CMake or pkg-config, loads the module as the driver
 * does and runs one scanner filter. */
#include <dlfcn.h>
#include <stdio.h>
#include <string.h>

#include "ippiQM300.h"

int main(void) {
    void* module = dlopen(QM_MODULE, RTLD_NOW | RTLD_LOCAL);
    if (!module) {
        fprintf(stderr, "cannot load %s: %s\n", QM_MODULE, dlerror());
        return 1;
    }
    qm_GetProcAddressForThisDLL_fn lookup =
        (qm_GetProcAddressForThisDLL_fn)dlsym(module, "GetProcAddressForThisDLL");
    if (!lookup) return 2;
    qm_DeosConvRGB_fn sharpen = (qm_DeosConvRGB_fn)lookup(module, "DeosConvRGB");
    qm_ippGetCpuType_fn cpu = (qm_ippGetCpuType_fn)lookup(module, "ippGetCpuType");
    if (!sharpen || !cpu) return 3;
    /* A flat page stays flat inside the frame (the kernels sum to 1). */
    enum { W = 16, H = 12, R = 2 };
    static Ipp8u src[W * H * 3], dst[W * H * 3];
    memset(src, 120, sizeof src);
    if (sharpen(src, dst, W, H, 0, R, 4) != 0) return 4;
    for (int y = R; y < H - R; ++y)
        for (int x = 3 * R; x < 3 * (W - R); ++x) {
            const int v = dst[y * 3 * W + x];
            if (v < 119 || v > 121) return 5;
        }
    printf("consumer ok: processor class 0x%x\n", cpu());
    return 0;
}
