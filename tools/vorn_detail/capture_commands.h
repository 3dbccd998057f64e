#pragma once

#include <iosfwd>
#include <string>
#include <vector>

namespace Vorn {

// The options and inputs of 'vorn-detail import' and 'vorn-detail compare';
// args follow the command's name. No capture, or "-", is in. Both
// return the exit status, or throw a Failure.
int import_command(const std::vector<std::string>& args, std::istream& in, std::ostream& err);
int compare_command(const std::vector<std::string>& args, std::istream& in, std::ostream& out, std::ostream& err);

}  // namespace Vorn
