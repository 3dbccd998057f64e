#!/usr/bin/env bash
# nfcapd receives synthetic v9 runs, IPv4 and IPv6, and nfdump shows every
# record with the option values, AS numbers included.
source "$(dirname "$0")/lib.sh"
STRELL=$1

start_nfcapd
fields=(-z 1234 -x 443 -n 65001 -m 0x10000 -i 3 -o 12 -b 150000 -P 120 -j 7 -k 27 -l 6)
"$STRELL" -v 9 -p "$NFCAPD_PORT" -c 100 -t 100 -s 10.1.2.3 -d 192.168.7.9 -N 172.16.0.254 "${fields[@]}" \
    >"$WORK/strell4.out"
"$STRELL" -v 9 -p "$NFCAPD_PORT" -c 50 -t 100 -s 2001:db8::1 -d 2001:db8:ffff::2 -N fe80::1 "${fields[@]}" \
    >"$WORK/strell6.out"
stop_nfcapd

show() { nfdump -R "$WORK/flows" -q -o "fmt:%sa|%da|%nh|%sp|%dp|%sas|%das|%in|%out|%byt|%pkt|%tos|%flg|%pr" "$@"; }
show 'ipv4' >"$WORK/v4.txt"
show 'ipv6' >"$WORK/v6.txt"
expect_eq "IPv4 records received" 100 "$(wc -l <"$WORK/v4.txt")"
expect_eq "IPv6 records received" 50 "$(wc -l <"$WORK/v6.txt")"
expect_eq "IPv4 records" "10.1.2.3|192.168.7.9|172.16.0.254|1234|443|65001|65536|3|12|150000|120|7|...AP.SF|TCP" \
    "$(sort -u "$WORK/v4.txt" | tr -d ' ')"
expect_eq "IPv6 records" "2001:db8::1|2001:db8:ffff::2|fe80::1|1234|443|65001|65536|3|12|150000|120|7|...AP.SF|TCP" \
    "$(sort -u "$WORK/v6.txt" | tr -d ' ')"
