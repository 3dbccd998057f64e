#!/usr/bin/env bash
# A synthetic run under valgrind's memcheck leaks nothing definite or indirect.
source "$(dirname "$0")/lib.sh"
STRELL=$1
CAPTURE=$2
shift 2

start_capture "$CAPTURE" 127.0.0.1
valgrind --quiet --leak-check=full --errors-for-leak-kinds=definite,indirect --error-exitcode=3 \
    "$STRELL" -p "$CAPTURE_PORT" "$@" >"$WORK/strell.out" 2>"$WORK/valgrind.txt" || {
    cat "$WORK/valgrind.txt" >&2
    fail "memcheck reported errors or leaks (status $?)"
}
wait_capture
cat "$WORK/strell.out"
grep -E "definitely lost|indirectly lost" "$WORK/valgrind.txt" && fail "leak reported"
echo "ok: no definite or indirect leak, $(cat "$WORK/captured") datagrams sent"
