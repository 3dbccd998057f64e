#!/usr/bin/env bash
# nfcapd's files read natively. The mixed IPv4/IPv6 detail file, replayed as
# v9 into nfcapd with each compression and as v5: vorn-detail imports each
# capture directory into the very detail file that the import of nfdump's
# JSON of it gives, and compare finds it equal to the file that was sent.
source "$(dirname "$0")/lib.sh"
make_mixed_file

# version, compression, its number in the file header, nfcapd's option
for entry in "9 none 0" "9 LZO 1 -z" "9 BZ2 2 -j" "9 LZ4 3 -y" "5 none 0"; do
    read -r version compression number option <<<"$entry" && name="v$version, $compression"
    start_nfcapd 4194304 ${option:-}
    "$STRELL" -u -f "$WORK/mixed.vorn" -v "$version" -p "$NFCAPD_PORT" -c 70000 -t 40 >/dev/null
    stop_nfcapd
    expect_eq "$name: compression in the file header" "$number" "$(od -An -tu1 -j16 -N1 "$WORK"/flows/nfcapd.2* | tr -d ' ')"
    "$VORN_DETAIL" import --format new "$WORK/out.vorn" "$WORK/flows" 2>"$WORK/native.err" && mv "$WORK/out.vorn" "$WORK/native.vorn" ||
        fail "$name: native import: $(cat "$WORK/native.err")"
    nfdump -R "$WORK/flows" -o json | "$VORN_DETAIL" import --format new "$WORK/out.vorn" 2>"$WORK/json.err"
    # The same file, and the same notes, by ordinal, on the flows that a v5 replay skips.
    cmp -s "$WORK/native.vorn" "$WORK/out.vorn" && cmp -s "$WORK/native.err" "$WORK/json.err" ||
        fail "$name: the native import differs from the import of nfdump's JSON: $(diff "$WORK/native.err" "$WORK/json.err")"
    # v5 carries no IPv6 flows, and nfcapd keeps no v5 masks.
    options=(--sent-as v9) && [ "$version" == 5 ] && options=(--sent-as v5 --ignore src_mask,dst_mask)
    status=0 && "$VORN_DETAIL" compare "${options[@]}" "$WORK/mixed.vorn" "$WORK/flows" >"$WORK/compare.out" || status=$?
    expect_eq "$name: compare" "0 equal: $((version == 9 ? 10000 : 7500)) flows" "$status $(tail -1 "$WORK/compare.out" | cut -d' ' -f1-3)"
done
