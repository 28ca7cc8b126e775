/* Loads the built module the way the platform's hosts do: dlopen/dlsym on
   Linux, LoadLibrary/GetProcAddress on Windows. C and C++. */
#ifndef QM_TEST_MODULE_LOADER_H
#define QM_TEST_MODULE_LOADER_H

#include <string.h>

#include "ippiQM300.h"

#ifdef _WIN32
#include <windows.h>
static inline void* qm_load_module(const char* path) { return (void*)LoadLibraryA(path); }
static inline QM_PROC qm_module_symbol(void* module, const char* name) {
    return (QM_PROC)GetProcAddress((HMODULE)module, name);
}
#else
#include <dlfcn.h>
static inline void* qm_load_module(const char* path) { return dlopen(path, RTLD_NOW | RTLD_LOCAL); }
static inline QM_PROC qm_module_symbol(void* module, const char* name) {
    /* ISO C has no cast between object and function pointers: copy the bits. */
    void* sym = dlsym(module, name);
    QM_PROC proc;
    memcpy(&proc, &sym, sizeof proc);
    return proc;
}
#endif

#endif
