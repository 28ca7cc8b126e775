// 8-bit grey and RGB pages in memory, and their files (PNG, JPEG, TIFF, PNM).
#pragma once
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace qm300 {

// What a page carries besides its pixels, kept from input to output.
struct PageInfo {
    double xdpi = 0, ydpi = 0;   // 0: unknown
    std::vector<uint8_t> icc;    // colour profile, empty when none
};

struct Image {
    int width = 0;
    int height = 0;
    int channels = 0;  // 1 grey, 3 RGB
    std::vector<uint8_t> pixels;  // rows back to back, width * channels bytes each
    PageInfo info;

    Image() = default;
    Image(int w, int h, int c) : width(w), height(h), channels(c), pixels(size_t(w) * h * c) {}
    int step() const { return width * channels; }
    uint8_t* row(int y) { return pixels.data() + size_t(y) * step(); }
    const uint8_t* row(int y) const { return pixels.data() + size_t(y) * step(); }
};

// The pixel budget: no page (decoded, resized or padded for a filter) may
// hold more pixels. Checked from every file's header before any allocation.
constexpr uint64_t kDefaultMaxPixels = 100'000'000;
uint64_t max_pixels();
void set_max_pixels(uint64_t n);
// Throws ToolError when a page of w x h pixels is outside the budget.
void check_page_size(long long w, long long h, uint64_t budget = max_pixels());

// Decodes a whole file held in memory (PNM, PNG, JPEG or TIFF, told apart by
// content); `page` counts from 0 and is for TIFF only. The orientation a
// JPEG or TIFF records is applied, so the page comes out upright. Throws
// ToolError with the reason (no file name) on any problem.
Image decode_image(const uint8_t* data, size_t size, int page, uint64_t budget);
// Encodes for a kind as image_kind() gives it (".png", ".jpg", ...).
std::vector<uint8_t> encode_image(const Image& image, const std::string& kind, int jpegQuality = 95);

// Reads the first page (or page `page` of a TIFF); "-" is standard input, and
// pipes and FIFOs work. Palette, grey+alpha and RGBA inputs become grey or RGB
// (alpha composited on white); 16-bit inputs are refused. Errors name the file.
Image read_image(const std::string& path, int page = 0);

// An output in the making: the checks and a temporary file next to the target
// come first (so a run that cannot write fails before the work), the bytes go
// to the temporary, and commit() renames it into place. Until then, and on
// SIGINT or SIGTERM, the temporary is removed. "-" is standard output; an
// existing FIFO or device is written directly. New files follow the umask, a
// replaced file keeps its mode; a read-only target is refused unless `force`.
class OutputFile {
public:
    OutputFile(const std::string& path, bool force);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    void commit(const std::vector<uint8_t>& bytes);
    const std::string& path() const { return path_; }

private:
    std::string path_, tmp_;
    int fd_ = -1;
    int slot_ = -1;
    unsigned mode_ = 0;
    bool direct_ = false;
};

// Writes by the file's extension (.png .jpg .jpeg .tif .tiff .pnm .ppm .pgm).
void write_image(const std::string& path, const Image& image, int jpegQuality = 95);

// Removes the temporaries on SIGINT/SIGTERM (exit 130/143) and before a crash
// takes its course; also notes the umask. Call once, before any thread starts.
void install_cleanup_handlers();

// True when the two paths name the same existing file.
bool same_file(const std::string& a, const std::string& b);

// Known image extension (lower case, with the dot), or "" when unknown.
std::string image_kind(const std::string& path);

}  // namespace qm300
