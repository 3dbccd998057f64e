#include "generator/netflow/data_field.h"

#include <cstring>
#include <utility>

#include "generator/netflow/raw_data.h"

namespace Strell {

DataField::DataField(const void* bytes, size_t length) { assign(bytes, length); }

DataField::DataField(const DataField& other) { assign(other.bytes(), other.length_); }

DataField::DataField(DataField&& other) noexcept
    : length_(other.length_), heap_(std::exchange(other.heap_, nullptr)) {
    std::memcpy(inline_, other.inline_, inline_capacity);
    other.length_ = 0;
}

DataField& DataField::operator=(const DataField& other) {
    if (this != &other) {
        DataField copy(other);
        *this = std::move(copy);
    }
    return *this;
}

DataField& DataField::operator=(DataField&& other) noexcept {
    if (this != &other) {
        release();
        length_ = std::exchange(other.length_, 0);
        heap_ = std::exchange(other.heap_, nullptr);
        std::memcpy(inline_, other.inline_, inline_capacity);
    }
    return *this;
}

DataField::~DataField() { release(); }

void DataField::serialize(RawData& out) const { out.write(bytes(), length_); }

void DataField::assign(const void* bytes, size_t length) {
    length_ = length;
    unsigned char* target = inline_;
    if (length > inline_capacity) {
        heap_ = new unsigned char[length];
        target = heap_;
    }
    if (length != 0) {
        std::memcpy(target, bytes, length);
    }
}

void DataField::release() {
    delete[] heap_;
    heap_ = nullptr;
    length_ = 0;
}

}  // namespace Strell
