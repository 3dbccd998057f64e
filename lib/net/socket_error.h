#pragma once

#include <string>

#include "util/exception.h"

namespace Vorn {

class SocketError : public Exception {
public:
    explicit SocketError(const std::string& text) : Exception("SocketError: " + text) {}
};

namespace SocketImpl {
// " failed <operation>: <strerror(errno)>"; the leading blank is kept on purpose,
// so what() shows two blanks after the colon.
std::string describe_error(const std::string& operation);
}  // namespace SocketImpl

}  // namespace Vorn
