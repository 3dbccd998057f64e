#include "tools/nfcapd/nfcapd_reader.h"

#include <cerrno>
#include <cstring>
#include <fstream>

#include "tools/nfcapd/block_decompression.h"
#include "tools/nfcapd/file_header.h"
#include "vorn/util/byte_order.h"

namespace Vorn {

namespace {

constexpr size_t block_header_size = 12;
constexpr uint16_t v3_block = 3;               // the only block type nfcapd 1.7 writes
constexpr uint16_t stored_uncompressed = 0x1;  // block flag

std::string count_of(unsigned long n, unsigned long total) {
    return std::to_string(n) + " of " + std::to_string(total);
}

}  // namespace

bool NfcapdReader::read(const std::string& path, const Visit& visit) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        problem_ = "cannot open " + path + ": " + std::strerror(errno);
        return false;
    }
    return read(file, path, visit);
}

bool NfcapdReader::read(std::istream& in, const std::string& name, const Visit& visit) {
    name_ = name;
    problem_.clear();
    block_ = record_ = 0;
    stored_.resize(NfcapdFileHeader::size);
    in.read(reinterpret_cast<char*>(stored_.data()), NfcapdFileHeader::size);
    offset_ = static_cast<uint64_t>(in.gcount());
    if (in.bad()) return fail("cannot read the file");
    const std::string wrong = parse_file_header(stored_.data(), offset_, header_);
    if (!wrong.empty()) return fail(wrong);
    return read_blocks(in, visit) && skip_appendix(in);
}

bool NfcapdReader::fail(const std::string& problem) {
    problem_ = name_ + ": ";
    if (block_ > 0) problem_ += "block " + count_of(block_, header_.blocks);
    if (record_ > 0) problem_ += ", record " + std::to_string(record_);
    if (block_ > 0) problem_ += ": ";
    problem_ += problem;
    return false;
}

bool NfcapdReader::take(std::istream& in, size_t size, const std::string& what) {
    stored_.resize(size);
    in.read(reinterpret_cast<char*>(stored_.data()), static_cast<std::streamsize>(size));
    const auto got = static_cast<size_t>(in.gcount());
    offset_ += got;
    if (got == size) return true;
    if (in.bad()) return fail("cannot read the file");
    const std::string where = got == 0 ? "before " : "after " + count_of(got, size) + " bytes of ";
    return fail("truncated: the file ends " + where + what);
}

bool NfcapdReader::read_blocks(std::istream& in, const Visit& visit) {
    for (block_ = 1; block_ <= header_.blocks; ++block_) {
        record_ = 0;
        if (!take(in, block_header_size, "its header")) return false;
        const unsigned long records = load_le<uint32_t>(stored_.data());
        const size_t size = load_le<uint32_t>(stored_.data() + 4);
        const uint16_t type = load_le<uint16_t>(stored_.data() + 8);
        const bool compressed =
            header_.compression != Compression::None && !(load_le<uint16_t>(stored_.data() + 10) & stored_uncompressed);
        if (size == 0) return fail("size 0");
        if (size > max_block_size)
            return fail("size " + std::to_string(size) + " above the limit of " + std::to_string(max_block_size) +
                        " bytes");
        if (records == 0) return fail("no records");
        if (!take(in, size, "its payload")) return false;
        if (type != v3_block) {
            skipped_ += records;
            continue;
        }
        const unsigned char* payload = stored_.data();
        size_t length = size;
        if (compressed) {
            decompressed_.resize(max_block_size);
            length = decompress_block(header_.compression, payload, size, decompressed_.data(), decompressed_.size());
            if (length == 0)
                return fail(std::string("does not decompress (") + compression_name(header_.compression) + ")");
            payload = decompressed_.data();
        }
        if (!read_records(payload, length, records, visit)) return false;
    }
    block_ = record_ = 0;
    return true;
}

bool NfcapdReader::read_records(const unsigned char* payload, size_t size, unsigned long count, const Visit& visit) {
    size_t at = 0;
    for (record_ = 1; record_ <= count; ++record_) {
        if (size - at < 4) return fail("the block ends before the record (" + std::to_string(count) + " in the block)");
        const uint16_t type = load_le<uint16_t>(payload + at);
        const size_t length = load_le<uint16_t>(payload + at + 2);
        if (length == 0) return fail("size 0");
        if (length < 4) return fail("size " + std::to_string(length) + ", shorter than its header");
        if (length > size - at)
            return fail("size " + std::to_string(length) + " runs past the end of the block (" +
                        std::to_string(size - at) + " bytes left)");
        bool is_flow = false;
        if (type == flow_record_type) {
            std::string wrong = decoder_.decode(payload + at, length, flow_, is_flow);
            if (wrong.empty() && is_flow) wrong = visit(flow_);
            if (!wrong.empty()) return fail(wrong);
            events_ += !is_flow;
        }
        ++(is_flow ? flows_ : skipped_);
        at += length;
    }
    record_ = 0;
    if (at != size) return fail(std::to_string(size - at) + " bytes after its " + std::to_string(count) + " records");
    return true;
}

// The appendix (the file's ident and summary) is not needed for the flows;
// it is read past only to be sure that the file is whole.
bool NfcapdReader::skip_appendix(std::istream& in) {
    if (header_.appendix_blocks == 0) return true;
    if (header_.appendix_offset < offset_)
        return fail("the appendix at offset " + std::to_string(header_.appendix_offset) +
                    " lies inside the data blocks, which end at " + std::to_string(offset_));
    for (uint64_t gap = header_.appendix_offset - offset_; gap > 0;) {
        const size_t step = gap < max_block_size ? static_cast<size_t>(gap) : max_block_size;
        if (!take(in, step, "the appendix at offset " + std::to_string(header_.appendix_offset))) return false;
        gap -= step;
    }
    for (unsigned i = 1; i <= header_.appendix_blocks; ++i) {
        const std::string block = "appendix block " + count_of(i, header_.appendix_blocks);
        if (!take(in, block_header_size, "the header of " + block)) return false;
        const size_t size = load_le<uint32_t>(stored_.data() + 4);
        if (size > max_block_size) return fail(block + ": size " + std::to_string(size) + " above the limit");
        if (!take(in, size, block)) return false;
    }
    return true;
}

}  // namespace Vorn
