#include "tools/nfcapd/block_decompression.h"

#include <bzlib.h>
#include <lz4.h>
#include <lzo/lzo1x.h>

#include <climits>

namespace Vorn {

namespace {

// LZO: raw LZO1X-1 output, without header or length.
size_t lzo(const unsigned char* in, size_t size, unsigned char* out, size_t capacity) {
    static const bool ready = lzo_init() == LZO_E_OK;
    lzo_uint length = capacity;
    if (!ready || lzo1x_decompress_safe(in, size, out, &length, nullptr) != LZO_E_OK) return 0;
    return length;
}

// BZ2: one whole bzip2 stream.
size_t bz2(const unsigned char* in, size_t size, unsigned char* out, size_t capacity) {
    if (size > UINT_MAX || capacity > UINT_MAX) return 0;
    auto length = static_cast<unsigned int>(capacity);
    const int status = BZ2_bzBuffToBuffDecompress(reinterpret_cast<char*>(out), &length,
                                                  const_cast<char*>(reinterpret_cast<const char*>(in)),
                                                  static_cast<unsigned int>(size), 0, 0);
    return status == BZ_OK ? length : 0;
}

// LZ4: a raw LZ4 block, not the frame format.
size_t lz4(const unsigned char* in, size_t size, unsigned char* out, size_t capacity) {
    if (size > INT_MAX || capacity > INT_MAX) return 0;
    const int length = LZ4_decompress_safe(reinterpret_cast<const char*>(in), reinterpret_cast<char*>(out),
                                           static_cast<int>(size), static_cast<int>(capacity));
    return length > 0 ? static_cast<size_t>(length) : 0;
}

}  // namespace

const char* compression_name(Compression method) {
    switch (method) {
        case Compression::None: return "none";
        case Compression::Lzo: return "LZO";
        case Compression::Bz2: return "BZ2";
        case Compression::Lz4: return "LZ4";
    }
    return "unknown";
}

size_t decompress_block(Compression method, const unsigned char* in, size_t size, unsigned char* out, size_t capacity) {
    switch (method) {
        case Compression::Lzo: return lzo(in, size, out, capacity);
        case Compression::Bz2: return bz2(in, size, out, capacity);
        case Compression::Lz4: return lz4(in, size, out, capacity);
        case Compression::None: break;
    }
    return 0;
}

}  // namespace Vorn
