#include "vorn/net/ip_address.h"

#include <arpa/inet.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "vorn/util/byte_order.h"

namespace Vorn {

namespace {

constexpr uint64_t low_63_bits = 0x7FFFFFFFFFFFFFFFULL;

bool has_colon(const std::string& text) { return text.find(':') != std::string::npos; }

IP_address v4(uint32_t value) {
    IP_address result;
    result.from_int(static_cast<int>(value));
    return result;
}

IP_address v6(uint64_t high, uint64_t low) {
    IP_address result;
    result.from_int(static_cast<long>(high), static_cast<long>(low));
    return result;
}

// 4 or 16 network-order bytes (as `from_string` and `from_raw` read them) to an address.
IP_address from_bytes(IP_address::Family family, const unsigned char* bytes) {
    if (family == IP_address::IPv6) return v6(load_be<uint64_t>(bytes), load_be<uint64_t>(bytes + 8));
    return v4(load_be<uint32_t>(bytes));
}

}  // namespace

// ---------------------------------------------------------------- members

unsigned char* IP_address::hton(unsigned char* out, Family f) const {
    if (f == IPv6)
        store_be128(out, high_, low_);
    else
        store_be<uint32_t>(out, to_int());
    return out;
}

std::string IP_address::to_string() const {
    unsigned char bytes[16];
    return IP_addressImpl::to_string(family_, hton(bytes, family_));
}

IP_address IP_address::from_string(const std::string& text) {
    const Family family = has_colon(text) ? IPv6 : IPv4;
    unsigned char bytes[16] = {};
    IP_addressImpl::from_string(family, text, bytes);
    return from_bytes(family, bytes);
}

IP_address IP_address::from_string_json(std::string text) {
    const Family family = has_colon(text) ? IPv6 : IPv4;
    unsigned char bytes[16] = {};
    if (inet_pton(family == IPv6 ? AF_INET6 : AF_INET, text.c_str(), bytes) != 1)
        std::memset(bytes, 0, sizeof bytes);  // unparsable: the zero address of the family
    return from_bytes(family, bytes);
}

IP_address IP_address::from_raw(Family family, const void* data, size_t size) {
    if (family == IPv6) {
        if (size < 16) throw IP_addressError("ip_from_raw: invalid IPv6 raw address size");
    } else if (size < 4) {
        throw IP_addressError("ip_from_raw: invalid IPv4 raw address size");
    }
    return from_bytes(family == IPv6 ? IPv6 : IPv4, static_cast<const unsigned char*>(data));
}

void IP_address::to_raw(void* out, size_t size) const {
    if (family_ == IPv4) {
        if (size < 4) throw IP_addressError("ip_to_raw: no space for IPv4 address");
    } else if (family_ != IPv6) {
        throw IP_addressError("ip_to_raw: address type is not valid");
    } else if (size < 16) {
        throw IP_addressError("ip_to_raw: no space for IPv6 address");
    }
    hton(static_cast<unsigned char*>(out), family_);
}

IP_address& IP_address::operator++() {
    if (family_ == IPv6) {
        if (++low_ == 0) ++high_;
    } else {
        high_ = static_cast<uint32_t>(to_int() + 1U);  // the family, even an invalid one, stays
    }
    return *this;
}

bool IP_address::operator==(const IP_address& other) const {
    if (family_ != other.family_) return false;
    if (family_ == IPv6) return high_ == other.high_ && low_ == other.low_;
    return to_int() == other.to_int();
}

bool IP_address::operator!=(const IP_address& other) const { return !(*this == other); }

bool IP_address::operator<(const IP_address& other) const {
    if (family_ == IPv6) {
        if (other.family_ == IPv4) return false;
        return high_ < other.high_ || (high_ == other.high_ && low_ < other.low_);
    }
    if (other.family_ == IPv6) return true;
    return to_int() < other.to_int();
}

bool IP_address::operator>(const IP_address& other) const {
    if (family_ == IPv6) {
        if (other.family_ == IPv4) return true;
        return high_ > other.high_ || (high_ == other.high_ && low_ > other.low_);
    }
    if (other.family_ == IPv6) return false;
    return to_int() > other.to_int();
}

bool IP_address::operator<=(const IP_address& other) const { return !(*this > other); }
bool IP_address::operator>=(const IP_address& other) const { return !(*this < other); }

IP_address IP_address::operator~() const {
    if (family_ == IPv6) return v6(~high_, ~low_);
    return v4(~to_int());
}

IP_address IP_address::operator&(const IP_address& other) const {
    if (family_ == IPv6) return v6(high_ & other.high_, low_ & other.low_);
    return v4(to_int() & other.to_int());
}

IP_address IP_address::operator|(const IP_address& other) const {
    if (family_ == IPv6) return v6(high_ | other.high_, low_ | other.low_);
    return v4(to_int() | other.to_int());
}

IP_address IP_address::operator^(const IP_address& other) const {
    if (family_ == IPv6) return v6(high_ ^ other.high_, low_ ^ other.low_);
    return v4(to_int() ^ other.to_int());
}

// The IPv6 word arithmetic below is kept exactly as the system has always done
// it, the signed carry test and the crosswise storing of the result included.
IP_address IP_address::operator+(const IP_address& other) const {
    if (family_ != IPv6) return v4(to_int() + other.to_int());
    uint64_t sum_high = high_ + other.high_;
    uint64_t sum_low = low_ + other.low_;
    const int64_t larger = std::max(static_cast<int64_t>(low_), static_cast<int64_t>(other.low_));
    if (static_cast<int64_t>(sum_low) < larger) {
        ++sum_high;
        sum_low = (low_ & low_63_bits) + (other.low_ & low_63_bits);
    }
    return v6(sum_low, sum_high);
}

IP_address IP_address::operator-(const IP_address& other) const {
    if (family_ != IPv6) return v4(to_int() - other.to_int());
    uint64_t diff_high = high_ - other.high_;
    uint64_t diff_low = low_ - other.low_;
    if (static_cast<int64_t>(low_) < static_cast<int64_t>(diff_low)) {
        --diff_high;
        diff_low = low_ + ~other.low_;
    }
    return v6(diff_low, diff_high);
}

// ---------------------------------------------------------------- text helpers

namespace IP_addressImpl {

std::string to_string(IP_address::Family family, const void* bytes) {
    char text[46] = {};
    const bool is_v6 = family == IP_address::IPv6;
    if (inet_ntop(is_v6 ? AF_INET6 : AF_INET, bytes, text, is_v6 ? 46 : 16) == nullptr) return std::string();
    return std::string(text);
}

void from_string(IP_address::Family family, const std::string& text, void* out) {
    if (inet_pton(family == IP_address::IPv6 ? AF_INET6 : AF_INET, text.c_str(), out) != 1)
        throw IPAddressStrError("Invalid address format");
}

}  // namespace IP_addressImpl

// ---------------------------------------------------------------- free functions

IP_address mask(IP_address::Family family, unsigned char prefix) {
    const bool is_v6 = family == IP_address::IPv6;
    const unsigned size = is_v6 ? 16 : 4;
    if (prefix > size * 8)
        throw IP_addressError(is_v6 ? "mask: invalid IPv6 prefix length" : "mask: invalid IPv4 prefix length");
    unsigned char bytes[16] = {};
    std::memset(bytes, 0xFF, prefix / 8);
    if (prefix % 8 != 0) bytes[prefix / 8] = static_cast<unsigned char>(0xFF00 >> (prefix % 8));
    return IP_address::from_raw(family, bytes, size);
}

uint32_t bits(const IP_address& address) {
    const size_t size = address.family() == IP_address::IPv6 ? 16 : 4;
    unsigned char bytes[16];
    address.to_raw(bytes, size);
    uint32_t count = 0;
    for (size_t i = 0; i < size; ++i) {
        if (bytes[i] == 0xFF) {
            count += 8;
            continue;
        }
        for (unsigned bit = 0x80; bit != 0 && (bytes[i] & bit) != 0; bit >>= 1) ++count;
        break;
    }
    return count;
}

IP_address mask_for_single_ip(const IP_address& address) {
    switch (address.family()) {
        case IP_address::IPv4:
            return v4(0xFFFFFFFFU);
        case IP_address::IPv6:
            return v6(~0ULL, ~0ULL);
    }
    throw IP_addressError("mask_for_single_ip: invalid address type");
}

IP_address make_any_ip(IP_address::Family family) {
    return family == IP_address::IPv6 ? v6(0, 0) : v4(0);
}

bool is_any_ip(const IP_address& address) { return address == make_any_ip(address.family()); }

uint64_t get_ip_id(const IP_address& address) {
    switch (address.family()) {
        case IP_address::IPv4:
            return address.to_int();  // zero-extended, unlike ip_to_db_low
        case IP_address::IPv6:
            return static_cast<uint64_t>(address.to_low());
    }
    return 0;
}

int64_t ip_to_db_low(const IP_address& address) {
    switch (address.family()) {
        case IP_address::IPv4:
            return static_cast<int32_t>(address.to_int());  // sign-extended
        case IP_address::IPv6:
            return address.to_low();
    }
    return 0;
}

int64_t ip_to_db_high(const IP_address& address) {
    return address.family() == IP_address::IPv6 ? address.to_high() : 0;
}

int ip_to_db_type(const IP_address& address) {
    switch (address.family()) {
        case IP_address::IPv4:
            return 0;
        case IP_address::IPv6:
            return 256;
    }
    return 512;
}

IP_address::Family ip_type_from_db(const std::string& text) {
    const long long value = std::strtoll(text.c_str(), nullptr, 10);
    switch ((value >> 8) & 3) {
        case 0:
            return IP_address::IPv4;
        case 1:
            return IP_address::IPv6;
    }
    return static_cast<IP_address::Family>(0);
}

IP_address ip_from_db(const std::string& low, const std::string& high, IP_address::Family family) {
    if (family == IP_address::IPv6) {
        // strtoll saturates out-of-range texts at the signed 64-bit limits.
        return v6(static_cast<uint64_t>(std::strtoll(high.c_str(), nullptr, 10)),
                  static_cast<uint64_t>(std::strtoll(low.c_str(), nullptr, 10)));
    }
    return v4(static_cast<uint32_t>(std::strtol(low.c_str(), nullptr, 10)));
}

}  // namespace Vorn
