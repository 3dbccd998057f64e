#!/usr/bin/env bash
# nfcapd receives a synthetic v5 run and nfdump shows the option fields of every record.
source "$(dirname "$0")/lib.sh"
STRELL=$1

start_nfcapd
"$STRELL" -h 127.0.0.1 -p "$NFCAPD_PORT" -c 95 -t 40 \
    -s 10.1.2.3 -d 192.168.7.9 -N 172.16.0.254 -z 1234 -x 443 -i 3 -o 12 -b 150000 -P 120 -j 7 -k 27 -l 6 \
    >"$WORK/strell.out"
stop_nfcapd

nfdump -R "$WORK/flows" -q -o "fmt:%sa|%da|%nh|%sp|%dp|%in|%out|%byt|%pkt|%tos|%flg|%pr" >"$WORK/flows.txt"
expect_eq "records received" 95 "$(wc -l <"$WORK/flows.txt")"
expect_eq "distinct option-field combinations" 1 "$(sort -u "$WORK/flows.txt" | wc -l)"
expect_eq "decoded fields" "10.1.2.3|192.168.7.9|172.16.0.254|1234|443|3|12|150000|120|7|...AP.SF|TCP" \
    "$(sort -u "$WORK/flows.txt" | tr -d ' ')"
expect_eq "exporter summary" 1 "$(grep -c 'Flows: 95,' "$WORK/nfcapd.log")"
