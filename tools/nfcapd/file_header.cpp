#include "tools/nfcapd/file_header.h"

#include "vorn/util/byte_order.h"

namespace Vorn {

namespace {

constexpr unsigned char magic[2] = {0x0C, 0xA5};  // 0xA50C, little-endian

}  // namespace

bool starts_as_nfcapd(unsigned char first) { return first == magic[0] || first == magic[1]; }

std::string parse_file_header(const unsigned char* bytes, size_t size, NfcapdFileHeader& out) {
    const bool magic_read = size >= 2 && ((bytes[0] == magic[0] && bytes[1] == magic[1]) ||
                                          (bytes[0] == magic[1] && bytes[1] == magic[0]));
    if (!magic_read) return "not an nfcapd file";
    if (bytes[0] != magic[0]) return "an nfcapd file written on a big-endian host; only little-endian files are read";
    if (size < NfcapdFileHeader::size)
        return "truncated header: " + std::to_string(size) + " of " + std::to_string(NfcapdFileHeader::size) + " bytes";
    const uint16_t layout = load_le<uint16_t>(bytes + 2);
    if (layout == 1) return "an nfcapd file of layout 1 (nfdump 1.6 and older); only layout 2 (nfdump 1.7) is read";
    if (layout != 2) return "an nfcapd file of unknown layout " + std::to_string(layout);
    const unsigned compression = bytes[16];
    if (compression > static_cast<unsigned>(Compression::Lz4))
        return "unknown compression " + std::to_string(compression) + " (0 to 3: none, LZO, BZ2, LZ4)";
    if (bytes[17] != 0) return "an encrypted nfcapd file";
    out.compression = static_cast<Compression>(compression);
    out.appendix_blocks = load_le<uint16_t>(bytes + 18);
    out.appendix_offset = load_le<uint64_t>(bytes + 24);
    out.blocks = load_le<uint32_t>(bytes + 36);
    return std::string();
}

}  // namespace Vorn
