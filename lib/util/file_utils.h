#pragma once

#include <string>
#include <vector>

namespace Vorn {
namespace Utils {

// Names of the entries of a directory, without "." and ".."; empty when it
// cannot be read.
std::vector<std::string> list_files(const std::string& dir);

}  // namespace Utils
}  // namespace Vorn
