// qm300 against what users and their files really send: pages too small for
// a filter, far anchors, damaged and lying files, clashing batch outputs,
// signals, permissions and pipes. Every case ends in a right result or one
// line and the documented exit status; inputs stay untouched and no
// temporary is left. Run under the sanitizers, the tool may not touch a byte
// outside its buffers either.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <tiffio.h>
#include <zlib.h>

#include <chrono>
#include <fstream>
#include <thread>

#include "image.h"
#include "tool_support.h"

namespace {

using namespace qmtool;
using Bytes = std::vector<uint8_t>;

Bytes slurp(const std::string& f) {
    std::ifstream s(f, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(s), {});
}
void spit(const std::string& f, const Bytes& b) {
    std::ofstream(f, std::ios::binary).write(reinterpret_cast<const char*>(b.data()), std::streamsize(b.size()));
}
void put_be(Bytes& b, size_t at, uint32_t v, int n) {
    for (int i = 0; i < n; ++i) b[at + i] = uint8_t(v >> (8 * (n - 1 - i)));
}
int lines(const std::string& s) { return int(std::count(s.begin(), s.end(), '\n')); }

// A grey strip TIFF written by hand with its directory first, as scanners do.
Bytes handmade_tiff(uint32_t w, uint32_t h, uint16_t compression) {
    const uint16_t tags[][3] = {{256, 4, 0}, {257, 4, 1}, {258, 3, 2}, {259, 3, 3}, {262, 3, 4},
                                {273, 4, 5}, {277, 3, 6}, {278, 4, 7}, {279, 4, 8}};
    const uint32_t values[] = {w, h, 8, compression, 1, 8 + 2 + 9 * 12 + 4, 1, h, w * h};
    Bytes b = {'I', 'I', 42, 0, 8, 0, 0, 0, 9, 0};
    for (const auto& t : tags) {
        const uint32_t v = values[t[2]];
        const uint8_t e[12] = {uint8_t(t[0]), uint8_t(t[0] >> 8), uint8_t(t[1]), 0, 1, 0, 0, 0,
                               uint8_t(v), uint8_t(v >> 8), uint8_t(v >> 16), uint8_t(v >> 24)};
        b.insert(b.end(), e, e + 12);
    }
    b.insert(b.end(), 4, 0);
    for (uint32_t i = 0; i < std::min<uint32_t>(w * h, 1u << 20); ++i) b.push_back(uint8_t(i * 7));
    return b;
}

// A tiled, deflated TIFF whose middle is zeroed: the tiles there no longer decode.
Bytes zeroed_tiles_tiff(const std::string& f) {
    TIFF* t = TIFFOpen(f.c_str(), "w");
    const uint32_t side = 128, tile = 32;
    for (auto [tag, v] : {std::pair{TIFFTAG_IMAGEWIDTH, side}, {TIFFTAG_IMAGELENGTH, side}, {TIFFTAG_BITSPERSAMPLE, 8u},
                          {TIFFTAG_SAMPLESPERPIXEL, 1u}, {TIFFTAG_PHOTOMETRIC, 1u}, {TIFFTAG_TILEWIDTH, tile},
                          {TIFFTAG_TILELENGTH, tile}, {TIFFTAG_COMPRESSION, uint32_t(COMPRESSION_ADOBE_DEFLATE)}})
        TIFFSetField(t, tag, v);
    const Image im = random_image(int(tile), int(tile), 1, 9);
    for (uint32_t i = 0; i < TIFFNumberOfTiles(t); ++i) TIFFWriteEncodedTile(t, i, (void*)im.pixels.data(), tile * tile);
    TIFFClose(t);
    Bytes b = slurp(f);
    std::fill(b.begin() + long(b.size() * 3 / 10), b.begin() + long(b.size() / 2), 0);
    return b;
}

// A JPEG or PNG whose header claims w x h pixels over a tiny body.
Bytes lying_header(const std::string& f, const std::string& kind, uint32_t w, uint32_t h) {
    Bytes b = qm300::encode_image(random_image(16, 16, 3, 1), kind);
    if (kind == ".jpg") {
        for (size_t i = 2; i + 9 < b.size(); ++i)
            if (b[i] == 0xFF && b[i + 1] == 0xC0) {
                put_be(b, i + 5, h, 2), put_be(b, i + 7, w, 2);
                break;
            }
    } else {  // IHDR data sits at byte 16, its CRC at 29
        put_be(b, 16, w, 4), put_be(b, 20, h, 4);
        put_be(b, 29, uint32_t(crc32(0, b.data() + 12, 17)), 4);
    }
    spit(f, b);
    return b;
}

class Hostile : public Tool {
protected:
    void SetUp() override {
        Tool::SetUp();
        qm300::write_image(path("grey.pgm"), random_image(3, 300, 1, 1));
        qm300::write_image(path("colour.ppm"), random_image(3, 300, 3, 2));
        qm300::write_image(path("edge.ppm"), random_image(5, 300, 3, 3));  // just room for radius 2
        qm300::write_image(path("page.png"), random_image(64, 48, 3, 4));
        std::ofstream(path("k5.txt")) << "1 1 1 1 1\n1 1 1 1 1\n1 1 1 1 1\n1 1 1 1 1\n1 1 1 1 1\n";
        std::ofstream(path("k3x3.txt")) << "0 0 0\n0 0 0\n0 0 1\n";
        std::ofstream(path("f5.txt")) << "0 0 0 0 0\n0 0 0 0 0\n0 0 65536 0 0\n0 0 0 0 0\n0 0 0 0 0\n";
        std::ofstream(path("k5x3.txt")) << std::string("0 0 0 0 0\n0 0 0 0 0\n0 0 1 0 0\n0 0 0 0 0\n0 0 0 0 0\n") +
                                               "0 0 0 0 0\n0 0 0 0 0\n0 0 1 0 0\n0 0 0 0 0\n0 0 0 0 0\n" +
                                               "0 0 0 0 0\n0 0 0 0 0\n0 0 1 0 0\n0 0 0 0 0\n0 0 0 0 0\n";
    }
    // Runs "ARGS IN OUT" from the scratch folder.
    ToolRun run(const std::string& args) { return qm300_run(args, dir.string()); }
};

struct Case {
    const char* args;  // run in the scratch folder, output o.png
    int status;
    const char* says;  // in the one line of an error
};

void expect_case(Hostile& t, const Case& c, const ToolRun& r, const std::string& out) {
    EXPECT_EQ(r.status, c.status) << c.args << "\n" << r.output;
    if (c.status != 0) {
        EXPECT_EQ(lines(r.output), 1) << c.args << "\n" << r.output;
        EXPECT_NE(r.output.find(c.says), std::string::npos) << c.args << "\n" << r.output;
        EXPECT_FALSE(fs::exists(out)) << c.args;
    }
    (void)t;
}

TEST_F(Hostile, ScannerFiltersOnPagesTooSmallForThem) {
    const char* ops[] = {"sharpen", "soften -r 2", "sharpen -k k5.txt", "sharpen --kernels3 k5x3.txt",
                         "sharpen --fixed-kernel f5.txt", "sharpen --direct", "denoise -m 2",
                         "denoise --yuv 2:3,1:3", "denoise --per-channel 2:1,0:0,1:1",
                         "denoise --method gauss -r 2", "denoise --method median -r 2",
                         "denoise --method vector-median -r 2"};
    for (const char* op : ops) {
        for (const char* page : {"grey.pgm", "colour.ppm"}) {
            const std::string args = std::string(op) + " " + page + " o.png";
            const ToolRun r = run(args);
            const bool colourOnly = std::string(op).find("-k ") == std::string::npos &&
                                    std::string(op) != "sharpen" && std::string(op).rfind("soften", 0) != 0 &&
                                    std::string(op) != "denoise -m 2";
            expect_case(*this, {args.c_str(), 1, *page == 'g' && colourOnly ? "grey" : "too small"}, r, path("o.png"));
        }
        // Just enough room: one filtered column, the frame from the source.
        const ToolRun r = run(std::string(op) + " edge.ppm o.png");
        ASSERT_EQ(r.status, 0) << op << "\n" << r.output;
        const Image in = qm300::read_image(path("edge.ppm")), out = qm300::read_image(path("o.png"));
        ASSERT_EQ(out.pixels.size(), in.pixels.size()) << op;
        EXPECT_TRUE(std::equal(in.row(0), in.row(2), out.row(0))) << op << ": top frame";
        fs::remove(path("o.png"));
    }
}

TEST_F(Hostile, OptionsThatCannotWorkAreRefusedBeforeAnything) {
    const Case cases[] = {
        {"filter -k k3x3.txt --anchor 100000,100000 page.png o.png", 2, "anchor"},
        {"filter -k k3x3.txt --anchor -4,0 page.png o.png", 2, "anchor"},
        {"median --anchor 3,0 page.png o.png", 2, "outside the 3x3 mask"},
        {"median --mask 99999x99999 page.png o.png", 2, "mask size"},
        {"median --mask 201x201 page.png o.png", 1, "larger than the page"},
        {"sharpen --direct -r 20000 page.png o.png", 2, "radius"},
        {"sharpen -r 5 page.png o.png", 2, "radius"},
        {"sharpen -l 9 page.png o.png", 2, "level 9"},
        {"sharpen -l 16 page.png o.png", 2, "level 16"},
        {"sharpen -l -1 page.png o.png", 2, "level -1"},
        {"sharpen -k k5.txt -l 3 page.png o.png", 2, "kernel file"},
        {"sharpen -k k5.txt --fixed-kernel f5.txt page.png o.png", 2, "exclude"},
        {"denoise --method gauss -r 50 page.png o.png", 2, "radius 1"},
        {"denoise -l 11 page.png o.png", 2, "--level"},
        {"denoise --yuv 1:3,2:4 grey.pgm o.png", 1, "grey"},
        {"denoise --method median -l 3 page.png o.png", 2, "bilateral"},
        {"resize -s 1e10 page.png o.png", 1, "--max-pixels"},
        {"resize -s inf page.png o.png", 2, "finite"},
        {"resize -s nan page.png o.png", 2, "finite"},
        {"resize --fx inf --fy 1 page.png o.png", 2, "finite"},
        {"resize -s -2 page.png o.png", 2, "finite"},
        {"resize -s 0.001 page.png o.png", 1, "less than one pixel"},
        {"box --page 3 page.png o.png", 1, "single page"},
        {"box --page 0 page.png o.png", 2, "counts from 1"},
        {"box page.png o.xyz", 2, "unknown output format"},
        {"box page.png -", 2, "needs --format"},
        {"box . o.png", 1, "folder"},
        {"box nothing.png o.png", 1, "nothing.png"},
        {"nonsense page.png o.png", 2, "unknown command 'nonsense'"},
        {"box --bogus page.png o.png", 2, "qm300 box:"},
        {"batch --op \"--help\" -o out page.png", 2, "--help"},
        {"--max-pixels 1000 box page.png o.png", 1, "over the limit of 1000"},
    };
    for (const Case& c : cases) expect_case(*this, c, run(c.args), path("o.png"));
    EXPECT_FALSE(fs::exists(path("out")));
    // Global options also after the command; levels in steps of five work.
    EXPECT_EQ(run("sharpen -l 20 page.png o.png --max-pixels 5000").status, 0);
}

TEST_F(Hostile, LinearFilterMarginFollowsTheAnchor) {
    // A 3x3 kernel whose only weight sits at the end, applied as convolution
    // with anchor (2,2): out(x,y) = in(x,y). Anchor (3,2) moves the window by
    // one column: out(x,y) = in(x+1,y), the last column repeating the edge.
    const Image in = qm300::read_image(path("page.png"));
    for (int ax : {2, 3, -1}) {
        const ToolRun r = run("filter -k k3x3.txt --anchor " + std::to_string(ax) + ",2 page.png o.png");
        ASSERT_EQ(r.status, 0) << r.output;
        const Image out = qm300::read_image(path("o.png"));
        for (int y = 0; y < in.height; ++y)
            for (int x = 0; x < in.width; ++x)
                for (int c = 0; c < 3; ++c)
                    ASSERT_EQ(out.row(y)[3 * x + c], in.row(y)[3 * std::clamp(x + ax - 2, 0, in.width - 1) + c])
                        << "anchor " << ax << " at " << x << "," << y;
    }
}

TEST_F(Hostile, DamagedAndLyingFilesAreRefused) {
    Bytes cut = handmade_tiff(64, 64, 1);
    cut.resize(cut.size() / 2);
    spit(path("cut.tif"), cut);
    spit(path("codec.tif"), handmade_tiff(16, 16, 12345));
    spit(path("huge.tif"), handmade_tiff(60000, 60000, 1));
    spit(path("tiles.tif"), zeroed_tiles_tiff(path("tiles-good.tif")));
    lying_header(path("huge.jpg"), ".jpg", 40000, 40000);
    lying_header(path("huge.png"), ".png", 16384, 16384);
    std::ofstream(path("huge.pgm")) << "P5\n60000 60000\n255\n....";
    const Case cases[] = {
        {"box cut.tif o.png", 1, "cut.tif: damaged TIFF"},   {"box codec.tif o.png", 1, "compression 12345"},
        {"box tiles.tif o.png", 1, "tiles.tif: damaged"},    {"box huge.tif o.png", 1, "over the limit"},
        {"box huge.jpg o.png", 1, "over the limit"},         {"box huge.png o.png", 1, "over the limit"},
        {"box huge.pgm o.png", 1, "over the limit"},
    };
    for (const Case& c : cases) expect_case(*this, c, run(c.args), path("o.png"));
    spit(path("whole.tif"), handmade_tiff(64, 64, 1));
    EXPECT_EQ(run("box whole.tif o.png").status, 0);
}

TEST_F(Hostile, BatchPlansEveryOutputBeforeWriting) {
    fs::create_directories(dir / "same");
    qm300::write_image(path("same/scan.png"), random_image(20, 10, 3, 5));
    qm300::write_image(path("same/scan.jpg"), random_image(20, 10, 3, 6));
    const Bytes original = slurp(path("same/scan.png"));
    const ToolRun over = run("batch --format png --op gauss -o same same");
    EXPECT_EQ(over.status, 2) << over.output;
    EXPECT_EQ(lines(over.output), 1) << over.output;
    EXPECT_EQ(slurp(path("same/scan.png")), original);

    fs::create_directories(dir / "stems");
    for (const char* ext : {".png", ".jpg", ".tif", ".pnm"}) qm300::write_image(path(std::string("stems/a") + ext), random_image(8, 8, 1, 7));
    const ToolRun clash = run("batch -j 2 --format png --op gauss -o out stems");
    EXPECT_EQ(clash.status, 2) << clash.output;
    EXPECT_NE(clash.output.find("both"), std::string::npos) << clash.output;
    EXPECT_FALSE(fs::exists(path("out")));
    const ToolRun same = run("batch -j 2 --op gauss -o out stems stems/a.png");
    EXPECT_EQ(same.status, 0) << same.output;
    EXPECT_EQ(std::distance(fs::directory_iterator(dir / "out"), {}), 4);
}

TEST_F(Hostile, PermissionsAndNamesOfOutputs) {
    EXPECT_EQ(run("box page.png o.png").status, 0);
    EXPECT_EQ(std::system(("cd " + dir.string() + " && umask 077 && " + QM300_PATH + " box page.png private.png").c_str()), 0);
    EXPECT_EQ(fs::status(path("private.png")).permissions() & fs::perms::all, fs::perms::owner_read | fs::perms::owner_write);
    fs::permissions(path("o.png"), fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_EQ(run("gauss page.png o.png").status, 0);
    EXPECT_EQ(fs::status(path("o.png")).permissions() & fs::perms::all, fs::perms::owner_read | fs::perms::owner_write);
    fs::permissions(path("o.png"), fs::perms::owner_read | fs::perms::group_read);
    const Bytes before = slurp(path("o.png"));
    const ToolRun ro = run("box page.png o.png");
    EXPECT_EQ(ro.status, 1);
    EXPECT_NE(ro.output.find("read-only"), std::string::npos) << ro.output;
    EXPECT_EQ(slurp(path("o.png")), before);
    EXPECT_EQ(run("box --force page.png o.png").status, 0);
    EXPECT_EQ(fs::status(path("o.png")).permissions() & fs::perms::all, fs::perms::owner_read | fs::perms::group_read);
    const std::string longName(240, 'n');
    EXPECT_EQ(run("box page.png " + longName + ".png").status, 0);
    EXPECT_EQ(temporaries(), 0);
}

TEST_F(Hostile, PipesAndStandardStreams) {
    qm300::write_image(path("page.ppm"), qm300::read_image(path("page.png")));
    const ToolRun piped = qm300_run("gauss - - --format pnm < " + path("page.ppm") + " > " + path("out.pnm"));
    ASSERT_EQ(piped.status, 0) << piped.output;
    EXPECT_EQ(run("gauss page.ppm direct.pnm").status, 0);
    EXPECT_EQ(slurp(path("out.pnm")), slurp(path("direct.pnm")));
    ASSERT_EQ(mkfifo(path("fifo").c_str(), 0600), 0);
    ASSERT_EQ(std::system(("cat " + path("page.png") + " > " + path("fifo") + " &").c_str()), 0);
    const ToolRun fifo = run("gauss fifo fromfifo.pnm");
    EXPECT_EQ(fifo.status, 0) << fifo.output;
    EXPECT_EQ(slurp(path("fromfifo.pnm")), slurp(path("direct.pnm")));
}

TEST_F(Hostile, SignalsLeaveNoTemporaries) {
    qm300::write_image(path("large.png"), random_image(1200, 1200, 3, 8));
    for (int sig : {SIGINT, SIGTERM}) {
        const pid_t pid = fork();
        if (pid == 0) {
            execl(QM300_PATH, QM300_PATH, "median", "--mask", "61x61", path("large.png").c_str(), path("o.png").c_str(),
                  (char*)nullptr);
            _exit(127);
        }
        // The temporary is reserved before the work starts: wait for it, then stop the run.
        for (int i = 0; i < 1000 && temporaries() == 0; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(5));
        EXPECT_EQ(temporaries(), 1);
        kill(pid, sig);
        int st = 0;
        waitpid(pid, &st, 0);
        ASSERT_TRUE(WIFEXITED(st));
        EXPECT_EQ(WEXITSTATUS(st), 128 + sig);
        EXPECT_EQ(temporaries(), 0);
        EXPECT_FALSE(fs::exists(path("o.png")));
    }
}

}  // namespace
