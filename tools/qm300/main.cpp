// qm300: the scanner image module on real pages, from the command line.
#include <CLI/CLI.hpp>

#include <cstdio>
#include <cstring>

#include "commands.h"
#include "ops.h"

namespace {

constexpr const char* kFooter =
    "Exit status: 0 done; 1 a page or file failed (one line each on stderr); 2 bad usage, nothing done;\n"
    "130 or 143 stopped by SIGINT or SIGTERM (temporary files removed).\n"
    "INPUT - reads standard input, OUTPUT - writes standard output (with --format).";

// The command a user meant, for a clearer line than the parser's: the first
// word that is not an option or the value of a global option.
std::string first_word(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        const char* a = argv[i];
        if (!std::strcmp(a, "--module") || !std::strcmp(a, "--max-pixels")) {
            ++i;
            continue;
        }
        if (a[0] != '-') return a;
    }
    return "";
}

int usage_error(const CLI::App& app, const std::string& message, int argc, char** argv) {
    std::string command;
    for (const CLI::App* sub : app.get_subcommands()) command = sub->get_name();
    const std::string word = first_word(argc, argv);
    bool known = false;
    for (const CLI::App* sub : app.get_subcommands([](const CLI::App*) { return true; }))
        known = known || sub->get_name() == word;
    if (command.empty() && !word.empty() && !known) {
        std::fprintf(stderr, "qm300: unknown command '%s' (qm300 --help lists them)\n", word.c_str());
        return 2;
    }
    if (command.empty()) std::fprintf(stderr, "qm300: %s (qm300 --help)\n", message.c_str());
    else std::fprintf(stderr, "qm300 %s: %s (qm300 %s --help)\n", command.c_str(), message.c_str(), command.c_str());
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    using namespace qm300;
    install_cleanup_handlers();
    CLI::App app{"qm300: try the scanner's image module on real pages.\n"
                 "Loads ippiQM300-x64.so the way the driver does and runs its filters on PNG, JPEG, TIFF and "
                 "PGM/PPM files (8-bit grey or RGB)."};
    app.require_subcommand(1);
    app.fallthrough();  // global options may also follow the command
    app.footer(kFooter);
    std::string modulePath = default_module_path();
    uint64_t maxPixels = kDefaultMaxPixels;
    bool force = false;
    app.add_option("--module", modulePath, "the module to load (default: next to this program, else the installed one)");
    app.add_option("--max-pixels", maxPixels, "largest page read, resized or padded, in pixels")->capture_default_str();
    app.add_flag("--force", force, "replace read-only output files");

    OpSet ops;
    ops.add_to(app, true);

    CLI::App* info = app.add_subcommand("info", "Processor class, chosen implementation set, features and versions");

    DemoOptions demo;
    CLI::App* demoCmd = app.add_subcommand("demo", "Synthesise a scanned page, run the scanner filters on it and write "
                                                   "the results and a before/after contact sheet as PNG");
    demoCmd->add_option("-o,--out", demo.outDir, "folder for the pictures")->capture_default_str();
    demoCmd->add_option("--width", demo.width, "page width in pixels (A4 proportions)")->capture_default_str();

    BatchOptions batch;
    CLI::App* batchCmd = app.add_subcommand("batch", "Run one operation over many pages in parallel; every output is "
                                                     "planned first, and clashes stop the run before anything is written");
    batchCmd->add_option("--op", batch.op, "the operation and its options, e.g. \"denoise --level 4\"")->required();
    batchCmd->add_option("-o,--out", batch.outDir, "folder for the results")->required();
    batchCmd->add_option("-j,--jobs", batch.jobs, "pages processed at once (default: the core count)");
    batchCmd->add_option("--format", batch.format, "output format: png, jpg, tif, pnm or same (as the input)")
        ->check(CLI::IsMember({"png", "jpg", "tif", "pnm", "same"}))->capture_default_str();
    batchCmd->add_option("inputs", batch.inputs, "image files or folders of them")->required();

    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& e) {
        return app.exit(e);
    } catch (const CLI::ParseError& e) {
        return usage_error(app, e.what(), argc, argv);
    }
    std::string command = "qm300";
    for (const CLI::App* sub : app.get_subcommands()) command += " " + sub->get_name();
    try {
        if (maxPixels < 1) throw UsageError("--max-pixels must be at least 1");
        set_max_pixels(maxPixels);
        batch.force = force;
        Module module(modulePath);
        if (info->parsed()) return run_info(module);
        if (demoCmd->parsed()) return run_demo(module, demo);
        if (batchCmd->parsed()) return run_batch(module, batch);
        return run_single(module, ops, force);
    } catch (const UsageError& e) {
        std::fprintf(stderr, "%s: %s\n", command.c_str(), e.what());
        return 2;
    } catch (const ToolError& e) {
        std::fprintf(stderr, "%s: %s\n", command.c_str(), e.what());
        return 1;
    } catch (const std::bad_alloc&) {
        std::fprintf(stderr, "%s: out of memory (a smaller --max-pixels keeps pages within reach)\n", command.c_str());
        return 1;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "%s: unexpected failure: %s\n", command.c_str(), e.what());
        return 1;
    }
}
