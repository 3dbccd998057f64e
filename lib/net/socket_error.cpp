#include "net/socket_error.h"

#include "net/socket_impl.h"

#include <cerrno>
#include <cstring>

namespace Vorn {

namespace {

// strerror_r comes in two flavours; both overloads give the text to use.
[[maybe_unused]] const char* error_text(int result, const char* buffer) { return result == 0 ? buffer : "Unknown error"; }
[[maybe_unused]] const char* error_text(const char* result, const char*) { return result; }

}  // namespace

namespace SocketImpl {

std::string describe_error(const std::string& operation) {
    const int error = errno;  // read once, before anything can change it
    char buffer[256];
    const char* text = error_text(strerror_r(error, buffer, sizeof buffer), buffer);
    std::string result;
    result.reserve(8 + operation.size() + 2 + std::strlen(text));
    result.append(" failed ").append(operation).append(": ").append(text);
    return result;
}

std::string describe_errno(const char* operation) {
    const int error = errno;
    std::string name(operation);
    errno = error;
    return describe_error(name);
}

}  // namespace SocketImpl

}  // namespace Vorn
