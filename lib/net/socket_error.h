#pragma once

#include <string>

#include "util/exception.h"

namespace Vorn {

class SocketError : public Exception {
public:
    explicit SocketError(const std::string& text) : Exception("SocketError: " + text) {}
};

}  // namespace Vorn
