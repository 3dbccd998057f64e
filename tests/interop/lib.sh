# Shared by the checks against nfcapd/nfdump, tshark and valgrind; arguments: strell, vorn-detail, udp_capture.
set -euo pipefail
STRELL=$1 VORN_DETAIL=$2 CAPTURE=$3 WORK=$(mktemp -d "${TMPDIR:-/tmp}/strell-interop.XXXXXX") PIDS=()
trap 'kill "${PIDS[@]}" 2>/dev/null || true; rm -rf "$WORK"' EXIT
fail() { echo "FAIL: $*" >&2; exit 1; }
expect_eq() { [ "$2" == "$3" ] || fail "$1: expected '$2', got '$3'"; echo "ok: $1 = $3"; }
await() { local i; for i in $(seq 1 200); do "$@" && return 0; sleep 0.05; done; return 1; }

# nfcapd on a free port of $NFCAPD_ADDRESS (127.0.0.1 unless set); its large
# buffer (4 MiB unless $1 gives another size) keeps it from dropping datagrams
# of a paced run. More options may follow.
start_nfcapd() {
    local try
    for try in $(seq 1 20); do
        rm -rf "$WORK/flows" && mkdir "$WORK/flows"
        NFCAPD_PORT=$((20000 + RANDOM % 40000))
        nfcapd -w "$WORK/flows" -b "${NFCAPD_ADDRESS:-127.0.0.1}" -p "$NFCAPD_PORT" -B "${1:-4194304}" "${@:2}" >"$WORK/nfcapd.log" 2>&1 &
        NFCAPD_PID=$! && PIDS+=($!)
        await grep -q Startup "$WORK/nfcapd.log" && sleep 0.3 && kill -0 "$NFCAPD_PID" 2>/dev/null && return 0
    done
    fail "nfcapd did not start: $(cat "$WORK/nfcapd.log")"
}

# Stops nfcapd, so that it closes its file.
stop_nfcapd() { sleep 0.5 && kill -TERM "$NFCAPD_PID" && await eval '! kill -0 "$NFCAPD_PID" 2>/dev/null' || fail "nfcapd did not stop"; }

# Stops nfcapd and prints the flows nfdump shows; -v5: no AS numbers (random in synthetic v5).
nfdump_flows() {
    stop_nfcapd
    local as="|%sas|%das" && [ "${1:-}" == -v5 ] && as=""
    nfdump -R "$WORK/flows" -q -6 -o "fmt:%sa|%da|%nh|%sp|%dp$as|%in|%out|%byt|%pkt|%tos|%flg|%pr" | tr -d ' ' | sort
}

capture() {
    local address=$1 && shift && rm -f "$WORK/port"
    "$CAPTURE" "$address" "$WORK/port" "$WORK/capture.pcap" >"$WORK/captured" &
    PIDS+=($!)
    await test -s "$WORK/port" || fail "udp_capture did not start"
    ${WRAP:-} "$STRELL" "$@" -h "$address" -p "$(cat "$WORK/port")" >"$WORK/strell.out"
    wait "${PIDS[-1]}" || fail "udp_capture failed"
}

# 10,000 records in runs of 75 IPv4, 25 IPv6 (v9 datagrams of one family and of both); $WORK/mixed.txt: nfdump's view.
make_mixed_file() {
    awk -v expected="$WORK/mixed.txt" 'BEGIN {
        for (i = 0; i < 10000; i++) {
            if (i % 100 >= 75) { s = sprintf("2001:db8::%x", i + 1); d = "2001:db8:ffff::53"; nh = "fe80::1" }
            else { s = sprintf("10.%d.%d.%d", int(i / 65536), int(i / 256) % 256, i % 256); d = "192.168.7.9"; nh = "10.0.0.254" }
            printf "{\"account_id\":%d,\"d_addr\":\"%s\",\"d_oct\":%d,\"d_pkt\":%d,\"dport\":%d,\"dst_as\":64500,", 1000 + i % 7, d, 1000 + i, 1 + i % 97, 443 + i % 3
            printf "\"dst_mask\":24,\"iface\":%d,\"ip\":\"%s\",\"nexthop_addr\":\"%s\",\"oface\":%d,\"proto\":%d,", 1 + i % 5, s, nh, 2 + i % 5, (i % 2) ? 17 : 6
            printf "\"router_ip_netflow_from\":\"10.0.0.1\",\"s_addr\":\"%s\",\"slink_id\":%d,\"sport\":%d,\"src_as\":%d,", s, 500 + i % 11, 1024 + i, 64496 + i % 4
            printf "\"src_mask\":32,\"tclass\":%d,\"tcp_flags\":%d,\"timestamp\":%d,\"tos\":%d,\"ts_first\":%d,\"ts_last\":%d}\n", i % 3, (i % 2) ? 0 : 27, 1700000000 + i, i % 4, 3600000 + i, 3601000 + i
            printf "%s|%s|%s|%d|%d|%d|64500|%d|%d|%d|%d|%d|%s|%s\n", s, d, nh, 1024 + i, 443 + i % 3, 64496 + i % 4,
                1 + i % 5, 2 + i % 5, 1000 + i, 1 + i % 97, i % 4, (i % 2) ? "........" : "...AP.SF", (i % 2) ? "UDP" : "TCP" | "sort > " expected
        }
    }' | "$VORN_DETAIL" write --format new "$WORK/mixed.vorn" 2>/dev/null
}
