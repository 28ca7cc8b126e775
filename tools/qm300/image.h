// 8-bit grey and RGB pages in memory, and their files (PNG, JPEG, TIFF, PNM).
#pragma once
#include <cstdint>
#include <string>
#include <vector>

namespace qm300 {

struct Image {
    int width = 0;
    int height = 0;
    int channels = 0;  // 1 grey, 3 RGB
    std::vector<uint8_t> pixels;  // rows back to back, width * channels bytes each

    Image() = default;
    Image(int w, int h, int c) : width(w), height(h), channels(c), pixels(size_t(w) * h * c) {}
    int step() const { return width * channels; }
    uint8_t* row(int y) { return pixels.data() + size_t(y) * step(); }
    const uint8_t* row(int y) const { return pixels.data() + size_t(y) * step(); }
};

// Reads the first page (or page `page` of a TIFF). Palette, grey+alpha and
// RGBA inputs become grey or RGB (alpha composited on white); 16-bit inputs
// are refused. Throws ToolError with one clear line on any problem.
Image read_image(const std::string& path, int page = 0);

// Writes by the file's extension (.png .jpg .jpeg .tif .tiff .pnm .ppm .pgm)
// through a temporary file renamed into place, so an existing file is never
// left half-written.
void write_image(const std::string& path, const Image& image, int jpegQuality = 95);

// True when the two paths name the same existing file.
bool same_file(const std::string& a, const std::string& b);

// Known image extension (lower case, with the dot), or "" when unknown.
std::string image_kind(const std::string& path);

}  // namespace qm300
