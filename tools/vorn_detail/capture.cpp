#include "tools/vorn_detail/capture.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "tools/vorn_detail/descriptor_stream.h"
#include "tools/vorn_detail/failure.h"
#include "tools/vorn_detail/nfdump_flow.h"
#include "tools/vorn_detail/nfdump_reader.h"

namespace Vorn {

Capture::Capture(const std::string& path, std::istream& in)
    : name_(path == "-" ? "standard input" : path), stream_(&in) {
    if (path == "-") {
        require_standard_input(in);
        return;
    }
    const int fd = ::open(path.c_str(), O_RDONLY | O_NOCTTY | O_CLOEXEC);
    if (fd < 0) throw Failure("cannot open " + path + ": " + std::strerror(errno));
    file_ = std::make_unique<DescriptorStream>(fd, path, true);
    stream_ = file_.get();
    struct stat info;
    if (fstat(fd, &info) == 0 && S_ISDIR(info.st_mode))
        throw Failure("cannot read " + path +
                      ": a directory (a capture is the JSON text that 'nfdump -o json' prints)");
}

Capture::~Capture() = default;

void Capture::read(const Visit& visit) {
    TrafficStat record;
    NfdumpReader reader;
    const bool read = reader.read(*stream_, [&](const nlohmann::json& object, unsigned long ordinal) {
        bool is_flow = false;
        const std::string wrong = traffic_stat_from_nfdump(object, record, is_flow);
        if (!wrong.empty()) return wrong;
        if (!is_flow) {
            ++others_;
            return wrong;
        }
        return visit(record, ordinal);
    });
    if (!read) throw Failure(name_ + ": " + reader.problem());
}

}  // namespace Vorn
