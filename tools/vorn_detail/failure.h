#pragma once

#include <string>

#include "vorn/util/exception.h"

namespace Vorn {

// Exit statuses of vorn-detail.
constexpr int exit_ok = 0;
constexpr int exit_failure = 1;  // bad input, unreadable file, I/O error
constexpr int exit_usage = 2;
constexpr int exit_different = 3;  // compare: the flows differ

// How every command of vorn-detail gives up: what() is the one line for
// standard error, the program's name and a text naming the input or the
// output at fault, and the status is the program's. run_vorn_detail is the
// one place that catches it; what a command created is owned by objects that
// remove it as the exception passes.
class Failure : public Exception {
public:
    explicit Failure(const std::string& text, int status = exit_failure)
        : Exception("vorn-detail: " + text), status_(status) {}
    int status() const { return status_; }

private:
    int status_;
};

}  // namespace Vorn
