#pragma once

#include <string>
#include <vector>

namespace Vorn {

// The capture files of a directory, as 'nfdump -R' reads one: the files
// named nfcapd.* in it and in its subdirectories, but not nfcapd.current.*,
// which nfcapd is still writing; in the order of their paths, which for
// nfcapd's names (nfcapd.YYYYMMDDhhmm, in subdirectories by date) is the
// order of time. An empty text, or what is wrong: a directory that cannot be
// read, or one without capture files.
std::string capture_files(const std::string& directory, std::vector<std::string>& files);

}  // namespace Vorn
