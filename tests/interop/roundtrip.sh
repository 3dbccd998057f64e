#!/usr/bin/env bash
# Real captures both ways. The mixed IPv4/IPv6 detail file is replayed as v9
# into nfcapd (archive.sh compares such captures with the file); the capture,
# imported from nfdump's JSON, replays into a second nfcapd that stores the
# same flows, field for field. An unpaced replay into an nfcapd with a small
# buffer loses flows, and compare counts as many missing as nfcapd did not get.
source "$(dirname "$0")/lib.sh"
make_mixed_file
COUNT=10000

store() {  # name, detail file, nfcapd buffer, strell options...
    start_nfcapd "$3"
    [ "$1" == lossy ] && kill -STOP "$NFCAPD_PID"  # the kernel drops what its buffer cannot hold
    "$STRELL" -u -f "$2" -v 9 -p "$NFCAPD_PORT" -c 70000 "${@:4}" >/dev/null
    [ "$1" == lossy ] && kill -CONT "$NFCAPD_PID"
    stop_nfcapd && cp "$WORK/nfcapd.log" "$WORK/$1.log"
    nfdump -R "$WORK/flows" -o json >"$WORK/$1.json"
    # nfdump's view, one line per flow, sorted; the time nfcapd received it left out.
    awk '/^\{/ { line = ""; next } /^\}/ { print line; next } !/"received"/ { gsub(/^[ \t]+|,$/, ""); line = line $0 "|" }' "$WORK/$1.json" | sort >"$WORK/$1.txt"
}
compare() { "$VORN_DETAIL" compare --sent-as v9 "$WORK/mixed.vorn" "$WORK/$1.json" >"$WORK/$1.out" && echo 0 || echo $?; }

store first "$WORK/mixed.vorn" 4194304 -t 40
"$VORN_DETAIL" import --format new "$WORK/imported.vorn" - <"$WORK/first.json"
store second "$WORK/imported.vorn" 4194304 -t 40
expect_eq "flows in the second capture" $COUNT "$(wc -l <"$WORK/second.txt")"
diff "$WORK/first.txt" "$WORK/second.txt" >"$WORK/diff.txt" || fail "captures differ: $(head -4 "$WORK/diff.txt")"

store lossy "$WORK/mixed.vorn" 16384
stored=$(sed -n "s/^Ident: 'none' Flows: \([0-9]*\),.*/\1/p" "$WORK/lossy.log")
[ -n "$stored" ] && [ "$stored" -lt $COUNT ] || fail "nfcapd should have lost flows: $(cat "$WORK/lossy.log")"
expect_eq "compare status on loss" 3 "$(compare lossy)"
expect_eq "missing lines" $((COUNT - stored)) "$(grep -c '^missing ' "$WORK/lossy.out")"
expect_eq "summary" "not equal: $COUNT sent, $stored stored; $stored equal, $((COUNT - stored)) missing, 0 extra, 0 differing" \
    "$(tail -1 "$WORK/lossy.out")"
