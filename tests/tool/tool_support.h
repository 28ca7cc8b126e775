// What the qm300 end-to-end tests share: running the built tool, pages
// of random pixels, a scratch folder per test.
#pragma once
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <random>
#include <string>

#include "image.h"

namespace qmtool {

namespace fs = std::filesystem;
using qm300::Image;

struct ToolRun {
    int status;  // exit status, or 128 + signal
    std::string output;
};

// Runs the tool through the shell (so `args` may hold redirections), in
// folder `cwd` when one is given.
inline ToolRun qm300_run(const std::string& args, const std::string& cwd = "") {
    const std::string cmd = (cwd.empty() ? "" : "cd '" + cwd + "' && ") + "exec " + QM300_PATH + " " + args + " 2>&1";
    FILE* p = popen(cmd.c_str(), "r");
    std::string out;
    char buf[512];
    while (p && fgets(buf, sizeof buf, p)) out += buf;
    const int st = p ? pclose(p) : -1;
    return {WIFEXITED(st) ? WEXITSTATUS(st) : WIFSIGNALED(st) ? 128 + WTERMSIG(st) : -1, out};
}

inline Image random_image(int w, int h, int c, unsigned seed) {
    Image im(w, h, c);
    std::mt19937 rng(seed);
    for (auto& p : im.pixels) p = uint8_t(rng());
    return im;
}

class Tool : public ::testing::Test {
protected:
    void SetUp() override {
        dir = fs::temp_directory_path() /
              ("qm300-test-" + std::to_string(getpid()) + "-" +
               ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::create_directories(dir);
    }
    void TearDown() override { fs::remove_all(dir); }
    std::string path(const std::string& name) const { return (dir / name).string(); }
    // Files whose name marks them as the tool's temporaries.
    int temporaries() const {
        int n = 0;
        for (const auto& e : fs::recursive_directory_iterator(dir))
            n += e.path().filename().string().rfind(".qm300-", 0) == 0;
        return n;
    }
    fs::path dir;
};

}  // namespace qmtool
