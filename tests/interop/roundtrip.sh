#!/usr/bin/env bash
# Real captures both ways. A mixed IPv4/IPv6 detail file is replayed as v9
# into nfcapd; vorn-detail compare finds nfdump's view of it equal to the
# file; the capture, imported, replays into a second nfcapd that stores the
# same flows, field for field. An unpaced replay into an nfcapd with a small
# buffer loses flows, and compare counts as many missing as nfcapd did not get.
source "$(dirname "$0")/lib.sh"
COUNT=6000

# Every third flow IPv6; each field spread over its range, 32-bit AS numbers.
# No ICMP: nfcapd keeps no ports for it from v9.
awk -v n=$COUNT 'BEGIN {
    for (i = 0; i < n; i++) {
        if (i % 3 == 2) { s = sprintf("2001:db8:%x::%x", i % 7, i + 1); d = "2001:db8:ffff::53"; nh = (i % 2) ? "fe80::1" : "::" }
        else { s = sprintf("10.%d.%d.%d", int(i / 65536), int(i / 256) % 256, i % 256); d = "192.0.2." (i % 250 + 1); nh = (i % 2) ? "10.0.0.254" : "0.0.0.0" }
        printf "{\"account_id\":0,\"d_addr\":\"%s\",\"d_oct\":%.0f,\"d_pkt\":%d,\"dport\":%d,\"dst_as\":%.0f,", d, (i * 715827) % 4294967296, 1 + i * 7, (i * 37) % 65536, 4200000000 - i
        printf "\"dst_mask\":0,\"iface\":%d,\"ip\":\"0.0.0.0\",\"nexthop_addr\":\"%s\",\"oface\":%d,\"proto\":%d,", i, nh, 65535 - i, (i % 2) ? 17 : 6
        printf "\"router_ip_netflow_from\":\"0.0.0.0\",\"s_addr\":\"%s\",\"slink_id\":0,\"sport\":%d,\"src_as\":%.0f,", s, 1024 + i, 64496 + i * 1000
        printf "\"src_mask\":0,\"tclass\":0,\"tcp_flags\":%d,\"timestamp\":0,\"tos\":%d,\"ts_first\":0,\"ts_last\":0}\n", (i * 13) % 256, i % 256
    }
}' | "$VORN_DETAIL" write --format new "$WORK/sent.vorn"

store() {  # name, detail file, nfcapd buffer, strell options...
    start_nfcapd "$3"
    [ "$1" == lossy ] && kill -STOP "$NFCAPD_PID"  # the kernel drops what its buffer cannot hold
    "$STRELL" -u -f "$2" -v 9 -p "$NFCAPD_PORT" -c 70000 "${@:4}" >/dev/null
    [ "$1" == lossy ] && kill -CONT "$NFCAPD_PID"
    stop_nfcapd
    cp "$WORK/nfcapd.log" "$WORK/$1.log"
    nfdump -R "$WORK/flows" -o json >"$WORK/$1.json"
}
# nfdump's view, one line per flow, sorted; the time nfcapd received it left out.
view() {
    awk '/^\{/ { line = ""; next } /^\}/ { print line; next } !/"received"/ { gsub(/^[ \t]+|,$/, ""); line = line $0 "|" }' "$1" | sort
}

store first "$WORK/sent.vorn" 4194304 -t 40
expect_eq "compare, first capture" "equal: $COUNT flows" "$("$VORN_DETAIL" compare --sent-as v9 "$WORK/sent.vorn" "$WORK/first.json")"

"$VORN_DETAIL" import --format new "$WORK/imported.vorn" - <"$WORK/first.json"
store second "$WORK/imported.vorn" 4194304 -t 40
view "$WORK/first.json" >"$WORK/first.txt"
view "$WORK/second.json" >"$WORK/second.txt"
expect_eq "flows in the second capture" $COUNT "$(wc -l <"$WORK/second.txt")"
diff "$WORK/first.txt" "$WORK/second.txt" >"$WORK/diff.txt" || fail "captures differ: $(head -4 "$WORK/diff.txt")"
echo "ok: second capture equals the first, flow for flow"

store lossy "$WORK/sent.vorn" 16384
stored=$(sed -n "s/^Ident: 'none' Flows: \([0-9]*\),.*/\1/p" "$WORK/lossy.log")
[ -n "$stored" ] && [ "$stored" -lt $COUNT ] || fail "nfcapd should have lost flows: $(cat "$WORK/lossy.log")"
set +e
"$VORN_DETAIL" compare --sent-as v9 "$WORK/sent.vorn" "$WORK/lossy.json" >"$WORK/lossy.out"
status=$?
set -e
expect_eq "compare status on loss" 3 $status
expect_eq "missing lines" $((COUNT - stored)) "$(grep -c '^missing ' "$WORK/lossy.out")"
expect_eq "summary" "not equal: $COUNT sent, $stored stored; $stored equal, $((COUNT - stored)) missing, 0 extra, 0 differing" \
    "$(tail -1 "$WORK/lossy.out")"
