/* A plain C host: compiles against the public header and resolves a few
   functions through their declared pointer types. */
#include <stdio.h>
#include <string.h>

#include "host/module_loader.h"
#include "ippiQM300.h"

int main(void) {
    void* module = qm_load_module(QM_MODULE_PATH);
    qm_GetProcAddressForThisDLL_fn lookup;
    qm_ippiCopy_8u_C3P3R_fn split;
    Ipp8u src[6] = {1, 2, 3, 4, 5, 6}, p0[2], p1[2], p2[2];
    Ipp8u* planes[3];
    IppiSize roi = {2, 1};
    if (module == NULL) return 1;
    {
        QM_PROC proc = qm_module_symbol(module, "GetProcAddressForThisDLL");
        if (proc == NULL) return 2;
        lookup = (qm_GetProcAddressForThisDLL_fn)proc;
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
