// Interleaved <-> planar copies of three-channel 8-bit images.
#include "frame/set.h"
#include "primitives/copy/copy_front.h"
#include "primitives/simd/lanes.h"

namespace qm::QM_SET {
namespace {

using namespace lanes;

// Pixels done in blocks of 16; sets without a byte shuffle do them one by one.
inline int split16(const Ipp8u* s, Ipp8u* d0, Ipp8u* d1, Ipp8u* d2, int n) {
    if constexpr (!kByteShuffle) return 0;
    int i = 0;
    for (; i + 16 <= n; i += 16, s += 48) {
        U8x16 c0, c1, c2;
        load_interleaved3(s, c0, c1, c2);
        store(d0 + i, c0);
        store(d1 + i, c1);
        store(d2 + i, c2);
    }
    return i;
}

inline int join16(const Ipp8u* s0, const Ipp8u* s1, const Ipp8u* s2, Ipp8u* d, int n) {
    if constexpr (!kByteShuffle) return 0;
    int i = 0;
    for (; i + 16 <= n; i += 16, d += 48) {
        store_interleaved3(d, load<U8x16>(s0 + i), load<U8x16>(s1 + i), load<U8x16>(s2 + i));
    }
    return i;
}

// Row lengths are counted in 64 bits: a merged run can exceed 2^31 pixels.
void split_row(const Ipp8u* s, Ipp8u* d0, Ipp8u* d1, Ipp8u* d2, int64_t n) {
    while (n > 0) {
        const int chunk = n > (1 << 30) ? (1 << 30) : static_cast<int>(n);
        const int done = split16(s, d0, d1, d2, chunk);
        for (int i = done; i < chunk; ++i) {
            d0[i] = s[3 * i];
            d1[i] = s[3 * i + 1];
            d2[i] = s[3 * i + 2];
        }
        s += 3 * int64_t{chunk};
        d0 += chunk;
        d1 += chunk;
        d2 += chunk;
        n -= chunk;
    }
}

void join_row(const Ipp8u* s0, const Ipp8u* s1, const Ipp8u* s2, Ipp8u* d, int64_t n) {
    while (n > 0) {
        const int chunk = n > (1 << 30) ? (1 << 30) : static_cast<int>(n);
        const int done = join16(s0, s1, s2, d, chunk);
        for (int i = done; i < chunk; ++i) {
            d[3 * i] = s0[i];
            d[3 * i + 1] = s1[i];
            d[3 * i + 2] = s2[i];
        }
        s0 += chunk;
        s1 += chunk;
        s2 += chunk;
        d += 3 * int64_t{chunk};
        n -= chunk;
    }
}

void split(const copy::Job& job) {
    const Ipp8u* s = job.src[0];
    Ipp8u* d0 = job.dst[0];
    Ipp8u* d1 = job.dst[1];
    Ipp8u* d2 = job.dst[2];
    for (int y = 0; y < job.rows; ++y, s += job.srcStep, d0 += job.dstStep, d1 += job.dstStep, d2 += job.dstStep)
        split_row(s, d0, d1, d2, job.rowLen);
}

void join(const copy::Job& job) {
    const Ipp8u* s0 = job.src[0];
    const Ipp8u* s1 = job.src[1];
    const Ipp8u* s2 = job.src[2];
    Ipp8u* d = job.dst[0];
    for (int y = 0; y < job.rows; ++y, s0 += job.srcStep, s1 += job.srcStep, s2 += job.srcStep, d += job.dstStep)
        join_row(s0, s1, s2, d, job.rowLen);
}

}  // namespace

IppStatus ippiCopy_8u_C3P3R(const Ipp8u* pSrc, int srcStep, Ipp8u* const pDst[3], int dstStep,
                            IppiSize roiSize) {
    copy::Job job;
    if (const IppStatus st = copy::plan_split(pSrc, srcStep, pDst, dstStep, roiSize, job); st != ippStsNoErr)
        return st;
    split(job);
    return ippStsNoErr;
}

IppStatus ippiCopy_8u_P3C3R(const Ipp8u* const pSrc[3], int srcStep, Ipp8u* pDst, int dstStep,
                            IppiSize roiSize) {
    copy::Job job;
    if (const IppStatus st = copy::plan_join(pSrc, srcStep, pDst, dstStep, roiSize, job); st != ippStsNoErr)
        return st;
    join(job);
    return ippStsNoErr;
}

}  // namespace qm::QM_SET
