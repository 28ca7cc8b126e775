// qm300 end to end: image files in every format, and each sub-command's
// output against a direct call of the module on the same pixels.
#include <gtest/gtest.h>
#include <png.h>
#include <tiffio.h>
#include <sys/wait.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <cstring>
#include <random>

#include "commands.h"
#include "tool_support.h"
#include "image.h"
#include "module.h"

namespace {

using namespace qmtool;

TEST_F(Tool, LosslessFormatsRoundTrip) {
    for (int c : {1, 3})
        for (const char* ext : {".png", ".tif", ".pnm"}) {
            const Image im = random_image(37, 11, c, 7u * c);
            const std::string f = path(std::string("rt") + std::to_string(c) + ext);
            qm300::write_image(f, im);
            const Image back = qm300::read_image(f);
            EXPECT_EQ(back.channels, c) << ext;
            EXPECT_EQ(back.pixels, im.pixels) << ext;
        }
}

TEST_F(Tool, TiffPagesAreSelectable) {
    TIFF* t = TIFFOpen(path("two.tif").c_str(), "w");
    ASSERT_NE(t, nullptr);
    for (uint8_t value : {10, 200}) {
        TIFFSetField(t, TIFFTAG_IMAGEWIDTH, 4);
        TIFFSetField(t, TIFFTAG_IMAGELENGTH, 2);
        TIFFSetField(t, TIFFTAG_BITSPERSAMPLE, 8);
        TIFFSetField(t, TIFFTAG_SAMPLESPERPIXEL, 1);
        TIFFSetField(t, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
        uint8_t row[4] = {value, value, value, value};
        for (uint32_t y = 0; y < 2; ++y) TIFFWriteScanline(t, row, y, 0);
        TIFFWriteDirectory(t);
    }
    TIFFClose(t);
    EXPECT_EQ(qm300::read_image(path("two.tif"), 1).pixels, std::vector<uint8_t>(8, 200));
    const ToolRun r = qm300_run("box --page 2 " + path("two.tif") + " " + path("p2.pgm"));
    ASSERT_EQ(r.status, 0) << r.output;
    EXPECT_EQ(qm300::read_image(path("p2.pgm")).pixels, std::vector<uint8_t>(8, 200));
    EXPECT_EQ(qm300_run("box --page 3 " + path("two.tif") + " " + path("p3.pgm")).status, 1);
}

TEST_F(Tool, JpegRoundTripIsClose) {
    Image im(64, 48, 3);
    for (int y = 0; y < im.height; ++y)
        for (int x = 0; x < im.width * 3; ++x) im.row(y)[x] = uint8_t(x * 2 + y);
    qm300::write_image(path("a.jpg"), im, 98);
    const Image back = qm300::read_image(path("a.jpg"));
    ASSERT_EQ(back.pixels.size(), im.pixels.size());
    double err = 0;
    for (size_t i = 0; i < im.pixels.size(); ++i) err += std::abs(int(im.pixels[i]) - int(back.pixels[i]));
    EXPECT_LT(err / im.pixels.size(), 3.0);
}

void write_png_raw(const std::string& f, int w, int h, png_uint_32 format, const std::vector<uint8_t>& px) {
    png_image img{};
    img.version = PNG_IMAGE_VERSION;
    img.width = w;
    img.height = h;
    img.format = format;
    ASSERT_TRUE(png_image_write_to_file(&img, f.c_str(), 0, px.data(), 0, nullptr));
}

TEST_F(Tool, AlphaIsCompositedOnWhiteAndSixteenBitRefused) {
    write_png_raw(path("ga.png"), 2, 1, PNG_FORMAT_GA, {0, 0, 0, 255});  // transparent black, opaque black
    const Image ga = qm300::read_image(path("ga.png"));
    ASSERT_EQ(ga.channels, 1);
    EXPECT_EQ(ga.pixels, (std::vector<uint8_t>{255, 0}));
    write_png_raw(path("rgba.png"), 1, 1, PNG_FORMAT_RGBA, {255, 0, 0, 0});
    EXPECT_EQ(qm300::read_image(path("rgba.png")).pixels, (std::vector<uint8_t>{255, 255, 255}));

    write_png_raw(path("deep.png"), 1, 1, PNG_FORMAT_LINEAR_Y, {0, 1});
    std::ofstream(path("deep.pgm"), std::ios::binary) << "P5\n1 1\n65535\n\x01\x02";
    for (const char* f : {"deep.png", "deep.pgm"}) {
        try {
            qm300::read_image(path(f));
            ADD_FAILURE() << f << " was accepted";
        } catch (const qm300::ToolError& e) {
            EXPECT_NE(std::string(e.what()).find("16-bit"), std::string::npos) << e.what();
        }
    }
}

TEST_F(Tool, DamagedFilesGiveOneClearLine) {
    const Image im = random_image(40, 30, 3, 3);
    for (const char* ext : {".png", ".jpg", ".tif", ".ppm"}) {
        const std::string good = path(std::string("good") + ext), bad = path(std::string("bad") + ext);
        qm300::write_image(good, im);
        const auto size = fs::file_size(good);
        fs::copy_file(good, bad);
        fs::resize_file(bad, size / 2);
        const ToolRun r = qm300_run("box " + bad + " " + path("out.png"));
        EXPECT_EQ(r.status, 1) << ext << ": " << r.output;
        EXPECT_EQ(std::count(r.output.begin(), r.output.end(), '\n'), 1) << r.output;
        EXPECT_FALSE(fs::exists(path("out.png")));
    }
    std::ofstream(path("noise.png"), std::ios::binary) << "this is not an image";
    EXPECT_EQ(qm300_run("box " + path("noise.png") + " " + path("o.png")).status, 1);
    EXPECT_EQ(qm300_run("box " + path("missing.png") + " " + path("o.png")).status, 1);
}

TEST_F(Tool, OutputsAreNeverLeftHalfWritten) {
    const Image im = random_image(16, 16, 3, 5);
    qm300::write_image(path("in.png"), im);
    const ToolRun self = qm300_run("box " + path("in.png") + " " + path("in.png"));
    EXPECT_EQ(self.status, 1);
    EXPECT_NE(self.output.find("refusing"), std::string::npos);
    EXPECT_EQ(qm300::read_image(path("in.png")).pixels, im.pixels);

    std::ofstream(path("keep.png")) << "precious";
    const ToolRun bad = qm300_run("median --mask 2x3 " + path("in.png") + " " + path("keep.png"));
    EXPECT_EQ(bad.status, 1);
    EXPECT_NE(bad.output.find("-33"), std::string::npos) << bad.output;
    std::ifstream kept(path("keep.png"));
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(kept), {}), "precious");
    EXPECT_EQ(qm300_run("box " + path("in.png") + " /nonexistent-dir/out.png").status, 1);
    EXPECT_EQ(qm300_run("box " + path("in.png") + " " + path("out.xyz")).status, 2);
    EXPECT_EQ(temporaries(), 0);
}

TEST_F(Tool, BatchReportsTheBadPageAndDoesTheRest) {
    fs::create_directories(dir / "in");
    for (int i = 0; i < 5; ++i) qm300::write_image(path("in/p" + std::to_string(i) + ".png"), random_image(20, 12, 3, i));
    std::ofstream(path("in/broken.png")) << "garbage";
    const ToolRun r = qm300_run("batch -j 3 --op \"gauss --mask 5\" -o " + path("out") + " " + path("in"));
    EXPECT_EQ(r.status, 1) << r.output;
    const size_t named = r.output.find("qm300 batch: " + path("in/broken.png") + ": ");
    EXPECT_NE(named, std::string::npos) << r.output;
    EXPECT_EQ(named + 13, r.output.rfind(path("in/broken.png"))) << "named once: " << r.output;
    for (int i = 0; i < 5; ++i) EXPECT_TRUE(fs::exists(path("out/p" + std::to_string(i) + ".png")));
    EXPECT_EQ(qm300_run("batch --op \"nonsense\" -o " + path("out") + " " + path("in")).status, 2);
}

// ---- each operation against the module called directly ------------------

class ToolOps : public Tool {
protected:
    static void SetUpTestSuite() { module = new qm300::Module(QM_MODULE_PATH); }
    static void TearDownTestSuite() { delete module; }
    static inline qm300::Module* module = nullptr;

    Image run_tool(const Image& in, const std::string& args) {
        qm300::write_image(path("src.png"), in);
        const ToolRun r = qm300_run(args + " " + path("src.png") + " " + path("dst.png"));
        EXPECT_EQ(r.status, 0) << args << ": " << r.output;
        return r.status == 0 ? qm300::read_image(path("dst.png")) : Image();
    }
};

// One command of each family against the module called directly on the same
// pixels: the tool's arguments must reach the right call, and the frame the
// scanner filters leave undefined comes from the source.
TEST_F(ToolOps, EachCommandFamilyMatchesADirectCall) {
    const Image in = random_image(32, 20, 3, 11);
    std::ofstream(path("k.txt")) << "1 2 1\n2 -4 2\n1 2 1.5\n";
    std::ofstream xs(path("x.txt")), ys(path("y.txt"));
    for (int y = 0; y < 20; ++y) {
        for (int x = 0; x < 32; ++x) xs << x << ' ', ys << y << ' ';
        xs << '\n', ys << '\n';
    }
    xs.close(), ys.close();
    const Ipp8u* s = in.pixels.data();
    auto at = [&](Image& im, int m) { return im.row(m) + 3 * m; };
    const IppiSize inner2 = {28, 16}, inner1 = {30, 18};
    struct Case {
        std::string args;
        int frame;  // pixels of frame the call leaves alone
        bool sourceFrame;  // the tool fills it from the source (else compared as the tool wrote it)
        std::function<long(Image&)> direct;
    };
    const Case cases[] = {
        {"median --mask 5x3", 2, false, [&](Image& d) {
             return QM_FN(*module, ippiFilterMedian_8u_C3R)(in.row(2) + 6, 96, at(d, 2), 96, inner2, {5, 3}, {2, 1}); }},
        {"filter -k " + path("k.txt"), 1, false, [&](Image& d) {
             const float k[9] = {1, 2, 1, 2, -4, 2, 1, 2, 1.5f};
             return QM_FN(*module, ippiFilter32f_8u_C3R)(in.row(1) + 3, 96, at(d, 1), 96, inner1, k, {3, 3}, {1, 1}); }},
        {"sharpen -r 2 -l 4", 2, true, [&](Image& d) { return long(QM_FN(*module, DeosConvRGB)(s, d.pixels.data(), 32, 20, 0, 2, 4)); }},
        {"denoise --yuv 1:3,2:4", 2, true, [&](Image& d) {
             return long(QM_FN(*module, DeosNrYUV)(s, d.pixels.data(), 32, 20, 1, 3, 2, 4)); }},
        {"resize -s 0.5 -i super", 0, false, [&](Image& d) {
             d = Image(16, 10, 3);
             return QM_FN(*module, ippiResize_8u_C3R)(s, {32, 20}, 96, {0, 0, 32, 20}, d.pixels.data(), 48, {16, 10}, 0.5, 0.5, 8); }},
        {"convert --to hls", 0, false, [&](Image& d) { return QM_FN(*module, ippiRGBToHLS_8u_C3R)(s, 96, d.pixels.data(), 96, {32, 20}); }},
        {"remap --xmap " + path("x.txt") + " --ymap " + path("y.txt"), 0, false, [&](Image& d) { d = in; return 0L; }},
    };
    for (const Case& c : cases) {
        const Image tool = run_tool(in, c.args);
        Image direct = in;
        ASSERT_EQ(c.direct(direct), 0) << c.args;
        ASSERT_EQ(tool.pixels.size(), direct.pixels.size()) << c.args;
        for (int y = 0; y < direct.height; ++y)
            for (int x = 0; x < direct.width * 3; ++x)
                if (y < c.frame || y >= direct.height - c.frame || x < 3 * c.frame || x >= 3 * (direct.width - c.frame))
                    direct.row(y)[x] = c.sourceFrame ? in.row(y)[x] : tool.row(y)[x];
        EXPECT_EQ(tool.pixels, direct.pixels) << c.args;
    }
}

TEST_F(Tool, DemoWritesItsPictures) {
    const ToolRun r = qm300_run("demo --width 256 --out " + path("demo"));
    EXPECT_EQ(r.status, 0) << r.output;
    EXPECT_TRUE(fs::exists(path("demo/contact-sheet.png")));
    EXPECT_TRUE(fs::exists(path("demo/sharpen.png")));
    EXPECT_NE(r.output.find("implementation set"), std::string::npos);
}

}  // namespace

namespace {

// A colour profile header (no tags) and some body: enough for every format to carry.
std::vector<uint8_t> bare_profile() {
    std::vector<uint8_t> p(256, 0);
    auto be = [&](size_t at, uint32_t v) { for (int i = 0; i < 4; ++i) p[at + i] = uint8_t(v >> (24 - 8 * i)); };
    be(0, 256), be(8, 0x02100000), be(68, 0xF6D6), be(72, 0x10000), be(76, 0xD32D);
    std::memcpy(&p[12], "mntrRGB XYZ ", 12);
    std::memcpy(&p[36], "acsp", 4);
    for (size_t i = 132; i < p.size(); ++i) p[i] = uint8_t(i * 73);
    return p;
}

TEST_F(Tool, ResolutionAndProfileSurviveAndResizeScalesTheResolution) {
    Image im = random_image(40, 20, 3, 3);
    im.info = {300, 600, bare_profile()};
    qm300::write_image(path("in.tif"), im);
    for (const char* ext : {".png", ".jpg", ".tif"}) {
        const std::string out = path(std::string("half") + ext);
        const ToolRun r = qm300_run("resize -s 0.5 " + path("in.tif") + " " + out);
        ASSERT_EQ(r.status, 0) << r.output;
        const Image half = qm300::read_image(out);
        EXPECT_NEAR(half.info.xdpi, 150, 0.5) << ext;
        EXPECT_NEAR(half.info.ydpi, 300, 0.5) << ext;
        EXPECT_EQ(half.info.icc, im.info.icc) << ext;
    }
}

TEST_F(Tool, RecordedOrientationIsApplied) {
    // Stored on its side: left half black, right half white. Orientation 6
    // (turn clockwise to view) puts the black half on top.
    Image side(16, 8, 1);
    for (int y = 0; y < 8; ++y) std::fill(side.row(y) + 8, side.row(y) + 16, 255);
    std::vector<uint8_t> jpg = qm300::encode_image(side, ".jpg");
    const uint8_t exif[] = {0xFF, 0xE1, 0, 34, 'E', 'x', 'i', 'f', 0, 0, 'I', 'I', 42, 0, 8, 0, 0, 0, 1, 0,
                            0x12, 1, 3, 0, 1, 0, 0, 0, 6, 0, 0, 0, 0, 0, 0, 0};
    jpg.insert(jpg.begin() + 2, exif, exif + sizeof exif);
    TIFF* t = TIFFOpen(path("side.tif").c_str(), "w");
    for (auto [tag, v] : {std::pair{TIFFTAG_IMAGEWIDTH, 16}, {TIFFTAG_IMAGELENGTH, 8}, {TIFFTAG_BITSPERSAMPLE, 8},
                          {TIFFTAG_SAMPLESPERPIXEL, 1}, {TIFFTAG_PHOTOMETRIC, 1}, {TIFFTAG_ORIENTATION, 6}})
        TIFFSetField(t, tag, v);
    for (int y = 0; y < 8; ++y) TIFFWriteScanline(t, side.row(y), uint32_t(y), 0);
    TIFFClose(t);
    for (const Image& up : {qm300::decode_image(jpg.data(), jpg.size(), 0, 1000), qm300::read_image(path("side.tif"))}) {
        ASSERT_EQ(up.width, 8);
        ASSERT_EQ(up.height, 16);
        EXPECT_LT(up.row(2)[4], 40);
        EXPECT_GT(up.row(13)[4], 215);
    }
}

}  // namespace
