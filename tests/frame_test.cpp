// Processor classification, attach, slot filling and the core services, on
// made-up processors as well as on this one.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <string>

#include "frame/dispatch.h"
#include "frame/platform.h"
#include "support/alloc.h"

namespace {

using qm::CpuidRegs;

constexpr uint32_t kEdxSse2Only = (1u << 23) | (1u << 25) | (1u << 26);
constexpr uint32_t SSE3 = 1u << 0, SSSE3 = 1u << 9, SSE41 = 1u << 19, SSE42 = 1u << 20,
                   MOVBE = 1u << 22, OSXSAVE = 1u << 27, AVX = 1u << 28;

// A processor made of cpuid answers.
class FakeCpu final : public qm::CpuidSource {
public:
    enum Vendor { Primary, Other, Third };
    FakeCpu(uint32_t ecx1, uint32_t eax1 = 0x000106A5, Vendor v = Primary, uint64_t xcr0 = 7,
            uint32_t maxLeaf = 0xD)
        : xcr0_(xcr0) {
        const uint32_t ebx = v == Primary ? qm::kPrimaryVendorEbx : v == Other ? 0x68747541u : 0x1;
        const uint32_t edx = v == Primary ? qm::kPrimaryVendorEdx : v == Other ? 0x69746E65u : 0x2;
        const uint32_t ecx = v == Primary ? qm::kPrimaryVendorEcx : v == Other ? qm::kOtherVendorEcx : 0x3;
        set(0, 0, {maxLeaf, ebx, ecx, edx});
        set(1, 0, {eax1, 0, ecx1, kEdxSse2Only});
    }
    void set(uint32_t leaf, uint32_t sub, CpuidRegs r) { regs_[{leaf, sub}] = r; }
    CpuidRegs cpuid(uint32_t leaf, uint32_t sub) const override {
        auto it = regs_.find({leaf, sub});
        return it == regs_.end() ? CpuidRegs{} : it->second;
    }
    uint64_t xgetbv0() const override { return xcr0_; }

private:
    uint64_t xcr0_;
    std::map<std::pair<uint32_t, uint32_t>, CpuidRegs> regs_;
};

struct ClassCase {
    const char* what;
    uint32_t ecx1;
    uint64_t xcr0;
    FakeCpu::Vendor vendor;
    int variant;
    uint64_t enabled;
    IppStatus status;
};

class Classification : public ::testing::TestWithParam<ClassCase> {};

TEST_P(Classification, ChoosesVariantFromFeatureBitsAlone) {
    const ClassCase& c = GetParam();
    FakeCpu cpu(c.ecx1, 0x000106A5, c.vendor, c.xcr0);
    const uint64_t mask = qm::compute_feature_mask(cpu);
    const qm::Selection s = qm::classify(0, mask, true, qm::is_primary_vendor(cpu));
    EXPECT_EQ(s.variant, c.variant);
    EXPECT_EQ(s.enabled, c.enabled);
    EXPECT_EQ(s.status, c.status);
    EXPECT_EQ(s.lowPower, c.variant == 3 ? 1u : 0u);
}

INSTANTIATE_TEST_SUITE_P(
    MadeUpProcessors, Classification,
    ::testing::Values(
        ClassCase{"sse2_only", 0, 7, FakeCpu::Primary, 0, 0x7, 36},
        ClassCase{"sse3", SSE3, 7, FakeCpu::Primary, 1, 0xF, 0},
        ClassCase{"ssse3", SSE3 | SSSE3, 7, FakeCpu::Primary, 2, 0x1F, 0},
        ClassCase{"movbe_with_ssse3", SSE3 | SSSE3 | MOVBE, 7, FakeCpu::Primary, 3, 0x3F, 0},
        ClassCase{"movbe_without_ssse3", SSE3 | MOVBE, 7, FakeCpu::Primary, 1, 0xF, 0},
        ClassCase{"movbe_alone", MOVBE, 7, FakeCpu::Primary, 0, 0x7, 36},
        ClassCase{"sse41", SSE3 | SSSE3 | SSE41, 7, FakeCpu::Primary, 4, 0x5F, 0},
        ClassCase{"sse42", SSE3 | SSSE3 | SSE41 | SSE42, 7, FakeCpu::Primary, 4, 0xDF, 0},
        ClassCase{"avx_without_os_support", SSE3 | SSSE3 | SSE41 | SSE42 | OSXSAVE | AVX, 3,
                  FakeCpu::Primary, 4, 0xDF, 0},
        ClassCase{"avx_without_osxsave", SSE3 | SSSE3 | SSE41 | SSE42 | AVX, 7, FakeCpu::Primary,
                  4, 0xDF, 0},
        ClassCase{"avx", SSE3 | SSSE3 | SSE41 | SSE42 | OSXSAVE | AVX, 7, FakeCpu::Primary, 5,
                  0x3DF, 0},
        ClassCase{"avx_other_vendor", SSE3 | SSSE3 | SSE41 | SSE42 | OSXSAVE | AVX, 7,
                  FakeCpu::Other, 5, 0x3DF, 20},
        ClassCase{"sse2_other_vendor", 0, 7, FakeCpu::Other, 0, 0x7, 20}),
    [](const auto& info) { return std::string(info.param.what); });

TEST(Classification, FailedQueryAndAvxPermission) {
    const qm::Selection failed = qm::classify(36, 0x3FF, true, true);
    EXPECT_EQ(failed.variant, 0);
    EXPECT_EQ(failed.enabled, 7u);
    EXPECT_EQ(failed.status, 36);
    EXPECT_EQ(qm::classify(0, 0x3FF, false, true).variant, 4);
}

TEST(FeatureMask, FamilyBExtensionOnlyForFamilyB) {
    FakeCpu famB(0, 0x00000B00);
    famB.set(0x20000001, 0, {0, 0, 0, 2});
    EXPECT_EQ(qm::compute_feature_mask(famB) & qm::kFamilyBExt, qm::kFamilyBExt);
    FakeCpu fam6(0, 0x00000600);
    fam6.set(0x20000001, 0, {0, 0, 0, 2});
    EXPECT_EQ(qm::compute_feature_mask(fam6) & qm::kFamilyBExt, 0u);
}

// Restores the real processor's dispatch state after a made-up attach.
struct AttachGuard {
    ~AttachGuard() {
        qm::processor_init(qm::hardware_cpu(), qm::g_featureCache);
        qm::fill_slots(qm::hardware_cpu(), qm::g_featureCache);
    }
};

std::string set_of(const IppLibraryVersion* v) { return std::string(v->targetCpu, 2); }

TEST(SlotFilling, Sse2OnlyGetsTheSse2SetWhileExportsDispatchToSse3) {
    AttachGuard restore;
    FakeCpu cpu(0);
    qm::FeatureCache cache;
    EXPECT_EQ(qm::processor_init(cpu, cache), 36);
    qm::fill_slots(cpu, cache);
    EXPECT_EQ(qm::g_variant, 0);
    EXPECT_EQ(qm::g_sse3OrBetter, 0u);
    auto slotVersion = reinterpret_cast<qm_ippiGetLibVersion_fn>(qm::g_slots[0]);
    EXPECT_EQ(set_of(slotVersion()), "mx");
    EXPECT_EQ(set_of(ippiGetLibVersion()), "m7");  // the dispatched entry
    EXPECT_EQ(qm::g_slots[34 - 25], reinterpret_cast<QM_PROC>(&qm::mx::ippiCopy_8u_C3P3R));
    EXPECT_EQ(qm::g_slots[82 - 25], qm::g_slots[84 - 25]);  // ippiFree and ippsFree share one entry
    EXPECT_EQ(qm::g_slots[36 - 25], nullptr);
}

TEST(SlotFilling, Sse3OrBetterGetsTheDispatchedEntries) {
    AttachGuard restore;
    struct Case { uint32_t ecx1; const char* set; int variant; };
    for (const Case& c : {Case{SSE3, "m7", 1}, Case{SSE3 | SSSE3, "u8", 2},
                          Case{SSE3 | SSSE3 | MOVBE, "n8", 3}, Case{SSE3 | SSSE3 | SSE41, "y8", 4},
                          Case{SSE3 | SSSE3 | SSE41 | SSE42 | OSXSAVE | AVX, "e9", 5}}) {
        FakeCpu cpu(c.ecx1);
        qm::FeatureCache cache;
        qm::processor_init(cpu, cache);
        qm::fill_slots(cpu, cache);
        EXPECT_EQ(qm::g_variant, c.variant);
        EXPECT_EQ(qm::g_slots[34 - 25], reinterpret_cast<QM_PROC>(&::ippiCopy_8u_C3P3R));
        auto slotVersion = reinterpret_cast<qm_ippiGetLibVersion_fn>(qm::g_slots[0]);
        EXPECT_EQ(set_of(slotVersion()), c.set);
        for (int none : {36, 41, 49, 78, 80}) EXPECT_EQ(qm::g_slots[none - 25], nullptr);
    }
}

// Which build of the AVX set every variant table holds in position 5:
// 1 all e9w, 0 all e9, -1 a mixture.
int avx_build_in_position5() {
    int tables = 0, wide = 0, plain = 0;
#define QM_SLOT(rec, ord, ret, name, params, args) \
    ++tables;                                      \
    wide += qm::vt::name[5] == qm::e9w::name;      \
    plain += qm::vt::name[5] == qm::e9::name;
#include "ippiQM300_functions.h"
    return wide == tables ? 1 : plain == tables ? 0 : -1;
}

// AVX2 only chooses the build behind position 5: the same made-up processor
// with and without it attaches to the same variant, masks, type and record.
TEST(WideTier, PositionFiveOnMadeUpProcessors) {
    AttachGuard restore;
    constexpr uint32_t kAvxCpu = SSE3 | SSSE3 | SSE41 | SSE42 | OSXSAVE | AVX;
    struct Case { const char* what; uint32_t ecx1; uint64_t xcr0; uint32_t maxLeaf; int variant; int wide; };
    for (const Case& c : {Case{"avx2_with_os_support", kAvxCpu, 7, 0xD, 5, 1},
                          Case{"avx2_without_os_avx_state", kAvxCpu, 3, 0xD, 4, 0},
                          Case{"avx2_without_osxsave", kAvxCpu & ~OSXSAVE, 7, 0xD, 4, 0},
                          Case{"avx2_above_highest_leaf", kAvxCpu, 7, 6, 5, 0}}) {
        SCOPED_TRACE(c.what);
        struct Attached { int variant; uint64_t mask, enabled; int type; const char* record; int wide; };
        auto attach = [&](uint32_t leaf7Ebx) {
            FakeCpu cpu(c.ecx1, 0x000306C3, FakeCpu::Primary, c.xcr0, c.maxLeaf);
            cpu.set(7, 0, {0, leaf7Ebx, 0, 0});
            qm::FeatureCache cache;
            qm::processor_init(cpu, cache);
            qm::fill_slots(cpu, cache);
            const int wide = avx_build_in_position5();
            // Run the dispatched record only where this processor can.
            const bool runs = wide != 1 || qm::has_avx2(qm::hardware_cpu());
            return Attached{qm::g_variant, cache.mask, qm::g_enabledMask, qm::cpu_type(cpu),
                            runs ? ippiGetLibVersion()->Name : "", wide};
        };
        const Attached with = attach(1u << 5), without = attach(0);
        EXPECT_EQ(with.wide, c.wide);
        EXPECT_EQ(without.wide, 0);  // AVX without AVX2
        EXPECT_EQ(with.variant, c.variant);
        EXPECT_EQ(with.variant, without.variant);
        EXPECT_EQ(with.mask, without.mask);
        EXPECT_EQ(with.enabled, without.enabled);
        EXPECT_EQ(with.type, without.type);
        if (*with.record) {
            EXPECT_STREQ(with.record, without.record);
        }
    }
    EXPECT_EQ(qm::image_version(qm::SetId::e9w), qm::image_version(qm::SetId::e9));
}

// This processor, with the compiler's own check (which also asks the
// operating system) as the witness; run under an emulator to see both ways.
TEST(WideTier, ThisProcessor) {
    const int held = avx_build_in_position5();
    EXPECT_EQ(held, __builtin_cpu_supports("avx2") ? 1 : 0);
    std::printf("position 5 holds the %s build of the AVX set\n",
                held == 1 ? "e9w" : held == 0 ? "e9" : "mixed");
}

TEST(Versions, SetRecordsAndTheSse42Mark) {
    AttachGuard restore;
    for (auto [ecx, name] : {std::pair{SSE3 | SSSE3 | SSE41, "ippiy8_l.lib"},
                             std::pair{SSE3 | SSSE3 | SSE41 | SSE42, "ippiy8_l.lib+"}}) {
        FakeCpu cpu(ecx);
        qm::FeatureCache cache;
        qm::processor_init(cpu, cache);
        EXPECT_STREQ(qm::image_version(qm::SetId::y8)->Name, name);
    }
}

TEST(CoreServices, CpuFeaturesQuery) {
    Ipp32u regs[4] = {11, 22, 33, 44};
    EXPECT_EQ(ippGetCpuFeatures(nullptr, regs), ippStsNullPtrErr);
    EXPECT_EQ(regs[0], 11u);
    EXPECT_EQ(regs[3], 44u);

    Ipp64u mask = qm::kGetInfoMagic;
    Ipp32u leaf7[4] = {7, 0xDEAD, 0, 0xBEEF};
    ASSERT_EQ(ippGetCpuFeatures(&mask, leaf7), ippStsNoErr);
    const CpuidRegs want = qm::platform::cpuid(7, 0);
    EXPECT_EQ(leaf7[0], want.eax);
    EXPECT_EQ(leaf7[1], want.ebx);
    EXPECT_EQ(leaf7[2], want.ecx);
    EXPECT_EQ(leaf7[3], want.edx);
    EXPECT_EQ(mask, qm::compute_feature_mask(qm::hardware_cpu()));

    Ipp64u other = 0;
    Ipp32u leaf1[4] = {7, 0, 0, 0};  // without the magic the block receives leaf 1
    ippGetCpuFeatures(&other, leaf1);
    EXPECT_EQ(leaf1[2], qm::platform::cpuid(1, 0).ecx);
}

TEST(CoreServices, CpuType) {
    struct Case { uint32_t eax1; uint32_t ecx1; FakeCpu::Vendor v; uint32_t leaf4; int want; };
    const Case cases[] = {
        {0x000006F0, SSE3 | SSSE3, FakeCpu::Primary, 1u << 26, 0x21},
        {0x000006F0, SSE3 | SSSE3, FakeCpu::Primary, 3u << 26, 0x22},
        {0x00010670, SSE41 | SSSE3, FakeCpu::Primary, 0, 0x23},
        {0x000106A0, AVX | SSE42, FakeCpu::Primary, 0, 0x46},
        {0x000106A0, SSE42, FakeCpu::Primary, 0, 0x25},
        {0x000106A0, SSE3, FakeCpu::Primary, 0, 0x42},
        {0x000106C0, SSSE3 | MOVBE, FakeCpu::Primary, 0, 0x24},
        {0x00000F20, 0, FakeCpu::Primary, 0, 0x42},
        {0x00100F20, 0, FakeCpu::Primary, 0, 0x41},   // family 15 + 1: generic rules
        {0x000306C0, AVX, FakeCpu::Other, 0, 0x46},   // cpuid AVX bit alone
        {0x000306C0, SSE41 | SSSE3, FakeCpu::Primary, 0, 0x44},
        {0x000306C0, 0, FakeCpu::Primary, 0, 0x41},
    };
    for (const Case& c : cases) {
        FakeCpu cpu(c.ecx1, c.eax1, c.v);
        cpu.set(4, 0, {c.leaf4, 0, 0, 0});
        EXPECT_EQ(qm::cpu_type(cpu), c.want) << std::hex << c.eax1 << " " << c.ecx1;
    }
    FakeCpu bare(0);
    bare.set(1, 0, {0, 0, 0, 0});
    EXPECT_EQ(qm::cpu_type(bare), 0);
    bare.set(0x80000000, 0, {0x80000001, 0, 0, 0});
    bare.set(0x80000001, 0, {0, 0, 0, 1u << 29});
    EXPECT_EQ(qm::cpu_type(bare), 0x60);
}

TEST(CoreServices, CoresOnDie) {
    FakeCpu old(0, 0x600, FakeCpu::Primary, 7, 3);
    EXPECT_EQ(qm::cores_on_die(old), 1);
    FakeCpu topo(0);
    topo.set(0xB, 0, {0, 2, 0, 0});
    topo.set(0xB, 1, {0, 0x10008, 0, 0});
    EXPECT_EQ(qm::cores_on_die(topo), 4);  // bit 1 of the thread count set: halved
    topo.set(0xB, 0, {0, 1, 0, 0});
    EXPECT_EQ(qm::cores_on_die(topo), 8);
    topo.set(0xB, 0, {0, 3, 0, 0});        // three threads: bit 1 set, halved anyway
    EXPECT_EQ(qm::cores_on_die(topo), 4);
    topo.set(0xB, 0, {0, 0, 0, 0});
    topo.set(4, 0, {5u << 26, 0, 0, 0});
    EXPECT_EQ(qm::cores_on_die(topo), 6);

    FakeCpu other(0, 0x600, FakeCpu::Other);
    other.set(0x80000008, 0, {0, 0, 0x0F, 0});
    for (auto [maxExt, want] : {std::pair{0x80000008u, 16}, std::pair{0x8000001Fu, 16},
                                std::pair{0x80000007u, 1}, std::pair{0x80000010u, 1}}) {
        other.set(0x80000000, 0, {maxExt, 0, 0, 0});
        EXPECT_EQ(qm::cores_on_die(other), want) << std::hex << maxExt;
    }
    EXPECT_EQ(qm::cores_on_die(FakeCpu(0, 0x600, FakeCpu::Third)), 1);
}

TEST(CoreServices, LargestCache) {
    FakeCpu cpu(0);
    cpu.set(4, 0, {0x21, (7u << 22) | 63, 63, 0});            // 32 KB data
    cpu.set(4, 1, {0x22, (7u << 22) | 63, 63, 0});            // instruction: skipped
    cpu.set(4, 2, {0x43, (15u << 22) | 63, 1023, 0});         // 1 MB
    cpu.set(4, 3, {0x63, (11u << 22) | 63, 16383, 0});        // 12 MB
    EXPECT_EQ(qm::compute_largest_cache(cpu).size, 12 * 1024 * 1024);
    EXPECT_EQ(qm::compute_largest_cache(cpu).status, 0);
    FakeCpu empty(0);
    EXPECT_EQ(qm::compute_largest_cache(empty).status, 37);

    FakeCpu leaf2(0, 0x600, FakeCpu::Primary, 7, 2);
    leaf2.set(2, 0, {0x44332201, 0x80000049, 0x0000007D, 0});
    // EBX has bit 31 set and counts as 0: 0x49 (4 MB) is ignored, 0x7D (2 MB) wins.
    EXPECT_EQ(qm::compute_largest_cache(leaf2).size, 2 * 1024 * 1024);
    leaf2.set(2, 0, {0x0000EB01, 0, 0, 0});  // the largest descriptor
    EXPECT_EQ(qm::compute_largest_cache(leaf2).size, 18 * 1024 * 1024);
    leaf2.set(2, 0, {0x44332202, 0, 0, 0});
    EXPECT_EQ(qm::compute_largest_cache(leaf2).status, 37);
    leaf2.set(2, 0, {0x01010101, 0, 0, 0});
    EXPECT_EQ(qm::compute_largest_cache(leaf2).status, 37);
    EXPECT_EQ(qm::compute_largest_cache(FakeCpu(0, 0x600, FakeCpu::Other)).status, 36);
    EXPECT_EQ(qm::compute_largest_cache(FakeCpu(0, 0x600, FakeCpu::Primary, 7, 1)).status, 36);

    EXPECT_EQ(qm::largest_cache_size(nullptr), ippStsNullPtrErr);
    int size = -1;  // this processor's answer, computed once and kept
    for (int call = 0; call < 2; ++call) {
        EXPECT_EQ(qm::largest_cache_size(&size), qm::compute_largest_cache(qm::hardware_cpu()).status);
        EXPECT_EQ(size, qm::compute_largest_cache(qm::hardware_cpu()).size);
    }
}

TEST(CoreServices, AlignedAllocation) {
    qmtest::AllocProbe probe;
    EXPECT_EQ(ippMalloc(0), nullptr);
    EXPECT_EQ(ippMalloc(-5), nullptr);
    EXPECT_EQ(ippsMalloc_8u(0), nullptr);
    EXPECT_EQ(probe.calls(), 0);
    for (int len : {1, 31, 32, 33, 1000}) {
        void* p = ippMalloc(len);
        ASSERT_NE(p, nullptr);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % 32, 0u);
        EXPECT_EQ(probe.last_size(), static_cast<size_t>(len) + 40);
        std::memset(p, 0xCD, len);
        ippFree(p);
    }
    ippFree(nullptr);
    EXPECT_EQ(probe.live(), 0u);
}

TEST(CoreServices, ImageAllocation) {
    qmtest::AllocProbe probe;
    int step = -1;
    Ipp8u* p = qm::m7::ippiMalloc_8u_C3(10, 2, &step);
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(step, 32);
    EXPECT_EQ(probe.last_size(), 64u + 40u);
    qm::m7::ippiFree(p);
    EXPECT_EQ(qm::m7::ippiMalloc_8u_C3(0, 2, &step), nullptr);
    EXPECT_EQ(step, 0);
    EXPECT_EQ(qm::m7::ippiMalloc_8u_C3(10, 2, nullptr), nullptr);
    // 32-bit product: 0x2AAAAAA0 * 3 rounds to a step of 0x7FFFFFE0; times 2 wraps negative.
    step = 0;
    EXPECT_EQ(qm::e9::ippiMalloc_8u_C3(0x2AAAAAA0, 2, &step), nullptr);
    EXPECT_EQ(step, 0x7FFFFFE0);
    EXPECT_EQ(probe.live(), 0u);
    EXPECT_EQ(probe.calls(), 1);

    qmtest::AllocProbe failing(1);
    EXPECT_EQ(ippMalloc(16), nullptr);
    Ipp8u* second = qm::mx::ippsMalloc_8u(16);  // only the first call fails
    EXPECT_NE(second, nullptr);
    qm::mx::ippsFree(second);
    EXPECT_EQ(failing.live(), 0u);
}

TEST(CoreServices, ThreadCountPairAndClock) {
    int n = 0;
    EXPECT_EQ(ippSetNumThreads(8), ippStsNoOperation);
    EXPECT_EQ(ippGetNumThreads(&n), ippStsNoOperation);
    EXPECT_EQ(n, 1);
    const Ipp64u a = ippGetCpuClocks(), b = ippGetCpuClocks();
    EXPECT_GE(b, a);
}

}  // namespace
