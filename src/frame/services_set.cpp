// The memory services and version record that each implementation set
// carries as slot functions of its own.
#include "frame/set.h"

namespace qm::QM_SET {

const IppLibraryVersion* ippiGetLibVersion() { return image_version(kThisSet); }
Ipp8u* ippiMalloc_8u_C3(int widthPixels, int heightPixels, int* pStepBytes) {
    return malloc_8u_c3(widthPixels, heightPixels, pStepBytes);
}
void ippiFree(void* ptr) { ::ippFree(ptr); }
Ipp8u* ippsMalloc_8u(int len) { return len <= 0 ? nullptr : static_cast<Ipp8u*>(::ippMalloc(len)); }
// One function under both names, so the slots of ippiFree and ippsFree hold
// the same entry. The alias names the mangled qm::<set>::ippiFree(void*),
// whose length prefix is the set name's length.
#define QM_STR2(x) #x
#define QM_STR(x) QM_STR2(x)
void ippsFree(void* ptr) __attribute__((alias(
    "_ZN2qm" QM_STR(QM_SET_NAME_LENGTH) QM_STR(QM_SET) "8ippiFreeEPv")));

}  // namespace qm::QM_SET
