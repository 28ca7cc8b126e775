// The sub-commands that are more than one operation on one page.
#pragma once
#include <string>
#include <vector>

#include "module.h"
#include "ops.h"

namespace qm300 {

struct DemoOptions {
    std::string outDir = "qm300-demo";
    int width = 1240;
};

struct BatchOptions {
    std::string op;
    std::string outDir;
    int jobs = 0;
    std::string format = "same";
    std::vector<std::string> inputs;
    bool force = false;
};

int run_info(const Module& m);
int run_single(const Module& m, const OpSet& ops, bool force);
int run_demo(const Module& m, const DemoOptions& o);
int run_batch(const Module& m, const BatchOptions& o);

// The synthetic scanned page of the demo (also used by the tests).
Image synth_page(int width, int height, unsigned seed = 1);

}  // namespace qm300
