// The built vorn-detail against what may stand at its output paths and
// signals: nothing there is destroyed and nothing is left behind (bad inputs:
// vorn_detail_test.cpp).
#include <gtest/gtest.h>

#include <regex>

#include "detail_lines.h"

using namespace StrellTest;

TEST(VornDetailOutput, KeepsWhatStandsAtItsPathsAndLeavesNoTemporaryFileOnFailureOrSignal) {
    // Each script runs in a fresh directory (one below the temporary one, so that a wrong "../" stays inside)
    // with vorn-detail as $0; `w` writes two records.
    const char* prelude = R"(cd "$1" && mkdir top && cd top && vd=$0 && printf '%s\n%s\n' "$2" "$2" >lines && w() { "$vd" write --format new "$@" <lines; } && w ref; )";
    const struct { const char* script; std::string out, err; } cases[] = {
        // Links stay links, relative ones read from their own folder, and the end of the chain, even one not
        // there yet, gets the file with the mode it had (or the umask gives).
        {"mkdir sub; echo old >x; chmod 604 x; ln -s ../x sub/up; ln -s sub/up chain; ln -s ../later sub/dangling;"
         "ln -s \"$PWD/far\" sub/absolute; umask 027; w chain; w sub/dangling; w sub/absolute; test -L chain && test -L sub/up &&"
         "test -L sub/dangling && test -L sub/absolute && cmp x ref && cmp later ref && cmp far ref && stat -c %a x later && ls -A sub",
         "604\n640\nabsolute\ndangling\nup\n", ""},
        // The kernel's limit: 40 links are followed, a 41st is refused.
        {"i=0; while [ $i -lt 40 ]; do ln -s l$((i + 1)) l$i; i=$((i + 1)); done; w l0; echo $?; ln -s l0 l; w l; echo $?; cmp l40 ref",
         "0\n1\n", "vorn-detail: cannot write l: Too many levels of symbolic links\n"},
        // A FIFO stays one and is written as a stream, as is standard output ("-"), whatever it is.
        {"mkfifo fifo; cat fifo >got & w fifo; wait; w - >dash; w - >&-; echo $?; test -p fifo && cmp got ref && cmp dash ref && echo kept",
         "1\nkept\n", "vorn-detail: cannot write standard output: Bad file descriptor\n"},
        // Nothing is written where no file can be; a link into a missing folder stays as it was.
        {"mkdir dir; w dir; echo $?; w ref/x; echo $?; ln -s none/x lost; w lost 2>&1 | sed 's/tmp[.][^:]*/tmp.?/'; test -L lost && ls -A",
         "1\n1\nvorn-detail: cannot create none/x.tmp.?: No such file or directory\ndir\nlines\nlost\nref\n",
         "vorn-detail: cannot write dir: a directory (only a regular file, a FIFO, a character device or '-' is written)\n"
         "vorn-detail: cannot write ref/x: Not a directory\n"},
        // A directory made at the path during the write keeps it, and the temporary file goes.
        {"mkfifo in; \"$vd\" write --format new out <in & exec 3>in; head -1 lines >&3;"
         "for i in $(seq 200); do ls -A | grep -q tmp && break; sleep 0.05; done; mkdir out; exec 3>&-; wait $!; echo $?; ls -A",
         "1\nin\nlines\nout\nref\n", "vorn-detail: cannot write out: Is a directory\n"},
        // The devices of /dev/null and /dev/full (which fails the final flush, or a write past the buffer, where the
        // input stops being read; and a compare's short report) and one without a driver.
        {"mknod null c 1 3 && mknod full c 1 7 && mknod none c 0 0 || exit 77; w null; echo $?; w full; echo $?;"
         "{ yes \"$(head -1 lines)\" | head -300; echo bad; } | \"$vd\" write --format new full; echo $?; w none; echo $?;"
         "echo [] | \"$vd\" compare --sent-as v9 ref - >full; echo $?; test -c null && test -c full && echo kept",
         "0\n1\n1\n1\n1\nkept\n", "vorn-detail: cannot write full: No space left on device\nvorn-detail: cannot write full: No space left on device\n"
         "vorn-detail: cannot write none: No such device or address\nvorn-detail: cannot write standard output\n"},
        // A signal during a write removes the temporary file and ends the program as the signal would;
        // one the caller ignores (nohup) stays ignored, and the input's end then commits the file.
        {"mkfifo in; for c in default:INT default:TERM default:HUP ignore:HUP; do s=${c#*:};"
         "env --${c%:*}-signal=$s \"$vd\" write --format new out <in & exec 3>in; head -1 lines >&3;"
         "for i in $(seq 200); do ls -A | grep -q tmp && break; sleep 0.05; done; t=$(ls -A | grep -c tmp);"
         "kill -$s $!; exec 3>&-; wait $!; echo \"$s $t $? $(ls -A | grep -c tmp) $(ls -A | grep -c '^out$')\"; done",
         "INT 1 130 0 0\nTERM 1 143 0 0\nHUP 1 129 0 0\nHUP 1 0 0 1\n", ""},
    };
    for (const auto& c : cases) {
        TempDir dir;
        const ProgramRun run = run_program("/bin/sh", {"-c", prelude + std::string(c.script), VORN_DETAIL_BINARY, dir.path, flow_json({})}, nullptr, "");
        if (run.status == 77) continue;  // mknod not permitted here
        EXPECT_EQ(run.out, c.out) << c.script;
        // The program's own messages only: the summaries of the writes that succeed left out.
        EXPECT_EQ(std::regex_replace(run.err, std::regex("^(?!vorn-detail: ).*\n", std::regex::multiline), ""), c.err) << c.script;
    }
}
