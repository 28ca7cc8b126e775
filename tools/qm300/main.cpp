// qm300: the scanner image module on real pages, from the command line.
#include <CLI/CLI.hpp>

#include <cstdio>

#include "commands.h"
#include "ops.h"

int main(int argc, char** argv) {
    using namespace qm300;
    CLI::App app{"qm300: try the scanner's image module on real pages.\n"
                 "Loads ippiQM300-x64.so the way the driver does and runs its filters on PNG, JPEG, TIFF and "
                 "PGM/PPM files (8-bit grey or RGB)."};
    app.require_subcommand(1);
    std::string modulePath = default_module_path();
    app.add_option("--module", modulePath, "the module to load (default: next to this program)");

    OpSet ops;
    ops.add_to(app, true);

    CLI::App* info = app.add_subcommand("info", "Processor class, chosen implementation set, features and versions");

    DemoOptions demo;
    CLI::App* demoCmd = app.add_subcommand("demo", "Synthesise a scanned page, run the scanner filters on it and write "
                                                   "the results and a before/after contact sheet as PNG");
    demoCmd->add_option("-o,--out", demo.outDir, "folder for the pictures")->capture_default_str();
    demoCmd->add_option("--width", demo.width, "page width in pixels (A4 proportions)")->capture_default_str();

    BatchOptions batch;
    CLI::App* batchCmd = app.add_subcommand("batch", "Run one operation over many pages in parallel");
    batchCmd->add_option("--op", batch.op, "the operation and its options, e.g. \"denoise --level 4\"")->required();
    batchCmd->add_option("-o,--out", batch.outDir, "folder for the results")->required();
    batchCmd->add_option("-j,--jobs", batch.jobs, "pages processed at once (default: the core count)");
    batchCmd->add_option("--format", batch.format, "output format: png, jpg, tif, pnm or same (as the input)")
        ->check(CLI::IsMember({"png", "jpg", "tif", "pnm", "same"}))->capture_default_str();
    batchCmd->add_option("inputs", batch.inputs, "image files or folders of them")->required();

    CLI11_PARSE(app, argc, argv);
    try {
        Module module(modulePath);
        if (info->parsed()) return run_info(module);
        if (demoCmd->parsed()) return run_demo(module, demo);
        if (batchCmd->parsed()) return run_batch(module, batch);
        return run_single(module, ops);
    } catch (const ToolError& e) {
        std::fprintf(stderr, "qm300: %s\n", e.what());
        return 1;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "qm300: unexpected failure: %s\n", e.what());
        return 2;
    }
}
