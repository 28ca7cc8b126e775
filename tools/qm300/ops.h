// The tool's operations: each maps one sub-command onto the module's
// functions and turns a page into a page.
#pragma once
#include <CLI/CLI.hpp>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "image.h"
#include "module.h"

namespace qm300 {

class Op {
public:
    virtual ~Op() = default;
    virtual Image apply(const Module& m, const Image& in) const = 0;
};

// The operation sub-commands with their options, registered on an app.
class OpSet {
public:
    // Adds one sub-command per operation; `withFiles` adds INPUT and OUTPUT.
    void add_to(CLI::App& app, bool withFiles);
    // The operation whose sub-command was parsed, or null.
    const Op* selected() const;
    const std::string& input() const { return input_; }
    const std::string& output() const { return output_; }
    int page() const { return page_; }

private:
    template <class T>
    T& add(CLI::App& app, const char* name, const char* help, bool withFiles);
    std::vector<std::pair<CLI::App*, std::unique_ptr<Op>>> ops_;
    std::string input_, output_;
    int page_ = 1;
};

// Replicates the outermost rows and columns to give a margin around a page.
Image pad(const Image& in, int left, int top, int right, int bottom);
// Copies a rectangle out of a page.
Image crop(const Image& in, int x, int y, int w, int h);

// Reads whitespace-separated numbers, one kernel or map row per line
// ('#' starts a comment). Every row must have the same length.
std::vector<std::vector<double>> read_matrix(const std::string& path);

}  // namespace qm300
