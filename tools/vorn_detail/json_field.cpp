#include "tools/vorn_detail/json_field.h"

namespace Vorn {

using nlohmann::json;

std::string set_address(const json& value, IP_address& field) {
    if (!value.is_string()) return "must be a string";
    const auto& text = value.get_ref<const std::string&>();
    try {
        // inet_pton would stop at an embedded NUL and take the prefix.
        if (text.find('\0') == std::string::npos) {
            field = IP_address::from_string(text);
            return std::string();
        }
    } catch (const Exception&) {
    }
    return "is not an IP address: " + quoted(text);
}

std::string quoted(const std::string& text) { return json(text).dump(-1, ' ', false, json::error_handler_t::replace); }

}  // namespace Vorn
