/* A plain C host: compiles against the public header and resolves a few
   functions through their declared pointer types. */
#include <dlfcn.h>
#include <stdio.h>
#include <string.h>

#include "ippiQM300.h"

int main(void) {
    void* module = dlopen(QM_MODULE_PATH, RTLD_NOW);
    qm_GetProcAddressForThisDLL_fn lookup;
    qm_ippiCopy_8u_C3P3R_fn split;
    Ipp8u src[6] = {1, 2, 3, 4, 5, 6}, p0[2], p1[2], p2[2];
    Ipp8u* planes[3];
    IppiSize roi = {2, 1};
    if (module == NULL) return 1;
    {
        /* ISO C has no cast between object and function pointers: copy the bits. */
        void* sym = dlsym(module, "GetProcAddressForThisDLL");
        QM_PROC proc;
        if (sym == NULL) return 2;
        memcpy(&lookup, &sym, sizeof lookup);
        proc = lookup(module, "ippiCopy_8u_C3P3R");
        if (proc == NULL) return 3;
        split = (qm_ippiCopy_8u_C3P3R_fn)proc;
    }
    planes[0] = p0; planes[1] = p1; planes[2] = p2;
    if (split(src, 6, planes, 2, roi) != ippStsNoErr) return 4;
    if (p0[1] != 4 || p1[1] != 5 || p2[1] != 6) return 5;
    if (sizeof(NrImageRecord) != 24 || sizeof(IppLibraryVersion) != 48) return 6;
    puts("c header ok");
    return 0;
}
