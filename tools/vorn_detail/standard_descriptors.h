#pragma once

namespace Vorn {

// Puts "/dev/null" on each of the descriptors 0, 1 and 2 that the program was
// started without, so that no file it opens later takes that number and is
// then read or written as standard input or output. Each is opened the wrong
// way round (0 for writing, 1 and 2 for reading), so that using it still fails
// as on a closed descriptor. True when standard input was closed.
bool occupy_closed_standard_descriptors();

}  // namespace Vorn
