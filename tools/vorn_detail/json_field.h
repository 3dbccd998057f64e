#pragma once

#include <cstdint>
#include <limits>
#include <string>

#include <nlohmann/json.hpp>

#include "vorn/net/ip_address.h"

namespace Vorn {

// Setters of one record field from a JSON value, shared by the readers of
// JSON lines and of nfdump's output. Each returns an empty text, or what is
// wrong with the value, to follow the name of its key.

template <typename T>
std::string set_unsigned(const nlohmann::json& value, T& field) {
    if (!value.is_number_unsigned()) return "must be an unsigned integer";
    const auto number = value.get<uint64_t>();
    if (number > std::numeric_limits<T>::max())
        return "must be at most " + std::to_string(static_cast<uint64_t>(std::numeric_limits<T>::max()));
    field = static_cast<T>(number);
    return std::string();
}

std::string set_address(const nlohmann::json& value, IP_address& field);

// A key or a text as JSON writes it, invalid UTF-8 replaced.
std::string quoted(const std::string& text);

}  // namespace Vorn
