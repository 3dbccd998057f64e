#!/usr/bin/env bash
# tshark's NetFlow dissector decodes the template and data flowsets of a
# synthetic v9 run without a malformed-packet warning.
source "$(dirname "$0")/lib.sh"
STRELL=$1
CAPTURE=$2

start_capture "$CAPTURE" ::1
"$STRELL" -v 9 -h ::1 -p "$CAPTURE_PORT" -c 100 -s 10.1.2.3 -d 2001:db8::1 -z 1234 -x 53 -n 65001 -m 7 \
    -i 3 -o 4 -b 1000 -P 2 -j 16 -k 2 -l 17 >"$WORK/strell.out"
wait_capture
expect_eq "datagrams captured" 4 "$(cat "$WORK/captured")"

decode() { tshark -r "$WORK/capture.pcap" -d "udp.port==$CAPTURE_PORT,cflow" "$@" 2>"$WORK/tshark.err"; }
line() { decode -T fields -E separator=, "$@" | tr '\n' ' ' | sed 's/ $//'; }
expect_eq "malformed packets" 0 "$(decode -V | grep -c Malformed || true)"
# The sequence number never advances, which the dissector flags; nothing else may be flagged.
expect_eq "other warnings or errors" "" \
    "$(decode -q -z expert,warn | grep -E '^ +[0-9]+ ' | grep -v 'Unexpected flow sequence' || true)"
expect_eq "version and count per packet" "9,29 9,29 9,29 9,17" "$(line -e cflow.version -e cflow.count)"
expect_eq "flowsets per packet" "0,256 0,256 0,256 0,256" "$(line -e cflow.flowset_id)"
expect_eq "template per packet" "256,13 256,13 256,13 256,13" "$(line -e cflow.template_id -e cflow.template_field_count)"
expect_eq "sequence and source id" "56,1234 56,1234 56,1234 56,1234" "$(line -e cflow.sequence -e cflow.source_id)"

all() { decode -T fields -E occurrence=a -E aggregator=' ' -e "$1" | tr ' ' '\n' | grep -v '^$'; }
expect_eq "data records" 100 "$(all cflow.srcaddr | wc -l)"
seen=""
for f in cflow.srcaddr cflow.dstaddrv6 cflow.srcport cflow.dstport cflow.srcas cflow.dstas cflow.inputint \
    cflow.outputint cflow.octets cflow.packets cflow.tos cflow.tcpflags cflow.protocol; do
    seen="$seen $(all "$f" | sort -u | tr '\n' ' ')"
done
expect_eq "distinct values per field" "10.1.2.3 2001:db8::1 1234 53 65001 7 3 4 1000 2 0x10 0x02 17" "$(echo $seen)"
