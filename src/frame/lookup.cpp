// The name table behind GetProcAddressForThisDLL.
#include "frame/frame.h"
#include "frame/platform.h"

namespace qm {
namespace {

struct NameRecord {
    const char* name;
    QM_PROC entry;
};

// Records 0..24 are complete from the start, record 25 has its name only;
// 26..84 and the terminator are written by the first lookup.
NameRecord g_names[kRecordCount + 1] = {
#define QM_FIXED(rec, ord, ret, name, params) {#name, reinterpret_cast<QM_PROC>(&::name)},
#define QM_FIXED_TODO(rec, ord, ret, name, params) {#name, nullptr},
#include "ippiQM300_functions.h"
    {"ippiGetLibVersion", nullptr},
};

constexpr const char* kSlotNames[kSlotCount] = {
#define QM_SLOT(rec, ord, ret, name, params, args) #name,
#define QM_SLOT_TODO(rec, ord, ret, name, params, args) #name,
#define QM_NONE(rec, name) #name,
#include "ippiQM300_functions.h"
};

uint32_t g_lookupFilled = 0;

bool ascii_iequal(const char* a, const char* b) {
    auto fold = [](unsigned char c) { return c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c; };
    for (;; ++a, ++b) {
        if (fold(static_cast<unsigned char>(*a)) != fold(static_cast<unsigned char>(*b)))
            return false;
        if (*a == '\0') return true;
    }
}

}  // namespace
}  // namespace qm

extern "C" QM_PROC GetProcAddressForThisDLL(void* module, const char* name) {
    using namespace qm;
    if (!(g_lookupFilled & 1)) {
        // Marked before it is written, without a lock: hosts make their first
        // lookup from one thread.
        g_lookupFilled |= 1;
        for (int i = 0; i < kSlotCount; ++i)
            g_names[kFirstSlotRecord + i] = {kSlotNames[i], g_slots[i]};
        g_names[kRecordCount] = {nullptr, nullptr};
    }
    if (name != nullptr) {
        for (const NameRecord* r = g_names; r->name != nullptr; ++r)
            if (ascii_iequal(r->name, name)) return r->entry;
    }
    return platform::lookup(module, name);
}
