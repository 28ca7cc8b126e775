// Interleaved <-> planar copies of three-channel 8-bit images.
#include "frame/set.h"
#include "primitives/copy/copy_front.h"
#include "primitives/simd/channels.h"
#include "primitives/simd/lanes.h"

namespace qm::QM_SET {
namespace {

using namespace lanes;

// Pixels done in blocks of kPixels3; sets without a byte shuffle do them one by one.
inline int split_blocks(const Ipp8u* s, Ipp8u* d0, Ipp8u* d1, Ipp8u* d2, int n) {
    if constexpr (!kByteShuffle) return 0;
    int i = 0;
    for (; i + kPixels3 <= n; i += kPixels3) split3(s + 3 * i, d0 + i, d1 + i, d2 + i);
    return i;
}

inline int join_blocks(const Ipp8u* s0, const Ipp8u* s1, const Ipp8u* s2, Ipp8u* d, int n) {
    if constexpr (!kByteShuffle) return 0;
    int i = 0;
    for (; i + kPixels3 <= n; i += kPixels3) join3(s0 + i, s1 + i, s2 + i, d + 3 * i);
    return i;
}

// Row lengths are counted in 64 bits: a merged run can exceed 2^31 pixels.
// f(at, chunk) takes [at, at + chunk) in pieces that int indices address.
template <class F>
void in_chunks(int64_t n, F&& f) {
    for (int64_t at = 0; at < n;) {
        const int chunk = n - at > (1 << 30) ? (1 << 30) : static_cast<int>(n - at);
        f(at, chunk);
        at += chunk;
    }
}

// One chunk: blocks where the set has them, then pixel by pixel.
QM_LANES_OUTLINE void split_chunk(const Ipp8u* s, Ipp8u* d0, Ipp8u* d1, Ipp8u* d2, int n) {
    for (int i = split_blocks(s, d0, d1, d2, n); i < n; ++i) {
        d0[i] = s[3 * i];
        d1[i] = s[3 * i + 1];
        d2[i] = s[3 * i + 2];
    }
}

QM_LANES_OUTLINE void join_chunk(const Ipp8u* s0, const Ipp8u* s1, const Ipp8u* s2, Ipp8u* d, int n) {
    for (int i = join_blocks(s0, s1, s2, d, n); i < n; ++i) {
        d[3 * i] = s0[i];
        d[3 * i + 1] = s1[i];
        d[3 * i + 2] = s2[i];
    }
}

void split_row(const Ipp8u* s, Ipp8u* d0, Ipp8u* d1, Ipp8u* d2, int64_t n) {
    in_chunks(n, [&](int64_t at, int chunk) { split_chunk(s + 3 * at, d0 + at, d1 + at, d2 + at, chunk); });
}

void join_row(const Ipp8u* s0, const Ipp8u* s1, const Ipp8u* s2, Ipp8u* d, int64_t n) {
    in_chunks(n, [&](int64_t at, int chunk) { join_chunk(s0 + at, s1 + at, s2 + at, d + 3 * at, chunk); });
}

void split_image(const copy::Job& job) {
    const Ipp8u* s = job.src[0];
    Ipp8u* d0 = job.dst[0];
    Ipp8u* d1 = job.dst[1];
    Ipp8u* d2 = job.dst[2];
    for (int y = 0; y < job.rows; ++y, s += job.srcStep, d0 += job.dstStep, d1 += job.dstStep, d2 += job.dstStep)
        split_row(s, d0, d1, d2, job.rowLen);
}

void join_image(const copy::Job& job) {
    const Ipp8u* s0 = job.src[0];
    const Ipp8u* s1 = job.src[1];
    const Ipp8u* s2 = job.src[2];
    Ipp8u* d = job.dst[0];
    for (int y = 0; y < job.rows; ++y, s0 += job.srcStep, s1 += job.srcStep, s2 += job.srcStep, d += job.dstStep)
        join_row(s0, s1, s2, d, job.rowLen);
}

// The planned job run through the kernel, or the front's refusal.
template <class Kernel>
IppStatus run_planned(IppStatus planned, const copy::Job& job, Kernel&& kernel) {
    if (planned == ippStsNoErr) kernel(job);
    return planned;
}

}  // namespace

IppStatus ippiCopy_8u_C3P3R(const Ipp8u* pSrc, int srcStep, Ipp8u* const pDst[3], int dstStep,
                            IppiSize roiSize) {
    copy::Job job;
    return run_planned(copy::plan_split(pSrc, srcStep, pDst, dstStep, roiSize, job), job, split_image);
}

IppStatus ippiCopy_8u_P3C3R(const Ipp8u* const pSrc[3], int srcStep, Ipp8u* pDst, int dstStep,
                            IppiSize roiSize) {
    copy::Job job;
    return run_planned(copy::plan_join(pSrc, srcStep, pDst, dstStep, roiSize, job), job, join_image);
}

}  // namespace qm::QM_SET
