#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "vorn/util/exception.h"

namespace Vorn {

class IP_addressError : public Exception {
public:
    explicit IP_addressError(const std::string& text) : Exception("IP_addressError: " + text) {}
};

class IPAddressStrError : public Exception {
public:
    explicit IPAddressStrError(const std::string& text) : Exception("IPAddressStrError: " + text) {}
};

// An IPv4 or IPv6 address as two host-order words. An IPv4 value lives in the
// lower 32 bits of the high word; nothing of IPv4 reads the rest.
class IP_address {
public:
    enum Family : int32_t { IPv4 = 4, IPv6 = 6 };

    IP_address() = default;  // IPv4 0.0.0.0

    // Inline: the detail-file reader sets several addresses per record.
    void from_int(int value) {
        family_ = IPv4;
        high_ = static_cast<uint32_t>(value);  // upper half zeroed for determinism
    }
    void from_int(long high, long low) {
        family_ = IPv6;
        high_ = static_cast<uint64_t>(high);
        low_ = static_cast<uint64_t>(low);
    }
    void set_v4_temp(int value) { from_int(value); }
    int get_v4_temp() const { return static_cast<int>(to_int()); }

    uint32_t to_int() const { return static_cast<uint32_t>(high_); }
    long to_high() const { return static_cast<long>(high_); }
    long to_low() const { return static_cast<long>(low_); }
    Family family() const { return family_; }

    // Network-order bytes in the form that f (not the own family) chooses.
    unsigned char* hton(unsigned char* out, Family f) const;

    std::string to_string() const;
    static IP_address from_string(const std::string& text);
    static IP_address from_string_json(std::string text);
    static IP_address from_raw(Family family, const void* data, size_t size);
    void to_raw(void* out, size_t size) const;

    IP_address& operator++();

    bool operator==(const IP_address& other) const;
    bool operator!=(const IP_address& other) const;
    bool operator<(const IP_address& other) const;
    bool operator>(const IP_address& other) const;
    bool operator<=(const IP_address& other) const;
    bool operator>=(const IP_address& other) const;

    IP_address operator~() const;
    IP_address operator&(const IP_address& other) const;
    IP_address operator|(const IP_address& other) const;
    IP_address operator^(const IP_address& other) const;
    IP_address operator+(const IP_address& other) const;
    IP_address operator-(const IP_address& other) const;

private:
    Family family_ = IPv4;
    uint64_t high_ = 0;
    uint64_t low_ = 0;
};

namespace IP_addressImpl {
std::string to_string(IP_address::Family family, const void* bytes);
void from_string(IP_address::Family family, const std::string& text, void* out);
}  // namespace IP_addressImpl

IP_address mask(IP_address::Family family, unsigned char prefix);
uint32_t bits(const IP_address& address);
IP_address mask_for_single_ip(const IP_address& address);
IP_address make_any_ip(IP_address::Family family);
bool is_any_ip(const IP_address& address);
uint64_t get_ip_id(const IP_address& address);
int64_t ip_to_db_low(const IP_address& address);
int64_t ip_to_db_high(const IP_address& address);
int ip_to_db_type(const IP_address& address);
IP_address::Family ip_type_from_db(const std::string& text);
IP_address ip_from_db(const std::string& low, const std::string& high, IP_address::Family family);

}  // namespace Vorn
