#pragma once

#include <sys/types.h>

#include <cstdio>
#include <string>
#include <vector>

namespace Vorn {

// Where a command of vorn-detail writes a file, chosen so that nothing that
// stands at the output path is destroyed:
//  - "-" is standard output, written as a stream;
//  - a symbolic link is followed, and its final target is what gets written
//    (a dangling link gets its target created);
//  - a FIFO or a character device is opened and written as a stream, so what
//    went out before a failure stays out;
//  - a regular file, or a name not taken yet, is written under a temporary
//    name in the same directory and renamed over the target by commit(): until
//    then the target is as it was. SIGINT, SIGTERM and SIGHUP remove the
//    temporary file and then end the process as the signal would;
//  - anything else (directory, block device, socket) is refused.
// One OutputFile at a time may hold a temporary file.
class OutputFile {
public:
    explicit OutputFile(const std::string& path);
    // Removes an uncommitted temporary file.
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    // False when nothing can be written; error() says why.
    bool open() const { return file_ != nullptr; }
    bool write(const std::vector<unsigned char>& bytes);
    // Flushes and closes; a temporary file then takes the target's place.
    bool commit();
    // "cannot ...: reason", for a message after the program's name.
    const std::string& error() const { return error_; }

private:
    void open_temporary(mode_t mode);
    void open_stream();
    void fail(const std::string& what, int error_number);

    std::string path_;    // as given
    std::string name_;    // for messages
    std::string target_;  // the links resolved
    std::string temp_;    // empty unless writing under a temporary name
    FILE* file_ = nullptr;
    std::string error_;
};

}  // namespace Vorn
