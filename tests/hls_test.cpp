// RGB <-> HLS in every implementation set against a plain branchy reference:
// every 8-bit colour (interleaved and planar, both directions), random samples
// of the 16-bit and float members, padded steps, guard bytes, argument checks.
#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cstdlib>
#include <cstring>
#include <random>
#include <vector>

#include "support/image.h"

namespace {

using qmtest::GuardedImage;

// ---- Reference: one pixel at a time, straight from the formulas ----------------
// kind: 0 float (0 .. 1), 1 interleaved integer (0 .. full), 2 planar 8u.
struct Kind { int kind; float full; int shift; };
constexpr Kind k32f{0, 1.0f, 0}, k8u{1, 255.0f, 0}, k16u{1, 65535.0f, 0}, k16s{1, 65535.0f, 32768},
    kP8u{2, 255.0f, 0};

template <class T>
T narrow(Kind k, float v) {
    if (k.kind == 0) return static_cast<T>(v);
    return static_cast<T>(static_cast<int>(v + (k.kind == 1 ? 0.5f : 1e-7f)) - k.shift);
}

template <class T>
void ref_to_hls(Kind k, const T in[3], T out[3]) {
    float c[3];
    for (int i = 0; i < 3; ++i) {
        c[i] = k.kind == 0 ? static_cast<float>(in[i]) : static_cast<float>(in[i] + k.shift);
        if (k.kind == 2) c[i] = c[i] / 255.0f;
    }
    const float R = c[0], G = c[1], B = c[2];
    float mx = R, mn = R;
    if (G > mx) mx = G;
    if (B > mx) mx = B;
    if (G < mn) mn = G;
    if (B < mn) mn = B;
    const float delta = mx - mn, sum = mx + mn, L = sum * 0.5f;
    const float scale = k.kind == 1 ? k.full : 1.0f;  // L and S on the integer scale
    float H = 0, S = 0;
    if (k.kind == 0 ? delta > FLT_EPSILON : delta != 0) {
        S = L <= scale * 0.5f ? delta / sum : delta / (2 * scale - sum);
        if (R == mx) H = (G - B) * 60.0f / delta;
        else if (G == mx) H = (B - R) * 60.0f / delta + 120.0f;
        else H = (R - G) * 60.0f / delta + 240.0f;
        if (H < 0) H += 360.0f;
    }
    out[0] = narrow<T>(k, k.kind == 0 ? H / 360.0f : H * k.full / 360.0f);
    out[1] = narrow<T>(k, k.kind == 2 ? L * k.full : L);
    out[2] = narrow<T>(k, k.kind == 0 ? S : S * k.full);
}

float hue_fn(float m1, float m2, float x) {
    if (x < 60) return m1 + (m2 - m1) * x / 60.0f;
    if (x < 180) return m2;
    if (x < 240) return m1 + (m2 - m1) * (240.0f - x) / 60.0f;
    return m1;
}

template <class T>
void ref_to_rgb(Kind k, const T in[3], T out[3]) {
    float h, L, S;
    if (k.kind == 0) {
        h = in[0] * 360.0f, L = in[1], S = in[2];
    } else {
        h = static_cast<float>(in[0] + k.shift) * 360.0f / k.full;
        L = static_cast<float>(in[1] + k.shift) / k.full;
        S = static_cast<float>(in[2] + k.shift) / k.full;
    }
    float rgb[3] = {L, L, L};
    if (S != 0) {
        const float m2 = L > 0.5f ? L + S - L * S : L * (1.0f + S);
        const float m1 = 2.0f * L - m2;
        float xr = h + 120.0f, xb = h - 120.0f;
        if (xr > 360.0f) xr -= 360.0f;
        if (xb < 0) xb += 360.0f;
        rgb[0] = hue_fn(m1, m2, xr), rgb[1] = hue_fn(m1, m2, h), rgb[2] = hue_fn(m1, m2, xb);
    }
    for (int i = 0; i < 3; ++i) out[i] = narrow<T>(k, k.kind == 0 ? rgb[i] : rgb[i] * k.full);
}

template <class T>
using C3Fn = IppStatus (*)(const T*, int, T*, int, IppiSize);
using P3Fn = IppStatus (*)(const Ipp8u* const[3], int, Ipp8u* const[3], int, IppiSize);

template <class T>
T cell(GuardedImage& g, int y, int i) {
    T v;
    std::memcpy(&v, g.row(y) + i * sizeof(T), sizeof v);
    return v;
}

// Runs every set of one interleaved member on a random image and compares
// each pixel, bit for bit, with the reference.
template <class T, class Fill>
void check_c3(const std::vector<std::pair<const char*, C3Fn<T>>>& sets, Kind k, bool toHls,
              int w, int h, int padElems, Fill fill) {
    std::mt19937 rng(w * 131 + h);
    GuardedImage src(3 * w * int(sizeof(T)), h, padElems * int(sizeof(T)));
    for (int y = 0; y < h; ++y)
        for (int i = 0; i < 3 * w; ++i) {
            const T v = fill(rng);
            std::memcpy(src.row(y) + i * sizeof(T), &v, sizeof v);
        }
    for (auto [set, fn] : sets) {
        GuardedImage dst(3 * w * int(sizeof(T)), h, 2 * padElems * int(sizeof(T)));
        ASSERT_EQ(fn(reinterpret_cast<const T*>(src.data()), src.step(), reinterpret_cast<T*>(dst.data()),
                     dst.step(), {w, h}), ippStsNoErr) << set;
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
                T in[3], want[3], got[3];
                for (int c = 0; c < 3; ++c) in[c] = cell<T>(src, y, 3 * x + c), got[c] = cell<T>(dst, y, 3 * x + c);
                toHls ? ref_to_hls(k, in, want) : ref_to_rgb(k, in, want);
                ASSERT_EQ(std::memcmp(got, want, sizeof got), 0) << set << " at " << x << "," << y << " in "
                                                                 << +in[0] << " " << +in[1] << " " << +in[2];
            }
        EXPECT_TRUE(dst.guards_intact()) << set;
    }
}

struct Shape { int w, h, pad; };
class HlsShapes : public ::testing::TestWithParam<Shape> {};

TEST_P(HlsShapes, EveryMemberMatchesReferenceInEverySet) {
    const auto [w, h, pad] = GetParam();
    const auto u16 = [](std::mt19937& r) {  // extremes, ties and small deltas are common
        const int v = int(r() % 65536);
        return Ipp16u(r() % 4 == 0 ? (v & 0xFF00) | (v >> 15) * 0xFF : v);
    };
    const auto s16 = [&](std::mt19937& r) { return Ipp16s(u16(r) - 32768); };
    const auto f32 = [](std::mt19937& r) {
        switch (r() % 5) {
            case 0: return float(r() % 256) / 255.0f;  // ties, exact greys, hue edges
            case 1: return 0.5f + float(int(r() % 5) - 2) * 3e-8f;  // around the grey epsilon
            case 2: return float(int(r() % 4000) - 1000) / 2000.0f;  // out of range
            default: return float(r() % 16777216) / 16777216.0f;
        }
    };
    check_c3<Ipp16u>(QM_ALL_SETS(ippiRGBToHLS_16u_C3R), k16u, true, w, h, pad, u16);
    check_c3<Ipp16u>(QM_ALL_SETS(ippiHLSToRGB_16u_C3R), k16u, false, w, h, pad, u16);
    check_c3<Ipp16s>(QM_ALL_SETS(ippiRGBToHLS_16s_C3R), k16s, true, w, h, pad, s16);
    check_c3<Ipp16s>(QM_ALL_SETS(ippiHLSToRGB_16s_C3R), k16s, false, w, h, pad, s16);
    check_c3<Ipp32f>(QM_ALL_SETS(ippiRGBToHLS_32f_C3R), k32f, true, w, h, pad, f32);
    check_c3<Ipp32f>(QM_ALL_SETS(ippiHLSToRGB_32f_C3R), k32f, false, w, h, pad, f32);
    const auto u8 = [](std::mt19937& r) { return Ipp8u(r()); };
    check_c3<Ipp8u>(QM_ALL_SETS(ippiRGBToHLS_8u_C3R), k8u, true, w, h, pad, u8);
    check_c3<Ipp8u>(QM_ALL_SETS(ippiHLSToRGB_8u_C3R), k8u, false, w, h, pad, u8);
}

INSTANTIATE_TEST_SUITE_P(Shapes, HlsShapes,
                         ::testing::Values(Shape{1, 1, 0}, Shape{3, 2, 1}, Shape{7, 3, 0}, Shape{9, 5, 3},
                                           Shape{17, 4, 2}, Shape{129, 3, 5}, Shape{300, 61, 1},
                                           Shape{1000, 100, 0}));

// All 2^24 byte triples through both directions, interleaved and planar, in
// chunks of 2^20 colours.
TEST(Hls, Every8uTripleMatchesReferenceInEverySet) {
    constexpr int kSide = 1024;
    constexpr size_t n = size_t{kSide} * kSide;
    std::vector<Ipp8u> src(3 * n), planes(3 * n), want(3 * n), got(3 * n);
    const auto c3 = {std::pair{QM_ALL_SETS(ippiRGBToHLS_8u_C3R), QM_ALL_SETS(ippiBGRToHLS_8u_P3R)},
                     std::pair{QM_ALL_SETS(ippiHLSToRGB_8u_C3R), QM_ALL_SETS(ippiHLSToBGR_8u_P3R)}};
    for (uint32_t chunk = 0; chunk < 16; ++chunk) {
        for (size_t i = 0; i < n; ++i)
            for (int c = 0; c < 3; ++c) planes[c * n + i] = src[3 * i + c] = Ipp8u(((chunk << 20) | i) >> (16 - 8 * c));
        const Ipp8u* pin[3] = {planes.data(), planes.data() + n, planes.data() + 2 * n};
        Ipp8u* pout[3] = {got.data(), got.data() + n, got.data() + 2 * n};
        bool toHls = true;
        for (const auto& [inter, planar] : c3) {
            for (int form = 0; form < 2; ++form) {
                // The planar forms take and give B, G, R: swap to the reference's R, G, B.
                for (size_t i = 0; i < n; ++i) {
                    Ipp8u in[3] = {src[3 * i], src[3 * i + 1], src[3 * i + 2]}, o[3];
                    if (form == 1 && toHls) std::swap(in[0], in[2]);
                    toHls ? ref_to_hls(form ? kP8u : k8u, in, o) : ref_to_rgb(form ? kP8u : k8u, in, o);
                    if (form == 1 && !toHls) std::swap(o[0], o[2]);
                    for (int c = 0; c < 3; ++c) want[form ? c * n + i : 3 * i + c] = o[c];
                }
                for (size_t s = 0; s < inter.size(); ++s) {
                    std::fill(got.begin(), got.end(), 0xA5);
                    const IppStatus st = form ? planar[s].second(pin, kSide, pout, kSide, {kSide, kSide})
                                              : inter[s].second(src.data(), 3 * kSide, got.data(), 3 * kSide,
                                                                {kSide, kSide});
                    ASSERT_EQ(st, 0);
                    ASSERT_TRUE(got == want) << inter[s].first << " toHls " << toHls << " planar " << form
                                             << " chunk " << chunk;
                }
            }
            toHls = false;
        }
    }
}

TEST(Hls, WorkedColours) {
    struct Case { Ipp8u rgb[3], hls[3]; };
    for (const Case& c : {Case{{255, 0, 0}, {0, 128, 255}},  // L = 127.5 rounds up
                          Case{{0, 0, 0}, {0, 0, 0}}, Case{{200, 200, 200}, {0, 200, 0}},
                          Case{{255, 255, 255}, {0, 255, 0}},
                          Case{{0, 255, 0}, {85, 128, 255}}, Case{{0, 0, 255}, {170, 128, 255}},
                          Case{{255, 255, 0}, {43, 128, 255}}})  // 60 degrees: 42.5 rounds up
        for (auto [set, fn] : QM_ALL_SETS(ippiRGBToHLS_8u_C3R)) {
            Ipp8u out[3];
            ASSERT_EQ(fn(c.rgb, 3, out, 3, {1, 1}), 0);
            EXPECT_EQ(std::vector<Ipp8u>(out, out + 3), std::vector<Ipp8u>(c.hls, c.hls + 3)) << set;
        }
    // The planar form truncates the same 127.5.
    const Ipp8u b = 255, g = 0, r = 0;
    Ipp8u H, L, S;
    const Ipp8u* src[3] = {&b, &g, &r};
    Ipp8u* dst[3] = {&H, &L, &S};
    ASSERT_EQ(ippiBGRToHLS_8u_P3R(src, 1, dst, 1, {1, 1}), 0);
    EXPECT_EQ(L, 127);
    EXPECT_EQ(H, 170);
    // S = 0 gives R = G = B = L whatever the hue, in every member.
    for (int l = 0; l < 256; ++l) {
        const Ipp8u hls[3] = {Ipp8u(l * 7), Ipp8u(l), 0}, hP = hls[0], lP = hls[1], sP = 0;
        Ipp8u out[3], p0, p1, p2;
        const Ipp8u* ps[3] = {&hP, &lP, &sP};
        Ipp8u* pd[3] = {&p0, &p1, &p2};
        ASSERT_EQ(ippiHLSToRGB_8u_C3R(hls, 3, out, 3, {1, 1}), 0);
        ASSERT_EQ(ippiHLSToBGR_8u_P3R(ps, 1, pd, 1, {1, 1}), 0);
        EXPECT_TRUE(out[0] == l && out[1] == l && out[2] == l && p0 == l && p1 == l && p2 == l) << l;
    }
    // Hue 170 is exactly 240 degrees: R comes from f(360) = m1 like G, B is m2.
    const Ipp8u blue[3] = {170, 64, 255};
    Ipp8u rgb[3];
    ASSERT_EQ(ippiHLSToRGB_8u_C3R(blue, 3, rgb, 3, {1, 1}), 0);
    EXPECT_EQ(std::vector<Ipp8u>(rgb, rgb + 3), (std::vector<Ipp8u>{0, 0, 128}));
    const Ipp32f grey[3] = {0.3f, 0.25f, 0.0f};
    Ipp32f fo[3];
    ASSERT_EQ(ippiHLSToRGB_32f_C3R(grey, 12, fo, 12, {1, 1}), 0);
    EXPECT_TRUE(fo[0] == 0.25f && fo[1] == 0.25f && fo[2] == 0.25f);
}

TEST(Hls, ChecksInOrderAndWritesNothingOnError) {
    GuardedImage img(12, 2), out(12, 2);
    Ipp8u* p = img.data();
    const Ipp8u* cp[3] = {p, p + 1, p + 2};
    Ipp8u* dp[3] = {out.data(), out.data() + 1, out.data() + 2};
    const Ipp8u* cnull[3] = {p, nullptr, p};
    Ipp8u* dnull[3] = {dp[0], dp[1], nullptr};
    const auto to = QM_ALL_SETS(ippiBGRToHLS_8u_P3R), back = QM_ALL_SETS(ippiHLSToBGR_8u_P3R);
    for (size_t s = 0; s < to.size(); ++s)
        for (P3Fn f : {to[s].second, back[s].second}) {
            const char* set = to[s].first;
            EXPECT_EQ(f(nullptr, 4, dp, 4, {0, 1}), ippStsNullPtrErr) << set;
            EXPECT_EQ(f(cp, 4, nullptr, 0, {1, 1}), ippStsNullPtrErr) << set;
            EXPECT_EQ(f(cnull, 0, dp, 4, {0, 1}), ippStsNullPtrErr) << set;
            EXPECT_EQ(f(cp, 4, dnull, 0, {0, 1}), ippStsNullPtrErr) << set;
            EXPECT_EQ(f(cp, 0, dp, 4, {0, 1}), ippStsStepErr) << set;
            EXPECT_EQ(f(cp, 4, dp, -4, {0, 0}), ippStsStepErr) << set;
            EXPECT_EQ(f(cp, 4, dp, 4, {0, 1}), ippStsSizeErr) << set;
            EXPECT_EQ(f(cp, 4, dp, 4, {1, -1}), ippStsSizeErr) << set;
        }
    // Interleaved forms check pointers, then size, never the step.
    for (auto [set, fn] : QM_ALL_SETS(ippiRGBToHLS_8u_C3R)) {
        EXPECT_EQ(fn(nullptr, 6, out.data(), 6, {0, 0}), ippStsNullPtrErr) << set;
        EXPECT_EQ(fn(p, 6, nullptr, 6, {1, 1}), ippStsNullPtrErr) << set;
        EXPECT_EQ(fn(p, -6, out.data(), 0, {0, 1}), ippStsSizeErr) << set;
        EXPECT_EQ(fn(p, 6, out.data(), 6, {2, 0}), ippStsSizeErr) << set;
    }
    EXPECT_EQ(ippiHLSToRGB_16u_C3R(nullptr, 6, nullptr, 6, {1, 1}), ippStsNullPtrErr);
    EXPECT_EQ(ippiHLSToRGB_32f_C3R(reinterpret_cast<Ipp32f*>(p), 0, nullptr, 0, {1, 1}), ippStsNullPtrErr);
    EXPECT_EQ(ippiRGBToHLS_16s_C3R(reinterpret_cast<Ipp16s*>(p), 0, reinterpret_cast<Ipp16s*>(p), 0, {-1, 1}),
              ippStsSizeErr);
    EXPECT_TRUE(img.untouched() && out.untouched());
    // A negative step walks upwards: the second row is converted first.
    ASSERT_EQ(ippiRGBToHLS_8u_C3R(img.row(1), -12, out.row(1), -12, {1, 2}), 0);
    Ipp8u want[3];
    ref_to_hls(k8u, img.row(0), want);
    EXPECT_EQ(std::memcmp(out.row(0), want, 3), 0);
}

}  // namespace
