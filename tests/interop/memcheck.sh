#!/usr/bin/env bash
# valgrind over v5 and v9 replays: it flags uninitialised bytes handed to sendto, which ASan does not.
source "$(dirname "$0")/lib.sh"
make_mixed_file
for version in 5 9; do
    WRAP="valgrind --quiet --error-exitcode=3" capture 127.0.0.1 -u -f "$WORK/mixed.vorn" -c 70000 -v "$version"
    echo "ok: v$version replay, $(cat "$WORK/captured") datagrams, no error"
done
