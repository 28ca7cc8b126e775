// Writes kernel_tables_data.cpp: the four level-indexed kernel tables.
//
//   c++ -std=c++20 -O1 src/scanfilters/kernel_tables_gen.cpp -o /tmp/ktgen &&
//   /tmp/ktgen > src/scanfilters/kernel_tables_data.cpp
//
// The radius-2 table is product data and is emitted verbatim. The radius 3, 4
// and 7 tables come from one parametric family (see kernel_tables.md) and the
// program refuses to emit anything that breaks the tables' invariants.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace {

// Radius 2, per level: w(0,0) w(0,1) w(0,2) w(1,1) w(1,2) w(2,2).
const float kR2[7][6] = {
    {0.704784f, 0.248006f, -0.072754f, 0.044403f, -0.054734f, -0.036382f},
    {0.893822f, 0.305395f, -0.10413f, 0.043928f, -0.080707f, -0.057234f},
    {1.085237f, 0.363502f, -0.1359f, 0.043446f, -0.107004f, -0.078349f},
    {1.277735f, 0.421936f, -0.16785f, 0.04296f, -0.133448f, -0.099585f},
    {1.470817f, 0.480547f, -0.199896f, 0.042473f, -0.159971f, -0.120886f},
    {1.66425f, 0.539263f, -0.231999f, 0.041985f, -0.186542f, -0.142226f},
    {1.85791f, 0.598047f, -0.264141f, 0.041496f, -0.213144f, -0.163592f},
};

struct Family {
    int r;
    float c0, c6;            // centre weight at levels 0 and 6
    double p0;               // axis neighbour at level 0 (0: follow radius 2)
    std::vector<double> phi; // axis lobe profile for distances 2..r
    bool normalise;          // scale phi to the radius-2 lobe mass
};

// Ratios read off the radius-2 table at its two ends.
const double kP0 = 0.248006 / 0.704784, kP6 = 0.598047 / 1.85791;  // w(0,1) / w(0,0)
const double kL0 = 0.072754 / 0.248006, kL6 = 0.264141 / 0.598047; // -w(0,2) / w(0,1)

using Kernel = std::vector<float>;

Kernel expand(int r, const std::vector<std::vector<double>>& q) {  // q[i][j], 0 <= i <= j <= r
    const int n = 2 * r + 1;
    Kernel k(static_cast<size_t>(n) * n);
    for (int y = 0; y < n; ++y)
        for (int x = 0; x < n; ++x) {
            int i = std::abs(y - r), j = std::abs(x - r);
            if (i > j) std::swap(i, j);
            k[static_cast<size_t>(y) * n + x] = static_cast<float>(q[i][j]);
        }
    return k;
}

Kernel radius2(int level) {
    const float* w = kR2[level];
    std::vector<std::vector<double>> q(3, std::vector<double>(3));
    q[0][0] = w[0]; q[0][1] = w[1]; q[0][2] = w[2];
    q[1][1] = w[3]; q[1][2] = w[4]; q[2][2] = w[5];
    return expand(2, q);
}

Kernel family(const Family& f, int level) {
    const int r = f.r;
    const double t = level / 6.0;
    const double c = level == 0 ? f.c0 : level == 6 ? f.c6 : f.c0 + t * (double(f.c6) - f.c0);
    const double p6 = f.c6 * kP6;
    const double p = f.p0 != 0 ? f.p0 + t * (p6 - f.p0) : c * (kP0 + t * (kP6 - kP0));
    const double lobe0 = f.p0 != 0 ? -f.phi[0] / f.p0 : kL0;  // phi[0] carries w(0,2) when given
    const double lobe = lobe0 + t * (kL6 - lobe0);
    std::vector<double> phi = f.phi;
    if (f.p0 != 0)
        for (double& v : phi) v /= -f.phi[0];
    if (f.normalise) {
        double m = 0;
        for (int d = 2; d <= r; ++d) m += d * phi[d - 2];
        for (double& v : phi) v *= 2.0 / m;
    }
    std::vector<std::vector<double>> q(r + 1, std::vector<double>(r + 1, 0.0));
    q[0][0] = c;
    q[0][1] = p;
    for (int d = 2; d <= r; ++d) q[0][d] = -lobe * p * phi[d - 2];
    if (level == 0 && f.p0 != 0)  // the given level-0 axis row, exactly
        for (int d = 2; d <= r; ++d) q[0][d] = f.phi[d - 2];
    // Off-axis lobe: always negative, tapering towards the diagonal as in radius 2.
    for (int j = 2; j <= r; ++j)
        for (int i = 1; i <= j; ++i) q[i][j] = -std::fabs(q[0][j]) * (1.0 - i / (2.0 * j));
    // w(1,1) takes up the balance so the kernel sums to one.
    double s = q[0][0] + 4 * q[0][1];
    for (int j = 2; j <= r; ++j) {
        s += 4 * q[0][j] + 4 * q[j][j];
        for (int i = 1; i < j; ++i) s += 8 * q[i][j];
    }
    q[1][1] = (1.0 - s) / 4;
    Kernel k = expand(r, q);
    k[static_cast<size_t>(r) * (2 * r + 1) + r] = level == 0 ? f.c0 : level == 6 ? f.c6 : static_cast<float>(c);
    return k;
}

void check(bool ok, const char* what, int r, int level) {
    if (!ok) {
        std::fprintf(stderr, "radius %d level %d: %s\n", r, level, what);
        std::exit(1);
    }
}

void emit(const char* name, int r, Kernel (*make)(int, const void*), const void* arg) {
    const int n = 2 * r + 1;
    std::printf("\nalignas(32) const float %s[7 * 3 * %d] = {\n", name, n * n);
    float lastCentre = -1;
    for (int level = 0; level < 7; ++level) {
        const Kernel k = make(level, arg);
        float sum = 0;
        for (float v : k) sum += v;
        check(std::fabs(sum - 1.0f) < 1e-5f, "sum", r, level);
        const float centre = k[static_cast<size_t>(r) * n + r];
        check(centre > lastCentre, "centre not rising", r, level);
        lastCentre = centre;
        for (int y = 0; y < n; ++y)
            for (int x = 0; x < n; ++x) {
                const float v = k[static_cast<size_t>(y) * n + x];
                check(v == k[static_cast<size_t>(x) * n + y] && v == k[static_cast<size_t>(n - 1 - y) * n + x] &&
                          v == k[static_cast<size_t>(y) * n + n - 1 - x],
                      "symmetry", r, level);
            }
        for (int ch = 0; ch < 3; ++ch) {
            std::printf("    // level %d, channel %d\n", level, ch);
            for (int y = 0; y < n; ++y) {
                std::printf("   ");
                for (int x = 0; x < n; ++x) std::printf(" %.9gf,", static_cast<double>(k[static_cast<size_t>(y) * n + x]));
                std::printf("\n");
            }
        }
    }
    std::printf("};\n");
}

Kernel make_r2(int level, const void*) { return radius2(level); }
Kernel make_family(int level, const void* f) { return family(*static_cast<const Family*>(f), level); }

}  // namespace

int main() {
    const Family r3{3, 0.68027f, 1.89976f, 0, {1.0, 0.5}, true};
    const Family r4{4, 0.63731f, 1.72975f, 0.25126f, {-0.07693f, -0.00409f, 0.00255f}, false};
    const Family r7{7, 0.64626f, 1.76294f, 0, {6, 5, 4, 3, 2, 1}, true};
    std::printf("// Generated by kernel_tables_gen.cpp; do not edit.\n");
    std::printf("// Layout: [level 0..6][channel 0..2][row][column].\n");
    std::printf("#include \"scanfilters/kernel_tables.h\"\n\nnamespace qm {\n");
    emit("kDeosKernelsR2", 2, make_r2, nullptr);
    emit("kDeosKernelsR3", 3, make_family, &r3);
    emit("kDeosKernelsR4", 4, make_family, &r4);
    emit("kDeosKernelsR7", 7, make_family, &r7);
    std::printf("\n}  // namespace qm\n");
    return 0;
}
