#!/usr/bin/env bash
# tshark's NetFlow dissector decodes what strell sends. $4: synthetic-v5, synthetic-v9 or replay.
source "$(dirname "$0")/lib.sh"
decode() { tshark -r "$WORK/capture.pcap" -d "udp.port==$(cat "$WORK/port"),cflow" "$@" 2>"$WORK/tshark.err"; }
fields() { decode -T fields -E separator=, -E occurrence=a -E aggregator=' ' "$@"; }
distinct() { local f; for f in "$@"; do fields -e "cflow.$f" | tr ' ' '\n' | sort -u | tr '\n' ' '; done; }
# The sequence number never advances, which the dissector flags; nothing else may be flagged.
expect_no_warnings() {
    expect_eq "malformed packets" 0 "$(decode -V | grep -c Malformed || true)"
    expect_eq "other warnings" "" "$(decode -q -z expert,warn | grep -E '^ +[0-9]+ ' | grep -v 'Unexpected flow sequence' || true)"
}
case $4 in
synthetic-v5)
    capture 127.0.0.1 -c 65 -s 10.0.0.1 -d 10.0.0.2 -z 4660 -x 53 -b 1500 -P 3 -j 16 -k 2 -l 17
    expect_no_warnings
    expect_eq "version, count, sequence per packet" "5,30,56 5,30,56 5,5,56" \
        "$(fields -e cflow.version -e cflow.count -e cflow.sequence | tr '\n' ' ' | sed 's/ $//')"
    expect_eq "records" 65 "$(fields -e cflow.srcaddr | wc -w)"
    expect_eq "values" "10.0.0.1 10.0.0.2 4660 53 1500 3 0x10 0x02 17 " \
        "$(distinct srcaddr dstaddr srcport dstport octets packets tos tcpflags protocol)" ;;
synthetic-v9)
    capture ::1 -v 9 -c 100 -s 10.1.2.3 -d 2001:db8::1 -z 1234 -x 53 -n 65001 -m 7 -i 3 -o 4 -b 1000 -P 2 -j 16 -k 2 -l 17
    expect_no_warnings
    expect_eq "count, flowsets, template and its fields, sequence, source id per packet" \
        "$(printf '9,%s,0 256,256,13,56,1234\n' 29 29 29 17)" "$(fields -e cflow.version -e cflow.count \
        -e cflow.flowset_id -e cflow.template_id -e cflow.template_field_count -e cflow.sequence -e cflow.source_id)"
    expect_eq "records" 100 "$(fields -e cflow.srcaddr | wc -w)"
    expect_eq "values" "10.1.2.3 2001:db8::1 1234 53 65001 7 3 4 1000 2 0x10 0x02 17 " \
        "$(distinct srcaddr dstaddrv6 srcport dstport srcas dstas inputint outputint octets packets tos tcpflags protocol)" ;;
replay)
    make_mixed_file
    capture 127.0.0.1 -u -f "$WORK/mixed.vorn" -v 5 -t 40 -c 70000
    expect_no_warnings
    expect_eq "records per packet" "250 30" "$(fields -e cflow.count | sort | uniq -c | sed 's/^ *//')"
    expect_eq "sources" "$(grep -v '^2001' "$WORK/mixed.txt" | cut -d'|' -f1 | sort)" "$(fields -e cflow.srcaddr | tr ' ' '\n' | sort)"
    # v9: templates in the first datagram only; tshark stops at the 4-byte IPV6_NEXT_HOP of an IPv4 record.
    capture 127.0.0.1 -u -f "$WORK/mixed.vorn" -v 9 -t 40 -c 70000
    expect_eq "datagrams with templates" "1:[Data-Template:256,257]" \
        "$(fields -e _ws.col.Info | grep -n Template | sed -E 's/:[^[]*/:/; s/\] \[Data.*/]/')"
    expect_eq "errors" "[Expert Info (Error/Malformed): Malformed Packet (Exception occurred)]
[Expert Info (Error/Malformed): Trying to fetch an IPv6 address with length 4]" "$(decode -V | grep -o '\[Expert Info (Error.*' | sort -u)"
    fields -e cflow.srcaddrv6 -Y '!_ws.malformed' | tr ' ' '\n' | sort >"$WORK/v6.txt"
    counted=$(fields -e cflow.count -Y '!_ws.malformed' | awk '{ n += $1 } END { print n }')
    expect_eq "IPv6 records, as counted" "$counted" "$(wc -l <"$WORK/v6.txt")"
    expect_eq "IPv6 sources not in the file" "" "$(grep '^2001' "$WORK/mixed.txt" | cut -d'|' -f1 | sort | comm -13 - "$WORK/v6.txt")" ;;
esac
