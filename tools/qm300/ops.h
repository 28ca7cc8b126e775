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

// Options that cannot work whatever the page: exit status 2.
struct UsageError : ToolError {
    using ToolError::ToolError;
};

class Op {
public:
    virtual ~Op() = default;
    // Registers the operation's own options on its sub-command.
    virtual void add_options(CLI::App& sub) = 0;
    // Checks the options on their own, before any page is read (UsageError).
    virtual void check() const {}
    // Runs on one page; a page the options do not fit gives a ToolError.
    virtual Image apply(const Module& m, const Image& in) const = 0;
    // False when the result is no longer in the input's colour space.
    virtual bool keeps_profile() const { return true; }
};

// Runs an operation and carries the page's resolution and profile over
// (scaled by a change of size).
Image apply_op(const Module& m, const Op& op, const Image& in);

// The operation sub-commands with their options, registered on an app.
class OpSet {
public:
    // Adds one sub-command per operation; `withFiles` adds INPUT, OUTPUT,
    // --page and --format.
    void add_to(CLI::App& app, bool withFiles);
    // The operation whose sub-command was parsed, or null.
    const Op* selected() const;
    const std::string& input() const { return input_; }
    const std::string& output() const { return output_; }
    const std::string& format() const { return format_; }
    int page() const { return page_; }

private:
    std::vector<std::pair<CLI::App*, std::unique_ptr<Op>>> ops_;
    std::string input_, output_, format_;
    int page_ = 1;
};

// Replicates the outermost rows and columns to give a margin around a page.
Image pad(const Image& in, int left, int top, int right, int bottom);
// Copies a rectangle out of a page.
Image crop(const Image& in, int x, int y, int w, int h);

// Reads whitespace-separated numbers, one kernel or map row per line
// ('#' starts a comment). Every row must have the same length; more than
// `maxValues` numbers are refused.
std::vector<std::vector<double>> read_matrix(const std::string& path, size_t maxValues);

}  // namespace qm300
