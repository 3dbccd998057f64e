#!/usr/bin/env bash
# Seeds of nfcapd_reader_fuzzer: a small detail file replayed into nfcapd as
# v9 with each compression and as v5, a file of a few kilobytes each.
# Arguments: strell, the detail file, the directory for the seeds.
source "$(dirname "$0")/../interop/lib.sh" "$1" "" ""
mkdir -p "$3"
for entry in "v9 9" "v9-lzo 9 -z" "v9-bz2 9 -j" "v9-lz4 9 -y" "v5 5"; do
    read -r name version option <<<"$entry"
    start_nfcapd 4194304 $option
    "$STRELL" -u -f "$2" -v "$version" -p "$NFCAPD_PORT" -t 100 >/dev/null
    stop_nfcapd
    mv "$WORK"/flows/nfcapd.2* "$3/$name"
done
