#!/usr/bin/env bash
# tshark's NetFlow dissector decodes a synthetic v5 run without a malformed-packet warning.
source "$(dirname "$0")/lib.sh"
STRELL=$1
CAPTURE=$2

start_capture "$CAPTURE" 127.0.0.1
"$STRELL" -p "$CAPTURE_PORT" -c 65 -s 10.0.0.1 -d 10.0.0.2 -z 4660 -x 53 -b 1500 -P 3 -j 16 -k 2 -l 17 \
    >"$WORK/strell.out"
wait_capture
expect_eq "datagrams captured" 3 "$(cat "$WORK/captured")"

decode() { tshark -r "$WORK/capture.pcap" -d "udp.port==$CAPTURE_PORT,cflow" "$@" 2>"$WORK/tshark.err"; }
expect_eq "malformed packets" 0 "$(decode -V | grep -c Malformed || true)"
# The sequence number never advances, which the dissector flags; nothing else may be flagged.
expect_eq "other warnings or errors" "" \
    "$(decode -q -z expert,warn | grep -E '^ +[0-9]+ ' | grep -v 'Unexpected flow sequence' || true)"
expect_eq "header version,count per packet" "5,30 5,30 5,5" \
    "$(decode -T fields -E separator=, -e cflow.version -e cflow.count | tr '\n' ' ' | sed 's/ $//')"
expect_eq "sequence per packet" "56 56 56" "$(decode -T fields -e cflow.sequence | tr '\n' ' ' | sed 's/ $//')"
decode -T fields -E occurrence=a -E aggregator=' ' -e cflow.srcaddr | tr ' ' '\n' | sort | uniq -c >"$WORK/src"
expect_eq "records with source 10.0.0.1" "65 10.0.0.1" "$(sed 's/^ *//' "$WORK/src")"
# Every record carries the option values and nothing else varies in those fields.
fields="cflow.dstaddr cflow.srcport cflow.dstport cflow.octets cflow.packets cflow.tos cflow.tcpflags cflow.protocol"
seen=""
for f in $fields; do
    seen="$seen $(decode -T fields -E occurrence=a -E aggregator=' ' -e "$f" | tr ' ' '\n' | sort -u | tr '\n' ' ')"
done
expect_eq "distinct values per field" "10.0.0.2 4660 53 1500 3 0x10 0x02 17" "$(echo $seen)"
