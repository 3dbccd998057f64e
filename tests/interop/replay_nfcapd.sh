#!/usr/bin/env bash
# A 10,000-record new-format detail file mixing IPv4 and IPv6 flows, made by
# vorn-detail and replayed by strell -u into nfcapd: as v9 every record
# arrives with its addresses, ports, AS numbers, interfaces, bytes, packets,
# type of service, flags and protocol; as v5 the IPv4 ones.
source "$(dirname "$0")/lib.sh"
STRELL=$1
VORN_DETAIL=$3

# Record i: every fourth one IPv6; ports, bytes and packets tell them apart.
awk -v expected="$WORK/expected.txt" 'BEGIN {
    for (i = 0; i < 10000; i++) {
        if (i % 4 == 3) { s = sprintf("2001:db8::%x", i + 1); d = "2001:db8:ffff::53"; nh = "fe80::1" }
        else { s = sprintf("10.%d.%d.%d", int(i / 65536) % 256, int(i / 256) % 256, i % 256); d = "192.168.7.9"; nh = "10.0.0.254" }
        printf "{\"account_id\":%d,\"d_addr\":\"%s\",\"d_oct\":%d,\"d_pkt\":%d,\"dport\":%d,\"dst_as\":64500,", 1000 + i % 7, d, 1000 + i, 1 + i % 97, 443 + i % 3
        printf "\"dst_mask\":24,\"iface\":%d,\"ip\":\"%s\",\"nexthop_addr\":\"%s\",\"oface\":%d,\"proto\":%d,", 1 + i % 5, s, nh, 2 + i % 5, (i % 2) ? 17 : 6
        printf "\"router_ip_netflow_from\":\"10.0.0.1\",\"s_addr\":\"%s\",\"slink_id\":%d,\"sport\":%d,\"src_as\":%d,", s, 500 + i % 11, 1024 + i, 64496 + i % 4
        printf "\"src_mask\":32,\"tclass\":%d,\"tcp_flags\":%d,\"timestamp\":%d,\"tos\":%d,\"ts_first\":%d,\"ts_last\":%d}\n", i % 3, (i % 2) ? 0 : 27, 1700000000 + i, i % 4, 3600000 + i, 3601000 + i
        printf "%s|%s|%s|%d|%d|%d|64500|%d|%d|%d|%d|%d|%s|%s\n", s, d, nh, 1024 + i, 443 + i % 3, 64496 + i % 4,
            1 + i % 5, 2 + i % 5, 1000 + i, 1 + i % 97, i % 4, (i % 2) ? "........" : "...AP.SF", (i % 2) ? "UDP" : "TCP" > expected
    }
}' >"$WORK/flows.jsonl"
"$VORN_DETAIL" write --format new "$WORK/mixed.vorn" <"$WORK/flows.jsonl"

# What a collector must show of each record.
sort "$WORK/expected.txt" >"$WORK/expected-all.txt"
grep -v '^2001' "$WORK/expected-all.txt" >"$WORK/expected-v4.txt"
# v9 announces an IPv4 next hop as a 4-byte IPV6_NEXT_HOP field, which
# nfcapd reads as the first bytes of an IPv6 address.
sed 's/|10.0.0.254|/|0:0:a00:fe::|/' "$WORK/expected-all.txt" >"$WORK/expected-v9.txt"

replay() {  # version, expected file
    rm -rf "$WORK/flows"
    start_nfcapd
    "$STRELL" -u -f "$WORK/mixed.vorn" -v "$1" -p "$NFCAPD_PORT" -t 100 -c 70000 >"$WORK/strell.out"
    stop_nfcapd
    nfdump -R "$WORK/flows" -q -6 -o "fmt:%sa|%da|%nh|%sp|%dp|%sas|%das|%in|%out|%byt|%pkt|%tos|%flg|%pr" | tr -d ' ' | sort >"$WORK/received.txt"
    expect_eq "v$1 records received" "$(wc -l <"$2")" "$(wc -l <"$WORK/received.txt")"
    diff "$2" "$WORK/received.txt" >"$WORK/diff.txt" || fail "v$1 records differ: $(head -5 "$WORK/diff.txt")"
    echo "ok: v$1 every record as written"
}
replay 9 "$WORK/expected-v9.txt"
replay 5 "$WORK/expected-v4.txt"
