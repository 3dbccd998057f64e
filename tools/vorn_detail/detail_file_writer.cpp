#include "tools/vorn_detail/detail_file_writer.h"

#include <ostream>
#include <utility>

#include "tools/vorn_detail/failure.h"

namespace Vorn {

DetailFileWriter::DetailFileWriter(DetailFormat format, const std::string& path, std::string unit)
    : format_(format), path_(path), encoder_(format), file_(path), limits_(std::move(unit)) {
    if (!file_.open() || !file_.write(encoder_.header())) throw Failure(file_.error());
}

std::string DetailFileWriter::add(const TrafficStat& record, unsigned long position) {
    std::string refusal = encoder_.refusal(record);
    if (!refusal.empty()) return refusal;
    bytes_.clear();
    encoder_.append_record(record, bytes_);
    if (!file_.write(bytes_)) throw Failure(file_.error());
    ++count_;
    limits_.check(record, position);
    return refusal;
}

void DetailFileWriter::commit(std::ostream& err, const std::string& tail) {
    if (!file_.commit()) throw Failure(file_.error());
    err << path_ << ": " << (format_ == DetailFormat::New ? "new" : "old") << " format, " << count_ << " records"
        << tail << "\n";
    limits_.tell(err);
}

}  // namespace Vorn
