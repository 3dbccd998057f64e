#!/usr/bin/env bash
# tshark's NetFlow dissector decodes a synthetic v9 run of both families without
# a flaw: nfdump checks the rest.
source "$(dirname "$0")/lib.sh"
decode() { tshark -r "$WORK/capture.pcap" -d "udp.port==$(cat "$WORK/port"),cflow" "$@" 2>"$WORK/tshark.err"; }
fields() { decode -T fields -E separator=, -E occurrence=a -E aggregator=' ' "$@"; }
distinct() { local f; for f in "$@"; do fields -e "cflow.$f" | tr ' ' '\n' | sort -u | tr '\n' ' '; done; }
capture ::1 -v 9 -c 100 -s 10.1.2.3 -d 2001:db8::1 -z 1234 -x 53 -n 65001 -m 7 -i 3 -o 4 -b 1000 -P 2 -j 16 -k 2 -l 17
# The sequence number never advances, which the dissector flags; nothing else may be flagged.
expect_eq "malformed packets" 0 "$(decode -V | grep -c Malformed || true)"
expect_eq "other warnings" "" "$(decode -q -z expert,warn | grep -E '^ +[0-9]+ ' | grep -v 'Unexpected flow sequence' || true)"
expect_eq "count, flowsets, template and its fields, sequence, source id per packet" \
    "$(printf '9,%s,0 256,256,13,56,1234\n' 29 29 29 17)" "$(fields -e cflow.version -e cflow.count \
    -e cflow.flowset_id -e cflow.template_id -e cflow.template_field_count -e cflow.sequence -e cflow.source_id)"
expect_eq "records" 100 "$(fields -e cflow.srcaddr | wc -w)"
expect_eq "values" "10.1.2.3 2001:db8::1 1234 53 65001 7 3 4 1000 2 0x10 0x02 17 " \
    "$(distinct srcaddr dstaddrv6 srcport dstport srcas dstas inputint outputint octets packets tos tcpflags protocol)"
