#pragma once

namespace Vorn {

class Logger;

// Points both front ends, LogFacility and LogStream, at logger (the
// process-wide one, or a stand-in of a program's or a test's own), or at
// none with nullptr, which makes them discard every line. Returns once no
// write through either still uses the logger they pointed at before, which
// may then be deleted.
void attach_logger(Logger* logger);

}  // namespace Vorn
