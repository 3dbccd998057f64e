#pragma once

#include <cstddef>
#include <cstdint>

namespace Strell {

class RawData;

// One field value as raw bytes, least significant byte first. Values of up
// to 16 bytes (every NetFlow field we make) stay inline, so that a record's
// field list costs no allocation per field.
class DataField {
public:
    DataField(const void* bytes, size_t length);
    DataField(const DataField& other);
    DataField(DataField&& other) noexcept;
    DataField& operator=(const DataField& other);
    DataField& operator=(DataField&& other) noexcept;
    ~DataField();

    size_t length() const { return length_; }
    const unsigned char* get_data(size_t& n) const {
        n = length_;
        return bytes();
    }
    // Appends the bytes reversed as one unit, i.e. in network order.
    void serialize(RawData& out) const;

private:
    static constexpr size_t inline_capacity = 16;

    void assign(const void* bytes, size_t length);
    void release();
    const unsigned char* bytes() const { return heap_ != nullptr ? heap_ : inline_; }

    size_t length_ = 0;
    unsigned char* heap_ = nullptr;
    unsigned char inline_[inline_capacity] = {};
};

}  // namespace Strell
