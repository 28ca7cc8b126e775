/* A minimal Windows host, as a scanner driver uses the module: load the DLL,
   resolve a filter by name, run it on a page.
     x86_64-w64-mingw32-gcc -std=c99 -Iinclude examples/windows_host.c -o windows_host.exe
     windows_host.exe [path\to\ippiQM300-x64.dll]
   It sharpens a generated 400 x 300 colour page with DeosConvRGB (radius 3,
   level 4) and prints the status and how much of the page changed. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <windows.h>

#include "ippiQM300.h"

int main(int argc, char** argv) {
    const char* path = argc > 1 ? argv[1] : "ippiQM300-x64.dll";
    const int width = 400, height = 300; /* the filters want a width that is a multiple of 4 */
    HMODULE module = LoadLibraryA(path);
    qm_GetProcAddressForThisDLL_fn lookup;
    qm_DeosConvRGB_fn sharpen;
    Ipp8u *page, *out;
    size_t i, changed = 0, size = (size_t)width * height * 3;
    Ipp32u result;
    int x, y;

    if (module == NULL) {
        fprintf(stderr, "cannot load %s (error %lu)\n", path, (unsigned long)GetLastError());
        return 1;
    }
    /* Through QM_PROC, the generic entry type, so that the compiler accepts
       the change of signature. */
    lookup = (qm_GetProcAddressForThisDLL_fn)(QM_PROC)GetProcAddress(module, "GetProcAddressForThisDLL");
    /* Letter case does not matter to the module's own lookup. */
    sharpen = lookup ? (qm_DeosConvRGB_fn)lookup(module, "deosconvrgb") : NULL;
    if (sharpen == NULL) {
        fprintf(stderr, "%s has no DeosConvRGB\n", path);
        return 1;
    }

    page = malloc(size);
    out = malloc(size);
    if (page == NULL || out == NULL) return 1;
    /* A soft gradient with dark text-like bars across it. */
    for (y = 0; y < height; ++y)
        for (x = 0; x < width; ++x) {
            Ipp8u* p = page + ((size_t)y * width + x) * 3;
            const int ink = (y % 24 < 4) && (x % 40 < 30);
            p[0] = (Ipp8u)(ink ? 20 : 160 + x * 80 / width);
            p[1] = (Ipp8u)(ink ? 25 : 170 + y * 60 / height);
            p[2] = (Ipp8u)(ink ? 30 : 200);
        }
    memcpy(out, page, size); /* the filter leaves a 3-pixel frame as it was */

    result = sharpen(page, out, width, height, 0, 3, 4);
    for (i = 0; i < size; ++i) changed += page[i] != out[i];
    printf("DeosConvRGB on a %d x %d page: result %u, %.1f%% of the bytes changed\n", width, height,
           (unsigned)result, 100.0 * (double)changed / (double)size);
    free(page);
    free(out);
    FreeLibrary(module);
    return result == 0 && changed > 0 ? 0 : 1;
}
