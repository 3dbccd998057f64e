#pragma once

#include <string>

namespace Vorn {

class Logger {
public:
    // A lower number is more severe; an output prints levels up to its own.
    enum Level {
        Emergency = 0,
        Alert = 1,
        Critical = 2,
        Error = 3,
        Warning = 4,
        Notice = 5,
        Info = 6,
        Debug = 7,
        Trace = 8,
    };

    // One line in flight from a producer to the appenders.
    struct Message {
        int level = 0;
        std::string header;  // local time stamp, "%b %d %T "
        std::string text;    // level name, thread, facility, text and "\n"
    };

    virtual void write(Level level, const std::string& facility, const std::string& text) = 0;
    virtual ~Logger() = default;

    // The seven-character name of a level as it appears in every line.
    static const char* level_name(int level);
    // The header of a line written now: the local time as "%b %d %T ".
    static std::string time_stamp();
};

}  // namespace Vorn
