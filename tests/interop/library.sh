#!/usr/bin/env bash
# The build installed into a temporary prefix, then moved elsewhere (the tree
# must not depend on where it was put):
#   headers  each installed header compiles alone, and includes nothing but
#            installed headers and those of the C and C++ libraries
#   example  nothing installed names the source or build tree; examples/
#            builds against it with find_package(Vorn) and with pkg-config,
#            and runs
source "$(dirname "$0")/lib.sh"
source "$(dirname "$0")/example.sh"
MODE=$4 SOURCE=$5 BUILD=$6

cmake --install "$BUILD" --prefix "$WORK/installed" >"$WORK/install.log" || fail "cmake --install: $(cat "$WORK/install.log")"
mv "$WORK/installed" "$WORK/moved"
prefix=$WORK/moved

if [ "$MODE" == example ]; then
    leaks=$(grep -rIl -e "$SOURCE" -e "$BUILD" "$prefix" || true
        for file in "$prefix"/bin/* "$prefix"/lib/*/libvorn_*.so.*.*; do
            if readelf -d "$file" | grep -q -e "$SOURCE" -e "$BUILD"; then echo "$file"; fi
        done)
    expect_eq "installed files that name the source or build tree" "" "$leaks"
    build_and_run_example "$prefix" "$SOURCE"
    exit 0
fi

headers=$(cd "$prefix/include" && find vorn -name '*.h' | sort)
expect_eq "installed header folders" "vorn/config vorn/log vorn/net vorn/stat vorn/util" "$(dirname $headers | sort -u | xargs)"
: >"$WORK/outside"
for header in $headers; do
    echo "#include <$header>" >"$WORK/alone.cpp"
    c++ -std=c++17 -Wall -Wextra -Wpedantic -Werror -fsyntax-only -MD -MF "$WORK/alone.d" -I"$prefix/include" \
        "$WORK/alone.cpp" || fail "$header does not compile alone"
    sed 's/\\$//' "$WORK/alone.d" | tr ' ' '\n' | grep '^/' | grep -v "^$WORK/" >>"$WORK/outside" || true
done
echo "ok: $(wc -w <<<"$headers") headers compile alone"
# libvorn-dev depends on no other -dev package.
owners=$(sort -u "$WORK/outside" | xargs realpath | xargs dpkg -S | cut -d: -f1 | sort -u)
grep -q '^libstdc++' <<<"$owners" || fail "no header of the C++ library among those included: $owners"
expect_eq "packages of the headers included from outside" "" \
    "$(grep -vE '^(libc6-dev|libstdc\+\+-[0-9]+-dev|libgcc-[0-9]+-dev|linux-libc-dev)$' <<<"$owners" | xargs)"
