#include "tools/vorn_detail/standard_descriptors.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace Vorn {

namespace {

bool occupy_if_closed(int descriptor, int flags) {
    if (fcntl(descriptor, F_GETFD) != -1 || errno != EBADF) return false;
    // open takes the lowest free number, which is this one when the lower
    // ones are open; dup2 covers the rest.
    const int opened = open("/dev/null", flags);
    if (opened >= 0 && opened != descriptor) {
        dup2(opened, descriptor);
        close(opened);
    }
    return true;
}

}  // namespace

bool occupy_closed_standard_descriptors() {
    const bool input_closed = occupy_if_closed(STDIN_FILENO, O_WRONLY);
    occupy_if_closed(STDOUT_FILENO, O_RDONLY);
    occupy_if_closed(STDERR_FILENO, O_RDONLY);
    return input_closed;
}

}  // namespace Vorn
