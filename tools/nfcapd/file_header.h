#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "tools/nfcapd/block_decompression.h"

namespace Vorn {

// What a reader needs of the header that opens an nfcapd file of layout 2
// (nfdump 1.7), in the byte order of the host that wrote it: little-endian
// for the files read here.
struct NfcapdFileHeader {
    static constexpr size_t size = 40;

    Compression compression = Compression::None;
    uint32_t blocks = 0;  // data blocks, from offset 40 on; 0 while nfcapd still writes the file
    uint16_t appendix_blocks = 0;
    uint64_t appendix_offset = 0;  // where they start, past the data blocks
};

// Whether the first bytes (size of them) carry the magic of an nfcapd file,
// in either byte order: how such a file is told from other input.
bool starts_as_nfcapd(const unsigned char* bytes, size_t size);

// The header from the first bytes of a file (size of them: fewer than its 40
// when the file is shorter). An empty text, or why the file cannot be read.
std::string parse_file_header(const unsigned char* bytes, size_t size, NfcapdFileHeader& out);

}  // namespace Vorn
