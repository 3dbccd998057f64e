#include "tools/vorn_detail/capture_commands.h"

#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <memory>

#include "tools/vorn_detail/capture.h"
#include "tools/vorn_detail/detail_commands.h"
#include "tools/vorn_detail/failure.h"
#include "tools/vorn_detail/flow_compare.h"
#include "tools/vorn_detail/nfdump_import.h"

namespace Vorn {

namespace {

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

// A count while reading is for a person watching, not for a log or a pipe.
bool progress_shown(const std::ostream& err) { return &err == &std::cerr && isatty(STDERR_FILENO) == 1; }

}  // namespace

int import_command(const std::vector<std::string>& args, std::istream& in, std::ostream& err) {
    if (args.size() < 3 || args[0] != "--format") return usage(err);
    const DetailFormat format = detail_format(args[1]);
    Capture capture({args.begin() + 3, args.end()}, in, err, progress_shown(err));
    import_capture(format, args[2], capture, err);
    return exit_ok;
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
    if (version.empty() || args.size() <= at) return usage(err);
    if (version != "v5" && version != "v9")
        throw Failure("unknown version '" + version + "' for --sent-as (v5 or v9)", exit_usage);
    const SentAs sent_as = version == "v5" ? SentAs::V5 : SentAs::V9;
    const std::vector<std::string> known = compared_fields(sent_as);
    for (const std::string& name : ignored) {
        if (std::find(known.begin(), known.end(), name) != known.end()) continue;
        std::string text = "--ignore: '" + name + "' is not a field that " + version + " carries:";
        for (const std::string& k : known) text += " " + k;
        throw Failure(text, exit_usage);
    }
    // The capture is opened once the file is known to be readable: a FIFO's
    // open waits for a writer.
    const std::vector<std::string> inputs(args.begin() + static_cast<std::ptrdiff_t>(at) + 1, args.end());
    const auto open_capture = [&] { return std::make_unique<Capture>(inputs, in, err, progress_shown(err)); };
    return compare_capture(args[at], sent_as, ignored, open_capture, out, err);
}

}  // namespace Vorn
