#!/usr/bin/env bash
# tshark decodes v9 replays made by the packet manager: both templates in the
# first datagram only, IPv6 data flowsets without a malformed-packet warning.
# IPv4 records announce their next hop as a 4-byte IPV6_NEXT_HOP field, as our
# collectors have always been fed; tshark flags exactly that and nothing else.
source "$(dirname "$0")/lib.sh"
STRELL=$1
CAPTURE=$2
VORN_DETAIL=$3

flows() {  # family, file
    awk -v family="$1" 'BEGIN {
        for (i = 0; i < 50; i++) {
            if (family == 6) { s = "2001:db8::" (i + 1); d = "2001:db8:ffff::53"; nh = "fe80::1" }
            else { s = "10.0.0." i; d = "192.168.7.9"; nh = "10.0.0.254" }
            printf "{\"account_id\":1,\"d_addr\":\"%s\",\"d_oct\":%d,\"d_pkt\":2,\"dport\":53,\"dst_as\":64500,", d, 100 + i
            printf "\"dst_mask\":24,\"iface\":1,\"ip\":\"%s\",\"nexthop_addr\":\"%s\",\"oface\":2,\"proto\":17,", s, nh
            printf "\"router_ip_netflow_from\":\"10.0.0.1\",\"s_addr\":\"%s\",\"slink_id\":1,\"sport\":%d,", s, 1024 + i
            printf "\"src_as\":64496,\"src_mask\":32,\"tclass\":0,\"tcp_flags\":0,\"timestamp\":1700000000,"
            printf "\"tos\":0,\"ts_first\":1,\"ts_last\":2}\n"
        }
    }' | "$VORN_DETAIL" write --format new "$2"
}

replay() {  # file
    start_capture "$CAPTURE" 127.0.0.1
    "$STRELL" -u -f "$1" -v 9 -p "$CAPTURE_PORT" >"$WORK/strell.out"
    wait_capture
}

decode() { tshark -r "$WORK/capture.pcap" -d "udp.port==$CAPTURE_PORT,cflow" "$@" 2>"$WORK/tshark.err"; }
info() { decode -T fields -e _ws.col.Info | sed -E 's/^[^[]*//' | tr '\n' '/'; }

flows 6 "$WORK/v6.vorn"
replay "$WORK/v6.vorn"
expect_eq "IPv6 malformed packets" 0 "$(decode -V | grep -c Malformed || true)"
expect_eq "IPv6 flowsets per datagram" "[Data-Template:256,257] [Data:257]/[Data:257]/[Data:257]/" "$(info)"
expect_eq "templates" "256,257" "$(decode -T fields -e cflow.template_id | grep -v '^$')"
expect_eq "IPv6 data records" 50 "$(decode -T fields -E occurrence=a -E aggregator=' ' -e cflow.srcaddrv6 | wc -w)"

flows 4 "$WORK/v4.vorn"
replay "$WORK/v4.vorn"
expect_eq "IPv4 datagrams" "[Data-Template:256,257] [Data:256][Malformed Packet]/[Data:256][Malformed Packet]/" "$(info)"
expect_eq "IPv4 errors" "[Expert Info (Error/Malformed): Malformed Packet (Exception occurred)]
[Expert Info (Error/Malformed): Trying to fetch an IPv6 address with length 4]" \
    "$(decode -V | grep -o '\[Expert Info (Error.*' | sort -u)"
