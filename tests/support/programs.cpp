#include "programs.h"

#include <sys/wait.h>

#include <cstdlib>
#include <future>

#include "temp_dir.h"

namespace StrellTest {

ProgramRun run_program(const std::string& path, const Args& args, UdpReceiver* receiver, const std::string& input) {
    const TempDir dir;
    const auto quoted = [](const std::string& text) {
        std::string out = "'";
        for (char c : text) out += c == '\'' ? std::string("'\\''") : std::string(1, c);
        return out + "'";
    };
    // exec: the status is the program's own, an ending signal included.
    std::string command = "exec timeout -s KILL 60 " + quoted(path);
    for (const std::string& arg : args) command += " " + quoted(arg);
    command += " <" + quoted(dir.write("in", input)) + " >" + quoted(dir.file("out")) + " 2>" + quoted(dir.file("err"));
    auto finished = std::async(std::launch::async, [&command] { return std::system(command.c_str()); });
    ProgramRun run;
    const auto take = [&] {
        for (Datagram& datagram : receiver ? receiver->collect(std::chrono::milliseconds(0)) : std::vector<Datagram>())
            run.datagrams.push_back(std::move(datagram));
    };
    while (finished.wait_for(std::chrono::milliseconds(2)) != std::future_status::ready) take();
    take();  // loopback delivery is done when sendto returns: everything is queued by now
    const int status = finished.get();
    std::tie(run.status, run.signal) = std::make_pair(WIFEXITED(status) ? WEXITSTATUS(status) : -1, WIFSIGNALED(status) ? WTERMSIG(status) : 0);
    std::tie(run.out, run.err) = std::make_pair(read_file(dir.file("out")), read_file(dir.file("err")));
    return run;
}

}  // namespace StrellTest
