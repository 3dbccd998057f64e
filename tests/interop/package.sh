#!/usr/bin/env bash
# scripts/package on this build tree: the .deb has the right metadata and,
# extracted into a temporary directory (nothing installed system-wide), holds
# a strell that sends and manual pages that man formats without a warning.
source "$(dirname "$0")/lib.sh"
SOURCE=$4
BUILD=$5

deb=$("$SOURCE/scripts/package" "$BUILD" 2>"$WORK/package.log") || fail "scripts/package: $(tail -5 "$WORK/package.log")"
field() { dpkg-deb -f "$deb" "$1"; }
expect_eq "package, version, architecture" "strell $(sed -n 's/^project(strell VERSION \([0-9.]*\).*/\1/p' "$SOURCE/CMakeLists.txt") $(dpkg --print-architecture)" \
    "$(field Package) $(field Version) $(field Architecture)"
grep -q 'libc6 (>= ' <<<"$(field Depends)" || fail "no libc6 dependency found by dpkg-shlibdeps: $(field Depends)"
grep -q '^ vorn-detail dumps and writes detail files' <<<"$(field Description)" || fail "no long description"

dpkg-deb -x "$deb" "$WORK/root"
expect_eq "files" "./usr/bin/strell ./usr/bin/vorn-detail ./usr/share/man/man1/strell.1.gz ./usr/share/man/man1/vorn-detail.1.gz" \
    "$(cd "$WORK/root" && find . -type f | sort | xargs)"

STRELL=$WORK/root/usr/bin/strell capture 127.0.0.1 -c 65
expect_eq "datagrams from the extracted strell" 3 "$(cat "$WORK/captured")"
grep -q '^Usage: vorn-detail dump FILE' <<<"$("$WORK/root/usr/bin/vorn-detail" --help)" || fail "vorn-detail --help"

for page in strell vorn-detail; do
    file=$WORK/root/usr/share/man/man1/$page.1.gz
    expect_eq "man warnings of $page.1" "" "$(MANWIDTH=80 man --warnings=w -l "$file" 2>&1 >/dev/null)"
    grep -q ": \"$page - " <<<"$(lexgrog "$file")" || fail "lexgrog finds no NAME in $page.1"
done
