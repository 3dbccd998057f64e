#pragma once

#include <cstddef>

#include "generator/netflow/export_constants.h"
#include "generator/netflow/wire_writer.h"
#include "vorn/util/byte_order.h"

namespace Strell {

// Fixed 1500-byte output buffer every datagram is serialised into. The bytes
// live inside the object, so a fresh buffer per datagram costs no allocation.
// Writes do not check the space left: callers keep a datagram within 1500 bytes.
class RawData {
public:
    static constexpr size_t capacity = max_datagram_length;

    RawData() = default;
    RawData(const RawData&) = delete;
    RawData& operator=(const RawData&) = delete;

    // n little-endian bytes from src to dst in reverse order, as network
    // order wants them.
    static unsigned char* hton(const unsigned char* src, size_t n, unsigned char* dst) {
        Vorn::le_to_be(src, n, dst);
        return dst;
    }

    template <typename T>
    void write(const T& value) {
        out_.write(value);
    }
    // Several values in a row: one cursor update for all of them.
    template <typename... T>
    void write_all(const T&... values) {
        out_.write(values...);
    }
    // Reverses the n bytes as one unit (see WireWriter::write_reversed).
    void write(const unsigned char* bytes, size_t n) { out_.write_reversed(bytes, n); }
    // Bytes that are in network order already, copied as they are.
    void append(const unsigned char* bytes, size_t n) { out_.append(bytes, n); }
    void padding(int n) { out_.padding(static_cast<size_t>(n)); }

    const unsigned char* data() const { return data_; }
    size_t size() const { return static_cast<size_t>(out_.position() - data_); }

private:
    unsigned char data_[capacity];
    WireWriter out_{data_};
};

}  // namespace Strell
