// Compare-exchange networks for the fixed-shape median kernels, built at
// compile time.
//
// Each network starts as an odd-even merge sorting network on the next power
// of two, with the padding wires taken as +infinity (their comparators are
// no-ops and dropped). Two prunings follow:
//  - when the inputs come in groups already sorted ascending (the columns of
//    a square mask, sorted once as they enter), every comparator that can never
//    exchange on such inputs is dropped. By the 0-1 principle it is enough to
//    simulate every 0-1 input with sorted groups: a comparator that exchanges
//    some real input also exchanges the thresholded 0-1 input;
//  - walking backwards from the output wire, comparators that feed nothing
//    needed are dropped, and those whose min (or max) result alone is needed
//    keep only that half.
// The result computes the exact rank asked for, with a fraction of the
// comparators of a full sort.
#pragma once
#include <cstdint>

namespace qm::median_net {

struct Cmp {
    int lo, hi;      // wires; lo receives the minimum
    bool keepLo, keepHi;
};

inline constexpr int kMaxCmp = 256;

struct Network {
    int wires = 0;
    int count = 0;
    int out = 0;     // wire holding the selected rank (or -1: all wires sorted)
    Cmp c[kMaxCmp] = {};
};

// Odd-even merge sort on wires 0..n-1 (padding wires above n dropped).
constexpr Network sorting_network(int n) {
    Network net;
    net.wires = n;
    net.out = -1;
    int p2 = 1;
    while (p2 < n) p2 <<= 1;
    for (int p = 1; p < p2; p <<= 1)
        for (int k = p; k >= 1; k >>= 1)
            for (int j = k % p; j + k < p2; j += 2 * k)
                for (int i = 0; i < k && i + j + k < p2; ++i)
                    if ((i + j) / (2 * p) == (i + j + k) / (2 * p) && i + j + k < n)
                        net.c[net.count++] = Cmp{i + j, i + j + k, true, true};
    return net;
}

// Drops comparators that never exchange when each run of `group` consecutive
// wires arrives sorted ascending (group 1: no presorting).
constexpr Network drop_presorted(const Network& in, int group) {
    if (group <= 1) return in;
    const int groups = in.wires / group;
    // All 0-1 inputs with sorted groups: each group is fixed by its count of ones.
    int total = 1;
    for (int g = 0; g < groups; ++g) total *= group + 1;
    const int words = (total + 63) / 64;
    constexpr int kMaxWires = 25, kMaxWords = 128;
    uint64_t bits[kMaxWires][kMaxWords] = {};
    for (int t = 0; t < total; ++t) {
        int rest = t;
        for (int g = 0; g < groups; ++g) {
            const int ones = rest % (group + 1);
            rest /= group + 1;
            // Ascending: the top `ones` wires of the group are 1.
            for (int r = group - ones; r < group; ++r) bits[g * group + r][t / 64] |= uint64_t{1} << (t % 64);
        }
    }
    Network out;
    out.wires = in.wires;
    out.out = in.out;
    for (int i = 0; i < in.count; ++i) {
        const Cmp c = in.c[i];
        bool exchanges = false;
        for (int w = 0; w < words; ++w) exchanges = exchanges || (bits[c.lo][w] & ~bits[c.hi][w]) != 0;
        if (!exchanges) continue;
        for (int w = 0; w < words; ++w) {
            const uint64_t a = bits[c.lo][w], b = bits[c.hi][w];
            bits[c.lo][w] = a & b;
            bits[c.hi][w] = a | b;
        }
        out.c[out.count++] = c;
    }
    return out;
}

// Keeps only what wire `outWire` depends on.
constexpr Network select_only(const Network& in, int outWire) {
    bool need[64] = {};
    need[outWire] = true;
    Cmp kept[kMaxCmp] = {};
    int n = 0;
    for (int i = in.count - 1; i >= 0; --i) {
        Cmp c = in.c[i];
        if (!need[c.lo] && !need[c.hi]) continue;
        c.keepLo = need[c.lo];
        c.keepHi = need[c.hi];
        need[c.lo] = need[c.hi] = true;
        kept[n++] = c;
    }
    Network out;
    out.wires = in.wires;
    out.out = outWire;
    for (int i = 0; i < n; ++i) out.c[i] = kept[n - 1 - i];
    out.count = n;
    return out;
}

// Middle value of n inputs; inputs arrive in sorted runs of `group` wires.
constexpr Network median_network(int n, int group = 1) {
    return select_only(drop_presorted(sorting_network(n), group), n / 2);
}

}  // namespace qm::median_net
