#include <fcntl.h>

#include <cstdio>  // jpeglib.h needs FILE declared first
#include <jpeglib.h>
#include <png.h>
#include <sys/stat.h>
#include <tiffio.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <memory>

#include "image.h"
#include "module.h"

namespace qm300 {
namespace {

std::string lower(std::string s) {
    for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

struct FileCloser {
    void operator()(FILE* f) const {
        if (f) std::fclose(f);
    }
};
using File = std::unique_ptr<FILE, FileCloser>;

File open_for_reading(const std::string& path) {
    File f(std::fopen(path.c_str(), "rb"));
    if (!f) throw ToolError("cannot read " + path + ": " + std::strerror(errno));
    return f;
}

void check_dimensions(const std::string& path, long long w, long long h) {
    // Rows are addressed with 32-bit steps by the module: keep pages well inside that.
    if (w < 1 || h < 1 || w > 65535 || h > 65535 || w * h > (1ll << 28))
        throw ToolError(path + ": unsupported image size " + std::to_string(w) + "x" + std::to_string(h));
}

// ---- PNG ----------------------------------------------------------------
Image read_png(const std::string& path) {
    png_image img;
    std::memset(&img, 0, sizeof img);
    img.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&img, path.c_str()))
        throw ToolError(path + ": not a readable PNG (" + img.message + ")");
    const bool color = (img.format & PNG_FORMAT_FLAG_COLOR) != 0;
    // The simplified reader marks 16-bit data as linear; those pages are refused.
    if (img.format & PNG_FORMAT_FLAG_LINEAR) {
        png_image_free(&img);
        throw ToolError(path + ": 16-bit PNG images are not supported (convert to 8-bit first)");
    }
    check_dimensions(path, img.width, img.height);
    Image out(static_cast<int>(img.width), static_cast<int>(img.height), color ? 3 : 1);
    img.format = color ? PNG_FORMAT_RGB : PNG_FORMAT_GRAY;
    png_color white = {255, 255, 255};  // alpha is composited on paper white
    if (!png_image_finish_read(&img, &white, out.pixels.data(), out.step(), nullptr))
        throw ToolError(path + ": damaged PNG (" + img.message + ")");
    return out;
}

void write_png(FILE* f, const std::string& path, const Image& im) {
    png_image img;
    std::memset(&img, 0, sizeof img);
    img.version = PNG_IMAGE_VERSION;
    img.width = im.width;
    img.height = im.height;
    img.format = im.channels == 3 ? PNG_FORMAT_RGB : PNG_FORMAT_GRAY;
    if (!png_image_write_to_stdio(&img, f, 0, im.pixels.data(), im.step(), nullptr))
        throw ToolError("cannot write " + path + ": " + img.message);
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

Image read_jpeg(const std::string& path) {
    File f = open_for_reading(path);
    jpeg_decompress_struct cinfo;
    JpegError err;
    cinfo.err = jpeg_std_error(&err.mgr);
    err.mgr.error_exit = jpeg_fail;
    // A corrupt-data warning (a truncated file among them) is an error here:
    // a page padded with grey must not pass as a good scan.
    err.mgr.emit_message = [](j_common_ptr c, int level) {
        if (level < 0) jpeg_fail(c);
    };
    Image out;
    // Nothing with a destructor may be created between setjmp and the last
    // libjpeg call: the jump would skip it.
    if (setjmp(err.jump)) {
        jpeg_destroy_decompress(&cinfo);
        throw ToolError(path + ": damaged or unsupported JPEG (" + err.message + ")");
    }
    jpeg_create_decompress(&cinfo);
    jpeg_stdio_src(&cinfo, f.get());
    jpeg_read_header(&cinfo, TRUE);
    if (cinfo.jpeg_color_space == JCS_CMYK || cinfo.jpeg_color_space == JCS_YCCK) {
        jpeg_destroy_decompress(&cinfo);
        throw ToolError(path + ": CMYK JPEG images are not supported");
    }
    const bool grey = cinfo.num_components == 1;
    cinfo.out_color_space = grey ? JCS_GRAYSCALE : JCS_RGB;
    jpeg_start_decompress(&cinfo);
    if (cinfo.output_width < 1 || cinfo.output_height < 1 || cinfo.output_width > 65535 ||
        cinfo.output_height > 65535) {
        jpeg_destroy_decompress(&cinfo);
        throw ToolError(path + ": unsupported image size");
    }
    out = Image(static_cast<int>(cinfo.output_width), static_cast<int>(cinfo.output_height),
                grey ? 1 : 3);
    while (cinfo.output_scanline < cinfo.output_height) {
        JSAMPROW row = out.row(static_cast<int>(cinfo.output_scanline));
        jpeg_read_scanlines(&cinfo, &row, 1);
    }
    jpeg_finish_decompress(&cinfo);
    jpeg_destroy_decompress(&cinfo);
    return out;
}

void write_jpeg(FILE* f, const std::string& path, const Image& im, int quality) {
    jpeg_compress_struct cinfo;
    JpegError err;
    cinfo.err = jpeg_std_error(&err.mgr);
    err.mgr.error_exit = jpeg_fail;
    if (setjmp(err.jump)) {
        jpeg_destroy_compress(&cinfo);
        throw ToolError("cannot write " + path + ": " + err.message);
    }
    jpeg_create_compress(&cinfo);
    jpeg_stdio_dest(&cinfo, f);
    cinfo.image_width = static_cast<JDIMENSION>(im.width);
    cinfo.image_height = static_cast<JDIMENSION>(im.height);
    cinfo.input_components = im.channels;
    cinfo.in_color_space = im.channels == 3 ? JCS_RGB : JCS_GRAYSCALE;
    jpeg_set_defaults(&cinfo);
    jpeg_set_quality(&cinfo, quality, TRUE);
    jpeg_start_compress(&cinfo, TRUE);
    while (cinfo.next_scanline < cinfo.image_height) {
        JSAMPROW row = const_cast<JSAMPROW>(im.row(static_cast<int>(cinfo.next_scanline)));
        jpeg_write_scanlines(&cinfo, &row, 1);
    }
    jpeg_finish_compress(&cinfo);
    jpeg_destroy_compress(&cinfo);
}

// ---- TIFF ---------------------------------------------------------------
thread_local std::string t_tiffMessage;

void tiff_handler(const char* module, const char* fmt, va_list ap) {
    char buf[512];
    std::vsnprintf(buf, sizeof buf, fmt, ap);
    t_tiffMessage = module ? std::string(module) + ": " + buf : std::string(buf);
}

struct TiffCloser {
    void operator()(TIFF* t) const {
        if (t) TIFFClose(t);
    }
};
using Tiff = std::unique_ptr<TIFF, TiffCloser>;

void quiet_tiff() {
    static const bool once = [] {
        TIFFSetErrorHandler(tiff_handler);
        TIFFSetWarningHandler(nullptr);
        return true;
    }();
    (void)once;
}

Image read_tiff(const std::string& path, int page) {
    quiet_tiff();
    t_tiffMessage.clear();
    Tiff tif(TIFFOpen(path.c_str(), "r"));
    if (!tif) throw ToolError(path + ": not a readable TIFF (" + t_tiffMessage + ")");
    if (page > 0 && !TIFFSetDirectory(tif.get(), static_cast<tdir_t>(page)))
        throw ToolError(path + ": has no page " + std::to_string(page + 1));
    uint32_t w = 0, h = 0;
    uint16_t bits = 8, spp = 1, photometric = PHOTOMETRIC_MINISBLACK;
    TIFFGetField(tif.get(), TIFFTAG_IMAGEWIDTH, &w);
    TIFFGetField(tif.get(), TIFFTAG_IMAGELENGTH, &h);
    TIFFGetFieldDefaulted(tif.get(), TIFFTAG_BITSPERSAMPLE, &bits);
    TIFFGetFieldDefaulted(tif.get(), TIFFTAG_SAMPLESPERPIXEL, &spp);
    TIFFGetFieldDefaulted(tif.get(), TIFFTAG_PHOTOMETRIC, &photometric);
    if (bits > 8) throw ToolError(path + ": " + std::to_string(bits) + "-bit TIFF images are not supported (8-bit only)");
    check_dimensions(path, w, h);
    const bool grey = (photometric == PHOTOMETRIC_MINISBLACK || photometric == PHOTOMETRIC_MINISWHITE) &&
                      spp <= 2;
    // The RGBA reader handles every 8-bit-or-less layout (palette, bilevel,
    // planar, YCbCr); its alpha is composited on white below.
    std::vector<uint32_t> rgba(size_t(w) * h);
    if (!TIFFReadRGBAImageOriented(tif.get(), w, h, rgba.data(), ORIENTATION_TOPLEFT, 0))
        throw ToolError(path + ": damaged or unsupported TIFF (" + t_tiffMessage + ")");
    Image out(static_cast<int>(w), static_cast<int>(h), grey ? 1 : 3);
    for (size_t i = 0; i < rgba.size(); ++i) {
        const uint32_t p = rgba[i];
        const uint32_t a = TIFFGetA(p);
        auto over_white = [a](uint32_t v) { return static_cast<uint8_t>((v * a + 255 * (255 - a) + 127) / 255); };
        if (grey) {
            out.pixels[i] = over_white(TIFFGetR(p));
        } else {
            out.pixels[3 * i] = over_white(TIFFGetR(p));
            out.pixels[3 * i + 1] = over_white(TIFFGetG(p));
            out.pixels[3 * i + 2] = over_white(TIFFGetB(p));
        }
    }
    return out;
}

void write_tiff(int fd, const std::string& path, const Image& im) {
    quiet_tiff();
    t_tiffMessage.clear();
    Tiff tif(TIFFFdOpen(fd, path.c_str(), "w"));
    if (!tif) throw ToolError("cannot write " + path + ": " + t_tiffMessage);
    TIFFSetField(tif.get(), TIFFTAG_IMAGEWIDTH, static_cast<uint32_t>(im.width));
    TIFFSetField(tif.get(), TIFFTAG_IMAGELENGTH, static_cast<uint32_t>(im.height));
    TIFFSetField(tif.get(), TIFFTAG_BITSPERSAMPLE, 8);
    TIFFSetField(tif.get(), TIFFTAG_SAMPLESPERPIXEL, im.channels);
    TIFFSetField(tif.get(), TIFFTAG_PHOTOMETRIC, im.channels == 3 ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK);
    TIFFSetField(tif.get(), TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(tif.get(), TIFFTAG_COMPRESSION, COMPRESSION_LZW);
    TIFFSetField(tif.get(), TIFFTAG_ROWSPERSTRIP, TIFFDefaultStripSize(tif.get(), 0));
    for (int y = 0; y < im.height; ++y)
        if (TIFFWriteScanline(tif.get(), const_cast<uint8_t*>(im.row(y)), static_cast<uint32_t>(y), 0) < 0)
            throw ToolError("cannot write " + path + ": " + t_tiffMessage);
    if (!TIFFFlush(tif.get())) throw ToolError("cannot write " + path + ": " + t_tiffMessage);
}

// ---- PNM ----------------------------------------------------------------
Image read_pnm(const std::string& path) {
    File f = open_for_reading(path);
    auto token = [&]() -> long {
        int c = std::fgetc(f.get());
        while (c == '#' || std::isspace(c)) {
            if (c == '#')
                while (c != '\n' && c != EOF) c = std::fgetc(f.get());
            c = std::fgetc(f.get());
        }
        if (!std::isdigit(c)) throw ToolError(path + ": damaged PNM header");
        long v = 0;
        while (std::isdigit(c)) {
            v = v * 10 + (c - '0');
            if (v > 1000000) throw ToolError(path + ": damaged PNM header");
            c = std::fgetc(f.get());
        }
        return v;
    };
    char magic[2] = {};
    if (std::fread(magic, 1, 2, f.get()) != 2 || magic[0] != 'P' ||
        (magic[1] != '5' && magic[1] != '6' && magic[1] != '2' && magic[1] != '3'))
        throw ToolError(path + ": not a PGM/PPM file");
    const bool ascii = magic[1] == '2' || magic[1] == '3';
    const int channels = (magic[1] == '6' || magic[1] == '3') ? 3 : 1;
    const long w = token(), h = token(), maxval = token();
    if (maxval > 255) throw ToolError(path + ": 16-bit PNM images are not supported (8-bit only)");
    if (maxval < 1) throw ToolError(path + ": damaged PNM header");
    check_dimensions(path, w, h);
    Image out(static_cast<int>(w), static_cast<int>(h), channels);
    if (ascii) {
        for (auto& p : out.pixels) p = static_cast<uint8_t>(std::min<long>(token(), maxval) * 255 / maxval);
    } else {
        if (std::fread(out.pixels.data(), 1, out.pixels.size(), f.get()) != out.pixels.size())
            throw ToolError(path + ": truncated PNM file");
        if (maxval != 255)
            for (auto& p : out.pixels) p = static_cast<uint8_t>(std::min<long>(p, maxval) * 255 / maxval);
    }
    return out;
}

void write_pnm(FILE* f, const std::string& path, const Image& im) {
    std::fprintf(f, "P%c\n%d %d\n255\n", im.channels == 3 ? '6' : '5', im.width, im.height);
    if (std::fwrite(im.pixels.data(), 1, im.pixels.size(), f) != im.pixels.size())
        throw ToolError("cannot write " + path + ": " + std::strerror(errno));
}

}  // namespace

std::string image_kind(const std::string& path) {
    const auto dot = path.rfind('.');
    if (dot == std::string::npos || path.find('/', dot) != std::string::npos) return "";
    const std::string ext = lower(path.substr(dot));
    for (const char* k : {".png", ".jpg", ".jpeg", ".tif", ".tiff", ".pnm", ".ppm", ".pgm"})
        if (ext == k) return ext;
    return "";
}

Image read_image(const std::string& path, int page) {
    // Sniff the content, not the name: a mislabelled file still reads.
    unsigned char sig[8] = {};
    {
        File f = open_for_reading(path);
        if (std::fread(sig, 1, sizeof sig, f.get()) < 2) throw ToolError(path + ": empty or truncated file");
    }
    if (sig[0] == 0x89 && sig[1] == 'P') return read_png(path);
    if (sig[0] == 0xFF && sig[1] == 0xD8) return read_jpeg(path);
    if ((sig[0] == 'I' && sig[1] == 'I') || (sig[0] == 'M' && sig[1] == 'M')) return read_tiff(path, page);
    if (sig[0] == 'P' && sig[1] >= '2' && sig[1] <= '6') return read_pnm(path);
    throw ToolError(path + ": unsupported image format (PNG, JPEG, TIFF, PGM/PPM are read)");
}

void write_image(const std::string& path, const Image& image, int jpegQuality) {
    const std::string kind = image_kind(path);
    if (kind.empty())
        throw ToolError(path + ": unknown output format (use .png, .jpg, .tif, .pnm, .ppm or .pgm)");
    if (kind == ".pgm" && image.channels != 1) throw ToolError(path + ": a colour page cannot be written as PGM");
    std::string tmp = path + ".XXXXXX";
    const int fd = mkstemp(tmp.data());
    if (fd < 0) throw ToolError("cannot write " + path + ": " + std::strerror(errno));
    fchmod(fd, 0644);
    try {
        if (kind == ".tif" || kind == ".tiff") {
            write_tiff(fd, path, image);  // closes fd
        } else {
            File f(fdopen(fd, "wb"));
            if (!f) {
                close(fd);
                throw ToolError("cannot write " + path + ": " + std::strerror(errno));
            }
            if (kind == ".png") write_png(f.get(), path, image);
            else if (kind == ".jpg" || kind == ".jpeg") write_jpeg(f.get(), path, image, jpegQuality);
            else write_pnm(f.get(), path, image);
            if (std::fflush(f.get()) != 0 || fsync(fileno(f.get())) != 0)
                throw ToolError("cannot write " + path + ": " + std::strerror(errno));
        }
        if (std::rename(tmp.c_str(), path.c_str()) != 0)
            throw ToolError("cannot write " + path + ": " + std::strerror(errno));
    } catch (...) {
        std::remove(tmp.c_str());
        throw;
    }
}

bool same_file(const std::string& a, const std::string& b) {
    struct stat sa, sb;
    if (stat(a.c_str(), &sa) != 0 || stat(b.c_str(), &sb) != 0) return false;
    return sa.st_dev == sb.st_dev && sa.st_ino == sb.st_ino;
}

}  // namespace qm300
