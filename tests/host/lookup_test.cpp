// The module as the driver sees it: loaded, GetProcAddressForThisDLL, and the
// platform's own lookup.
#include <gtest/gtest.h>

#include <cctype>
#include <cstdint>
#include <cstdio>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "host/loaded_module.h"
#include "ippiQM300.h"

namespace {

enum class Kind { Code, Todo, None };
struct Row {
    int record;
    const char* name;
    Kind kind;
    int ordinal;
};
const std::vector<Row> kRows = {
#define QM_FIXED(rec, ord, ret, name, params) {rec, #name, Kind::Code, ord},
#define QM_FIXED_TODO(rec, ord, ret, name, params) {rec, #name, Kind::Todo, ord},
#define QM_SLOT(rec, ord, ret, name, params, args) {rec, #name, Kind::Code, ord},
#define QM_SLOT_TODO(rec, ord, ret, name, params, args) {rec, #name, Kind::Todo, ord},
#define QM_NONE(rec, name) {rec, #name, Kind::None, 0},
#include "ippiQM300_functions.h"
};

class Module : public qmtest::LoadedModule {};

TEST_F(Module, TableHasEightyFiveRecordsInOrderAndTwentySixExports) {
    ASSERT_EQ(kRows.size(), 85u);
    int exported = 0;
    for (size_t i = 0; i < kRows.size(); ++i) {
        EXPECT_EQ(kRows[i].record, static_cast<int>(i));
        exported += kRows[i].ordinal != 0;
    }
    EXPECT_EQ(exported + 1, 26);  // plus GetProcAddressForThisDLL itself
}

TEST_F(Module, EveryNameResolvesAsTheTableSays) {
    for (const Row& r : kRows) {
        QM_PROC p = lookup(handle, r.name);
        if (r.kind == Kind::Code) {
            EXPECT_NE(p, nullptr) << r.name;
        } else {
            EXPECT_EQ(p, nullptr) << r.name;
        }
        // Exports and table records are the same functions (this processor has SSE3).
        if (r.kind == Kind::Code && r.ordinal != 0) {
            EXPECT_EQ(p, qm_module_symbol(handle, r.name)) << r.name;
        }
    }
}

TEST_F(Module, NamesCompareWithoutAsciiCase) {
    std::string mixed = "IPPICOPY_8U_c3p3r";
    EXPECT_EQ(lookup(handle, mixed.c_str()), lookup(handle, "ippiCopy_8u_C3P3R"));
    EXPECT_EQ(lookup(handle, "ippmalloc"), lookup(handle, "ippMalloc"));
    EXPECT_EQ(lookup(handle, "IPPILUT_8U_C1R"), nullptr);
    EXPECT_EQ(lookup(handle, "ippiCopy_8u_C3P3R "), nullptr);  // no trimming, no prefix match
}

TEST_F(Module, UnknownEmptyAndNullNamesFallBackToThePlatform) {
    EXPECT_EQ(reinterpret_cast<void*>(lookup(handle, "GetProcAddressForThisDLL")),
              reinterpret_cast<void*>(lookup));
    EXPECT_EQ(lookup(handle, "NoSuchFunction"), nullptr);
    EXPECT_EQ(lookup(handle, ""), nullptr);
    EXPECT_EQ(lookup(handle, nullptr), nullptr);
    // Internal code is not visible to the platform lookup either.
    EXPECT_EQ(qm_module_symbol(handle, "ippMalloc"), nullptr);
}

std::map<std::string, int> wanted_exports() {
    std::map<std::string, int> want = {{"GetProcAddressForThisDLL", 70}};
    for (const Row& r : kRows)
        if (r.ordinal != 0 && r.kind == Kind::Code) want[r.name] = r.ordinal;
    return want;
}

#ifdef _WIN32
// The export and import directories of the DLL as the loader mapped it.
TEST_F(Module, DllExportsExactlyTheNamedOrdinalsAndImportsOnlyTheSystemAndRuntime) {
    const auto* base = static_cast<const unsigned char*>(handle);
    const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
    ASSERT_EQ(dos->e_magic, IMAGE_DOS_SIGNATURE);
    const auto* nt = reinterpret_cast<const IMAGE_NT_HEADERS64*>(base + dos->e_lfanew);
    ASSERT_EQ(nt->OptionalHeader.Magic, IMAGE_NT_OPTIONAL_HDR64_MAGIC);
    EXPECT_EQ(nt->FileHeader.Machine, IMAGE_FILE_MACHINE_AMD64);
    const IMAGE_DATA_DIRECTORY* dir = nt->OptionalHeader.DataDirectory;

    const auto* ex = reinterpret_cast<const IMAGE_EXPORT_DIRECTORY*>(
        base + dir[IMAGE_DIRECTORY_ENTRY_EXPORT].VirtualAddress);
    EXPECT_STREQ(reinterpret_cast<const char*>(base + ex->Name), "ippiQM300-x64.dll");
    EXPECT_EQ(ex->Base, 4u);
    const auto* names = reinterpret_cast<const DWORD*>(base + ex->AddressOfNames);
    const auto* nameOrdinals = reinterpret_cast<const WORD*>(base + ex->AddressOfNameOrdinals);
    const auto* functions = reinterpret_cast<const DWORD*>(base + ex->AddressOfFunctions);
    std::map<std::string, int> got;
    for (DWORD i = 0; i < ex->NumberOfNames; ++i)
        got[reinterpret_cast<const char*>(base + names[i])] = nameOrdinals[i] + static_cast<int>(ex->Base);
    const std::map<std::string, int> want = wanted_exports();
    EXPECT_EQ(got, want);
    int withCode = 0;  // nothing exported by ordinal alone
    for (DWORD i = 0; i < ex->NumberOfFunctions; ++i) withCode += functions[i] != 0;
    EXPECT_EQ(withCode, 26);

    // The loader agrees: every ordinal reaches its name's function, the gaps nothing.
    std::map<int, std::string> byOrdinal;
    for (const auto& [name, ord] : want) byOrdinal[ord] = name;
    for (int ord = 1; ord <= 80; ++ord) {
        const QM_PROC p = qm_module_symbol(handle, reinterpret_cast<const char*>(static_cast<uintptr_t>(ord)));
        auto it = byOrdinal.find(ord);
        if (it == byOrdinal.end()) {
            EXPECT_EQ(p, nullptr) << "ordinal " << ord;
        } else {
            EXPECT_NE(p, nullptr) << "ordinal " << ord;
            EXPECT_EQ(p, qm_module_symbol(handle, it->second.c_str())) << it->second;
        }
    }

    std::set<std::string> imports;
    const auto* imp = reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(
        base + dir[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress);
    for (; imp->Name != 0; ++imp) {
        std::string dll = reinterpret_cast<const char*>(base + imp->Name);
        for (char& c : dll) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
        imports.insert(dll);
    }
    EXPECT_EQ(imports, (std::set<std::string>{"KERNEL32.DLL", "MSVCRT.DLL"}));
    EXPECT_EQ(dir[IMAGE_DIRECTORY_ENTRY_DELAY_IMPORT].Size, 0u);
}
#else
TEST_F(Module, ExactlyTheExportedNamesAreVisible) {
    std::set<std::string> want;
    for (const auto& [name, ord] : wanted_exports()) want.insert(name);
    const std::string cmd = std::string("nm -D --defined-only '") + QM_MODULE_PATH + "'";
    FILE* nm = popen(cmd.c_str(), "r");
    ASSERT_NE(nm, nullptr);
    std::set<std::string> got;
    char line[512];
    while (fgets(line, sizeof line, nm)) {
        char type = 0;
        char name[256];
        if (sscanf(line, "%*s %c %255s", &type, name) == 2 && type != 'A') got.insert(name);
    }
    ASSERT_EQ(pclose(nm), 0);
    EXPECT_EQ(got, want);
}
#endif

TEST_F(Module, VersionRecordMatchesThisProcessor) {
    auto features = reinterpret_cast<qm_ippGetCpuFeatures_fn>(lookup(handle, "ippGetCpuFeatures"));
    auto version = reinterpret_cast<qm_ippiGetLibVersion_fn>(lookup(handle, "ippiGetLibVersion"));
    Ipp64u m = 0;
    ASSERT_EQ(features(&m, nullptr), 0);
    const char* want = (m & 0x100) && (m & 0x200) ? "e9"
                       : (m & 0x40)               ? "y8"
                       : (m & 0x30) == 0x30       ? "n8"
                       : (m & 0x10)               ? "u8"
                                                  : "m7";
    const IppLibraryVersion* v = version();
    EXPECT_EQ(std::string(v->targetCpu, 2), want);
    EXPECT_EQ(std::string(v->Name), std::string("ippi") + want + "_l.lib" +
                                        (want == std::string("y8") && (m & 0x80) ? "+" : ""));
    auto core = reinterpret_cast<qm_ippGetLibVersion_fn>(lookup(handle, "ippGetLibVersion"));
    EXPECT_STREQ(core()->Name, "ippcore_l.lib");
}

}  // namespace
