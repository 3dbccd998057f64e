#pragma once

#include <string>

#include "vorn/util/exception.h"

namespace Vorn {

class SocketError : public Exception {
public:
    explicit SocketError(const std::string& text) : Exception("SocketError: " + text) {}
};

}  // namespace Vorn
