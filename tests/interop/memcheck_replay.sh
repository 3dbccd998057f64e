#!/usr/bin/env bash
# Replays through both packet managers under valgrind's memcheck: many
# datagrams, and nothing definitely or indirectly lost.
source "$(dirname "$0")/lib.sh"
STRELL=$1
CAPTURE=$2
VORN_DETAIL=$3

awk 'BEGIN {
    for (i = 0; i < 3000; i++) {
        if (i % 3 == 2) { s = sprintf("2001:db8::%x", i + 1); d = "2001:db8:ffff::53"; nh = "fe80::1" }
        else { s = sprintf("10.0.%d.%d", int(i / 256), i % 256); d = "192.168.7.9"; nh = "10.0.0.254" }
        printf "{\"account_id\":1,\"d_addr\":\"%s\",\"d_oct\":%d,\"d_pkt\":2,\"dport\":53,\"dst_as\":64500,", d, 100 + i
        printf "\"dst_mask\":24,\"iface\":1,\"ip\":\"%s\",\"nexthop_addr\":\"%s\",\"oface\":2,\"proto\":17,", s, nh
        printf "\"router_ip_netflow_from\":\"10.0.0.1\",\"s_addr\":\"%s\",\"slink_id\":1,\"sport\":%d,", s, i
        printf "\"src_as\":64496,\"src_mask\":32,\"tclass\":0,\"tcp_flags\":0,\"timestamp\":1700000000,"
        printf "\"tos\":0,\"ts_first\":1,\"ts_last\":2}\n"
    }
}' | "$VORN_DETAIL" write --format new "$WORK/flows.vorn"

for version in 5 9; do
    start_capture "$CAPTURE" 127.0.0.1
    valgrind --quiet --leak-check=full --errors-for-leak-kinds=definite,indirect --error-exitcode=3 \
        "$STRELL" -u -f "$WORK/flows.vorn" -v "$version" -p "$CAPTURE_PORT" >"$WORK/strell.out" \
        2>"$WORK/valgrind.txt" || { cat "$WORK/valgrind.txt" >&2; fail "v$version: memcheck reported errors or leaks"; }
    wait_capture
    grep -E "definitely lost|indirectly lost" "$WORK/valgrind.txt" && fail "v$version: leak reported"
    echo "ok: v$version replay, $(cat "$WORK/captured") datagrams, no definite or indirect leak"
done
