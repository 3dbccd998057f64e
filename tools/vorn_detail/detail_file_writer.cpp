#include "tools/vorn_detail/detail_file_writer.h"

#include <istream>
#include <ostream>
#include <utility>

namespace Vorn {

DetailFileWriter::DetailFileWriter(DetailFormat format, std::string path)
    : format_(format), path_(std::move(path)), encoder_(format) {}

bool DetailFileWriter::start(const std::istream& in, std::ostream& err) {
    if (!in.good()) {
        err << "vorn-detail: cannot read standard input: it is closed\n";
        return false;
    }
    file_.emplace(path_);
    if (!file_->open()) {
        err << "vorn-detail: " << file_->error() << "\n";
        return false;
    }
    writing_ = file_->write(encoder_.header());
    return true;
}

bool DetailFileWriter::add(const TrafficStat& record, std::string& problem) {
    if (!writing_) {
        problem = file_->error();
        return false;
    }
    problem = encoder_.refusal(record);
    if (!problem.empty()) return false;
    bytes_.clear();
    encoder_.append_record(record, bytes_);
    writing_ = file_->write(bytes_);
    if (!writing_) {
        problem = file_->error();
        return false;
    }
    ++count_;
    return true;
}

bool DetailFileWriter::commit(std::ostream& err) {
    if (writing_ && file_->commit()) return true;
    err << "vorn-detail: " << file_->error() << "\n";
    return false;
}

std::string DetailFileWriter::summary() const {
    return path_ + ": " + (format_ == DetailFormat::New ? "new" : "old") + " format, " + std::to_string(count_) +
           " records";
}

}  // namespace Vorn
