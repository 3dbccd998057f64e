#!/usr/bin/env bash
# One capture by nfcapd: capture.sh STRELL OUT [NFCAPD_OPTIONS...] -- STRELL_OPTIONS...
# nfcapd (on ::1 when its options hold -6, else 127.0.0.1) takes what strell
# sends it; the file it closes is moved to OUT.
source "$(dirname "$0")/lib.sh" "$1" "" ""
out=$2 && shift 2 && options=()
while [ "$1" != -- ]; do options+=("$1") && shift; done
[[ " ${options[*]} " == *" -6 "* ]] && NFCAPD_ADDRESS=::1
start_nfcapd 4194304 "${options[@]}"
"$STRELL" "${@:2}" -h "${NFCAPD_ADDRESS:-127.0.0.1}" -p "$NFCAPD_PORT" >"$WORK/strell.out" 2>&1 ||
    fail "strell: $(cat "$WORK/strell.out")"
stop_nfcapd
mv "$WORK"/flows/nfcapd.2* "$out"
