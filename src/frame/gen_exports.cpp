// Build-time generator of the linker's export list, from the function list.
//   gen_exports version-script   the ELF version script
//   gen_exports def              a module-definition file with the ordinals
#include <cstdio>
#include <cstring>

#include "ippiQM300.h"

namespace {
struct Export {
    int ordinal;
    const char* name;
};
// Only functions with code are exported; an ordinal of 0 means lookup-only.
constexpr Export kExports[] = {
#define QM_FIXED(rec, ord, ret, name, params) {ord, #name},
#define QM_SLOT(rec, ord, ret, name, params, args) {ord, #name},
#define QM_LOOKUP(ord, ret, name, params) {ord, #name},
#include "ippiQM300_functions.h"
};
}  // namespace

int main(int argc, char** argv) {
    const bool def = argc > 1 && std::strcmp(argv[1], "def") == 0;
    if (def) std::printf("LIBRARY \"ippiQM300-x64.dll\"\nEXPORTS\n");
    else std::printf("{\n  global:\n");
    for (const Export& e : kExports) {
        if (e.ordinal == 0) continue;
        if (def) std::printf("  %s @%d\n", e.name, e.ordinal);
        else std::printf("    %s;\n", e.name);
    }
    if (!def) std::printf("  local:\n    *;\n};\n");
    return 0;
}
