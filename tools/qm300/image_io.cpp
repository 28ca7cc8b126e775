// The four file formats, decoded from and encoded to memory. Every reader
// checks the page size from the header against the pixel budget before it
// allocates anything, and any decode error refuses the page.
#include <cstdio>  // jpeglib.h needs FILE declared first
#include <jpeglib.h>
#include <png.h>
#include <tiffio.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cmath>
#include <csetjmp>
#include <cstdarg>
#include <cstring>
#include <memory>

#include "image.h"
#include "module.h"

namespace qm300 {

namespace {

std::atomic<uint64_t> g_maxPixels{kDefaultMaxPixels};

uint8_t over_white(uint32_t v, uint32_t a) { return uint8_t((v * a + 255 * (255 - a) + 127) / 255); }

// Grey, grey+alpha, RGB or RGBA samples (8-bit) into a grey or RGB page,
// alpha composited on paper white.
void take_samples(Image& out, const uint8_t* s, int samples) {
    const size_t n = size_t(out.width) * out.height;
    const bool alpha = samples == 2 || samples == 4;
    for (size_t i = 0; i < n; ++i, s += samples) {
        const uint32_t a = alpha ? s[samples - 1] : 255;
        if (out.channels == 1) {
            out.pixels[i] = over_white(s[0], a);
        } else {
            const bool grey = samples < 3;
            for (int k = 0; k < 3; ++k) out.pixels[3 * i + k] = over_white(s[grey ? 0 : k], a);
        }
    }
}

// The eight orientations of EXIF and TIFF: how the stored rows map onto the
// upright page.
void apply_orientation(Image& im, int o) {
    if (o < 2 || o > 8) return;
    const int w = im.width, h = im.height, c = im.channels;
    const bool swap = o >= 5;
    Image out(swap ? h : w, swap ? w : h, c);
    for (int y = 0; y < out.height; ++y)
        for (int x = 0; x < out.width; ++x) {
            int sx = x, sy = y;
            switch (o) {
                case 2: sx = w - 1 - x; break;
                case 3: sx = w - 1 - x, sy = h - 1 - y; break;
                case 4: sy = h - 1 - y; break;
                case 5: sx = y, sy = x; break;
                case 6: sx = y, sy = h - 1 - x; break;
                case 7: sx = w - 1 - y, sy = h - 1 - x; break;
                case 8: sx = w - 1 - y, sy = x; break;
            }
            std::memcpy(out.row(y) + size_t(x) * c, im.row(sy) + size_t(sx) * c, size_t(c));
        }
    out.info = im.info;
    if (swap) std::swap(out.info.xdpi, out.info.ydpi);
    im = std::move(out);
}

// A profile is written only where it fits the page's colour space.
bool icc_fits(const std::vector<uint8_t>& icc, int channels) {
    if (icc.size() < 132) return false;
    const char* space = reinterpret_cast<const char*>(icc.data() + 16);
    return std::memcmp(space, channels == 3 ? "RGB " : "GRAY", 4) == 0;
}

// ---- PNG ----------------------------------------------------------------
struct PngIo {
    const uint8_t* data = nullptr;
    size_t size = 0, pos = 0;
    std::vector<uint8_t>* out = nullptr;
    char message[200] = "";
};

void png_fail(png_structp png, png_const_charp msg) {
    auto* io = static_cast<PngIo*>(png_get_error_ptr(png));
    std::snprintf(io->message, sizeof io->message, "%s", msg);
    png_longjmp(png, 1);
}
void png_quiet(png_structp, png_const_charp) {}

void png_read_mem(png_structp png, png_bytep dst, png_size_t n) {
    auto* io = static_cast<PngIo*>(png_get_io_ptr(png));
    if (n > io->size - io->pos) png_error(png, "truncated file");
    std::memcpy(dst, io->data + io->pos, n);
    io->pos += n;
}

// Everything with a destructor lives outside this function: libpng leaves it
// through longjmp.
bool png_decode(png_structp png, png_infop info, uint64_t budget, Image* out, std::vector<uint8_t>* buf,
                std::vector<png_bytep>* rows, PngIo* io) {
    if (setjmp(png_jmpbuf(png))) return false;
    png_read_info(png, info);
    const png_uint_32 w = png_get_image_width(png, info), h = png_get_image_height(png, info);
    const int depth = png_get_bit_depth(png, info), type = png_get_color_type(png, info);
    if (depth == 16) {
        std::snprintf(io->message, sizeof io->message, "16-bit PNG images are not supported (convert to 8-bit first)");
        return false;
    }
    try {
        check_page_size(w, h, budget);
    } catch (const ToolError& e) {
        std::snprintf(io->message, sizeof io->message, "%s", e.what());
        return false;
    }
    if (type == PNG_COLOR_TYPE_PALETTE) png_set_palette_to_rgb(png);
    if (type == PNG_COLOR_TYPE_GRAY && depth < 8) png_set_expand_gray_1_2_4_to_8(png);
    if (png_get_valid(png, info, PNG_INFO_tRNS)) png_set_tRNS_to_alpha(png);
    png_set_interlace_handling(png);
    png_read_update_info(png, info);
    const int samples = png_get_channels(png, info);
    const size_t rowBytes = png_get_rowbytes(png, info);
    if (rowBytes != size_t(w) * samples) png_error(png, "unexpected row layout");
    buf->resize(rowBytes * h);
    rows->resize(h);
    for (png_uint_32 y = 0; y < h; ++y) (*rows)[y] = buf->data() + y * rowBytes;
    png_read_image(png, rows->data());
    png_read_end(png, nullptr);
    *out = Image(int(w), int(h), (type & PNG_COLOR_MASK_COLOR) ? 3 : 1);
    take_samples(*out, buf->data(), samples);
    png_uint_32 rx = 0, ry = 0;
    int unit = 0;
    if (png_get_pHYs(png, info, &rx, &ry, &unit) && unit == PNG_RESOLUTION_METER && rx && ry)
        out->info.xdpi = rx * 0.0254, out->info.ydpi = ry * 0.0254;
    png_charp name = nullptr;
    int compression = 0;
    png_bytep profile = nullptr;
    png_uint_32 len = 0;
    if (png_get_iCCP(png, info, &name, &compression, &profile, &len) && profile)
        out->info.icc.assign(profile, profile + len);
    return true;
}

Image read_png(const uint8_t* data, size_t size, uint64_t budget) {
    PngIo io;
    io.data = data;
    io.size = size;
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &io, png_fail, png_quiet);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    if (!info) {
        png_destroy_read_struct(&png, nullptr, nullptr);
        throw ToolError("out of memory");
    }
    png_set_read_fn(png, &io, png_read_mem);
    Image out;
    std::vector<uint8_t> buf;
    std::vector<png_bytep> rows;
    const bool ok = png_decode(png, info, budget, &out, &buf, &rows, &io);
    png_destroy_read_struct(&png, &info, nullptr);
    if (!ok) throw ToolError(std::string("damaged or unsupported PNG (") + io.message + ")");
    return out;
}

void png_write_mem(png_structp png, png_bytep src, png_size_t n) {
    auto* io = static_cast<PngIo*>(png_get_io_ptr(png));
    io->out->insert(io->out->end(), src, src + n);
}
void png_flush_mem(png_structp) {}

bool png_encode(png_structp png, png_infop info, const Image& im) {
    if (setjmp(png_jmpbuf(png))) return false;
    png_set_IHDR(png, info, png_uint_32(im.width), png_uint_32(im.height), 8,
                 im.channels == 3 ? PNG_COLOR_TYPE_RGB : PNG_COLOR_TYPE_GRAY, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (im.info.xdpi > 0 && im.info.ydpi > 0)
        png_set_pHYs(png, info, png_uint_32(std::lround(im.info.xdpi / 0.0254)),
                     png_uint_32(std::lround(im.info.ydpi / 0.0254)), PNG_RESOLUTION_METER);
    if (icc_fits(im.info.icc, im.channels))
        png_set_iCCP(png, info, "ICC profile", 0, im.info.icc.data(), png_uint_32(im.info.icc.size()));
    png_write_info(png, info);
    for (int y = 0; y < im.height; ++y) png_write_row(png, im.row(y));
    png_write_end(png, info);
    return true;
}

std::vector<uint8_t> write_png(const Image& im) {
    std::vector<uint8_t> bytes;
    PngIo io;
    io.out = &bytes;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &io, png_fail, png_quiet);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    if (!info) {
        png_destroy_write_struct(&png, nullptr);
        throw ToolError("out of memory");
    }
    png_set_benign_errors(png, 1);  // a profile libpng dislikes is dropped, not fatal
    png_set_write_fn(png, &io, png_write_mem, png_flush_mem);
    const bool ok = png_encode(png, info, im);
    png_destroy_write_struct(&png, &info);
    if (!ok) throw ToolError(std::string("PNG encoding failed (") + io.message + ")");
    return bytes;
}

// ---- JPEG ---------------------------------------------------------------
struct JpegError {
    jpeg_error_mgr mgr;
    std::jmp_buf jump;
    char message[JMSG_LENGTH_MAX];
};

void jpeg_fail(j_common_ptr cinfo) {
    auto* err = reinterpret_cast<JpegError*>(cinfo->err);
    (*cinfo->err->format_message)(cinfo, err->message);
    std::longjmp(err->jump, 1);
}

// A progressive file may hold thousands of tiny scans, each a full pass over
// the page: a few hundred is more than any encoder writes.
void jpeg_scan_limit(j_common_ptr c) {
    if (c->is_decompressor && reinterpret_cast<j_decompress_ptr>(c)->input_scan_number > 500) {
        std::snprintf(reinterpret_cast<JpegError*>(c->err)->message, JMSG_LENGTH_MAX, "too many scans");
        std::longjmp(reinterpret_cast<JpegError*>(c->err)->jump, 1);
    }
}

// The orientation tag (0x0112) of an Exif APP1 segment, or 1.
int exif_orientation(const uint8_t* p, size_t n) {
    if (n < 14 || std::memcmp(p, "Exif\0\0", 6) != 0) return 1;
    p += 6, n -= 6;
    const bool le = p[0] == 'I' && p[1] == 'I';
    if (!le && !(p[0] == 'M' && p[1] == 'M')) return 1;
    auto u16 = [&](size_t at) { return le ? p[at] | p[at + 1] << 8 : p[at] << 8 | p[at + 1]; };
    auto u32 = [&](size_t at) { return le ? uint32_t(u16(at)) | uint32_t(u16(at + 2)) << 16
                                          : uint32_t(u16(at)) << 16 | uint32_t(u16(at + 2)); };
    const uint32_t ifd = u32(4);
    if (ifd > n || n - ifd < 2) return 1;
    const unsigned count = unsigned(u16(ifd));
    for (unsigned i = 0; i < count; ++i) {
        const size_t e = size_t(ifd) + 2 + size_t(i) * 12;
        if (e + 12 > n) break;
        if (u16(e) == 0x0112 && u16(e + 2) == 3) {
            const int o = u16(e + 8);
            return o >= 1 && o <= 8 ? o : 1;
        }
    }
    return 1;
}

bool jpeg_decode(jpeg_decompress_struct* cinfo, JpegError* err, uint64_t budget, Image* out, int* orientation) {
    if (setjmp(err->jump)) return false;
    jpeg_read_header(cinfo, TRUE);
    if (cinfo->jpeg_color_space == JCS_CMYK || cinfo->jpeg_color_space == JCS_YCCK) {
        std::snprintf(err->message, sizeof err->message, "CMYK JPEG images are not supported");
        return false;
    }
    try {
        check_page_size(cinfo->image_width, cinfo->image_height, budget);
    } catch (const ToolError& e) {
        std::snprintf(err->message, sizeof err->message, "%s", e.what());
        return false;
    }
    for (jpeg_saved_marker_ptr m = cinfo->marker_list; m; m = m->next)
        if (m->marker == JPEG_APP0 + 1) *orientation = exif_orientation(m->data, m->data_length);
    const bool grey = cinfo->num_components == 1;
    cinfo->out_color_space = grey ? JCS_GRAYSCALE : JCS_RGB;
    jpeg_start_decompress(cinfo);
    *out = Image(int(cinfo->output_width), int(cinfo->output_height), grey ? 1 : 3);
    while (cinfo->output_scanline < cinfo->output_height) {
        JSAMPROW row = out->row(int(cinfo->output_scanline));
        jpeg_read_scanlines(cinfo, &row, 1);
    }
    JOCTET* icc = nullptr;
    unsigned int iccLen = 0;
    if (jpeg_read_icc_profile(cinfo, &icc, &iccLen) && icc) {
        out->info.icc.assign(icc, icc + iccLen);
        std::free(icc);
    }
    if (cinfo->saw_JFIF_marker && cinfo->X_density && cinfo->Y_density && cinfo->density_unit) {
        const double f = cinfo->density_unit == 2 ? 2.54 : 1.0;
        out->info.xdpi = cinfo->X_density * f, out->info.ydpi = cinfo->Y_density * f;
    }
    jpeg_finish_decompress(cinfo);
    return true;
}

Image read_jpeg(const uint8_t* data, size_t size, uint64_t budget) {
    jpeg_decompress_struct cinfo;
    JpegError err;
    err.message[0] = '\0';
    cinfo.err = jpeg_std_error(&err.mgr);
    err.mgr.error_exit = jpeg_fail;
    // A corrupt-data warning (a truncated file among them) is an error here:
    // a page padded with grey must not pass as a good scan.
    err.mgr.emit_message = [](j_common_ptr c, int level) {
        if (level < 0) jpeg_fail(c);
    };
    jpeg_create_decompress(&cinfo);
    jpeg_progress_mgr progress{};
    progress.progress_monitor = jpeg_scan_limit;
    cinfo.progress = &progress;
    cinfo.mem->max_memory_to_use = long(std::min<uint64_t>(budget * 8 + (64u << 20), 1ull << 40));
    jpeg_mem_src(&cinfo, data, static_cast<unsigned long>(size));
    jpeg_save_markers(&cinfo, JPEG_APP0 + 1, 0xFFFF);
    jpeg_save_markers(&cinfo, JPEG_APP0 + 2, 0xFFFF);
    Image out;
    int orientation = 1;
    const bool ok = jpeg_decode(&cinfo, &err, budget, &out, &orientation);
    jpeg_destroy_decompress(&cinfo);
    if (!ok) throw ToolError(std::string("damaged or unsupported JPEG (") + err.message + ")");
    apply_orientation(out, orientation);
    return out;
}

bool jpeg_encode(jpeg_compress_struct* cinfo, JpegError* err, const Image& im, int quality) {
    if (setjmp(err->jump)) return false;
    cinfo->image_width = JDIMENSION(im.width);
    cinfo->image_height = JDIMENSION(im.height);
    cinfo->input_components = im.channels;
    cinfo->in_color_space = im.channels == 3 ? JCS_RGB : JCS_GRAYSCALE;
    jpeg_set_defaults(cinfo);
    jpeg_set_quality(cinfo, quality, TRUE);
    if (im.info.xdpi > 0 && im.info.ydpi > 0 && im.info.xdpi < 65535.5 && im.info.ydpi < 65535.5) {
        cinfo->density_unit = 1;
        cinfo->X_density = UINT16(std::max(1L, std::lround(im.info.xdpi)));
        cinfo->Y_density = UINT16(std::max(1L, std::lround(im.info.ydpi)));
    }
    jpeg_start_compress(cinfo, TRUE);
    if (icc_fits(im.info.icc, im.channels))
        jpeg_write_icc_profile(cinfo, im.info.icc.data(), unsigned(im.info.icc.size()));
    while (cinfo->next_scanline < cinfo->image_height) {
        JSAMPROW row = const_cast<JSAMPROW>(im.row(int(cinfo->next_scanline)));
        jpeg_write_scanlines(cinfo, &row, 1);
    }
    jpeg_finish_compress(cinfo);
    return true;
}

std::vector<uint8_t> write_jpeg(const Image& im, int quality) {
    jpeg_compress_struct cinfo;
    JpegError err;
    err.message[0] = '\0';
    cinfo.err = jpeg_std_error(&err.mgr);
    err.mgr.error_exit = jpeg_fail;
    jpeg_create_compress(&cinfo);
    unsigned char* buf = nullptr;
    unsigned long len = 0;
    jpeg_mem_dest(&cinfo, &buf, &len);
    const bool ok = jpeg_encode(&cinfo, &err, im, quality);
    jpeg_destroy_compress(&cinfo);
    std::vector<uint8_t> bytes;
    if (ok) bytes.assign(buf, buf + len);
    std::free(buf);
    if (!ok) throw ToolError(std::string("JPEG encoding failed (") + err.message + ")");
    return bytes;
}

// ---- TIFF ---------------------------------------------------------------
// A file image in memory that libtiff reads and writes through its client
// procedures; errors land in `message`, per file, so threads do not mix them.
struct TiffMem {
    const uint8_t* data = nullptr;
    std::vector<uint8_t>* out = nullptr;
    uint64_t size = 0, pos = 0;
    std::string message;
};

tmsize_t tiff_read(thandle_t h, void* buf, tmsize_t n) {
    auto* m = static_cast<TiffMem*>(h);
    const uint64_t k = std::min<uint64_t>(uint64_t(n), m->pos < m->size ? m->size - m->pos : 0);
    std::memcpy(buf, (m->out ? m->out->data() : m->data) + m->pos, k);
    m->pos += k;
    return tmsize_t(k);
}
tmsize_t tiff_write(thandle_t h, void* buf, tmsize_t n) {
    auto* m = static_cast<TiffMem*>(h);
    if (!m->out) return -1;
    if (m->pos + uint64_t(n) > m->out->size()) m->out->resize(m->pos + uint64_t(n));
    std::memcpy(m->out->data() + m->pos, buf, size_t(n));
    m->pos += uint64_t(n);
    m->size = std::max(m->size, m->pos);
    return n;
}
toff_t tiff_seek(thandle_t h, toff_t off, int whence) {
    auto* m = static_cast<TiffMem*>(h);
    const uint64_t base = whence == SEEK_CUR ? m->pos : whence == SEEK_END ? m->size : 0;
    m->pos = base + off;
    return m->pos;
}
int tiff_close(thandle_t) { return 0; }
toff_t tiff_size(thandle_t h) { return static_cast<TiffMem*>(h)->size; }
int tiff_map(thandle_t, void**, toff_t*) { return 0; }
void tiff_unmap(thandle_t, void*, toff_t) {}

int tiff_error(TIFF*, void* user, const char* module, const char* fmt, va_list ap) {
    auto* m = static_cast<TiffMem*>(user);
    char buf[400];
    std::vsnprintf(buf, sizeof buf, fmt, ap);
    if (m->message.empty()) m->message = module ? std::string(module) + ": " + buf : std::string(buf);
    return 1;
}
int tiff_warning(TIFF*, void*, const char*, const char*, va_list) { return 1; }

struct TiffCloser {
    void operator()(TIFF* t) const {
        if (t) TIFFClose(t);
    }
};
using Tiff = std::unique_ptr<TIFF, TiffCloser>;

Tiff tiff_open(TiffMem& mem, const char* mode, uint64_t budget) {
    TIFFOpenOptions* opts = TIFFOpenOptionsAlloc();
    TIFFOpenOptionsSetErrorHandlerExtR(opts, tiff_error, &mem);
    TIFFOpenOptionsSetWarningHandlerExtR(opts, tiff_warning, &mem);
    TIFFOpenOptionsSetMaxSingleMemAlloc(opts, tmsize_t(std::min<uint64_t>(budget * 4 + (16u << 20), 1ull << 40)));
    Tiff t(TIFFClientOpenExt("tiff", mode, &mem, tiff_read, tiff_write, tiff_seek, tiff_close, tiff_size, tiff_map,
                             tiff_unmap, opts));
    TIFFOpenOptionsFree(opts);
    return t;
}

Image read_tiff(const uint8_t* data, size_t size, int page, uint64_t budget) {
    TiffMem mem;
    mem.data = data;
    mem.size = size;
    Tiff tif = tiff_open(mem, "rm", budget);
    if (!tif) throw ToolError("not a readable TIFF (" + mem.message + ")");
    if (page > 0 && !TIFFSetDirectory(tif.get(), tdir_t(page)))
        throw ToolError("has no page " + std::to_string(page + 1));
    uint32_t w = 0, h = 0;
    uint16_t bits = 8, spp = 1, photometric = PHOTOMETRIC_MINISBLACK, compression = 1, orientation = 1;
    TIFFGetField(tif.get(), TIFFTAG_IMAGEWIDTH, &w);
    TIFFGetField(tif.get(), TIFFTAG_IMAGELENGTH, &h);
    TIFFGetFieldDefaulted(tif.get(), TIFFTAG_BITSPERSAMPLE, &bits);
    TIFFGetFieldDefaulted(tif.get(), TIFFTAG_SAMPLESPERPIXEL, &spp);
    TIFFGetFieldDefaulted(tif.get(), TIFFTAG_PHOTOMETRIC, &photometric);
    TIFFGetFieldDefaulted(tif.get(), TIFFTAG_COMPRESSION, &compression);
    TIFFGetFieldDefaulted(tif.get(), TIFFTAG_ORIENTATION, &orientation);
    if (bits > 8) throw ToolError(std::to_string(bits) + "-bit TIFF images are not supported (8-bit only)");
    if (!TIFFIsCODECConfigured(compression)) throw ToolError("unsupported TIFF compression " + std::to_string(compression));
    check_page_size(w, h, budget);
    const bool grey = (photometric == PHOTOMETRIC_MINISBLACK || photometric == PHOTOMETRIC_MINISWHITE) && spp <= 2;
    // The RGBA reader handles every 8-bit-or-less layout (palette, bilevel,
    // planar, YCbCr, tiles). Asked for the file's own orientation it keeps
    // the stored order; the orientation is applied below, as for JPEG.
    std::vector<uint32_t> rgba(size_t(w) * h);
    char why[1024] = "";
    if (!TIFFRGBAImageOK(tif.get(), why)) throw ToolError(std::string("unsupported TIFF layout (") + why + ")");
    const int ok = TIFFReadRGBAImageOriented(tif.get(), w, h, rgba.data(), orientation, 1);
    if (!ok || !mem.message.empty())
        throw ToolError("damaged TIFF (" + (mem.message.empty() ? std::string("decoding failed") : mem.message) + ")");
    Image out(int(w), int(h), grey ? 1 : 3);
    for (size_t i = 0; i < rgba.size(); ++i) {
        const uint32_t p = rgba[i], a = TIFFGetA(p);
        if (grey) {
            out.pixels[i] = over_white(TIFFGetR(p), a);
        } else {
            out.pixels[3 * i] = over_white(TIFFGetR(p), a);
            out.pixels[3 * i + 1] = over_white(TIFFGetG(p), a);
            out.pixels[3 * i + 2] = over_white(TIFFGetB(p), a);
        }
    }
    float xr = 0, yr = 0;
    uint16_t unit = RESUNIT_INCH;
    TIFFGetFieldDefaulted(tif.get(), TIFFTAG_RESOLUTIONUNIT, &unit);
    if (unit != RESUNIT_NONE && TIFFGetField(tif.get(), TIFFTAG_XRESOLUTION, &xr) &&
        TIFFGetField(tif.get(), TIFFTAG_YRESOLUTION, &yr) && xr > 0 && yr > 0 && std::isfinite(xr) && std::isfinite(yr)) {
        const double f = unit == RESUNIT_CENTIMETER ? 2.54 : 1.0;
        out.info.xdpi = xr * f, out.info.ydpi = yr * f;
    }
    uint32_t iccLen = 0;
    void* icc = nullptr;
    if (TIFFGetField(tif.get(), TIFFTAG_ICCPROFILE, &iccLen, &icc) && icc)
        out.info.icc.assign(static_cast<uint8_t*>(icc), static_cast<uint8_t*>(icc) + iccLen);
    apply_orientation(out, orientation);
    return out;
}

std::vector<uint8_t> write_tiff(const Image& im) {
    std::vector<uint8_t> bytes;
    TiffMem mem;
    mem.out = &bytes;
    {
        Tiff tif = tiff_open(mem, "w", uint64_t(im.width) * im.height);
        if (!tif) throw ToolError("TIFF encoding failed (" + mem.message + ")");
        TIFF* t = tif.get();
        TIFFSetField(t, TIFFTAG_IMAGEWIDTH, uint32_t(im.width));
        TIFFSetField(t, TIFFTAG_IMAGELENGTH, uint32_t(im.height));
        TIFFSetField(t, TIFFTAG_BITSPERSAMPLE, 8);
        TIFFSetField(t, TIFFTAG_SAMPLESPERPIXEL, im.channels);
        TIFFSetField(t, TIFFTAG_PHOTOMETRIC, im.channels == 3 ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK);
        TIFFSetField(t, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
        TIFFSetField(t, TIFFTAG_COMPRESSION, COMPRESSION_LZW);
        TIFFSetField(t, TIFFTAG_ROWSPERSTRIP, TIFFDefaultStripSize(t, 0));
        if (im.info.xdpi > 0 && im.info.ydpi > 0) {
            TIFFSetField(t, TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
            TIFFSetField(t, TIFFTAG_XRESOLUTION, float(im.info.xdpi));
            TIFFSetField(t, TIFFTAG_YRESOLUTION, float(im.info.ydpi));
        }
        if (icc_fits(im.info.icc, im.channels))
            TIFFSetField(t, TIFFTAG_ICCPROFILE, uint32_t(im.info.icc.size()), im.info.icc.data());
        for (int y = 0; y < im.height; ++y)
            if (TIFFWriteScanline(t, const_cast<uint8_t*>(im.row(y)), uint32_t(y), 0) < 0)
                throw ToolError("TIFF encoding failed (" + mem.message + ")");
        if (!TIFFWriteDirectory(t)) throw ToolError("TIFF encoding failed (" + mem.message + ")");
    }
    bytes.resize(mem.size);
    return bytes;
}

// ---- PNM ----------------------------------------------------------------
Image read_pnm(const uint8_t* data, size_t size, uint64_t budget) {
    size_t pos = 2;
    auto token = [&]() -> long {
        while (pos < size && (data[pos] == '#' || std::isspace(data[pos]))) {
            if (data[pos] == '#')
                while (pos < size && data[pos] != '\n') ++pos;
            else
                ++pos;
        }
        if (pos >= size || !std::isdigit(data[pos])) throw ToolError("damaged PNM header");
        long v = 0;
        while (pos < size && std::isdigit(data[pos])) {
            v = v * 10 + (data[pos++] - '0');
            if (v > 1000000) throw ToolError("damaged PNM header");
        }
        return v;
    };
    const char kind = char(data[1]);
    const bool ascii = kind == '2' || kind == '3';
    const int channels = (kind == '6' || kind == '3') ? 3 : 1;
    const long w = token(), h = token(), maxval = token();
    if (maxval > 255) throw ToolError("16-bit PNM images are not supported (8-bit only)");
    if (maxval < 1) throw ToolError("damaged PNM header");
    check_page_size(w, h, budget);
    if (!ascii && (pos >= size || !std::isspace(data[pos]))) throw ToolError("damaged PNM header");
    ++pos;  // the single whitespace before the raster
    const size_t need = size_t(w) * size_t(h) * size_t(channels);
    if (!ascii && size - std::min(pos, size) < need) throw ToolError("truncated PNM file");
    Image out(int(w), int(h), channels);
    if (ascii) {
        --pos;
        for (auto& p : out.pixels) p = uint8_t(std::min<long>(token(), maxval) * 255 / maxval);
    } else {
        std::memcpy(out.pixels.data(), data + pos, need);
        if (maxval != 255)
            for (auto& p : out.pixels) p = uint8_t(std::min<long>(p, maxval) * 255 / maxval);
    }
    return out;
}

std::vector<uint8_t> write_pnm(const Image& im) {
    char head[64];
    const int n = std::snprintf(head, sizeof head, "P%c\n%d %d\n255\n", im.channels == 3 ? '6' : '5', im.width, im.height);
    std::vector<uint8_t> bytes(head, head + n);
    bytes.insert(bytes.end(), im.pixels.begin(), im.pixels.end());
    return bytes;
}

}  // namespace

uint64_t max_pixels() { return g_maxPixels; }
void set_max_pixels(uint64_t n) { g_maxPixels = n; }

void check_page_size(long long w, long long h, uint64_t budget) {
    // Rows are addressed with 32-bit steps by the module: keep pages well inside that.
    if (w < 1 || h < 1 || w > 65535 || h > 65535)
        throw ToolError("unsupported page size " + std::to_string(w) + "x" + std::to_string(h) +
                        " (1 to 65535 pixels each way)");
    if (uint64_t(w) * uint64_t(h) > budget)
        throw ToolError("page of " + std::to_string(w) + "x" + std::to_string(h) + " pixels is over the limit of " +
                        std::to_string(budget) + " pixels (--max-pixels)");
}

Image decode_image(const uint8_t* data, size_t size, int page, uint64_t budget) {
    // Tell the format by content, not by name: a mislabelled file still reads.
    if (size < 8) throw ToolError(size == 0 ? "empty file" : "truncated file");
    const bool tiff = (data[0] == 'I' && data[1] == 'I') || (data[0] == 'M' && data[1] == 'M');
    if (page > 0 && !tiff) throw ToolError("has a single page; --page is for TIFF files");
    if (data[0] == 0x89 && data[1] == 'P') return read_png(data, size, budget);
    if (data[0] == 0xFF && data[1] == 0xD8) return read_jpeg(data, size, budget);
    if (tiff) return read_tiff(data, size, page, budget);
    if (data[0] == 'P' && (data[1] == '2' || data[1] == '3' || data[1] == '5' || data[1] == '6'))
        return read_pnm(data, size, budget);
    throw ToolError("not a PNG, JPEG, TIFF or PGM/PPM image");
}

std::vector<uint8_t> encode_image(const Image& image, const std::string& kind, int jpegQuality) {
    if (kind == ".png") return write_png(image);
    if (kind == ".jpg" || kind == ".jpeg") return write_jpeg(image, jpegQuality);
    if (kind == ".tif" || kind == ".tiff") return write_tiff(image);
    if (kind == ".pgm" && image.channels != 1) throw ToolError("a colour page cannot be written as PGM");
    if (kind == ".pnm" || kind == ".pgm" || kind == ".ppm") return write_pnm(image);
    throw ToolError("unknown output format (use .png, .jpg, .tif, .pnm, .ppm or .pgm)");
}

std::string image_kind(const std::string& path) {
    const auto dot = path.rfind('.');
    if (dot == std::string::npos || path.find('/', dot) != std::string::npos) return "";
    std::string ext = path.substr(dot);
    for (char& c : ext) c = char(std::tolower(static_cast<unsigned char>(c)));
    for (const char* k : {".png", ".jpg", ".jpeg", ".tif", ".tiff", ".pnm", ".ppm", ".pgm"})
        if (ext == k) return ext;
    return "";
}

}  // namespace qm300
