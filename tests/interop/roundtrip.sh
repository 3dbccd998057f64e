#!/usr/bin/env bash
# Real captures both ways. The mixed IPv4/IPv6 detail file is replayed as v9
# into nfcapd (archive.sh compares such captures with the file); the capture,
# imported from nfdump's JSON, replays into a second nfcapd that stores the
# same flows, field for field.
source "$(dirname "$0")/lib.sh"
make_mixed_file
COUNT=10000

store() {  # name, detail file
    start_nfcapd
    "$STRELL" -u -f "$2" -v 9 -p "$NFCAPD_PORT" -c 70000 -t 40 >/dev/null
    stop_nfcapd
    nfdump -R "$WORK/flows" -o json >"$WORK/$1.json"
    # nfdump's view, one line per flow, sorted; the time nfcapd received it left out.
    awk '/^\{/ { line = ""; next } /^\}/ { print line; next } !/"received"/ { gsub(/^[ \t]+|,$/, ""); line = line $0 "|" }' "$WORK/$1.json" | sort >"$WORK/$1.txt"
}

store first "$WORK/mixed.vorn"
"$VORN_DETAIL" import --format new "$WORK/imported.vorn" - <"$WORK/first.json"
store second "$WORK/imported.vorn"
expect_eq "flows in the second capture" $COUNT "$(wc -l <"$WORK/second.txt")"
diff "$WORK/first.txt" "$WORK/second.txt" >"$WORK/diff.txt" || fail "captures differ: $(head -4 "$WORK/diff.txt")"

