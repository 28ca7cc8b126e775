// The module as the scanner driver uses it: loaded with dlopen, every
// function resolved by name through GetProcAddressForThisDLL.
#pragma once
#include <stdexcept>
#include <string>

#include "ippiQM300.h"

namespace qm300 {

// Every failure the tool reports: one line for the user, then a non-zero exit.
struct ToolError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

class Module {
public:
    explicit Module(const std::string& path);
    ~Module();
    Module(const Module&) = delete;
    Module& operator=(const Module&) = delete;

    const std::string& path() const { return path_; }
    // Null when the name is unknown or has no implementation.
    QM_PROC lookup(const char* name) const { return lookup_(handle_, name); }
    template <class Fn>
    Fn get(const char* name) const {
        QM_PROC p = lookup(name);
        if (p == nullptr)
            throw ToolError(std::string("the module has no function ") + name +
                            " (an older or partial build?)");
        return reinterpret_cast<Fn>(p);
    }

private:
    std::string path_;
    void* handle_ = nullptr;
    qm_GetProcAddressForThisDLL_fn lookup_ = nullptr;
};

#define QM_FN(module, name) ((module).get<qm_##name##_fn>(#name))

// Name and meaning of a status returned by a primitive or a scanner filter.
std::string describe_status(IppStatus status);
std::string describe_scanner_result(Ipp32u code);
// Throws a ToolError naming the function when the status is an error.
void check_status(const char* function, IppStatus status);
void check_scanner_result(const char* function, Ipp32u code);

// The default module: next to the running executable.
std::string default_module_path();

}  // namespace qm300
