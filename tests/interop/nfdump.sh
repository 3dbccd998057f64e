#!/usr/bin/env bash
# nfdump shows every flow nfcapd got from strell with its fields. $4: synthetic-v5, synthetic-v9 or replay.
source "$(dirname "$0")/lib.sh"
options=(-z 1234 -x 443 -i 3 -o 12 -b 150000 -P 120 -j 7 -k 27 -l 6)
fields="1234|443|3|12|150000|120|7|...AP.SF|TCP"
start_nfcapd
case $4 in
synthetic-v5)
    "$STRELL" -p "$NFCAPD_PORT" -c 95 -t 40 -s 10.1.2.3 -d 192.168.7.9 -N 172.16.0.254 "${options[@]}" >/dev/null
    expect_eq "flows" "95 10.1.2.3|192.168.7.9|172.16.0.254|$fields" "$(nfdump_flows -v5 | uniq -c | sed 's/^ *//')" ;;
synthetic-v9)
    "$STRELL" -v 9 -p "$NFCAPD_PORT" -c 100 -t 100 -s 10.1.2.3 -d 192.168.7.9 -N 172.16.0.254 -n 65001 -m 0x10000 "${options[@]}" >/dev/null
    "$STRELL" -v 9 -p "$NFCAPD_PORT" -c 50 -t 100 -s 2001:db8::1 -d 2001:db8:ffff::2 -N fe80::1 -n 65001 -m 0x10000 "${options[@]}" >/dev/null
    fields=${fields/|3|/|65001|65536|3|}
    expect_eq "flows" "100 10.1.2.3|192.168.7.9|172.16.0.254|$fields
50 2001:db8::1|2001:db8:ffff::2|fe80::1|$fields" "$(nfdump_flows | uniq -c | sed 's/^ *//')" ;;
replay)
    # v9 announces an IPv4 next hop as a 4-byte IPV6_NEXT_HOP, read as the start of an IPv6 address.
    make_mixed_file
    for version in 9 5; do
        [ "$version" == 5 ] && start_nfcapd
        "$STRELL" -u -f "$WORK/mixed.vorn" -v "$version" -p "$NFCAPD_PORT" -t 100 -c 70000 >/dev/null
        nfdump_flows >"$WORK/received.txt"
        sed 's/|10.0.0.254|/|0:0:a00:fe::|/' "$WORK/mixed.txt" >"$WORK/expected.txt"
        [ "$version" == 5 ] && grep -v '^2001' "$WORK/mixed.txt" >"$WORK/expected.txt"
        expect_eq "v$version flows" "$(wc -l <"$WORK/expected.txt")" "$(wc -l <"$WORK/received.txt")"
        diff "$WORK/expected.txt" "$WORK/received.txt" >"$WORK/diff.txt" || fail "v$version: $(head -5 "$WORK/diff.txt")"
    done ;;
esac
