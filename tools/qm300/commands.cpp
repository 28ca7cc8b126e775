#include "commands.h"

#include "font.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <mutex>
#include <map>
#include <random>
#include <set>
#include <thread>

namespace qm300 {

namespace fs = std::filesystem;

int run_info(const Module& m) {
    const int type = QM_FN(m, ippGetCpuType)();
    Ipp64u mask = 0;
    QM_FN(m, ippGetCpuFeatures)(&mask, nullptr);
    static const char* const kBits[] = {"MMX", "SSE", "SSE2", "SSE3", "SSSE3", "MOVBE", "SSE4.1", "SSE4.2",
                                        "AVX", "AVX-OS", "AES", "PCLMULQDQ", "FAMILY-B", "RDRAND", "F16C"};
    std::printf("module               %s\n", m.path().c_str());
    std::printf("processor class      0x%02x\n", type);
    std::printf("cores on die         %d\n", QM_FN(m, ippGetNumCoresOnDie)());
    std::printf("feature mask         0x%llx:", static_cast<unsigned long long>(mask));
    for (int b = 0; b < 15; ++b)
        if (mask & (1ull << b)) std::printf(" %s", kBits[b]);
    std::printf("\n");
    const IppLibraryVersion* iv = QM_FN(m, ippiGetLibVersion)();
    std::printf("implementation set   %.4s\n", iv->targetCpu);
    for (const IppLibraryVersion* v : {QM_FN(m, ippGetLibVersion)(), iv})
        std::printf("%-20s %d.%d build %d.%d, \"%.4s\", %s, \"%s\", %s\n", v == iv ? "image primitives" : "core",
                    v->major, v->minor, v->majorBuild, v->build, v->targetCpu, v->Name, v->Version, v->BuildDate);
    return 0;
}

namespace {

// Errors of an operation on a page name the page once.
Image apply_to(const Module& m, const Op& op, const Image& in, const std::string& name) {
    try {
        return apply_op(m, op, in);
    } catch (const UsageError&) {
        throw;
    } catch (const ToolError& e) {
        throw ToolError(name + ": " + e.what());
    } catch (const std::bad_alloc&) {
        throw ToolError(name + ": out of memory");
    }
}

void encode_into(OutputFile& out, const Image& im, const std::string& kind) {
    std::vector<uint8_t> bytes;
    try {
        bytes = encode_image(im, kind);
    } catch (const ToolError& e) {
        throw ToolError(out.path() + ": " + e.what());
    }
    out.commit(bytes);
}

}  // namespace

int run_single(const Module& m, const OpSet& ops, bool force) {
    const Op* op = ops.selected();
    if (op == nullptr) throw UsageError("no operation given");
    op->check();
    if (ops.page() < 1) throw UsageError("--page counts from 1");
    const std::string kind = ops.format().empty() ? image_kind(ops.output()) : "." + ops.format();
    if (kind.empty())
        throw UsageError(ops.output() == "-" ? "writing to standard output (-) needs --format png, jpg, tif or pnm"
                                             : ops.output() + ": unknown output format (use .png, .jpg, .tif, .pnm, "
                                                              ".ppm or .pgm, or --format)");
    if (ops.input() != "-" && same_file(ops.input(), ops.output()))
        throw ToolError(ops.output() + ": refusing to write over the input");
    OutputFile out(ops.output(), force);  // a folder we cannot write to fails before the work
    const Image in = read_image(ops.input(), ops.page() - 1);
    encode_into(out, apply_to(m, *op, in, ops.input() == "-" ? "standard input" : ops.input()), kind);
    return 0;
}

// ---- demo ------------------------------------------------------------------

Image synth_page(int width, int height, unsigned seed) {
    Image page(width, height, 3);
    std::mt19937 rng(seed);
    std::normal_distribution<float> noise(0.0f, 4.0f);
    // A slight skew, as from a page fed at an angle.
    const float skew = 0.012f;
    const int photoX = width / 2, photoY = height / 8, photoW = width * 2 / 5, photoH = height / 4;
    const int dotsY = height * 5 / 8;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const float u = x + skew * y, v = y - skew * x;
            float r = 246, g = 244, b = 236;  // paper
            // Text-like strokes: lines of glyph blocks with vertical and horizontal bars.
            const int line = int(v) / 28, inLine = int(v) % 28;
            if (line > 1 && (line % 12) < 9 && u > 40 && u < width - 40 && inLine > 6 && inLine < 22 &&
                !(u > photoX - 20 && v > photoY - 20 && v < photoY + photoH + 20) &&
                !(v > dotsY - 16 && v < dotsY + height / 6 + 16)) {
                const int glyph = int(u) / 14, inGlyph = int(u) % 14;
                const unsigned h = (glyph * 2654435761u) ^ (line * 40503u);
                if ((h >> 7) % 6 != 0) {
                    const bool bar = inGlyph < 3 || ((h >> 3) & 1 ? inLine < 9 : inLine > 18) ||
                                     ((h >> 5) & 1 && inGlyph > 9);
                    if (bar && inGlyph < 12) r = g = b = 28;
                }
            }
            // A photo-like area: smooth colour gradients with a soft disc.
            if (u > photoX && u < photoX + photoW && v > photoY && v < photoY + photoH) {
                const float px = (u - photoX) / photoW, py = (v - photoY) / photoH;
                const float d = std::hypot(px - 0.6f, py - 0.45f);
                r = 40 + 180 * px;
                g = 70 + 120 * (1 - py) + 50 * std::max(0.0f, 0.3f - d) / 0.3f;
                b = 150 - 90 * px + 60 * py;
            }
            // Halftone dots: a printed grey wedge.
            if (v > dotsY && v < dotsY + height / 6 && u > 60 && u < width - 60) {
                const float level = (u - 60) / (width - 120);
                const float cx = std::fmod(u, 8.0f) - 4, cy = std::fmod(v, 8.0f) - 4;
                if (cx * cx + cy * cy < 16 * level) r = g = b = 40;
            }
            uint8_t* p = page.row(y) + 3 * x;
            const float n = noise(rng);
            p[0] = uint8_t(std::clamp(r + n, 0.0f, 255.0f));
            p[1] = uint8_t(std::clamp(g + n + noise(rng) * 0.5f, 0.0f, 255.0f));
            p[2] = uint8_t(std::clamp(b + n, 0.0f, 255.0f));
        }
    return page;
}

namespace {

// Draws a label in the 5x7 font, `scale` pixels per dot.
void draw_text(Image& im, int x, int y, const std::string& text, int scale, uint8_t ink) {
    for (char ch : text) {
        const uint8_t* rows = glyph(ch);
        for (int r = 0; r < 7; ++r)
            for (int c = 0; c < 5; ++c)
                if (rows[r] & (0x10 >> c))
                    for (int dy = 0; dy < scale; ++dy)
                        for (int dx = 0; dx < scale; ++dx) {
                            const int px = x + c * scale + dx, py = y + r * scale + dy;
                            if (px < im.width && py < im.height)
                                for (int k = 0; k < 3; ++k) im.row(py)[3 * px + k] = ink;
                        }
        x += 6 * scale;
    }
}

// The same detail of the input and of every result, magnified, with labels:
// one glance shows what each step did to text edges, photo and noise.
Image contact_sheet(const std::vector<std::pair<std::string, Image>>& steps, const Image& before) {
    constexpr int kZoom = 2, kCols = 4, kLabel = 22, kGap = 10;
    const int cw = std::min(before.width / 4, 180), chh = std::min(before.height / 6, 130);
    // Where the text meets the photo: edges, flat paper and colour together.
    const int cx = std::max(0, before.width / 2 - cw * 2 / 3), cy = before.height / 8 + before.height / 16;
    const int tw = cw * kZoom, th = chh * kZoom;
    std::vector<std::pair<std::string, const Image*>> tiles = {{"input", &before}};
    for (const auto& s : steps) tiles.emplace_back(s.first, &s.second);
    const int rows = (int(tiles.size()) + kCols - 1) / kCols;
    Image sheet(kCols * (tw + kGap) + kGap, rows * (th + kLabel + kGap) + kGap, 3);
    std::fill(sheet.pixels.begin(), sheet.pixels.end(), 250);
    for (size_t i = 0; i < tiles.size(); ++i) {
        const Image& src = *tiles[i].second;
        const int ox = kGap + int(i % kCols) * (tw + kGap), oy = kGap + int(i / kCols) * (th + kLabel + kGap);
        draw_text(sheet, ox, oy + 3, tiles[i].first, 2, 20);
        // Results of another size (the resizes) are sampled back onto the page's grid.
        const double sx = double(src.width) / before.width, sy = double(src.height) / before.height;
        for (int y = 0; y < th; ++y)
            for (int x = 0; x < tw; ++x) {
                const int X = std::min(src.width - 1, int((cx + x / kZoom) * sx));
                const int Y = std::min(src.height - 1, int((cy + y / kZoom) * sy));
                const uint8_t* s = src.row(Y) + size_t(X) * src.channels;
                uint8_t* d = sheet.row(oy + kLabel + y) + 3 * (ox + x);
                for (int c = 0; c < 3; ++c) d[c] = s[src.channels == 3 ? c : 0];
            }
    }
    return sheet;
}

}  // namespace

int run_demo(const Module& m, const DemoOptions& o) {
    if (o.width < 64 || o.width > 10000) throw ToolError("--width must lie between 64 and 10000");
    const int width = o.width & ~3, height = int(width * 297.0 / 210.0);
    std::error_code ec;
    fs::create_directories(o.outDir, ec);
    if (ec) throw ToolError("cannot create " + o.outDir + ": " + ec.message());
    const IppLibraryVersion* v = QM_FN(m, ippiGetLibVersion)();
    std::printf("qm300 demo: synthetic %dx%d page, implementation set \"%.4s\" (%s)\n", width, height, v->targetCpu,
                v->Name);
    const Image page = synth_page(width, height);
    write_image(o.outDir + "/page.png", page);

    struct Step { const char* file; const char* what; const char* label; const char* op; };
    const Step steps[] = {
        {"sharpen.png", "sharpen, radius 2, level 4", "sharpen r2 l4", "sharpen -r 2 -l 4"},
        {"sharpen-r7.png", "sharpen, radius 7, level 3", "sharpen r7 l3", "sharpen -r 7 -l 3"},
        {"soften.png", "soften, radius 3, level 0", "soften r3 l0", "soften -r 3 -l 0"},
        {"denoise-rgb.png", "bilateral noise reduction RGB, 5x5, level 4", "bilateral rgb 5x5", "denoise -m 2 -l 4"},
        {"denoise-yuv.png", "bilateral noise reduction YUV, 3x3 level 3 / 5x5 level 6", "bilateral yuv",
         "denoise --yuv 1:3,2:6"},
        {"gauss-nr.png", "Gauss noise reduction, radius 1", "gauss nr 3x3", "denoise --method gauss -r 1"},
        {"median-nr.png", "median noise reduction, radius 1", "median nr 3x3", "denoise --method median -r 1"},
        {"vector-median-nr.png", "vector-median noise reduction, radius 1", "vector median 3x3",
         "denoise --method vector-median -r 1"},
        {"resize-half.png", "resize x0.5, supersampling", "resize 0.5 super", "resize -s 0.5 -i super"},
        {"resize-lanczos.png", "resize x0.75, Lanczos", "resize 0.75 lanczos", "resize -s 0.75 -i lanczos"},
    };
    std::vector<std::pair<std::string, Image>> done;
    std::printf("\n  %-58s %10s\n", "step", "time");
    int failed = 0;
    for (const Step& s : steps) {
        CLI::App parser;
        OpSet ops;
        ops.add_to(parser, false);
        parser.parse(s.op, false);
        try {
            const auto t0 = std::chrono::steady_clock::now();
            Image out = apply_op(m, *ops.selected(), page);
            const double ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t0).count();
            write_image(o.outDir + "/" + s.file, out);
            std::printf("  %-58s %8.1f ms\n", s.what, ms);
            done.emplace_back(s.label, std::move(out));
        } catch (const ToolError& e) {
            std::printf("  %-58s   skipped: %s\n", s.what, e.what());
            ++failed;
        }
    }
    if (!done.empty()) write_image(o.outDir + "/contact-sheet.png", contact_sheet(done, page));
    std::printf("\nPictures in %s/: page.png (input), one PNG per step, contact-sheet.png "
                "(the same detail of the input and of every result, magnified).\n", o.outDir.c_str());
    return failed ? 1 : 0;
}

// ---- batch -----------------------------------------------------------------

namespace {

const Op& parse_batch_op(CLI::App& parser, OpSet& ops, const std::string& text) {
    ops.add_to(parser, false);
    parser.require_subcommand(1);
    try {
        parser.parse(text, false);
    } catch (const CLI::Success&) {
        throw UsageError("--op \"" + text + "\": for an operation's options run qm300 COMMAND --help");
    } catch (const CLI::ParseError& e) {
        throw UsageError("--op \"" + text + "\": " + e.what());
    }
    const Op* op = ops.selected();
    op->check();
    return *op;
}

// Files named and image files in the folders named, each file once.
std::vector<std::string> collect_inputs(const std::vector<std::string>& inputs) {
    std::vector<std::string> files;
    std::set<fs::path> seen;
    for (const std::string& in : inputs) {
        if (in == "-") throw UsageError("batch reads files and folders, not standard input");
        std::error_code ec;
        std::vector<std::string> found;
        if (fs::is_directory(in, ec)) {
            for (const auto& e : fs::directory_iterator(in, ec))
                if (e.is_regular_file() && !image_kind(e.path().string()).empty()) found.push_back(e.path().string());
            std::sort(found.begin(), found.end());
        } else {
            found.push_back(in);
        }
        for (const std::string& f : found)
            if (seen.insert(fs::weakly_canonical(f, ec)).second) files.push_back(f);
    }
    if (files.empty()) throw UsageError("no input pages");
    return files;
}

// Every output named before anything is written: none may be an input, no
// two inputs may share one.
std::vector<std::string> plan_outputs(const std::vector<std::string>& files, const BatchOptions& o) {
    std::map<fs::path, size_t> inputs, outputs;
    std::error_code ec;
    for (size_t i = 0; i < files.size(); ++i) inputs.emplace(fs::weakly_canonical(files[i], ec), i);
    std::vector<std::string> planned;
    for (size_t i = 0; i < files.size(); ++i) {
        const std::string& in = files[i];
        const std::string kind = image_kind(in);
        const std::string ext = o.format != "same" ? "." + o.format : kind.empty() ? ".png" : kind;
        const std::string out = (fs::path(o.outDir) / fs::path(in).stem()).string() + ext;
        const fs::path key = fs::weakly_canonical(out, ec);
        const auto clash = inputs.find(key);
        if (clash != inputs.end() || std::any_of(files.begin(), files.end(), [&](const std::string& f) {
                return same_file(f, out);
            }))
            throw UsageError("the result of " + in + " would replace the input " + out +
                             "; nothing was written (choose another -o folder)");
        const auto [it, fresh] = outputs.emplace(key, i);
        if (!fresh)
            throw UsageError(files[it->second] + " and " + in + " would both be written to " + out +
                             "; nothing was written (use --format same or separate folders)");
        planned.push_back(out);
    }
    return planned;
}

}  // namespace

int run_batch(const Module& m, const BatchOptions& o) {
    CLI::App parser{"operation"};
    OpSet ops;
    const Op& op = parse_batch_op(parser, ops, o.op);
    const std::vector<std::string> files = collect_inputs(o.inputs);
    const std::vector<std::string> outs = plan_outputs(files, o);
    std::error_code ec;
    fs::create_directories(o.outDir, ec);
    if (ec) throw ToolError(o.outDir + ": cannot create the folder: " + ec.message());

    const int jobs = std::clamp(o.jobs > 0 ? o.jobs : int(std::thread::hardware_concurrency()), 1, 64);
    const bool tty = isatty(STDERR_FILENO);
    std::atomic<size_t> next{0}, finished{0};
    std::mutex lock;
    std::vector<std::string> failures;
    auto progress = [&] {
        if (!tty) return;
        const size_t n = finished, total = files.size();
        const int bar = int(30 * n / total);
        std::fprintf(stderr, "\r[%.*s%*s] %zu/%zu", bar, "##############################", 30 - bar, "", n, total);
        if (n == total) std::fprintf(stderr, "\n");
    };
    auto worker = [&] {
        for (size_t i; (i = next++) < files.size();) {
            try {
                OutputFile out(outs[i], o.force);
                encode_into(out, apply_to(m, op, read_image(files[i]), files[i]), image_kind(outs[i]));
            } catch (const std::exception& e) {
                std::lock_guard<std::mutex> g(lock);
                failures.push_back(dynamic_cast<const std::bad_alloc*>(&e) ? files[i] + ": out of memory" : e.what());
            }
            ++finished;
            std::lock_guard<std::mutex> g(lock);
            progress();
        }
    };
    std::vector<std::thread> pool;
    for (int t = 0; t < jobs; ++t) pool.emplace_back(worker);
    for (auto& t : pool) t.join();
    for (const auto& f : failures) std::fprintf(stderr, "qm300 batch: %s\n", f.c_str());
    std::printf("%zu of %zu pages done, %zu failed\n", files.size() - failures.size(), files.size(), failures.size());
    return failures.empty() ? 0 : 1;
}

}  // namespace qm300
