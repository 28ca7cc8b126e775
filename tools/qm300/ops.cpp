#include "ops.h"
#include "op_support.h"

#include <sys/stat.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <functional>
#include <sstream>

namespace qm300 {

// ---- page helpers ----------------------------------------------------------

Image pad(const Image& in, int left, int top, int right, int bottom) {
    const uint64_t w = uint64_t(in.width) + left + right, h = uint64_t(in.height) + top + bottom;
    if (w * h > 2 * max_pixels())
        throw ToolError("the page with the filter's margin would be over the limit of --max-pixels");
    Image out(int(w), int(h), in.channels);
    const int c = in.channels;
    for (int y = 0; y < out.height; ++y) {
        const uint8_t* s = in.row(std::clamp(y - top, 0, in.height - 1));
        uint8_t* d = out.row(y);
        for (int x = 0; x < out.width; ++x) {
            const int sx = std::clamp(x - left, 0, in.width - 1);
            for (int k = 0; k < c; ++k) d[x * c + k] = s[sx * c + k];
        }
    }
    return out;
}

Image crop(const Image& in, int x, int y, int w, int h) {
    Image out(w, h, in.channels);
    for (int r = 0; r < h; ++r)
        std::copy_n(in.row(y + r) + size_t(x) * in.channels, size_t(w) * in.channels, out.row(r));
    return out;
}

std::vector<std::vector<double>> read_matrix(const std::string& path, size_t maxValues) {
    struct stat st;
    if (stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode) && uint64_t(st.st_size) > 40 * uint64_t(maxValues) + 4096)
        throw ToolError(path + ": more numbers than the page can use");
    std::ifstream f(path);
    if (!f) throw ToolError(path + ": cannot read");
    std::vector<std::vector<double>> rows;
    std::string line;
    size_t count = 0;
    for (int lineNo = 1; std::getline(f, line); ++lineNo) {
        line = line.substr(0, line.find('#'));
        for (char& ch : line)
            if (ch == ',' || ch == ';') ch = ' ';
        std::istringstream is(line);
        std::vector<double> row;
        std::string tok;
        while (is >> tok) {
            char* end = nullptr;
            const double v = std::strtod(tok.c_str(), &end);
            if (end == tok.c_str() || *end != '\0' || !std::isfinite(v))
                throw ToolError(path + ":" + std::to_string(lineNo) + ": not a number: " + tok);
            row.push_back(v);
        }
        if (row.empty()) continue;
        if (!rows.empty() && row.size() != rows.front().size())
            throw ToolError(path + ":" + std::to_string(lineNo) + ": rows of different lengths");
        if ((count += row.size()) > maxValues) throw ToolError(path + ": more numbers than the page can use");
        rows.push_back(std::move(row));
    }
    if (rows.empty()) throw ToolError(path + ": no numbers");
    return rows;
}

Image apply_op(const Module& m, const Op& op, const Image& in) {
    Image out = op.apply(m, in);
    out.info = in.info;
    if (!op.keeps_profile()) out.info.icc.clear();
    // Print size stays: a resized page changes its resolution, not its inches.
    if (out.info.xdpi > 0 && out.width != in.width) out.info.xdpi *= double(out.width) / in.width;
    if (out.info.ydpi > 0 && out.height != in.height) out.info.ydpi *= double(out.height) / in.height;
    return out;
}

void OpSet::add_to(CLI::App& app, bool withFiles) {
    struct Entry {
        const char* name;
        const char* help;
        std::function<std::unique_ptr<Op>()> make;
    };
    const Entry entries[] = {
        {"sharpen", "Scanner sharpening with a square kernel (levels 2..6 sharpen)", [] { return make_convolve(true); }},
        {"soften", "Scanner softening with a square kernel (levels 0..1 soften)", [] { return make_convolve(false); }},
        {"denoise", "Scanner noise reduction (bilateral, Gauss, median or vector median)", make_denoise},
        {"median", "Median of each channel over a rectangular mask", make_median},
        {"vector-median", "Vector median: the most central colour of the mask", [] { return make_fixed_mask(false); }},
        {"gauss", "Gaussian smoothing with a fixed 3x3 or 5x5 mask", [] { return make_fixed_mask(true); }},
        {"box", "Mean over a rectangular mask", [] { return make_box(0); }},
        {"min", "Minimum over a rectangular mask (erosion)", [] { return make_box(1); }},
        {"max", "Maximum over a rectangular mask (dilation)", [] { return make_box(2); }},
        {"bilateral", "Edge-preserving bilateral smoothing (colour: per channel)", make_bilateral},
        {"filter", "Linear filter (true convolution) with a kernel from a text file", make_linear},
        {"resize", "Scale the page (the resolution is scaled with it)", make_resize},
        {"remap", "Geometric correction through coordinate maps", make_remap},
        {"convert", "Colour conversion between RGB, YUV and HLS (values stored as 8-bit)", make_convert},
    };
    for (const Entry& e : entries) {
        CLI::App* sub = app.add_subcommand(e.name, e.help);
        std::unique_ptr<Op> op = e.make();
        op->add_options(*sub);
        if (withFiles) {
            sub->add_option("input", input_, "page to read (PNG, JPEG, TIFF, PGM/PPM); - reads standard input")
                ->required();
            sub->add_option("output", output_, "page to write, format by extension; - writes standard output")
                ->required();
            sub->add_option("--page", page_, "TIFF page to read, counting from 1");
            sub->add_option("--format", format_, "output format when OUTPUT is - : png, jpg, tif or pnm")
                ->check(CLI::IsMember({"png", "jpg", "tif", "pnm"}));
        }
        ops_.emplace_back(sub, std::move(op));
    }
}

const Op* OpSet::selected() const {
    for (const auto& [sub, op] : ops_)
        if (sub->parsed()) return op.get();
    return nullptr;
}

}  // namespace qm300
