#pragma once

#include <cstddef>
#include <cstdint>

namespace Vorn {

// How the blocks of an nfcapd file are compressed, as its header names it:
// every block on its own, in the same way.
enum class Compression : uint8_t { None = 0, Lzo = 1, Bz2 = 2, Lz4 = 3 };

const char* compression_name(Compression method);

// The largest block payload nfdump reads, as stored and decompressed.
constexpr size_t max_block_size = 5 * 1024 * 1024;

// The size bytes of a compressed payload at in, decompressed into out
// (capacity bytes): the length, or 0 when they do not decompress or do not
// fit.
size_t decompress_block(Compression method, const unsigned char* in, size_t size, unsigned char* out, size_t capacity);

}  // namespace Vorn
