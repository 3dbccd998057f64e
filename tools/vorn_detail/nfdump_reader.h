#pragma once

#include <functional>
#include <istream>
#include <string>

#include <nlohmann/json.hpp>

namespace Vorn {

// Reads what 'nfdump -o json' prints, one JSON array of flow objects, one
// object at a time, so that memory does not grow with the input. Members
// whose values are arrays or objects are kept as empty ones: nfdump prints
// none, and the mapping refuses them where it needs a value. A member named
// twice in an object, and anything but white space after the array, are
// refused.
class NfdumpReader {
public:
    // Called for each object with its ordinal (from 1); returns an empty
    // text to go on, or what is wrong with the object to stop.
    using Visit = std::function<std::string(const nlohmann::json& object, unsigned long ordinal)>;

    // False on bad input; problem() says why, naming the object. One input
    // per reader.
    bool read(std::istream& in, const Visit& visit);

    const std::string& problem() const { return problem_; }
    unsigned long objects() const { return ordinal_; }

private:
    class Handler;
    std::string problem_;
    unsigned long ordinal_ = 0;
};

}  // namespace Vorn
