#include "module.h"

#include <dlfcn.h>
#include <unistd.h>

#include <climits>
#include <cstdio>

namespace qm300 {

Module::Module(const std::string& path) : path_(path) {
    handle_ = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle_ == nullptr) throw ToolError("cannot load the module " + path + ": " + dlerror());
    void* sym = dlsym(handle_, "GetProcAddressForThisDLL");
    if (sym == nullptr) {
        dlclose(handle_);
        throw ToolError(path + " is not the image module (no GetProcAddressForThisDLL)");
    }
    lookup_ = reinterpret_cast<qm_GetProcAddressForThisDLL_fn>(sym);
}

Module::~Module() {
    if (handle_ != nullptr) dlclose(handle_);
}

// Where an installed qm300 finds the module, relative to its own folder
// (bin/ -> lib/ippiQM300/ or the multiarch equivalent); set by the install rules.
#ifndef QM300_INSTALLED_MODULE
#define QM300_INSTALLED_MODULE "../lib/ippiQM300/ippiQM300-x64.so"
#endif

std::string default_module_path() {
    char exe[PATH_MAX];
    const ssize_t n = readlink("/proc/self/exe", exe, sizeof exe - 1);
    if (n <= 0) return "./ippiQM300-x64.so";
    std::string dir(exe, static_cast<size_t>(n));
    dir = dir.substr(0, dir.rfind('/'));
    const std::string beside = dir + "/ippiQM300-x64.so";
    const std::string installed = dir + "/" + QM300_INSTALLED_MODULE;
    // Beside the program (the build tree) wins; an error names that path.
    if (access(beside.c_str(), F_OK) != 0 && access(installed.c_str(), F_OK) == 0) return installed;
    return beside;
}

std::string describe_status(IppStatus s) {
    struct Row { IppStatus status; const char* name; const char* meaning; };
    static const Row kRows[] = {
        {0, "ippStsNoErr", "success"},
        {1, "ippStsNoOperation", "nothing to do"},
        {20, "ippStsWrongVendor", "warning: processor of another vendor"},
        {29, "ippStsNoRoiOverlap", "warning: the source region lies outside the source image; nothing written"},
        {36, "ippStsNotSupportedCpu", "processor not supported or not identifiable"},
        {37, "ippStsCacheSizeUnknown", "cache size unknown"},
        {-5, "ippStsBadArgErr", "a sigma or the kernel step is out of range"},
        {-6, "ippStsSizeErr", "a width or height is less than 1 (image too small for the mask?)"},
        {-8, "ippStsNullPtrErr", "a required pointer is null"},
        {-9, "ippStsMemAllocErr", "a work buffer could not be allocated"},
        {-14, "ippStsStepErr", "a row step is too small"},
        {-17, "ippStsContextMatchErr", "the filter record was not prepared by its set-up call"},
        {-22, "ippStsInterpolationErr", "interpolation not accepted here"},
        {-23, "ippStsResizeFactorErr", "a resize factor is zero or negative"},
        {-33, "ippStsMaskSizeErr", "mask size not accepted"},
        {-34, "ippStsAnchorErr", "anchor outside the mask"},
        {-51, "ippStsDivisorErr", "the divisor is zero"},
        {-201, "ippStsResizeNoOperationErr", "the result would be less than half a pixel wide or high"},
        {-9999, "ippStsNotSupportedModeErr", "filter type not supported"},
    };
    for (const Row& r : kRows)
        if (r.status == s) return std::string(r.name) + " (" + std::to_string(s) + "): " + r.meaning;
    return "status " + std::to_string(s) + " (unknown)";
}

std::string describe_scanner_result(Ipp32u code) {
    const char* meaning = nullptr;
    switch (code) {
        case qmScanDone: meaning = "done"; break;
        case qmScanBadArgument: meaning = "bad radius, null kernel, bad mode or source equals destination"; break;
        case qmScanBadLevel: meaning = "level above 10"; break;
        case qmScanBadWidth: meaning = "width not a multiple of 4"; break;
        case qmScanBadMode: meaning = "mode above 1"; break;
        case qmScanSameImage: meaning = "source equals destination"; break;
        default: return describe_status(static_cast<IppStatus>(code));
    }
    return "result " + std::to_string(code) + ": " + meaning;
}

void check_status(const char* function, IppStatus status) {
    if (status < 0) throw ToolError(std::string(function) + " failed: " + describe_status(status));
    if (status > 0) std::fprintf(stderr, "qm300: %s: %s\n", function, describe_status(status).c_str());
}

void check_scanner_result(const char* function, Ipp32u code) {
    if (code != qmScanDone)
        throw ToolError(std::string(function) + " refused the call: " + describe_scanner_result(code));
}

}  // namespace qm300
