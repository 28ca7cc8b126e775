// Loads the module like the scanner driver and reports what it chose.
#include <dlfcn.h>

#include <cstdio>
#include <string>

#include "ippiQM300.h"

namespace {

std::string module_next_to(const char* argv0) {
    std::string dir = argv0;
    const auto slash = dir.rfind('/');
    dir = slash == std::string::npos ? "." : dir.substr(0, slash);
    return dir + "/ippiQM300-x64.so";
}

void print_version(const char* what, const IppLibraryVersion* v) {
    if (v == nullptr) {
        std::printf("%-22s (not available)\n", what);
        return;
    }
    std::printf("%-22s %d.%d.%d.%d  cpu \"%.4s\"  %s  \"%s\"  %s\n", what, v->major, v->minor,
                v->majorBuild, v->build, v->targetCpu, v->Name, v->Version, v->BuildDate);
}

const char* class_name(int type) {
    switch (type) {
        case ippCpuAVX: return "AVX";
        case ippCpuSSE42: return "SSE4.2";
        case ippCpuSSE41: return "SSE4.1";
        case ippCpuSSSE3: return "SSSE3";
        case ippCpuSSE3: return "SSE3";
        case ippCpuSSE2: return "SSE2";
        case ippCpuSSE: return "SSE";
        case ippCpuX8664: return "x86-64";
        case 0x21: case 0x22: case 0x23: case 0x24: case 0x25: return "named core";
        default: return "unknown";
    }
}

}  // namespace

int main(int argc, char** argv) {
    const std::string path = argc > 1 ? argv[1] : module_next_to(argv[0]);
    void* module = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (module == nullptr) {
        std::fprintf(stderr, "qm_info: cannot load %s: %s\n", path.c_str(), dlerror());
        return 1;
    }
    auto lookup = reinterpret_cast<qm_GetProcAddressForThisDLL_fn>(
        dlsym(module, "GetProcAddressForThisDLL"));
    if (lookup == nullptr) {
        std::fprintf(stderr, "qm_info: %s does not export GetProcAddressForThisDLL\n", path.c_str());
        return 1;
    }
    auto getType = reinterpret_cast<qm_ippGetCpuType_fn>(lookup(module, "ippGetCpuType"));
    auto getFeatures = reinterpret_cast<qm_ippGetCpuFeatures_fn>(lookup(module, "ippGetCpuFeatures"));
    auto coreVersion = reinterpret_cast<qm_ippGetLibVersion_fn>(lookup(module, "ippGetLibVersion"));
    auto imageVersion = reinterpret_cast<qm_ippiGetLibVersion_fn>(lookup(module, "ippiGetLibVersion"));
    auto cores = reinterpret_cast<qm_ippGetNumCoresOnDie_fn>(lookup(module, "ippGetNumCoresOnDie"));

    std::printf("module                 %s\n", path.c_str());
    const int type = getType();
    std::printf("processor class        0x%02x (%s)\n", type, class_name(type));
    Ipp64u mask = 0;
    getFeatures(&mask, nullptr);
    static const char* const kBits[] = {"MMX", "SSE", "SSE2", "SSE3", "SSSE3", "MOVBE", "SSE4.1",
                                        "SSE4.2", "AVX", "AVX(OS)", "AES", "CLMUL", "KNC", "RDRAND",
                                        "F16C"};
    std::printf("feature mask           0x%llx:", static_cast<unsigned long long>(mask));
    for (int b = 0; b < 15; ++b)
        if (mask & (1ull << b)) std::printf(" %s", kBits[b]);
    std::printf("\ncores on die           %d\n", cores());
    const IppLibraryVersion* iv = imageVersion();
    std::printf("implementation set     %.4s\n", iv->targetCpu);
    print_version("core version", coreVersion());
    print_version("image version", iv);
    dlclose(module);
    return 0;
}
