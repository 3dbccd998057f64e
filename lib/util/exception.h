#pragma once

#include <exception>
#include <string>

namespace Vorn {

// Base of every error class of the system. Subclasses prefix their own class
// name, so what() reads "SocketError: ..." without the catcher knowing the type.
class Exception : public std::exception {
public:
    explicit Exception(std::string message) : message_(std::move(message)) {}
    const char* what() const noexcept override { return message_.c_str(); }

private:
    std::string message_;
};

}  // namespace Vorn
