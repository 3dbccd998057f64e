#!/usr/bin/env bash
# scripts/package on this build tree: the .debs have the right metadata and,
# extracted into a temporary directory (nothing installed system-wide), hold a
# strell that sends, manual pages that man formats without a warning, and a
# Vorn library that the example builds against and runs with.
source "$(dirname "$0")/lib.sh"
source "$(dirname "$0")/example.sh"
SOURCE=$4
BUILD=$5

debs=$("$SOURCE/scripts/package" "$BUILD" 2>"$WORK/package.log") || fail "scripts/package: $(tail -5 "$WORK/package.log")"
version=$(sed -n 's/^project(strell VERSION \([0-9.]*\).*/\1/p' "$SOURCE/CMakeLists.txt")
arch=$(dpkg --print-architecture)
major=${version%%.*}
deb() { grep "/$1_${version}_${arch}.deb$" <<<"$debs" || fail "no package $1 in: $debs"; }
fields() { dpkg-deb -f "$(deb "$1")" Package Section Depends | sed 's/^[A-Za-z]*: //' | xargs -d '\n'; }
expect_eq "packages" "libvorn-dev libvorn$major strell" "$(xargs -n1 basename <<<"$debs" | cut -d_ -f1 | xargs)"
expect_eq "libvorn-dev: package, section, dependencies" "libvorn-dev libdevel libvorn$major (= $version)" "$(fields libvorn-dev)"
grep -q "^libvorn$major libs libc6 (>= " <<<"$(fields "libvorn$major")" || fail "libvorn$major: $(fields "libvorn$major")"
grep -qE "^strell net libbz2-1.0, libc6 \(>= .*, liblz4-1 \(>= .*, liblzo2-2 \(>= .*, libstdc\+\+6 \(>= " <<<"$(fields strell)" || fail "strell: $(fields strell)"
grep -q '^ vorn-detail dumps and writes detail files' <<<"$(dpkg-deb -f "$(deb strell)" Description)" || fail "no long description"

files() { mkdir "$WORK/$1" && dpkg-deb -x "$(deb "$1")" "$WORK/$1" && (cd "$WORK/$1" && find . -type f | sort | xargs); }
expect_eq "files of strell" "./usr/bin/strell ./usr/bin/vorn-detail ./usr/share/man/man1/strell.1.gz ./usr/share/man/man1/vorn-detail.1.gz" \
    "$(files strell)"
libdir=./usr/lib/$(dpkg-architecture -qDEB_HOST_MULTIARCH)
expect_eq "files of libvorn$major" "$(printf "$libdir/libvorn_%s.so.$version " config log net stat util | xargs)" "$(files "libvorn$major")"
while read -r package; do dpkg-deb -x "$package" "$WORK/root"; done <<<"$debs"

STRELL=$WORK/root/usr/bin/strell capture 127.0.0.1 -c 65
expect_eq "datagrams from the extracted strell" 3 "$(cat "$WORK/captured")"
grep -q '^Usage: vorn-detail dump FILE' <<<"$("$WORK/root/usr/bin/vorn-detail" --help)" || fail "vorn-detail --help"

for page in strell vorn-detail; do
    file=$WORK/root/usr/share/man/man1/$page.1.gz
    expect_eq "man warnings of $page.1" "" "$(MANWIDTH=80 man --warnings=w -l "$file" 2>&1 >/dev/null)"
    grep -q ": \"$page - " <<<"$(lexgrog "$file")" || fail "lexgrog finds no NAME in $page.1"
done

build_and_run_example "$WORK/root/usr" "$SOURCE"
