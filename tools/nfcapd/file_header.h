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

// Whether input that starts with this byte is read as an nfcapd file: the
// first byte of its magic in either byte order, which no JSON text starts
// with. How such a file is told from nfdump's JSON.
bool starts_as_nfcapd(unsigned char first);

// The header from the first bytes of a file (size of them: fewer than its 40
// when the file is shorter). An empty text, or why the file cannot be read.
std::string parse_file_header(const unsigned char* bytes, size_t size, NfcapdFileHeader& out);

}  // namespace Vorn
