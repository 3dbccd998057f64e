# Shared helpers of the scripted tests: a real nfcapd on a free loopback port,
# a pcap capture for tshark, and assertions that name what they compare.
set -euo pipefail

WORK=$(mktemp -d "${TMPDIR:-/tmp}/strell-interop.XXXXXX")
NFCAPD_PID=""
CAPTURE_PID=""
cleanup() {
    [ -n "$NFCAPD_PID" ] && kill "$NFCAPD_PID" 2>/dev/null || true
    [ -n "$CAPTURE_PID" ] && kill "$CAPTURE_PID" 2>/dev/null || true
    rm -rf "$WORK"
}
trap cleanup EXIT

fail() { echo "FAIL: $*" >&2; exit 1; }

expect_eq() {  # what expected actual
    [ "$2" == "$3" ] || fail "$1: expected '$2', got '$3'"
    echo "ok: $1 = $3"
}

# Starts nfcapd writing into $WORK/flows on a free port, retrying on a taken one.
# The large socket buffer (4 MiB unless $1 gives another size) keeps it from
# dropping datagrams of a paced run.
start_nfcapd() {
    mkdir -p "$WORK/flows"
    local try
    for try in $(seq 1 20); do
        NFCAPD_PORT=$((20000 + RANDOM % 40000))
        nfcapd -w "$WORK/flows" -b 127.0.0.1 -p "$NFCAPD_PORT" -B "${1:-4194304}" >"$WORK/nfcapd.log" 2>&1 &
        NFCAPD_PID=$!
        local i
        for i in $(seq 1 50); do
            grep -q "Startup" "$WORK/nfcapd.log" 2>/dev/null && break
            kill -0 "$NFCAPD_PID" 2>/dev/null || break
            sleep 0.1
        done
        if kill -0 "$NFCAPD_PID" 2>/dev/null && grep -q "Startup" "$WORK/nfcapd.log"; then
            sleep 0.2
            kill -0 "$NFCAPD_PID" 2>/dev/null && return 0
        fi
        NFCAPD_PID=""
    done
    fail "nfcapd did not start: $(cat "$WORK/nfcapd.log")"
}

# Stops nfcapd so that it closes its current file, then waits for it.
stop_nfcapd() {
    sleep 0.5
    kill -TERM "$NFCAPD_PID"
    local i
    for i in $(seq 1 100); do
        kill -0 "$NFCAPD_PID" 2>/dev/null || break
        sleep 0.1
    done
    wait "$NFCAPD_PID" 2>/dev/null || true
    NFCAPD_PID=""
}

# Starts the capture tool given as $1 on loopback ($2: 127.0.0.1 or ::1).
start_capture() {
    rm -f "$WORK/port" "$WORK/capture.pcap"
    "$1" --bind "$2" --out "$WORK/capture.pcap" --port-file "$WORK/port" --idle-ms 1500 >"$WORK/captured" &
    CAPTURE_PID=$!
    local i
    for i in $(seq 1 100); do
        [ -s "$WORK/port" ] && break
        sleep 0.05
    done
    [ -s "$WORK/port" ] || fail "capture did not start"
    CAPTURE_PORT=$(cat "$WORK/port")
}

wait_capture() {
    wait "$CAPTURE_PID" || fail "capture failed"
    CAPTURE_PID=""
}
