#include "tools/vorn_detail/capture_commands.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>

#include "tools/vorn_detail/detail_commands.h"
#include "tools/vorn_detail/flow_compare.h"
#include "tools/vorn_detail/nfdump_import.h"

namespace Vorn {

namespace {

// Runs body on the named input, or on in for none or "-".
template <typename Body>
int with_input(const std::vector<std::string>& args, size_t at, std::istream& in, std::ostream& err, Body body) {
    if (args.size() <= at || args[at] == "-") return body(in);
    std::ifstream file(args[at], std::ios::binary);
    if (!file) {
        err << "vorn-detail: cannot open " << args[at] << ": " << std::strerror(errno) << "\n";
        return exit_failure;
    }
    return body(file);
}

int usage(std::ostream& err) {
    err << vorn_detail_usage;
    return exit_usage;
}

std::vector<std::string> split(const std::string& list) {
    std::vector<std::string> items;
    size_t start = 0;
    for (size_t comma; (comma = list.find(',', start)) != std::string::npos; start = comma + 1)
        items.push_back(list.substr(start, comma - start));
    items.push_back(list.substr(start));
    return items;
}

}  // namespace

int import_command(const std::vector<std::string>& args, std::istream& in, std::ostream& err) {
    if (args.size() < 3 || args.size() > 4 || args[0] != "--format") return usage(err);
    DetailFormat format;
    if (!detail_format(args[1], format, err)) return exit_usage;
    // The count is for a person watching, not for a log or a pipe.
    const bool progress = &err == &std::cerr && isatty(STDERR_FILENO) == 1;
    return with_input(args, 3, in, err,
                      [&](std::istream& json) { return import_nfdump(format, args[2], json, err, progress); });
}

int compare_command(const std::vector<std::string>& args, std::istream& in, std::ostream& out, std::ostream& err) {
    size_t at = 0;
    std::string version;
    std::vector<std::string> ignored;
    while (at + 1 < args.size() && (args[at] == "--sent-as" || args[at] == "--ignore")) {
        if (args[at] == "--sent-as")
            version = args[at + 1];
        else
            for (const std::string& name : split(args[at + 1])) ignored.push_back(name);
        at += 2;
    }
    if (version.empty() || args.size() <= at || args.size() > at + 2) return usage(err);
    if (version != "v5" && version != "v9") {
        err << "vorn-detail: unknown version '" << version << "' for --sent-as (v5 or v9)\n";
        return exit_usage;
    }
    const SentAs sent_as = version == "v5" ? SentAs::V5 : SentAs::V9;
    const std::vector<std::string> known = compared_fields(sent_as);
    for (const std::string& name : ignored) {
        if (std::find(known.begin(), known.end(), name) != known.end()) continue;
        err << "vorn-detail: --ignore: '" << name << "' is not a field that " << version << " carries:";
        for (const std::string& k : known) err << " " << k;
        err << "\n";
        return exit_usage;
    }
    return with_input(args, at + 1, in, err, [&](std::istream& capture) {
        return compare_capture(args[at], sent_as, ignored, capture, out, err);
    });
}

}  // namespace Vorn
